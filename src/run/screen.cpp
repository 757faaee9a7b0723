#include "src/run/screen.h"

#include <algorithm>
#include <array>
#include <vector>

#include "src/console/console.h"
#include "src/platform/lock.h"

namespace {

// The processes on this process's console; none when it has no console.
std::vector<DWORD> ProcessesOnConsole() {
  std::vector<DWORD> ids(256);
  ids.resize(std::min<size_t>(GetConsoleProcessList(ids.data(), static_cast<DWORD>(ids.size())),
                              ids.size()));
  return ids;
}

bool GoToConsoleOf(DWORD processId) {
  return processId != GetCurrentProcessId() && AttachConsole(processId);
}

bool StandardOutputIsConsole() {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode) != FALSE;
}

bool TryLock(SRWLOCK& lock) {
  constexpr int kTries = 20;
  constexpr DWORD kBetweenTriesMilliseconds = 50;
  for (int i = 0; i < kTries; ++i) {
    if (TryAcquireSRWLockExclusive(&lock)) return true;
    Sleep(kBetweenTriesMilliseconds);
  }
  return false;
}

}  // namespace

void Screen::Show(const std::wstring& line) {
  const platform::SlimLockGuard guard(lock_);
  PrintText(line);
}

// The standard handle may still be that of the console that was left.
void Screen::ShowOnConsole() {
  console_ = platform::TakeFileHandle(CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE,
                                                  FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                                  OPEN_EXISTING, 0, nullptr));
  SetStdHandle(STD_OUTPUT_HANDLE, console_.Get());
  SetUpConsole();
}

void Screen::Leave(const std::function<void()>& use) {
  const bool locked = TryLock(lock_);
  const std::vector<DWORD> neighbours = ProcessesOnConsole();
  const bool showsOnConsole = StandardOutputIsConsole();
  FreeConsole();
  use();
  FreeConsole();
  if (!neighbours.empty() && std::none_of(neighbours.begin(), neighbours.end(), GoToConsoleOf)) {
    AllocConsole();
  }
  if (showsOnConsole) ShowOnConsole();
  if (locked) ReleaseSRWLockExclusive(&lock_);
}
