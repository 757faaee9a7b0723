// The frame of the sweeps over system functions: each call that a command makes of them fails once,
// and each time the command prints, to the letter, what a model of its steps says.
//
//   class PurgeFaultSweepTest : public SystemSweep<LabTest> { ... };
//   TEST_P(PurgeFaultSweepTest, EachCall) { Sweep("-purgeQsf", GetParam()); }
#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "lab/common/fault_plan.h"
#include "lab/common/journal.h"
#include "lab/common/text.h"
#include "tests/e2e/common_lines.h"
#include "tests/e2e/support/lab_test.h"
#include "tests/e2e/support/named_case.h"
#include "tests/e2e/support/output.h"
#include "tests/proof/fault_sweep.h"
#include "tests/proof/proof.h"

namespace e2e {

// The call that a rule of the fault plan made fail; none when the run was over before it.
inline const lab::JournalEntry* FailedCall(const std::vector<lab::JournalEntry>& journal) {
  const auto failed = std::find_if(journal.begin(), journal.end(), [](const auto& entry) {
    return entry.Argument("injected") == "yes";
  });
  return failed == journal.end() ? nullptr : &*failed;
}

// What functions fail with that set a last error or return a Win32 error.
inline constexpr uint32_t kSystemError = ERROR_NOT_ENOUGH_MEMORY;

// What each call that is made to fail comes back with.
inline uint32_t FailureOf(std::string_view operation) {
  const bool returnsResult = operation.starts_with("Co") || operation.starts_with("Hr") ||
                             operation.starts_with("MAPI") ||
                             operation.find("::") != std::string_view::npos;
  return returnsResult ? kInjected : kSystemError;
}

// Tells a model's walk over the steps of a run where the failure is. It counts as the plan does, so
// a model asks it in the order of the calls.
class FailingCall {
 public:
  FailingCall(std::string operation, uint32_t nth) : operation_(std::move(operation)), nth_(nth) {}

  // Whether the next call of `operation` is the one that fails.
  bool operator()(std::string_view operation) {
    return operation == operation_ && ++count_ == nth_;
  }
  bool Is(std::string_view operation) const { return operation == operation_; }
  uint32_t Nth() const { return nth_; }

