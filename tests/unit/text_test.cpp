#include "src/platform/text.h"

#include <gtest/gtest.h>
#include <windows.h>

namespace platform {
namespace {

TEST(LowerAscii, FoldsOnlyTheLettersAToZ) {
  std::wstring text = L"@AMZ[`amz{\u00C4\u00D6\u0414\u03A9";
  LowerAscii(text);
  EXPECT_EQ(text, L"@amz[`amz{\u00C4\u00D6\u0414\u03A9");
}

TEST(LowerAscii, LeavesBytesBeyondAsciiAlone) {
  std::string path = "C:\\QSF\\\xC4\xD6\x80\xFFNN.QSF";
  LowerAscii(path, 1252);
  EXPECT_EQ(path, "c:\\qsf\\\xC4\xD6\x80\xFFnn.qsf");
}

TEST(LowerAscii, LeavesTheSecondByteOfACharacterAlone) {
  // In 932: a katakana whose second byte is that of "A", one with that of "Z", and letters between.
  std::string path = "A\x83\x41Z\x83\x5A\x83";
  LowerAscii(path, 932);
  EXPECT_EQ(path, "a\x83\x41z\x83\x5A\x83");
  // A half-width katakana is a byte of its own, and so is everything in 1252.
  std::string single = "\xB1\x41\x83\x41";
  LowerAscii(single, 932);
  EXPECT_EQ(single, "\xB1\x61\x83\x41");
  LowerAscii(single, 1252);
  EXPECT_EQ(single, "\xB1\x61\x83\x61");
}

TEST(UpperAscii, RaisesOnlyTheLettersAToZ) {
  std::wstring text = L"@amz[`AMZ{\u00E4\u0434\u00DF";
  UpperAscii(text);
  EXPECT_EQ(text, L"@AMZ[`AMZ{\u00E4\u0434\u00DF");
}

TEST(FileNamePart, IsWhatFollowsTheLastBackslash) {
  EXPECT_EQ(FileNamePart("c:\\qsf\\ann.qsf", 1252), "ann.qsf");
  EXPECT_EQ(FileNamePart(L"c:\\qsf\\ann.qsf"), L"ann.qsf");
  EXPECT_EQ(FileNamePart("c:\\qsf\\", 1252), "");
}

TEST(FileNamePart, TheSecondByteOfACharacterIsNoBackslash) {
  for (const unsigned codePage : {932u, 936u, 950u}) {
    EXPECT_EQ(FileNamePart("c:\\\x83\x5C\x83\x5C.qsf", codePage), "\x83\x5C\x83\x5C.qsf");
    EXPECT_EQ(FileNamePart("\x83\x5C\\ann.qsf", codePage), "ann.qsf");
  }
  EXPECT_EQ(FileNamePart("c:\\\x83\x5C.qsf", 1252), ".qsf");
}

TEST(FileNamePart, WithoutABackslashIsTheWholePath) {
  EXPECT_EQ(FileNamePart("ann.qsf", 1252), "ann.qsf");
  EXPECT_EQ(FileNamePart("c:/qsf/ann.qsf", 1252), "c:/qsf/ann.qsf");
  EXPECT_EQ(FileNamePart("", 1252), "");
}

TEST(ToCodePage, ConvertsWhatTheCodePageHolds) {
  EXPECT_EQ(ToCodePage(L"ann@example.com", CP_THREAD_ACP), "ann@example.com");
  EXPECT_EQ(ToCodePage(L"\u00FC\u20AC", 1252), "\xFC\x80");
  EXPECT_EQ(ToCodePage(L"", CP_THREAD_ACP), "");
}

TEST(ToCodePage, ConvertsLongNamesWhole) {
  EXPECT_EQ(ToCodePage(std::wstring(5000, L'a'), CP_THREAD_ACP), std::string(5000, 'a'));
  EXPECT_EQ(ToCodePage(std::wstring(5000, L'\u4E2D'), CP_UTF8)->size(), 15000u);
}

TEST(ToCodePage, ReplacesWhatTheCodePageLacks) { EXPECT_EQ(ToCodePage(L"a\u4E2Db", 1252), "a?b"); }

TEST(ToCodePage, SaysWhenTheSystemRefuses) { EXPECT_FALSE(ToCodePage(L"a", 99999)); }

TEST(FromCodePage, GivesTheCharactersOfTheCodePage) {
  EXPECT_EQ(FromCodePage("\xFC\x80.qsf", 1252), L"\u00FC\u20AC.qsf");
  EXPECT_EQ(FromCodePage("\xE4\xB8\xAD", CP_UTF8), L"\u4E2D");
  EXPECT_EQ(FromCodePage("", 1252), L"");
}

}  // namespace
}  // namespace platform
