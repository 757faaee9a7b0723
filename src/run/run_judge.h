// From the tool's lines to how its run went.
#pragma once

#include <windows.h>

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "src/run/good_lines.h"

// The exit codes of an unattended run.
enum class RunCode {
  kGood = 0,
  kNotRun = 1,
  kTrouble = 2,
  kTimeout = 3,
  kCtrlC = 4,
  kFault = 5,
};

// Takes the lines of one run as they come. One thread at a time.
class RunJudge {
 public:
  // The arguments with which the tool runs.
  explicit RunJudge(std::span<const std::wstring> arguments) : command_(CommandOf(arguments)) {}

  // `line` is without its end.
  void Add(std::wstring_view line);

  // Why the tool did not do its work; null when it did.
  const wchar_t* ReasonNotRun() const { return reasonNotRun_; }

  // What was trouble, as lines for whoever reads the run's end: how many lines, the first three,
  // and, of a run that came to its end by itself, each that is missing and an exit code that the
  // tool does not have. Empty when nothing was.
  std::vector<std::wstring> Trouble() const;
  std::vector<std::wstring> TroubleAtEnd(DWORD exitCode) const;

 private:
  struct Count {
    size_t seen = 0;
    size_t wanted = 0;
  };

  void CountWanted(std::wstring_view line);
  bool IsMissing(size_t index) const;

  const ToolCommand command_;
  const wchar_t* reasonNotRun_ = nullptr;
  size_t lines_ = 0;
  size_t troubleLines_ = 0;
  std::vector<std::wstring> firstTrouble_;
  std::vector<Count> counts_{WantedLines().size()};
  bool userBreak_ = false;
  // The last line that counted the users assigned.
  std::wstring assigned_;
};
