// How every platform compares texts without letter case.
#include "miscdisc/platform/string_compare.h"

#include <gtest/gtest.h>

namespace {

TEST(StringCompareTest, FoldsLetterCaseInEveryScript) {
  struct {
    const wchar_t *a, *b;
    bool same;
  } const cases[] = {
      {L"", L"", true},
      {L"Material", L"mATERIAL", true},
      {L"Material", L"Materia", false},
      {L"a", L"b", false},
      {L"\u00C9t\u00E9", L"\u00E9T\u00C9", true},            // e with acute
      {L"\u03A3\u03C3\u03C2", L"\u03C3\u03C2\u03A3", true},  // three forms of sigma
      {L"\u0416", L"\u0436", true},                          // Cyrillic
      {L"\u212A", L"k", true},                               // Kelvin sign
      {L"\u017F", L"S", true},                               // long s
      {L"\u00B5", L"\u03BC", true},                          // micro sign and mu
      {L"\u00DF", L"\u1E9E", true},                          // sharp s
      {L"\u00DF", L"ss", false},                             // one character stays one
      {L"\u0130", L"i", false},                              // Turkish letters stand alone
      {L"\u0131", L"I", false},
      {L"\U00010400", L"\U00010428", true},  // beyond 16 bits
      {L"\U0001F3AC", L"\U0001F3AC", true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Qx::compareCaseInsensitive(c.a, c.b), c.same) << Qx::UTF8FromWString(c.a);
    EXPECT_EQ(Qx::compareCaseInsensitive(c.b, c.a), c.same) << Qx::UTF8FromWString(c.a);
  }
  EXPECT_TRUE(Qx::compareCaseInsensitive(WString{0xDCFF}, WString{0xDCFF}));
  EXPECT_FALSE(Qx::compareCaseInsensitive(WString{0xDCFF}, WString{0xDCFE}));
}

TEST(StringCompareTest, EndingsAndBeginningsTakeCaseOrNot) {
  EXPECT_TRUE(Qx::endsWith(L"/a/B", L"/b", false));
  EXPECT_FALSE(Qx::endsWith(L"/a/B", L"/b", true));
  EXPECT_TRUE(Qx::endsWith(L"/a/", L'/', true));
  EXPECT_FALSE(Qx::endsWith(L"", L'/', true));
  EXPECT_TRUE(Qx::startsWith(L"Room 1", L"room", false));
  EXPECT_FALSE(Qx::startsWith(L"Room 1", L"room", true));
}

}  // namespace
