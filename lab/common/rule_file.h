// Rule files: the text files of the lab's directory that the plans are kept in. One rule a line,
// its words with blanks between, a word with blanks in double quotes; an empty line or one that
// begins with '#' says nothing.
//
// What rules can say stands in a table of forms, by which they are both read and written. A form is
// a line's words: each is there as it is, or is what a member of the rule has for its value.
//
//   constexpr RuleForm<FaultRule> kForms[] = {
//       {kOperation, "*", kResult},
//       {kOperation, "match", kValue<&FaultRule::match>, kResult}};
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "lab/common/journal.h"
#include "lab/common/lab_config.h"
#include "lab/common/text.h"

namespace lab {

using RuleWords = std::vector<std::string>;

// A word of a form. One that is empty stands behind a form's last.
template <class Rule>
struct RuleWord {
  // Takes a word into the rule; false when it cannot be that.
  using Read = bool (*)(std::string_view word, Rule* rule);
  // The word as it stands in a line; empty when the rule has none to put there.
  using Write = std::string (*)(const Rule& rule);

  constexpr RuleWord() = default;
  constexpr RuleWord(const char* itself) : literal(itself) {}
  constexpr RuleWord(Read reader, Write writer) : read(reader), write(writer) {}

  bool Empty() const { return !literal && !read; }
  bool Take(std::string_view word, Rule* rule) const {
    return literal ? word == literal : read(word, rule);
  }
  std::string Text(const Rule& rule) const { return literal ? literal : write(rule); }

  const char* literal = nullptr;
  Read read = nullptr;
  Write write = nullptr;
};

// What a word makes of a member; false when it cannot be its value.
bool ReadWord(std::string_view word, uint32_t* number);
bool ReadWord(std::string_view word, std::string* text);
bool ReadWord(std::string_view word, std::wstring* text);
template <class Type>
bool ReadWord(std::string_view word, std::optional<Type>* value) {
  return ReadWord(word, &value->emplace());
}

// How a member's value is written: numbers in decimal digits, or as an HRESULT, and text in quotes.
struct WriteWord {
  std::string operator()(uint32_t number) const { return std::to_string(number); }
  std::string operator()(const std::string& text) const { return Quote(text); }
  std::string operator()(const std::wstring& text) const { return Quote(Utf8FromWide(text)); }
};
struct WriteResult {
  std::string operator()(uint32_t result) const { return HexResult(result); }
};

template <class Writer, class Type>
std::string WriteValue(const Type& value) {
  return Writer()(value);
}
template <class Writer, class Type>
std::string WriteValue(const std::optional<Type>& value) {
  return value ? Writer()(*value) : std::string();
}

template <class Rule, class Type>
Rule RuleOf(Type Rule::*);
// The rule whose member it is.
template <auto kMember>
using RuleWith = decltype(RuleOf(kMember));

template <auto kMember>
bool ReadMember(std::string_view word, RuleWith<kMember>* rule) {
  return ReadWord(word, &(rule->*kMember));
}

template <auto kMember, class Writer>
std::string WriteMember(const RuleWith<kMember>& rule) {
  return WriteValue<Writer>(rule.*kMember);
}

// A member: a number or a text, of which an optional one has no word when it is not set.
template <auto kMember, class Writer = WriteWord>
inline constexpr RuleWord<RuleWith<kMember>> kValue = {&ReadMember<kMember>,
                                                       &WriteMember<kMember, Writer>};

inline constexpr NamedValue<bool> kYesNo[] = {{true, "yes"}, {false, "no"}};

template <auto kMember, const auto& kNames>
bool ReadName(std::string_view word, RuleWith<kMember>* rule) {
  const auto value = ValueNamed(kNames, word);
  if (value) rule->*kMember = *value;
  return value.has_value();
}

template <auto kMember, const auto& kNames>
std::string WriteName(const RuleWith<kMember>& rule) {
  const char* name = NameOf(kNames, rule.*kMember);
  return name ? name : std::string();
}

// A member whose values have names; the case of A to Z does not count.
template <auto kMember, const auto& kNames>
inline constexpr RuleWord<RuleWith<kMember>> kChoice = {&ReadName<kMember, kNames>,
                                                        &WriteName<kMember, kNames>};

// A line's words; those behind the last one are empty.
template <class Rule>
struct RuleForm {
  RuleWord<Rule> words[9];
};
template <class Rule>
using RuleForms = std::span<const RuleForm<Rule>>;

template <class Rule>
bool ReadForm(const RuleForm<Rule>& form, const RuleWords& words, Rule* rule) {
  size_t at = 0;
  for (; !form.words[at].Empty(); ++at) {
    if (at >= words.size() || !form.words[at].Take(words[at], rule)) return false;
  }
  return at == words.size();
}

// Reads the words into the rule by the first form that they fit; without one the rule stays as it
// is, and the answer is false.
template <class Rule>
bool ReadRule(std::type_identity_t<RuleForms<Rule>> forms, const RuleWords& words, Rule* rule) {
  for (const RuleForm<Rule>& form : forms) {
    Rule read = *rule;
    if (!ReadForm(form, words, &read)) continue;
    *rule = std::move(read);
    return true;
  }
  return false;
}

template <class Rule>
std::string WriteForm(const RuleForm<Rule>& form, const Rule& rule) {
  std::string line;
  for (const RuleWord<Rule>* word = form.words; !word->Empty(); ++word) {
    line += (line.empty() ? "" : " ") + word->Text(rule);
  }
  return line;
}

// The rule by the first form that says all of it: the one by which it reads back as it was.
template <class Rule>
std::string WriteRule(std::type_identity_t<RuleForms<Rule>> forms, const Rule& rule) {
  for (const RuleForm<Rule>& form : forms) {
    std::string line = WriteForm(form, rule);
    Rule back;
    if (ReadForm(form, SplitQuoted(line), &back) && back == rule) return line;
  }
  return {};
}

// Hands the words of each rule in `text` to `take`. At the first rule that `take` refuses it stops
// and returns false, and `error`, when given, receives the line.
bool ReadRules(std::string_view text, const std::function<bool(const RuleWords& words)>& take,
               std::string* error);

// A plan that has its text in the rule file Plan::kFileName.
template <class Plan>
class PlanInFile {
 public:
  // Writes the file in `directory`, which is created when it does not exist; false when that fails.
  bool Save(const std::wstring& directory) const {
    if (directory.empty()) return false;
    CreateDirectoryW(directory.c_str(), nullptr);
    return WriteWholeFile(directory + L'\\' + Plan::kFileName,
                          static_cast<const Plan*>(this)->Format());
  }

