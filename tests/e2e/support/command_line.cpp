#include "tests/e2e/support/command_line.h"

#include <windows.h>

#include <string_view>

#include "lab/common/text.h"
#include "src/platform/handle.h"

namespace e2e {
namespace {

struct LessIgnoringCase {
  bool operator()(const std::wstring& left, const std::wstring& right) const {
    return CompareStringOrdinal(left.c_str(), -1, right.c_str(), -1, TRUE) == CSTR_LESS_THAN;
  }
};

using Environment = std::map<std::wstring, std::wstring, LessIgnoringCase>;

Environment OwnEnvironment() {
  Environment environment;
  const platform::UniqueHandle<wchar_t*, &FreeEnvironmentStringsW> block(GetEnvironmentStringsW());
  for (const wchar_t* entry = block.Get(); *entry != L'\0';) {
    const std::wstring_view text(entry);
    // The system's own entries begin with the equals sign ("=Z:=Z:\dir").
    const size_t equals = text.find(L'=', 1);
    if (equals != std::wstring_view::npos) {
      environment.emplace(text.substr(0, equals), text.substr(equals + 1));
    }
    entry += text.size() + 1;
  }
  return environment;
}

}  // namespace

Words::Words(const char* text) {
  for (const std::string& word : lab::SplitQuoted(text)) push_back(lab::WideFromUtf8(word));
}

std::wstring QuoteArgument(const std::wstring& argument) {
  if (!argument.empty() && argument.find_first_of(L" \t\n\v\"") == std::wstring::npos) {
    return argument;
  }
  std::wstring quoted = L"\"";
  size_t backslashes = 0;
  for (const wchar_t character : argument) {
    if (character == L'\\') {
      ++backslashes;
      continue;
    }
    // Backslashes mean themselves unless a quote follows them.
    quoted.append(character == L'"' ? 2 * backslashes + 1 : backslashes, L'\\');
    quoted += character;
    backslashes = 0;
  }
  quoted.append(2 * backslashes, L'\\');
  return quoted + L'"';
}

std::wstring CommandLine(const std::vector<std::wstring>& words) {
  std::wstring line;
  for (const std::wstring& word : words) {
    if (!line.empty()) {
      line += L' ';
    }
    line += QuoteArgument(word);
  }
  return line;
}

std::wstring EnvironmentBlock(const EnvironmentChanges& changes) {
  Environment environment = OwnEnvironment();
  for (const auto& [name, value] : changes) {
    environment.erase(name);
    if (value) {
      environment[name] = *value;
    }
  }
  std::wstring block;
  for (const auto& [name, value] : environment) {
    block.append(name).append(L"=").append(value).append(1, L'\0');
  }
  return block + L'\0';
}

}  // namespace e2e
