// Standard output, and the console behind it.
#pragma once

#include <windows.h>

#include <functional>
#include <string>

#include "src/platform/handle.h"

// Shows lines, from any thread, and lends the process's place on its console out.
class Screen {
 public:
  // Shows a line whole, at once.
  void Show(const std::wstring& line);

  // Calls `use` while the process is on no console, so that it can go to another one, and brings it
  // back to its own afterwards. Lines wait meanwhile; one that is stuck, since somebody selects
  // text on the console, is waited for a second. A console that nobody else was on is gone then; a
  // new one takes its place. Console control handlers are the system's own afterwards.
  void Leave(const std::function<void()>& use);

 private:
  void ShowOnConsole();

  // Standard output, when the process has come back to a console.
  platform::KernelHandle console_;
  SRWLOCK lock_ = SRWLOCK_INIT;
};
