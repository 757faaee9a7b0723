#include <windows.h>

#include <cstdarg>
#include <cstdlib>

#include "src/console/console.h"
#include "src/console/user_break.h"

std::uint32_t VerboseOutput = 0;

// The console: the format and its texts, whole, are enough to see which line it is.
void PrintFormattedLine(const wchar_t* format, ...) {
  std::wstring line;
  va_list arguments;
  va_start(arguments, format);
  std::wstring_view rest = format;
  for (size_t at = rest.find(L'%'); at != rest.npos; at = rest.find(L'%')) {
    line += rest.substr(0, at);
    rest.remove_prefix(at + 1);
    const std::wstring_view conversion = rest;
    switch (TakeConversion(rest)) {
      case FormatKind::kWideText:
        line += va_arg(arguments, const wchar_t*);
        break;
      case FormatKind::kNarrowText:
        for (const char* text = va_arg(arguments, const char*); *text; ++text) {
          line += static_cast<unsigned char>(*text);
        }
        break;
      case FormatKind::kInteger32:
        line += std::to_wstring(va_arg(arguments, int));
        break;
      default:
        std::abort();
    }
    if (conversion.size() == rest.size()) std::abort();
  }
  va_end(arguments);
  shim::lines.push_back((line + std::wstring(rest)).substr(0, 254));
}

void PrintText(const std::wstring& text) { shim::lines.push_back(text); }

// The registry.
struct QrvKey {
  std::wstring path;
};

namespace {

std::wstring Widened(LPCSTR text) { return std::wstring(text, text + std::strlen(text)); }

bool IsRoot(HKEY key) {
  return key == HKEY_CLASSES_ROOT || key == HKEY_CURRENT_USER || key == HKEY_LOCAL_MACHINE;
}

// The names of the keys directly below, in order.
std::vector<std::wstring> Children(HKEY key) {
  std::vector<std::wstring> names;
  const std::wstring prefix = key->path + L"\\";
  for (const auto& [path, values] : shim::registry) {
    if (path.starts_with(prefix) && path.find(L'\\', prefix.size()) == path.npos) {
      names.push_back(path.substr(prefix.size()));
    }
  }
  return names;
}

}  // namespace

LSTATUS RegOpenKeyExW(HKEY parent, LPCWSTR path, DWORD, REGSAM, HKEY* opened) {
  std::wstring whole = path;
  if (!IsRoot(parent)) {
    const std::wstring& above = parent->path;
    whole = above.empty() || whole.empty() ? above + whole : above + L"\\" + whole;
  }
  if (!whole.empty() && !shim::registry.contains(whole)) return ERROR_FILE_NOT_FOUND;
  *opened = new QrvKey{whole};
  return ERROR_SUCCESS;
}

LSTATUS RegOpenKeyExA(HKEY parent, LPCSTR path, DWORD options, REGSAM access, HKEY* opened) {
  return RegOpenKeyExW(parent, Widened(path).c_str(), options, access, opened);
}

LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, DWORD*, DWORD* type, BYTE* data, DWORD* size) {
  if (!key) return 6;
  const shim::Values& values = shim::registry[key->path];
  const auto found = values.find(name ? name : L"");
  if (found == values.end()) return ERROR_FILE_NOT_FOUND;
  const std::vector<BYTE>& bytes = found->second.bytes;
  const DWORD room = data ? *size : UINT32_MAX;
  if (type) *type = found->second.type;
  *size = static_cast<DWORD>(bytes.size());
  if (room < bytes.size()) return ERROR_MORE_DATA;
  if (data) std::copy(bytes.begin(), bytes.end(), data);
  return ERROR_SUCCESS;
}

LSTATUS RegQueryValueExA(HKEY key, LPCSTR name, DWORD* reserved, DWORD* type, BYTE* data,
                         DWORD* size) {
  return RegQueryValueExW(key, Widened(name).c_str(), reserved, type, data, size);
}

LSTATUS RegQueryInfoKeyW(HKEY key, LPWSTR, DWORD*, DWORD*, DWORD*, DWORD* longestName, DWORD*,
                         DWORD*, DWORD*, DWORD*, DWORD*, void*) {
  *longestName = 0;
  for (const std::wstring& name : Children(key)) {
    *longestName = std::max(*longestName, static_cast<DWORD>(name.size()));
  }
  return ERROR_SUCCESS;
}

