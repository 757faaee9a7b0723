// -checkQsf: which stores it opens, what it says of them, and what becomes of them and of the
// controller service.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <vector>

#include "lab/common/qsf_file.h"
#include "lab/common/text.h"
#include "tests/e2e/check_qsf_frame.h"
#include "tests/e2e/support/mapi_holder.h"

namespace e2e {
namespace {

using Folders = std::vector<lab::QsfFolder>;

const Folders kConnectorFolders = {{L"BlackBerryHandheldInfo", false},
                                   {L"BlackBerryMsgOnDeviceSearchFolder", true}};

class CheckQsfTest : public CheckQsfFrame {
 protected:
  // What a check prints that finds every store in order: the stores in their order.
  static std::string SoundCheck(const std::vector<std::wstring>& addresses) {
    Strings lines = {CheckingLine(addresses.size())};
    for (const std::wstring& address : addresses) lines.push_back(StoreLine(address));
    lines.insert(lines.end(), {kAllOk, kShuttingDown, kDone});
    return Text(lines);
  }

  static lab::QsfContent ReadStore(const std::wstring& file) {
    lab::QsfContent content;
    EXPECT_EQ(lab::ReadQsf(file, &content), lab::QsfStatus::kOk) << Utf8FromWide(file);
    return content;
  }
};

TEST_F(CheckQsfTest, SoundStoresGetTheirFoldersAndTheControllerIsStarted) {
  AddRoot();
  const lab::Service ann = Add(L"Ann@Example.com");
  Add(L"gone", {.withFile = false});
  AddEmbedded(L"bob", ann);
  SetController(lab::ControllerState::kStopped);

  const RunResult result = Check("-c -v");
  EXPECT_EQ(result.output,
            Text({"The Control Handler is installed.", "CheckQsf: Checking 4 MAPI stores...",
                  "Checking store for 'bes@example.com'", "Checking store for 'ann@example.com'",
                  "Checking store for 'gone@example.com'", "Checking store for 'bob@example.com'",
                  "All stores are OK", "Shutting down stores...",
                  "Starting BlackBerry Controller Service.", "Done", "Exiting."}));
  EXPECT_EQ(result.exitCode, 0U);
  EXPECT_EQ(result.errorOutput, "");
  EXPECT_TRUE(lab::WaitForController(SERVICE_RUNNING));

  EXPECT_EQ(ReadStore(StorePath(L"bes.qsf")).main.folders, kConnectorFolders);
  // The store file that was missing has been made anew.
  EXPECT_EQ(ReadStore(FileOf(L"gone")).main.folders, kConnectorFolders);
  const lab::QsfContent annsFile = ReadStore(FileOf(L"Ann"));
  EXPECT_EQ(annsFile.main.folders, kConnectorFolders);
  ASSERT_EQ(annsFile.embedded.size(), 1U);
  EXPECT_EQ(annsFile.embedded[0].owner, L"bob@example.com");
  EXPECT_EQ(annsFile.embedded[0].folders, kConnectorFolders);
  ExpectPause();
}

// The profile's default store is another product's. The service that cannot be started is told
// before the line that says so.
TEST_F(CheckQsfTest, AProfileWithoutConnectorStoresIsOkAfterThePause) {
  AddRoot({.serviceName = L"OTHERMS"});
  EXPECT_EQ(Check("-c").output,
            Text({"CheckQsf: Checking 0 MAPI stores...", "All stores are OK",
                  "Shutting down stores...", "ServiceStartSvc. OpenService failed (1060)",
                  "Starting BlackBerry Controller Service.", "Done"}));
  // All five threads start and stop without a job.
  EXPECT_EQ(CallsByWorker().size(), 5U);
  EXPECT_EQ(WorkerCalls("MAPILogonEx").size(), 0U);
  ExpectPause();
}

// Addresses are kept in lower case and filters as they were typed.
TEST_F(CheckQsfTest, AFilterWithCapitalLettersMatchesNothing) {
  AddRoot();
  Add(L"Ann@Example.com");
  EXPECT_EQ(Check("-e Ann@Example.com ANN nobody *").output, SoundCheck({}));
  ExpectPause();
}

// Stores stand in the order of their entry IDs, whatever the filters' order, embedded ones among
// them; two stores of one address are two stores, and a store that two filters match is one.
TEST_F(CheckQsfTest, FiltersTakeEachMatchingStoreOnceInTheOrderOfTheStores) {
  AddRoot({.order = 50});
  const lab::Service ann = Add(L"ann", {.order = 40});
  Add(L"zoe", {.order = 10});
  Add(L"carl@elsewhere.org", {.order = 20});
  AddEmbedded(L"Hannah", ann, {.order = 30});
  AddEmbedded(L"ann", ann, {.order = 60});
  Add(L"\u00c4rzte", {.order = 70});
  EXPECT_EQ(Check("-e zoe ann an \u00c4 \u00e4 example.comx").output,
            SoundCheck({L"zoe@example.com", L"hannah@example.com", L"ann@example.com",
                        L"ann@example.com", L"\u00c4rzte@example.com"}));
  // Opened twice, the folders are still there once.
  EXPECT_EQ(ReadStore(FileOf(L"ann")).main.folders, kConnectorFolders);
}

TEST_F(CheckQsfTest, AnEmptyFilterMatchesEveryStore) {
  AddRoot();
  Add(L"ann");
  Add(L"bob@elsewhere.org");
  EXPECT_EQ(Check("-e nobody \"\"").output,
            SoundCheck({kRootAddress, L"ann@example.com", L"bob@elsewhere.org"}));
}

// Whatever characters an address has it is shown, and so is everything behind it. The mailbox is
// named in the ANSI code page; the connector has none whose name that cannot hold.
TEST_F(CheckQsfTest, AddressesOutsideAsciiAreShownAndPassedInTheCodePage) {
  AddRoot();
  const std::vector<std::wstring> users = {L"m\u00fcller@user.com", L"\u65e5\u672c\u8a9e@user.com",
                                           L"\u0434\u043c\u0438\u0442\u0440\u0438\u0439@user.com",
                                           L"\U0001f600@user.com", L"zed@user.com"};
  Strings mailboxes;
  Strings expected = {CheckingLine(users.size())};
  Strings messages;
  for (const std::wstring& user : users) {
    Add(user);
    const std::wstring mailbox = lab::WideFromNarrow(lab::NarrowFromWide(user));
    mailboxes.push_back(Utf8FromWide(mailbox));
    expected.push_back(StoreLine(user));
    if (mailbox == user) continue;
    messages.push_back(WorkerLine("Failed to open delegate store", user, 0x8004010f));
  }
  Faults().DelayEach("IExchangeManageStore::CreateStoreEntryID", 1000);
  expected.insert(expected.end(), {kAllOk, kShuttingDown, kDone});
  const RunResult result = Check("-e user");
  EXPECT_EQ(MainLines(result.output), expected);
  EXPECT_EQ(WorkerLines(result.output), Sorted(messages));
  Strings passed;
  for (const auto& call : Calls("IExchangeManageStore::CreateStoreEntryID")) {
    passed.push_back(call.Argument("mailbox"));
  }
  EXPECT_EQ(Sorted(passed), Sorted(mailboxes));
}

// Failed stores whose workers come round again: each counts, with its own result, in the order of
// the stores, and the controller stays as it is.
TEST_F(CheckQsfTest, FailedStoresAreReportedAndTheControllerIsNotStarted) {
  AddRoot();
  const lab::Service damaged = Add(L"user-damaged");
  Add(L"user-locked");
  AddEmbedded(L"user-embedded", damaged);
  const std::vector<std::wstring> slow = AddStores(L"user-slow", 9);
  Faults().DelayMatching("IExchangeManageStore::CreateStoreEntryID", L"slow", 1500);
  ASSERT_TRUE(lab::DamageQsf(FileOf(L"user-damaged"), lab::QsfDamage::kTruncated));
  const lab::QsfLock lock(FileOf(L"user-locked"));
  ASSERT_TRUE(lock.Held());
  SetController(lab::ControllerState::kStopped);

  const RunResult result = Check("-e user -c");
  Strings expected = {"CheckQsf: Checking 12 MAPI stores...",
                      "Checking store for 'user-damaged@example.com'",
                      "Checking store for 'user-locked@example.com'",
                      "Checking store for 'user-embedded@example.com'"};
  for (const std::wstring& address : slow) expected.push_back(StoreLine(address));
  expected.insert(expected.end(),
                  {"CheckQsf: Logon failed for 'user-damaged@example.com' : 0x80040600",
                   "CheckQsf: Logon failed for 'user-locked@example.com' : 0x80070005",
                   "CheckQsf: Logon failed for 'user-embedded@example.com' : 0x80040600",
                   "Shutting down stores...", "Done"});
  EXPECT_EQ(MainLines(result.output), expected);
  EXPECT_EQ(
      WorkerLines(result.output),
      Sorted(
          {WorkerLine("Failed to open delegate store", L"user-damaged@example.com", 0x80040600),
           WorkerLine("Failed to open delegate store", L"user-locked@example.com", 0x80070005),
           WorkerLine("Failed to open delegate store", L"user-embedded@example.com", 0x80040600)}));
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_STOPPED});
  ExpectPause();
}

