// -purgeQsf: which store files it takes for unused, what it lists of them, and which files go.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "lab/common/entry_id.h"
#include "lab/common/files.h"
#include "lab/common/installation.h"
#include "lab/common/qsf_file.h"
#include "src/platform/handle.h"
#include "tests/e2e/common_lines.h"
#include "tests/e2e/purge_lab_test.h"
#include "tests/e2e/purge_listing.h"
#include "tests/e2e/support/mapi_holder.h"
#include "tests/e2e/support/named_case.h"
#include "tests/e2e/support/output.h"
#include "tests/e2e/usage_text.h"

namespace e2e {
namespace {

// Nothing to search.

TEST_F(PurgeQsfTest, WithoutProfilesNothingIsPrinted) {
  PutIn({L"ann.qsf"});
  EXPECT_EQ(Purge(), "");
  EXPECT_EQ(Purge("-f"), "");
  EXPECT_EQ(Left(), Names{L"ann.qsf"});
}

TEST_F(PurgeQsfTest, AProfileWithoutStoresPrintsNothing) {
  ASSERT_TRUE(lab::CreateProfile(L"Main"));
  EXPECT_EQ(Purge(), "");
}

TEST_F(PurgeQsfTest, AProfileWithEmbeddedStoresOnlyAddsNoFolder) {
  PutIn({L"old.qsf"});
  const lab::Service ann = Use(In(L"ann.qsf"));
  const lab::Service bob = AddEmbedded(L"bob", ann);
  // Each the other's parent.
  const lab::Service cid = AddEmbedded(L"cid", bob);
  ASSERT_TRUE(lab::WriteBinary(L"Main", bob.Store()->uid, PR_ENTRYID,
                               lab::EmbeddedStoreEntryId(2, bob.Store()->uid, cid.Store()->uid)));
  ASSERT_TRUE(profile_.Remove(ann.uid));
  EXPECT_EQ(Purge(), "");
}

TEST_F(PurgeQsfTest, FoldersWithoutAFileInUseAreNotSearched) {
  Use(In(L"ann.qsf"));
  Put(Folder(L"other") + L"\\old.qsf");
  Put(StorePath(L"old.qsf"));
  CreateDirectoryW(In(L"below").c_str(), nullptr);
  Put(In(L"below\\old.qsf"));
  EXPECT_EQ(Purge("-f"), Text({kNothingUnused}));
  EXPECT_EQ(lab::FilesIn(In(L"below")), Names{L"old.qsf"});
}

// Folders without unused files.

TEST_F(PurgeQsfTest, NoUnusedFileInOneFolder) {
  Use(In(L"ann.qsf"));
  Use(In(L"bob.qsf"));
  EXPECT_EQ(Purge(), Text({kNothingUnused}));
}

TEST_F(PurgeQsfTest, NoUnusedFileIsSaidOnceForEachFolder) {
  Use(Folder(L"one") + L"\\ann.qsf");
  Use(Folder(L"two") + L"\\bob.qsf");
  EXPECT_EQ(Purge(), Text({kNothingUnused, kNothingUnused}));
}

TEST_F(PurgeQsfTest, ProfilesThatShareAFolderHaveItSearchedOnce) {
  Use(In(L"ann.qsf"));
  UseIn(L"Second", In(L"bob.qsf"));
  UseIn(L"Third", In(L"ann.qsf"));
  EXPECT_EQ(Purge(), Text({kNothingUnused}));
  PutIn({L"old.qsf"});
  EXPECT_EQ(Purge(), Unused("old.qsf", {"old.qsf"}));
}

TEST_F(PurgeQsfTest, AFolderWrittenInOtherLetterCaseIsTheSame) {
  Use(In(L"ann.qsf"));
  Use(In(L"bob.qsf"), {.storedPath = StorePath(L"QSF") + L"\\BOB.QSF"});
  EXPECT_EQ(Purge(), Text({kNothingUnused}));
}

TEST_F(PurgeQsfTest, AFolderThatIsGoneHasNoUnusedFile) {
  Use(Folder(L"gone") + L"\\ann.qsf");
  std::filesystem::remove_all(Directory() / L"gone");
  EXPECT_EQ(Purge("-f"), Text({kNothingUnused}));
}

// `folders` says of folder a, b ... whether it holds an unused file.
struct FoldersCase : NamedCase {
  std::vector<bool> folders;
  // '-' for the line that nothing was found, else the letter of the folder whose file is listed.
  std::string expected;
};

class PurgeQsfFoldersTest : public PurgeQsfTest,
                            public ::testing::WithParamInterface<FoldersCase> {};

TEST_P(PurgeQsfFoldersTest, NothingUnusedIsSaidUntilSomethingIsFound) {
  // Put into the profile from the last to the first: they are searched in byte order.
  for (size_t i = GetParam().folders.size(); i-- > 0;) {
    const std::wstring folder = Folder(std::wstring(1, static_cast<wchar_t>(L'a' + i)));
    Use(folder + L"\\used.qsf");
    if (GetParam().folders[i]) Put(folder + L"\\old.qsf");
  }
  std::string expected;
  for (const char letter : GetParam().expected) {
    const std::wstring folder = Folder(std::wstring(1, static_cast<wchar_t>(letter)));
    expected += letter == '-' ? Text({kNothingUnused}) : Unused(folder, "old.qsf", {"old.qsf"});
  }
  EXPECT_EQ(Purge(), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Orders, PurgeQsfFoldersTest,
    ::testing::Values(FoldersCase{"CleanDirty", {false, true}, "-b"},
                      FoldersCase{"DirtyClean", {true, false}, "a"},
                      FoldersCase{"DirtyDirty", {true, true}, "ab"},
                      FoldersCase{"CleanDirtyClean", {false, true, false}, "-b"},
                      FoldersCase{"CleanCleanDirty", {false, false, true}, "--c"},
                      FoldersCase{"ThreeClean", {false, false, false}, "---"}),
    kByName);

// What is listed.

TEST_F(PurgeQsfTest, ADryRunListsAndRemovesNothing) {
  Use(In(L"bes.qsf"));
  PutIn({L"ann.qsf", L"ann.idx", L"ann.qsf.lock", L"bes.idx"});
  const Names before = Left();
  EXPECT_EQ(Purge(), Unused("ann.qsf", {"ann.idx", "ann.qsf", "ann.qsf.lock"}));
  EXPECT_EQ(Left(), before);
}

TEST_F(PurgeQsfTest, AForcedRunListsTheSameAndRemovesIt) {
  Use(In(L"bes.qsf"));
  PutIn({L"ann.qsf", L"ann.idx", L"ann.qsf.lock", L"bes.idx"});
  EXPECT_EQ(Purge("-f"), Unused("ann.qsf", {"ann.idx", "ann.qsf", "ann.qsf.lock"}));
  EXPECT_EQ(Left(), (Names{L"bes.idx", L"bes.qsf"}));
  EXPECT_EQ(Purge("-f"), Text({kNothingUnused}));
}

TEST_F(PurgeQsfTest, SeveralUnusedFilesOfOneFolder) {
  Use(In(L"bes.qsf"));
  PutIn({L"ann.qsf", L"bob.qsf", L"cid.qsf", L"bob.log"});
  EXPECT_EQ(SortedBlocks(Purge("-f")),
            (Strings{Unused("ann.qsf", {"ann.qsf"}), Unused("bob.qsf", {"bob.log", "bob.qsf"}),
                     Unused("cid.qsf", {"cid.qsf"})}));
  EXPECT_EQ(Left(), Names{L"bes.qsf"});
}

TEST_F(PurgeQsfTest, TheRootStoresFileIsInUse) {
  profile_.AddRootStore(L"bes@example.com", In(L"bes.qsf"));
  PutIn({L"ann.qsf"});
  EXPECT_EQ(Purge(), Unused("ann.qsf", {"ann.qsf"}));
}

struct SizeCase : NamedCase {
  uint64_t bytes;
  int64_t kilobytes;
};

class PurgeQsfSizeTest : public PurgeQsfTest, public ::testing::WithParamInterface<SizeCase> {};

TEST_P(PurgeQsfSizeTest, IsShownInWholeKilobytes) {
  Use(In(L"bes.qsf"));
  Put(In(L"ann.qsf"), GetParam().bytes);
  UnusedFile file{"ann.qsf", GetParam().kilobytes, LocalTimeText(kLongAgo), {}};
  file.deleted = {lab::FoldAscii(Utf8FromWide(In(L"ann.qsf")))};
  EXPECT_EQ(Purge(), Block(file));
}

INSTANTIATE_TEST_SUITE_P(Sizes, PurgeQsfSizeTest,
                         ::testing::Values(SizeCase{"None", 0, 0}, SizeCase{"Under", 1023, 0},
                                           SizeCase{"One", 1024, 1}, SizeCase{"UnderTwo", 2047, 1},
                                           SizeCase{"ThreeGib", 3221225472, 3145728},
                                           SizeCase{"UnderFourGib", 4294967295, 4194303},
                                           SizeCase{"FourGib", 4294967296, 4194304},
                                           SizeCase{"FiveGibAndMore", 5368710143, 5242880}),
                         kByName);

struct TimeCase : NamedCase {
  lab::UtcTime time;
  const char* inUtc;
};

class PurgeQsfTimeTest : public PurgeQsfTest, public ::testing::WithParamInterface<TimeCase> {};

TEST_P(PurgeQsfTimeTest, OfTheLastAccessIsLocal) {
  Use(In(L"bes.qsf"));
  Put(In(L"ann.qsf"), 0, GetParam().time);
  const std::string local = BiasOfToday() == 0 ? GetParam().inUtc : LocalTimeText(GetParam().time);
  EXPECT_EQ(Purge(), Block({"ann.qsf", 0, local, {lab::FoldAscii(Utf8FromWide(In(L"ann.qsf")))}}));
}

INSTANTIATE_TEST_SUITE_P(
    Times, PurgeQsfTimeTest,
    ::testing::Values(TimeCase{"LeapDay", {2024, 2, 29, 23, 59, 58}, "2024-02-29 23:59:58"},
                      TimeCase{"SingleDigits", {2003, 1, 2, 3, 4, 5}, "2003-01-02 03:04:05"},
                      TimeCase{"Midnight", {2020, 1, 1, 0, 0, 0}, "2020-01-01 00:00:00"},
                      TimeCase{"Summer", {2023, 7, 14, 15, 16, 17}, "2023-07-14 15:16:17"},
                      TimeCase{"LongAgo", {1980, 12, 31, 12, 0, 0}, "1980-12-31 12:00:00"}),
    kByName);

// What is deleted together.

TEST_F(PurgeQsfTest, AFileInUseWhoseNameBeginsLikeAnUnusedOneGoesWithIt) {
  Use(In(L"anna.qsf"));
  PutIn({L"ann.qsf", L"anna.idx", L"an.idx", L"bann.qsf.lock"});
  const std::string expected = Unused("ann.qsf", {"ann.qsf", "anna.idx", "anna.qsf"});
  EXPECT_EQ(Purge(), expected);
  EXPECT_EQ(Left(), (Names{L"an.idx", L"ann.qsf", L"anna.idx", L"anna.qsf", L"bann.qsf.lock"}));
  EXPECT_EQ(Purge("-f"), expected);
  EXPECT_EQ(Left(), (Names{L"an.idx", L"bann.qsf.lock"}));
}

TEST_F(PurgeQsfTest, AFileInUseWithAShorterNameStays) {
  Use(In(L"ann.qsf"));
  PutIn({L"anna.qsf"});
  EXPECT_EQ(Purge("-f"), Unused("anna.qsf", {"anna.qsf"}));
  EXPECT_EQ(Left(), Names{L"ann.qsf"});
}

TEST_F(PurgeQsfTest, TheLastExtensionEndsTheBaseName) {
  Use(In(L"ann.qsf"));
  PutIn({L"ann.qsf.qsf", L"ann.idx"});
  EXPECT_EQ(Purge("-f"), Unused("ann.qsf.qsf", {"ann.qsf", "ann.qsf.qsf"}));
  EXPECT_EQ(Left(), Names{L"ann.idx"});
}

TEST_F(PurgeQsfTest, AFileNamedByTheExtensionAloneTakesTheWholeFolder) {
  Use(In(L"bes.qsf"));
  PutIn({L".qsf", L"notes.txt"});
  EXPECT_EQ(Purge(), Unused(".qsf", {".qsf", "bes.qsf", "notes.txt"}));
  EXPECT_EQ(Left().size(), 3U);
  EXPECT_EQ(Purge("-f"), Unused(".qsf", {".qsf", "bes.qsf", "notes.txt"}));
  EXPECT_EQ(Left(), Names{});
}

TEST_F(PurgeQsfTest, FoldersAreNeitherListedNorRemoved) {
  Use(In(L"bes.qsf"));
  PutIn({L"ann.qsf"});
  for (const wchar_t* name : {L"old.qsf", L"ann", L"ann.dir"}) {
    ASSERT_TRUE(CreateDirectoryW(In(name).c_str(), nullptr));
  }
  EXPECT_EQ(Purge("-f"), Unused("ann.qsf", {"ann.qsf"}));
  for (const wchar_t* name : {L"old.qsf", L"ann", L"ann.dir"}) {
    EXPECT_TRUE(std::filesystem::is_directory(In(name))) << Utf8FromWide(name);
  }
}

TEST_F(PurgeQsfTest, AFolderThatLooksUnusedIsNothingFound) {
  Use(In(L"bes.qsf"));
  ASSERT_TRUE(CreateDirectoryW(In(L"old.qsf").c_str(), nullptr));
  EXPECT_EQ(Purge(), Text({kNothingUnused}));
}

TEST_F(PurgeQsfTest, FilesThatCannotBeDeletedArePassedOver) {
  Use(In(L"bes.qsf"));
  PutIn({L"ann.qsf", L"ann.a", L"ann.z", L"bob.qsf"});
  const platform::KernelHandle held = platform::TakeFileHandle(
      CreateFileW(In(L"ann.qsf").c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                  OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(held);
  ASSERT_TRUE(SetFileAttributesW(In(L"ann.a").c_str(), FILE_ATTRIBUTE_READONLY));
  EXPECT_EQ(SortedBlocks(Purge("-f")), (Strings{Unused("ann.qsf", {"ann.a", "ann.qsf", "ann.z"}),
                                                Unused("bob.qsf", {"bob.qsf"})}));
  EXPECT_EQ(Left(), (Names{L"ann.a", L"ann.qsf", L"bes.qsf"}));
  SetFileAttributesW(In(L"ann.a").c_str(), FILE_ATTRIBUTE_NORMAL);
}

// Names.

TEST_F(PurgeQsfTest, CapitalsDoNotMakeAFileUnused) {
  Use(In(L"ANN.QSF"));
  Use(In(L"bob.qsf"), {.storedPath = In(L"BOB.qsf")});
  Use(In(L"Cid.Qsf"), {.storedPath = In(L"cid.qsf")});
  EXPECT_EQ(Purge(), Text({kNothingUnused}));
}

TEST_F(PurgeQsfTest, AnUnusedFileIsNamedInLowerCaseAndDeletedUnderItsOwnName) {
  Use(In(L"bes.qsf"));
  PutIn({L"Ann.QSF", L"ANN.Idx", L"annA.log"});
  EXPECT_EQ(Purge("-f"), Unused("ann.qsf", {"ANN.Idx", "Ann.QSF", "annA.log"}));
  EXPECT_EQ(Left(), Names{L"bes.qsf"});
}

class PurgeQsfNameTest : public PurgeQsfTest,
                         public ::testing::WithParamInterface<const wchar_t*> {};

// With the name of `GetParam()` for the unused and for a used file.
TEST_P(PurgeQsfNameTest, IsTakenAsItIs) {
  const std::wstring name = GetParam();
  Use(In(name + L" used.qsf"));
  PutIn({name + L"0.qsf", name + L"0.idx"});
  const std::string shown = Utf8FromWide(name);
  EXPECT_EQ(Purge("-f"), Unused(shown + "0.qsf", {shown + "0.idx", shown + "0.qsf"}));
  EXPECT_EQ(Left(), Names{name + L" used.qsf"});
}

INSTANTIATE_TEST_SUITE_P(Names, PurgeQsfNameTest,
                         ::testing::Values(L"ann smith", L"[ann]", L"(ann)", L"ann's", L"%s%n%d",
                                           L"100%", L"a+b,c;d=e", L"ann@example.com", L"-f",
                                           L"b\u00fccher", L"\u20ac \u00c4"));

TEST_F(PurgeQsfTest, AnUnusedNameOutsideTheCodePageIsListedAndNothingGoes) {
  Use(In(L"abc.qsf"));
  PutIn({L"\u0436\u4e2d\u0436.qsf", L"def.log"});
  EXPECT_EQ(Purge("-f"), Unused("???.qsf", {}));
  EXPECT_EQ(Left(), (Names{L"abc.qsf", L"def.log", L"\u0436\u4e2d\u0436.qsf"}));
}

TEST_F(PurgeQsfTest, ACompanionOutsideTheCodePageIsPassedOver) {
  Use(In(L"bes.qsf"));
  PutIn({L"ann.qsf", L"ann\u0436.idx", L"annx.idx"});
  EXPECT_EQ(Purge("-f"), Unused("ann.qsf", {"ann.qsf", "annx.idx"}));
  EXPECT_EQ(Left(), (Names{L"ann\u0436.idx", L"bes.qsf"}));
}

TEST_F(PurgeQsfTest, APathWithoutABackslashIsItsOwnFolder) {
  Use(In(L"ann.qsf"), {.storedPath = L"ann.qsf"});
  PutIn({L"bob.qsf"});
  const RunOptions options = {.workingDirectory = Folder()};
  // What is searched is "ann.qsf*.qsf".
  EXPECT_EQ(Purge("-f", options), Text({kNothingUnused}));
  // What begins like such a "path" is no neighbour of the file.
  PutIn({L"ann.qsf2.qsf", L"ann.qsfann.qsf2.log"});
  EXPECT_EQ(Purge("-f", options), Unused("ann.qsfann.qsf2.qsf", {}));
  EXPECT_EQ(Left(), (Names{L"ann.qsf", L"ann.qsf2.qsf", L"ann.qsfann.qsf2.log", L"bob.qsf"}));
}

TEST_F(PurgeQsfTest, APathWithSlashesOnlyHasNoFolder) {
  Use(In(L"ann.qsf"), {.storedPath = L"c:/one/ann.qsf"});
  PutIn({L"bob.qsf"});
  EXPECT_EQ(Purge("-f"), Text({kNothingUnused}));
}

// Profiles.

TEST_F(PurgeQsfTest, EveryProfilesFilesAreInUse) {
  Use(In(L"ann.qsf"));
  UseIn(L"Second", In(L"bob.qsf"));
  UseIn(L"Gr\u00f6\u00dfe", In(L"cid.qsf"));
  PutIn({L"old.qsf"});
  EXPECT_EQ(Purge("-f"), Unused("old.qsf", {"old.qsf"}));
  EXPECT_EQ(Left(), (Names{L"ann.qsf", L"bob.qsf", L"cid.qsf"}));
}

TEST_F(PurgeQsfTest, TheProfilesAreAskedForTheirNamesOnly) {
  Use(In(L"ann.qsf"));
  UseIn(L"Second", In(L"ann.qsf"));
  Purge();
  const auto queries = Calls("HrQueryAllRows");
  ASSERT_FALSE(queries.empty());
  EXPECT_EQ(queries[0].Argument("on"), "ProfileTable");
  EXPECT_EQ(queries[0].Argument("columns"), "3001001E");
  EXPECT_EQ(queries[0].Argument("most"), "0");
  EXPECT_EQ(Calls("IProfAdmin::GetProfileTable").at(0).Argument("flags"), "0x0");
  Strings read;
  for (const auto& call : Calls("IProfAdmin::AdminServices")) {
    read.push_back(call.Argument("profile"));
  }
  EXPECT_EQ(Sorted(read), (Strings{"Main", "Second"}));
}

TEST_F(PurgeQsfTest, AProfileWhoseRowHasNoNameEndsItBeforeAnythingIsListed) {
  Use(In(L"ann.qsf"));
  PutIn({L"old.qsf"});
  Faults().FailNth("ProfileTable.ColumnCount", 1, 0);
  EXPECT_EQ(Purge(), Text({"CStoreManager::LoadCache: AdminServices failed : 0x8004010f",
                           "PurgeQsf: storeManager LoadCache failed : 0x8004010f"}));
}

TEST_F(PurgeQsfTest, AProfileThatCannotBeReadEndsItBeforeAnythingIsListed) {
  Use(In(L"ann.qsf"));
  UseIn(L"Second", In(L"bob.qsf"));
  UseIn(L"Third", In(L"cid.qsf"));
  PutIn({L"old.qsf"});
  const Names before = Left();
  Faults().FailNth("IProfAdmin::AdminServices", 2, 0x80070005);
  EXPECT_EQ(Purge("-f"), Text({"CStoreManager::LoadCache: AdminServices failed : 0x80070005",
                               "PurgeQsf: storeManager LoadCache failed : 0x80070005"}));
  EXPECT_EQ(Left(), before);
  EXPECT_EQ(Calls("IProfAdmin::AdminServices").size(), 2U);
}

TEST_F(PurgeQsfTest, AProfileWhoseLastServiceIsSkippedCannotBeRead) {
  Use(In(L"ann.qsf"));
  Use(In(L"bob.qsf"), {.withAddress = false});
  PutIn({L"old.qsf"});
  EXPECT_EQ(Purge("-f"), Text({"PurgeQsf: storeManager LoadCache failed : 0x8004010f"}));
  EXPECT_EQ(Left().size(), 3U);
}

TEST_F(PurgeQsfTest, AServiceThatIsSkippedEarlierLeavesItsFileUnused) {
  Use(In(L"bob.qsf"), {.withAddress = false});
  Use(In(L"ann.qsf"));
  Put(In(L"bob.qsf"));
  EXPECT_EQ(Purge(), Unused("bob.qsf", {"bob.qsf"}));
}

TEST_F(PurgeQsfTest, AfterAnEarlyEndOfTheLoadFilesInUseLookUnused) {
  Use(In(L"ann.qsf"));
  Use(In(L"bob.qsf"));
  Put(In(L"bob.qsf"));
  Faults().FailNth("MsgServiceTable.Column.3D09001E", 2, 0x8004010F);
  EXPECT_EQ(Purge("-f"),
            Text({"CStoreManager::LoadCache: PR_SERVICE_NAME_A not found at index 1"}) +
                Unused("bob.qsf", {"bob.qsf"}));
  EXPECT_EQ(Left(), Names{L"ann.qsf"});
}

TEST_F(PurgeQsfTest, ADryRunDeletesOrphanServicesToo) {
  Use(In(L"ann.qsf"));
  AddOrphan(L"bob");
  EXPECT_EQ(Purge(), OrphanDeleted("bob@example.com") + Text({kNothingUnused}));
  EXPECT_FALSE(profile_.Find(L"bob@example.com"));
}

TEST_F(PurgeQsfTest, AnOrphanThatStaysMakesTheProfileUnreadable) {
  Use(In(L"ann.qsf"));
  AddOrphan(L"bob");
  PutIn({L"old.qsf"});
  Faults().FailEach("IMsgServiceAdmin::DeleteMsgService", 0x80070005);
  EXPECT_EQ(Purge("-f"), OrphanDeleted("bob@example.com", "0x80070005") +
                             Text({"PurgeQsf: storeManager LoadCache failed : 0x80070005"}));
  EXPECT_EQ(Left().size(), 2U);
}

// Set-up that fails.

struct SetUpCase : NamedCase {
  const char* call;
  uint32_t nth;
  Strings lines;
};

class PurgeQsfSetUpTest : public PurgeQsfTest, public ::testing::WithParamInterface<SetUpCase> {};

TEST_P(PurgeQsfSetUpTest, FailsAndNoFileIsListed) {
  Use(In(L"ann.qsf"));
  PutIn({L"old.qsf"});
  Faults().FailNth(GetParam().call, GetParam().nth, 0x80004005);
  EXPECT_EQ(Purge("-f"), Text(GetParam().lines));
  EXPECT_EQ(Left().size(), 2U);
  EXPECT_EQ(Calls("MAPIUninitialize").size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, PurgeQsfSetUpTest,
    ::testing::Values(SetUpCase{"Profiles",
                                "MAPIAdminProfiles",
                                1,
                                {"PurgeQsf: MAPIAdminProfiles failed : 0x80004005"}},
                      SetUpCase{"Table",
                                "IProfAdmin::GetProfileTable",
                                1,
                                {"PurgeQsf: GetProfileTable failed : 0x80004005"}},
                      SetUpCase{"Rows",
                                "HrQueryAllRows@ProfileTable",
                                1,
                                {"PurgeQsf: HrQueryAllRows failed : 0x80004005"}},
                      SetUpCase{"LoadingTheProfiles",
                                "MAPIAdminProfiles",
                                2,
                                {"CStoreManager::LoadCache: MAPIAdminProfiles failed : 0x80004005",
                                 "PurgeQsf: storeManager LoadCache failed : 0x80004005"}},
                      SetUpCase{
                          "LoadingTheTable",
                          "HrQueryAllRows@MsgServiceTable",
                          1,
                          {"CStoreManager::LoadCache: HrQueryAllRows on MsgServiceTable failed : "
                           "0x80004005",
                           "PurgeQsf: storeManager LoadCache failed : 0x80004005"}}),
    kByName);

TEST_F(PurgeQsfTest, MapiThatDoesNotStartEndsTheCommand) {
  Use(In(L"ann.qsf"));
  PutIn({L"old.qsf"});
  Faults().FailEach("MAPIInitialize", 0x80004005);
  EXPECT_EQ(Purge("-f"), Text({kNoMapi}));
  EXPECT_EQ(Left().size(), 2U);
  EXPECT_TRUE(Calls("MAPIUninitialize").empty());
}

TEST_F(PurgeQsfTest, OtherProgramsMustNotHaveMapiLoaded) {
  Use(In(L"ann.qsf"));
  PutIn({L"old.qsf"});
  MapiHolder holder(L"outlook.exe");
  EXPECT_EQ(Purge("-f"), MapiInUse({"outlook.exe"}));
  EXPECT_EQ(Left().size(), 2U);
}

// Ctrl+C.

TEST_F(PurgeQsfTest, CtrlCChangesNothing) {
  Use(In(L"bes.qsf"));
  PutIn({L"ann.qsf", L"bob.qsf"});
  Faults().DelayNth("HrQueryAllRows@MsgServiceTable", 1, kTimeForCtrlC);
  RunningProgram program = StartAdmin("-purgeQsf -f -v");
  ASSERT_TRUE(program.WaitForOutput(Text({kHandlerInstalled})));
  ASSERT_TRUE(program.SendCtrlC());
  const RunResult result = program.Wait();
  EXPECT_EQ(result.exitCode, 0U);
  EXPECT_EQ(SortedBlocks(result.output),
            Sorted({Text({kHandlerInstalled, "*User Break"}) + Unused("ann.qsf", {"ann.qsf"}),
                    Unused("bob.qsf", {"bob.qsf"}), Text({"Exiting."})}));
  EXPECT_EQ(Left(), Names{L"bes.qsf"});
}

// The command line.

TEST_F(PurgeQsfTest, VerboseShowsTheHandlerOncePerProfile) {
  Use(In(L"ann.qsf"));
  UseIn(L"Second", In(L"bob.qsf"));
  ASSERT_TRUE(lab::CreateProfile(L"Third"));
  EXPECT_EQ(Purge("-v"), Text({kHandlerInstalled, kHandlerInstalled, kHandlerInstalled,
                               kNothingUnused, "Exiting."}));
}

TEST_F(PurgeQsfTest, VerboseWithoutProfilesShowsNoHandler) {
  EXPECT_EQ(Purge("-v"), Text({"Exiting."}));
}

TEST_F(PurgeQsfTest, TheHandlerIsInstalledBeforeEachLoad) {
  Use(In(L"ann.qsf"));
  UseIn(L"Second", In(L"bob.qsf"));
  Faults().FailNth("IProfAdmin::AdminServices", 2, 0x80070005);
  EXPECT_EQ(Purge("-v"),
            Text({kHandlerInstalled, kHandlerInstalled,
                  "CStoreManager::LoadCache: AdminServices failed : 0x80070005",
                  "PurgeQsf: storeManager LoadCache failed : 0x80070005", "Exiting."}));
}

// Arguments other than -f leave all files where they are.
class PurgeQsfDryRunTest : public PurgeQsfTest, public ::testing::WithParamInterface<Words> {};

TEST_P(PurgeQsfDryRunTest, NeitherDeletesNorStartsTheController) {
  Use(In(L"bes.qsf"));
  PutIn({L"ann.qsf"});
  SetController(lab::ControllerState::kStopped);
  EXPECT_EQ(Purge(GetParam()), Unused("ann.qsf", {"ann.qsf"}));
  EXPECT_EQ(Left(), (Names{L"ann.qsf", L"bes.qsf"}));
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_STOPPED});
}

INSTANTIATE_TEST_SUITE_P(Lines, PurgeQsfDryRunTest,
                         ::testing::Values("-c", "-F -c", "-force -c", "f /f -c"));

TEST_F(PurgeQsfTest, AForcedRunStartsTheControllerWhenAsked) {
  Use(In(L"bes.qsf"));
  PutIn({L"ann.qsf"});
  SetController(lab::ControllerState::kStopped);
  EXPECT_EQ(Purge("-c -f"), Unused("ann.qsf", {"ann.qsf"}) + Text({kStartingController}));
  EXPECT_TRUE(lab::WaitForController(SERVICE_RUNNING));
}

TEST_F(PurgeQsfTest, AForcedRunAloneDoesNotStartTheController) {
  Use(In(L"bes.qsf"));
  SetController(lab::ControllerState::kStopped);
  EXPECT_EQ(Purge("-f -C"), Text({kNothingUnused}));
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_STOPPED});
}

TEST_F(PurgeQsfTest, TheControllerIsStartedWhateverBecameOfTheRun) {
  Use(In(L"bes.qsf"));
  SetController(lab::ControllerState::kStopped);
  Faults().FailNth("MAPIAdminProfiles", 1, 0x80004005);
  EXPECT_EQ(Purge("-f -c"),
            Text({"PurgeQsf: MAPIAdminProfiles failed : 0x80004005", kStartingController}));
  EXPECT_TRUE(lab::WaitForController(SERVICE_RUNNING));
}

TEST_F(PurgeQsfTest, HelpIsShownAndNothingElseIsDone) {
  Use(In(L"bes.qsf"));
  PutIn({L"ann.qsf"});
  EXPECT_EQ(Purge("-h -f"), PurgeQsfUsage());
  EXPECT_EQ(Left(), (Names{L"ann.qsf", L"bes.qsf"}));
  EXPECT_TRUE(Journal().empty());
}

}  // namespace
}  // namespace e2e
