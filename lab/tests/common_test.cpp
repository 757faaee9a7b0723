#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <stdexcept>

#include "lab/common/entry_id.h"
#include "lab/common/fault_plan.h"
#include "lab/common/files.h"
#include "lab/common/installation.h"
#include "lab/common/journal.h"
#include "lab/common/rule_file.h"
#include "lab/common/text.h"
#include "lab/tests/store_file.h"

namespace {

TEST(Text, QuotedPiecesComeBackAsTheyWere) {
  const std::string odd = "a \"b\"\\ c\r\n\t\x01";
  EXPECT_EQ(lab::SplitQuoted("x " + lab::Quote(odd) + " n=" + lab::Quote(odd)),
            (std::vector<std::string>{"x", odd, "n=" + odd}));
}

TEST(Text, NumbersAreWholeOrNothing) {
  EXPECT_EQ(lab::ParseNumber("0x80040111"), 0x80040111u);
  EXPECT_EQ(lab::ParseNumber("17"), 17u);
  for (const char* none : {"1f", "4294967296", "", "0x", "-1", "+1", " 1", "1 "}) {
    EXPECT_FALSE(lab::ParseNumber(none)) << none;
  }
  EXPECT_EQ(lab::ParseNumber<uint64_t>("4294967296"), 4294967296u);
}

TEST(Journal, ALineComesBackAsItWas) {
  const lab::JournalEntry entry = {
      .startMicros = 5,
      .endMicros = 7,
      .processId = 1,
      .threadId = 2,
      .call = "IMAPITable::Restrict",
      .object = 3,
      .ordinal = 4,
      .arguments = {{"restriction", "or(\"x y\")"}, {"flags", "0x0"}, {"name", ""}},
      .result = 0x80040111};
  const std::string call =
      "5 7 1 2 IMAPITable::Restrict #3 n=4 restriction=\"or(\\\"x y\\\")\" flags=0x0 "
      "name=\"\" =0x80040111";
  EXPECT_EQ(lab::FormatJournalLine(entry), call);
  lab::JournalEntry read;
  for (const std::string& line :
       {call, std::string("5 5 1 2 LEAK row #3"), std::string("5 5 1 2 UNEXPECTED a \"b\"  c")}) {
    ASSERT_TRUE(lab::ParseJournalLine(line, &read)) << line;
    EXPECT_EQ(lab::FormatJournalLine(read), line);
  }
  ASSERT_TRUE(lab::ParseJournalLine(call, &read));
  EXPECT_EQ(read.arguments, entry.arguments);
  for (const char* none : {"5 5 1 x LEAK row #3", "5 5 1 2", ""}) {
    EXPECT_FALSE(lab::ParseJournalLine(none, &read)) << none;
  }
}

TEST(Journal, CountsWhatIsInFlightAtOnce) {
  const std::vector<lab::JournalEntry> journal = {
      {.startMicros = 0, .endMicros = 10, .call = "x"},
      {.startMicros = 5, .endMicros = 15, .call = "x"},
      {.startMicros = 10, .endMicros = 20, .call = "x"}};
  EXPECT_EQ(lab::MaxInFlight(journal, "x"), 2u);
}

TEST(FaultPlan, ItsTextComesBackAsItWas) {
  lab::FaultPlan plan;
  plan.FailNth("MAPILogonEx", 2, 0x80040111)
      .FailEach("MAPIInitialize", 0)
      .FailMatching("IMAPISession::OpenMsgStore", L"a b#c", 0x80040600)
      .DelayNth("MAPILogonEx", 3, 70)
      .DelayEach("*", 5)
      .DelayMatching("value-null:Two words", L"", 6)
      .SetOutParameters(lab::OutParameters::kKeep);
  EXPECT_EQ(plan.Format(),
            "MAPILogonEx 2 0x80040111\n"
            "MAPIInitialize * 0x00000000\n"
            "IMAPISession::OpenMsgStore match \"a b#c\" 0x80040600\n"
            "MAPILogonEx 3 delay 70\n"
            "* * delay 5\n"
            "\"value-null:Two words\" match \"\" delay 6\n"
            "option keep-out-parameters\n");
  lab::FaultPlan read;
  ASSERT_TRUE(read.Parse("# a comment\n" + plan.Format()));
  EXPECT_EQ(read.Rules(), plan.Rules());
  EXPECT_EQ(read.Treatment(), lab::OutParameters::kKeep);
}

TEST(FaultPlan, NamesTheLineThatIsNoRule) {
  for (const char* line : {"MAPILogonEx 0 0x1", "MAPILogonEx 1", "MAPILogonEx 1 delay",
                           "MAPILogonEx 1 0x1 2", "MAPILogonEx match 0x1", "option nonsense"}) {
    std::string error;
    EXPECT_FALSE(lab::FaultPlan().Parse(line, &error)) << line;
    EXPECT_EQ(error, line);
  }
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
  const std::wstring directory = lab::TemporaryPath(L"plan");
  std::filesystem::create_directory(directory);
  ASSERT_TRUE(lab::WriteWholeFile(directory + L"\\faults.txt",
                                  "# a comment\r\n\r\nMAPILogonEx 1 "
                                  "0x1\r\nnonsense\r\n* 2 0x2\r\n"));
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
  const lab::StoreFile file(GetParam());
  std::vector<lab::QsfProblem> problems;
  const bool minor = GetParam() == lab::QsfDamage::kCount;
  EXPECT_EQ(lab::CheckQsf(file.Path(), &problems),
            minor ? lab::QsfStatus::kOk : lab::QsfStatus::kDamaged);
  ASSERT_FALSE(problems.empty());
  EXPECT_EQ(problems[0].damage, GetParam());
  EXPECT_EQ(lab::RepairQsf(file.Path()), lab::QsfStatus::kOk);
  EXPECT_EQ(lab::CheckQsf(file.Path(), &problems), lab::QsfStatus::kOk);
  EXPECT_TRUE(problems.empty());
}

INSTANTIATE_TEST_SUITE_P(Kinds, DamagedQsf,
                         ::testing::Values(lab::QsfDamage::kChecksum, lab::QsfDamage::kTruncated,
                                           lab::QsfDamage::kHeader, lab::QsfDamage::kCount),
                         [](const auto& damage) { return lab::QsfDamageText(damage.param); });

TEST(Qsf, CompactionGivesTheFreeSpaceBack) {
  const lab::StoreFile file;
  uint64_t gained = 0;
  EXPECT_EQ(lab::CompactQsf(file.Path(), &gained), lab::QsfStatus::kOk);
  EXPECT_GE(gained, 4096u);
  lab::QsfContent content;
  EXPECT_EQ(lab::ReadQsf(file.Path(), &content), lab::QsfStatus::kOk);
  EXPECT_EQ(content.messageSizes, std::vector<uint32_t>({512, 512}));
  EXPECT_EQ(content.freeBytes, 0u);
}

TEST(Qsf, AFolderIsEnteredOnce) {
  const lab::StoreFile file;
  bool existed = true;
  EXPECT_EQ(lab::AddQsfFolder(file.Path(), L"BOB@example.com", {L"Info", true}, &existed),
            lab::QsfStatus::kOk);
  EXPECT_FALSE(existed);
  lab::AddQsfFolder(file.Path(), L"bob@example.com", {L"Info", true}, &existed);
  EXPECT_TRUE(existed);
  lab::QsfContent content;
  lab::ReadQsf(file.Path(), &content);
  ASSERT_EQ(content.embedded.size(), 1u);
  EXPECT_EQ(content.embedded[0].folders.size(), 1u);
}

class Installation : public ::testing::Test {
 protected:
  Installation() {
    profile_.Delete();
    options_.withFile = false;
  }
  ~Installation() override { EXPECT_TRUE(profile_.Delete()); }

