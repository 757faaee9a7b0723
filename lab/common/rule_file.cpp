#include "lab/common/rule_file.h"

#include <windows.h>

#include "lab/common/text.h"

namespace lab {

bool ReadRules(std::string_view text,
               const std::function<bool(const std::vector<std::string>& words)>& take,
               std::string* error) {
  for (const std::string& line : SplitLines(text)) {
    const std::vector<std::string> words = SplitQuoted(line);
    if (words.empty() || words[0].starts_with('#') || take(words)) continue;
    if (error != nullptr) *error = line;
    return false;
  }
  return true;
}

std::string LoadRuleFile(const std::wstring& directory, const std::wstring& name) {
  if (directory.empty()) return {};
  return ReadWholeFile(directory + L'\\' + name).value_or(std::string());
}

bool SaveRuleFile(const std::wstring& directory, const std::wstring& name, std::string_view text) {
  if (directory.empty()) return false;
  CreateDirectoryW(directory.c_str(), nullptr);
  return WriteWholeFile(directory + L'\\' + name, text);
}

}  // namespace lab
