// -compactQsf: which stores are compacted, what the connector is told, what becomes of the dialogs
// that it shows meanwhile, and what is printed.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "lab/common/compaction_plan.h"
#include "lab/common/dialog_record.h"
#include "lab/common/installation.h"
#include "lab/common/qsf_file.h"
#include "src/platform/handle.h"
#include "tests/e2e/common_lines.h"
#include "tests/e2e/support/desktop.h"
#include "tests/e2e/support/lab_test.h"
#include "tests/e2e/support/mapi_holder.h"
#include "tests/e2e/support/named_case.h"
#include "tests/e2e/support/output.h"
#include "tests/e2e/usage_text.h"

namespace e2e {
namespace {

using lab::CompactionPlan;
using lab::DialogEnd;
using lab::DialogTime;

constexpr uint32_t kFreeBytes = 4096;
constexpr char kConfigure[] = "IMsgServiceAdmin::ConfigureMsgService";

std::string Address(const std::string& name) { return name + "@example.com"; }

// What is printed of a store that was compacted, and of one that was not.
std::string Compacted(const std::string& name) {
  return Text({"compacting " + Address(name), "Compacting done"});
}
std::string Failed(const std::string& name, const std::string& result) {
  return Text(
      {"compacting " + Address(name), "Compact failed for '" + Address(name) + "' : " + result});
}

class CompactQsfTest : public LabTest {
 protected:
  void SetUp() override {
    LabTest::SetUp();
    KeepDesktop();
  }

  // A store with free space.
  lab::Service Add(const std::wstring& name, lab::StoreOptions options = {}) const {
    options.freeBytes = kFreeBytes;
    return LabTest::Add(name, options);
  }

  static Words Arguments(const Words& more = {}) { return "-compactQsf -p Main" + more; }

  // Compacts the profile's stores, with more arguments behind the profile's name.
  std::string Compact(const Words& more = {}) { return Run(Arguments(more)); }

  void Plan(const CompactionPlan& plan) const { ASSERT_TRUE(plan.Save(Directory().wstring())); }

  // Whether the store file of <name> holds no free space any more.
  bool IsCompact(const std::wstring& name) const {
    lab::QsfContent content;
    EXPECT_EQ(lab::ReadQsf(StorePath(name + L".qsf"), &content), lab::QsfStatus::kOk);
    return content.freeBytes == 0;
  }

  // The windows shown for a store, in the order in which they appeared.
  std::vector<lab::DialogRecord> DialogsFor(const std::wstring& name) const {
    return lab::DialogsOf(Journal(), name + L"@example.com");
  }
  lab::DialogRecord Dialog(const std::wstring& name, const std::wstring& title) const {
    for (const lab::DialogRecord& record : DialogsFor(name)) {
      if (record.title == title) return record;
    }
    ADD_FAILURE() << "no window " << Utf8FromWide(title);
    return {};
  }