  // The plan kept in `directory`, or an empty one. Where a line is no rule the plan ends, and the
  // journal has an UNEXPECTED line.
  static Plan Load(const std::wstring& directory) {
    Plan plan;
    std::string error;
    const auto text = ReadWholeFile(directory + L'\\' + Plan::kFileName);
    if (!directory.empty() && text && !plan.Parse(*text, &error)) {
      AppendJournalNote(JournalPath(directory), JournalEntry::Kind::kUnexpected,
                        "a plan with a line that is no rule: " + error);
    }
    return plan;
  }
};

// A plan that is a list of rules, in the forms of Plan::Forms().
template <class Plan, class Rule>
class RulePlan : public PlanInFile<Plan> {
 public:
  // Adds a rule and returns the plan, so that calls can be chained.
  Plan& Add(Rule rule) {
    rules_.push_back(std::move(rule));
    return static_cast<Plan&>(*this);
  }

  const std::vector<Rule>& Rules() const { return rules_; }

  // The plan's text, and back. Parse adds what it reads to the plan; at the first line that is no
  // rule it stops and returns false, and `error`, when given, names the line.
  std::string Format() const {
    std::string text;
    for (const Rule& rule : rules_) text += WriteRule(Plan::Forms(), rule) + '\n';
    return text;
  }
  bool Parse(std::string_view text, std::string* error = nullptr) {
    const auto take = [this](const RuleWords& words) {
      Rule rule;
      const bool read = ReadRule(Plan::Forms(), words, &rule);
      if (read) Add(std::move(rule));
      return read;
    };
    return ReadRules(text, take, error);
  }

 private:
  std::vector<Rule> rules_;
};

}  // namespace lab