LSTATUS RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, DWORD* length, DWORD*, LPWSTR, DWORD*,
                      void*) {
  const std::vector<std::wstring> children = Children(key);
  if (index >= children.size()) return ERROR_NO_MORE_ITEMS;
  const std::wstring& child = children[index];
  if (*length <= child.size()) return ERROR_MORE_DATA;
  std::copy_n(child.c_str(), child.size() + 1, name);
  *length = static_cast<DWORD>(child.size());
  return ERROR_SUCCESS;
}

LSTATUS RegCloseKey(HKEY key) {
  delete key;
  return ERROR_SUCCESS;
}

// Text. 1252 is taken for Latin-1; of 932 every double byte is one of the same two bytes.
BOOL IsDBCSLeadByteEx(UINT codePage, BYTE byte) {
  if (codePage == CP_ACP || codePage == CP_THREAD_ACP) codePage = shim::ansiCodePage;
  return codePage == 932 && ((byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC));
}

namespace {

void AppendUtf8(std::string& out, uint32_t point) {
  if (point < 0x80) {
    out += static_cast<char>(point);
    return;
  }
  const int more = point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
  constexpr uint32_t kFirst[] = {0, 0xC0, 0xE0, 0xF0};
  out += static_cast<char>(kFirst[more] | point >> (6 * more));
  for (int shift = 6 * (more - 1); shift >= 0; shift -= 6) {
    out += static_cast<char>(0x80 | (point >> shift & 0x3F));
  }
}

std::string Utf8(std::wstring_view text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    uint32_t point = text[i];
    if (IS_HIGH_SURROGATE(point) && i + 1 < text.size() && IS_LOW_SURROGATE(text[i + 1])) {
      point = 0x10000 + ((point - 0xD800) << 10) + (text[++i] - 0xDC00u);
    } else if (IS_HIGH_SURROGATE(point) || IS_LOW_SURROGATE(point)) {
      point = 0xFFFD;
    }
    AppendUtf8(out, point);
  }
  return out;
}

std::string Ansi(std::wstring_view text) {
  std::string out;
  for (const wchar_t unit : text) {
    const auto high = static_cast<BYTE>(unit >> 8);
    const bool isDouble = high && IsDBCSLeadByteEx(CP_ACP, high);
    if (isDouble) out += static_cast<char>(high);
    out += unit < 0x100 || isDouble ? static_cast<char>(unit & 0xFF) : '?';
  }
  return out;
}

template <typename Char>
int Deliver(const std::basic_string<Char>& text, Char* target, int size) {
  const int length = static_cast<int>(text.size());
  if (size == 0) return length;
  if (length > size) return 0;
  std::copy(text.begin(), text.end(), target);
  return length;
}

}  // namespace

int WideCharToMultiByte(UINT codePage, DWORD, LPCWSTR text, int length, LPSTR target, int size,
                        LPCSTR, BOOL*) {
  const std::wstring_view whole(text, static_cast<size_t>(length));
  return Deliver(codePage == CP_UTF8 ? Utf8(whole) : Ansi(whole), target, size);
}

int MultiByteToWideChar(UINT, DWORD, LPCSTR text, int length, LPWSTR target, int size) {
  std::wstring wide;
  for (int i = 0; i < length; ++i) {
    auto unit = static_cast<BYTE>(text[i]);
    const bool isDouble = IsDBCSLeadByteEx(CP_ACP, unit) && i + 1 < length;
    wide += static_cast<wchar_t>(isDouble ? unit << 8 | static_cast<BYTE>(text[++i]) : unit);
  }
  return Deliver(wide, target, size);
}

DWORD FormatMessageW(DWORD, const void*, DWORD, DWORD, LPWSTR, DWORD, void*) { return 0; }
HANDLE LocalFree(void*) { return nullptr; }

// Files.
DWORD GetFullPathNameW(LPCWSTR path, DWORD size, LPWSTR full, LPWSTR*) {
  std::wstring whole = path;
  if (whole.empty()) return 0;
  if (!whole.starts_with(L"\\") && whole.substr(1, 1) != L":") whole = L"C:\\work\\" + whole;
  const auto length = static_cast<DWORD>(whole.size());
  if (size <= length) return length + 1;
  std::copy_n(whole.c_str(), length + 1, full);
  return length;
}