 private:
  std::string operation_;
  uint32_t nth_;
  uint32_t count_ = 0;
};

// Functions of one kind.
struct CallKind : NamedCase {
  Strings operations;
};

inline const CallKind kRegistryCalls = {"Registry",
                                        {"RegOpenKeyExA", "RegOpenKeyExW", "RegQueryInfoKeyW",
                                         "RegEnumKeyExW", "RegQueryValueExA", "RegQueryValueExW"}};
inline const CallKind kFileCalls = {
    "Files",
    {"CreateFileW", "GetFileInformationByHandle", "GetFileAttributesW", "GetFullPathNameW",
     "FindFirstFileW", "FindNextFileW", "FileTimeToLocalFileTime", "FileTimeToSystemTime",
     "DeleteFileW"}};
inline const CallKind kOutputCalls = {
    "Output",
    {"GetStdHandle", "GetConsoleMode", "WriteFile", "SetConsoleCtrlHandler", "FormatMessageW"}};
inline const CallKind kProcessCalls = {
    "Processes", {"CreateProcessW", "WaitForInputIdle", "GetComputerNameExW"}};
inline const CallKind kModuleCalls = {
    "Modules",
    {"LoadLibraryA", "GetProcAddress", "GetModuleHandleW", "GetModuleFileNameW",
     "GetSystemDirectoryA", "IsBadStringPtrW", "IsBadWritePtr"}};
inline const CallKind kThreadCalls = {"Threads",
                                      {"CreateThread", "CreateEventW", "SetEvent", "ResetEvent",
                                       "WaitForSingleObject", "WaitForMultipleObjects"}};
inline const CallKind kWindowCalls = {
    "Windows",
    {"EnumWindows", "EnumThreadWindows", "FindWindowExW", "GetTopWindow", "GetWindowTextW",
     "GetClassNameW", "GetAtomNameW", "GetWindowThreadProcessId", "SendMessageW", "PostMessageW"}};
inline const CallKind kServiceCalls = {
    "Service", {"OpenSCManagerW", "OpenServiceW", "QueryServiceStatusEx", "StartServiceW"}};
inline const CallKind kComCalls = {"Com", {"CoInitialize", "CoCreateInstance"}};
// Those of the check for other programs, which has a sweep of its own.
inline const CallKind kInUseCalls = {
    "MapiInUse",
    {"K32EnumProcesses", "OpenProcess", "K32EnumProcessModules", "K32GetModuleBaseNameW"}};
// Of these no failure shows in what a command does: what is not closed stays open.
inline const CallKind kCloseCalls = {
    "Closing", {"CloseHandle", "RegCloseKey", "FindClose", "FreeLibrary", "CloseServiceHandle"}};
inline const CallKind kMemoryCalls = {"Memory", {"malloc"}};

// What the start of the controller service prints: it stops where a call fails.
inline Strings RestartLines(FailingCall& fails, bool installed) {
  const auto failed = [](const std::string& what, uint32_t error) {
    return Strings{"ServiceStartSvc. " + what + " failed (" + std::to_string(error) + ")"};
  };
  const auto start = [&]() -> Strings {
    if (fails("OpenSCManagerW")) return failed("OpenSCManager", kSystemError);
    if (fails("OpenServiceW")) return failed("OpenService", kSystemError);
    if (!installed) return failed("OpenService", ERROR_SERVICE_DOES_NOT_EXIST);
    if (fails("QueryServiceStatusEx")) return failed("QueryServiceStatusEx", kSystemError);
    if (fails("StartServiceW")) return failed("StartService", kSystemError);
    return {};
  };
  return start() + Strings{kStartingController};
}

// What is shown of a run's lines: all, but for a line that the system does not take, and nothing
// when the program cannot have its output.
inline Strings Shown(const FailingCall& fails, Strings lines) {
  if (fails.Is("GetStdHandle") && fails.Nth() == 1) return {};
  if (fails.Is("WriteFile") && fails.Nth() >= 1 && fails.Nth() <= lines.size()) {
    lines.erase(lines.begin() + fails.Nth() - 1);
  }
  return lines;
}

template <class Frame>
class SystemSweep : public Frame, public ::testing::WithParamInterface<CallKind> {
 protected:
  // Makes the installation anew that each run finds.
  virtual void Restore() = 0;
  virtual RunResult RunCommand() = 0;
  // The lines of a run in which the call fails, and what becomes of the installation: by the
  // command's steps, and `fails` is asked as these come.
  virtual Strings Model(FailingCall& fails) = 0;
  // What the run has printed, for a model of what the machine's time decides.
  const std::string& Output() const { return output_; }
  // What does not show in the output. Looked at after each run.
  virtual void CheckState() {}
  // Puts into a fixed order what has none.
  virtual std::string InOrder(const std::string& output) const { return output; }
  // Whether a run would never end that has this call fail: it waits, and is to wait, without limit.
  virtual bool IsEndless(const std::string&, uint32_t) const { return false; }
  // How a run ends.
  virtual DWORD ExitCode(const FailingCall&) const { return 0; }

  // Fails each call of the kind in turn, each in a run of its own; for a sample the first of each
  // function only. `command` is what the faults are counted for.
  void Sweep(const std::string& command, const CallKind& kind) {
    uint64_t faults = 0;
    std::set<std::string> called(kind.operations.begin(), kind.operations.end());
    if (proof::IsWhole()) called = CallsOfCleanRun();
    for (const std::string& operation : kind.operations) {
      if (!called.contains(operation)) continue;
      for (uint32_t nth = 1; nth < kTooMany; ++nth) {
        if (IsEndless(operation, nth)) continue;
        if (!RunFailing(operation, nth)) break;
        ++faults;
        if (!proof::IsWhole()) break;
      }
    }
    EXPECT_GT(faults, 0U) << "no call of this kind";
    proof::Record(command, faults);
  }

