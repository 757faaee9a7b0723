#include "lab/bes/registration.h"

#include "lab/common/registry_key.h"
#include "lab/common/text.h"

namespace lab {
namespace {

constexpr wchar_t kProviderName[] = L"SQLOLEDB";
constexpr wchar_t kProviderClassText[] = L"{0C7FF16C-38E3-11D0-97AB-00C04FC2AD98}";
constexpr wchar_t kClassesKey[] = L"SOFTWARE\\Classes\\";
constexpr wchar_t kModuleName[] = L"sqloledb.dll";
constexpr wchar_t kDescription[] = L"OLE DB provider of the simulated installation";

std::wstring ProgIdKey() { return std::wstring(kClassesKey) + kProviderName; }

std::wstring ClassKey() { return std::wstring(kClassesKey) + L"CLSID\\" + kProviderClassText; }

bool WriteText(const std::wstring& key, const wchar_t* name, std::wstring_view text) {
  const RegistryKey opened = RegistryKey::Create(HKEY_LOCAL_MACHINE, key);
  return opened.Open() && opened.Write(name, TextValue(text, REG_SZ));
}

std::wstring DirectoryOfModule(HMODULE module) {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size())));
  return DirectoryOf(path);
}

}  // namespace

bool RegisterOledbProvider(HMODULE module) {
  const std::wstring path = DirectoryOfModule(module) + L'\\' + kModuleName;
  const std::wstring server = ClassKey() + L"\\InprocServer32";
  return WriteText(ProgIdKey(), L"", kDescription) &&
         WriteText(ProgIdKey() + L"\\CLSID", L"", kProviderClassText) &&
         WriteText(ClassKey(), L"", kProviderName) && WriteText(server, L"", path) &&
         WriteText(server, L"ThreadingModel", L"Both") &&
         WriteText(ClassKey() + L"\\ProgID", L"", kProviderName) &&
         WriteText(ClassKey() + L"\\OLE DB Provider", L"", kDescription);
}

bool UnregisterOledbProvider() {
  return DeleteKeyTree(HKEY_LOCAL_MACHINE, ProgIdKey()) &&
         DeleteKeyTree(HKEY_LOCAL_MACHINE, ClassKey());
}

}  // namespace lab
