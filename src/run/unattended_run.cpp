#include "src/run/unattended_run.h"

#include <windows.h>
// lmcons.h wants windows.h first.
#include <lmcons.h>

#include <array>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "src/console/console.h"
#include "src/platform/text.h"
#include "src/run/ctrl_c.h"
#include "src/run/run_judge.h"
#include "src/run/run_log.h"
#include "src/run/run_options.h"
#include "src/run/screen.h"
#include "src/run/single_run.h"
#include "src/run/tool_process.h"
#include "src/run/tool_watch.h"

namespace {

constexpr const wchar_t* kOwnLine = L"qrvrun: ";

std::wstring ErrorText(DWORD error) { return L" (error " + std::to_wstring(error) + L")"; }

std::wstring EndLine(RunCode code, const std::wstring& reason) {
  return kOwnLine + (L"exit code " + std::to_wstring(static_cast<int>(code))) + L", " + reason;
}

std::wstring UserName() {
  std::array<wchar_t, UNLEN + 1> name = {};
  auto size = static_cast<DWORD>(name.size());
  return GetUserNameW(name.data(), &size) ? name.data() : L"?";
}

std::wstring ComputerName() {
  std::array<wchar_t, MAX_COMPUTERNAME_LENGTH + 1> name = {};
  auto size = static_cast<DWORD>(name.size());
  return GetComputerNameW(name.data(), &size) ? name.data() : L"?";
}

// A line end in an argument would begin a line of the log.
std::wstring OnOneLine(std::wstring text) {
  for (wchar_t& character : text) {
    if (character == L'\r' || character == L'\n') character = L' ';
  }
  return text;
}

class UnattendedRun {
 public:
  explicit UnattendedRun(RunOptions options)
      : options_(std::move(options)), judge_(options_.toolArguments) {}

  int Run();

 private:
  // Each returns false when the run ends there, and has said why.
  bool OpenLog();
  bool FindTool();
  bool TakeTurn();
  bool StartTool();

  void WriteHeader();
  void PassLinesOn();
  void PassLineOn(std::string_view line);
  void Judge(const RunEnd& end);
  void End(RunCode code, const std::wstring& reason);

  void Say(const std::wstring& text);

  const RunOptions options_;
  const std::wstring toolPath_ = ToolPath();
  const ULONGLONG started_ = GetTickCount64();
  Screen screen_;
  RunLog log_;
  SingleRun turn_;
  ToolProcess tool_;
  RunJudge judge_;
  RunCode code_ = RunCode::kFault;
};

int UnattendedRun::Run() {
  const HANDLE ctrlC = CatchCtrlC();
  if (OpenLog() && FindTool() && TakeTurn() && StartTool()) {
    ToolWatch watch(tool_, screen_, ctrlC, options_.timeoutMilliseconds);
    PassLinesOn();
    Judge(watch.WaitForEnd());
  }
  return static_cast<int>(code_);
}

// The log is first: what goes wrong behind it shall be found in it.
bool UnattendedRun::OpenLog() {
  if (options_.logPath.empty()) return true;
  if (const DWORD error = log_.Open(options_.logPath)) {
    End(RunCode::kFault, L"the log cannot be opened: " + options_.logPath + ErrorText(error));
    return false;
  }
  WriteHeader();
  return true;
}

bool UnattendedRun::FindTool() {
  if (GetFileAttributesW(toolPath_.c_str()) != INVALID_FILE_ATTRIBUTES) return true;
  End(RunCode::kFault, L"not found: " + toolPath_);
  return false;
}

bool UnattendedRun::TakeTurn() {
  if (turn_.Take()) return true;
  End(RunCode::kNotRun, L"another qrvrun is at work");
  return false;
}

bool UnattendedRun::StartTool() {
  const DWORD error = tool_.Start(toolPath_, options_.toolArguments);
  if (error == ERROR_SUCCESS) return true;
  End(RunCode::kFault, L"cannot be started: " + toolPath_ + ErrorText(error));
  return false;
}

void UnattendedRun::WriteHeader() {
  log_.Write(kOwnLine + (L"version " QRV_PROJECT_VERSION L", user " + UserName()) + L", computer " +
             ComputerName());
  log_.Write(kOwnLine + OnOneLine(GetCommandLineW()));
}

// Lines are ended by LF, usually with CR before it; what comes behind the last one is a line too.
void UnattendedRun::PassLinesOn() {
  std::string unfinished;
  for (std::string_view piece = tool_.ReadOutput(); !piece.empty(); piece = tool_.ReadOutput()) {
    unfinished += piece;
    size_t begin = 0;
    for (size_t end = unfinished.find('\n'); end != std::string::npos;
         end = unfinished.find('\n', begin)) {
      PassLineOn(std::string_view(unfinished).substr(begin, end - begin));
      begin = end + 1;
    }
    unfinished.erase(0, begin);
  }
  if (!unfinished.empty()) PassLineOn(unfinished);
}

// `line` may end in CR.
void UnattendedRun::PassLineOn(std::string_view line) {
  if (line.ends_with('\r')) line.remove_suffix(1);
  const std::wstring text = platform::FromCodePage(line, CP_UTF8);
  log_.Write(text);
  if (!options_.quiet) screen_.Show(text);
  judge_.Add(text);
}

void UnattendedRun::Judge(const RunEnd& end) {
  const bool toItsEnd = !end.timeRanOut && !end.ctrlC && !judge_.ReasonNotRun();
  const std::vector<std::wstring> trouble =
      toItsEnd ? judge_.TroubleAtEnd(tool_.ExitCode()) : judge_.Trouble();
  for (const std::wstring& line : trouble) Say(line);
  if (end.timeRanOut) {
    End(RunCode::kTimeout, end.killed ? L"time ran out, and qrvadmin was ended" : L"time ran out");
  } else if (end.ctrlC) {
    End(RunCode::kCtrlC, L"Ctrl+C");
  } else if (judge_.ReasonNotRun()) {
    End(RunCode::kNotRun, std::wstring(L"not run: ") + judge_.ReasonNotRun());
  } else if (!trouble.empty()) {
    End(RunCode::kTrouble, L"trouble");
  } else {
    End(RunCode::kGood, L"good");
  }
}

void UnattendedRun::Say(const std::wstring& text) {
  const std::wstring line = kOwnLine + text;
  log_.Write(line);
  screen_.Show(line);
}

// The log's last line has the duration too. It is the last that may turn out not to be written.
void UnattendedRun::End(RunCode code, const std::wstring& reason) {
  const ULONGLONG tenths = (GetTickCount64() - started_) / 100;
  log_.Write(EndLine(code, reason) + L", after " + std::to_wstring(tenths / 10) + L"." +
             std::to_wstring(tenths % 10) + L" s");
  code_ = code;
  std::wstring shown = reason;
  if (const DWORD error = log_.Error()) {
    if (code == RunCode::kGood || code == RunCode::kNotRun) code_ = RunCode::kFault;
    shown += L"; the log could not be written" + ErrorText(error);
  }
  screen_.Show(EndLine(code_, shown));
}

}  // namespace

int RunUnattended(int argc, const wchar_t* const* argv) {
  ParsedOptions parsed = ParseRunOptions(argc, argv);
  if (parsed.help) {
    PrintRunHelp();
    return static_cast<int>(RunCode::kNotRun);
  }
  if (!parsed.fault.empty()) {
    PrintText(EndLine(RunCode::kFault, parsed.fault));
    return static_cast<int>(RunCode::kFault);
  }
  return UnattendedRun(std::move(parsed.options)).Run();
}
