// What the processes of a lab share: its settings, where it keeps what it records and reads while
// programs run in it, and mutexes.
#pragma once

#include <windows.h>

#include <string>

#include "src/platform/handle.h"

namespace lab {

// A setting of the lab: the environment variable, or, when there is no such variable, the text
// value of the registry key HKEY_CURRENT_USER\Software\QrvLab. Empty when neither is there.
std::wstring ReadLabValue(const wchar_t* variable, const wchar_t* valueName);

// The lab's directory: the setting QRVLAB_DIR or "Directory". Without a directory there is no
// journal and no fault plan. Without a trailing backslash; the directory itself may not exist yet.
std::wstring LabDirectory();

// Keeps `directory` in the registry, for programs started without the environment variable.
// An empty one removes the value. False when the registry refuses.
bool SetLabDirectory(const std::wstring& directory);

// `journal.txt` in `directory` (by default the lab's); empty when that is empty.
std::wstring JournalPath(const std::wstring& directory = LabDirectory());

// A mutex that all processes of a session share by its name. A thread that holds it may take it
// again.
//
// Belongs at namespace scope: a function's own static variable needs the thread library, which
// keeps two handles when a DLL is unloaded.
class SessionMutex {
 public:
  // Whoever has waited for `patience` milliseconds goes on without the mutex.
  explicit SessionMutex(const wchar_t* name, DWORD patience = INFINITE)
      : handle_(CreateMutexW(nullptr, FALSE, name)), patience_(patience) {}

 private:
  friend class SessionLock;

  const platform::KernelHandle handle_;
  const DWORD patience_;
};

// Holds a mutex for as long as it lives.
class SessionLock {
 public:
  explicit SessionLock(const SessionMutex& mutex) : handle_(mutex.handle_.Get()) {
    WaitForSingleObject(handle_, mutex.patience_);
  }
  SessionLock(const SessionLock&) = delete;
  SessionLock& operator=(const SessionLock&) = delete;
  ~SessionLock() { ReleaseMutex(handle_); }

 private:
  const HANDLE handle_;
};

}  // namespace lab
