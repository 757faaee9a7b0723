#include "src/program/program_name.h"

#include <gtest/gtest.h>

namespace {

TEST(ProgramShortName, IsTheLastComponentWithoutItsExtension) {
  EXPECT_EQ(ProgramShortName(L"C:\\tools\\qrvadmin.exe"), L"qrvadmin");
  EXPECT_EQ(ProgramShortName(L"qrvadmin.exe"), L"qrvadmin");
}

TEST(ProgramShortName, IsCutAtTheLastDotOnly) {
  EXPECT_EQ(ProgramShortName(L"my.admin.exe"), L"my.admin");
  EXPECT_EQ(ProgramShortName(L"qsfscan.v2.exe"), L"qsfscan.v2");
}

TEST(ProgramShortName, KeepsANameWithoutADot) {
  EXPECT_EQ(ProgramShortName(L"C:\\my.tools\\qrvadmin"), L"qrvadmin");
}

TEST(ProgramShortName, TakesASlashForAnOrdinaryCharacter) {
  EXPECT_EQ(ProgramShortName(L"./qrvadmin.exe"), L"./qrvadmin");
  EXPECT_EQ(ProgramShortName(L"../bin/qrvadmin"), L".");
}

TEST(ProgramShortName, OfNothingIsNothing) {
  EXPECT_EQ(ProgramShortName(L""), L"");
  EXPECT_EQ(ProgramShortName(L".exe"), L"");
  EXPECT_EQ(ProgramShortName(L"C:\\tools\\"), L"");
}

TEST(ProgramShortName, IsBounded) {
  EXPECT_EQ(ProgramShortName(std::wstring(400, L'q').c_str()), std::wstring(259, L'q'));
}

}  // namespace
