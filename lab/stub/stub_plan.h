// What FGetComponentPath of the lab's MAPI stub answers.
//
// The plan is the rule file `mapistub.txt` (rule_file.h). The first rule whose qualifier is the
// caller's counts, and `*` is any. Without one the call fails and leaves the caller's buffer alone.
//
//   1033 path C:\outlook\olmapi32.dll             succeeds with the path
//   1034 fail                                     fails
//   1035 fail C:\outlook\olmapi32.dll             fails, but writes the path
//   null empty                                    succeeds with an empty path; null: no qualifier
//   * path "C:\\Program Files\\olmapi32.dll"      in double quotes a backslash is doubled
#pragma once

#include <optional>
#include <string>

#include "lab/common/rule_file.h"

namespace lab {

// What the calls with a qualifier are answered.
struct StubRule {
  std::string qualifier = {};  // "null": the call without one; "*": any call
  bool succeeds = false;
  std::optional<std::string> path = {};  // in the ANSI code page; none leaves the buffer alone

  bool operator==(const StubRule&) const = default;
};

class StubPlan : public RulePlan<StubPlan, StubRule> {
 public:
  static constexpr wchar_t kFileName[] = L"mapistub.txt";

  StubPlan& Path(std::string qualifier, std::string path) {
    return Add({std::move(qualifier), true, std::move(path)});
  }
  StubPlan& Empty(std::string qualifier) { return Path(std::move(qualifier), ""); }
  StubPlan& Fail(std::string qualifier) { return Add({.qualifier = std::move(qualifier)}); }
  StubPlan& FailWithPath(std::string qualifier, std::string path) {
    return Add({std::move(qualifier), false, std::move(path)});
  }

  // The rule that answers the call; `qualifier` may be null.
  StubRule For(const char* qualifier) const;

  static RuleForms<StubRule> Forms();
};

}  // namespace lab
