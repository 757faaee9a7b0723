// Ctrl+C, and the end by force, at any moment of the long commands. After Ctrl+C a command stops
// where the rules let it stop and says so; after its end by force every line is whole, and profile,
// store files and database are as far as the lines say, or a step further.
#include <algorithm>
#include <set>

#include "lab/common/files.h"
#include "tests/proof/hostile.h"

namespace e2e {
namespace {

class InterruptionTest : public HostileTest {
 protected:
  static constexpr uint32_t kWhole = 50;
  static constexpr uint32_t kSample = 3;
  static constexpr uint32_t kInterruptionShares = 5;

  // Makes anew what the command works on, in a profile of that name; returns its arguments.
  virtual Words Make(const std::wstring& profile) = 0;
  // How long the command is at work at least; moments are chosen from that time and a little more.
  virtual uint32_t Milliseconds() const = 0;
  // What is to be said of a run that had a Ctrl+C, `after` being the lines behind it, and of one
  // that was ended. A busy machine may let some steps be taken between the line and its flag.
  virtual void ExpectBroken(const Strings& lines, const Strings& after) = 0;
  virtual void ExpectEnded(const Strings& lines) = 0;

  void BreakRuns(const char* row) {
    ForEachRun(row, [this](proof::Random& random, const Words& words) {
      RunningProgram program = StartAdmin(words);
      // Before it has its handler, Ctrl+C ends it as it ends every program.
      EXPECT_TRUE(program.WaitForOutput(Text({kHandlerInstalled}), std::chrono::minutes(3)));
      Sleep(random.Below(Milliseconds()));
      EXPECT_TRUE(program.SendCtrlC());
      const RunResult result = program.Wait();
      const int breaks = CountLines(result.output, kUserBreak);
      EXPECT_LE(breaks, 1);
      EXPECT_EQ(result.exitCode, 0U);
      EXPECT_EQ(result.errorOutput, "");
      ExpectKnownLines(result);
      ExpectLast(result, "Exiting.");
      Strings lines = Lines(result.output);
      const auto at = std::find(lines.begin(), lines.end(), kUserBreak);
      const Strings after(at, lines.end());
      if (breaks == 1) lines.erase(at);
      if (breaks == 1) ExpectBroken(lines, after);
      KeepJournalOfFailure(result);
      // One that was over already was not interrupted.
      return breaks == 1;
    });
  }

  void EndRuns(const char* row) {
    AllowLeaks();
    ForEachRun(row, [this](proof::Random& random, const Words& words) {
      RunningProgram program = StartAdmin(words);
      if (random.OneIn(4)) {
        Sleep(random.Below(500));
      } else {
        EXPECT_TRUE(program.WaitForOutput(Text({kHandlerInstalled}), std::chrono::minutes(3)));
        Sleep(random.Below(Milliseconds()));
      }
      const bool wasRunning = program.IsRunning();
      program.KillAlone();
      const RunResult result = program.Wait();
      lab::EndRepairTools();
      ExpectKnownLines(result);
      ExpectEnded(Lines(result.output));
      KeepJournalOfFailure(result);
      return wasRunning;
    });
  }

  // That of a run with a failure is shown at the test's end.
  void KeepJournalOfFailure(const RunResult& result) {
    if (HasFailure()) {
      std::cout << Visible(result.output) << '\n';
    } else {
      ClearJournal();
    }
  }

  static size_t CountStarting(const Strings& lines, const std::string& front) {
    return static_cast<size_t>(std::count_if(
        lines.begin(), lines.end(), [&](const auto& line) { return line.starts_with(front); }));
  }

  // user00@example.com and so on, `count` of them.
  static std::vector<std::wstring> Addresses(size_t count) {
    std::vector<std::wstring> addresses;
    for (size_t i = 0; i < count; ++i) {
      addresses.push_back(L"user" + std::to_wstring(1000 + i) + L"@example.com");
    }
    return addresses;
  }