// The cache goes without a store whose path is missing, and says so; that is no failure, even when
// it is the last and leaves a status other than zero. An orphan is still checked in this run.
TEST_F(CheckQsfTest, StoresThatTheCacheCannotTakeAreLeftOutAndOrphansAreChecked) {
  AddRoot();
  AddOrphan(L"orphan");
  Add(L"pathless", {.withPath = false});
  EXPECT_EQ(Check().output,
            Text({"CStoreManager::LoadCache: Failed to get PR_PST_PATH for the store "
                  "'pathless@example.com' : 0x8004010f",
                  "Serious error: *** Parent store not found for 'orphan@example.com' ***",
                  "Deleting orphan embedded store.", "DeleteMsgService : 0x0",
                  "CheckQsf: Checking 2 MAPI stores...", "Checking store for 'bes@example.com'",
                  "Checking store for 'orphan@example.com'", "All stores are OK",
                  "Shutting down stores...", "Done"}));
}

// The lines of the failed call come first, then the command's own; nothing is opened, and nothing
// started.
TEST_F(CheckQsfTest, AFailingLoadOfTheCacheEndsTheCheck) {
  AddRoot();
  SetController(lab::ControllerState::kStopped);
  Faults().FailNth("IProfAdmin::AdminServices", 1, 0x80040111);
  EXPECT_EQ(Check("-c").output,
            Text({"CStoreManager::LoadCache: AdminServices failed : 0x80040111",
                  "CheckQsf: storeManager LoadCache failed : 0x80040111", "Done"}));
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_STOPPED});
  EXPECT_EQ(Calls("MAPILogonEx").size(), 0U);
}

