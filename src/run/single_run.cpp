#include "src/run/single_run.h"

#include <utility>

namespace {

// Whether an object of that name is there, although it could not be opened.
bool IsClosedToUs(const wchar_t* name) {
  const platform::KernelHandle mutex(OpenMutexW(SYNCHRONIZE, FALSE, name));
  return mutex || GetLastError() == ERROR_ACCESS_DENIED;
}

}  // namespace

bool SingleRun::Take() { return Take({L"Global\\qrvrun", L"Local\\qrvrun"}); }

bool SingleRun::Take(std::initializer_list<const wchar_t*> names) {
  for (const wchar_t* name : names) {
    platform::KernelHandle mutex(CreateMutexW(nullptr, FALSE, name));
    if (mutex) {
      // A holder that was killed has left it. Who is refused keeps no handle: the lock ends with
      // its holder's.
      if (WaitForSingleObject(mutex.Get(), 0) == WAIT_TIMEOUT) return false;
      mutex_ = std::move(mutex);
      return true;
    }
    if (GetLastError() == ERROR_ACCESS_DENIED && IsClosedToUs(name)) return false;
  }
  return false;
}
