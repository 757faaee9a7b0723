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
  LowerAscii(path);
  EXPECT_EQ(path, "c:\\qsf\\\xC4\xD6\x80\xFFnn.qsf");
}

TEST(UpperAscii, RaisesOnlyTheLettersAToZ) {
  std::wstring text = L"@amz[`AMZ{\u00E4\u0434\u00DF";
  UpperAscii(text);
  EXPECT_EQ(text, L"@AMZ[`AMZ{\u00E4\u0434\u00DF");
}

TEST(FileNamePart, IsWhatFollowsTheLastBackslash) {
  EXPECT_EQ(FileNamePart(std::string_view("c:\\qsf\\ann.qsf")), "ann.qsf");
  EXPECT_EQ(FileNamePart(std::wstring_view(L"c:\\qsf\\ann.qsf")), L"ann.qsf");
  EXPECT_EQ(FileNamePart(std::string_view("c:\\qsf\\")), "");
}

TEST(FileNamePart, WithoutABackslashIsTheWholePath) {
  EXPECT_EQ(FileNamePart(std::string_view("ann.qsf")), "ann.qsf");
  EXPECT_EQ(FileNamePart(std::string_view("c:/qsf/ann.qsf")), "c:/qsf/ann.qsf");
  EXPECT_EQ(FileNamePart(std::string_view("")), "");
}

TEST(ToThreadCodePage, ConvertsWhatTheCodePageHolds) {
  EXPECT_EQ(ToThreadCodePage(L"ann@example.com"), "ann@example.com");
  EXPECT_EQ(ToThreadCodePage(L""), "");
}

TEST(ToThreadCodePage, ConvertsLongNamesWhole) {
  const std::wstring name(5000, L'a');
  EXPECT_EQ(ToThreadCodePage(name), std::string(5000, 'a'));
}

TEST(ToThreadCodePage, ReplacesWhatTheCodePageLacks) {
  if (GetACP() == CP_UTF8) GTEST_SKIP() << "this system's code page holds every character";
  EXPECT_EQ(ToThreadCodePage(L"a\u4E2Db"), "a?b");
}

}  // namespace
}  // namespace platform
