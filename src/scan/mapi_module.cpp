#include "src/scan/mapi_module.h"

#include <windows.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "src/console/console.h"
#include "src/console/user_break.h"
#include "src/platform/handle.h"
#include "src/platform/text.h"

namespace {

constexpr size_t kPathSize = 260;

// The MAPI stub's export: fills `path` with the full path of a component's DLL, picked by
// `qualifier` (a locale, or null). Documented with the stub library.
using GetComponentPath = BOOL(STDAPICALLTYPE*)(LPCSTR component, LPSTR qualifier, LPSTR path,
                                               DWORD pathSize, BOOL install);

// What Outlook's registration as a mail client says of its MAPI component.
struct MailClient {
  // Outlook's own component, unless the registration names another.
  std::string component = "{FF1D0740-D227-11D1-A4B0-006008AF820E}";
  // Locale qualifiers as they lie in the registry; absent when they cannot be read.
  std::optional<std::vector<char>> applicationLocale;
  std::optional<std::vector<char>> officeLocale;
};

std::optional<std::vector<char>> ReadQualifier(HKEY key, const char* name) {
  DWORD size = 0;
  if (RegQueryValueExA(key, name, nullptr, nullptr, nullptr, &size) != ERROR_SUCCESS) return {};
  // One terminator more than the registry may hold.
  std::vector<char> data(size_t{size} + 1, '\0');
  if (RegQueryValueExA(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(data.data()), &size) !=
      ERROR_SUCCESS) {
    return {};
  }
  return data;
}

void ReadComponent(HKEY key, std::string& component) {
  std::array<char, 262> text = {};
  DWORD size = 261;
  if (RegQueryValueExA(key, "MSIComponentID", nullptr, nullptr,
                       reinterpret_cast<BYTE*>(text.data()), &size) == ERROR_SUCCESS) {
    component = text.data();
  }
}

MailClient ReadMailClient() {
  MailClient client;
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Software\\Clients\\Mail\\Microsoft Outlook", 0,
                    KEY_QUERY_VALUE, &key) != ERROR_SUCCESS) {
    return client;
  }
  // Kept: closed with CloseHandle instead of RegCloseKey. A local key is a kernel handle, so both
  // do the same.
  const platform::KernelHandle closer(reinterpret_cast<HANDLE>(key));
  client.applicationLocale = ReadQualifier(key, "MSIApplicationLCID");
  client.officeLocale = ReadQualifier(key, "MSIOfficeLCID");
  ReadComponent(key, client.component);
  return client;
}

// A library of the system directory with its FGetComponentPath; without one it is not kept.
struct Stub {
  platform::ModuleHandle library;
  GetComponentPath getComponentPath = nullptr;
};

Stub LoadStub(const std::string& systemDirectory, const char* name) {
  Stub stub;
  stub.library = platform::ModuleHandle(LoadLibraryA((systemDirectory + "\\" + name).c_str()));
  if (!stub.library) return stub;
  const FARPROC function = GetProcAddress(stub.library.Get(), "FGetComponentPath");
  stub.getComponentPath = reinterpret_cast<GetComponentPath>(function);
  return stub;
}

// The component's path, by the application's locale, Office's, or none, whichever answers first;
// empty when none does.
std::wstring AskStub(GetComponentPath getComponentPath, MailClient client) {
  std::array<char, kPathSize> path = {};
  bool found = false;
  const auto ask = [&](char* qualifier) {
    path = {};
    found = getComponentPath(client.component.c_str(), qualifier, path.data(),
                             static_cast<DWORD>(path.size()), TRUE) &&
            path[0] != '\0';
  };
  if (client.applicationLocale) ask(client.applicationLocale->data());
  if (!found && client.officeLocale) ask(client.officeLocale->data());
  if (!found) ask(nullptr);
  path.back() = '\0';
  return platform::FromCodePage(found ? path.data() : "", CP_ACP);
}

std::string SystemDirectory() {
  std::array<char, kPathSize> directory = {};
  const UINT length = GetSystemDirectoryA(directory.data(), static_cast<UINT>(directory.size()));
  return length < directory.size() ? std::string(directory.data(), length) : std::string();
}

// Without the last backslash and what follows it.
std::wstring WithoutFileName(const std::wstring& path) { return path.substr(0, path.rfind(L'\\')); }

bool FileExists(const std::wstring& path) {
  return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// mspst32.dll beside the module of that name, if this process has loaded one; else nothing.
std::optional<std::wstring> BesideLoadedModule(const wchar_t* moduleName) {
  std::array<wchar_t, kPathSize + 1> fileName = {};
  if (IsBadStringPtrW(moduleName, kPathSize) || IsBadWritePtr(fileName.data(), sizeof(fileName))) {
    return std::nullopt;
  }
  const HMODULE module = GetModuleHandleW(moduleName);
  if (!module) return std::nullopt;
  GetModuleFileNameW(module, fileName.data(), static_cast<DWORD>(fileName.size()));
  return WithoutFileName(fileName.data()) + L"\\mspst32.dll";
}

// Whether one of the loaded MAPI libraries has mspst32.dll beside it. `path` becomes each candidate
// in turn.
bool FindBesideLoadedModules(std::wstring& path) {
  for (const wchar_t* moduleName : {L"MAPI32.DLL", L"MSMAPI32.DLL", L"OLMAPI32.DLL"}) {
    const std::optional<std::wstring> candidate = BesideLoadedModule(moduleName);
    if (!candidate) continue;
    path = *candidate;
    if (FileExists(path)) return true;
  }
  return false;
}

// The directory of the MAPI subsystem, without a backslash at its end, as the MAPI stub library
// knows it; the system directory when the stub does not know; empty only when not even that can be
// had.
std::wstring InitMAPIDir() {
  const std::string systemDirectory = SystemDirectory();
  if (systemDirectory.empty()) return {};
  const Stub mapiStub = LoadStub(systemDirectory, "mapistub.dll");
  Stub mapi;
  if (!mapiStub.getComponentPath) mapi = LoadStub(systemDirectory, "mapi32.dll");
  const GetComponentPath getComponentPath =
      mapiStub.getComponentPath ? mapiStub.getComponentPath : mapi.getComponentPath;
  std::wstring directory;
  if (getComponentPath) directory = WithoutFileName(AskStub(getComponentPath, ReadMailClient()));
  return directory.empty() ? platform::FromCodePage(systemDirectory, CP_ACP) : directory;
}

}  // namespace

std::wstring GetMapiModuleFullPath() {
  constexpr const char* kFunction = "GetMapiModuleFullPath";
  const std::wstring directory = InitMAPIDir();
  if (VerboseOutput) PrintLine(L"%hs InitMAPIDir returned '%s'", kFunction, directory.c_str());
  std::wstring path = directory + L"\\mspst32.dll";
  if (VerboseOutput) PrintLine(L"%hs Testing module name '%s'", kFunction, path.c_str());
  if (FileExists(path)) return path;

  if (VerboseOutput) {
    PrintLine(L"%hs Trying to find module using alternative method", kFunction);
  }
  const bool found = FindBesideLoadedModules(path);
  if (VerboseOutput && found) {
    PrintLine(L"%hs Alternative method found module '%s'", kFunction, path.c_str());
  } else if (VerboseOutput) {
    PrintLine(L"%hs Alternative method have not found any module", kFunction);
  }
  return path;
}
