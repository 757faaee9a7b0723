#include "src/run/tool_process.h"

#include <gtest/gtest.h>
// shellapi.h wants windows.h first.
#include <shellapi.h>

#include "src/platform/text.h"

namespace {

using List = std::vector<std::wstring>;

constexpr wchar_t kProgram[] = L"C:\\Program Files\\Tools\\qrvadmin.exe";

// The system's own reading of a command line.
List TakenApart(const std::wstring& commandLine) {
  int count = 0;
  wchar_t** const arguments = CommandLineToArgvW(commandLine.c_str(), &count);
  if (!arguments) return {};
  List list(arguments, arguments + count);
  LocalFree(arguments);
  return list;
}

// What a program finds on its command line when it is given these arguments.
List Found(const List& arguments) {
  List list = TakenApart(CommandLineOf(kProgram, arguments));
  EXPECT_FALSE(list.empty());
  if (list.empty()) return {};
  EXPECT_EQ(list.front(), kProgram);
  list.erase(list.begin());
  return list;
}

TEST(CommandLineOf, WithoutArgumentsIsTheProgramsPathAlone) {
  EXPECT_EQ(CommandLineOf(kProgram, {}), L"\"C:\\Program Files\\Tools\\qrvadmin.exe\"");
  EXPECT_EQ(Found({}), List{});
}

TEST(CommandLineOf, PlainArgumentsStandAsTheyAre) {
  EXPECT_EQ(
      CommandLineOf(L"q.exe", {L"-checkQsf", L"-p", L"Outlook", L"C:\\a\\b.qsf", L"a'b&|<>^%"}),
      L"\"q.exe\" -checkQsf -p Outlook C:\\a\\b.qsf a'b&|<>^%");
}

TEST(CommandLineOf, ArgumentsWithSpacesAreQuotedOnce) {
  EXPECT_EQ(CommandLineOf(L"q.exe", {L"my profile"}), L"\"q.exe\" \"my profile\"");
}

TEST(CommandLineOf, EachHostileArgumentArrivesWhole) {
  for (const wchar_t* argument : {L"",
                                  L" ",
                                  L"   ",
                                  L"\t",
                                  L"a\tb",
                                  L"a b",
                                  L" a ",
                                  L"line\nend",
                                  L"line\r\nend",
                                  L"\n",
                                  L"\r",
                                  L"\v",
                                  L"\f",
                                  L"\"",
                                  L"\"\"",
                                  L"\"\"\"",
                                  L"a\"b",
                                  L"a \"quoted\" word",
                                  L"\\",
                                  L"\\\\",
                                  L"\\\\\\",
                                  L"\\\"",
                                  L"\\\\\"",
                                  L"\\\\\\\"",
                                  L"a\\\"b",
                                  L"a\\\\\"b",
                                  L"a b\\",
                                  L"a b\\\\",
                                  L"a b\\\\\\",
                                  L"C:\\Program Files\\",
                                  L"C:\\Folder\\",
                                  L"\\\\server\\share\\",
                                  L"\\\\server\\my share\\",
                                  L"a\\b c\\d",
                                  L"\\ \\",
                                  L"\" \\\" \\\\",
                                  L"\"ends\\\\\"",
                                  L"*.qsf",
                                  L"?",
                                  L"%PATH%",
                                  L"^&|<>()!;,=",
                                  L"'single quotes'",
                                  L"/p",
                                  L"--",
                                  L"\u00a0",
                                  L"M\u00fcller Gro\u00df",
                                  L"\u0438\u043c\u044f \u0444\u0430\u0439\u043b\u0430",
                                  L"\u4e2d\u6587\u3000\u540d",
                                  L"\u05e9\u05dc\u05d5\u05dd \u0633\u0644\u0627\u0645",
                                  L"\xd83d\xde00 \xd83d\xde00"}) {
    EXPECT_EQ(Found({argument}), List{argument});
    // Between others, where a quote that is not ended would swallow what follows.
    EXPECT_EQ(Found({L"-p", argument, L"last one"}), (List{L"-p", argument, L"last one"}));
    EXPECT_EQ(Found({argument, argument}), (List{argument, argument}));
  }
}

TEST(CommandLineOf, EveryShortArgumentArrivesWhole) {
  constexpr std::wstring_view kCharacters = L"\\\" \ta";
  constexpr int kLength = 5;
  std::vector<size_t> digits;
  size_t wrong = 0;
  // Every text of up to kLength of the characters that matter.
  while (digits.size() <= kLength) {
    std::wstring argument;
    for (const size_t digit : digits) argument += kCharacters[digit];
    if (Found({argument, L"b"}) != List{argument, L"b"}) {
      ++wrong;
      if (wrong <= 3) ADD_FAILURE() << '[' << ::testing::PrintToString(argument) << ']';
    }
    size_t place = 0;
    while (place < digits.size() && ++digits[place] == kCharacters.size()) digits[place++] = 0;
    if (place == digits.size()) digits.push_back(0);
  }
  EXPECT_EQ(wrong, 0u);
}

TEST(CommandLineOf, AnArgumentOfAnyLengthArrivesWhole) {
  const std::wstring longest(30000, L'n');
  EXPECT_EQ(Found({longest, L"b"}), (List{longest, L"b"}));
}

TEST(ToolPath, IsInTheFolderOfTheRunningProgram) {
  std::wstring own(32768, L'\0');
  own.resize(GetModuleFileNameW(nullptr, own.data(), static_cast<DWORD>(own.size())));
  const std::wstring tool = ToolPath();
  EXPECT_TRUE(tool.ends_with(L"\\qrvadmin.exe")) << tool;
  EXPECT_EQ(tool.substr(0, tool.rfind(L'\\')), own.substr(0, own.rfind(L'\\')));
}

}  // namespace
