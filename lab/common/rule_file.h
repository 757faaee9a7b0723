// Rule files: the text files of the lab's directory that the plans are kept in. One rule a line,
// its words with blanks between, a word with blanks in double quotes; an empty line or one that
// begins with '#' says nothing.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "lab/common/journal.h"
#include "lab/common/lab_config.h"

namespace lab {

// Hands the words of each rule in `text` to `take`. At the first rule that `take` refuses it stops
// and returns false, and `error`, when given, receives the line.
bool ReadRules(std::string_view text,
               const std::function<bool(const std::vector<std::string>& words)>& take,
               std::string* error);

// The text of the file `name` in `directory`; empty when there is no such file or no directory.
std::string LoadRuleFile(const std::wstring& directory, const std::wstring& name);

// Writes the file; the directory is created when it does not exist. False when that fails.
bool SaveRuleFile(const std::wstring& directory, const std::wstring& name, std::string_view text);

// The plan kept in the file, or an empty one. Where a line is no rule the plan ends, and the
// journal has an UNEXPECTED line.
template <class Plan>
Plan LoadPlan(const std::wstring& directory, const std::wstring& name) {
  Plan plan;
  std::string error;
  if (!plan.Parse(LoadRuleFile(directory, name), &error)) {
    AppendJournalNote(JournalPath(directory), JournalEntry::Kind::kUnexpected,
                      "a plan with a line that is no rule: " + error);
  }
  return plan;
}

}  // namespace lab
