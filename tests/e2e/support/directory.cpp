#include "tests/e2e/support/directory.h"

#include <windows.h>

#include <atomic>
#include <system_error>

namespace e2e {
namespace {

constexpr wchar_t kMapiModule[] = L"mapi32.dll";

std::filesystem::path OwnPath() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

std::filesystem::path NewDirectoryPath() {
  static std::atomic<int> counter = 0;
  std::wstring parent(MAX_PATH + 1, L'\0');
  parent.resize(GetTempPathW(static_cast<DWORD>(parent.size()), parent.data()));
  return std::filesystem::path(parent) /
         (L"qrv-test-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
          std::to_wstring(GetTickCount64()) + L"-" + std::to_wstring(counter++));
}

}  // namespace

std::filesystem::path LabBinaries() { return OwnPath().parent_path(); }

std::filesystem::path ShippedProgram() { return LabBinaries() / L"qrvadmin.exe"; }

TempDirectory::TempDirectory() : path_(NewDirectoryPath()) {
  std::filesystem::create_directories(path_);
}

TempDirectory::~TempDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path CopyShippedProgram(const std::filesystem::path& directory,
                                         const std::wstring& name) {
  constexpr auto kReplace = std::filesystem::copy_options::overwrite_existing;
  std::filesystem::path copy = directory / name;
  std::filesystem::copy_file(ShippedProgram(), copy, kReplace);
  std::filesystem::copy_file(LabBinaries() / kMapiModule, directory / kMapiModule, kReplace);
  return copy;
}

}  // namespace e2e