  // The UIDs of the services that were told to compact, in order.
  Strings ToldServices() const {
    Strings uids;
    for (const auto& call : Calls(kConfigure)) uids.push_back(call.Argument("uid"));
    return uids;
  }
};

// Which stores.

TEST_F(CompactQsfTest, WithoutAListEveryStoreFileIsCompacted) {
  AddRoot({.freeBytes = kFreeBytes});
  Add(L"ann");
  Add(L"bob");
  EXPECT_EQ(Compact(), Compacted("bes") + Compacted("ann") + Compacted("bob"));
  for (const wchar_t* name : {L"bes", L"ann", L"bob"}) EXPECT_TRUE(IsCompact(name));
}

TEST_F(CompactQsfTest, TheFileLosesItsFreeSpaceAndKeepsTheRest) {
  Add(L"ann");
  const std::wstring file = StorePath(L"ann.qsf");
  lab::QsfContent content;
  ASSERT_EQ(lab::ReadQsf(file, &content), lab::QsfStatus::kOk);
  const uint64_t size = lab::QsfSize(file).value();
  Compact();
  EXPECT_LE(lab::QsfSize(file).value() + kFreeBytes, size);
  lab::QsfContent after;
  ASSERT_EQ(lab::ReadQsf(file, &after), lab::QsfStatus::kOk);
  EXPECT_EQ(after.messageSizes, content.messageSizes);
  EXPECT_EQ(after.entryId, content.entryId);
}

TEST_F(CompactQsfTest, StoresComeInTheOrderOfTheirEntryIds) {
  Add(L"zoe", {.order = 2});
  Add(L"ann", {.order = 3});
  Add(L"kim", {.order = 1});
  EXPECT_EQ(Compact("-e ann zoe kim"), Compacted("kim") + Compacted("zoe") + Compacted("ann"));
}

TEST_F(CompactQsfTest, EmbeddedStoresAreNeverCompacted) {
  const lab::Service ann = Add(L"ann");
  AddEmbedded(L"bob", ann);
  AddEmbedded(L"annabel", ann);
  EXPECT_EQ(Compact(), Compacted("ann"));
  EXPECT_EQ(Compact("-e ann bob"), Compacted("ann"));
}

TEST_F(CompactQsfTest, AFragmentOfEmbeddedStoresOnlyPrintsNothing) {
  AddEmbedded(L"bob", Add(L"ann"));
  EXPECT_EQ(Compact("-e bob"), "");
  EXPECT_TRUE(Calls(kConfigure).empty());
  EXPECT_FALSE(IsCompact(L"ann"));
}

TEST_F(CompactQsfTest, AProfileWithoutStoresPrintsNothing) {
  ASSERT_TRUE(profile_.Create());
  EXPECT_EQ(Compact(), "");
}

TEST_F(CompactQsfTest, AnAddressWrittenInCapitalsIsShownInLowerCase) {
  Add(L"ANN@Example.com");
  EXPECT_EQ(Compact("-e ann@"), Compacted("ann"));
  EXPECT_EQ(Compact("-e ANN@"), "");
}

TEST_F(CompactQsfTest, AnAddressOutsideTheCodePageIsShown) {
  Add(L"\u4e2d");
  Plan(CompactionPlan().Fails(L"*", 0x80004005));
  EXPECT_EQ(Compact(), Failed("\u4e2d", "0x80004005"));
}

struct FragmentCase : NamedCase {
  Words fragments;
  // Of ann@example.com, joanna@example.com and zoe@example.com.
  Strings compacted;
};

class CompactQsfFragmentTest : public CompactQsfTest,
                               public ::testing::WithParamInterface<FragmentCase> {};

TEST_P(CompactQsfFragmentTest, SelectsTheStoresWhoseAddressContainsIt) {
  for (const wchar_t* name : {L"ann", L"joanna", L"zoe"}) Add(name);
  Plan(CompactionPlan().Takes(L"*", 0));
  std::string expected;
  for (const std::string& name : GetParam().compacted) expected += Compacted(name);
  EXPECT_EQ(Compact("-e" + GetParam().fragments), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Fragments, CompactQsfFragmentTest,
    ::testing::Values(FragmentCase{"None", {}, {"ann", "joanna", "zoe"}},
                      FragmentCase{"WholeAddress", "zoe@example.com", {"zoe"}},
                      FragmentCase{"Inside", "nna@", {"joanna"}},
                      FragmentCase{"SeveralMatches", "ann", {"ann", "joanna"}},
                      FragmentCase{"TwoMatchingOneStore", "joa nna@", {"joanna"}},
                      FragmentCase{"SecondOneMatches", "nobody zoe", {"zoe"}},
                      FragmentCase{"Empty", "\"\"", {"ann", "joanna", "zoe"}},
                      FragmentCase{"EmptyAmongOthers", "nobody \"\"", {"ann", "joanna", "zoe"}},
                      FragmentCase{"UpperCase", "ANN Zoe", {}},
                      FragmentCase{"UpperCaseBesideLowerCase", "ZOE ann@", {"ann"}},
                      FragmentCase{"Unknown", "nobody", {}}, FragmentCase{"NoPattern", "* zo?", {}},
                      FragmentCase{"TwoLists", "zoe -e joa", {"joanna", "zoe"}},
                      FragmentCase{"ASwitchEndsTheList", "zoe -x joa", {"zoe"}}),
    kByName);

// What the connector is told.

TEST_F(CompactQsfTest, TheConnectorIsAskedForCompactionOfEachService) {
  const lab::Service ann = Add(L"ann");
  const lab::Service bob = Add(L"bob");
  Compact();
  EXPECT_EQ(ToldServices(), (Strings{lab::UidText(ann.uid), lab::UidText(bob.uid)}));
  for (const auto& call : Calls(kConfigure)) {
    EXPECT_EQ(call.Argument("flags"), "0x2");
    EXPECT_EQ(call.Argument("count"), "0x1");
    EXPECT_EQ(call.Argument("tag"), "0x6666000d");
    EXPECT_EQ(call.Argument("value"), "0x0");
  }
}

TEST_F(CompactQsfTest, EachStoreHasAThreadThatStartsAndEndsMapi) {
  Add(L"ann");
  Add(L"bob");
  Compact();
  const auto starts = Calls("MAPIInitialize");
  const auto ends = Calls("MAPIUninitialize");
  const auto compactions = Calls(kConfigure);
  ASSERT_EQ(starts.size(), 3U);
  ASSERT_EQ(ends.size(), 3U);
  ASSERT_EQ(compactions.size(), 2U);
  for (size_t i = 0; i < 2; ++i) {
    EXPECT_NE(compactions[i].threadId, starts[0].threadId);
    EXPECT_EQ(compactions[i].threadId, starts[i + 1].threadId);
    EXPECT_EQ(compactions[i].threadId, ends[i].threadId);
    EXPECT_GE(ends[i].startMicros, compactions[i].endMicros);
  }
}

TEST_F(CompactQsfTest, TheProfileIsOpenedForTheRunAndAgainForEachStore) {
  Add(L"ann");
  Add(L"bob");
  Compact();
  // Once for the cache, once for the run, once for each store.
  EXPECT_EQ(Calls("MAPIAdminProfiles").size(), 4U);
  const auto opened = Calls("IProfAdmin::AdminServices");
  ASSERT_EQ(opened.size(), 4U);
  for (const auto& call : opened) {
    EXPECT_EQ(call.Argument("profile"), "Main");
    EXPECT_EQ(call.Argument("password"), "NULL");
    EXPECT_EQ(call.Argument("parent"), "0x0");
    EXPECT_EQ(call.Argument("flags"), "0x80000000");
  }
}

TEST_F(CompactQsfTest, OneStoreAtATime) {
  for (const wchar_t* name : {L"ann", L"bob", L"cid"}) Add(name);
  Plan(CompactionPlan().Takes(L"*", 250));
  Compact();
  EXPECT_EQ(Calls(kConfigure).size(), 3U);
  EXPECT_EQ(lab::MaxInFlight(Journal(), kConfigure), 1U);
  // Nor does a thread begin before the one before it is done.
  const auto starts = Calls("MAPIInitialize");
  const auto ends = Calls("MAPIUninitialize");
  for (size_t i = 0; i < 2; ++i) EXPECT_GE(starts.at(i + 2).startMicros, ends.at(i).endMicros);
}

// A window of the test's own.
using OwnWindow = platform::UniqueHandle<HWND, &DestroyWindow>;

OwnWindow ShowWindowOnTop(const wchar_t* windowClass, const wchar_t* title) {
  OwnWindow window(CreateWindowExW(WS_EX_TOPMOST, windowClass, title, WS_POPUP | WS_VISIBLE, 0, 0,
                                   100, 50, nullptr, nullptr, GetModuleHandleW(nullptr), nullptr));
  EXPECT_TRUE(window) << "error " << GetLastError();
  SetWindowPos(window.Get(), HWND_TOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
  return window;
}

TEST_F(CompactQsfTest, TheParentIsTheTopWindowOfTheRunsBeginning) {
  Add(L"ann");
  Add(L"bob");
  Plan(CompactionPlan().Takes(L"ann", 1500));
  const OwnWindow first = ShowWindowOnTop(L"STATIC", L"first");
  ASSERT_EQ(GetTopWindow(nullptr), first.Get());
  RunningProgram program = StartAdmin(Arguments());
  ASSERT_TRUE(program.WaitForOutput("compacting ann@example.com\r\n"));
  const OwnWindow second = ShowWindowOnTop(L"STATIC", L"second");
  ASSERT_EQ(GetTopWindow(nullptr), second.Get());
  EXPECT_EQ(program.Wait().output, Compacted("ann") + Compacted("bob"));
  const auto calls = Calls(kConfigure);
  ASSERT_EQ(calls.size(), 2U);
  for (const auto& call : calls) {
    EXPECT_EQ(std::stoull(call.Argument("parent"), nullptr, 16),
              reinterpret_cast<uintptr_t>(first.Get()));
    EXPECT_EQ(call.Argument("parent-is"), "other-process");
  }
}

// The dialogs.

class CompactQsfTitleTest : public CompactQsfTest,
                            public ::testing::WithParamInterface<const wchar_t*> {};

TEST_P(CompactQsfTitleTest, MarksTheDialogThatIsLeftOpen) {
  Add(L"ann");
  Plan(CompactionPlan().Takes(L"*", 600).Title(L"*", GetParam()));
  EXPECT_EQ(Compact(), Compacted("ann"));
  const lab::DialogRecord dialog = Dialog(L"ann", GetParam());
  EXPECT_TRUE(dialog.closeMicros.empty());
  EXPECT_EQ(dialog.end, DialogEnd::kByItself);
  EXPECT_TRUE(IsCompact(L"ann"));
}

INSTANTIATE_TEST_SUITE_P(Titles, CompactQsfTitleTest,
                         ::testing::Values(L"Compact Now", L"compact now", L"COMPACT NOW",
                                           L"cOMPACT nOW"));

class CompactQsfOtherTitleTest : public CompactQsfTest,
                                 public ::testing::WithParamInterface<const wchar_t*> {};

TEST_P(CompactQsfOtherTitleTest, MarksADialogThatIsClosed) {
  Add(L"ann");
  Plan(CompactionPlan().Takes(L"*", 20000).Title(L"*", GetParam()));
  // Closing the compaction's own dialog is the user's cancelling.
  EXPECT_EQ(Compact(), Failed("ann", "0x80040113"));
  EXPECT_EQ(Dialog(L"ann", GetParam()).end, DialogEnd::kClosedFromOutside);
  EXPECT_FALSE(IsCompact(L"ann"));
}

INSTANTIATE_TEST_SUITE_P(Titles, CompactQsfOtherTitleTest,
                         ::testing::Values(L"Compact", L"Compact Now ", L" Compact Now",
                                           L"Compact Now...", L"CompactNow", L""));

TEST_F(CompactQsfTest, AnErrorBoxBeforeTheCompactionIsClosedAndItGoesOn) {
  Add(L"ann");
  Add(L"bob");
  Plan(CompactionPlan().ErrorBox(L"ann@", L"Connector Error"));
  EXPECT_EQ(Compact(), Compacted("ann") + Compacted("bob"));
  const lab::DialogRecord box = Dialog(L"ann", L"Connector Error");
  EXPECT_EQ(box.end, DialogEnd::kClosedFromOutside);
  EXPECT_FALSE(box.closeMicros.empty());
  EXPECT_EQ(Dialog(L"ann", L"Compact Now").end, DialogEnd::kByItself);
  EXPECT_TRUE(IsCompact(L"ann"));
}

TEST_F(CompactQsfTest, DialogsOneAfterTheOtherAreAllClosed) {
  Add(L"ann");
  Plan(CompactionPlan()
           .ErrorBox(L"*", L"Connector Error")
           .ErrorBox(L"*", L"Settings")
           .Fails(L"*", 0x80040600)
           .Dialog(L"*", {.time = DialogTime::kAfter, .title = L"Compaction Failed"}));
  EXPECT_EQ(Compact(), Failed("ann", "0x80040600"));
  for (const wchar_t* title : {L"Connector Error", L"Settings", L"Compaction Failed"}) {
    EXPECT_EQ(Dialog(L"ann", title).end, DialogEnd::kClosedFromOutside);
  }
}

TEST_F(CompactQsfTest, ADialogBesideTheCompactionsOwnIsLeftOpen) {
  Add(L"ann");
  Plan(CompactionPlan().Takes(L"*", 700).Dialog(L"*",
                                                {.time = DialogTime::kDuring, .title = L"Beside"}));
  EXPECT_EQ(Compact(), Compacted("ann"));
  for (const wchar_t* title : {L"Compact Now", L"Beside"}) {
    EXPECT_TRUE(Dialog(L"ann", title).closeMicros.empty());
    EXPECT_EQ(Dialog(L"ann", title).end, DialogEnd::kByItself);
  }
}

TEST_F(CompactQsfTest, OfTwoForeignDialogsNeitherIsClosedWhileBothAreOpen) {
  Add(L"ann");
  // One of them appears first, and in that moment it may be told to close.
  constexpr uint32_t kFirstMoment = 1000;
  Plan(CompactionPlan()
           .Takes(L"*", 20000)
           .Title(L"*", L"Settings")
           .IgnoresClose(L"*", kFirstMoment)
           .Dialog(L"*", {.time = DialogTime::kDuring, .title = L"Beside", .endsAfter = 3000}));
  EXPECT_EQ(Compact(), Failed("ann", "0x80040113"));
  const lab::DialogRecord settings = Dialog(L"ann", L"Settings");
  const lab::DialogRecord beside = Dialog(L"ann", L"Beside");
  EXPECT_TRUE(beside.closeMicros.empty());
  EXPECT_EQ(beside.end, DialogEnd::kByItself);
  EXPECT_EQ(settings.end, DialogEnd::kClosedFromOutside);
  for (const uint64_t close : settings.closeMicros) {
    EXPECT_TRUE(close < settings.shownMicros + uint64_t{kFirstMoment} * 1000 ||
                close >= beside.endedMicros);
  }
}

TEST_F(CompactQsfTest, ADialogThatDoesNotCloseIsToldAgainAndAgain) {
  Add(L"ann");
  constexpr uint32_t kDeafFor = 3000;
  Plan(CompactionPlan().Dialog(
      L"*", {.time = DialogTime::kBefore, .title = L"Deaf", .ignoresCloseFor = kDeafFor}));
  EXPECT_EQ(Compact(), Compacted("ann"));
  const lab::DialogRecord deaf = Dialog(L"ann", L"Deaf");
  EXPECT_EQ(deaf.end, DialogEnd::kClosedFromOutside);
  EXPECT_GE(deaf.closeMicros.size(), 3U);
  // Once in 100 ms at the most; the first may come at once.
  EXPECT_LE(deaf.closeMicros.size(), (deaf.endedMicros - deaf.shownMicros) / 100000 + 1);
}

TEST_F(CompactQsfTest, OtherWindowsAreNeitherClosedNorCounted) {
  Add(L"ann");
  Plan(CompactionPlan()
           .Takes(L"*", 500)
           .Window(L"*", L"Progress")
           .ErrorBox(L"*", L"Connector Error"));
  EXPECT_EQ(Compact(), Compacted("ann"));
  const lab::DialogRecord window = Dialog(L"ann", L"Progress");
  EXPECT_FALSE(window.isDialog);
  EXPECT_TRUE(window.closeMicros.empty());
  // The box is the only dialog although there is another window.
  EXPECT_EQ(Dialog(L"ann", L"Connector Error").end, DialogEnd::kClosedFromOutside);
}

TEST_F(CompactQsfTest, AWindowWithoutADialogIsLeftOpen) {
  Add(L"ann");
  Plan(CompactionPlan().Takes(L"*", 500).NoDialog(L"*").Window(L"*", L"Progress"));
  EXPECT_EQ(Compact(), Compacted("ann"));
  EXPECT_TRUE(Dialog(L"ann", L"Progress").closeMicros.empty());
}

TEST_F(CompactQsfTest, NoDialogAtAllIsNoFailure) {
  Add(L"ann");
  Plan(CompactionPlan().Takes(L"*", 300).NoDialog(L"*"));
  EXPECT_EQ(Compact(), Compacted("ann"));
  EXPECT_TRUE(DialogsFor(L"ann").empty());
}

TEST_F(CompactQsfTest, DialogsOfOtherProgramsAreLeftOpen) {
  Add(L"ann");
  Plan(CompactionPlan().Takes(L"*", 500).NoDialog(L"*"));
  const OwnWindow dialog = ShowWindowOnTop(L"#32770", L"Connector Error");
  EXPECT_EQ(Compact(), Compacted("ann"));
  MSG message;
  EXPECT_FALSE(PeekMessageW(&message, dialog.Get(), WM_CLOSE, WM_CLOSE, PM_REMOVE));
}

// Compactions that fail.

TEST_F(CompactQsfTest, AFailureIsToldAndTheNextStoreFollows) {
  Add(L"ann");
  Add(L"bob");
  Add(L"cid");
  Plan(CompactionPlan().Fails(L"ann@", 0x80004005).Fails(L"cid@", 0x80040600));
  EXPECT_EQ(Compact(),
            Failed("ann", "0x80004005") + Compacted("bob") + Failed("cid", "0x80040600"));
  EXPECT_FALSE(IsCompact(L"ann"));
  EXPECT_TRUE(IsCompact(L"bob"));
}

TEST_F(CompactQsfTest, ALockedAndADamagedAndAMissingFileFail) {
  for (const wchar_t* name : {L"ann", L"bob", L"cid", L"dan"}) Add(name);
  const lab::QsfLock lock(StorePath(L"ann.qsf"));
  ASSERT_TRUE(lock.Held());
  ASSERT_TRUE(lab::DamageQsf(StorePath(L"bob.qsf"), lab::QsfDamage::kChecksum));
  ASSERT_TRUE(DeleteFileW(StorePath(L"cid.qsf").c_str()));
  EXPECT_EQ(Compact(), Failed("ann", "0x80070005") + Failed("bob", "0x80040600") +
                           Failed("cid", "0x8004010f") + Compacted("dan"));
}

TEST_F(CompactQsfTest, AWarningIsNoFailure) {
  Add(L"ann");
  Faults().FailEach(kConfigure, 0x00040380);
  EXPECT_EQ(Compact(), Compacted("ann"));
}

// A call that the thread makes before it tells the connector.
struct ThreadCase : NamedCase {
  const char* call;
  uint32_t nth;  // the second store's
  const char* line;
};

class CompactQsfThreadTest : public CompactQsfTest,
                             public ::testing::WithParamInterface<ThreadCase> {};

TEST_P(CompactQsfThreadTest, SaysSoAndTheStorePassesForCompacted) {
  for (const wchar_t* name : {L"ann", L"bob", L"cid"}) Add(name);
  Faults().FailNth(GetParam().call, GetParam().nth, 0x80004005);
  AllowLeaks();  // MAPI stays initialised on a thread that gets no further.
  EXPECT_EQ(Compact(),
            Compacted("ann") +
                Text({"compacting bob@example.com", GetParam().line, "Compacting done"}) +
                Compacted("cid"));
  EXPECT_FALSE(IsCompact(L"bob"));
  EXPECT_TRUE(IsCompact(L"cid"));
  EXPECT_EQ(Calls("MAPIInitialize").size(), 4U);
  EXPECT_EQ(Calls("MAPIUninitialize").size(), 3U);
  // That is all that is left behind.
  for (const std::string& leak : lab::Leaks(Journal())) {
    EXPECT_TRUE(leak.starts_with("MAPIInitialize without MAPIUninitialize")) << leak;
  }
}

// Loading the cache and setting up take the first two calls, the stores the following.
INSTANTIATE_TEST_SUITE_P(
    Calls, CompactQsfThreadTest,
    ::testing::Values(ThreadCase{"Profiles", "MAPIAdminProfiles", 4,
                                 "CompactQsfThread: MAPIAdminProfiles failed : 0x80004005"},
                      ThreadCase{"Services", "IProfAdmin::AdminServices", 4,
                                 "CompactQsfThread: AdminServices failed : 0x80004005"}),
    kByName);

TEST_F(CompactQsfTest, AThreadWithoutMapiFindsOutAtTheProfiles) {
  Add(L"ann");
  Add(L"bob");
  Faults().FailNth("MAPIInitialize", 2, 0x80004005);
  // What the call there answers on a thread on which MAPI refused to start.
  EXPECT_EQ(Compact(),
            Text({"compacting ann@example.com",
                  "CompactQsfThread: MAPIAdminProfiles failed : 0x80040605", "Compacting done"}) +
                Compacted("bob"));
}

// Set-up that fails.

struct SetUpCase : NamedCase {
  const char* call;
  uint32_t nth;
  Strings lines;
};

class CompactQsfSetUpTest : public CompactQsfTest,
                            public ::testing::WithParamInterface<SetUpCase> {};

TEST_P(CompactQsfSetUpTest, FailsAndNoStoreIsTouched) {
  Add(L"ann");
  Faults().FailNth(GetParam().call, GetParam().nth, 0x80004005);
  EXPECT_EQ(Compact(), Text(GetParam().lines));
  EXPECT_TRUE(Calls(kConfigure).empty());
  EXPECT_EQ(Calls("MAPIInitialize").size(), 1U);
  EXPECT_EQ(Calls("MAPIUninitialize").size(), 1U);
  EXPECT_FALSE(IsCompact(L"ann"));
}

constexpr char kLoadFailed[] = "CompactQsf: storeManager LoadCache failed : 0x80004005";

// The cache is loaded first, by the same calls.
INSTANTIATE_TEST_SUITE_P(
    Calls, CompactQsfSetUpTest,
    ::testing::Values(
        SetUpCase{"LoadingTheProfiles",
                  "MAPIAdminProfiles",
                  1,
                  {"CStoreManager::LoadCache: MAPIAdminProfiles failed : 0x80004005", kLoadFailed}},
        SetUpCase{"LoadingTheServices",
                  "IProfAdmin::AdminServices",
                  1,
                  {"CStoreManager::LoadCache: AdminServices failed : 0x80004005", kLoadFailed}},
        SetUpCase{"LoadingTheTable",
                  "HrQueryAllRows@MsgServiceTable",
                  1,
                  {"CStoreManager::LoadCache: HrQueryAllRows on MsgServiceTable failed : "
                   "0x80004005",
                   kLoadFailed}},
        SetUpCase{"LoadingTheLastServiceInSilence", "IProfSect::GetProps", 1, {kLoadFailed}},
        SetUpCase{"Profiles",
                  "MAPIAdminProfiles",
                  2,
                  {"CompactQsf: MAPIAdminProfiles failed : 0x80004005"}},
        SetUpCase{"Services",
                  "IProfAdmin::AdminServices",
                  2,
                  {"CompactQsf: AdminServices failed : 0x80004005"}}),
    kByName);

TEST_F(CompactQsfTest, AProfileThatDoesNotExistEndsTheCommand) {
  EXPECT_EQ(Compact(), Text({"CStoreManager::LoadCache: AdminServices failed : 0x8004010f",
                             "CompactQsf: storeManager LoadCache failed : 0x8004010f"}));
}

TEST_F(CompactQsfTest, WhatAnEarlyEndOfTheLoadLeftIsCompacted) {
  for (const wchar_t* name : {L"ann", L"bob", L"cid"}) Add(name);
  Faults().FailNth("MsgServiceTable.Column.3D09001E", 2, 0x8004010F);
  EXPECT_EQ(Compact(), Text({"CStoreManager::LoadCache: PR_SERVICE_NAME_A not found at index 1"}) +
                           Compacted("ann"));
}

TEST_F(CompactQsfTest, MapiThatDoesNotStartEndsTheCommand) {
  Add(L"ann");
  SetController(lab::ControllerState::kStopped);
  Faults().FailEach("MAPIInitialize", 0x80004005);
  EXPECT_EQ(Compact("-c -v"), Text({kNoMapi, "Exiting."}));
  EXPECT_TRUE(Calls("MAPIUninitialize").empty());
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_STOPPED});
}

TEST_F(CompactQsfTest, OtherProgramsMustNotHaveMapiLoaded) {
  Add(L"ann");
  SetController(lab::ControllerState::kStopped);
  MapiHolder holder(L"outlook.exe");
  EXPECT_EQ(Compact("-c"), MapiInUse({"outlook.exe"}));
  EXPECT_TRUE(Journal().empty());
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_STOPPED});
}

