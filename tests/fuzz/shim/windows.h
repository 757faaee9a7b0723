// What the fuzzed sources take from the platform, in a process of this machine: the types, a
// registry in memory, code pages, and files that are not there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/fuzz/shim/wide.h"

#define WINAPI
#define STDAPICALLTYPE
#define CALLBACK

using BYTE = unsigned char;
using WORD = uint16_t;
using DWORD = uint32_t;
using UINT = uint32_t;
using LONG = int32_t;
using ULONG = uint32_t;
using BOOL = int;
using HRESULT = int32_t;
using LSTATUS = int32_t;
using REGSAM = DWORD;
using SIZE_T = size_t;
using DWORD64 = uint64_t;
using LPCSTR = const char*;
using LPSTR = char*;
using LPCWSTR = const wchar_t*;
using LPWSTR = wchar_t*;
using OLECHAR = wchar_t;
using LPOLESTR = wchar_t*;
using HANDLE = void*;
using FARPROC = void (*)();
struct QrvKey;
using HKEY = QrvKey*;
struct QrvModule;
using HMODULE = QrvModule*;
struct QrvService;
using SC_HANDLE = QrvService*;

inline constexpr BOOL TRUE = 1;
inline constexpr BOOL FALSE = 0;
inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
#define SUCCEEDED(hr) ((hr) >= 0)
#define FAILED(hr) ((hr) < 0)
inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_MORE_DATA = 234;
inline constexpr DWORD ERROR_NO_MORE_ITEMS = 259;
inline constexpr DWORD MAX_PATH = 260;
inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(-1);

// The registry. Keys and value names are matched as they stand.
inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;
inline constexpr REGSAM KEY_READ = 0x20019;
inline constexpr REGSAM KEY_QUERY_VALUE = 1;
inline constexpr REGSAM KEY_ALL_ACCESS = 0xF003F;
inline const HKEY HKEY_CLASSES_ROOT = reinterpret_cast<HKEY>(0x10);
inline const HKEY HKEY_CURRENT_USER = reinterpret_cast<HKEY>(0x20);
inline const HKEY HKEY_LOCAL_MACHINE = reinterpret_cast<HKEY>(0x30);

LSTATUS RegOpenKeyExW(HKEY parent, LPCWSTR path, DWORD options, REGSAM access, HKEY* opened);
LSTATUS RegOpenKeyExA(HKEY parent, LPCSTR path, DWORD options, REGSAM access, HKEY* opened);
LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, DWORD*, DWORD* type, BYTE* data, DWORD* size);
LSTATUS RegQueryValueExA(HKEY key, LPCSTR name, DWORD*, DWORD* type, BYTE* data, DWORD* size);
LSTATUS RegQueryInfoKeyW(HKEY key, LPWSTR, DWORD*, DWORD*, DWORD*, DWORD* longestName, DWORD*,
                         DWORD*, DWORD*, DWORD*, DWORD*, void*);
LSTATUS RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, DWORD* length, DWORD*, LPWSTR, DWORD*,
                      void*);
LSTATUS RegCloseKey(HKEY key);

// Text.
inline constexpr UINT CP_ACP = 0;
inline constexpr UINT CP_THREAD_ACP = 3;
inline constexpr UINT CP_UTF8 = 65001;
#define IS_HIGH_SURROGATE(c) ((c) >= 0xD800 && (c) <= 0xDBFF)
#define IS_LOW_SURROGATE(c) ((c) >= 0xDC00 && (c) <= 0xDFFF)
BOOL IsDBCSLeadByteEx(UINT codePage, BYTE byte);
int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR text, int length, LPSTR target,
                        int size, LPCSTR defaultCharacter, BOOL* defaultUsed);
int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int length, LPWSTR target,
                        int size);
inline constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x100;
inline constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x200;
inline constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;
inline constexpr WORD LANG_NEUTRAL = 0;
inline constexpr WORD SUBLANG_DEFAULT = 1;
#define MAKELANGID(primary, sub) ((sub) << 10 | (primary))
DWORD FormatMessageW(DWORD flags, const void* source, DWORD code, DWORD language, LPWSTR target,
                     DWORD size, void* arguments);
HANDLE LocalFree(void* memory);

// Files: none can be opened. GetFullPathNameW takes what begins with a drive or a backslash for
// full, and everything else as below C:\work.
struct FILETIME {
  DWORD low, high;
};
struct BY_HANDLE_FILE_INFORMATION {
  DWORD dwVolumeSerialNumber;
  DWORD nFileIndexHigh;
  DWORD nFileIndexLow;
};
struct SECURITY_ATTRIBUTES {
  DWORD nLength;
  void* lpSecurityDescriptor;
  BOOL bInheritHandle;
};
inline constexpr DWORD FILE_SHARE_READ = 1;
inline constexpr DWORD FILE_SHARE_WRITE = 2;
inline constexpr DWORD FILE_SHARE_DELETE = 4;
inline constexpr DWORD FILE_READ_ATTRIBUTES = 0x80;
inline constexpr DWORD GENERIC_READ = 0x80000000;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;
DWORD GetFullPathNameW(LPCWSTR path, DWORD size, LPWSTR full, LPWSTR* fileName);
HANDLE CreateFileW(LPCWSTR path, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD, HANDLE);
BOOL GetFileInformationByHandle(HANDLE file, BY_HANDLE_FILE_INFORMATION* information);
DWORD GetFileAttributesW(LPCWSTR path);
BOOL WriteFile(HANDLE file, const void* data, DWORD size, DWORD* written, void*);
BOOL ReadFile(HANDLE file, void* data, DWORD size, DWORD* read, void*);
BOOL WriteConsoleW(HANDLE console, const void* text, DWORD length, DWORD* written, void*);
BOOL GetConsoleMode(HANDLE console, DWORD* mode);
BOOL CloseHandle(HANDLE handle);
BOOL CloseServiceHandle(SC_HANDLE handle);
HANDLE CreateEventW(SECURITY_ATTRIBUTES*, BOOL, BOOL, LPCWSTR);
DWORD GetLastError();

