// -checkQsf with each of the calls that it makes failing once: the command ends, says so in known
// words, and leaves nothing behind.
#include <gtest/gtest.h>
#include <windows.h>

#include <map>
#include <regex>
#include <string>
#include <vector>

#include "lab/common/lab_config.h"
#include "tests/e2e/check_qsf_frame.h"
#include "tests/proof/fault_sweep.h"

namespace e2e {
namespace {

// The form of every line that a check can print when one call fails with kInjected.
bool IsKnownLine(const std::string& line) {
  static const std::regex kForms(
      "The Control Handler is installed\\.|All stores are OK|Shutting down stores\\.\\.\\.|Done"
      "|Failed to initialize MAPI\\. are you using the right 64/32 bitness\\?"
      "|CStoreManager::LoadCache: (MAPIAdminProfiles|AdminServices|GetMsgServiceTable"
      "|Restrict on MsgServiceTable|HrQueryAllRows on MsgServiceTable|AdminProviders"
      "|GetProviderTable|Restrict on provider table|HrQueryAllRows on provider table"
      "|OpenProfileSection on provider table|OpenProfileSection on parent provider UID)"
      " failed : 0x8004dead"
      "|CheckQsf: storeManager LoadCache failed : 0x8004dead"
      "|Serious error: \\*\\*\\* Parent store not found for 'bob@example\\.com' \\*\\*\\*"
      "|Deleting orphan embedded store\\.|DeleteMsgService : 0x0"
      "|CheckQsf: Checking [0-3] MAPI stores\\.\\.\\."
      "|Checking store for '(bes|ann|bob)@example\\.com'"
      "|CStoreManager::LogonToStores: (MAPILogonEx failed|GetMsgStoresTable failed"
      "|HrQueryAllRows on MsgServiceTable failed|Failed to open default store"
      "|Failed query IExchangeManageStore interface) : 0x8004dead"
      "|CheckQsf: LogonToStores failed : 0x8004dead"
      "|StoreLogonThread: (MAPILogonEx failed : 0x(8004dead|80040605)"
      "|Failed query IExchangeManageStore interface : 0x8004dead)"
      "|StoreLogonThread: (Failed to CreateStoreEntryID|Failed to open delegate store"
      "|Failed to open root folder|Failed to open BlackBerryHandHeldInfo folder"
      "|Failed to open BlackBerryMsgOnDeviceSearchFolder folder"
      "|Failed to get BlackBerryHandHeldInfo contents table)"
      " for user '(bes|ann|bob)@example\\.com' : 0x8004dead"
      "|CheckQsf: Logon failed for '(bes|ann|bob)@example\\.com' : 0x(8004dead|80040605)");
  return std::regex_match(line, kForms);
}

// One of several checks side by side, with a profile, store files and a lab directory of its own.
class SweptCheck {
 public:
  SweptCheck(const std::filesystem::path& parent, uint32_t nth)
      : nth_(nth), name_(L"Sweep" + std::to_wstring(nth)), directory_((parent / name_).wstring()) {
    const lab::Profile profile(name_);
    profile.AddRootStore(L"bes@example.com", directory_ + L"\\bes.qsf");
    const auto ann = profile.AddSecondaryStore(L"ann@example.com", directory_ + L"\\ann.qsf");
    profile.AddEmbeddedStore(L"bob@example.com", ann);
    lab::FaultPlan().FailNth("*", nth, kInjected).Save(directory_);
  }

  uint32_t Nth() const { return nth_; }
  Words Arguments() const { return {L"-checkQsf", L"-p", name_, L"-v"}; }
  RunOptions Options() const {
    return {.environment = {{L"QRVLAB_DIR", directory_}}, .timeout = std::chrono::seconds(90)};
  }
  std::vector<lab::JournalEntry> Journal() const {
    return lab::ReadJournal(lab::JournalPath(directory_));
  }

 private:
  const uint32_t nth_;
  const std::wstring name_;
  const std::wstring directory_;
};

// The calls are shared out among the tests so that they can run side by side.
constexpr uint32_t kShares = 4;
constexpr uint32_t kRunsAtATime = 10;

class CheckSweepTest : public LabTest, public ::testing::WithParamInterface<uint32_t> {
 protected:
  // Runs the next checks of this test's share; false when one of them made fewer calls than that.
  bool RunBatch(uint32_t* nth) {
    std::vector<SweptCheck> checks;
    checks.reserve(kRunsAtATime);
    std::vector<RunningProgram> programs;
    for (uint32_t i = 0; i < kRunsAtATime; ++i, *nth += kShares) {
      const SweptCheck& check = checks.emplace_back(Directory(), *nth);
      programs.push_back(StartAdmin(check.Arguments(), check.Options()));
    }
    bool allFailed = true;
    for (uint32_t i = 0; i < kRunsAtATime; ++i) {
      SCOPED_TRACE("call " + std::to_string(checks[i].Nth()));
      allFailed &= Judge(checks[i], programs[i].Wait());
    }
    return allFailed;
  }

  // Whether the check got as far as the call that was to fail.
  static bool Judge(const SweptCheck& check, const RunResult& result) {
    const auto journal = check.Journal();
    const lab::JournalEntry* const failed = FailedCall(journal);
    EXPECT_EQ(lab::Leaks(journal), Strings{});
    EXPECT_EQ(lab::UnexpectedCalls(journal), Strings{});
    EXPECT_EQ(result.exitCode, 0U);
    EXPECT_EQ(result.errorOutput, "");
    for (const std::string& line : Lines(result.output)) {
      EXPECT_TRUE(line == "Exiting." || IsKnownLine(line)) << Visible(line);
    }
    if (!failed) {
      EXPECT_EQ(result.output, Text(CleanLines()));
      return false;
    }
    JudgeFailed(*failed, journal.front(), result);
    return true;
  }

  static void JudgeFailed(const lab::JournalEntry& failed, const lab::JournalEntry& first,
                          const RunResult& result) {
    const bool mapiFailed = failed.ordinal == first.ordinal;
    EXPECT_EQ(CountLines(result.output, kDone), mapiFailed ? 0 : 1);
    EXPECT_EQ(Lines(result.output).back(), "Exiting.");
    // A worker that gets no job does not need its MAPI.
    const bool mayBeSilent = failed.call == "MAPIInitialize" && !mapiFailed;
    if (mayBeSilent) return;
    EXPECT_NE(result.output, Text(CleanLines())) << failed.call;
  }

  static Strings CleanLines() {
    return {"The Control Handler is installed.",
            CheckingLine(3),
            "Checking store for 'bes@example.com'",
            "Checking store for 'ann@example.com'",
            "Checking store for 'bob@example.com'",
            kAllOk,
            kShuttingDown,
            kDone,
            "Exiting."};
  }
};

TEST_P(CheckSweepTest, EachFailureIsToldInKnownWordsAndLeaksNothing) {
  uint32_t nth = GetParam();
  while (RunBatch(&nth) && !HasFailure()) {
    ASSERT_LT(nth, 400U) << "no run is clean";
  }
  // Three stores take more calls than that.
  EXPECT_GT(nth, 60U);
}

INSTANTIATE_TEST_SUITE_P(, CheckSweepTest, ::testing::Range(1U, 1U + kShares),
                         [](const auto& test) { return "Share" + std::to_string(test.param); });

}  // namespace
}  // namespace e2e
