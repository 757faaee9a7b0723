// The system calls of -findUsers, -assignAgents, -compactQsf and -checkQsf, each failing once. What
// these commands ask of MAPI fails elsewhere.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "lab/common/compaction_plan.h"
#include "tests/e2e/check_qsf_frame.h"
#include "tests/e2e/support/desktop.h"
#include "tests/proof/database_steps.h"
#include "tests/proof/system_sweep.h"

namespace e2e {
namespace {

std::string Address(const std::string& name) { return name + "@example.com"; }

// What the handler of Ctrl+C says where it can be installed.
Strings HandlerLines(FailingCall& fails) {
  return fails("SetConsoleCtrlHandler") ? Strings{} : Strings{kHandlerInstalled};
}

// The frame of commands that work on the profile's stores of bes and ann, and may start the
// controller service at their end.
template <class Frame>
class StoresSweep : public SystemSweep<Frame> {
 protected:
  void SetUp() override {
    SystemSweep<Frame>::SetUp();
    KeepDesktop();
    this->AddRoot();
    this->Add(L"ann");
  }

  void Restore() override {
    if (ControllerIsInstalled()) this->SetController(lab::ControllerState::kStopped);
  }

  // What the check for other programs needs of the system beside the list of processes.
  static bool IsUnknownToItself(FailingCall& fails) { return fails("GetModuleFileNameW"); }
  static Strings InUseOfItself() {
    return Lines(MapiInUse({"qrvadmin.exe"})) + Strings{"Exiting."};
  }

  static bool ControllerIsInstalled() {
    return StoresSweep::GetParam().name == std::string_view(kServiceCalls.name);
  }
  Strings End(FailingCall& fails) const {
    return RestartLines(fails, ControllerIsInstalled()) + Strings{"Exiting."};
  }
};

// -findUsers

class FindSystemFaultSweepTest : public StoresSweep<LabTest> {
 protected:
  RunResult RunCommand() override { return RunAdmin("-findUsers -p Main -e ann -v"); }

  Strings Model(FailingCall& fails) override {
    return HandlerLines(fails) + Strings{"Email: " + Address("ann"),
                                         "Type: QSF store",
                                         "QSF: ann.qsf",
                                         "Embedded stores: none",
                                         " ",
                                         "Exiting."};
  }
};

TEST_P(FindSystemFaultSweepTest, EachCall) { Sweep("-findUsers", GetParam()); }
INSTANTIATE_TEST_SUITE_P(Kinds, FindSystemFaultSweepTest, ::testing::Values(kOutputCalls), kByName);

// -assignAgents

class AssignSystemFaultSweepTest : public StoresSweep<DatabaseLabTest> {
 protected:
  void SetUp() override {
    StoresSweep::SetUp();
    Database().AddServer(7, ComputerName());
  }

  void Restore() override {
    StoresSweep::Restore();
    Database().Run(L"DELETE FROM UserConfig");
    AddUser(7, L"ann@example.com", 1);
  }

  RunResult RunCommand() override { return RunAdmin("-assignAgents -p Main -b 300 -c -v"); }

  Strings Model(FailingCall& fails) override {
    agent_ = 1;
    if (IsUnknownToItself(fails)) return InUseOfItself();
    Strings lines = HandlerLines(fails);
    Assign(fails, lines);
    return thrown_ ? lines : lines + End(fails);
  }

  void CheckState() override { EXPECT_EQ(Database().AgentOf(L"ann@example.com"), agent_); }
  // What nobody catches ends the program, and with it all that is held.
  DWORD ExitCode(const FailingCall&) const override { return thrown_ ? 3 : 0; }

 private:
  void Assign(FailingCall& fails, Strings& lines) {
    const std::string function = "AssignUsersToAgents: ";
    const auto fail = [&](const std::string& what, uint32_t result) {
      lines.push_back(function + what + " failed : " + lab::HexNumber(result));
    };
    thrown_ = false;
    if (fails("CoInitialize")) return fail("CoInitialize", kInjected);
    lines = lines + Strings{"Base Agentid=300", "Number of Agents=2"};
    if (fails("GetComputerNameExW")) return fail("GetComputerNameEx", kSystemError);
    DatabaseSteps database(fails, lines, true);
    if (!database.Read("GetServers", 1, [](size_t) {})) {
      thrown_ = database.HasThrown();
      if (!thrown_) fail("GetServers", database.Result());
      return;
    }
    lines = lines + Strings{"Assigned 1 of 1 users ...", "Done"};
    agent_ = 300;
  }