  lab::Service AddRoot() const {
    return profile_.AddRootStore(L"bes@example.com", L"C:\\x\\bes.qsf", options_);
  }
  lab::Service AddSecondary(const std::wstring& address) const {
    return profile_.AddSecondaryStore(address, L"C:\\x\\a.qsf", options_);
  }

  const lab::Profile profile_{L"QrvLabTestInstallation"};
  lab::StoreOptions options_;
};

TEST_F(Installation, TheSameStepsGiveTheSameBytes) {
  std::vector<lab::Bytes> entryIds;
  for (int i = 0; i < 2; ++i) {
    profile_.Delete();
    profile_.AddEmbeddedStore(L"bob@example.com", AddRoot(), options_);
    entryIds.push_back(profile_.Services().back().EntryId());
  }
  EXPECT_EQ(entryIds[0], entryIds[1]);
  EXPECT_TRUE(lab::ParentProviderOfEntryId(entryIds[0]));
}

TEST_F(Installation, AnOrderThatDoesNotFitIsRefused) {
  options_.order = lab::kOrderLimit;
  EXPECT_THROW(AddRoot(), std::runtime_error);
  EXPECT_FALSE(profile_.Exists());
  options_.order = lab::kOrderLimit - 1;
  const lab::Bytes last = AddSecondary(L"ann@example.com").EntryId();
  options_.order.reset();
  EXPECT_LT(AddSecondary(L"bob@example.com").EntryId(), last);
}

TEST_F(Installation, RemovingAServiceTakesItsSectionsAndPlaces) {
  const lab::Service root = AddRoot();
  const lab::Service ann = AddSecondary(L"ann@example.com");
  EXPECT_TRUE(profile_.Remove(ann.uid));
  EXPECT_FALSE(profile_.Remove(ann.uid));
  EXPECT_EQ(profile_.Services().size(), 1u);
  EXPECT_FALSE(lab::SectionExists(profile_.Name(), ann.uid));
  EXPECT_FALSE(lab::SectionExists(profile_.Name(), ann.Store()->uid));
  EXPECT_TRUE(profile_.Get(root.uid));
}

TEST(Files, ABigFileIsNotReadAsAStore) {
  const lab::TemporaryFile file;
  constexpr uint64_t kSize = (5ull << 30) + 1023;
  ASSERT_TRUE(lab::WriteFileOfSize(file.Path(), kSize));
  EXPECT_EQ(lab::QsfSize(file.Path()), kSize);
  EXPECT_EQ(lab::ReadQsf(file.Path(), nullptr), lab::QsfStatus::kFailed);
}

TEST(Files, TheLastAccessCanBeSet) {
  const lab::TemporaryFile file;
  ASSERT_TRUE(lab::WriteFileOfSize(file.Path(), 0));
  const lab::UtcTime time{2004, 2, 29, 23, 59, 58};
  EXPECT_TRUE(lab::SetLastAccess(file.Path(), time));
  EXPECT_EQ(lab::LastAccess(file.Path()), time);
  EXPECT_EQ(lab::FormatUtcTime(time), "2004-02-29 23:59:58");
  EXPECT_EQ(lab::ParseUtcTime("2004-02-29 23:59:58"), time);
  for (const char* none : {"2004-02-29 23:59", "2004-02-29 23:59:58Z", ""}) {
    EXPECT_FALSE(lab::ParseUtcTime(none)) << none;
  }
}

TEST(Files, CompanionsLieUnderTheBaseName) {
  const std::wstring directory = lab::TemporaryPath(L"companions");
  CreateDirectoryW(directory.c_str(), nullptr);
  const auto paths = lab::WriteCompanions(directory + L"\\ann.QSF", {L".qsf.lock", L".idx"});
  EXPECT_EQ(lab::FilesIn(directory), (std::vector<std::wstring>{L"ann.idx", L"ann.qsf.lock"}));
  for (const std::wstring& path : paths) DeleteFileW(path.c_str());
  EXPECT_TRUE(lab::FilesIn(directory).empty());
  RemoveDirectoryW(directory.c_str());
}

}  // namespace
