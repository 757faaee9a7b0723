#include "tests/e2e/support/program.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <utility>

#include "src/platform/handle.h"
#include "tests/e2e/support/child_process.h"
#include "tests/e2e/support/output.h"
#include "tests/e2e/support/pipe_reader.h"

namespace e2e {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr DWORD kNotStarted = 0xFFFFFFFF;
constexpr DWORD kKilled = 0xDEAD;
// Whoever still holds a pipe this long after the program's end was left behind by it.
constexpr milliseconds kLastOutput = std::chrono::seconds(5);

struct Pipe {
  platform::KernelHandle read;
  platform::KernelHandle write;
};

Pipe MakePipe(size_t size = 0) {
  Pipe pipe;
  HANDLE read = nullptr;
  HANDLE write = nullptr;
  if (CreatePipe(&read, &write, nullptr, static_cast<DWORD>(std::max<size_t>(size, 65536)))) {
    pipe = {platform::KernelHandle(read), platform::KernelHandle(write)};
  }
  return pipe;
}

platform::KernelHandle CreateOutputFile(const std::filesystem::path& path) {
  return platform::TakeFileHandle(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                              CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
}

std::string ReadFileText(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

milliseconds Since(Clock::time_point start) {
  return std::chrono::duration_cast<milliseconds>(Clock::now() - start);
}

DWORD Milliseconds(milliseconds duration) {
  return static_cast<DWORD>(std::max<milliseconds::rep>(duration.count(), 0));
}

}  // namespace

class RunningProgram::State {
 public:
  State(const Words& arguments, const RunOptions& options)
      : options_(options), started_(Clock::now()) {
    Pipe input = MakePipe(options.input.size());
    Pipe output = MakePipe();
    Pipe error = MakePipe();
    ChildStreams streams = {
        std::move(input.read),
        options.outputFile.empty() ? std::move(output.write) : CreateOutputFile(options.outputFile),
        std::move(error.write)};
    output.write = {};
    child_ = StartChild(arguments, options, streams);
    if (!child_.process) {
      ADD_FAILURE() << "cannot start the program: error " << GetLastError();
    }
    input_ = std::move(input.write);
    output_ = std::make_unique<PipeReader>(std::move(output.read));
    error_ = std::make_unique<PipeReader>(std::move(error.read));
  }

  ~State() { Kill(); }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  bool IsRunning() const {
    return child_.process && WaitForSingleObject(child_.process.Get(), 0) == WAIT_TIMEOUT;
  }

  void Kill() {
    if (child_.job) {
      TerminateJobObject(child_.job.Get(), kKilled);
    }
  }

  void KillAlone() { TerminateProcess(child_.process.Get(), kKilled); }

  RunResult Wait(milliseconds timeout) {
    CloseInput();
    RunResult result;
    result.timedOut = child_.process && WaitForSingleObject(child_.process.Get(),
                                                            Milliseconds(timeout)) == WAIT_TIMEOUT;
    result.elapsed = Since(started_);
    result.exitCode = kNotStarted;
    if (result.timedOut) {
      Kill();
    } else if (child_.process) {
      GetExitCodeProcess(child_.process.Get(), &result.exitCode);
    }
    CollectOutput(&result);
    return result;
  }

  void CloseInput() { input_ = {}; }

  void WriteInput(std::string_view text) {
    DWORD written = 0;
    WriteFile(input_.Get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
  }

  const RunOptions& Options() const { return options_; }
  const PipeReader& Output() const { return *output_; }
  DWORD ProcessId() const { return child_.id; }
  milliseconds TimeLeft() const { return options_.timeout - Since(started_); }

 private:
  void CollectOutput(RunResult* result) {
    if (!output_->WaitForEnd(kLastOutput) || !error_->WaitForEnd(kLastOutput)) {
      ADD_FAILURE() << "processes that the program started still hold its standard handles";
      Kill();
    }
    result->output =
        options_.outputFile.empty() ? output_->Collected() : ReadFileText(options_.outputFile);
    result->errorOutput = error_->Collected();
    if (result->timedOut) {
      ADD_FAILURE() << "the program was killed after " << result->elapsed.count()
                    << " ms; it had printed:\n"
                    << Visible(result->output) << Visible(result->errorOutput);
    }
  }

  RunOptions options_;
  Clock::time_point started_;
  ChildProcess child_;
  platform::KernelHandle input_;
  std::unique_ptr<PipeReader> output_;
  std::unique_ptr<PipeReader> error_;
};

RunningProgram RunningProgram::Start(const Words& arguments, const RunOptions& options) {
  PrepareToStartPrograms();
  return RunningProgram(std::make_unique<State>(arguments, options));
}

RunningProgram::RunningProgram(std::unique_ptr<State> state) : state_(std::move(state)) {}
RunningProgram::RunningProgram(RunningProgram&&) noexcept = default;
RunningProgram& RunningProgram::operator=(RunningProgram&&) noexcept = default;
RunningProgram::~RunningProgram() = default;

::testing::AssertionResult RunningProgram::WaitForOutput(std::string_view text,
                                                         milliseconds timeout) {
  if (state_->Output().WaitFor(text, timeout)) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure() << "\"" << text << "\" was not printed, but only:\n"
                                       << Visible(OutputSoFar());
}

std::string RunningProgram::OutputSoFar() const { return state_->Output().Collected(); }
bool RunningProgram::IsRunning() const { return state_->IsRunning(); }
DWORD RunningProgram::ProcessId() const { return state_->ProcessId(); }
bool RunningProgram::SendCtrlC() { return GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0) != FALSE; }
bool RunningProgram::SendCtrlBreak() {
  return GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, 0) != FALSE;
}
void RunningProgram::Write(std::string_view text) { state_->WriteInput(text); }
void RunningProgram::CloseStdin() { state_->CloseInput(); }
void RunningProgram::Kill() { state_->Kill(); }
void RunningProgram::KillAlone() { state_->KillAlone(); }

RunResult RunningProgram::Wait(std::optional<milliseconds> timeout) {
  return state_->Wait(timeout.value_or(state_->TimeLeft()));
}

RunResult RunProgram(const Words& arguments, const RunOptions& options) {
  RunningProgram program = RunningProgram::Start(arguments, options);
  program.Write(options.input);
  return program.Wait();
}

}  // namespace e2e
