// The log of unattended runs: what stands in it, how it is written, and when it cannot be.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <regex>
#include <string>

#include "src/platform/handle.h"
#include "tests/e2e/purge_listing.h"
#include "tests/e2e/run_frame.h"
#include "tests/e2e/support/child_process.h"

namespace e2e {
namespace {

const Strings kFoundAnn = {"Email: ann@example.com", "Type: QSF store", "QSF: ann.qsf",
                           "Embedded stores: none", " "};

// The lines of a run between its header of two and its last line.
Strings Middle(const Strings& lines) {
  if (lines.size() < 3) return {"(no whole run)"};
  return {lines.begin() + 2, lines.end() - 1};
}

bool IsFooter(const std::string& line, const std::string& ending) {
  return line.starts_with(ending) &&
         std::regex_match(line.substr(ending.size()), std::regex(R"(, after \d+\.\d s)"));
}

class RunLogTest : public RunTest {
 protected:
  static constexpr char kFindAnn[] = "-findUsers -p Main -e ann";

  std::wstring User() const {
    const wchar_t* name = _wgetenv(L"USERNAME");
    return name ? name : L"";
  }
};

TEST_F(RunLogTest, AGoodRunStandsInItBetweenHeaderAndFooter) {
  Add(L"ann");
  const Words words = WithLog(kFindAnn);
  ExpectRun(words, kFoundAnn, Good());
  const Strings lines = LogLines();
  ASSERT_EQ(lines.size(), kFoundAnn.size() + 3);
  EXPECT_TRUE(std::regex_match(
      lines[0], std::regex(R"(qrvrun: version \d+\.\d+\.\d+, user .+, computer .+)")))
      << lines[0];
  EXPECT_NE(lines[0].find(", user " + Utf8FromWide(User()) + ", "), std::string::npos);
  EXPECT_TRUE(lines[0].ends_with(", computer " + Utf8FromWide(ComputerName()))) << lines[0];
  EXPECT_EQ(lines[1], "qrvrun: " + Utf8FromWide(CommandLine(Words{Runner().wstring()} + words)));
  EXPECT_EQ(Middle(lines), kFoundAnn);
  EXPECT_TRUE(IsFooter(lines.back(), Good().lines[0])) << lines.back();
}

// Each time is the local one, with how far it is from UTC.
TEST_F(RunLogTest, TheTimesAreThoseOfTheRun) {
  using namespace std::chrono;
  AddRoot();
  Faults().DelayNth("HrQueryAllRows@MsgServiceTable", 1, 3000);
  const auto before = system_clock::now();
  RunAdmin(WithLog("-findUsers -p Main -e nobody -v"));
  const auto after = system_clock::now();
  std::vector<system_clock::time_point> times;
  for (const std::string& line : Lines(BytesOf(Log()))) {
    std::array<int, 9> n = {};
    char sign = 0;
    ASSERT_EQ(std::sscanf(line.c_str(), "%d-%d-%dT%d:%d:%d.%d%c%d:%d ", n.data(), &n[1], &n[2],
                          &n[3], &n[4], &n[5], &n[6], &sign, &n[7], &n[8]),
              10);
    const int offset = (sign == '-' ? -1 : 1) * (n[7] * 60 + n[8]);
    EXPECT_EQ(offset, -BiasOfToday());
    times.emplace_back(sys_days(year(n[0]) / n[1] / n[2]) + hours(n[3]) + minutes(n[4] - offset) +
                       seconds(n[5]) + milliseconds(n[6]));
  }
  ASSERT_EQ(times.size(), 5U);
  EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
  EXPECT_GE(times.front(), floor<milliseconds>(before));
  EXPECT_LE(times.back(), after);
  // The handler's line is written when it comes, not with the last.
  EXPECT_GE(times[3] - times[2], milliseconds(2900));
}

TEST_F(RunLogTest, ItHasNoMarkAndALaterRunIsAppended) {
  Add(L"ann");
  ExpectRun(WithLog(kFindAnn), kFoundAnn, Good());
  const std::string first = BytesOf(Log());
  EXPECT_TRUE(first.starts_with("20")) << Visible(first.substr(0, 10));
  ExpectRun(WithLog("-findUsers -p Main -e nobody"), {}, Good());
  const std::string both = BytesOf(Log());
  ASSERT_TRUE(both.starts_with(first));
  EXPECT_EQ(WithoutTimes(both.substr(first.size())).size(), 3U);
}

TEST_F(RunLogTest, WhatIsInTheFileStays) {
  std::ofstream(Log(), std::ios::binary) << "an old line\r\n";
  AddRoot();
  ExpectRun(WithLog("-findUsers -p Main -e nobody"), {}, Good());
  const std::string log = BytesOf(Log());
  ASSERT_TRUE(log.starts_with("an old line\r\n20"));
}

TEST_F(RunLogTest, ARunThatShowsNoLinesLogsThem) {
  Add(L"ann");
  ExpectRun(Words("-quiet") + WithLog(kFindAnn), {}, Good());
  EXPECT_EQ(Middle(LogLines()), kFoundAnn);
}

TEST_F(RunLogTest, TroubleAndItsLinesAreInItToo) {
  AddOrphan(L"bob");
  const Strings orphan = Lines(OrphanDeleted("bob@example.com"));
  ExpectRun(WithLog("-findUsers -p Main -e nobody"), orphan, Trouble(orphan));
  const Strings lines = LogLines();
  Strings told = Trouble(orphan).lines;
  const std::string ending = told.back();
  told.pop_back();
  EXPECT_EQ(Middle(lines), orphan + told);
  EXPECT_TRUE(IsFooter(lines.back(), ending)) << lines.back();
}

TEST_F(RunLogTest, QuietRunsShowTroubleAllTheSame) {
  AddOrphan(L"bob");
  const Strings orphan = Lines(OrphanDeleted("bob@example.com"));
  ExpectRun("-quiet -findUsers -p Main -e nobody", {}, Trouble(orphan));
}

// Names.

const std::wstring kNames = L"m\u00fcller \u0434\u043c\u0438 \u65e5\u672c \U0001f600";

TEST_F(RunLogTest, NamesInEveryScriptStandRightInIt) {
  const std::string line = "No .qsf files associated with [" + Utf8FromWide(kNames) + "] profile";
  ExpectRun(WithLog(Words{L"-scanQsf", L"-p", kNames}), {line}, Trouble({line}));
  const Strings lines = LogLines();
  EXPECT_EQ(lines.at(2), line);
  // In the command line too.
  EXPECT_TRUE(lines.at(1).ends_with("-scanQsf -p \"" + Utf8FromWide(kNames) + "\"")) << lines[1];
}

TEST_F(RunLogTest, AddressesInEveryScriptStandRightInIt) {
  Strings expected;
  for (const wchar_t* name : {L"m\u00fcller@user.com", L"\u0434\u043c\u0438@user.com",
                              L"\u65e5\u672c@user.com", L"\U0001f600@user.com"}) {
    Add(name);
    expected.push_back("compacting " + Utf8FromWide(name));
    expected.emplace_back("Compacting done");
  }
  ExpectRun(WithLog("-compactQsf -p Main -e user"), expected, Good());
  EXPECT_EQ(Middle(LogLines()), expected);
}

TEST_F(RunLogTest, ItsOwnNameMayHaveAnyLetters) {
  const std::wstring path = StorePath(kNames + L".log");
  AddRoot();
  ExpectRun(Words{L"-log", path} + "-findUsers -p Main -e nobody", {}, Good());
  EXPECT_EQ(WithoutTimes(BytesOf(path)).size(), 3U);
}

// Lines that the tool has cut.

struct CutCase : NamedCase {
  Words words;
  std::string begin;
  bool good;
};

class RunCutLineTest : public RunTest, public ::testing::WithParamInterface<CutCase> {};

TEST_P(RunCutLineTest, CountsByItsBeginning) {
  Add(L"ann");
  const std::wstring name(300, L'n');
  const std::string line = GetParam().begin + std::string(254 - GetParam().begin.size(), 'n');
  ASSERT_EQ(line.size(), 254U);
  if (GetParam().words.front() == L"-compactQsf") profile_.AddSecondaryStore(name, FileOf(L"bob"));
  Words words = GetParam().words;
  std::replace(words.begin(), words.end(), std::wstring(L"NAME"), name);
  if (GetParam().words.front() == L"-compactQsf") {
    ExpectRun(words, {line, "Compacting done"}, Good());
  } else {
    ExpectRun(words, {line}, GetParam().good ? Good() : Trouble({line}));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Lines, RunCutLineTest,
    ::testing::Values(CutCase{"NothingMarked", "-scanQsf -p NAME -m",
                              "No .qsf files have been marked as corrupt with [", true},
                      CutCase{"NoStores", "-scanQsf -p NAME", "No .qsf files associated with [",
                              false},
                      CutCase{"Compacting", "-compactQsf -p Main -e nnn", "compacting ", true}),
    kByName);

// The order of file and screen.

// Somebody who does not read keeps the screen from taking more. The line that waits for it can be
// seen in the pipe already, and is in the log.
TEST_F(RunStandInTest, ALineIsInTheLogBeforeItIsOnTheScreen) {
  PrepareToStartPrograms();
  HANDLE read = nullptr;
  HANDLE write = nullptr;
  ASSERT_TRUE(CreatePipe(&read, &write, nullptr, 4096));
  const platform::KernelHandle screen(read);
  ChildStreams streams;
  streams.output = platform::KernelHandle(write);
  ASSERT_TRUE(CreatePipe(&read, &write, nullptr, 4096));
  streams.input = platform::KernelHandle(read);
  const platform::KernelHandle input(write);
  ASSERT_TRUE(CreatePipe(&read, &write, nullptr, 4096));
  const platform::KernelHandle error(read);
  streams.error = platform::KernelHandle(write);
  const ChildProcess child = StartChild(WithLog("count 20000"), Prepare({}), streams);
  streams = {};
  ASSERT_TRUE(child.process);

  uintmax_t size = 0;
  for (int i = 0, still = 0; i < 300 && still < 15; ++i) {
    Sleep(100);
    std::error_code none;
    const uintmax_t now = std::filesystem::file_size(Log(), none);
    still = now == size && !none ? still + 1 : 0;
    size = none ? 0 : now;
  }
  ASSERT_EQ(WaitForSingleObject(child.process.Get(), 0), DWORD{WAIT_TIMEOUT});
  std::string shown(1 << 20, '\0');
  DWORD count = 0;
  ASSERT_TRUE(PeekNamedPipe(screen.Get(), shown.data(), static_cast<DWORD>(shown.size()), &count,
                            nullptr, nullptr));
  shown.resize(count);
  const std::string log = BytesOf(Log());
  const auto shownLines = std::count(shown.begin(), shown.end(), '\n');
  const auto loggedLines = std::count(log.begin(), log.end(), '\n') - 2;
  EXPECT_GT(shownLines, 100);
  EXPECT_GE(loggedLines, shownLines);
  TerminateJobObject(child.job.Get(), 1);
}

// A log that cannot be written any more.

class RunFullLogTest : public RunTest {
 protected:
  static constexpr wchar_t kFull[] = L"Z:\\dev\\full";

  void SetUp() override {
    RunTest::SetUp();
    const platform::KernelHandle full = platform::TakeFileHandle(
        CreateFileW(kFull, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                    OPEN_EXISTING, 0, nullptr));
    if (!full) GTEST_SKIP() << "this host has no file that is always full";
  }

  // It is said in the last line, and nowhere else.
  static RunEnding Lost(RunEnding ending, DWORD code) {
    std::string& last = ending.lines.back();
    last.replace(last.find("code ") + 5, 1, std::to_string(code));
    last += "; the log could not be written (error 112)";
    ending.code = code;
    return ending;
  }
  Words WithFullLog(const Words& words) const { return Words{L"-log", kFull} + words; }
};

TEST_F(RunFullLogTest, AGoodRunGoesOnAndEndsAsAFault) {
  Add(L"ann");
  ExpectRun(WithFullLog("-findUsers -p Main -e ann"), kFoundAnn, Lost(Good(), 5));
}

TEST_F(RunFullLogTest, ARunThatDoesNotComeAboutEndsAsAFault) {
  Faults().FailEach("MAPIInitialize", 0x80004005);
  ExpectRun(WithFullLog("-findUsers -p Main -e ann"), {kNoMapi},
            Lost(NotRun("not run: MAPI cannot be initialized"), 5));
}

TEST_F(RunFullLogTest, TroubleStaysTrouble) {
  AddOrphan(L"bob");
  const Strings orphan = Lines(OrphanDeleted("bob@example.com"));
  ExpectRun(WithFullLog("-findUsers -p Main -e nobody"), orphan, Lost(Trouble(orphan), 2));
}

TEST_F(RunFullLogTest, TheEndOfTheTimeStaysThat) {
  AllowLeaks();
  Faults().DelayNth("ICommand::Execute", 1, 10000);
  ExpectRun(WithFullLog("-timeout 0.02 -listServers"), {},
            Lost({3, {"qrvrun: exit code 3, time ran out"}}, 3));
}

TEST_F(RunFullLogTest, CtrlCStaysCtrlC) {
  AllowLeaks();
  Faults().DelayNth("ICommand::Execute", 1, 10000);
  RunningProgram program = StartAdmin(WithFullLog("-listServers"));
  for (int i = 0; i < 200 && !ToolWasStarted(); ++i) Sleep(50);
  Sleep(300);
  ASSERT_TRUE(program.SendCtrlC());
  Expect(program.Wait(), {}, Lost({4, {"qrvrun: exit code 4, Ctrl+C"}}, 4));
}

}  // namespace
}  // namespace e2e
