#include "VCommons/VCommonsKit/LogFormat.h"

#include <gtest/gtest.h>

#include <boost/json/string.hpp>
#include <cstdint>
#include <optional>

#include "Base/ErrorObject.h"
#include "Base/Result.h"

namespace corvane {
namespace {

template <class... A>
std::string formatted(std::string_view text, const A&... arguments) {
  const std::initializer_list<LogArgument> list = {LogArgument(arguments)...};
  return formatLogText(text, {list.begin(), list.size()});
}

TEST(LogFormat, PrintsNumbersAsPrintfDoes) {
  EXPECT_EQ(formatted("%d|%5d|%-5d|%05d|%+d|% d|%.3d", 42, 42, 42, 42, 42, 42, 42),
            "42|   42|42   |00042|+42| 42|042");
  EXPECT_EQ(formatted("%x %hhd", std::int8_t{-1}, 300), "ff 300");
  EXPECT_EQ(formatted("%lld %llu %zu", INT64_MIN, UINT64_MAX, std::size_t{7}),
            "-9223372036854775808 18446744073709551615 7");
  EXPECT_EQ(formatted("%d %@", UINT64_MAX, INT64_MIN), "18446744073709551615 -9223372036854775808");
  EXPECT_EQ(formatted("%f %.1f %e %g %f", 1.5, 0.25, 1e10, 1e-5, 3),
            "1.500000 0.2 1.000000e+10 1e-05 3.000000");
  EXPECT_EQ(formatted("%c%C%p%p", 65, 0x20AC, reinterpret_cast<void*>(0xABC), nullptr),
            "A€0xabc0x0");
}

TEST(LogFormat, PrintsTheTextFormOfAnything) {
  EXPECT_EQ(formatted("%@ %@ %d", true, false, true), "true false 1");
  EXPECT_EQ(formatted("%@ %@ %s", "a", std::string("b"), boost::json::string("c")), "a b c");
  EXPECT_EQ(formatted("%@ %@ %@", 0.1, 3.0, 1.0 / 3), "0.1 3 0.3333333333333333");
  EXPECT_EQ(formatted("%@", Failure{FailureCause::other, "open: gone\n"}), "open: gone\\n");
  EXPECT_EQ(formatted("%@", [] { return "later"; }), "later");
  EXPECT_EQ(formatted("%@ %@", std::optional<int>(5), std::optional<std::string>()), "5 (null)");
  EXPECT_EQ(formatted("%2$@ %1$@ %3$@", 1, 2), "2 1 (null)");
}

TEST(LogFormat, EscapesArgumentsButNotFormats) {
  EXPECT_EQ(formatted("a\n%@\t%s%c", "x\ny\x1B[0m", "\xFF", 7), "a\nx\\ny\\x1B[0m\t\\xFF\\x07");
}

TEST(LogFormat, CutsLongValues) {
  const std::string most((16 << 10) - 1, 'a');
  const LogArgument list[] = {LogArgument(std::string_view(most).substr(3)), LogArgument("€")};
  EXPECT_EQ(formatted("%@", most + "\n"), most + "\\n");
  EXPECT_EQ(formatted("%s!", most + "€\n"), most + "… (4 bytes more)!");
  EXPECT_EQ(formatted("%.20000s", most + "\xFF\x80"), most + "… (2 bytes more)");
  EXPECT_EQ(formatted("%@", LogArgument(std::span<const LogArgument>(list))),
            "(" + most.substr(3) + ", … (4 bytes more)");
  const std::string text(70'000, 'b');
  const ErrorObject error{"D", 1, Dictionary{{"E", ErrorObject{"E", 2, Dictionary{{"b", text}}}}}};
  const std::string whole =
      "Error Domain=D Code=1 \"(null)\" UserInfo={E={Error Domain=E "
      "Code=2 \"(null)\" UserInfo={b=" +
      text + "}}}";
  const auto cut = [&](std::size_t length) {
    return whole.substr(0, length) + "… (" + std::to_string(whole.size() - length) + " bytes more)";
  };
  EXPECT_EQ(error.description(), cut(64 << 10));
  EXPECT_EQ(formatted("%@", error), cut(16 << 10));
}

TEST(LogFormat, MakesSomethingOfEveryMismatch) {
  EXPECT_EQ(formatted("%@ %d %s", 1), "1 (null) (null)");
  EXPECT_EQ(formatted("%d %f %x %p %c", "a", "b", 1.5, "c", "d"), "a b 1.5 c d");
  EXPECT_EQ(formatted("%@ %s", static_cast<const char*>(nullptr), nullptr), "(null) (null)");
  EXPECT_EQ(formatted("100%% %y %n % ", 1), "100% %y %n % ");
  EXPECT_EQ(formatted("%5"), "%5");
  EXPECT_EQ(formatted("%99999999999999999999d", 1).size(), 200U);
  EXPECT_EQ(formatted("%.*f", 1000000000, 1.0).size(), 202U);
}

}  // namespace
}  // namespace corvane
