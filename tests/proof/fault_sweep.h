// What the fault sweeps share: the result that they have one call of a run come back with, and
// which call it was.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "lab/common/journal.h"

namespace e2e {

inline constexpr uint32_t kInjected = 0x8004DEAD;

// The call that a rule of the fault plan made fail; none when the run was over before it.
inline const lab::JournalEntry* FailedCall(const std::vector<lab::JournalEntry>& journal) {
  const auto failed = std::find_if(journal.begin(), journal.end(), [](const auto& entry) {
    return entry.Argument("injected") == "yes";
  });
  return failed == journal.end() ? nullptr : &*failed;
}

}  // namespace e2e
