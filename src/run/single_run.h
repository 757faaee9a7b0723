// One unattended run at a time.
#pragma once

#include <initializer_list>

#include "src/platform/handle.h"

// The turn of the one that runs, from Take to the object's end, or the process's. Main thread only.
class SingleRun {
 public:
  // False when another holds the turn, whoever's it is: one whose lock may not be opened is at work
  // too.
  bool Take();

  // The same with the lock's names, of which the first that the system allows counts.
  bool Take(std::initializer_list<const wchar_t*> names);

 private:
  platform::KernelHandle mutex_;
};
