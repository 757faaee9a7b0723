// The frame of tests of unattended runs: the shipped qrvrun.exe beside the shipped tool, in an
// installation on which every command can work.
//
//   TEST_F(RunTest, FindUsersIsGood) {
//     Add(L"ann");
//     ExpectRun("-findUsers -p Main -e ann", {...}, Good());
//   }
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <ostream>
#include <regex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "lab/bes/bes_database.h"
#include "lab/bes/odbc_connection.h"
#include "lab/bes/registration.h"
#include "lab/common/compaction_plan.h"
#include "lab/repair/repair_control.h"
#include "tests/e2e/common_lines.h"
#include "tests/e2e/support/database_lab_test.h"
#include "tests/e2e/support/desktop.h"
#include "tests/e2e/support/named_case.h"
#include "tests/e2e/support/output.h"
#include "tests/e2e/support/scan_lab_test.h"

namespace e2e {

using lab::ProcessesOf;

// How the run ended: the exit code, and the lines of qrvrun's own behind the tool's.
struct RunEnding {
  DWORD code;
  Strings lines;
};

inline const std::string kOwn = "qrvrun: ";

inline RunEnding Good() { return {0, {"qrvrun: exit code 0, good"}}; }
inline RunEnding NotRun(const std::string& why) { return {1, {"qrvrun: exit code 1, " + why}}; }
inline RunEnding HelpScreen() { return NotRun("not run: a help screen"); }
inline RunEnding AtWork() { return NotRun("another qrvrun is at work"); }
inline RunEnding Fault(const std::string& why) { return {5, {"qrvrun: exit code 5, " + why}}; }

// `lines` are those of the tool that are trouble, in order; `more` what else is told.
inline RunEnding Trouble(const Strings& lines, const Strings& more = {}) {
  RunEnding ending = {2, {}};
  if (!lines.empty()) {
    ending.lines.push_back("qrvrun: lines of trouble: " + std::to_string(lines.size()) +
                           (lines.size() > 3 ? ", of which the first" : ""));
    for (size_t i = 0; i < lines.size() && i < 3; ++i) {
      ending.lines.push_back("qrvrun:   " + lines[i]);
    }
  }
  for (const std::string& line : more) ending.lines.push_back(kOwn + line);
  ending.lines.emplace_back("qrvrun: exit code 2, trouble");
  return ending;
}

inline Strings Missing(const Strings& forms) {
  Strings lines;
  for (const std::string& form : forms) lines.push_back("missing: " + form);
  return lines;
}

// The bytes of a file, empty when it is not there.
inline std::string BytesOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// What stands in a log behind each line's time. A line that has no time in front fails the test.
inline Strings WithoutTimes(std::string_view log) {
  static const std::regex kTimed(R"(\d{4}-[01]\d-[0-3]\dT[0-2]\d:[0-5]\d:[0-5]\d\.\d{3})"
                                 R"([+-][01]\d:[0-5]\d (.*))");
  Strings texts;
  for (const std::string& line : Lines(log)) {
    // The lines of the tool's that matter here are short: a regex is no burden.
    std::smatch match;
    const bool timed = std::regex_match(line, match, kTimed);
    EXPECT_TRUE(timed) << "no time in front of: " << Visible(line);
    texts.push_back(timed ? match[1].str() : line);
  }
  return texts;
}

// The lines of `output` that are not qrvrun's own.
inline Strings ToolLines(std::string_view output) {
  Strings lines = Lines(output);
  std::erase_if(lines, [](const std::string& line) { return line.starts_with(kOwn); });
  return lines;
}

inline std::filesystem::path Runner() { return LabBinaries() / L"qrvrun.exe"; }

class RunTest : public ScanLabTest {
 public:
  static constexpr int32_t kServerId = 7;

  // Public, so that the rows of a table can make the installation what they need.
  using LabTest::Add;
  using LabTest::AddEmbedded;
  using LabTest::AddOrphan;
  using LabTest::AddRoot;
  using LabTest::AllowLeaks;
  using LabTest::Directory;
  using LabTest::Faults;
  using LabTest::FileOf;
  using LabTest::SetController;
  using LabTest::StorePath;
  using ScanLabTest::AddDamaged;
  using ScanLabTest::PlanTool;

  lab::BesDatabase& Database() { return *database_; }

