#include "src/frame/mapi_in_use.h"

#include <windows.h>
// psapi.h wants windows.h first.
#include <psapi.h>

#include <cwchar>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "src/console/console.h"
#include "src/platform/text.h"

namespace {

constexpr DWORD kNameSize = 4096;
constexpr size_t kMostProcesses = 4096;
constexpr size_t kMostModules = 4096;

// Image names of the programs that use MAPI, each once, in ordinal order.
using ImageNames = std::map<std::wstring, std::wstring>;

std::wstring OwnImageName() {
  std::wstring path(kNameSize, L'\0');
  path.resize(GetModuleFileNameW(GetModuleHandleW(nullptr), path.data(), kNameSize));
  return std::wstring(platform::FileNamePart(path));
}

std::vector<DWORD> RunningProcesses() {
  std::vector<DWORD> ids(kMostProcesses);
  DWORD bytes = 0;
  if (!EnumProcesses(ids.data(), static_cast<DWORD>(ids.size() * sizeof(DWORD)), &bytes)) return {};
  ids.resize(bytes / sizeof(DWORD));
  return ids;
}

// The base name of `module` in `process` (of its image when null); empty when it cannot be had.
std::wstring ModuleName(HANDLE process, HMODULE module) {
  std::wstring name(kNameSize, L'\0');
  name.resize(GetModuleBaseNameW(process, module, name.data(), kNameSize));
  return name;
}

bool IsMapiLibrary(const std::wstring& moduleName) {
  return _wcsicmp(moduleName.c_str(), L"mapi32.dll") == 0 ||
         _wcsicmp(moduleName.c_str(), L"olmapi32.dll") == 0;
}

bool HasMapiLibrary(HANDLE process) {
  std::vector<HMODULE> modules(kMostModules);
  DWORD bytes = 0;
  if (!EnumProcessModules(process, modules.data(),
                          static_cast<DWORD>(modules.size() * sizeof(HMODULE)), &bytes)) {
    return false;
  }
  // More modules than the array holds are counted but not returned.
  if (bytes / sizeof(HMODULE) < modules.size()) modules.resize(bytes / sizeof(HMODULE));
  for (const HMODULE module : modules) {
    if (IsMapiLibrary(ModuleName(process, module))) return true;
  }
  return false;
}

void NoteMapiUser(DWORD processId, const std::wstring& ownImageName, ImageNames& users) {
  // Kept: left open, with all the others. The program is short-lived, and the system closes them
  // with it.
  const HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, processId);
  if (!process) return;
  const std::wstring imageName = ModuleName(process, nullptr);
  // One whose name cannot be read does not count, and may be this program itself.
  if (imageName.empty() || _wcsicmp(imageName.c_str(), ownImageName.c_str()) == 0) return;
  if (HasMapiLibrary(process)) users.emplace(imageName, imageName);
}

}  // namespace

bool MapiInUse() {
  const std::wstring ownImageName = OwnImageName();
  ImageNames users;
  for (const DWORD processId : RunningProcesses()) NoteMapiUser(processId, ownImageName, users);
  if (users.empty()) return false;

  PrintLine(L"MAPI is in use. Please close the following applications and try again:");
  for (const auto& [name, sameName] : users) PrintLine(L"%s", name.c_str());
  return true;
}
