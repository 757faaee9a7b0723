// The command line of an unattended run, whatever stands there.
#include "src/run/run_options.h"

#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  std::vector<std::wstring> words = {L"qrvrun"};
  while (!input.IsEmpty() && words.size() < 30) {
    words.push_back(input.Word({L"-log",    L"-timeout", L"-quiet", L"--",    L"-h",
                                L"-LOG",    L"-Quiet",   L"1",      L"0.5",   L"10000",
                                L"10000.1", L"0",        L".",      L"1e3",   L"-checkQsf",
                                L"-p",      L"Main",     L"",       L"1.2.3", L"0.000001"}));
  }
  std::vector<const wchar_t*> line;
  for (const std::wstring& word : words) line.push_back(word.c_str());

  const ParsedOptions parsed = ParseRunOptions(static_cast<int>(line.size()), line.data());
  if (parsed.help) {
    CLAIM(words.size() > 1 && words[1] == L"-h" && parsed.fault.empty());
    return 0;
  }
  const RunOptions& options = parsed.options;
  const std::vector<std::wstring>& tool = options.toolArguments;
  // What the tool gets is the command line's end, unchanged.
  CLAIM(tool.size() < words.size());
  CLAIM(std::equal(tool.rbegin(), tool.rend(), words.rbegin()));
  if (!parsed.fault.empty()) return 0;
  CLAIM(!tool.empty());
  CLAIM(!options.timeoutMilliseconds ||
        (*options.timeoutMilliseconds >= 1 && *options.timeoutMilliseconds <= 600000000));
  CLAIM(options.logPath.empty() || options.logPath[0] != L'-');
  // What lies before it are switches of the run's, each with its value.
  for (size_t i = 1; i < words.size() - tool.size(); ++i) {
    if (words[i] == L"-log" || words[i] == L"-timeout") {
      ++i;
    } else if (words[i] == L"--") {
      CLAIM(i + 1 == words.size() - tool.size());
    } else {
      CLAIM(words[i] == L"-quiet" && options.quiet);
    }
  }
  return 0;
}
