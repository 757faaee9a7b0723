#include "src/scan/qsf_paths.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <new>
#include <string>
#include <vector>

#include "src/platform/text.h"
#include "tests/unit/captured_output.h"
#include "tests/unit/failing_allocation.h"

namespace {

constexpr wchar_t kProfile[] = L"QrvUnitTestProfile";

// A profile where MAPI keeps it as long as no Outlook is registered.
class GetQsfPathsTest : public ::testing::Test {
 protected:
  ~GetQsfPathsTest() override { RegDeleteTreeW(HKEY_CURRENT_USER, key_.c_str()); }

  // A root store's section. The registry lists sections by their names.
  void AddSection(const wchar_t* section, const std::wstring& path) const {
    const std::wstring key = key_ + L'\\' + section;
    SetText(key, L"001f3d09", L"LSMS");
    SetText(key, L"001f6700", path);
  }

 private:
  static void SetText(const std::wstring& key, const wchar_t* name, const std::wstring& text) {
    const auto size = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
    ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, key.c_str(), name, REG_BINARY, text.c_str(), size),
              ERROR_SUCCESS);
  }

  const std::wstring key_ =
      std::wstring(
          L"Software\\Microsoft\\Windows NT\\CurrentVersion\\Windows Messaging "
          L"Subsystem\\Profiles\\") +
      kProfile;
};

// What the function prints of an exception.
std::wstring Caught(const std::exception& exception) {
  return L"getQsfPaths: caught " + platform::FromCodePage(exception.what(), CP_ACP) + L"\n";
}

TEST_F(GetQsfPathsTest, AnExceptionIsToldAndThePathsBeforeItAreReturned) {
  const std::wstring longPath(50000, L'b');
  AddSection(L"1", L"c:\\a.qsf");
  AddSection(L"2", longPath);
  AddSection(L"3", L"c:\\c.qsf");
  EXPECT_EQ(getQsfPaths(kProfile, 0, 0),
            (std::vector<std::wstring>{L"c:\\a.qsf", longPath, L"c:\\c.qsf"}));

  const CapturedOutput output;
  const FailingAllocation failing(longPath.size());
  EXPECT_EQ(getQsfPaths(kProfile, 0, 0), std::vector<std::wstring>{L"c:\\a.qsf"});
  EXPECT_EQ(output.Text(), Caught(std::bad_alloc()));
}

TEST_F(GetQsfPathsTest, AnExceptionBeforeTheProfileIsOpenedLeavesNoPath) {
  const std::wstring longName(50000, L'p');
  const CapturedOutput output;
  const FailingAllocation failing(longName.size());
  EXPECT_TRUE(getQsfPaths(longName, 0, 0).empty());
  EXPECT_EQ(output.Text(), Caught(std::bad_alloc()));
}

}  // namespace
