// The fault plan: which calls fail, with what, and which take their time.
//
// The plan is the rule file `faults.txt` (rule_file.h).
//
//   <operation> <n|*> <0xHRESULT>               the nth call in a process, or each one, fails
//   <operation> <n|*> delay <milliseconds>      ... takes that long and then goes on
//   <operation> match <text> <0xHRESULT>        each call that names a user whose address contains
//   <operation> match <text> delay <ms>         `text` (without regard to the case of A to Z)
//   * <n> <0xHRESULT>                           the nth call of anything
//
// An operation may be narrowed to what it works on: "HrQueryAllRows@ProviderTable" counts and fails
// only the calls on provider tables, "IMsgServiceAdmin::OpenProfileSection@ServiceSection" only
// those that open a service's section. Beside the rules stand options:
//
//   option keep-out-parameters                  failed calls leave out-parameters alone
//   option poison-out-parameters                failed calls fill them with the byte 0xDD
//   option journal-system-calls                 the program's calls of system functions too are
//                                               journalled
//
// By default an injected failure sets pointer out-parameters to zero, as COM asks of every failing
// call; poisoned ones crash a caller who uses or releases them. lab/README.md lists the operations,
// among them the pseudo operations that replace a single value by an error.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lab/common/rule_file.h"

namespace lab {

enum class OutParameters { kPoison, kKeep, kNull };

// It means each call, unless it says which one or whose.
struct FaultRule {
  std::string operation = {};        // "IMAPISession::OpenMsgStore", "*"; empty for an option
  std::optional<uint32_t> nth = {};  // from 1
  std::optional<std::wstring> match = {};
  std::optional<uint32_t> milliseconds = {};  // that it takes; otherwise it fails with `result`
  uint32_t result = 0;                        // HRESULT
  std::optional<OutParameters> treatment = {};
  std::optional<bool> journalsSystem = {};  // as an option

  bool operator==(const FaultRule&) const = default;
};

// A process reads its plan once, at its first call into the lab.
class FaultPlan : public RulePlan<FaultPlan, FaultRule> {
 public:
  static constexpr wchar_t kFileName[] = L"faults.txt";

  FaultPlan& FailNth(std::string operation, uint32_t nth, uint32_t result) {
    return Add({.operation = std::move(operation), .nth = nth, .result = result});
  }
  FaultPlan& FailEach(std::string operation, uint32_t result) {
    return Add({.operation = std::move(operation), .result = result});
  }
  FaultPlan& FailMatching(std::string operation, std::wstring text, uint32_t result) {
    return Add({.operation = std::move(operation), .match = std::move(text), .result = result});
  }
  FaultPlan& DelayNth(std::string operation, uint32_t nth, uint32_t milliseconds) {
    return Add({.operation = std::move(operation), .nth = nth, .milliseconds = milliseconds});
  }
  FaultPlan& DelayEach(std::string operation, uint32_t milliseconds) {
    return Add({.operation = std::move(operation), .milliseconds = milliseconds});
  }
  FaultPlan& DelayMatching(std::string operation, std::wstring text, uint32_t milliseconds) {
    return Add({.operation = std::move(operation),
                .match = std::move(text),
                .milliseconds = milliseconds});
  }
  FaultPlan& SetOutParameters(OutParameters treatment) { return Add({.treatment = treatment}); }

  FaultPlan& JournalSystemCalls() { return Add({.journalsSystem = true}); }

  // What the last option says.
  OutParameters Treatment() const;
  bool JournalsSystem() const;

  static RuleForms<FaultRule> Forms();
};

// Counts the calls of one process and answers them by a plan. Threads may share it.
class FaultInjector {
 public:
  struct Answer {
    bool fails = false;
    uint32_t result = 0;        // when it fails
    uint32_t milliseconds = 0;  // to sleep before anything else
    uint32_t ordinal = 0;       // the call's number among all calls, from 1
  };

  explicit FaultInjector(FaultPlan plan);

  // Counts a call of `operation` that names `user` and works on `place` (either may be empty). The
  // first rule that fails it wins, delays add up. The caller sleeps, without any lock held.
  Answer NextCall(std::string_view operation, std::wstring_view user = {},
                  std::string_view place = {});

  // Counts what "*" does not reach: a value of a pseudo operation, or the call of a system function
  // that is given the text `match`.
  Answer NextValue(std::string_view operation, std::wstring_view match = {});

  OutParameters Treatment() const { return plan_.Treatment(); }

 private:
  // Counts each of the names by which rules reach a call, and answers for them all.
  Answer Judge(const std::vector<std::string>& names, std::wstring_view user);

  const FaultPlan plan_;
  std::mutex mutex_;
  std::map<std::string, uint32_t> counts_;
};

}  // namespace lab
