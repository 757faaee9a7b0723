// Fails every call of a run in turn. Whatever fails, the program says so in its known words, ends
// as always and gives back what it took.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "lab/common/installation.h"
#include "lab/common/journal.h"
#include "tests/proof/fault_sweep.h"
#include "tests/e2e/support/lab_test.h"
#include "tests/e2e/support/output.h"

namespace e2e {
namespace {

// No run makes as many calls; a sweep that gets here does not end.
constexpr uint32_t kTooMany = 500;

// Every form that a line of -findUsers can take.
bool IsKnownLine(const std::string& line) {
  static const std::regex kForms(
      " "
      "|(Email|QSF|Embedded stores|Parent store|Parent QSF): [a-z@.,]*"
      "|Type: (QSF|Embedded) store"
      "|Serious error: \\*\\*\\* Parent store not found for '[a-z]+@example\\.com' \\*\\*\\*"
      "|Deleting orphan embedded store\\."
      "|DeleteMsgService : 0x(0|8004dead)"
      "|CStoreManager::LoadCache: [A-Za-z ]+ failed : 0x8004dead"
      "|FindUsers: storeManager LoadCache failed : 0x8004dead"
      "|Failed to initialize MAPI\\. are you using the right 64/32 bitness\\?");
  return std::regex_match(line, kForms);
}

// Calls whose failure ends the load, by name and what they work on, and the load's words for it.
const std::map<std::string, std::string>& EndingCalls() {
  static const std::map<std::string, std::string> kCalls = {
      {"MAPIAdminProfiles", "MAPIAdminProfiles failed"},
      {"IProfAdmin::AdminServices", "AdminServices failed"},
      {"IMsgServiceAdmin::GetMsgServiceTable", "GetMsgServiceTable failed"},
      {"IMAPITable::Restrict MsgServiceTable", "Restrict on MsgServiceTable failed"},
      {"HrQueryAllRows MsgServiceTable", "HrQueryAllRows on MsgServiceTable failed"},
      {"IMsgServiceAdmin::OpenProfileSection ServiceSection",
       "HrQueryAllRows on MsgServiceTable failed"},
      {"IMsgServiceAdmin::AdminProviders", "AdminProviders failed"},
      {"IProviderAdmin::GetProviderTable", "GetProviderTable failed"},
      {"IMAPITable::Restrict ProviderTable", "Restrict on provider table failed"},
      {"HrQueryAllRows ProviderTable", "HrQueryAllRows on provider table failed"},
  };
  return kCalls;
}

class FindUsersFaultSweepTest : public LabTest,
                                public ::testing::WithParamInterface<lab::OutParameters> {
 protected:
  // A store of each kind, and an orphan that a run may delete.
  void MakeProfile() const {
    profile_.Delete();
    const lab::Service root = AddRoot();
    AddEmbedded(L"bob", Add(L"ann"));
    AddOrphan(L"cid");
    AddEmbedded(L"dan", root);
  }

  RunResult FindAll() { return RunAdmin("-findUsers -p Main -e \"\""); }

  static void CheckRun(const RunResult& result, const lab::JournalEntry& failed,
                       const std::string& clean) {
    EXPECT_EQ(result.exitCode, 0U);
    EXPECT_EQ(result.errorOutput, "");
    for (const std::string& line : Lines(result.output)) {
      EXPECT_TRUE(IsKnownLine(line)) << Visible(line);
    }
    EXPECT_NE(result.output, clean);
    const std::string place = failed.Argument("on");
    const auto ending = EndingCalls().find(place.empty() ? failed.call : failed.call + " " + place);
    if (ending == EndingCalls().end()) return;
    EXPECT_EQ(result.output, Text({"CStoreManager::LoadCache: " + ending->second + " : 0x8004dead",
                                   "FindUsers: storeManager LoadCache failed : 0x8004dead"}));
  }
};

TEST_P(FindUsersFaultSweepTest, EveryFailureIsToldInKnownWordsAndLeaksNothing) {
  MakeProfile();
  const std::string clean = FindAll().output;
  const uint32_t calls = lab::CountFaultableCalls(Journal());
  ClearJournal();

  for (uint32_t nth = 1; nth < kTooMany; ++nth) {
    MakeProfile();
    Faults() = lab::FaultPlan().SetOutParameters(GetParam()).FailNth("*", nth, kInjected);
    const RunResult result = FindAll();
    const std::vector<lab::JournalEntry> journal = Journal();
    const lab::JournalEntry* failed = FailedCall(journal);
    if (!failed) {
      EXPECT_EQ(result.output, clean);
      EXPECT_EQ(nth, calls + 1);
      return;
    }
    SCOPED_TRACE("call " + std::to_string(nth) + ": " + lab::FormatJournalLine(*failed));
    CheckRun(result, *failed, clean);
    ClearJournal();
  }
  FAIL() << "the runs never come clean";
}

INSTANTIATE_TEST_SUITE_P(OutParameters, FindUsersFaultSweepTest,
                         ::testing::Values(lab::OutParameters::kKeep, lab::OutParameters::kNull),
                         [](const auto& test) {
                           return test.param == lab::OutParameters::kKeep ? "Kept" : "Null";
                         });

}  // namespace
}  // namespace e2e