  // Each call of memory fails in turn. What nothing catches ends the program: it ends, what it
  // has printed are whole lines of a clean run, and the installation is one that such a run has on
  // its way.
  void SweepMemory(const std::string& command) {
    const uint32_t step = proof::IsWhole() ? 1 : kMemorySample;
    uint64_t faults = 0;
    this->AllowLeaks();
    this->AllowUnexpectedCalls();
    for (uint32_t nth = 1;; nth += step) {
      SCOPED_TRACE("memory " + std::to_string(nth));
      Restore();
      this->Faults() = lab::FaultPlan().FailNth("malloc", nth, ERROR_NOT_ENOUGH_MEMORY);
      const RunResult result = RunCommand();
      const bool failed = FailedCall(this->Journal()) != nullptr;
      this->ClearJournal();
      FailingCall none("", 0);
      CheckMemory(result, Text(Model(none)));
      if (!failed) break;
      ++faults;
      ASSERT_LT(nth, kTooManyAllocations);
    }
    EXPECT_GT(faults, 0U);
    proof::Record(command, faults);
  }

  // Whether a run that has outlived the failure may have printed that.
  virtual bool MayHavePrinted(const std::string& output, const std::string& clean) const {
    return output == clean;
  }
  // What must hold of the installation wherever a run ends.
  virtual void CheckUndamaged() {}

  // Every call that a run makes belongs to one of these kinds.
  void ExpectSwept(const std::vector<CallKind>& kinds) {
    std::set<std::string> left = CallsOfCleanRun();
    left.erase("CoUninitialize");
    for (const CallKind& kind : kinds) {
      for (const std::string& operation : kind.operations) left.erase(operation);
    }
    EXPECT_EQ(left, std::set<std::string>{});
  }

 private:
  static constexpr uint32_t kTooMany = 3000;
  static constexpr uint32_t kTooManyAllocations = 50000;
  // A sample has every so many places.
  static constexpr uint32_t kMemorySample = 97;

  // The operations of a run in which nothing fails.
  std::set<std::string> CallsOfCleanRun() {
    Restore();
    this->Faults() = lab::FaultPlan().JournalSystemCalls();
    const RunResult result = RunCommand();
    std::set<std::string> calls;
    for (const lab::JournalEntry& entry : this->Journal()) {
      const std::string place = entry.Argument("on");
      calls.insert(place.empty() ? entry.call : entry.call + '@' + place);
    }
    output_ = result.output;
    FailingCall none("", 0);
    EXPECT_EQ(InOrder(result.output), Text(Model(none)));
    CheckState();
    this->ClearJournal();
    return calls;
  }

  // False when the run makes fewer calls than that; then it must have been a clean one.
  bool RunFailing(const std::string& operation, uint32_t nth) {
    SCOPED_TRACE(operation + " " + std::to_string(nth));
    Restore();
    this->Faults() = lab::FaultPlan().FailNth(operation, nth, FailureOf(operation));
    const RunResult result = RunCommand();
    output_ = result.output;
    const bool failed = FailedCall(this->Journal()) != nullptr;
    FailingCall fails(failed ? operation : "", nth);
    const Strings lines = Model(fails);
    EXPECT_EQ(InOrder(result.output), Text(Shown(fails, lines)));
    EXPECT_EQ(result.exitCode, ExitCode(fails));
    if (ExitCode(fails) == 0) {
      EXPECT_EQ(result.errorOutput, "");
    }
    CheckState();
    this->ClearJournal();
    return failed;
  }

  void CheckMemory(const RunResult& result, const std::string& clean) {
    EXPECT_FALSE(result.timedOut);
    const std::string output = InOrder(result.output);
    if (result.exitCode == 0) {
      EXPECT_TRUE(MayHavePrinted(output, clean)) << Visible(output);
    } else {
      EXPECT_TRUE(clean.starts_with(output)) << Visible(output);
      EXPECT_TRUE(output.empty() || output.ends_with("\r\n")) << Visible(output);
    }
    CheckUndamaged();
  }

  std::string output_;
};

}  // namespace e2e
