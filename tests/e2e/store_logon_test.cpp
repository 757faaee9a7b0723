// The pooled logon behind -checkQsf: what it calls, in which order, on how many threads, what it
// says of failures, how long it keeps the stores, and what Ctrl+C does to it.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "lab/common/entry_id.h"
#include "lab/common/text.h"
#include "src/platform/handle.h"
#include "tests/e2e/check_qsf_frame.h"
#include "tests/e2e/support/named_case.h"

namespace e2e {
namespace {

using std::chrono::milliseconds;

constexpr char kManageStoreIid[] = "b0109d5572a7cd119bc800aa002fc45a";
constexpr char kWorkerLogonFlags[] = "0x80008030";
constexpr uint32_t kUserCancel = 0x80040113;

class StoreLogonTest : public CheckQsfFrame {
 protected:
  // Makes the job of each user whose address holds `text` take that long, and no other call.
  void SlowDown(const std::wstring& text, uint32_t jobTime) {
    Faults().DelayMatching("IExchangeManageStore::CreateStoreEntryID", text, jobTime);
  }

  ::testing::AssertionResult WaitForCalls(std::string_view call, size_t count,
                                          milliseconds timeout = std::chrono::seconds(30)) const {
    const auto end = std::chrono::steady_clock::now() + timeout;
    while (Calls(call).size() < count) {
      if (std::chrono::steady_clock::now() > end) {
        return ::testing::AssertionFailure() << "not " << count << " calls of " << call;
      }
      std::this_thread::sleep_for(milliseconds(50));
    }
    return ::testing::AssertionSuccess();
  }
  // The workers are gone then, and the main thread's MAPI is not.
  ::testing::AssertionResult WaitForWorkersEnd() const {
    return WaitForCalls("MAPIUninitialize", 5);
  }
};

// Calls as text: the name and what the caller passes, without what the lab adds, and without the
// freeing of memory, whose place among the calls is free.
Strings Passed(const std::vector<lab::JournalEntry>& calls) {
  constexpr std::string_view kLabs[] = {"on", "owner", "rows"};
  Strings texts;
  for (const lab::JournalEntry& entry : calls) {
    if (entry.call == "MAPIFreeBuffer" || entry.call == "FreeProws") continue;
    std::string text = entry.call;
    for (const auto& [name, value] : entry.arguments) {
      const bool isLabs = std::find(std::begin(kLabs), std::end(kLabs), name) != std::end(kLabs);
      if (!isLabs) text.append(" ").append(name).append("=").append(value);
    }
    texts.push_back(text);
  }
  return texts;
}

std::string UserEntryId(const std::wstring& address) {
  return lab::HexFromBytes(lab::MailboxEntryId(lab::NarrowFromWide(address)));
}

// The main thread's calls from the logon on, and those of the worker that opens a user's store.
Strings DispatcherCalls(const lab::Service& defaultStore) {
  return {"MAPILogonEx parent=0x0 profile=Main password=NULL flags=0x8000803a",
          "IMAPISession::GetMsgStoresTable flags=0x0",
          "HrQueryAllRows columns=0FFF0102,3400000B restriction=property(3400000B,4,0x1) "
          "order=NULL most=0",
          "IMAPISession::OpenMsgStore parent=0x0 entryid=" +
              lab::HexFromBytes(defaultStore.EntryId()) + " iid=NULL flags=0xb1",
          std::string("IMsgStore::QueryInterface iid=") + kManageStoreIid,
          "MAPIUninitialize"};
}
Strings WorkerCallsFor(const std::wstring& address) {
  return {"MAPIInitialize flags=0x0",
          "MAPILogonEx parent=0x0 profile=Main password=NULL flags=0x80008030",
          std::string("IMsgStore::QueryInterface iid=") + kManageStoreIid,
          "IExchangeManageStore::CreateStoreEntryID store= mailbox=" + Utf8FromWide(address) +
              " flags=0x0",
          "IMAPISession::OpenMsgStore parent=0x0 entryid=" + UserEntryId(address) +
              " iid=NULL flags=0x91",
          "IMsgStore::OpenEntry entryid=NULL iid=NULL flags=0x10",
          "IMAPIFolder::CreateFolder type=0x1 name=BlackBerryHandheldInfo comment=NULL iid=NULL "
          "flags=0x80000001",
          "IMAPIFolder::CreateFolder type=0x2 name=BlackBerryMsgOnDeviceSearchFolder comment=NULL "
          "iid=NULL flags=0x80000001",
          "IMAPIFolder::GetContentsTable flags=0x80000000",
          "MAPIUninitialize"};
}

// The default store is the one that the profile names so, not the root store.
TEST_F(StoreLogonTest, MakesExactlyTheseCallsForOneStore) {
  AddRoot({.defaultStore = false});
  const lab::Service defaultStore = Add(L"second", {.defaultStore = true});
  Add(L"third", {.defaultStore = true});
  Add(L"ann");

  EXPECT_EQ(Check("-e ann").output,
            Text({CheckingLine(1), StoreLine(L"ann@example.com"), kAllOk, kShuttingDown, kDone}));
  Entries main = Journal();
  const uint32_t mainThread = main.at(0).threadId;
  std::erase_if(main, [=](const auto& entry) { return entry.threadId != mainThread; });
  const auto logon = std::find_if(main.begin(), main.end(),
                                  [](const auto& entry) { return entry.call == "MAPILogonEx"; });
  EXPECT_EQ(Passed(Entries(logon, main.end())), DispatcherCalls(defaultStore));

  // The other four threads start and stop without a job.
  std::vector<Strings> workers;
  for (const auto& [thread, calls] : CallsByWorker()) workers.push_back(Passed(calls));
  std::vector<Strings> expected(4, {"MAPIInitialize flags=0x0", "MAPIUninitialize"});
  expected.push_back(WorkerCallsFor(L"ann@example.com"));
  std::sort(workers.begin(), workers.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(workers, expected);

  // The worker asks the very store that the dispatcher opened. Objects are numbered as they are
  // made: the table is asked of the second folder below the root folder.
  EXPECT_EQ(WorkerCalls("IMsgStore::QueryInterface").at(0).object,
            MainCalls("IMsgStore::QueryInterface").at(0).object);
  const Entries folders = Calls("IMAPIFolder::CreateFolder");
  EXPECT_EQ(folders.at(1).object, folders.at(0).object);
  EXPECT_EQ(Calls("IMAPIFolder::GetContentsTable").at(0).object, folders.at(0).object + 2);
  ExpectPause();
}

bool IsHeld(const std::wstring& file) {
  const platform::KernelHandle handle = platform::TakeFileHandle(
      CreateFileW(file.c_str(), DELETE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                  nullptr, OPEN_EXISTING, 0, nullptr));
  return !handle && GetLastError() == ERROR_SHARING_VIOLATION;
}

class HeldStoresTest : public StoreLogonTest {
 protected:
  // Of `addresses`, those whose files are held, and those that were not the last of a worker.
  std::vector<std::wstring> Held(const std::vector<std::wstring>& addresses) const {
    std::vector<std::wstring> held = addresses;
    std::erase_if(held, [&](const auto& address) { return !IsHeld(FileOf(address)); });
    return held;
  }
  std::vector<std::wstring> Collected(const std::vector<std::wstring>& addresses) const {
    const std::set<std::string> last = LastMailboxes();
    std::vector<std::wstring> collected = addresses;
    std::erase_if(collected,
                  [&](const auto& address) { return last.contains(Utf8FromWide(address)); });
    return collected;
  }
};

// The first user's store opens but its root folder does not: it is kept like the others.
TEST_F(HeldStoresTest, CollectedStoresAreHeldThroughThePauseAndTheLastOfEachWorkerAreNot) {
  AddRoot();
  const std::vector<std::wstring> users = AddStores(L"user", 12);
  SlowDown(L"user", 1000);
  Faults().FailMatching("IMsgStore::OpenEntry", L"user01", 0x8004010e);
  RunningProgram program = StartCheck("-e user");
  ASSERT_TRUE(WaitForWorkersEnd());

  const std::vector<std::wstring> collected = Collected(users);
  EXPECT_EQ(collected.size(), 7U);
  EXPECT_EQ(collected.at(0), users[0]);
  // The workers' last stores close a moment after the workers' MAPI.
  for (int attempt = 0; attempt < 20 && Held(users) != collected; ++attempt) {
    std::this_thread::sleep_for(milliseconds(100));
  }
  EXPECT_EQ(Held(users), collected);
  EXPECT_TRUE(IsHeld(StorePath(L"bes.qsf")));
  std::this_thread::sleep_for(milliseconds(7000));
  EXPECT_EQ(Held(users), collected);
  EXPECT_TRUE(program.IsRunning());

  Strings expected = {CheckingLine(12)};
  for (const std::wstring& user : users) expected.push_back(StoreLine(user));
  expected.insert(expected.end(), {LogonFailedLine(users[0], 0x8004010e), kShuttingDown, kDone});
  const RunResult result = program.Wait();
  EXPECT_EQ(MainLines(result.output), expected);
  EXPECT_EQ(WorkerLines(result.output),
            (Strings{WorkerLine("Failed to open root folder", users[0], 0x8004010e)}));
  ExpectPause();
  EXPECT_EQ(Held(users), std::vector<std::wstring>{});
}

TEST_F(StoreLogonTest, FiveStoresAtATimeOnFiveThreadsWithASessionForEach) {
  AddRoot();
  const std::vector<std::wstring> users = AddStores(L"user", 13);
  Faults().DelayMatching("IMAPISession::OpenMsgStore", L"user", 1000);
  Strings expected = {CheckingLine(13)};
  for (const std::wstring& user : users) expected.push_back(StoreLine(user));
  expected.insert(expected.end(), {kAllOk, kShuttingDown, kDone});
  EXPECT_EQ(Check("-e user").output, Text(expected));

  EXPECT_EQ(lab::MaxInFlight(Journal(), "IMAPISession::OpenMsgStore"), 5U);
  ASSERT_EQ(CallsByWorker().size(), 5U);
  for (const auto& [thread, calls] : CallsByWorker()) {
    EXPECT_EQ(calls.front().call, "MAPIInitialize");
    EXPECT_EQ(calls.back().call, "MAPIUninitialize");
    EXPECT_EQ(lab::CallsOf(calls, "MAPIInitialize").size(), 1U);
    EXPECT_EQ(lab::CallsOf(calls, "MAPIUninitialize").size(), 1U);
    EXPECT_GE(lab::CallsOf(calls, "IMAPISession::OpenMsgStore").size(), 2U);
  }
  const Entries logons = WorkerCalls("MAPILogonEx");
  EXPECT_EQ(logons.size(), 13U);
  for (const auto& logon : logons) EXPECT_EQ(logon.Argument("flags"), kWorkerLogonFlags);
  std::set<uint32_t> sessions;
  for (const auto& open : Calls("IMAPISession::OpenMsgStore")) sessions.insert(open.object);
  EXPECT_EQ(sessions.size(), 14U);
  ExpectPause();
}

// Worker threads are as many as ever; jobs have only as many of them as there are users. None of
// the results is collected: whatever the workers say, nothing counts as failed.
class FewStoresTest : public StoreLogonTest, public ::testing::WithParamInterface<size_t> {};

TEST_P(FewStoresTest, UpToFiveFailuresAreToldByTheWorkersAndDoNotCount) {
  constexpr uint32_t kResults[] = {0x80004005, 0x80040600, 0x8004010f, 0x80070005, 0x8007000e};
  AddRoot();
  const std::vector<std::wstring> users = AddStores(L"user", GetParam());
  SlowDown(L"user", 1500);
  Strings expected = {CheckingLine(users.size())};
  Strings messages;
  for (size_t i = 0; i < users.size(); ++i) {
    Faults().FailMatching("IMAPISession::OpenMsgStore", users[i], kResults[i]);
    expected.push_back(StoreLine(users[i]));
    messages.push_back(WorkerLine("Failed to open delegate store", users[i], kResults[i]));
  }
  SetController(lab::ControllerState::kStopped);
  const RunResult result = Check("-e user -c");
  expected.insert(expected.end(), {kAllOk, kShuttingDown, kStartingController, kDone});
  EXPECT_EQ(MainLines(result.output), expected);
  EXPECT_EQ(WorkerLines(result.output), Sorted(messages));
  EXPECT_TRUE(lab::WaitForController(SERVICE_RUNNING));

  EXPECT_EQ(CallsByWorker().size(), 5U);
  std::set<uint32_t> used;
  for (const auto& logon : WorkerCalls("MAPILogonEx")) used.insert(logon.threadId);
  EXPECT_EQ(used.size(), users.size());
  ExpectPause();
}

INSTANTIATE_TEST_SUITE_P(, FewStoresTest, ::testing::Range(size_t{1}, size_t{6}),
                         [](const auto& test) { return "Of" + std::to_string(test.param); });

// A failure of the logon as a whole.
struct DispatcherFailure : NamedCase {
  std::function<void(lab::FaultPlan&)> plan;
  uint32_t result;
  std::string line;  // without the function's name
};

class DispatcherFailureTest : public StoreLogonTest,
                              public ::testing::WithParamInterface<DispatcherFailure> {};

TEST_P(DispatcherFailureTest, IsToldAndEndsTheCheckAtOnce) {
  AddRoot();
  Add(L"ann");
  GetParam().plan(Faults());
  SetController(lab::ControllerState::kStopped);
  EXPECT_EQ(Check("-c").output,
            Text({CheckingLine(2), "CStoreManager::LogonToStores: " + GetParam().line,
                  LogonToStoresFailedLine(GetParam().result), kDone}));
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_STOPPED});
  // No thread is started.
  EXPECT_EQ(Calls("MAPIInitialize").size(), 1U);
  const Entries journal = Journal();
  EXPECT_LT(journal.back().endMicros - journal.front().startMicros, 8'000'000U);
}

INSTANTIATE_TEST_SUITE_P(
    , DispatcherFailureTest,
    ::testing::Values(
        DispatcherFailure{"SessionLogon",
                          [](auto& plan) { plan.FailNth("MAPILogonEx", 1, 0x80040111); },
                          0x80040111, "MAPILogonEx failed : 0x80040111"},
        DispatcherFailure{
            "StoresTable",
            [](auto& plan) { plan.FailNth("IMAPISession::GetMsgStoresTable", 1, 0x8004011c); },
            0x8004011c, "GetMsgStoresTable failed : 0x8004011c"},
        DispatcherFailure{
            "StoresTableRows",
            [](auto& plan) { plan.FailNth("HrQueryAllRows@MsgStoresTable", 1, 0x8007000e); },
            0x8007000e, "HrQueryAllRows on MsgServiceTable failed : 0x8007000e"},
        DispatcherFailure{
            "DefaultStoreWithoutEntryId",
            [](auto& plan) { plan.FailEach("MsgStoresTable.Column.0FFF0102", 0x8004010e); },
            0x8004010f, "Failed to find default store"},
        DispatcherFailure{"DefaultStoreWithoutColumns",
                          [](auto& plan) { plan.FailNth("MsgStoresTable.ColumnCount", 1, 0); },
                          0x8004010f, "Failed to find default store"},
        DispatcherFailure{
            "DefaultStore",
            [](auto& plan) { plan.FailNth("IMAPISession::OpenMsgStore", 1, 0x80040600); },
            0x80040600, "Failed to open default store : 0x80040600"},
        DispatcherFailure{
            "ManageStore",
            [](auto& plan) { plan.FailNth("IMsgStore::QueryInterface", 1, 0x80004002); },
            0x80004002, "Failed query IExchangeManageStore interface : 0x80004002"}),
    kByName);

TEST_F(StoreLogonTest, AProfileWithoutADefaultStoreStartsNoThread) {
  AddRoot({.defaultStore = false});
  EXPECT_EQ(Check().output,
            Text({CheckingLine(1), "CStoreManager::LogonToStores: Failed to find default store",
                  "CheckQsf: LogonToStores failed : 0x8004010f", "Done"}));
  EXPECT_EQ(Calls("MAPIInitialize").size(), 1U);
  EXPECT_EQ(Calls("IMAPISession::OpenMsgStore").size(), 0U);
}

// The default store is looked for and opened even when there is nothing to check.
TEST_F(StoreLogonTest, AnEmptyProfileFailsForWantOfADefaultStore) {
  ASSERT_TRUE(profile_.Create());
  EXPECT_EQ(Check().output,
            Text({CheckingLine(0), "CStoreManager::LogonToStores: Failed to find default store",
                  "CheckQsf: LogonToStores failed : 0x8004010f", "Done"}));
}

TEST_F(StoreLogonTest, ADamagedDefaultStoreEndsTheCheck) {
  AddRoot();
  Add(L"ann");
  ASSERT_TRUE(lab::DamageQsf(StorePath(L"bes.qsf"), lab::QsfDamage::kHeader));
  EXPECT_EQ(Check("-e ann").output,
            Text({CheckingLine(1),
                  "CStoreManager::LogonToStores: Failed to open default store : 0x80040600",
                  "CheckQsf: LogonToStores failed : 0x80040600", "Done"}));
}

// The steps of a job, by what the journal shows of them.
enum Step { kLogon, kQuery, kEntryId, kOpen, kRoot, kInfoFolder, kSearchFolder, kContents, kSteps };

struct JobFailure : NamedCase {
  Step step;
  std::function<void(lab::FaultPlan&)> plan;
  uint32_t result;
  // The line's beginning; where `namesUser`, " for user '...'" follows.
  std::string line;
  bool namesUser = true;
};

// A job that fails while the other six take their time: its worker comes round again at once.
class JobFailureTest : public StoreLogonTest, public ::testing::WithParamInterface<JobFailure> {
 protected:
  // How many jobs have come to each step.
  std::vector<size_t> StepCounts() const {
    const auto folders = [this](const char* type) {
      Entries calls = WorkerCalls("IMAPIFolder::CreateFolder");
      std::erase_if(calls, [&](const auto& call) { return call.Argument("type") != type; });
      return calls.size();
    };
    return {WorkerCalls("MAPILogonEx").size(),
            WorkerCalls("IMsgStore::QueryInterface").size(),
            WorkerCalls("IExchangeManageStore::CreateStoreEntryID").size(),
            WorkerCalls("IMAPISession::OpenMsgStore").size(),
            WorkerCalls("IMsgStore::OpenEntry").size(),
            folders("0x1"),
            folders("0x2"),
            WorkerCalls("IMAPIFolder::GetContentsTable").size()};
  }

