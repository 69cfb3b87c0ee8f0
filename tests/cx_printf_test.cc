#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "cclog/cx.h"

namespace {

template <typename... A>
std::string Libc(const char *fmt, A... a) {
  int n = std::snprintf(nullptr, 0, fmt, a...);
  if (n < 0) return "<libc error>";
  std::string out(static_cast<size_t>(n) + 1, '\0');
  std::snprintf(out.data(), out.size(), fmt, a...);
  out.resize(static_cast<size_t>(n));
  return out;
}

template <typename... A>
std::string Ours(const char *fmt, A... a) {
  CxStringBuff sb;
  CxStatus st = CxStringBuffPrintf(&sb, fmt, a...);
  std::string out = CxOK(st) ? std::string(CxStringBuffPeekStr(&sb), sb.length)
                             : std::string("<status ") + CxStatusCode(st) + ">";
  CxStringBuffDiscard(&sb);
  return out;
}

// Collects mismatches so that a broken rule reports a few examples rather
// than thousands of failures.
class Mismatches {
 public:
  template <typename... A>
  void Check(const std::string &fmt, A... a) {
    ++checked_;
    std::string want = Libc(fmt.c_str(), a...);
    std::string got = Ours(fmt.c_str(), a...);
    if (want != got && list_.size() < 20) {
      list_.push_back("'" + fmt + "': libc '" + want.substr(0, 80) + "' ours '" + got.substr(0, 80) + "'");
    }
    if (want != got) ++count_;
  }
  void Expect() const {
    std::string all;
    for (const auto &m : list_) all += m + "\n";
    EXPECT_EQ(count_, 0u) << "of " << checked_ << " checks, e.g.\n" << all;
    EXPECT_GT(checked_, 0u);
  }

