// What Windows reads in the three files before it runs them: the version that it shows, and what
// they ask of the system.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <vector>

#include "src/platform/handle.h"
#include "tests/e2e/support/directory.h"
#include "tests/e2e/support/output.h"

namespace e2e {
namespace {

// The version resource of an executable file.
class VersionResource {
 public:
  explicit VersionResource(const std::wstring& path)
      : bytes_(::GetFileVersionInfoSizeW(path.c_str(), nullptr)) {
    if (!::GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(bytes_.size()), bytes_.data())) {
      bytes_.clear();
    }
  }

  // A text of the English block, or "(none)".
  std::wstring Text(const std::wstring& name) const {
    const wchar_t* text = nullptr;
    UINT length = 0;
    return Query(L"\\StringFileInfo\\040904B0\\" + name, &text, &length) ? text : L"(none)";
  }

  // The file's version as numbers, "1.2.3.0", or "(none)".
  std::wstring FileVersion() const {
    const VS_FIXEDFILEINFO* info = nullptr;
    UINT length = 0;
    if (!Query(L"\\", &info, &length)) return L"(none)";
    return std::to_wstring(HIWORD(info->dwFileVersionMS)) + L"." +
           std::to_wstring(LOWORD(info->dwFileVersionMS)) + L"." +
           std::to_wstring(HIWORD(info->dwFileVersionLS)) + L"." +
           std::to_wstring(LOWORD(info->dwFileVersionLS));
  }

 private:
  template <typename T>
  bool Query(const std::wstring& block, const T** value, UINT* length) const {
    void* found = nullptr;
    if (bytes_.empty() || !::VerQueryValueW(bytes_.data(), block.c_str(), &found, length)) {
      return false;
    }
    *value = static_cast<const T*>(found);
    return true;
  }

  std::vector<BYTE> bytes_;
};

// The manifest of an executable file, empty when there is none.
std::string ManifestOf(const std::wstring& path) {
  const platform::ModuleHandle module(
      ::LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
  const HRSRC resource = ::FindResourceW(module.Get(), MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(24));
  const HGLOBAL loaded = resource ? ::LoadResource(module.Get(), resource) : nullptr;
  if (!loaded) return {};
  return {static_cast<const char*>(::LockResource(loaded)),
          ::SizeofResource(module.Get(), resource)};
}

size_t Count(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

struct FileCase {
  const wchar_t* name;
  const wchar_t* originalName;
  const wchar_t* description;
};

class ResourcesTest : public ::testing::TestWithParam<FileCase> {
 protected:
  std::wstring path_ = LabBinaries() / (std::wstring(GetParam().name) + L".exe");
};

TEST_P(ResourcesTest, ShowTheProjectsVersion) {
  const VersionResource version(path_);
  EXPECT_EQ(version.FileVersion(), QRV_PROJECT_VERSION L".0");
  EXPECT_EQ(version.Text(L"FileVersion"), QRV_PROJECT_VERSION);
  EXPECT_EQ(version.Text(L"ProductVersion"), QRV_PROJECT_VERSION);
}

TEST_P(ResourcesTest, NameTheProduct) {
  const VersionResource version(path_);
  EXPECT_EQ(version.Text(L"ProductName"), L"qrvadmin");
  EXPECT_EQ(version.Text(L"OriginalFilename"), GetParam().originalName);
  EXPECT_EQ(version.Text(L"FileDescription"), GetParam().description);
}

// The rights of whoever starts it, no prompt for others.
TEST_P(ResourcesTest, AskForNoMoreRights) {
  EXPECT_EQ(Count(ManifestOf(path_), "<requestedExecutionLevel level=\"asInvoker\""), 1u);
}

TEST_P(ResourcesTest, KnowThePresentWindowsAndLongPaths) {
  const std::string manifest = ManifestOf(path_);
  EXPECT_EQ(Count(manifest, "<supportedOS Id=\"{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}\"/>"), 1u);
  EXPECT_EQ(Count(manifest, ">true</longPathAware>"), 1u);
}

// It would change what the narrow paths in a profile mean.
TEST_P(ResourcesTest, LeaveTheCodePageAlone) {
  const std::string manifest = ManifestOf(path_);
  EXPECT_EQ(Count(manifest, "</assembly>"), 1u);
  EXPECT_EQ(Count(manifest, "<activeCodePage"), 0u);
}

constexpr wchar_t kAdministers[] = L"Administers a QRV installation";

INSTANTIATE_TEST_SUITE_P(Files, ResourcesTest,
                         ::testing::Values(FileCase{L"qrvadmin", L"qrvadmin.exe", kAdministers},
                                           FileCase{L"qsfscan", L"qrvadmin.exe", kAdministers},
                                           FileCase{L"qrvrun", L"qrvrun.exe",
                                                    L"Runs qrvadmin unattended"}),
                         [](const auto& test) { return Utf8FromWide(test.param.name); });

}  // namespace
}  // namespace e2e
