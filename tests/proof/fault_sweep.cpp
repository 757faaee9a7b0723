#include "tests/proof/fault_sweep.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <memory>
#include <system_error>
#include <utility>

#include "lab/bes/bes_database.h"
#include "lab/common/lab_config.h"
#include "tests/e2e/support/output.h"
#include "tests/proof/proof.h"

namespace e2e {
namespace {

constexpr size_t kRunsAtATime = 16;
constexpr std::chrono::minutes kTimeLimit{4};

using lab::OutParameters;

// Replaces a single value, and is in no journal.
bool IsPseudoOperation(const std::string& operation) {
  return operation.find('.') != std::string::npos ||
         std::islower(static_cast<unsigned char>(operation.front()));
}

std::map<std::string, uint32_t> RealCounts(std::map<std::string, uint32_t> counts) {
  std::erase_if(counts, [](const auto& count) { return IsPseudoOperation(count.first); });
  return counts;
}

// What the journal's calls count as, of those that can fail.
std::map<std::string, uint32_t> CountsOf(const std::vector<lab::JournalEntry>& journal) {
  std::map<std::string, uint32_t> counts;
  for (const lab::JournalEntry& entry : journal) {
    if (entry.kind != lab::JournalEntry::Kind::kCall || entry.ordinal == 0) continue;
    const std::string place = entry.Argument("on");
    ++counts[place.empty() ? entry.call : entry.call + "@" + place];
  }
  return counts;
}

bool HasInjected(const std::vector<lab::JournalEntry>& journal) {
  return std::any_of(journal.begin(), journal.end(), [](const lab::JournalEntry& entry) {
    return entry.Argument("injected") == "yes";
  });
}

bool IsWorkerLine(const std::string& line) { return line.starts_with("StoreLogonThread: "); }

// With the workers' lines of the block in byte order behind the others.
Strings Arranged(Strings lines, const ModelRun& model) {
  const auto at = [&](size_t index) {
    return lines.begin() + static_cast<ptrdiff_t>(std::min(index, lines.size()));
  };
  const auto workers =
      std::stable_partition(at(model.blockBegin), at(model.blockEnd),
                            [](const std::string& line) { return !IsWorkerLine(line); });
  std::sort(workers, at(model.blockEnd));
  return lines;
}

// Each expected text must stand in a leak of the journal, in this order, and there must be no
// other.
void ExpectLeaks(const Strings& leaks, const Strings& expected) {
  ASSERT_EQ(leaks.size(), expected.size()) << ::testing::PrintToString(leaks);
  for (size_t i = 0; i < leaks.size(); ++i) {
    EXPECT_NE(leaks[i].find(expected[i]), std::string::npos) << leaks[i];
  }
}

}  // namespace

// One run.

SweptRun::SweptRun(const std::filesystem::path& parent, size_t number, SweptFault fault)
    : fault_(std::move(fault)),
      profile_(L"Sweep" + std::to_wstring(number)),
      directory_(parent / profile_.Name()) {
  std::filesystem::create_directories(directory_);
  lab::FaultPlan()
      .SetOutParameters(fault_.outParameters)
      .FailNth(fault_.operation, fault_.nth, kInjected)
      .Save(Directory());
}

SweptRun::~SweptRun() {
  profile_.Delete();
  std::error_code ignored;
  std::filesystem::remove_all(directory_, ignored);
}

std::vector<lab::JournalEntry> SweptRun::Journal() const {
  return lab::ReadJournal(lab::JournalPath(Directory()));
}

// All of them.

void FaultSweepTest::SetUp() {
  DatabaseLabTest::SetUp();
  SetController(lab::ControllerState::kRunning);
}

void FaultSweepTest::Install(const SweptRun& run) const {
  e2e::Install(run.Profile(), run.Directory());
}

Strings FaultSweepTest::Observe(const SweptRun& run) const {
  return e2e::Observe(run.Profile(), run.Directory());
}

void FaultSweepTest::Sweep(const char* command) {
  const std::vector<SweptFault> faults = FaultsOfShare();
  for (size_t begin = 0; begin < faults.size() && !HasFailure(); begin += kRunsAtATime) {
    RunSideBySide(faults, begin, std::min(begin + kRunsAtATime, faults.size()));
  }
  proof::Record(command, injected_);
}

std::vector<SweptFault> FaultSweepTest::FaultsOfShare() const {
  const std::vector<SweptFault> faults = proof::IsWhole() ? AllFaults() : SampleOfFaults();
  std::vector<SweptFault> own;
  for (size_t i = GetParam(); i < faults.size(); i += kSweepShares) own.push_back(faults[i]);
  return own;
}

std::map<std::string, uint32_t> FaultSweepTest::SweptCalls() const {
  ModelRun clean{.world = FirstWorld(), .calls = ModelCalls("", 0)};
  Walk(clean);
  std::map<std::string, uint32_t> counts = clean.calls.Counts();
  std::erase_if(counts, [this](const auto& count) { return !Sweeps(count.first); });
  return counts;
}

std::vector<SweptFault> FaultSweepTest::AllFaults() const {
  std::vector<SweptFault> faults;
  for (const auto& [operation, count] : SweptCalls()) {
    for (uint32_t nth = 1; nth <= count + 1; ++nth) {
      faults.push_back({operation, nth, OutParameters::kKeep});
      faults.push_back({operation, nth, OutParameters::kNull});
    }
  }
  return faults;
}

std::vector<SweptFault> FaultSweepTest::SampleOfFaults() const {
  std::vector<SweptFault> faults = {{"*", UINT16_MAX, OutParameters::kNull}};
  for (const auto& [operation, count] : SweptCalls()) {
    const bool keeps = faults.size() % 2 == 0;
    faults.push_back(
        {operation, ShortPlace(count), keeps ? OutParameters::kKeep : OutParameters::kNull});
  }
  return faults;
}

void FaultSweepTest::RunSideBySide(const std::vector<SweptFault>& faults, size_t begin,
                                   size_t end) {
  std::vector<std::unique_ptr<SweptRun>> runs;
  std::vector<RunningProgram> programs;
  for (size_t i = begin; i < end; ++i) {
    runs.push_back(std::make_unique<SweptRun>(Directory(), i, faults[i]));
    Install(*runs.back());
    programs.push_back(Start(*runs.back()));
  }
  for (size_t i = 0; i < runs.size(); ++i) Judge(*runs[i], programs[i].Wait());
}

RunningProgram FaultSweepTest::Start(const SweptRun& run) {
  const std::wstring database = run.Directory() + L"\\bes.sqlite";
  return StartAdmin(Arguments() + Words{L"-p", run.Profile().Name()},
                    {.environment = {{L"QRVLAB_DIR", run.Directory()},
                                     {L"QRVLAB_ODBC", lab::SqliteConnectionString(database)}},
                     .timeout = kTimeLimit});
}

void FaultSweepTest::Judge(const SweptRun& run, const RunResult& result) {
  const SweptFault& fault = run.Fault();
  SCOPED_TRACE("call " + std::to_string(fault.nth) + " of " + fault.operation +
               (fault.outParameters == OutParameters::kKeep ? ", out-parameters kept" : ""));
  const std::vector<lab::JournalEntry> journal = run.Journal();
  ModelRun model{
      .world = FirstWorld(), .calls = ModelCalls(fault.operation, fault.nth), .journal = &journal};
  Walk(model);

  EXPECT_EQ(result.exitCode, 0U);
  EXPECT_EQ(result.errorOutput, "");
  EXPECT_EQ(Arranged(Lines(result.output), model), Arranged(model.lines, model));
  EXPECT_EQ(Observe(run), model.world.Describe());
  ExpectLeaks(lab::Leaks(journal), model.leaks);
  EXPECT_EQ(lab::UnexpectedCalls(journal), Strings{});
  if (!IsPseudoOperation(fault.operation)) {
    EXPECT_EQ(HasInjected(journal), model.calls.HaveFailed());
  }
  if (model.calls.HaveFailed()) {
    ++injected_;
  } else {
    EXPECT_EQ(CountsOf(journal), RealCounts(model.calls.Counts()));
  }
}

}  // namespace e2e
