// How a verb ends.
#pragma once

#include <string>

#include "lab/labctl/output.h"

namespace lab {

// labctl's exit codes.
inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;
inline constexpr int kNotUnderstood = 2;

// The code for something that was done, or that failed, which is then said.
inline int Outcome(bool done, const char* failure) {
  if (!done) PrintError(std::string("labctl: ") + failure + "\n");
  return done ? kDone : kFailed;
}

}  // namespace lab
