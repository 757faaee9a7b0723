#include "lab/oledb/odbc_config.h"

#include <windows.h>

#include "lab/common/lab_config.h"
#include "lab/common/text.h"

namespace lab {
namespace {

constexpr wchar_t kConnectionValue[] = L"OdbcConnection";
constexpr wchar_t kTextValue[] = L"OdbcText";
constexpr wchar_t kDatabaseFile[] = L"bes.sqlite";

std::wstring FullPath(const std::wstring& path) {
  std::wstring full(32768, L'\0');
  full.resize(
      GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
  return full.empty() ? path : full;
}

// The driver is a program of the machine below, where there is one: it wants that machine's name
// of the file.
std::wstring DriverPath(const std::wstring& path) {
  using ToUnix = char*(CDECL*)(const wchar_t*);
  const auto toUnix = reinterpret_cast<ToUnix>(
      GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name"));
  if (!toUnix) return path;
  char* name = toUnix(path.c_str());
  if (!name) return path;
  std::wstring result = WideFromUtf8(name);
  HeapFree(GetProcessHeap(), 0, name);
  return result;
}

}  // namespace

std::wstring SqliteConnectionString(const std::wstring& path) {
  return L"Driver=SQLite3;Database=" + DriverPath(FullPath(path)) +
         L";SyncPragma=OFF;Timeout=20000;LongNames=0";
}

std::wstring OdbcConnectionString() {
  std::wstring text = ReadLabValue(L"QRVLAB_ODBC", kConnectionValue);
  if (!text.empty()) return text;
  const std::wstring directory = LabDirectory();
  if (directory.empty()) return SqliteConnectionString(kDatabaseFile);
  return SqliteConnectionString(directory + L'\\' + kDatabaseFile);
}

OdbcText OdbcTextMode() {
  const std::wstring text = ReadLabValue(L"QRVLAB_ODBC_TEXT", kTextValue);
  return EqualsFolded(text, L"utf16") ? OdbcText::kUtf16 : OdbcText::kUtf8;
}

}  // namespace lab