HANDLE CreateFileW(LPCWSTR, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD, HANDLE) {
  return INVALID_HANDLE_VALUE;
}
DWORD GetFileAttributesW(LPCWSTR) { return INVALID_FILE_ATTRIBUTES; }

BOOL WriteFile(HANDLE, const void* data, DWORD size, DWORD* written, void*) {
  *written = std::min(size, shim::mostAtOnce);
  shim::written.append(static_cast<const char*>(data), *written);
  return TRUE;
}

BOOL WriteConsoleW(HANDLE, const void* text, DWORD length, DWORD* written, void*) {
  *written = std::min(length, shim::mostAtOnce);
  shim::shown.append(static_cast<const wchar_t*>(text), *written);
  return TRUE;
}

BOOL GetConsoleMode(HANDLE, DWORD*) { return shim::isConsole; }

// The only handle that is closed so is a key of the registry.
BOOL CloseHandle(HANDLE handle) { return RegCloseKey(static_cast<HKEY>(handle)) == ERROR_SUCCESS; }

// Modules: the stub in the system directory, and no other.
struct QrvModule {};

namespace {

QrvModule stubModule;

BOOL AnswerComponentPath(LPCSTR component, LPSTR qualifier, LPSTR path, DWORD size, BOOL) {
  return shim::componentPath(component, qualifier, path, size);
}

}  // namespace

UINT GetSystemDirectoryA(LPSTR target, UINT) {
  std::strcpy(target, "C:\\windows\\system32");
  return static_cast<UINT>(std::strlen(target));
}

HMODULE LoadLibraryA(LPCSTR name) {
  return shim::componentPath && std::strstr(name, "mapistub") ? &stubModule : nullptr;
}

BOOL FreeLibrary(HMODULE) { return TRUE; }

FARPROC GetProcAddress(HMODULE, LPCSTR) { return reinterpret_cast<FARPROC>(&AnswerComponentPath); }

HMODULE GetModuleHandleW(LPCWSTR) { return nullptr; }
DWORD GetModuleFileNameW(HMODULE, LPWSTR, DWORD) { return 0; }

#define NOT_CALLED(type, name, ...) \
  type name(__VA_ARGS__) { std::abort(); }
NOT_CALLED(BOOL, GetFileInformationByHandle, HANDLE, BY_HANDLE_FILE_INFORMATION*)
NOT_CALLED(BOOL, ReadFile, HANDLE, void*, DWORD, DWORD*, void*)
NOT_CALLED(BOOL, CloseServiceHandle, SC_HANDLE)
NOT_CALLED(HANDLE, CreateEventW, SECURITY_ATTRIBUTES*, BOOL, BOOL, LPCWSTR)
NOT_CALLED(DWORD, GetLastError)
NOT_CALLED(HANDLE, CreateJobObjectW, SECURITY_ATTRIBUTES*, LPCWSTR)
NOT_CALLED(BOOL, SetInformationJobObject, HANDLE, DWORD, void*, DWORD)
NOT_CALLED(BOOL, CreatePipe, HANDLE*, HANDLE*, SECURITY_ATTRIBUTES*, DWORD)
NOT_CALLED(BOOL, SetHandleInformation, HANDLE, DWORD, DWORD)
NOT_CALLED(BOOL, InitializeProcThreadAttributeList, void*, DWORD, DWORD, SIZE_T*)
NOT_CALLED(void, DeleteProcThreadAttributeList, void*)
NOT_CALLED(BOOL, UpdateProcThreadAttribute, void*, DWORD, DWORD, void*, SIZE_T, void*, SIZE_T*)
NOT_CALLED(BOOL, CreateProcessW, LPCWSTR, LPWSTR, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL,
           DWORD, void*, LPCWSTR, STARTUPINFOW*, PROCESS_INFORMATION*)
NOT_CALLED(BOOL, TerminateJobObject, HANDLE, UINT)
NOT_CALLED(DWORD, WaitForSingleObject, HANDLE, DWORD)
NOT_CALLED(BOOL, GetExitCodeProcess, HANDLE, DWORD*)