  // A store of each address in the profile, with a file of its own.
  std::vector<std::wstring> AddStores(const std::wstring& profile, size_t count) {
    std::vector<std::wstring> files;
    for (const std::wstring& address : Addresses(count)) {
      files.push_back(StorePath(profile + L"-" + address.substr(0, 8) + L".qsf"));
      lab::Profile(profile).AddSecondaryStore(address, files.back(), {.freeBytes = 4096});
    }
    return files;
  }

  // The stores' addresses and entry IDs, as the profile has them.
  static std::vector<std::pair<std::wstring, lab::Bytes>> StoresOf(const std::wstring& profile) {
    std::vector<std::pair<std::wstring, lab::Bytes>> stores;
    for (const lab::Service& service : lab::Profile(profile).Services()) {
      stores.emplace_back(service.address.value_or(L""), service.EntryId());
    }
    return stores;
  }

  static void ExpectSound(const std::vector<std::wstring>& files) {
    for (const std::wstring& file : files) EXPECT_TRUE(IsSound(file)) << Utf8FromWide(file);
  }

 private:
  // Runs until this share's count of them was interrupted.
  void ForEachRun(const char* row, const std::function<bool(proof::Random&, const Words&)>& run) {
    const uint32_t count = proof::IsWhole() ? kWhole : kSample;
    const uint32_t share = (count + kInterruptionShares - 1 - GetParam()) / kInterruptionShares;
    uint32_t interrupted = 0;
    for (uint32_t i = 0; interrupted < share && !HasFailure(); ++i) {
      ASSERT_LT(i, 10 * (share + 1)) << "most moments lie behind the command's end";
      const uint32_t index = i * kInterruptionShares + GetParam();
      SCOPED_TRACE("run " + std::to_string(index));
      proof::Random random(row, index);
      interrupted += run(random, Make(ProfileName(index))) ? 1 : 0;
    }
    proof::Record(row, interrupted);
  }
};

// -checkQsf.

class CheckInterruptionTest : public InterruptionTest {
 protected:
  static constexpr size_t kStores = 25;

  Words Make(const std::wstring& profile) override {
    profile_ = profile;
    lab::Profile(profile).AddRootStore(L"bes@example.com", StorePath(profile + L"-bes.qsf"));
    files_ = AddStores(profile, kStores);
    stores_ = StoresOf(profile);
    Faults() = {};
    Faults().DelayEach("IMAPISession::OpenMsgStore", 300);
    return {L"-checkQsf", L"-v", L"-p", profile};
  }
  uint32_t Milliseconds() const override { return 1800; }

  void ExpectBroken(const Strings& lines, const Strings& after) override {
    ExpectNothingChanged();
    EXPECT_LE(CountStarting(after, "Checking store for '"), 10U);
    const size_t announced = CountStarting(lines, "Checking store for '");
    const Strings tail(lines.end() - 3, lines.end());
    const bool stopped =
        tail == Strings{"CheckQsf: LogonToStores failed : 0x80040113", "Done", "Exiting."};
    // Behind the last store there is no check any more.
    if (!stopped) {
      EXPECT_EQ(announced, kStores + 1);
      EXPECT_EQ(tail, Strings({"Shutting down stores...", "Done", "Exiting."}));
    }
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "All stores are OK"), stopped ? 0 : 1);
    ExpectInOrder(lines);
  }
  void ExpectEnded(const Strings& lines) override {
    ExpectNothingChanged();
    ExpectInOrder(lines);
  }