TEST_F(CheckQsfTest, ALastServiceWithoutAnAddressFailsTheLoadWithoutALineOfItsOwn) {
  AddRoot();
  Add(L"nameless", {.withAddress = false});
  EXPECT_EQ(Check().output, Text({"CheckQsf: storeManager LoadCache failed : 0x8004010f", "Done"}));
}

TEST_F(CheckQsfTest, TheControlHandlerIsInstalledBeforeTheCacheIsLoaded) {
  Faults().FailNth("MAPIAdminProfiles", 1, 0x8007000e);
  EXPECT_EQ(Check("-v").output,
            Text({"The Control Handler is installed.",
                  "CStoreManager::LoadCache: MAPIAdminProfiles failed : 0x8007000e",
                  "CheckQsf: storeManager LoadCache failed : 0x8007000e", "Done", "Exiting."}));
}

// Neither of these gets as far as "Done".
TEST_F(CheckQsfTest, MapiThatDoesNotInitialiseEndsTheCommand) {
  AddRoot();
  Faults().FailNth("MAPIInitialize", 1, 0x80040605);
  const RunResult result = Check("-c");
  EXPECT_EQ(result.output, Text({kNoMapi}));
  EXPECT_EQ(result.exitCode, 0U);
  EXPECT_EQ(Journal().size(), 1U);
}

TEST_F(CheckQsfTest, ProgramsThatUseMapiKeepTheCheckFromRunning) {
  AddRoot();
  const MapiHolder holder(L"Zeta.exe");
  const RunResult result = Check("-c");
  EXPECT_EQ(Lines(result.output).back(), "Zeta.exe");
  EXPECT_EQ(CountLines(result.output, kDone), 0);
  EXPECT_EQ(Journal().size(), 0U);
}

}  // namespace
}  // namespace e2e
