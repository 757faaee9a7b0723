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
#include <string_view>
#include <vector>

namespace lab {

struct StubAnswer {
  bool succeeds = false;
  std::optional<std::string> path;  // none leaves the caller's buffer alone
};

class StubPlan {
 public:
  // Each adds a rule and returns the plan, so that calls can be chained. "null" is the call without
  // a qualifier, "*" any call. Paths are in the ANSI code page.
  StubPlan& Path(std::string qualifier, std::string path);
  StubPlan& Empty(std::string qualifier);
  StubPlan& Fail(std::string qualifier);
  StubPlan& FailWithPath(std::string qualifier, std::string path);

  // `qualifier` may be null.
  StubAnswer For(const char* qualifier) const;

  // The plan's text, and back. Parse adds what it reads to the plan; at the first line that is no
  // rule it stops and returns false, and `error`, when given, names the line.
  std::string Format() const;
  bool Parse(std::string_view text, std::string* error = nullptr);

  // Writes `mapistub.txt` in `directory`, which is created when it does not exist.
  bool Save(const std::wstring& directory) const;

  // The plan kept in `directory`; see LoadPlan.
  static StubPlan Load(const std::wstring& directory);

 private:
  struct Rule {
    std::string qualifier;
    StubAnswer answer;
  };

  StubPlan& Add(std::string qualifier, StubAnswer answer);

  std::vector<Rule> rules_;
};

}  // namespace lab
