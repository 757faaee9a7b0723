// What the tool's lines say of a run: which of them a good run prints, and which a run that did not
// come about.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

// The tool's commands, in its own order of priority.
enum class ToolCommand {
  kCheckQsf,
  kScanQsf,
  kCompactQsf,
  kPurgeQsf,
  kListAgents,
  kAssignAgents,
  kListServers,
  kFindUsers,
  kNone,
};

// The command that the tool takes from these arguments: of several the first of the order above, in
// any letter case, wherever it stands.
ToolCommand CommandOf(std::span<const std::wstring> arguments);

// A form of lines: '#' stands for a number, '+' for one above zero, '*' for any text. There is at
// most one '*', and no number beside it.
using LineForm = std::wstring_view;

// Whether `line` has that form. One that the tool may have cut, at 254 characters, counts by its
// beginning.
bool HasForm(std::wstring_view line, LineForm form);

// Whether a good run of the command prints such a line. A line that nobody thought of is none.
bool IsGoodLine(ToolCommand command, std::wstring_view line);

// The forms of all such lines.
std::vector<LineForm> GoodForms(ToolCommand command);

// Lines that a good run of a command must have.
struct WantedLine {
  ToolCommand command;
  LineForm form;
  // As many as there are of this form; without one, at least one.
  LineForm forEach;
};

std::span<const WantedLine> WantedLines();

// Why the tool did not do its work, when its first line is `line`; null when it did. All lines that
// follow such a line belong to it.
const wchar_t* ReasonNotRun(std::wstring_view line);

// All such lines.
std::vector<std::wstring_view> NotRunLines();

// What -assignAgents says after each batch, with the numbers of those assigned and of all.
inline constexpr LineForm kAssignedForm = L"Assigned # of # users ...";

// What the tool says at Ctrl+C.
inline constexpr std::wstring_view kUserBreakLine = L"*User Break";