 private:
  // Stores are announced one after the other, none is left out.
  static void ExpectInOrder(const Strings& lines) {
    Strings expected = {"Checking store for 'bes@example.com'"};
    for (const std::wstring& address : Addresses(kStores)) {
      expected.push_back("Checking store for '" + Utf8FromWide(address) + "'");
    }
    Strings announced;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(announced),
                 [](const auto& line) { return line.starts_with("Checking store for '"); });
    expected.resize(std::min(expected.size(), announced.size()));
    EXPECT_EQ(announced, expected);
  }
  void ExpectNothingChanged() {
    ExpectSound(files_);
    EXPECT_EQ(StoresOf(profile_), stores_);
  }

  std::wstring profile_;
  std::vector<std::wstring> files_;
  std::vector<std::pair<std::wstring, lab::Bytes>> stores_;
};

TEST_P(CheckInterruptionTest, CtrlC) { BreakRuns("-checkQsf, Ctrl+C"); }
TEST_P(CheckInterruptionTest, Kill) { EndRuns("-checkQsf, kill"); }

// -scanQsf.

class ScanInterruptionTest : public InterruptionTest {
 protected:
  Words Make(const std::wstring& profile) override {
    files_ = AddStores(profile, 3);
    EXPECT_TRUE(lab::DamageQsf(files_[1], lab::QsfDamage::kChecksum));
    PlanTool({.scanTime = 1000, .repairTime = 1000});
    return {L"-scanQsf", L"-v", L"-p", profile};
  }
  uint32_t Milliseconds() const override { return 6000; }

  void ExpectBroken(const Strings& lines, const Strings& after) override {
    ExpectFiles();
    EXPECT_LE(CountStarting(after, "scanning "), 1U);
    // What was begun is brought to an end, and told.
    const size_t begun = CountStarting(lines, "scanning ");
    const auto done =
        static_cast<size_t>(std::count(lines.begin(), lines.end(), "file scan done."));
    const auto errors =
        static_cast<size_t>(std::count(lines.begin(), lines.end(), "file scan error."));
    EXPECT_EQ(done + errors, begun);
    EXPECT_LE(errors, 1U);
    if (errors == 1) {
      EXPECT_EQ(lines[lines.size() - 2], "file scan error.");
    }
    EXPECT_EQ(CountStarting(lines, "Exiting CheckRepairQsf."), begun);
    EXPECT_TRUE(lab::RunningRepairTools().empty());
    // Pressed once at most, and only after Ctrl+C.
    EXPECT_LE(CountStarting(lines, "CheckRepairQsf. finding the cancel button"), 1U);
  }
  void ExpectEnded(const Strings&) override { ExpectFiles(); }

 private:
  // Only the repair tool touches a file, and that one file only.
  void ExpectFiles() {
    EXPECT_TRUE(IsSound(files_[0]) && IsSound(files_[2]));
    EXPECT_TRUE(Exists(files_[1]));
    EXPECT_FALSE(lab::BackupExists(files_[0]) || lab::BackupExists(files_[2]));
  }

  std::vector<std::wstring> files_;
};

TEST_P(ScanInterruptionTest, CtrlC) { BreakRuns("-scanQsf, Ctrl+C"); }
TEST_P(ScanInterruptionTest, Kill) { EndRuns("-scanQsf, kill"); }

// -compactQsf.

class CompactInterruptionTest : public InterruptionTest {
 protected:
  static constexpr size_t kStores = 8;

  Words Make(const std::wstring& profile) override {
    files_ = AddStores(profile, kStores);
    lab::CompactionPlan plan;
    plan.Takes(L"*", 400);
    PlanCompaction(plan);
    return {L"-compactQsf", L"-v", L"-p", profile};
  }
  uint32_t Milliseconds() const override { return 3000; }

  // A compaction that runs is waited for, and no other begins.
  void ExpectBroken(const Strings& lines, const Strings& after) override {
    EXPECT_LE(CountStarting(after, "compacting "), 2U);
    Strings expected = {kHandlerInstalled, kHandlerInstalled};
    const size_t begun = CountStarting(lines, "compacting ");
    for (size_t i = 0; i < begun; ++i) {
      expected.push_back("compacting " + Utf8FromWide(Addresses(kStores)[i]));
      expected.push_back("Compacting done");
    }
    expected.push_back("Exiting.");
    EXPECT_EQ(lines, expected);
    ExpectCompact(begun, begun);
  }
  void ExpectEnded(const Strings& lines) override {
    const auto done =
        static_cast<size_t>(std::count(lines.begin(), lines.end(), "Compacting done"));
    ExpectCompact(done, CountStarting(lines, "compacting "));
  }