 private:
  std::vector<std::string> list_;
  size_t count_ = 0;
  size_t checked_ = 0;
};

// Every combination of the flags "-+ #0".
std::vector<std::string> AllFlags() {
  std::vector<std::string> out;
  const char flags[] = "-+ #0";
  for (int mask = 0; mask < 32; ++mask) {
    std::string f;
    for (int i = 0; i < 5; ++i) {
      if (mask & (1 << i)) f += flags[i];
    }
    out.push_back(f);
  }
  return out;
}

template <typename T>
void CheckIntegers(Mismatches *m, const std::string &length, const std::vector<T> &values) {
  const char *widths[] = {"", "1", "9"};
  const char *precs[] = {"", ".", ".0", ".3", ".12"};
  for (const std::string &flags : AllFlags()) {
    for (const char *w : widths) {
      for (const char *p : precs) {
        for (char conv : std::string("diouxX")) {
          std::string fmt = "%" + flags + w + p + length + conv;
          for (T v : values) m->Check("<" + fmt + ">", v);
        }
      }
    }
  }
}

TEST(CxPrintfTest, IntegerConversionsMatchLibc) {
  Mismatches m;
  CheckIntegers<int>(&m, "", {0, 1, -1, 42, -42, 255, 65536, INT_MAX, INT_MIN});
  CheckIntegers<int>(&m, "hh", {0, 127, 128, 300, -1, -129});
  CheckIntegers<int>(&m, "h", {0, 32767, 32768, 70000, -1});
  CheckIntegers<long>(&m, "l", {0L, -1L, LONG_MAX, LONG_MIN, 1234567890123L});
  CheckIntegers<long long>(&m, "ll", {0LL, -1LL, LLONG_MAX, LLONG_MIN});
  CheckIntegers<intmax_t>(&m, "j", {intmax_t{-5}, INTMAX_MAX});
  CheckIntegers<size_t>(&m, "z", {size_t{0}, SIZE_MAX});
  CheckIntegers<ptrdiff_t>(&m, "t", {ptrdiff_t{-7}, PTRDIFF_MAX});
  m.Expect();
}

TEST(CxPrintfTest, LengthsLibcDoesNotKnowActAsLongLong) {
  EXPECT_EQ(Ours("%I64d %qd %Zu", -9000000000LL, 9000000000LL, size_t{7}), "-9000000000 9000000000 7");
  EXPECT_EQ(Ours("%I64x", 0xfedcba9876543210ULL), "fedcba9876543210");
}

TEST(CxPrintfTest, FloatingConversionsMatchLibc) {
  Mismatches m;
  const char *widths[] = {"", "1", "14"};
  const char *precs[] = {"", ".", ".0", ".3", ".17"};
  const double values[] = {0.0, -0.0, 1.0, -1.5, 0.1, 3.14159265358979, 1e-10, 123456.789,
                           1e300, -2.5e-308, INFINITY, -INFINITY, NAN};
  for (const std::string &flags : AllFlags()) {
    for (const char *w : widths) {
      for (const char *p : precs) {
        for (char conv : std::string("eEfFgGaA")) {
          std::string fmt = "%" + flags + w + p + conv;
          for (double v : values) m.Check(fmt, v);
        }
      }
    }
  }
  for (char conv : std::string("eEfFgGaA")) {
    for (long double v : {0.0L, -1.25L, 1e4000L, LDBL_MIN, 1.0L / 3}) {
      m.Check(std::string("%L") + conv, v);
      m.Check(std::string("%+#20.8L") + conv, v);
      m.Check(std::string("%-12.2L") + conv, v);
    }
  }
  m.Expect();
}

TEST(CxPrintfTest, CharStringPointerAndPercentMatchLibc) {
  Mismatches m;
  const char *widths[] = {"", "1", "8"};
  const char *precs[] = {"", ".", ".0", ".2", ".6", ".30"};
  const char *strings[] = {"", "a", "hello", "a considerably longer string", nullptr};
  const char *flagSets[] = {"", "-", "0", "-0", "+ #"};
  for (const char *f : flagSets) {
    for (const char *w : widths) {
      for (const char *p : precs) {
        for (const char *s : strings) m.Check(std::string("<%") + f + w + p + "s>", s);
        for (int c : {0x61, 0x20, 0, 0xe9}) m.Check(std::string("<%") + f + w + "c>", c);
        for (const void *ptr : {static_cast<const void *>(nullptr), reinterpret_cast<const void *>(0x1234),
                                reinterpret_cast<const void *>(UINTPTR_MAX)}) {
          m.Check(std::string("<%") + f + w + p + "p>", ptr);
        }
      }
    }
  }
  m.Check("100%% sure, %d%%", 5);
  m.Check("<%5%>", 0);
  m.Check("%+p|% p", reinterpret_cast<void *>(0x10), reinterpret_cast<void *>(0x10));
  m.Check("%*d|%-*d|%*d", 6, 42, 6, 42, -6, 42);
  m.Check("%.*d|%*.*f|%.*s", 5, 42, 10, 2, 3.14159, 3, "abcdef");
  m.Check("%.*d", -3, 42);
  m.Check("", 0);
  m.Check("plain text only", 0);
  m.Expect();
}

TEST(CxPrintfTest, PositionalArgumentsMatchLibc) {
  EXPECT_EQ(Ours("%2$s %1$s", "a", "b"), "b a");
  Mismatches m;
  m.Check("%2$s %1$s", "a", "b");
  m.Check("%1$d %1$x %1$o %1$d", 255);
  m.Check("%3$s-%1$d-%2$c", 7, 'x', "str");
  m.Check("[%1$*2$d]", 42, 6);
  m.Check("[%1$-*2$.*3$f]", 2.5, 12, 3);
  m.Check("[%2$*1$d]", -8, 99);
  m.Check("[%*3$d]", 42, 7, 6);
  m.Check("[%*3$d %d]", 42, 7, 6);
  m.Check("%1$s %3$s", "a", 5, "c");  // argument 2 is never used
  m.Check("%2$lld %1$hhd %3$Lf %4$p", 300, -5LL, 1.5L, static_cast<void *>(nullptr));
  m.Check("%1$s%%%2$d", "x", 5);
  m.Expect();
}

// Fills sb with text so that a failing call can be seen to leave it alone.
std::string FailedCallLeaves(CxStatus expected, CxStatus got, CxStringBuff *sb) {
  EXPECT_EQ(CxStatusCode(got), CxStatusCode(expected));
  return std::string(CxStringBuffPeekStr(sb), sb->length);
}

TEST(CxPrintfTest, MixedPositionalAndSequentialIsInvalid) {
  for (const char *fmt : {"%1$d %d", "%d %2$d", "%1$*d", "%1$.*d", "%2$s %s"}) {
    CxStringBuff sb;
    ASSERT_TRUE(CxOK(CxStringBuffAppendStr(&sb, "keep")));
    CxStatus st = CxStringBuffPrintf(&sb, fmt, 1, 2, 3);
    EXPECT_EQ(FailedCallLeaves(CxOtherError(CX_CODE_INVALID), st, &sb), "keep") << fmt;
    CxStringBuffDiscard(&sb);
  }
}

TEST(CxPrintfTest, UnknownConversionsAreWrittenLiterally) {
  EXPECT_EQ(Ours("a%yb %d", 5), "a%yb 5");
  EXPECT_EQ(Ours("<%-5k|%n|%Id> %d", 7), "<%-5k|%n|%Id> 7");
  EXPECT_EQ(Ours("trailing %", 0), "trailing %");
  EXPECT_EQ(Ours("cut %5", 0), "cut %5");
}

TEST(CxPrintfTest, StringPrecisionNeverReadsPastIt) {
  const char unterminated[3] = {'a', 'b', 'c'};
  EXPECT_EQ(Ours("%.3s|%.2s|%5.1s", unterminated, unterminated, unterminated), "abc|ab|    a");
  const wchar_t wide[2] = {L'x', 0x20AC};
  EXPECT_EQ(Ours("%.4S", wide), "x\xE2\x82\xAC");
}

TEST(CxPrintfTest, WideCharactersBecomeUTF8) {
  EXPECT_EQ(Ours("%C%lc%C", static_cast<wint_t>(L'A'), static_cast<wint_t>(0xE9), static_cast<wint_t>(0x1F600)),
            "A\xC3\xA9\xF0\x9F\x98\x80");
  EXPECT_EQ(Ours("[%3C]", static_cast<wint_t>(0xE9)), "[ \xC3\xA9]");
  EXPECT_EQ(Ours("%S|%ls|%-8S|", L"abc", L"\u00e9t\u00e9", L"\u20ac"), "abc|\xC3\xA9t\xC3\xA9|\xE2\x82\xAC     |");
  // The precision counts bytes and does not cut a character in two.
  EXPECT_EQ(Ours("[%.3S]", L"\u00e9\u00e9"), "[\xC3\xA9]");
  EXPECT_EQ(Ours("%S", static_cast<const wchar_t *>(nullptr)), "(null)");

  CxStringBuff sb;
  ASSERT_TRUE(CxOK(CxStringBuffAppendStr(&sb, "keep")));
  EXPECT_EQ(FailedCallLeaves(CxOtherError(CX_CODE_INVALID),
                             CxStringBuffPrintf(&sb, "%d %C", 5, static_cast<wint_t>(0xD800)), &sb),
            "keep");
  const wchar_t bad[] = {L'a', static_cast<wchar_t>(0x110000), 0};
  EXPECT_EQ(FailedCallLeaves(CxOtherError(CX_CODE_INVALID), CxStringBuffPrintf(&sb, "%S", bad), &sb), "keep");
  CxStringBuffDiscard(&sb);
}

TEST(CxPrintfTest, AppendsToExistingTextAndGrowsForLongOutput) {
  CxStringBuff sb;
  ASSERT_TRUE(CxOK(CxStringBuffAppendStr(&sb, "head:")));
  ASSERT_TRUE(CxOK(CxStringBuffPrintf(&sb, "%d/%s", 1, "x")));
  EXPECT_STREQ(sb.text, "head:1/x");
  std::string big(3000, 'q');
  ASSERT_TRUE(CxOK(CxStringBuffPrintf(&sb, "%s|%.2000f|%5000d", big.c_str(), 1.0, 7)));
  EXPECT_EQ(sb.length, 8 + 3000 + 1 + 2002 + 1 + 5000u);
  EXPECT_EQ(std::string(sb.text, sb.length), "head:1/x" + big + "|1." + std::string(2000, '0') + "|" + std::string(4999, ' ') + "7");
  EXPECT_EQ(sb.capacity, 16384u);
  CxStringBuffDiscard(&sb);
}

// ---- typed argument lists ---------------------------------------------------------

CxPrintfArg I32(int32_t v) {
  CxPrintfArg a{};
  a.type = CX_ARG_INT32;
  a.v.i32 = v;
  return a;
}
CxPrintfArg I64(int64_t v) {
  CxPrintfArg a{};
  a.type = CX_ARG_INT64;
  a.v.i64 = v;
  return a;
}
CxPrintfArg LD(long double v) {
  CxPrintfArg a{};
  a.type = CX_ARG_LDOUBLE;
  a.v.ld = v;
  return a;
}
CxPrintfArg Ch(int v) {
  CxPrintfArg a{};
  a.type = CX_ARG_CHAR;
  a.v.ch = v;
  return a;
}
CxPrintfArg Str(const char *v) {
  CxPrintfArg a{};
  a.type = CX_ARG_STRING;
  a.v.s = v;
  return a;
}

std::string Args(const char *fmt, std::vector<CxPrintfArg> args) {
  CxStringBuff sb;
  CxStatus st = CxStringBuffPrintfArgs(&sb, fmt, args.data(), args.size());
  std::string out = CxOK(st) ? std::string(CxStringBuffPeekStr(&sb), sb.length)
                             : std::string("<status ") + CxStatusCode(st) + ">";
  CxStringBuffDiscard(&sb);
  return out;
}

TEST(CxPrintfArgsTest, BindsTypedArgumentsByPositionOrOrder) {
  EXPECT_EQ(Args("%2$s %1$s", {Str("a"), Str("b")}), "b a");
  EXPECT_EQ(Args("%s has %d items (%c) at %.2f", {Str("cart"), I32(3), Ch('z'), LD(9.5)}),
            "cart has 3 items (z) at 9.50");
  EXPECT_EQ(Args("%d %u %x", {I64(-9000000000LL), I32(-1), I64(-1)}), "-9000000000 4294967295 ffffffffffffffff");
  EXPECT_EQ(Args("%hhd|%5d|%-5d|", {I32(300), I32(42), I64(7)}), "44|   42|7    |");
  EXPECT_EQ(Args("%*d|%.*f", {I32(5), I32(1), I32(2), LD(0.125L)}), "    1|0.12");
  EXPECT_EQ(Args("%e|%Lg", {LD(1234.5L), LD(1.0L / 3)}), Libc("%e|%Lg", 1234.5, 1.0L / 3));
  EXPECT_EQ(Args("%f", {I32(3)}), "3.000000");
}

TEST(CxPrintfArgsTest, MismatchedTypesUseTheirOwnConversion) {
  EXPECT_EQ(Args("%s|%s|%s", {I32(42), LD(1.5L), Ch('q')}), "42|1.500000|q");
  EXPECT_EQ(Args("%d|%5x|%c", {Str("text"), Str("ab"), Str("str")}), "text|   ab|str");
  EXPECT_EQ(Args("%d", {LD(2.25L)}), "2.250000");
}

TEST(CxPrintfArgsTest, MissingArgumentFailsWithoutTouchingTheBuffer) {
  const CxPrintfArg two[] = {Str("a"), Str("b")};
  for (const char *fmt : {"%s %s %s", "%3$s", "%*s %s", "%1$s %1$.*3$s"}) {
    CxStringBuff sb;
    ASSERT_TRUE(CxOK(CxStringBuffAppendStr(&sb, "keep")));
    CxStatus st = CxStringBuffPrintfArgs(&sb, fmt, two, 2);
    EXPECT_EQ(FailedCallLeaves(CxOtherError(CX_CODE_ARGUMENT), st, &sb), "keep") << fmt;
    CxStringBuffDiscard(&sb);
  }
  EXPECT_EQ(Args("no conversions", {}), "no conversions");
  EXPECT_EQ(Args("%s", {Str("a"), Str("extra")}), "a");
  // A '*' that is not given an integer is an invalid call.
  EXPECT_EQ(Args("%*d", {Str("wide"), I32(1)}), "<status e>");
}

// ---- thousands grouping -----------------------------------------------------------

TEST(CxPrintfTest, ThousandSeparatorGroupsFromTheRight) {
  EXPECT_EQ(cxPrintfDoThousandSep("1234567", ",", "\3"), "1,234,567");
  EXPECT_EQ(cxPrintfDoThousandSep("123456", ",", "\3"), "123,456");
  EXPECT_EQ(cxPrintfDoThousandSep("123", ",", "\3"), "123");
  EXPECT_EQ(cxPrintfDoThousandSep("", ",", "\3"), "");
  // Sizes in turn, the last one repeated.
  EXPECT_EQ(cxPrintfDoThousandSep("123456789", ",", "\3\2"), "12,34,56,789");
  EXPECT_EQ(cxPrintfDoThousandSep("123456789", ".", "\1\2\3"), "123.456.78.9");
  // CHAR_MAX stops grouping; a multi-byte separator is copied whole.
  EXPECT_EQ(cxPrintfDoThousandSep("1234567", ",", "\3\177"), "1234,567");
  EXPECT_EQ(cxPrintfDoThousandSep("1234567", "\u202f", "\3"), "1\u202f234\u202f567");
  // No separator, no grouping, a first group of 0 or of 255: unchanged.
  EXPECT_EQ(cxPrintfDoThousandSep("1234567", "", "\3"), "1234567");
  EXPECT_EQ(cxPrintfDoThousandSep("1234567", ",", ""), "1234567");
  EXPECT_EQ(cxPrintfDoThousandSep("1234567", ",", "\0\3"), "1234567");
  EXPECT_EQ(cxPrintfDoThousandSep("1234567", ",", "\377"), "1234567");
}

// Runs the check with the calling thread switched to a locale.
class ScopedLocale {
 public:
  explicit ScopedLocale(const char *name) : loc_(newlocale(LC_ALL_MASK, name, static_cast<locale_t>(0))) {
    if (loc_ != static_cast<locale_t>(0)) old_ = uselocale(loc_);
  }
  ~ScopedLocale() {
    if (loc_ != static_cast<locale_t>(0)) {
      uselocale(old_);
      freelocale(loc_);
    }
  }
  bool ok() const { return loc_ != static_cast<locale_t>(0); }

 private:
  locale_t loc_;
  locale_t old_ = static_cast<locale_t>(0);
};

TEST(CxPrintfTest, GroupingFlagUsesTheCurrentLocale) {
  {
    ScopedLocale c("C");
    ASSERT_TRUE(c.ok());
    EXPECT_EQ(Ours("%'d", 1234567), "1234567");
  }
  ScopedLocale us("en_US.UTF-8");
  if (!us.ok()) GTEST_SKIP() << "locale en_US.UTF-8 is not installed";
  EXPECT_EQ(Ours("%'d", 1234567), "1,234,567");
  EXPECT_EQ(Ours("%'d|%'u|%'12d|%-'12d|%'d", -1234567, 1000u, 1234567, 1234567, 999),
            "-1,234,567|1,000|   1,234,567|1,234,567   |999");
  // Grouping applies to decimal conversions only.
  EXPECT_EQ(Ours("%'x|%'o", 0x123456, 01234567), "123456|1234567");
  EXPECT_EQ(Ours("%'.2f", 1234567.891), "1,234,567.89");
}

}  // namespace