// Ctrl+C.

TEST_F(CompactQsfTest, CtrlCLetsTheRunningStoreFinishAndBeginsNoOther) {
  for (const wchar_t* name : {L"ann", L"bob", L"cid"}) Add(name);
  Plan(CompactionPlan().Takes(L"*", kTimeForCtrlC));
  RunningProgram program = StartAdmin(Arguments());
  ASSERT_TRUE(program.WaitForOutput("compacting ann@example.com\r\n"));
  ASSERT_TRUE(program.SendCtrlC());
  const RunResult result = program.Wait();
  EXPECT_EQ(result.exitCode, 0U);
  EXPECT_EQ(result.output, Text({"compacting ann@example.com", "*User Break", "Compacting done"}));
  EXPECT_TRUE(IsCompact(L"ann"));
  EXPECT_FALSE(IsCompact(L"bob"));
  EXPECT_EQ(Calls(kConfigure).size(), 1U);
}

TEST_F(CompactQsfTest, AfterCtrlCDuringTheLoadNothingIsCompacted) {
  Add(L"ann");
  SetController(lab::ControllerState::kStopped);
  Faults().DelayNth("HrQueryAllRows@MsgServiceTable", 1, kTimeForCtrlC);
  RunningProgram program = StartAdmin(Arguments("-v -c"));
  ASSERT_TRUE(program.WaitForOutput(Text({kHandlerInstalled, kHandlerInstalled})));
  ASSERT_TRUE(program.SendCtrlC());
  EXPECT_EQ(program.Wait().output, Text({kHandlerInstalled, kHandlerInstalled, "*User Break",
                                         kStartingController, "Exiting."}));
  EXPECT_TRUE(Calls(kConfigure).empty());
}

