// Locks as scopes.
#pragma once

#include <windows.h>

#include "src/platform/thread_annotations.h"

namespace platform {

// A Windows critical section that clang's analysis knows as a lock. Its owner initialises and
// deletes it with the Windows functions; it has no constructor of its own.
struct QRV_CAPABILITY("mutex") CriticalSection : CRITICAL_SECTION {};

// Holds a critical section for as long as it lives.
class QRV_SCOPED_CAPABILITY CriticalSectionGuard {
 public:
  explicit CriticalSectionGuard(CriticalSection& section) QRV_ACQUIRE(section) : section_(section) {
    EnterCriticalSection(&section_);
  }
  ~CriticalSectionGuard() QRV_RELEASE() { LeaveCriticalSection(&section_); }
  CriticalSectionGuard(const CriticalSectionGuard&) = delete;
  CriticalSectionGuard& operator=(const CriticalSectionGuard&) = delete;

 private:
  CriticalSection& section_;
};

// Holds a slim lock exclusively for as long as it lives. The lock itself needs no construction and
// no destruction, so it serves threads that run before and after the program's own.
class SlimLockGuard {
 public:
  explicit SlimLockGuard(SRWLOCK& lock) : lock_(lock) { AcquireSRWLockExclusive(&lock_); }
  ~SlimLockGuard() { ReleaseSRWLockExclusive(&lock_); }
  SlimLockGuard(const SlimLockGuard&) = delete;
  SlimLockGuard& operator=(const SlimLockGuard&) = delete;

 private:
  SRWLOCK& lock_;
};

}  // namespace platform
