#include "tests/e2e/support/child_process.h"

#include <mutex>
#include <utility>

#include "tests/e2e/support/directory.h"

namespace e2e {
namespace {

// Makes the three standard handles inheritable while it lives. Nothing else in this process is; a
// list of handles at CreateProcessW would do as well, but under Wine it cuts the console off.
class InheritanceScope {
 public:
  explicit InheritanceScope(const ChildStreams& streams) : lock_(mutex_), streams_(streams) {
    Set(HANDLE_FLAG_INHERIT);
  }
  ~InheritanceScope() { Set(0); }
  InheritanceScope(const InheritanceScope&) = delete;
  InheritanceScope& operator=(const InheritanceScope&) = delete;

 private:
  void Set(DWORD flag) const {
    for (const platform::KernelHandle* handle :
         {&streams_.input, &streams_.output, &streams_.error}) {
      SetHandleInformation(handle->Get(), HANDLE_FLAG_INHERIT, flag);
    }
  }

  static inline std::mutex mutex_;
  std::lock_guard<std::mutex> lock_;
  const ChildStreams& streams_;
};

platform::KernelHandle MakeJob() {
  platform::KernelHandle job(CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  SetInformationJobObject(job.Get(), JobObjectExtendedLimitInformation, &limits, sizeof(limits));
  return job;
}

std::filesystem::path ProgramOf(const RunOptions& options) {
  return options.program.empty() ? ShippedProgram() : options.program;
}

std::wstring CommandLineOf(const Words& arguments, const RunOptions& options) {
  std::vector<std::wstring> words = {options.programName.value_or(ProgramOf(options).wstring())};
  words.insert(words.end(), arguments.begin(), arguments.end());
  return CommandLine(words);
}

DWORD CreationFlags(const RunOptions& options) {
  const DWORD console = options.detached ? DETACHED_PROCESS : 0;
  return console | CREATE_SUSPENDED | CREATE_UNICODE_ENVIRONMENT;
}

// The test's own standard handles are no child's business.
void KeepOwnHandles() {
  for (const DWORD which : {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
    SetHandleInformation(GetStdHandle(which), HANDLE_FLAG_INHERIT, 0);
  }
}

// A console apart from that of whoever started the test, as far as the test does not print on it.
void TakeOwnConsole() {
  DWORD mode = 0;
  if (!GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode)) {
    FreeConsole();
  }
  AllocConsole();
}

BOOL WINAPI SurviveControlEvent(DWORD event) {
  return event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT;
}

// CreateProcessW, again when Wine loses the new process before it has begun (about one in some
// thousand on a busy machine). Nothing of the program has run then.
bool CreateChild(const RunOptions& options, std::wstring commandLine, STARTUPINFOW* startup,
                 PROCESS_INFORMATION* information) {
  std::wstring environment = EnvironmentBlock(options.environment);
  const wchar_t* directory =
      options.workingDirectory.empty() ? nullptr : options.workingDirectory.c_str();
  for (int attempt = 0; attempt < 3; ++attempt) {
    if (CreateProcessW(ProgramOf(options).c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                       CreationFlags(options), environment.data(), directory, startup,
                       information)) {
      return true;
    }
    if (GetLastError() != ERROR_INTERNAL_ERROR) {
      return false;
    }
  }
  return false;
}

}  // namespace

ChildProcess StartChild(const Words& arguments, const RunOptions& options,
                        const ChildStreams& streams) {
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = streams.input.Get();
  startup.hStdOutput = streams.output.Get();
  startup.hStdError = streams.error.Get();

  PROCESS_INFORMATION information = {};
  const InheritanceScope inheritance(streams);
  if (!CreateChild(options, CommandLineOf(arguments, options), &startup, &information)) {
    return {};
  }
  ChildProcess child = {platform::KernelHandle(information.hProcess), MakeJob(),
                        information.dwProcessId};
  const platform::KernelHandle thread(information.hThread);
  AssignProcessToJobObject(child.job.Get(), child.process.Get());
  ResumeThread(thread.Get());
  return child;
}

void PrepareToStartPrograms() {
  static const bool once = [] {
    KeepOwnHandles();
    TakeOwnConsole();
    // Whoever started the test may have switched Ctrl+C off, and programs inherit that.
    SetConsoleCtrlHandler(nullptr, FALSE);
    return SetConsoleCtrlHandler(SurviveControlEvent, TRUE) != FALSE;
  }();
  static_cast<void>(once);
}

}  // namespace e2e
