// Unattended runs with trouble: any line that a good run does not print, and lines that it lacks.
#include "lab/common/qsf_file.h"
#include "tests/e2e/run_frame.h"

namespace e2e {
namespace {

constexpr uint32_t kFail = 0x80004005;
constexpr char kBobFails[] =
    "StoreLogonThread: Failed to open delegate store for user 'bob@example.com' : 0x80040600";
constexpr char kPaused[] = "ServiceStartSvc. Service is already running, currentState=7)";

class RunTroubleTest : public RunTest, public ::testing::WithParamInterface<RunCase> {};

TEST_P(RunTroubleTest, EndsWithTwo) {
  GetParam().prepare(*this);
  ExpectRun(GetParam().words, GetParam().toolLines, GetParam().ending);
}

// Ann's store, and an orphan of bob's.
void AddAnnAndOrphan(RunTest& test) {
  AddAnn(test);
  test.AddOrphan(L"bob");
}

Strings Orphan() { return Lines(OrphanDeleted("bob@example.com")); }

template <lab::ControllerState state>
void AddAnnAndController(RunTest& test) {
  AddAnn(test);
  test.SetController(state);
}

// One of MAPI's or the database's calls fails.
std::function<void(RunTest&)> WithFailing(const char* call, uint32_t nth, uint32_t result = kFail) {
  return [=](RunTest& test) {
    AddAnn(test);
    test.Faults().FailNth(call, nth, result);
  };
}

Strings CacheFailed(const std::string& function) {
  return {"CStoreManager::LoadCache: AdminServices failed : 0x80004005",
          function + ": storeManager LoadCache failed : 0x80004005"};
}

// The database is not there.
void AddNothing(RunTest&) { ASSERT_TRUE(lab::RemoveBesRegistryKey()); }

Strings CheckedOne(const std::string& name, const Strings& more = {}) {
  return Strings{"CheckQsf: Checking 1 MAPI stores...",
                 "Checking store for '" + name + "@example.com'"} +
         more;
}

const Strings kOk = {"All stores are OK", "Shutting down stores...", "Done"};

// Most of these take the ten seconds of the command's pause.
INSTANTIATE_TEST_SUITE_P(
    Check, RunTroubleTest,
    ::testing::Values(RunCase{"AStoreFailsAndAllAreSaidToBeOk", "-checkQsf -p Main -e bob",
                              [](RunTest& test) {
                                test.AddRoot();
                                test.AddDamaged(L"bob", lab::QsfDamage::kChecksum);
                              },
                              CheckedOne("bob", {kBobFails}) + kOk, Trouble({kBobFails})},
                      RunCase{"AnOrphanIsRemoved", "-checkQsf -p Main -e ann", AddAnnAndOrphan,
                              Orphan() + CheckedOne("ann") + kOk, Trouble(Orphan())},
                      RunCase{"NoStoreIsChecked", "-checkQsf -p Main -e nobody", AddAnn,
                              Strings{"CheckQsf: Checking 0 MAPI stores..."} + kOk,
                              Trouble({"CheckQsf: Checking 0 MAPI stores..."})},
                      RunCase{"TheCacheIsNotLoaded", "-checkQsf -p Main",
                              WithFailing("IProfAdmin::AdminServices", 1),
                              CacheFailed("CheckQsf") + Strings{"Done"},
                              Trouble(CacheFailed("CheckQsf"), Missing({"All stores are OK"}))},
                      RunCase{"TheControllerIsPaused", "-checkQsf -p Main -e ann -c",
                              AddAnnAndController<lab::ControllerState::kPaused>,
                              CheckedOne("ann") + Strings{"All stores are OK",
                                                          "Shutting down stores...", kPaused,
                                                          kStartingController, "Done"},
                              Trouble({kPaused})}),
    kByName);

const Strings kCompactedAnn = {"compacting ann@example.com", "Compacting done"};

INSTANTIATE_TEST_SUITE_P(
    Compact, RunTroubleTest,
    ::testing::Values(
        RunCase{"ACompactionFails",
                "-compactQsf -p Main -e ann",
                [](RunTest& test) {
                  AddAnn(test);
                  test.PlanCompaction(lab::CompactionPlan().Fails(L"*", kFail));
                },
                {"compacting ann@example.com", "Compact failed for 'ann@example.com' : 0x80004005"},
                Trouble({"Compact failed for 'ann@example.com' : 0x80004005"},
                        Missing({"Compacting done"}))},
        RunCase{"DoneIsNotTrue",
                "-compactQsf -p Main -e ann",
                [](RunTest& test) {
                  WithFailing("IProfAdmin::AdminServices", 3)(test);
                  // MAPI stays initialised on a thread that gets no further.
                  test.AllowLeaks();
                },
                {"compacting ann@example.com",
                 "CompactQsfThread: AdminServices failed : 0x80004005", "Compacting done"},
                Trouble({"CompactQsfThread: AdminServices failed : 0x80004005"})},
        RunCase{"AnOrphanIsRemoved", "-compactQsf -p Main -e ann", AddAnnAndOrphan,
                Orphan() + kCompactedAnn, Trouble(Orphan())},
        RunCase{"NoSuchProfile", "-compactQsf -p Nobody", AddAnn, Lines(NoProfile("CompactQsf")),
                Trouble(Lines(NoProfile("CompactQsf")))},
        RunCase{"NoController", "-compactQsf -p Main -e ann -c", AddAnn,
                kCompactedAnn + Strings{kNoController, kStartingController},
                Trouble({kNoController})}),
    kByName);

INSTANTIATE_TEST_SUITE_P(
    Purge, RunTroubleTest,
    ::testing::Values(
        RunCase{"AnOrphanIsRemoved", "-purgeQsf", AddAnnAndOrphan,
                Orphan() + Strings{"No unused QSFs found"}, Trouble(Orphan())},
        RunCase{"TheCacheIsNotLoaded", "-purgeQsf -f", WithFailing("IProfAdmin::AdminServices", 1),
                CacheFailed("PurgeQsf"), Trouble(CacheFailed("PurgeQsf"))},
        RunCase{
            "TheControllerIsStarting",
            "-purgeQsf -f -c",
            AddAnnAndController<lab::ControllerState::kStartPending>,
            {"No unused QSFs found", "ServiceStartSvc. Service is already running, currentState=2)",
             kStartingController},
            Trouble({"ServiceStartSvc. Service is already running, currentState=2)"})}),
    kByName);

const std::string kNoServer = "qrvAdminListAgents: Failed to find server 'OTHER'";

INSTANTIATE_TEST_SUITE_P(
    ListAgents, RunTroubleTest,
    ::testing::Values(
        RunCase{"NoSuchServer", "-listAgents -s other", AddAnn, {kNoServer}, Trouble({kNoServer})},
        RunCase{"NoDatabase", "-listAgents -s other", AddNothing,
                Lines(NoDatabase()) + Strings{"qrvAdminListAgents: GetServers failed : 0x80070002"},
                Trouble(Lines(NoDatabase()) +
                        Strings{"qrvAdminListAgents: GetServers failed : 0x80070002"})}),
    kByName);

INSTANTIATE_TEST_SUITE_P(
    ListServers, RunTroubleTest,
    ::testing::Values(RunCase{"NoDatabase", "-listServers", AddNothing, Lines(NoDatabase()),
                              Trouble(Lines(NoDatabase()))},
                      RunCase{"TheStatementFails",
                              "-listServers",
                              WithFailing("ICommand::Execute", 1),
                              {"CBESDatabase::GetServers: Failed to execute SQL : 0x80004005"},
                              Trouble({"CBESDatabase::GetServers: Failed to execute SQL : "
                                       "0x80004005"})}),
    kByName);

const Strings kAgentsHead = {"Base Agentid=200", "Number of Agents=2"};
const Strings kSqlFailed = {"CBESDatabase::Execute: Failed to execute SQL : 0x80040e14",
                            "AssignUsersToAgents: Failed to execute SQL : 0x80040e14"};

const Strings kNoProfileToAssign = {
    "CStoreManager::LoadCache: AdminServices failed : 0x8004010f",
    "AssignUsersToAgents: StoreManager::LoadCache failed : 0x8004010f"};

INSTANTIATE_TEST_SUITE_P(
    Assign, RunTroubleTest,
    ::testing::Values(RunCase{"TheBatchFails", "-assignAgents -p Main",
                              [](RunTest& test) {
                                AddAnn(test);
                                test.Faults().FailNth("ICommand::Execute", 3, 0x80040E14);
                              },
                              kAgentsHead + kSqlFailed + Strings{"Done"}, Trouble(kSqlFailed)},
                      RunCase{"NotAllAreAssigned", "-assignAgents -p Main",
                              [](RunTest& test) {
                                AddAnn(test);
                                test.AddEmbedded(L"bob", test.AddRoot());
                              },
                              kAgentsHead + Orphan() + Strings{"Assigned 1 of 2 users ...", "Done"},
                              Trouble(Orphan(), {"not all users: Assigned 1 of 2 users ..."})},
                      RunCase{"NoSuchProfile", "-assignAgents -p Nobody", AddAnn,
                              kAgentsHead + kNoProfileToAssign,
                              Trouble(kNoProfileToAssign, Missing({"Done"}))},
                      RunCase{"TheControllerIsPaused", "-assignAgents -p Main -c",
                              AddAnnAndController<lab::ControllerState::kPaused>,
                              kAgentsHead + Strings{"Assigned 1 of 1 users ...", "Done", kPaused,
                                                    kStartingController},
                              Trouble({kPaused})}),
    kByName);

INSTANTIATE_TEST_SUITE_P(FindUsers, RunTroubleTest,
                         ::testing::Values(RunCase{"AnOrphanIsRemoved",
                                                   "-findUsers -p Main -e nobody", AddAnnAndOrphan,
                                                   Orphan(), Trouble(Orphan())},
                                           RunCase{"NoSuchProfile", "-findUsers -p Nobody -e ann",
                                                   AddAnn, Lines(NoProfile("FindUsers")),
                                                   Trouble(Lines(NoProfile("FindUsers")))}),
                         kByName);

// Scans, whose lines have paths of the test's own.

class RunScanTroubleTest : public RunTest {
 protected:
  std::string File() const { return Utf8FromWide(FileOf(L"ann")); }
};

TEST_F(RunScanTroubleTest, AProfileThatIsNotThere) {
  const std::string line = "No .qsf files associated with [Nobody] profile";
  ExpectRun("-scanQsf -p Nobody", {line}, Trouble({line}));
}

TEST_F(RunScanTroubleTest, AScanThatFails) {
  Add(L"ann", {.withFile = false});
  const Strings trouble = {"CheckRepairQsf. ScanPST Error: The file " + File() + " does not exist.",
                           "file scan error."};
  ExpectRun("-scanQsf -p Main", Strings{"scanning " + File()} + trouble,
            Trouble(trouble, Missing({"file scan done."})));
}

TEST_F(RunScanTroubleTest, AQuestionThatNobodyAnswers) {
  Add(L"ann");
  const Strings lines = {"deleting " + File(),
                         "Are you sure you want to delete [" + File() + "] ([y]es/[n]o/[c]ancel)?"};
  // Somebody who would answer does not reach the tool.
  ExpectRun("-scanQsf -d Main", lines, Trouble(lines), {.input = "y\ny\n"});
  EXPECT_TRUE(Exists(FileOf(L"ann")));
}

TEST_F(RunScanTroubleTest, AControllerThatDoesNotStart) {
  Add(L"ann");
  SetController(lab::ControllerState::kDisabled);
  const std::string line = "ServiceStartSvc. StartService failed (1058)";
  ExpectRun("-scanQsf -p Main -c",
            {"scanning " + File(), "file scan done.", line, kStartingController}, Trouble({line}));
}

TEST_F(RunScanTroubleTest, AStoreThatTheRepairToolGivesUp) {
  Add(L"ann");
  PlanTool({.outcome = lab::RepairOutcome::kErrorBox, .errorText = L"The disk is on fire."});
  const Strings trouble = {"CheckRepairQsf. ScanPST Error: The disk is on fire.",
                           "file scan error."};
  ExpectRun("-scanQsf -p Main", Strings{"scanning " + File()} + trouble,
            Trouble(trouble, Missing({"file scan done."})));
}

// Of more than three lines of trouble three are shown, and all are counted.
TEST_F(RunTest, TheFirstThreeLinesOfTroubleAreShownAndAllAreCounted) {
  AddOrphan(L"ann");
  AddOrphan(L"bob");
  const Strings lines = Lines(OrphanDeleted("ann@example.com") + OrphanDeleted("bob@example.com"));
  ExpectRun("-findUsers -p Main -e nobody", lines,
            {2,
             {"qrvrun: lines of trouble: 6, of which the first",
              "qrvrun:   Serious error: *** Parent store not found for 'ann@example.com' ***",
              "qrvrun:   Deleting orphan embedded store.", "qrvrun:   DeleteMsgService : 0x0",
              "qrvrun: exit code 2, trouble"}});
}

}  // namespace
}  // namespace e2e