  // A logon names no user; the one who failed never comes to the entry ID.
  std::wstring WhoFailed(std::vector<std::wstring> users) const {
    if (GetParam().namesUser) return users[0];
    for (const auto& call : Calls("IExchangeManageStore::CreateStoreEntryID")) {
      std::erase(users, WideFromUtf8(call.Argument("mailbox")));
    }
    EXPECT_EQ(users.size(), 1U);
    return users.at(0);
  }
};

TEST_P(JobFailureTest, IsToldByTheWorkerEndsTheJobAndCountsWhenCollected) {
  AddRoot();
  std::vector<std::wstring> users = {L"user-victim@example.com"};
  Add(users[0]);
  for (const std::wstring& other : AddStores(L"user-slow", 6)) users.push_back(other);
  SlowDown(L"user-slow", 1500);
  GetParam().plan(Faults());
  SetController(lab::ControllerState::kStopped);
  const RunResult result = Check("-e user -c");

  const std::wstring failed = WhoFailed(users);
  Strings expected = {CheckingLine(7)};
  for (const std::wstring& user : users) expected.push_back(StoreLine(user));
  expected.insert(expected.end(),
                  {LogonFailedLine(failed, GetParam().result), kShuttingDown, kDone});
  EXPECT_EQ(MainLines(result.output), expected);
  const std::string user = GetParam().namesUser ? " for user '" + Utf8FromWide(failed) + "'" : "";
  EXPECT_EQ(WorkerLines(result.output), (Strings{"StoreLogonThread: " + GetParam().line + user +
                                                 " : " + lab::HexNumber(GetParam().result)}));
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_STOPPED});

  std::vector<size_t> steps(kSteps, 6);
  std::fill(steps.begin(), steps.begin() + GetParam().step + 1, 7);
  EXPECT_EQ(StepCounts(), steps);
  ExpectPause();
}

