// The frame of the fault sweeps: a command is run once for each call that it makes, and that call
// fails, with its out-parameters left as they are and with null in them. Each run prints exactly
// what the command's model says, ends with code 0, gives back what it took and leaves the
// installation as the model does; a run that no fault reaches makes the calls of the model.
//
//   class FindFaultSweepTest : public FaultSweepTest {
//     Words Arguments() const override { return "-findUsers -e \"\""; }
//     void Walk(ModelRun& run) const override;
//   };
//   TEST_P(FindFaultSweepTest, ...) { Sweep("-findUsers"); }
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "lab/common/fault_plan.h"
#include "lab/common/installation.h"
#include "lab/common/journal.h"
#include "tests/e2e/support/database_lab_test.h"
#include "tests/proof/model_run.h"

namespace e2e {

// The call that one run sees fail: the nth of an operation.
struct SweptFault {
  std::string operation;
  uint32_t nth;
  lab::OutParameters outParameters;
};

// One of several runs side by side, with a profile, store files and a lab directory of its own,
// all gone when the object is.
class SweptRun {
 public:
  SweptRun(const std::filesystem::path& parent, size_t number, SweptFault fault);
  ~SweptRun();
  SweptRun(const SweptRun&) = delete;
  SweptRun& operator=(const SweptRun&) = delete;

  const SweptFault& Fault() const { return fault_; }
  const lab::Profile& Profile() const { return profile_; }
  std::wstring Directory() const { return directory_.wstring(); }
  std::vector<lab::JournalEntry> Journal() const;

 private:
  const SweptFault fault_;
  const lab::Profile profile_;
  const std::filesystem::path directory_;
};

// The faults are shared out among the tests of a suite, so that these can run side by side.
inline constexpr uint32_t kSweepShares = 4;
inline auto SweepShares() { return ::testing::Range(0U, kSweepShares); }
inline constexpr auto kByShare = [](const auto& test) {
  return "Share" + std::to_string(test.param + 1);
};

// The parameter is the test's share, from 0.
class FaultSweepTest : public DatabaseLabTest, public ::testing::WithParamInterface<uint32_t> {
 protected:
  // The controller service runs.
  void SetUp() override;

  // The command line but for the profile.
  virtual Words Arguments() const = 0;
  // Takes the command's steps.
  virtual void Walk(ModelRun& run) const = 0;

  // Whether this suite is about the operation.
  virtual bool Sweeps(const std::string&) const { return true; }

  // What a run finds, its model, and what it leaves, as World::Describe has it.
  virtual void Install(const SweptRun& run) const;
  virtual World FirstWorld() const { return NewWorld(); }
  virtual Strings Observe(const SweptRun& run) const;

  // Which of an operation's calls, of which there are `count`, fails in the short form.
  virtual uint32_t ShortPlace([[maybe_unused]] uint32_t count) const { return 1; }

  // Runs the command with each fault of this test's share, and once more for each operation beyond
  // its last call. In the short form one call of each operation fails.
  void Sweep(const char* command);

 private:
  std::vector<SweptFault> FaultsOfShare() const;
  // How often a run calls each operation of the suite.
  std::map<std::string, uint32_t> SweptCalls() const;
  std::vector<SweptFault> AllFaults() const;
  // One fault of each operation, and a run without any.
  std::vector<SweptFault> SampleOfFaults() const;
  void RunSideBySide(const std::vector<SweptFault>& faults, size_t begin, size_t end);
  RunningProgram Start(const SweptRun& run);
  void Judge(const SweptRun& run, const RunResult& result);

  uint64_t injected_ = 0;
};

}  // namespace e2e
