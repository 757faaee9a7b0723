#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/e2e/support/command_line.h"

namespace e2e {

// How a program is started. The defaults start the shipped executable with an empty standard
// input and its output on pipes.
struct RunOptions {
  // The file to run; empty is the shipped executable.
  std::filesystem::path program{};
  // What the program finds as its first argument; without a value the path of the file.
  std::optional<std::wstring> programName{};
  // What RunProgram gives the program on its standard input.
  std::string input{};
  // Empty is the test's own.
  std::filesystem::path workingDirectory{};
  EnvironmentChanges environment{};
  // The watchdog: a program that runs longer is killed and the test fails.
  std::chrono::milliseconds timeout = std::chrono::seconds(60);
  // Standard output goes into this file instead of a pipe.
  std::filesystem::path outputFile{};
  // The program has no part in the test's console: Ctrl+C does not reach it.
  bool detached = false;
};

struct RunResult {
  std::string output;
  std::string errorOutput;
  DWORD exitCode = 0;
  bool timedOut = false;
  std::chrono::milliseconds elapsed{};
};

// A program that was started and may still run. It is killed, with every process that it started,
// when the object goes or when the test program itself ends. One thread uses an object.
class RunningProgram {
 public:
  // Starts the program; a start that fails fails the test and acts like a program that ended with
  // code 0xFFFFFFFF.
  static RunningProgram Start(const Words& arguments, const RunOptions& options = {});

  RunningProgram(RunningProgram&&) noexcept;
  RunningProgram& operator=(RunningProgram&&) noexcept;
  ~RunningProgram();

  // Waits until `text` stands in what the program printed so far; false when it ended, or the time
  // is over, without it. The answer shows what was printed.
  ::testing::AssertionResult WaitForOutput(
      std::string_view text, std::chrono::milliseconds timeout = std::chrono::seconds(30));

  std::string OutputSoFar() const;
  bool IsRunning() const;
  DWORD ProcessId() const;

  // Raises Ctrl+C or Ctrl+Break in every program that shares the test's console; false when the
  // platform refuses. Wine 8 refuses Ctrl+Break.
  bool SendCtrlC();
  bool SendCtrlBreak();

  // Writes to the program's standard input.
  void Write(std::string_view text);
  void CloseStdin();

  // Ends the program at once, with all that it has started; the program alone.
  void Kill();
  void KillAlone();

  // Waits for the program's end. The watchdog kills it after `timeout` (without a value: the time
  // that is left of the options' time limit), fails the test and shows what was printed.
  RunResult Wait(std::optional<std::chrono::milliseconds> timeout = std::nullopt);

 private:
  class State;
  explicit RunningProgram(std::unique_ptr<State> state);

  std::unique_ptr<State> state_;
};

// Starts a program, gives it the options' input and waits for its end.
RunResult RunProgram(const Words& arguments, const RunOptions& options = {});

}  // namespace e2e