// The dispatcher's own logon and query come first; the first two folders are the victim's.
INSTANTIATE_TEST_SUITE_P(
    , JobFailureTest,
    ::testing::Values(
        JobFailure{"SessionLogon", kLogon,
                   [](auto& plan) { plan.FailNth("MAPILogonEx", 2, 0x80040111); }, 0x80040111,
                   "MAPILogonEx failed", false},
        JobFailure{"ManageStore", kQuery,
                   [](auto& plan) { plan.FailNth("IMsgStore::QueryInterface", 2, 0x80004002); },
                   0x80004002, "Failed query IExchangeManageStore interface", false},
        JobFailure{"EntryId", kEntryId,
                   [](auto& plan) {
                     plan.FailMatching("IExchangeManageStore::CreateStoreEntryID", L"victim",
                                       0x80040102);
                   },
                   0x80040102, "Failed to CreateStoreEntryID"},
        JobFailure{"StoreOpen", kOpen,
                   [](auto& plan) {
                     plan.FailMatching("IMAPISession::OpenMsgStore", L"victim", 0x80040115);
                   },
                   0x80040115, "Failed to open delegate store"},
        JobFailure{
            "RootFolder", kRoot,
            [](auto& plan) { plan.FailMatching("IMsgStore::OpenEntry", L"victim", 0x8004010f); },
            0x8004010f, "Failed to open root folder"},
        JobFailure{"FirstFolder", kInfoFolder,
                   [](auto& plan) {
                     plan.FailMatching("IMAPIFolder::CreateFolder", L"victim", 0x80070005);
                   },
                   0x80070005, "Failed to open BlackBerryHandHeldInfo folder"},
        JobFailure{"SearchFolder", kSearchFolder,
                   [](auto& plan) { plan.FailNth("IMAPIFolder::CreateFolder", 2, 0x80040604); },
                   0x80040604, "Failed to open BlackBerryMsgOnDeviceSearchFolder folder"},
        JobFailure{"ContentsTable", kContents,
                   [](auto& plan) {
                     plan.FailMatching("IMAPIFolder::GetContentsTable", L"victim", 0x80040116);
                   },
                   0x80040116, "Failed to get BlackBerryHandHeldInfo contents table"}),
    kByName);

