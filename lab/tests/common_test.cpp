#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <stdexcept>

#include "lab/common/entry_id.h"
#include "lab/common/fault_plan.h"
#include "lab/common/files.h"
#include "lab/common/installation.h"
#include "lab/common/journal.h"
#include "lab/common/qsf_file.h"
#include "lab/common/rule_file.h"
#include "lab/common/text.h"

namespace {

std::wstring TempPath(const wchar_t* name) {
  wchar_t directory[MAX_PATH];
  GetTempPathW(ARRAYSIZE(directory), directory);
  const std::wstring path =
      directory + std::wstring(L"qrvlab_tests_") + std::to_wstring(GetCurrentProcessId()) + name;
  DeleteFileW(path.c_str());
  return path;
}

lab::QsfContent SmallStore() {
  lab::QsfContent content;
  content.main.owner = L"ann@example.com";
  content.messageSizes = {100, 200};
  content.freeBytes = 4096;
  return content;
}

TEST(Text, QuotedPiecesComeBackAsTheyWere) {
  const std::string odd = "a \"b\"\\ c\r\n\t\x01";
  EXPECT_EQ(lab::SplitQuoted("x " + lab::Quote(odd) + " n=" + lab::Quote(odd)),
            (std::vector<std::string>{"x", odd, "n=" + odd}));
}

TEST(Text, NumbersAreWholeOrNothing) {
  EXPECT_EQ(lab::ParseNumber("0x80040111"), 0x80040111u);
  EXPECT_EQ(lab::ParseNumber("17"), 17u);
  EXPECT_FALSE(lab::ParseNumber("1f"));
  EXPECT_FALSE(lab::ParseNumber("4294967296"));
  EXPECT_FALSE(lab::ParseNumber(""));
}

TEST(Journal, ALineComesBackAsItWas) {
  lab::JournalEntry entry;
  entry.startMicros = 5;
  entry.endMicros = 7;
  entry.processId = 1;
  entry.threadId = 2;
  entry.call = "IMAPITable::Restrict";
  entry.object = 3;
  entry.ordinal = 4;
  entry.arguments = {{"restriction", "or(\"x y\")"}, {"flags", "0x0"}, {"name", ""}};
  entry.result = 0x80040111;
  const std::string line = lab::FormatJournalLine(entry);
  EXPECT_EQ(line,
            "5 7 1 2 IMAPITable::Restrict #3 n=4 restriction=\"or(\\\"x y\\\")\" flags=0x0 "
            "name=\"\" =0x80040111");
  lab::JournalEntry read;
  ASSERT_TRUE(lab::ParseJournalLine(line, &read));
  EXPECT_EQ(read.arguments, entry.arguments);
  EXPECT_EQ(lab::FormatJournalLine(read), line);
}

TEST(Journal, ANoteComesBackAsItWas) {
  for (const std::string line : {"5 5 1 2 LEAK row #3", "5 5 1 2 UNEXPECTED a \"b\"  c"}) {
    lab::JournalEntry read;
    ASSERT_TRUE(lab::ParseJournalLine(line, &read));
    EXPECT_EQ(lab::FormatJournalLine(read), line);
  }
  lab::JournalEntry read;
  EXPECT_FALSE(lab::ParseJournalLine("5 5 1 x LEAK row #3", &read));
  EXPECT_FALSE(lab::ParseJournalLine("", &read));
}

TEST(Journal, CountsWhatIsInFlightAtOnce) {
  std::vector<lab::JournalEntry> journal(3);
  const uint64_t times[][2] = {{0, 10}, {5, 15}, {10, 20}};
  for (size_t i = 0; i < journal.size(); ++i) {
    journal[i].call = "x";
    journal[i].startMicros = times[i][0];
    journal[i].endMicros = times[i][1];
  }
  EXPECT_EQ(lab::MaxInFlight(journal, "x"), 2u);
}

TEST(FaultPlan, ItsTextComesBackAsItWas) {
  lab::FaultPlan plan;
  plan.FailNth("MAPILogonEx", 2, 0x80040111)
      .FailMatching("IMAPISession::OpenMsgStore", L"a b#c", 0x80040600)
      .DelayEach("*", 5)
      .SetOutParameters(lab::OutParameters::kKeep);
  lab::FaultPlan read;
  ASSERT_TRUE(read.Parse("# a comment\n" + plan.Format()));
  EXPECT_EQ(read.Format(), plan.Format());
  std::string error;
  EXPECT_FALSE(read.Parse("MAPILogonEx 0 0x1", &error));
  EXPECT_EQ(error, "MAPILogonEx 0 0x1");
}

TEST(FaultPlan, CountsByOperationByPlaceAndOverall) {
  lab::FaultPlan plan;
  plan.FailNth("a", 2, 1).FailNth("a@here", 1, 2).FailNth("*", 4, 3).FailMatching("b", L"ANN", 4);
  lab::FaultInjector injector(plan);
  EXPECT_FALSE(injector.NextCall("a").fails);
  EXPECT_EQ(injector.NextCall("a", {}, "there").result, 1u);
  EXPECT_EQ(injector.NextCall("a", {}, "here").result, 2u);
  EXPECT_EQ(injector.NextCall("c").result, 3u);
  EXPECT_EQ(injector.NextCall("b", L"joann@example.com").result, 4u);
  EXPECT_FALSE(injector.NextCall("b").fails);
  EXPECT_FALSE(injector.NextValue("Table.Column.00000000").fails);
}

TEST(RuleFile, APlanEndsWhereALineIsNoRuleAndTheJournalTells) {
  const std::wstring directory = TempPath(L"plan");
  ASSERT_TRUE(lab::SaveRuleFile(directory, L"faults.txt",
                                "# a comment\r\n\r\nMAPILogonEx 1 0x1\r\nnonsense\r\n* 2 0x2\r\n"));
  EXPECT_EQ(lab::FaultPlan::Load(directory).Format(), "MAPILogonEx 1 0x00000001\n");
  EXPECT_EQ(lab::UnexpectedCalls(lab::ReadJournal(lab::JournalPath(directory))),
            std::vector<std::string>{"a plan with a line that is no rule: nonsense"});
  std::filesystem::remove_all(directory);
}

TEST(RuleFile, WithoutADirectoryThereIsNoPlan) {
  EXPECT_FALSE(lab::FaultPlan().Save(L""));
  EXPECT_TRUE(lab::FaultPlan::Load(L"").Rules().empty());
}

TEST(EntryId, AnEmbeddedStoreNamesItsParent) {
  const lab::Uid own = {1};
  const lab::Uid parent = {2};
  const lab::Bytes bytes = lab::EmbeddedStoreEntryId(1, own, parent);
  EXPECT_EQ(lab::ParentProviderOfEntryId(bytes), parent);
  EXPECT_FALSE(lab::ParentProviderOfEntryId(lab::FileStoreEntryId(1, own)));
  EXPECT_LT(bytes, lab::FileStoreEntryId(2, own));
  EXPECT_LT(lab::FileStoreEntryId(0xFF, own), lab::EmbeddedStoreEntryId(0x100, own, parent));
}

TEST(EntryId, AMailboxComesBackAsItWas) {
  EXPECT_EQ(lab::MailboxOfEntryId(lab::MailboxEntryId("ann@example.com")), "ann@example.com");
  EXPECT_FALSE(lab::MailboxOfEntryId(lab::FileStoreEntryId(1, {})));
}

class DamagedQsf : public ::testing::TestWithParam<lab::QsfDamage> {};

TEST_P(DamagedQsf, IsFoundAndRepaired) {
  const std::wstring path = TempPath(L"damaged.qsf");
  ASSERT_EQ(lab::WriteQsf(path, SmallStore()), lab::QsfStatus::kOk);
  ASSERT_TRUE(lab::DamageQsf(path, GetParam()));
  std::vector<lab::QsfProblem> problems;
  const bool minor = GetParam() == lab::QsfDamage::kCount;
  EXPECT_EQ(lab::CheckQsf(path, &problems), minor ? lab::QsfStatus::kOk : lab::QsfStatus::kDamaged);
  ASSERT_FALSE(problems.empty());
  EXPECT_EQ(problems[0].damage, GetParam());
  EXPECT_EQ(lab::RepairQsf(path), lab::QsfStatus::kOk);
  EXPECT_EQ(lab::CheckQsf(path, &problems), lab::QsfStatus::kOk);
  EXPECT_TRUE(problems.empty());
  DeleteFileW(path.c_str());
}

INSTANTIATE_TEST_SUITE_P(Kinds, DamagedQsf,
                         ::testing::Values(lab::QsfDamage::kChecksum, lab::QsfDamage::kTruncated,
                                           lab::QsfDamage::kHeader, lab::QsfDamage::kCount),
                         [](const auto& damage) { return lab::QsfDamageText(damage.param); });

TEST(Qsf, CompactionGivesTheFreeSpaceBack) {
  const std::wstring path = TempPath(L"compact.qsf");
  ASSERT_EQ(lab::WriteQsf(path, SmallStore()), lab::QsfStatus::kOk);
  uint64_t gained = 0;
  EXPECT_EQ(lab::CompactQsf(path, &gained), lab::QsfStatus::kOk);
  EXPECT_GE(gained, 4096u);
  lab::QsfContent content;
  EXPECT_EQ(lab::ReadQsf(path, &content), lab::QsfStatus::kOk);
  EXPECT_EQ(content.messageSizes, SmallStore().messageSizes);
  EXPECT_EQ(content.freeBytes, 0u);
  DeleteFileW(path.c_str());
}

TEST(Qsf, AFolderIsEnteredOnce) {
  const std::wstring path = TempPath(L"folder.qsf");
  ASSERT_EQ(lab::WriteQsf(path, SmallStore()), lab::QsfStatus::kOk);
  bool existed = true;
  EXPECT_EQ(lab::AddQsfFolder(path, L"BOB@example.com", {L"Info", true}, &existed),
            lab::QsfStatus::kOk);
  EXPECT_FALSE(existed);
  lab::AddQsfFolder(path, L"bob@example.com", {L"Info", true}, &existed);
  EXPECT_TRUE(existed);
  lab::QsfContent content;
  lab::ReadQsf(path, &content);
  ASSERT_EQ(content.embedded.size(), 1u);
  EXPECT_EQ(content.embedded[0].folders.size(), 1u);
  DeleteFileW(path.c_str());
}

TEST(Installation, TheSameStepsGiveTheSameBytes) {
  const lab::Profile profile(L"QrvLabTestSame");
  std::vector<lab::Bytes> entryIds;
  for (int i = 0; i < 2; ++i) {
    profile.Delete();
    lab::StoreOptions options;
    options.withFile = false;
    const lab::Service root = profile.AddRootStore(L"bes@example.com", L"C:\\x\\bes.qsf", options);
    profile.AddEmbeddedStore(L"bob@example.com", root, options);
    entryIds.push_back(profile.Services().back().EntryId());
  }
  EXPECT_EQ(entryIds[0], entryIds[1]);
  EXPECT_TRUE(lab::ParentProviderOfEntryId(entryIds[0]));
  EXPECT_TRUE(profile.Delete());
}

TEST(Installation, AnOrderThatDoesNotFitIsRefused) {
  const lab::Profile profile(L"QrvLabTestOrder");
  profile.Delete();
  lab::StoreOptions options;
  options.withFile = false;
  options.order = lab::kOrderLimit;
  EXPECT_THROW(profile.AddRootStore(L"bes@example.com", L"C:\\x\\bes.qsf", options),
               std::runtime_error);
  EXPECT_FALSE(profile.Exists());
  options.order = lab::kOrderLimit - 1;
  const lab::Bytes last =
      profile.AddSecondaryStore(L"ann@example.com", L"C:\\x\\a.qsf", options).EntryId();
  options.order.reset();
  EXPECT_LT(profile.AddSecondaryStore(L"bob@example.com", L"C:\\x\\b.qsf", options).EntryId(),
            last);
  EXPECT_TRUE(profile.Delete());
}

TEST(Installation, RemovingAServiceTakesItsSectionsAndPlaces) {
  const lab::Profile profile(L"QrvLabTestRemove");
  profile.Delete();
  lab::StoreOptions options;
  options.withFile = false;
  const lab::Service root = profile.AddRootStore(L"bes@example.com", L"C:\\x\\bes.qsf", options);
  const lab::Service ann = profile.AddSecondaryStore(L"ann@example.com", L"C:\\x\\a.qsf", options);
  EXPECT_TRUE(profile.Remove(ann.uid));
  EXPECT_FALSE(profile.Remove(ann.uid));
  EXPECT_EQ(profile.Services().size(), 1u);
  EXPECT_FALSE(lab::SectionExists(profile.Name(), ann.uid));
  EXPECT_FALSE(lab::SectionExists(profile.Name(), ann.Store()->uid));
  EXPECT_TRUE(profile.Get(root.uid));
  EXPECT_TRUE(profile.Delete());
}

TEST(Files, ABigFileIsNotReadAsAStore) {
  const std::wstring path = TempPath(L"big.qsf");
  constexpr uint64_t kSize = (5ull << 30) + 1023;
  ASSERT_TRUE(lab::WriteFileOfSize(path, kSize));
  EXPECT_EQ(lab::QsfSize(path), kSize);
  EXPECT_EQ(lab::ReadQsf(path, nullptr), lab::QsfStatus::kFailed);
  DeleteFileW(path.c_str());
}

TEST(Files, TheLastAccessCanBeSet) {
  const std::wstring path = TempPath(L"old.qsf");
  ASSERT_TRUE(lab::WriteFileOfSize(path, 0));
  const lab::UtcTime time{2004, 2, 29, 23, 59, 58};
  EXPECT_TRUE(lab::SetLastAccess(path, time));
  EXPECT_EQ(lab::LastAccess(path), time);
  EXPECT_EQ(lab::FormatUtcTime(time), "2004-02-29 23:59:58");
  EXPECT_EQ(lab::ParseUtcTime("2004-02-29 23:59:58"), time);
  EXPECT_FALSE(lab::ParseUtcTime("2004-02-29 23:59"));
  EXPECT_FALSE(lab::ParseUtcTime("2004-02-29 23:59:58Z"));
  DeleteFileW(path.c_str());
}

TEST(Files, CompanionsLieUnderTheBaseName) {
  const std::wstring directory = TempPath(L"companions");
  CreateDirectoryW(directory.c_str(), nullptr);
  const auto paths = lab::WriteCompanions(directory + L"\\ann.QSF", {L".qsf.lock", L".idx"});
  EXPECT_EQ(lab::FilesIn(directory), (std::vector<std::wstring>{L"ann.idx", L"ann.qsf.lock"}));
  for (const std::wstring& path : paths) DeleteFileW(path.c_str());
  EXPECT_TRUE(lab::FilesIn(directory).empty());
  RemoveDirectoryW(directory.c_str());
}

}  // namespace
