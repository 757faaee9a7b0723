// Writes a program's counts at its end, one program at a time: the library that counts adds to what
// its files hold, and under Wine nobody locks them. The environment's QRV_COVERAGE is the folder
// they go to. A program that is killed before its end leaves the file "lost-<process>" there in
// place of its counts.
#include <windows.h>

#include <cstdlib>
#include <string>

extern "C" void __gcov_dump();

namespace {

constexpr DWORD kSharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

std::wstring Folder() {
  wchar_t text[MAX_PATH] = {};
  const DWORD length = GetEnvironmentVariableW(L"QRV_COVERAGE", text, MAX_PATH);
  return length ? std::wstring(text, length) : L"C:\\coverage";
}

std::wstring MarkOf(const std::wstring& folder) {
  return folder + L"\\lost-" + std::to_wstring(GetCurrentProcessId());
}

__attribute__((constructor)) void Begin() {
  CloseHandle(CreateFileW(MarkOf(Folder()).c_str(), GENERIC_WRITE, kSharing, nullptr, CREATE_ALWAYS,
                          FILE_ATTRIBUTE_NORMAL, nullptr));
}

// Behind all other destructors but the counting library's own, which finds nothing left to do.
__attribute__((destructor(101))) void End() {
  const std::wstring folder = Folder();
  const HANDLE mutex = CreateMutexW(nullptr, FALSE, L"qrv-coverage");
  WaitForSingleObject(mutex, INFINITE);
  _wputenv_s(L"GCOV_PREFIX", folder.c_str());
  __gcov_dump();
  DeleteFileW(MarkOf(folder).c_str());
  ReleaseMutex(mutex);
  CloseHandle(mutex);
}

}  // namespace
