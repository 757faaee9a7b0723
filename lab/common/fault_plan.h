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
//
// By default an injected failure sets pointer out-parameters to zero, as COM asks of every failing
// call; poisoned ones crash a caller who uses or releases them. lab/README.md lists the operations,
// among them the pseudo operations that replace a single value by an error.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace lab {

struct FaultRule {
  enum class Selection { kNth, kEach, kMatch };

  std::string operation;  // "IMAPISession::OpenMsgStore", "*"
  Selection selection = Selection::kEach;
  uint32_t nth = 0;     // from 1; of kNth
  std::wstring match;   // of kMatch
  bool delays = false;  // takes `milliseconds`, otherwise fails with `result`
  uint32_t milliseconds = 0;
  uint32_t result = 0;  // HRESULT
};

enum class OutParameters { kPoison, kKeep, kNull };

class FaultPlan {
 public:
  // Each adds a rule and returns the plan, so that calls can be chained.
  FaultPlan& Add(FaultRule rule);
  FaultPlan& FailNth(std::string operation, uint32_t nth, uint32_t result);
  FaultPlan& FailEach(std::string operation, uint32_t result);
  FaultPlan& FailMatching(std::string operation, std::wstring text, uint32_t result);
  FaultPlan& DelayNth(std::string operation, uint32_t nth, uint32_t milliseconds);
  FaultPlan& DelayEach(std::string operation, uint32_t milliseconds);
  FaultPlan& DelayMatching(std::string operation, std::wstring text, uint32_t milliseconds);
  FaultPlan& SetOutParameters(OutParameters treatment);

  const std::vector<FaultRule>& Rules() const { return rules_; }
  OutParameters Treatment() const { return treatment_; }

  // The plan's text, and back. Parse adds what it reads to the plan; at the first line that is no
  // rule it stops and returns false, and `error`, when given, names the line.
  std::string Format() const;
  bool Parse(std::string_view text, std::string* error = nullptr);

  // Writes faults.txt in `directory`, which is created when it does not exist; false when that
  // fails. A process reads the plan once, at its first call into the lab.
  bool Save(const std::wstring& directory) const;

  // The plan kept in `directory`; see LoadPlan.
  static FaultPlan Load(const std::wstring& directory);

 private:
  std::vector<FaultRule> rules_;
  OutParameters treatment_ = OutParameters::kNull;
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

  // Counts a value of a pseudo operation, which "*" does not reach.
  Answer NextValue(std::string_view operation);

  OutParameters Treatment() const { return plan_.Treatment(); }

 private:
  // A name by which rules reach a call, and its number among the calls of that name.
  struct Counted {
    std::string name;
    uint32_t number;
  };

  // With the mutex held.
  Counted Count(std::string name);
  static bool Reaches(const FaultRule& rule, const Counted& name, std::wstring_view user);
  Answer Judge(const std::vector<Counted>& names, std::wstring_view user) const;

  const FaultPlan plan_;
  std::mutex mutex_;
  std::map<std::string, uint32_t> counts_;
};

}  // namespace lab
