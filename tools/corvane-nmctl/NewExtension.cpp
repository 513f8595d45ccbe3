#include "tools/corvane-nmctl/NewExtension.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

#include "Base/Bytes.h"
#include "Platform/Random.h"
#include "tools/corvane-nmctl/Product.h"
#include "tools/corvane-nmctl/Sha256.h"
#include "tools/corvane-nmctl/WholeFile.h"

namespace corvane::Nmctl {
namespace {

struct ExtensionFile {
  std::string_view name;
  std::string_view text;
};

#include "tools/corvane-nmctl/ExtensionFiles.h"

constexpr mode_t extensionFileMode = 0644;  // nothing in them is a secret

/// A new public key of 2048 bits for RSA, as SubjectPublicKeyInfo in DER. Nobody has its private
/// half, which only publishing under the key's identifier would need: the modulus is random.
std::string newPublicKey() {
  using namespace std::string_view_literals;
  constexpr std::string_view beforeModulus =
      "\x30\x82\x01\x22\x30\x0d\x06\x09\x2a\x86\x48\x86\xf7\x0d\x01\x01\x01\x05\x00\x03\x82\x01\x0f"
      "\x00\x30\x82\x01\x0a\x02\x82\x01\x01\x00"sv;
  constexpr std::string_view exponent = "\x02\x03\x01\x00\x01"sv;
  auto modulus = Platform::randomBytes<256>();
  modulus.front() |= std::byte{0x80};  // it has all its bits
  modulus.back() |= std::byte{1};      // and is odd
  return std::string(beforeModulus) + std::string(corvane::textOf(modulus)) + std::string(exponent);
}

/// RFC 4648, section 4, of as many bytes as are whole groups of three.
std::string base64(std::string_view bytes) {
  constexpr std::string_view digits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string result;
  for (std::size_t at = 0; at + 3 <= bytes.size(); at += 3) {
    const std::uint64_t group = bigEndian(bytesOf(bytes).data() + at, 3);
    for (int shift = 18; shift >= 0; shift -= 6) result += digits[group >> shift & 63];
  }
  return result;
}

/// The first `count` bytes in hexadecimal, with these sixteen characters as digits.
std::string digitsOf(ByteView bytes, std::size_t count, std::string_view digits) {
  std::string result;
  for (const std::byte byte : bytes.first(count)) {
    result += digits[std::to_integer<std::size_t>(byte >> 4)];
    result += digits[std::to_integer<std::size_t>(byte & std::byte{15})];
  }
  return result;
}

void fillIn(std::string& text, std::string_view what, std::string_view by) {
  for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size())
    text.replace(at, what.size(), by);
}

Failure unusableFolder(const std::string& folder, const std::error_code& error) {
  return {FailureCause::other, "the folder " + folder + " can't be used: " + error.message()};
}

/// Makes the folders of `file` below `folder`.
Result<Done> makeFoldersOf(const std::filesystem::path& file) {
  std::error_code error;
  std::filesystem::create_directories(file.parent_path(), error);
  if (error) return unusableFolder(file.parent_path().string(), error);
  return Done{};
}

Result<Done> checkEmpty(const std::string& folder) {
  std::error_code error;
  const auto status = std::filesystem::status(folder, error);
  if (status.type() == std::filesystem::file_type::not_found) return Done{};
  const bool isEmpty = !error && std::filesystem::is_empty(folder, error);
  if (error) return unusableFolder(folder, error);
  if (!isEmpty || status.type() != std::filesystem::file_type::directory)
    return Failure{FailureCause::alreadyExists,
                   folder + " is there already, and is no empty folder"};
  return Done{};
}

}  // namespace

Result<ExtensionIdentifiers> writeExtension(const std::string& folder) {
  if (auto empty = checkEmpty(folder); !empty) return empty.failure();
  const std::string key = newPublicKey();
  const auto hash = sha256(bytesOf(key));
  const ExtensionIdentifiers identifiers = {
      digitsOf(hash, 16, "abcdefghijklmnop"),
      "extension-" + digitsOf(hash, 8, "0123456789abcdef") + "@corvane.example"};
  for (const auto& [name, content] : extensionFiles) {
    const std::string path = folder + "/" + std::string(name);
    std::string text(content);
    fillIn(text, "@KEY@", base64(key));
    fillIn(text, "@FIREFOX_ID@", identifiers.firefox);
    fillIn(text, "@HOST_NAME@", Product::hostName);
    if (auto made = makeFoldersOf(path); !made) return made.failure();
    if (auto written = writeNewFile(path, text, extensionFileMode); !written)
      return written.failure();
  }
  return identifiers;
}

}  // namespace corvane::Nmctl
