#include "tests/e2e/support/directory.h"

#include <windows.h>

namespace e2e {
namespace {

constexpr wchar_t kMapiModule[] = L"mapi32.dll";

std::filesystem::path OwnPath() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

}  // namespace

std::filesystem::path LabBinaries() { return OwnPath().parent_path(); }

std::filesystem::path ShippedProgram() { return LabBinaries() / L"qrvadmin.exe"; }

std::filesystem::path CopyShippedProgram(const std::filesystem::path& directory,
                                         const std::wstring& name) {
  constexpr auto kReplace = std::filesystem::copy_options::overwrite_existing;
  std::filesystem::path copy = directory / name;
  std::filesystem::copy_file(ShippedProgram(), copy, kReplace);
  std::filesystem::copy_file(LabBinaries() / kMapiModule, directory / kMapiModule, kReplace);
  return copy;
}

}  // namespace e2e
