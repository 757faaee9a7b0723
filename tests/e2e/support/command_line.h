#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace e2e {

// Environment variables to set, or to remove where there is no value.
using EnvironmentChanges = std::map<std::wstring, std::optional<std::wstring>>;

// `argument` written so that the C runtime of the program reads it back unchanged.
std::wstring QuoteArgument(const std::wstring& argument);

// The command line of a program that is to see `words` as its argument vector, its name included.
std::wstring CommandLine(const std::vector<std::wstring>& words);

// This process's environment with `changes`, as CreateProcessW takes it.
std::wstring EnvironmentBlock(const EnvironmentChanges& changes);

}  // namespace e2e
