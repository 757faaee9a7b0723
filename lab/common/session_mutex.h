// A mutex that all processes of a session share by its name. A thread that holds it may take it
// again. std::lock_guard takes it.
#pragma once

#include <windows.h>

namespace lab {

// Belongs at namespace scope: a function's own static variable needs the thread library, which
// keeps two handles when a DLL is unloaded.
class SessionMutex {
 public:
  // Whoever has waited for `patience` milliseconds goes on without the mutex.
  explicit SessionMutex(const wchar_t* name, DWORD patience = INFINITE)
      : handle_(CreateMutexW(nullptr, FALSE, name)), patience_(patience) {}
  SessionMutex(const SessionMutex&) = delete;
  SessionMutex& operator=(const SessionMutex&) = delete;
  ~SessionMutex() { CloseHandle(handle_); }

  void lock() { WaitForSingleObject(handle_, patience_); }
  void unlock() { ReleaseMutex(handle_); }

 private:
  const HANDLE handle_;
  const DWORD patience_;
};

}  // namespace lab
