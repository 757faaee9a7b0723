// How a run went, by any lines at all: what no good run prints is trouble, and nothing is
// overlooked.
#include "src/run/run_judge.h"

#include "tests/fuzz/fuzz.h"

namespace {

// A line of one of the forms, with numbers and texts of the input's choice in their places.
std::wstring Formed(fuzz::Input& input, LineForm form) {
  std::wstring line;
  for (const wchar_t c : form) {
    if (c == L'#') {
      line += std::to_wstring(static_cast<int32_t>(input.Number()));
    } else if (c == L'+') {
      line += std::to_wstring(1 + input.Below(1000));
    } else if (c == L'*') {
      line += input.Wide(40);
    } else {
      line += c;
    }
  }
  return line;
}

bool IsNumber(std::wstring_view text) {
  if (text.starts_with(L'-')) text.remove_prefix(1);
  return !text.empty() && text.find_first_not_of(L"0123456789") == text.npos;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr const wchar_t* kWords[] = {L"-checkQsf",    L"-scanQsf",    L"-compactQsf",
                                       L"-purgeQsf",    L"-listAgents", L"-assignAgents",
                                       L"-listServers", L"-findUsers"};
  fuzz::Input input(data, size);
  const std::vector<std::wstring> arguments = {kWords[input.Below(std::size(kWords))]};
  const ToolCommand command = CommandOf(arguments);
  const std::vector<LineForm> forms = GoodForms(command);
  RunJudge judge(arguments);
  size_t trouble = 0;
  size_t lines = 0;
  for (; !input.IsEmpty() && lines < 60; ++lines) {
    const uint32_t choice = input.Below(static_cast<uint32_t>(forms.size()) + 8);
    const bool isFormed = choice < forms.size();
    const std::wstring line =
        isFormed
            ? Formed(input, forms[choice])
            : input.Word({L"*User Break", L"-checkQsf failed", L"", L"Assigned 1 of 2 users ..."});
    if (isFormed && line.size() < 254) {
      CLAIM(HasForm(line, forms[choice]));
      CLAIM(IsGoodLine(command, line));
    }
    const bool isGood = line == kUserBreakLine || IsGoodLine(command, line);
    if (IsNumber(line)) CLAIM(!isGood);
    judge.Add(line);
    if (judge.ReasonNotRun()) return 0;
    trouble += isGood ? 0 : 1;
  }
  const std::vector<std::wstring> told = judge.Trouble();
  CLAIM(told.size() == (trouble ? 1 + std::min<size_t>(trouble, 3) : 0));
  if (trouble) CLAIM(told[0].starts_with(L"lines of trouble: " + std::to_wstring(trouble)));
  const std::vector<std::wstring> atEnd = judge.TroubleAtEnd(0);
  CLAIM(atEnd.size() >= told.size() && std::equal(told.begin(), told.end(), atEnd.begin()));
  CLAIM(judge.TroubleAtEnd(input.Number() | 1).size() == atEnd.size() + 1);
  return 0;
}