// A worker's own MAPI initialisation is not looked at: its jobs' logons fail for it.
TEST_F(StoreLogonTest, WorkersWithoutMapiFailInTheLogon) {
  AddRoot();
  const std::vector<std::wstring> users = AddStores(L"user", 2);
  for (uint32_t n = 2; n <= 6; ++n) Faults().FailNth("MAPIInitialize", n, 0x80004005);
  const RunResult result = Check("-e user");
  EXPECT_EQ(WorkerLines(result.output),
            Strings(2, "StoreLogonThread: MAPILogonEx failed : 0x80040605"));
  EXPECT_EQ(CountLines(result.output, kShuttingDown), 1);
  EXPECT_EQ(Calls("MAPIUninitialize").size(), 6U);
}

// However many threads print, lines stay whole; the failures of all jobs but the last of each
// worker count, and are reported in the order of the stores.
TEST_F(StoreLogonTest, SixtyFailingStoresWithLongAddressesGiveWholeLines) {
  AddRoot();
  const std::vector<std::wstring> users = AddStores(std::wstring(150, L'x') + L"user", 60);
  Faults().FailMatching("IExchangeManageStore::CreateStoreEntryID", L"user", 0x8004010f);
  const RunResult result = Check("-e user");

  const std::set<std::string> last = LastMailboxes();
  Strings expected = {CheckingLine(60)};
  Strings messages;
  for (const std::wstring& user : users) {
    expected.push_back(StoreLine(user));
    messages.push_back(WorkerLine("Failed to CreateStoreEntryID", user, 0x8004010f));
  }
  for (const std::wstring& user : users) {
    if (!last.contains(Utf8FromWide(user))) expected.push_back(LogonFailedLine(user, 0x8004010f));
  }
  expected.insert(expected.end(), {kShuttingDown, kDone});
  EXPECT_EQ(MainLines(result.output), expected);
  EXPECT_EQ(WorkerLines(result.output), Sorted(messages));
}

