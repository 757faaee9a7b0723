// Arguments through the command line of a process and back, by the rules of the C runtime.
#include "src/run/tool_process.h"

#include "tests/fuzz/fuzz.h"

namespace {

// The arguments behind the program's name.
std::vector<std::wstring> ReadBack(std::wstring_view line) {
  std::vector<std::wstring> arguments;
  line.remove_prefix(line.find(L'"', 1) + 1);
  size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && (line[i] == L' ' || line[i] == L'\t')) ++i;
    if (i == line.size()) break;
    std::wstring& argument = arguments.emplace_back();
    bool isQuoted = false;
    for (; i < line.size() && (isQuoted || (line[i] != L' ' && line[i] != L'\t')); ++i) {
      size_t backslashes = 0;
      for (; i < line.size() && line[i] == L'\\'; ++i) ++backslashes;
      if (i == line.size() || line[i] != L'"') {
        argument.append(backslashes, L'\\');
        if (backslashes)
          --i;
        else
          argument += line[i];
        continue;
      }
      argument.append(backslashes / 2, L'\\');
      if (backslashes % 2) {
        argument += L'"';
      } else if (isQuoted && i + 1 < line.size() && line[i + 1] == L'"') {
        argument += L'"';
        ++i;
      } else {
        isQuoted = !isQuoted;
      }
    }
  }
  return arguments;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  std::vector<std::wstring> arguments;
  while (!input.IsEmpty() && arguments.size() < 20) {
    arguments.push_back(
        input.Word({L"", L" ", L"\\", L"\"", L"a\\\"b", L"C:\\a b\\", L"\t", L"\v"}) +
        input.Word({L"", L"\\\\", L"\"\"", L"x"}));
  }
  CLAIM(ReadBack(CommandLineOf(L"C:\\tool dir\\qrvadmin.exe", arguments)) == arguments);
  return 0;
}
