#include "tools/corvane-nmctl/Sha256.h"

#include <bit>
#include <cstdint>
#include <vector>

namespace corvane::Nmctl {
namespace {

constexpr std::size_t blockSize = 64;
using HashState = std::array<std::uint32_t, 8>;

/// The fractional parts of the square roots of the first 8 primes, and of the cube roots of the
/// first 64.
constexpr HashState firstHashState = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                      0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
constexpr std::array<std::uint32_t, 64> roundConstants = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

std::uint32_t mixed(std::uint32_t word, int first, int second, int third) {
  return std::rotr(word, first) ^ std::rotr(word, second) ^ std::rotr(word, third);
}

std::array<std::uint32_t, 64> scheduleOf(const std::byte* block) {
  std::array<std::uint32_t, 64> words = {};
  for (std::size_t i = 0; i < 16; ++i)
    words[i] = static_cast<std::uint32_t>(bigEndian(block + 4 * i, 4));
  for (std::size_t i = 16; i < words.size(); ++i) {
    const std::uint32_t early = words[i - 15];
    const std::uint32_t late = words[i - 2];
    words[i] = words[i - 16] + (std::rotr(early, 7) ^ std::rotr(early, 18) ^ early >> 3) +
               words[i - 7] + (std::rotr(late, 17) ^ std::rotr(late, 19) ^ late >> 10);
  }
  return words;
}

void addBlock(HashState& state, const std::byte* block) {
  auto [a, b, c, d, e, f, g, h] = state;
  const auto words = scheduleOf(block);
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::uint32_t first =
        h + mixed(e, 6, 11, 25) + ((e & f) ^ (~e & g)) + roundConstants[i] + words[i];
    const std::uint32_t second = mixed(a, 2, 13, 22) + ((a & b) ^ (a & c) ^ (b & c));
    h = g;
    g = f;
    f = e;
    e = d + first;
    d = c;
    c = b;
    b = a;
    a = first + second;
  }
  const HashState sum = {a, b, c, d, e, f, g, h};
  for (std::size_t i = 0; i < state.size(); ++i) state[i] += sum[i];
}

/// `bytes`, a one, zeros and the length in bits: whole blocks.
std::vector<std::byte> padded(ByteView bytes) {
  std::vector<std::byte> result(bytes.begin(), bytes.end());
  result.push_back(std::byte{0x80});
  while (result.size() % blockSize != blockSize - 8) result.push_back(std::byte{0});
  const std::uint64_t bits = std::uint64_t{bytes.size()} * 8;
  for (int shift = 56; shift >= 0; shift -= 8) result.push_back(std::byte(bits >> shift & 0xff));
  return result;
}

}  // namespace

std::array<std::byte, 32> sha256(ByteView bytes) {
  HashState state = firstHashState;
  const std::vector<std::byte> blocks = padded(bytes);
  for (std::size_t at = 0; at < blocks.size(); at += blockSize) addBlock(state, blocks.data() + at);
  std::array<std::byte, 32> hash = {};
  for (std::size_t i = 0; i < hash.size(); ++i)
    hash[i] = std::byte(state[i / 4] >> (24 - 8 * (i % 4)) & 0xff);
  return hash;
}

}  // namespace corvane::Nmctl
