#include "tools/corvane-nmctl/Sha256.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace corvane::Nmctl {
namespace {

TEST(Sha256Test, HashesWhatThePaddingJustFitsAndWhatItDoesNot) {
  using namespace std::string_view_literals;
  EXPECT_EQ(textOf(sha256({})),
            "\xe3\xb0\xc4\x42\x98\xfc\x1c\x14\x9a\xfb\xf4\xc8\x99\x6f\xb9\x24"
            "\x27\xae\x41\xe4\x64\x9b\x93\x4c\xa4\x95\x99\x1b\x78\x52\xb8\x55"sv);
  EXPECT_EQ(textOf(sha256(bytesOf("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"sv))),
            "\x24\x8d\x6a\x61\xd2\x06\x38\xb8\xe5\xc0\x26\x93\x0c\x3e\x60\x39"
            "\xa3\x3c\xe4\x59\x64\xff\x21\x67\xf6\xec\xed\xd4\x19\xdb\x06\xc1"sv);
}

}  // namespace
}  // namespace corvane::Nmctl
