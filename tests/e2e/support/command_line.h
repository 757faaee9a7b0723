#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace e2e {

// A program's arguments: the words of a text, cut at blanks outside double quotes, or a list of
// words that are taken as they stand.
//
//   Run("-findUsers -p \"two words\" -e \"\"");
//   Run({L"-findUsers", L"-p", L" two words "});
class Words : public std::vector<std::wstring> {
 public:
  using vector::vector;
  Words(std::vector<std::wstring> words) : vector(std::move(words)) {}
  Words(const char* text);

  // `more` behind `first`.
  friend Words operator+(Words first, const Words& more) {
    first.insert(first.end(), more.begin(), more.end());
    return first;
  }
};

// Environment variables to set, or to remove where there is no value.
using EnvironmentChanges = std::map<std::wstring, std::optional<std::wstring>>;

// `argument` written so that the C runtime of the program reads it back unchanged.
std::wstring QuoteArgument(const std::wstring& argument);

// The command line of a program that is to see `words` as its argument vector, its name included.
std::wstring CommandLine(const std::vector<std::wstring>& words);

// This process's environment with `changes`, as CreateProcessW takes it.
std::wstring EnvironmentBlock(const EnvironmentChanges& changes);

}  // namespace e2e
