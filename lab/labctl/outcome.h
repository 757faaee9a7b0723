// What a verb is given, and how it ends.
#pragma once

#include <string>
#include <vector>

#include "lab/labctl/output.h"

namespace lab {

// The words behind the verb.
using Words = std::vector<std::wstring>;

// labctl's exit codes.
inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;         // the verb has said why
inline constexpr int kNotUnderstood = 2;  // the words make no sense

// The code for something that was done, or that failed, which is then said.
inline int Outcome(bool done, const char* failure) {
  if (!done) PrintError(std::string("labctl: ") + failure + "\n");
  return done ? kDone : kFailed;
}

}  // namespace lab