TEST_F(StoreLogonTest, CtrlCBeforeDispatchingHandsOutNoJob) {
  AddRoot();
  AddStores(L"user", 3);
  Faults().DelayNth("IProfAdmin::AdminServices", 1, kTimeForCtrlC);
  RunningProgram program = StartCheck("-v -c");
  ASSERT_TRUE(program.WaitForOutput("The Control Handler is installed."));
  ASSERT_TRUE(program.SendCtrlC());
  EXPECT_EQ(program.Wait().output,
            Text({"The Control Handler is installed.", kUserBreak, CheckingLine(4),
                  LogonToStoresFailedLine(kUserCancel), kDone, "Exiting."}));
  // The threads are started and stopped, as there was no time to see the break before.
  EXPECT_EQ(CallsByWorker().size(), 5U);
  EXPECT_EQ(WorkerCalls("MAPILogonEx").size(), 0U);
  ExpectNoPause();
}

TEST_F(StoreLogonTest, CtrlCWhileDispatchingLetsRunningJobsFinishAndHandsOutNoMore) {
  AddRoot();
  const std::vector<std::wstring> users = AddStores(L"user", 12);
  SlowDown(L"user", kTimeForCtrlC);
  Faults().FailMatching("IMAPISession::OpenMsgStore", L"user02", 0x80040600);
  SetController(lab::ControllerState::kStopped);
  RunningProgram program = StartCheck("-e user -c");
  ASSERT_TRUE(program.WaitForOutput(StoreLine(users[4]) + "\r\n"));
  ASSERT_TRUE(program.SendCtrlC());
  const RunResult result = program.Wait();

  Strings expected = {CheckingLine(12)};
  for (size_t i = 0; i < 5; ++i) expected.push_back(StoreLine(users[i]));
  expected.insert(expected.end(), {kUserBreak, LogonToStoresFailedLine(kUserCancel), kDone});
  EXPECT_EQ(MainLines(result.output), expected);
  EXPECT_EQ(WorkerLines(result.output),
            (Strings{WorkerLine("Failed to open delegate store", users[1], 0x80040600)}));
  EXPECT_EQ(WorkerCalls("MAPILogonEx").size(), 5U);
  EXPECT_EQ(Calls("IMAPIFolder::GetContentsTable").size(), 4U);
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_STOPPED});
  ExpectNoPause();
}