 private:
  // The first `least` stores are compacted, and none beyond the first `most`.
  void ExpectCompact(size_t least, size_t most) {
    ExpectSound(files_);
    for (size_t i = 0; i < files_.size(); ++i) {
      lab::QsfContent content;
      EXPECT_EQ(lab::ReadQsf(files_[i], &content), lab::QsfStatus::kOk);
      if (i < least) {
        EXPECT_EQ(content.freeBytes, 0U) << i;
      } else if (i >= most) {
        EXPECT_EQ(content.freeBytes, 4096U) << i;
      }
    }
  }

  std::vector<std::wstring> files_;
};

TEST_P(CompactInterruptionTest, CtrlC) { BreakRuns("-compactQsf, Ctrl+C"); }
TEST_P(CompactInterruptionTest, Kill) { EndRuns("-compactQsf, kill"); }

// -assignAgents.

class AssignInterruptionTest : public InterruptionTest {
 protected:
  static constexpr size_t kUsers = 250;

  Words Make(const std::wstring& profile) override {
    Database().CreateTables();
    Database().AddServer(kServerId, ComputerName());
    Database().AddSampleUsers(kServerId, kUsers);
    addresses_.clear();
    for (size_t n = 1; n <= kUsers; ++n) {
      addresses_.push_back(L"user" + std::to_wstring(n) + L"@example.com");
    }
    // In every other run some stores are yet to be made.
    missing_ = profile.back() % 2 ? 12 : 0;
    std::vector<std::wstring> there(addresses_.begin(),
                                    addresses_.end() - static_cast<ptrdiff_t>(missing_));
    lab::Profile(profile).AddRootStore(L"bes@example.com", StorePath(profile + L"-bes.qsf"));
    lab::Profile(profile).AddSecondaryStores(there, Directory().wstring());
    Faults() = {};
    Faults().DelayEach("ICommand::Execute", 200);
    Faults().DelayEach("IExchangeManageStore::CreateStoreEntryID", 300);
    return {L"-assignAgents", L"-v", L"-p", profile};
  }
  uint32_t Milliseconds() const override { return 2000; }

  void ExpectBroken(const Strings& lines, const Strings& after) override {
    EXPECT_LE(CountStarting(after, "Creating store for '"), 8U);
    const std::string& last = lines[lines.size() - 2];
    if (last == "AssignUsersToAgents: LogonToStores failed : 0x80040113") {
      EXPECT_GT(missing_, 0U);
      EXPECT_EQ(Written(), 0U);
      return;
    }
    // The batches have no check: all of them are sent.
    EXPECT_EQ(last, "Done");
    EXPECT_EQ(lines[lines.size() - 3], "Assigned 250 of 250 users ...");
    EXPECT_EQ(Written(), kUsers);
  }
  void ExpectEnded(const Strings& lines) override {
    size_t told = 0;
    for (const size_t count : {100, 200, 250}) {
      told = CountStarting(lines, "Assigned " + std::to_string(count) + " of 250 users ...") ? count
                                                                                             : told;
    }
    EXPECT_GE(Written(), told);
  }

 private:
  // How many users have their agent: those of the first stores, each the right one.
  size_t Written() {
    std::map<std::wstring, int32_t> agents;
    for (const lab::BesUser& user : Database().Users(kServerId))
      agents[*user.mailboxDn] = *user.agentId;
    EXPECT_EQ(agents.size(), kUsers);
    size_t written = 0;
    while (written < kUsers && agents[addresses_[written]] != 0) {
      EXPECT_EQ(agents[addresses_[written]], 200 + static_cast<int32_t>(written % 2)) << written;
      ++written;
    }
    for (size_t i = written; i < kUsers; ++i) EXPECT_EQ(agents[addresses_[i]], 0) << i;
    return written;
  }