// The restart.

TEST_F(CompactQsfTest, TheControllerIsStartedBehindTheStores) {
  Add(L"ann");
  SetController(lab::ControllerState::kStopped);
  EXPECT_EQ(Compact("-c"), Compacted("ann") + Text({kStartingController}));
  EXPECT_TRUE(lab::WaitForController(SERVICE_RUNNING));
}

TEST_F(CompactQsfTest, TheControllerIsStartedWhateverBecameOfTheStores) {
  SetController(lab::ControllerState::kStopped);
  EXPECT_EQ(Compact("-c"),
            Text({"CStoreManager::LoadCache: AdminServices failed : 0x8004010f",
                  "CompactQsf: storeManager LoadCache failed : 0x8004010f", kStartingController}));
  EXPECT_TRUE(lab::WaitForController(SERVICE_RUNNING));
}

TEST_F(CompactQsfTest, AnAbsentControllerIsToldBeforeTheLineOfItsStart) {
  Add(L"ann");
  EXPECT_EQ(Compact("-c"), Compacted("ann") + Text({kNoController, kStartingController}));
}

TEST_F(CompactQsfTest, WithoutTheSwitchTheControllerIsLeftAlone) {
  Add(L"ann");
  SetController(lab::ControllerState::kStopped);
  EXPECT_EQ(Compact("-C"), Compacted("ann"));
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_STOPPED});
}