  bool thrown_ = false;
  int32_t agent_ = 1;
};

TEST_P(AssignSystemFaultSweepTest, EachCall) {
  // A process that ends all at once gives nothing back.
  AllowLeaks();
  Sweep("-assignAgents", GetParam());
}
INSTANTIATE_TEST_SUITE_P(Kinds, AssignSystemFaultSweepTest,
                         ::testing::Values(kRegistryCalls, kOutputCalls, kProcessCalls,
                                           kModuleCalls, kServiceCalls, kComCalls, kCloseCalls),
                         kByName);

// -compactQsf

// Each compaction shows its dialog for a while.
class CompactSystemFaultSweepTest : public StoresSweep<LabTest> {
 protected:
  void SetUp() override {
    StoresSweep::SetUp();
    ASSERT_TRUE(lab::CompactionPlan().Takes(L"*", 400).Save(Directory().wstring()));
  }

  RunResult RunCommand() override { return RunAdmin("-compactQsf -p Main -c -v"); }

  Strings Model(FailingCall& fails) override {
    if (IsUnknownToItself(fails)) return InUseOfItself();
    // It is installed twice.
    Strings lines = HandlerLines(fails);
    lines = lines + HandlerLines(fails);
    if (fails("CoInitialize")) {
      lines.push_back("CompactQsf: CoInitialize failed : " + lab::HexNumber(kInjected));
      return lines + End(fails);
    }
    const auto results = Calls("IMsgServiceAdmin::ConfigureMsgService");
    size_t compacted = 0;
    for (const std::string name : {"bes", "ann"}) {
      lines.push_back("compacting " + Address(name));
      if (fails("CreateThread")) continue;
      const bool cancelled = compacted < results.size() && results[compacted].result == kCancelled;
      // Without its title the compaction's own dialog is closed like any other.
      EXPECT_TRUE(!cancelled || fails.Is("GetWindowTextW"));
      lines.push_back(cancelled ? "Compact failed for '" + Address(name) + "' : 0x80040113"
                                : "Compacting done");
      ++compacted;
    }
    EXPECT_EQ(results.size(), compacted);
    return lines + End(fails);
  }

  static constexpr uint32_t kCancelled = 0x80040113;  // MAPI_E_USER_CANCEL
};

TEST_P(CompactSystemFaultSweepTest, EachCall) { Sweep("-compactQsf", GetParam()); }
INSTANTIATE_TEST_SUITE_P(Kinds, CompactSystemFaultSweepTest,
                         ::testing::Values(kOutputCalls, CallKind{"Name", {"GetModuleFileNameW"}},
                                           kServiceCalls, kComCalls, kCloseCalls,
                                           CallKind{"Threads", {"CreateThread"}},
                                           CallKind{"Windows", {"GetTopWindow"}},
                                           CallKind{"Enumeration", {"EnumThreadWindows"}},
                                           CallKind{"Atoms", {"GetAtomNameW"}},
                                           CallKind{"Classes", {"GetClassNameW"}},
                                           CallKind{"Titles", {"GetWindowTextW"}}),
                         kByName);

// -checkQsf

// Three stores for five workers, which begin only when the main thread has handed out its jobs: so
// it is known whose call is which.
class CheckSystemFaultSweepTest : public StoresSweep<LabTest> {
 protected:
  static constexpr int kWorkers = 5;

  void SetUp() override {
    StoresSweep::SetUp();
    Add(L"cid");
  }

  RunResult RunCommand() override {
    for (uint32_t worker = 0; worker < kWorkers; ++worker) {
      Faults().DelayNth("MAPIInitialize", 2 + worker, 2000);
    }
    return RunAdmin("-checkQsf -p Main -c -v");
  }