  // A user of this computer's server, with a store or without.
  void AddUser(const std::wstring& name, int32_t agentId = 200) {
    lab::BesUser user;
    user.serverConfigId = kServerId;
    user.userName = user.mailboxDn = name + domain_;
    user.agentId = agentId;
    Database().AddUser(user);
  }
  void AddWithUser(const std::wstring& name) {
    Add(name);
    AddUser(name);
  }
  void PlanCompaction(const lab::CompactionPlan& plan) const {
    ASSERT_TRUE(plan.Save(Directory().wstring()));
  }

 protected:
  void SetUp() override {
    ScanLabTest::SetUp();
    KeepDesktop();
    ASSERT_TRUE(lab::RegisterOledbProvider());
    ASSERT_TRUE(lab::SetBesDatabaseLocation(kBesServer, kBesDatabase));
    database_ = std::make_unique<lab::BesDatabase>(Connection(), lab::OdbcText::kUtf8);
    database_->CreateTables();
    database_->AddServer(kServerId, ComputerName());
  }

  void TearDown() override {
    database_.reset();
    ScanLabTest::TearDown();
    EXPECT_TRUE(lab::RemoveBesRegistryKey());
    EXPECT_TRUE(lab::UnregisterOledbProvider());
  }

  RunOptions Prepare(RunOptions options) const override {
    if (options.program.empty()) options.program = Runner();
    options.environment.emplace(L"QRVLAB_ODBC", Connection());
    options.environment.emplace(L"QRVLAB_ODBC_TEXT", L"utf8");
    return LabTest::Prepare(std::move(options));
  }

  // Runs it and expects these lines of the tool's, unchanged and in this order, then that ending;
  // nothing goes to standard error.
  RunResult ExpectRun(const Words& words, const Strings& toolLines, const RunEnding& ending,
                      RunOptions options = {}) {
    RunResult result = RunAdmin(words, std::move(options));
    Expect(result, toolLines, ending);
    return result;
  }
  static void Expect(const RunResult& result, const Strings& toolLines, const RunEnding& ending) {
    EXPECT_EQ(result.output, Text(toolLines + ending.lines));
    EXPECT_EQ(result.errorOutput, "");
    EXPECT_EQ(result.exitCode, ending.code);
  }

  std::filesystem::path Log() const { return Directory() / L"night.log"; }
  Words WithLog(const Words& words) const { return Words{L"-log", Log().wstring()} + words; }
  Strings LogLines() const { return WithoutTimes(BytesOf(Log())); }

  bool ToolWasStarted() const { return !Journal().empty(); }

  // Waits until neither the tool nor the repair tool runs; false when they go on.
  static bool WaitForNoTools() {
    for (int i = 0; i < 100; ++i) {
      if (ProcessesOf(L"qrvadmin.exe").empty() && ProcessesOf(L"SCANPST.EXE").empty()) return true;
      Sleep(50);
    }
    return false;
  }

 private:
  std::wstring Connection() const { return lab::SqliteConnectionString(StorePath(L"bes.sqlite")); }

  std::unique_ptr<lab::BesDatabase> database_;
};

// Runs of a copy of qrvrun.exe that finds another program, echo_child, in the tool's place.
class RunStandInTest : public RunTest {
 protected:
  void SetUp() override {
    RunTest::SetUp();
    std::filesystem::create_directories(Folder());
    std::filesystem::copy_file(Runner(), Folder() / L"qrvrun.exe");
    std::filesystem::copy_file(LabBinaries() / L"echo_child.exe", Folder() / L"qrvadmin.exe");
  }

  RunOptions Prepare(RunOptions options) const override {
    if (options.program.empty()) options.program = Folder() / L"qrvrun.exe";
    return RunTest::Prepare(std::move(options));
  }

 private:
  std::filesystem::path Folder() const { return Directory() / L"stand-in"; }
};

// The root store, and one of a user.
inline void AddAnn(RunTest& test) {
  test.AddRoot();
  test.AddWithUser(L"ann");
}

// A row of a table of runs.
struct RunCase : NamedCase {
  Words words;
  // Makes the installation what the run is to meet.
  std::function<void(RunTest&)> prepare;
  Strings toolLines;
  RunEnding ending;
};

}  // namespace e2e
