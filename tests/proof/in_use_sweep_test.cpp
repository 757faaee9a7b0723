// The check for other programs that use MAPI with each of its calls failing once, at the beginning
// of each command that has it. A process that cannot be opened or read does not count, and nothing
// is said of it.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <list>
#include <string>
#include <vector>

#include "tests/e2e/command_lab_test.h"
#include "tests/e2e/support/mapi_holder.h"
#include "tests/proof/system_sweep.h"

namespace e2e {
namespace {

// A number that a call was given.
uint64_t NumberAt(const lab::JournalEntry& call, size_t place) {
  std::string text = call.Argument("args");
  std::replace(text.begin(), text.end(), ',', ' ');
  const auto pieces = lab::SplitQuoted(text);
  return place < pieces.size() ? lab::ParseNumber<uint64_t>(pieces[place]).value_or(0) : 0;
}

// A command, and what it prints when it is let through: there is nothing for it to work on.
struct InUseCase : NamedCase {
  std::string command;
  Words words;
  std::string output;
};

std::vector<InUseCase> Commands() {
  return {
      {"PurgeQsf", "-purgeQsf", {}, ""},
      {"CheckQsf", "-checkQsf", "-p Nobody", NoProfile("CheckQsf") + Text({"Done"})},
      {"CompactQsf", "-compactQsf", "-p Nobody", NoProfile("CompactQsf")},
      {"ScanQsf", "-scanQsf", "-p Nobody",
       Text({"No .qsf files associated with [Nobody] profile"})},
      {"AssignAgents", "-assignAgents", "-p Nobody",
       Text({"Base Agentid=200", "Number of Agents=2"}) + NoDatabase() +
           Text({"AssignUsersToAgents: GetServers failed : 0x80070002"})},
  };
}

class InUseFaultSweepTest : public CommandLabTest, public ::testing::WithParamInterface<InUseCase> {
 protected:
  using Journal = std::vector<lab::JournalEntry>;
  using Modules = std::vector<std::wstring>;

  // Starts other programs with MAPI, one of which has it behind other modules.
  void StartOthers() {
    others_.emplace_back("mailer.exe", Modules{L"olmapi32.dll"});
    others_.emplace_back("outlook.exe", Modules{L"one.dll", L"MAPI32.DLL", L"two.dll"});
    Faults() = lab::FaultPlan().JournalSystemCalls();
    EXPECT_EQ(RunCommand().output, Expected(nullptr));
    for (Other& other : others_) NoteHandles(LabTest::Journal(), other);
    ClearJournal();
  }

  // Every `step`th place from `first` on.
  void Sweep(const Strings& operations, uint32_t first = 1, uint32_t step = 1) {
    uint64_t faults = 0;
    for (const std::string& operation : operations) {
      for (uint32_t nth = first; RunFailing(operation, nth); nth += step) {
        ++faults;
        if (!proof::IsWhole()) break;
      }
    }
    EXPECT_GT(faults, 0U);
    proof::Record(GetParam().command, faults);
  }

 private:
  struct Other {
    Other(const std::string& fileName, const Modules& modules)
        : name(fileName), program(WideFromUtf8(fileName), modules) {}

    std::string name;
    MapiHolder program;
    uint64_t mapiModule = 0;  // in the program; it stays there as long as that runs
    bool hidden = false;      // by the last run's failure
  };

  // When the module of MAPI is found the search in its program is over.
  static void NoteHandles(const Journal& journal, Other& other) {
    ForEachCall(journal, other.program.ProcessId(), [&](const lab::JournalEntry& call) {
      if (call.call == "K32GetModuleBaseNameW") other.mapiModule = NumberAt(call, 1);
    });
    EXPECT_NE(other.mapiModule, 0U) << other.name;
  }

  // The calls that are about one process, in order.
  static void ForEachCall(const Journal& journal, DWORD processId,
                          const std::function<void(const lab::JournalEntry&)>& visit) {
    uint64_t handle = 0;
    for (const lab::JournalEntry& call : journal) {
      if (call.call == "OpenProcess") {
        handle = NumberAt(call, 2) == processId ? call.result : 0;
        if (NumberAt(call, 2) == processId) visit(call);
      } else if (handle != 0 && call.call.starts_with("K32") && NumberAt(call, 0) == handle) {
        visit(call);
      }
    }
  }

  RunResult RunCommand() {
    return RunAdmin(Words{WideFromUtf8(GetParam().command)} + GetParam().words);
  }

  bool RunFailing(const std::string& operation, uint32_t nth) {
    SCOPED_TRACE(operation + " " + std::to_string(nth));
    Faults() = lab::FaultPlan().JournalSystemCalls().FailNth(operation, nth, kSystemError);
    const RunResult result = RunCommand();
    const Journal journal = LabTest::Journal();
    const lab::JournalEntry* const failed = FailedCall(journal);
    for (Other& other : others_) other.hidden = failed && Hides(journal, *failed, other);
    EXPECT_EQ(result.output, Expected(failed));
    EXPECT_EQ(result.exitCode, 0U);
    EXPECT_EQ(result.errorOutput, "");
    ClearJournal();
    return failed != nullptr;
  }

  std::string Expected(const lab::JournalEntry* failed) const {
    Strings names;
    for (const Other& other : others_) {
      if (!other.hidden) names.push_back(other.name);
    }
    // Without the list of processes there are none.
    const bool listed = !failed || failed->call != "K32EnumProcesses";
    return listed && !names.empty() ? MapiInUse(names) : GetParam().output;
  }

  // Whether the failure keeps the program from being counted: with it the program cannot be opened,
  // has no name, has no modules, or the one of MAPI has no name.
  static bool Hides(const Journal& journal, const lab::JournalEntry& failed, const Other& other) {
    bool hides = false;
    ForEachCall(journal, other.program.ProcessId(), [&](const lab::JournalEntry& call) {
      if (&call != &failed) return;
      const uint64_t module = NumberAt(call, 1);
      hides = call.call != "K32GetModuleBaseNameW" || module == 0 || module == other.mapiModule;
    });
    return hides;
  }

  std::list<Other> others_;
};

// Of each command the calls that are made once for a process.
TEST_P(InUseFaultSweepTest, WhatCannotBeReadDoesNotCount) {
  StartOthers();
  Sweep({"K32EnumProcesses", "OpenProcess", "K32EnumProcessModules"});
}

INSTANTIATE_TEST_SUITE_P(Commands, InUseFaultSweepTest, ::testing::ValuesIn(Commands()), kByName);

// Of one command those that are made once for a module too, shared out among tests that can run
// side by side.
constexpr uint32_t kShares = 6;

std::vector<InUseCase> Shares() {
  std::vector<InUseCase> shares;
  for (const char* name : {"1", "2", "3", "4", "5", "6"}) {
    shares.push_back({name, "-purgeQsf", {}, ""});
  }
  return shares;
}

class InUseNameFaultSweepTest : public InUseFaultSweepTest {
 protected:
  static uint32_t First() { return static_cast<uint32_t>(GetParam().name[0] - '0'); }
};

TEST_P(InUseNameFaultSweepTest, WhatHasNoNameDoesNotCount) {
  StartOthers();
  Sweep({"K32GetModuleBaseNameW"}, First(), kShares);
}
TEST_P(InUseNameFaultSweepTest, AloneTheProgramRunsWhateverFails) {
  Sweep({"K32EnumProcessModules", "K32GetModuleBaseNameW"}, First(), kShares);
}

INSTANTIATE_TEST_SUITE_P(Shares, InUseNameFaultSweepTest, ::testing::ValuesIn(Shares()), kByName);

}  // namespace
}  // namespace e2e