  std::vector<std::wstring> addresses_;
  size_t missing_ = 0;
};

TEST_P(AssignInterruptionTest, CtrlC) { BreakRuns("-assignAgents, Ctrl+C"); }
TEST_P(AssignInterruptionTest, Kill) { EndRuns("-assignAgents, kill"); }

// -purgeQsf -f.

class PurgeInterruptionTest : public InterruptionTest {
 protected:
  static constexpr size_t kUnused = 300;

  Words Make(const std::wstring& profile) override {
    RemoveEarlier();
    files_ = AddStores(profile, 5);
    unused_.clear();
    for (size_t i = 0; i < kUnused; ++i) {
      unused_.push_back(StorePath(L"old" + std::to_wstring(1000 + i) + L".qsf"));
      EXPECT_TRUE(lab::WriteWholeFile(unused_.back(), "x"));
    }
    Faults() = {};
    Faults().DelayEach("HrQueryAllRows@MsgServiceTable", 150);
    return {L"-purgeQsf", L"-f", L"-v"};
  }
  uint32_t Milliseconds() const override { return 500; }

  // It has no check: everything is listed and deleted.
  void ExpectBroken(const Strings& lines, const Strings&) override {
    EXPECT_EQ(CountStarting(lines, "Deleting: "), kUnused);
    EXPECT_EQ(GoneOf(lines), kUnused);
    ExpectSound(files_);
  }
  void ExpectEnded(const Strings& lines) override {
    GoneOf(lines);
    ExpectSound(files_);
  }

 private:
  // What an earlier run had in use, or left.
  void RemoveEarlier() const {
    for (const std::wstring& profile : lab::ListProfiles()) lab::DeleteProfile(profile);
    for (const std::wstring& file : lab::FilesIn(Directory().wstring())) {
      if (file.ends_with(L".qsf")) DeleteFileW(StorePath(file).c_str());
    }
  }

  // How many of the unused files are gone; each was listed before.
  size_t GoneOf(const Strings& lines) {
    const std::set<std::string> listed(lines.begin(), lines.end());
    size_t gone = 0;
    for (const std::wstring& file : unused_) {
      if (Exists(file)) continue;
      ++gone;
      EXPECT_TRUE(
          listed.contains("Deleting: " + lab::FoldAscii(Utf8FromWide(lab::DirectoryOf(file))) +
                          "\\" + Utf8FromWide(file.substr(file.rfind(L'\\') + 1))))
          << Utf8FromWide(file);
    }
    return gone;
  }

  std::vector<std::wstring> files_;
  std::vector<std::wstring> unused_;
};

TEST_P(PurgeInterruptionTest, CtrlC) { BreakRuns("-purgeQsf, Ctrl+C"); }
TEST_P(PurgeInterruptionTest, Kill) { EndRuns("-purgeQsf, kill"); }

INSTANTIATE_TEST_SUITE_P(, CheckInterruptionTest, ::testing::Range(0U, 5U), kByShare);
INSTANTIATE_TEST_SUITE_P(, ScanInterruptionTest, ::testing::Range(0U, 5U), kByShare);
INSTANTIATE_TEST_SUITE_P(, CompactInterruptionTest, ::testing::Range(0U, 5U), kByShare);
INSTANTIATE_TEST_SUITE_P(, AssignInterruptionTest, ::testing::Range(0U, 5U), kByShare);
INSTANTIATE_TEST_SUITE_P(, PurgeInterruptionTest, ::testing::Range(0U, 5U), kByShare);

}  // namespace
}  // namespace e2e