// The break is looked at only before a job is handed out: now it is too late for it.
TEST_F(StoreLogonTest, CtrlCInThePauseChangesNothing) {
  AddRoot();
  Add(L"user");
  SetController(lab::ControllerState::kStopped);
  RunningProgram program = StartCheck("-e user -c");
  ASSERT_TRUE(WaitForWorkersEnd());
  std::this_thread::sleep_for(milliseconds(500));
  ASSERT_TRUE(program.SendCtrlC());
  EXPECT_EQ(program.Wait().output,
            Text({CheckingLine(1), StoreLine(L"user@example.com"), kUserBreak, kAllOk,
                  kShuttingDown, kStartingController, kDone}));
  EXPECT_TRUE(lab::WaitForController(SERVICE_RUNNING));
  ExpectPause();
}

// Without a job to hand out the break is never looked at.
TEST_F(StoreLogonTest, CtrlCBeforeAnEmptyCheckChangesNothing) {
  AddRoot();
  Faults().DelayNth("IProfAdmin::AdminServices", 1, kTimeForCtrlC);
  RunningProgram program = StartCheck("-v -e nobody");
  ASSERT_TRUE(program.WaitForOutput("The Control Handler is installed."));
  ASSERT_TRUE(program.SendCtrlC());
  EXPECT_EQ(program.Wait().output,
            Text({"The Control Handler is installed.", kUserBreak, CheckingLine(0), kAllOk,
                  kShuttingDown, kDone, "Exiting."}));
  ExpectPause();
}

