#include "src/console/console.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <thread>
#include <vector>

#include "tests/unit/captured_output.h"

namespace {

// The whole output of one PrintLine call.
template <typename... Argument>
std::wstring Printed(const wchar_t* format, Argument... arguments) {
  const CapturedOutput output;
  PrintLine(format, arguments...);
  return output.Text();
}

TEST(PrintLine, EndsEveryLine) { EXPECT_EQ(Printed(L"Done"), L"Done\n"); }

TEST(PrintLine, AnEmptyTextPrintsNothingAtAll) {
  EXPECT_EQ(Printed(L""), L"");
  EXPECT_EQ(Printed(L"%s", L""), L"");
}

TEST(PrintLine, ASingleBlankIsALine) { EXPECT_EQ(Printed(L" "), L" \n"); }

TEST(PrintLine, KeepsATrailingBlank) {
  EXPECT_EQ(Printed(L"Embedded stores: %s", L""), L"Embedded stores: \n");
}

TEST(PrintLine, TakesWideAndNarrowTexts) {
  EXPECT_EQ(Printed(L"%s|%hs|%ls", L"wide", "narrow", L"long"), L"wide|narrow|long\n");
}

TEST(PrintLine, FormatsNumbersAsTheMessagesNeedThem) {
  EXPECT_EQ(Printed(L"0x%x", E_FAIL), L"0x80004005\n");
  EXPECT_EQ(Printed(L"%d", 0xFFFFFFFFu), L"-1\n");
  EXPECT_EQ(Printed(L"%I64d KB", 5000000000LL), L"5000000000 KB\n");
  EXPECT_EQ(Printed(L"%04d-%02d", 7, 3), L"0007-03\n");
  EXPECT_EQ(Printed(L"%#010x", 2), L"0x00000002\n");
  EXPECT_EQ(Printed(L"\t%-20s|", L"-h -findUsers"), L"\t-h -findUsers       |\n");
}

TEST(PrintLine, Prints254CharactersWhole) {
  const std::wstring name(254, L'n');
  EXPECT_EQ(Printed(L"%s", name.c_str()), name + L"\n");
}

TEST(PrintLine, CutsLongerTextsTo254) {
  const std::wstring shown(254, L'n');
  EXPECT_EQ(Printed(L"%s", std::wstring(255, L'n').c_str()), shown + L"\n");
  EXPECT_EQ(Printed(L"%s", std::wstring(5000, L'n').c_str()), shown + L"\n");
  EXPECT_EQ(Printed(L"%s%hs", std::wstring(250, L'n').c_str(), "nnnnEND"), shown + L"\n");
}

TEST(PrintLine, ShowsANullText) { EXPECT_EQ(Printed(L"'%s'", nullptr), L"'(null)'\n"); }

TEST(PrintLine, NeverStoresThroughAnArgument) {
  char name[] = "CheckRepairQsf";
  EXPECT_EQ(Printed(L"%In hs.", name), L"%In hs.\n");
  EXPECT_STREQ(name, "CheckRepairQsf");
  int stored = 42;
  EXPECT_EQ(Printed(L"a%nb", &stored), L"a%nb\n");
  EXPECT_EQ(stored, 42);
}

TEST(PrintLine, APercentSignBeforeAnNIsNoStore) {
  EXPECT_EQ(Printed(L"%d%% no", 5), L"5% no\n");
  EXPECT_EQ(Printed(L"%dn", 5), L"5n\n");
}

TEST(PrintLine, ShowsLettersOfEveryScript) {
  EXPECT_EQ(Printed(L"%s", L"\u00E4\u03A9\u4E2D\U0001F600"), L"\u00E4\u03A9\u4E2D\U0001F600\n");
}

TEST(PrintLine, LinesOfManyThreadsNeverMix) {
  constexpr int kThreads = 8;
  constexpr int kLines = 400;
  const std::wstring text(60, L'x');
  std::wstring all;
  {
    const CapturedOutput output;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&] {
        for (int line = 0; line < kLines; ++line) PrintLine(L"<%s>", text.c_str());
      });
    }
    for (std::thread& thread : threads) thread.join();
    all = output.Text();
  }
  std::wstring expected;
  for (int i = 0; i < kThreads * kLines; ++i) expected += L"<" + text + L">\n";
  EXPECT_TRUE(all == expected);
}

}  // namespace