// The command line.

TEST_F(CompactQsfTest, VerboseShowsTheHandlerTwice) {
  Add(L"ann");
  EXPECT_EQ(Compact("-v"),
            Text({kHandlerInstalled, kHandlerInstalled}) + Compacted("ann") + Text({"Exiting."}));
}

TEST_F(CompactQsfTest, TheHandlerIsInstalledBeforeTheLoad) {
  EXPECT_EQ(Compact("-v"),
            Text({kHandlerInstalled, kHandlerInstalled,
                  "CStoreManager::LoadCache: AdminServices failed : 0x8004010f",
                  "CompactQsf: storeManager LoadCache failed : 0x8004010f", "Exiting."}));
}

class CompactQsfUsageTest : public CompactQsfTest, public ::testing::WithParamInterface<Words> {};

TEST_P(CompactQsfUsageTest, IsShownAndMapiIsLeftAlone) {
  Add(L"ann");
  EXPECT_EQ(Run(GetParam()), CompactQsfUsage());
  EXPECT_TRUE(Journal().empty());
}

INSTANTIATE_TEST_SUITE_P(Lines, CompactQsfUsageTest,
                         ::testing::Values("-compactQsf", "-compactQsf -p", "-compactQsf -c -e ann",
                                           "-compactQsf -P Main", "-compactQsf -p \"\"",
                                           "-compactQsf -h -p Main"));

}  // namespace
}  // namespace e2e