// What the dispatching adds to the stores' own time: a check of 100 stores of 50 ms each on five
// threads, against the 1000 ms that these take at the least.
class StoreLogonSpeedTest : public StoreLogonTest {
 protected:
  static constexpr std::chrono::microseconds kIdeal = milliseconds(100 * 50 / 5);
  static constexpr std::chrono::microseconds kBar = kIdeal * 11 / 10;
  // What the lab needs for an open of 50 ms on a machine that has nothing else to do, at the most.
  static constexpr std::chrono::microseconds kQuietOpen{50450};

  struct Measured {
    // From the first call for a store to the end of the last open.
    std::chrono::microseconds dispatch;
    std::chrono::microseconds meanOpen;
  };

  Measured Measure() {
    ClearJournal();
    EXPECT_EQ(CountLines(Check("-e user").output, kAllOk), 1);
    const Entries opens = WorkerCalls("IMAPISession::OpenMsgStore");
    EXPECT_EQ(opens.size(), 100U);
    uint64_t start = UINT64_MAX;
    for (const auto& logon : WorkerCalls("MAPILogonEx")) start = std::min(start, logon.startMicros);
    uint64_t end = 0;
    uint64_t sum = 0;
    for (const auto& open : opens) {
      end = std::max(end, open.endMicros);
      sum += open.endMicros - open.startMicros;
    }
    const Measured measured = {std::chrono::microseconds(end - start),
                               std::chrono::microseconds(sum / opens.size())};
    std::cout << "dispatch phase: " << measured.dispatch.count() << " us, ideal " << kIdeal.count()
              << " us; mean open: " << measured.meanOpen.count() << " us\n";
    return measured;
  }
};

TEST_F(StoreLogonSpeedTest, HundredStoresTakeATenthMoreThanTheIdealAtMost) {
  AddRoot();
  AddStores(L"user", 100);
  Faults().DelayMatching("IMAPISession::OpenMsgStore", L"user", 50);
  Measured best = Measure();
  // A second try, for a machine that was busy with something else.
  if (best.dispatch > kBar) {
    const Measured again = Measure();
    if (again.dispatch < best.dispatch) best = again;
  }
  if (best.dispatch > kBar && best.meanOpen > kQuietOpen) {
    GTEST_SKIP() << "the machine is too busy: what sleeps for 50 ms takes much more";
  }
  EXPECT_LE(best.dispatch, kBar);
}

}  // namespace
}  // namespace e2e