// Modules.
UINT GetSystemDirectoryA(LPSTR target, UINT size);
HMODULE LoadLibraryA(LPCSTR name);
BOOL FreeLibrary(HMODULE module);
FARPROC GetProcAddress(HMODULE module, LPCSTR name);
HMODULE GetModuleHandleW(LPCWSTR name);
DWORD GetModuleFileNameW(HMODULE module, LPWSTR target, DWORD size);
inline BOOL IsBadStringPtrW(LPCWSTR, size_t) { return FALSE; }
inline BOOL IsBadWritePtr(void*, size_t) { return FALSE; }

// What the fuzzed sources name beside what is fuzzed of them. None of these is called.
struct CRITICAL_SECTION {};
struct SRWLOCK {};
inline constexpr SRWLOCK SRWLOCK_INIT = {};
inline void InitializeCriticalSection(CRITICAL_SECTION*) {}
inline void DeleteCriticalSection(CRITICAL_SECTION*) {}
inline void EnterCriticalSection(CRITICAL_SECTION*) {}
inline void LeaveCriticalSection(CRITICAL_SECTION*) {}
inline void AcquireSRWLockExclusive(SRWLOCK*) {}
inline void ReleaseSRWLockExclusive(SRWLOCK*) {}
struct JOBOBJECT_EXTENDED_LIMIT_INFORMATION {
  struct {
    DWORD LimitFlags;
  } BasicLimitInformation;
};
struct STARTUPINFOW {
  DWORD cb, dwFlags;
  HANDLE hStdInput, hStdOutput, hStdError;
};
using LPPROC_THREAD_ATTRIBUTE_LIST = void*;
struct STARTUPINFOEXW {
  STARTUPINFOW StartupInfo;
  LPPROC_THREAD_ATTRIBUTE_LIST lpAttributeList;
};
struct PROCESS_INFORMATION {
  HANDLE hProcess, hThread;
  DWORD dwProcessId, dwThreadId;
};
inline constexpr DWORD JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE = 0x2000;
inline constexpr DWORD JOB_OBJECT_LIMIT_DIE_ON_UNHANDLED_EXCEPTION = 0x400;
inline constexpr DWORD JobObjectExtendedLimitInformation = 9;
inline constexpr DWORD HANDLE_FLAG_INHERIT = 1;
inline constexpr DWORD STARTF_USESTDHANDLES = 0x100;
inline constexpr DWORD CREATE_NO_WINDOW = 0x08000000;
inline constexpr DWORD EXTENDED_STARTUPINFO_PRESENT = 0x00080000;
inline constexpr DWORD PROC_THREAD_ATTRIBUTE_JOB_LIST = 0x2000D;
inline constexpr DWORD PROC_THREAD_ATTRIBUTE_HANDLE_LIST = 0x20002;
HANDLE CreateJobObjectW(SECURITY_ATTRIBUTES*, LPCWSTR);
BOOL SetInformationJobObject(HANDLE, DWORD, void*, DWORD);
BOOL CreatePipe(HANDLE*, HANDLE*, SECURITY_ATTRIBUTES*, DWORD);
BOOL SetHandleInformation(HANDLE, DWORD, DWORD);
BOOL InitializeProcThreadAttributeList(void*, DWORD, DWORD, SIZE_T*);
void DeleteProcThreadAttributeList(void*);
BOOL UpdateProcThreadAttribute(void*, DWORD, DWORD, void*, SIZE_T, void*, SIZE_T*);
BOOL CreateProcessW(LPCWSTR, LPWSTR, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL, DWORD, void*,
                    LPCWSTR, STARTUPINFOW*, PROCESS_INFORMATION*);
BOOL TerminateJobObject(HANDLE, UINT);
DWORD WaitForSingleObject(HANDLE, DWORD);
BOOL GetExitCodeProcess(HANDLE, DWORD*);

// What the targets set, and what they see.
namespace shim {

struct Value {
  DWORD type = REG_NONE;
  std::vector<BYTE> bytes;
};
using Values = std::map<std::wstring, Value>;

// By path below its root, whose name is left out: the targets use no path twice.
inline std::map<std::wstring, Values> registry;
// The ANSI code page: 1252 or, with double bytes, 932.
inline UINT ansiCodePage = 1252;
// What standard output got, how much of it WriteFile takes at once, and whether it is a console.
inline std::string written;
inline std::wstring shown;
inline DWORD mostAtOnce = UINT32_MAX;
inline bool isConsole = false;
// What the MAPI stub answers; without it there is none. Its parameters are FGetComponentPath's.
inline std::function<BOOL(LPCSTR, LPSTR, LPSTR, DWORD)> componentPath;
// What the sources printed, one string a line, cut as the console does.
inline std::vector<std::wstring> lines;

}  // namespace shim
