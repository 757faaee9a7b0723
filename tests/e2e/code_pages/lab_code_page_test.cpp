// The lab's side of the tests in this folder.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>

namespace e2e {
namespace {

TEST(LabCodePageTest, IsTheOneThatWasAskedFor) {
  std::wstring asked(8, L'\0');
  asked.resize(GetEnvironmentVariableW(L"QRV_LAB_CODE_PAGE", asked.data(), 8));
  EXPECT_EQ(std::to_wstring(GetACP()), asked);
}

}  // namespace
}  // namespace e2e
