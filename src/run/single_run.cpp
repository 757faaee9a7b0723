#include "src/run/single_run.h"

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
    mutex_ = platform::KernelHandle(CreateMutexW(nullptr, FALSE, name));
    // A holder that was killed has left it.
    if (mutex_) return WaitForSingleObject(mutex_.Get(), 0) != WAIT_TIMEOUT;
    if (GetLastError() == ERROR_ACCESS_DENIED && IsClosedToUs(name)) return false;
  }
  return false;
}
