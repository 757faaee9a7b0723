#include "lab/common/rule_file.h"

namespace lab {

bool ReadWord(std::string_view word, uint32_t* number) {
  const auto read = ParseNumber(word);
  *number = read.value_or(*number);
  return read.has_value();
}

bool ReadWord(std::string_view word, std::string* text) {
  *text = word;
  return true;
}

bool ReadWord(std::string_view word, std::wstring* text) {
  *text = WideFromUtf8(word);
  return true;
}

bool ReadRules(std::string_view text, const std::function<bool(const RuleWords& words)>& take,
               std::string* error) {
  for (const std::string& line : SplitLines(text)) {
    const RuleWords words = SplitQuoted(line);
    if (words.empty() || words[0].starts_with('#') || take(words)) continue;
    if (error) *error = line;
    return false;
  }
  return true;
}

}  // namespace lab
