// What belongs to a component as a whole: the journal, the fault plan, the account of what is held.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>

#include "lab/com/account.h"
#include "lab/common/fault_plan.h"
#include "lab/common/journal.h"

namespace lab {

// What each component says of itself.
struct Component {
  HRESULT notNeeded;     // what a method answers that nobody is expected to call
  HRESULT released;      // what a released object answers
  HRESULT unknownFlags;  // what flags get that a method does not know
  // Whether the calling thread may make the call: S_OK, or what the call then returns.
  HRESULT (*checkThread)(const std::string& call);
};
extern const Component kComponent;

class Runtime {
 public:
  // Made at the first call into the module and never destroyed: calls come in until the very end.
  static Runtime& Get();
  // The same, or null when no call has come yet.
  static Runtime* Existing();

  FaultInjector& Faults() { return faults_; }
  Account& Held() { return account_; }

  // What the fault plan has for what "*" does not reach, when it wants it this time: a pseudo
  // operation, or the call of a system function that is given the text `match`.
  std::optional<uint32_t> Planned(std::string_view operation, std::wstring_view match = {});

  void Write(const JournalEntry& entry) const { AppendJournal(journal_, entry); }
  void Unexpected(const std::string& text) const;

 private:
  Runtime();

  const std::wstring journal_;
  FaultInjector faults_;
  Account account_;
};

}  // namespace lab
