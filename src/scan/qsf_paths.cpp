#include "src/scan/qsf_paths.h"

#include <cstdint>
#include <cstring>
#include <exception>
#include <string_view>
#include <utility>

#include "src/console/console.h"
#include "src/console/user_break.h"
#include "src/platform/registry.h"
#include "src/platform/text.h"
#include "src/scan/outlook_version.h"

namespace {

using platform::RegistryKey;
using platform::RegistryValue;

constexpr const char* kFunction = "getQsfPaths";

// MAPI keeps a property under its tag's type and identifier, four hexadecimal digits each.
constexpr const wchar_t* kServiceNameValue = L"001f3d09";
constexpr const wchar_t* kCorruptionMarkValue = L"00036689";
constexpr const wchar_t* kStorePathValue = L"001f6700";

std::wstring ProfileKeyPath(const std::wstring& profileName) {
  std::uint8_t major = 0;
  std::uint8_t minor = 0;
  GetOutlookVersion(major, minor);
  // From Outlook 2013 on the profiles lie under Office.
  if (major < 15) {
    return L"Software\\Microsoft\\Windows NT\\CurrentVersion\\Windows Messaging "
           L"Subsystem\\Profiles\\" +
           profileName;
  }
  return L"Software\\Microsoft\\Office\\" + std::to_wstring(major) + L"." + std::to_wstring(minor) +
         L"\\Outlook\\Profiles\\" + profileName;
}

// Whether `value` is the text as MAPI keeps it: binary, with its terminator.
bool IsMapiText(const RegistryValue& value, std::wstring_view text) {
  const size_t size = text.size() * sizeof(wchar_t);
  return value.type == REG_BINARY && value.bytes.size() == size + sizeof(wchar_t) &&
         std::memcmp(value.bytes.data(), text.data(), size) == 0 && value.bytes[size] == 0 &&
         value.bytes[size + 1] == 0;
}

bool BelongsToConnector(const RegistryKey& section, bool rootOnly) {
  const auto name = section.Read(kServiceNameValue);
  if (!name) return false;
  return IsMapiText(*name, L"LSMS") || (!rootOnly && IsMapiText(*name, L"LSMS_Secondary"));
}

// The connector marks a corrupted store with a negative number.
bool IsMarked(const RegistryKey& section) {
  const auto value = section.Read(kCorruptionMarkValue);
  std::int32_t mark = 0;
  if (value && value->bytes.size() >= sizeof(mark)) {
    std::memcpy(&mark, value->bytes.data(), sizeof(mark));
  }
  return mark < 0;
}

void CollectPath(HKEY profile, const std::wstring& sectionName, bool rootOnly, bool markedOnly,
                 std::vector<std::wstring>& paths) {
  RegistryKey section;
  // Kept: all access, though nothing is written. What may not be changed is not worked on: a
  // section that does not open so has no values.
  section.Open(profile, sectionName.c_str(), KEY_ALL_ACCESS);
  if (!BelongsToConnector(section, rootOnly)) return;
  if (markedOnly && !IsMarked(section)) return;
  const auto value = section.Read(kStorePathValue);
  std::wstring path = value ? value->Text() : std::wstring();
  if (!path.empty()) paths.push_back(std::move(path));
}

void CollectPaths(const RegistryKey& profile, bool rootOnly, bool markedOnly,
                  std::vector<std::wstring>& paths) {
  DWORD longest = 0;
  RegQueryInfoKeyW(profile.Get(), nullptr, nullptr, nullptr, nullptr, &longest, nullptr, nullptr,
                   nullptr, nullptr, nullptr, nullptr);
  for (DWORD index = 0;; ++index) {
    // The call wants room for the terminator, which the length leaves out.
    DWORD length = longest + 1;
    std::wstring name(length, L'\0');
    if (RegEnumKeyExW(profile.Get(), index, name.data(), &length, nullptr, nullptr, nullptr,
                      nullptr) != ERROR_SUCCESS) {
      return;
    }
    name.resize(length);
    CollectPath(profile.Get(), name, rootOnly, markedOnly, paths);
  }
}

}  // namespace

std::vector<std::wstring> getQsfPaths(const std::wstring& profileName, int rootOnly,
                                      int markedOnly) {
  std::vector<std::wstring> paths;
  try {
    const std::wstring keyPath = ProfileKeyPath(profileName);
    RegistryKey profile;
    const LSTATUS error = profile.Open(HKEY_CURRENT_USER, keyPath.c_str(), KEY_ALL_ACCESS);
    if (error == ERROR_SUCCESS) {
      CollectPaths(profile, rootOnly != 0, markedOnly != 0, paths);
    } else if (VerboseOutput) {
      PrintLine(L"%hs. opening key %ls returned error %#010x", kFunction, keyPath.c_str(), error);
    }
  } catch (const std::exception& exception) {
    PrintLine(L"%hs: caught %s", kFunction,
              platform::FromCodePage(exception.what(), CP_ACP).c_str());
  }
  return paths;
}