  // Calls whose failure leaves a thread waiting for good: the order to end (SetEvent) does not
  // reach a worker, or it takes its job again and again (ResetEvent). And the wait for the workers'
  // end, without which they lose what they work on.
  bool IsEndless(const std::string& operation, uint32_t nth) const override {
    const uint32_t jobs = kJobs;
    if (operation == "SetEvent") return nth > jobs && nth <= jobs + kWorkers;
    if (operation == "ResetEvent") return nth > jobs;
    return operation == "WaitForMultipleObjects" && nth == jobs + 1;
  }

  Strings Model(FailingCall& fails) override {
    checked_ = {};
    if (IsUnknownToItself(fails)) return InUseOfItself();
    checked_ = {"bes", "ann", "cid"};
    Strings lines = HandlerLines(fails);
    lines.push_back(CheckingLine(kJobs));
    if (!Check(fails, lines)) return lines + Strings{kDone, "Exiting."};
    lines = lines + Strings{kAllOk, kShuttingDown};
    return lines + RestartLines(fails, ControllerIsInstalled()) + Strings{kDone, "Exiting."};
  }

  // Which mailboxes were opened.
  void CheckState() override {
    std::set<std::string> opened;
    for (const lab::JournalEntry& call : Calls("IExchangeManageStore::CreateStoreEntryID")) {
      opened.insert(call.Argument("mailbox"));
    }
    std::set<std::string> expected;
    for (const std::string& name : checked_) expected.insert(Address(name));
    if (checkedIsKnown_) {
      EXPECT_EQ(opened, expected);
    }
  }

 private:
  static constexpr uint32_t kJobs = 3;

  bool Check(FailingCall& fails, Strings& lines) {
    bool noReadyEvent = false;
    bool lostWorker = false;
    for (int worker = 0; worker < kWorkers; ++worker) {
      const bool noGo = fails("CreateEventW");
      noReadyEvent |= fails("CreateEventW");
      const bool noQuit = fails("CreateEventW");
      // A worker that cannot wait ends.
      lostWorker |= noGo || noQuit;
    }
    for (int worker = 0; worker < kWorkers; ++worker) {
      if (!fails("CreateThread")) continue;
      lines = lines +
              Strings{"Failed to CreateThread : 0x80070008", LogonToStoresFailedLine(0x80070008)};
      checked_.clear();
      return false;
    }
    HandOut(fails, noReadyEvent, lines);
    lostWorker |= fails.Is("WaitForMultipleObjects") && fails.Nth() > kJobs;
    checkedIsKnown_ = !lostWorker;
    return true;
  }

  void HandOut(FailingCall& fails, bool noReadyEvent, Strings& lines) {
    std::string last;  // the job in the slot used last
    for (const std::string name : {"bes", "ann", "cid"}) {
      const bool failed = fails("WaitForMultipleObjects") || noReadyEvent;
      if (failed) lines.push_back("Error WaitForMultipleObjects returned : 0xffffffff");
      if (failed && last.empty()) {
        checked_.erase(name);
        continue;
      }
      // The slot has a job that nobody has begun: it is lost.
      if (failed || slotStaysReady_) checked_.erase(last);
      lines.push_back("Checking store for '" + Address(name) + "'");
      slotStaysReady_ = fails("ResetEvent");
      if (fails("SetEvent")) checked_.erase(name);
      last = name;
    }
    slotStaysReady_ = false;
  }

  std::set<std::string> checked_;
  bool checkedIsKnown_ = true;
  bool slotStaysReady_ = false;
};

TEST_P(CheckSystemFaultSweepTest, EachCall) { Sweep("-checkQsf", GetParam()); }
INSTANTIATE_TEST_SUITE_P(
    Kinds, CheckSystemFaultSweepTest,
    ::testing::Values(CallKind{"Output", {"GetStdHandle", "WriteFile", "SetConsoleCtrlHandler"}},
                      CallKind{"Name", {"GetModuleFileNameW"}}, kServiceCalls,
                      CallKind{"Closing", {"CloseHandle", "CloseServiceHandle"}},
                      CallKind{"Threads", {"CreateThread"}}, CallKind{"Events", {"CreateEventW"}},
                      CallKind{"Signals", {"SetEvent", "ResetEvent"}},
                      CallKind{"Waits", {"WaitForMultipleObjects"}}),
    kByName);

}  // namespace
}  // namespace e2e
