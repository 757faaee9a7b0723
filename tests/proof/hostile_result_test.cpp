// Results of the database, texts of other programs' windows, and standard outputs as no
// administrator has them.
#include <optional>

#include "tests/e2e/support/child_process.h"
#include "tests/e2e/support/pipe_reader.h"
#include "tests/proof/hostile.h"

namespace e2e {
namespace {

// What the database returns.

class HostileSqlTest : public HostileTest {
 protected:
  static std::optional<std::wstring> AnyName(proof::Random& random) {
    if (random.OneIn(8)) return std::nullopt;
    if (random.OneIn(2))
      return random.Text(
          random.Pick<size_t>({0, 1, 253, 254, 255, 4000, 4094, 4095, 4096, 4097, 8000}));
    return random.AnyText(4097);
  }
  static std::optional<int32_t> AnyNumber(proof::Random& random) {
    if (random.OneIn(12)) return std::nullopt;
    return random.Pick<int32_t>(
        {0, 1, 7, -1, INT32_MAX, INT32_MIN, 127, 128, 255, 256, 32767, 32768, 65535, 65536});
  }

  void MakeRows(proof::Random& random, std::string* shown) {
    Database().CreateTables();
    const uint32_t servers = random.Below(5);
    for (uint32_t i = 0; i < servers; ++i) {
      lab::BesServer server;
      server.id = random.OneIn(2) ? std::optional<int32_t>(7) : AnyNumber(random);
      server.machineName = AnyName(random);
      *shown += "\n  server " + (server.id ? std::to_string(*server.id) : "NULL") + " " +
                (server.machineName ? Hex(*server.machineName) : "NULL");
      Database().AddServer(server);
    }
    Database().AddServer(7, L"SRV");
    std::vector<lab::BesUser> users;
    for (uint32_t i = random.Pick<uint32_t>({0, 1, 5, 99, 100, 101}); i > 0; --i) {
      lab::BesUser user;
      user.serverConfigId = 7;
      user.userName = random.OneIn(3) ? AnyName(random) : L"user" + std::to_wstring(i);
      user.agentId = random.OneIn(3) ? AnyNumber(random) : 200;
      users.push_back(user);
    }
    *shown += "\n  users " + std::to_string(users.size());
    Database().AddUsers(users);
  }

  // What stands between the database and the tool: types, and values that do not come.
  std::wstring AnyOptions(proof::Random& random) {
    std::wstring options = L"text=";
    options += random.Pick<const wchar_t*>({L"wstr", L"str", L"bstr"});
    if (random.OneIn(2)) {
      options += L";integer=";
      options += random.Pick<const wchar_t*>(
          {L"i1", L"i2", L"i4", L"i8", L"ui1", L"ui2", L"ui4", L"ui8", L"numeric"});
    }
    if (random.OneIn(4)) options += L";column:MachineName=i4";
    if (random.OneIn(4)) options += L";rows=1";
    return options;
  }
  std::string PlanFaults(proof::Random& random, bool counts) {
    Faults() = {};
    if (!random.OneIn(3)) return {};
    const std::string what =
        random.Pick<const char*>({"value-null:Id", "value-null:MachineName", "value-null:UserName",
                                  "value-status:Id", "value-status:AgentId", "column-extra",
                                  "column-lacking", "column-nameless:Id", "first-row", "next-row"});
    // A count without its column would be a result without any, which no database has.
    if (counts && what == "column-lacking") return {};
    const uint32_t nth = 1 + random.Below(3);
    const bool isStatus = what.starts_with("value-status");
    const uint32_t result = isStatus ? random.Below(12) : what.ends_with("row") ? 0x80004005 : 1;
    Faults().FailNth(what, nth, result);
    return "\n  " + what + " " + std::to_string(nth) + " " + std::to_string(result);
  }

  // The database is one for all: a run at a time.
  HostileCase MakeCase(proof::Random& random) {
    HostileCase made;
    MakeRows(random, &made.shown);
    const bool counts = random.OneIn(4);
    made.shown += PlanFaults(random, counts);
    const std::wstring options = AnyOptions(random);
    made.shown += "\n  " + Utf8FromWide(options);
    made.options.environment[L"QRVLAB_OLEDB_OPTIONS"] = options;
    if (counts) {
      made.arguments = {L"-listServers", L"-c"};
    } else if (random.OneIn(3)) {
      made.arguments = {L"-listServers"};
    } else {
      made.arguments = {L"-listAgents", L"-v", L"-s", L"srv"};
    }
    made.shown += Shown(made.arguments);
    made.judge = [isVerbose = made.arguments[0] == L"-listAgents"](const RunResult& result) {
      ExpectKnownLines(result);
      if (isVerbose) ExpectLast(result, "Exiting.");
    };
    return made;
  }

  // Without anything between: the listing is known to the letter.
  HostileCase ListCase(proof::Random& random) {
    HostileCase made;
    Database().CreateTables();
    std::map<std::wstring, int32_t> listed;
    for (uint32_t i = random.Below(6); i > 0; --i) {
      std::wstring name = random.Text(random.Pick<size_t>({1, 8, 253, 254, 255, 4000, 4095}));
      // A half of a pair does not survive the database.
      name = WideFromUtf8(Utf8FromWide(name));
      const int32_t id = random.Pick<int32_t>({0, 7, -1, INT32_MAX, INT32_MIN});
      made.shown += "\n  " + std::to_string(id) + " " + Hex(name);
      Database().AddServer(id, name);
      listed.emplace(name, id);
    }
    std::string expected;
    for (const auto& [name, id] : listed) {
      expected += Text({"Id: " + std::to_string(id)}) + proof::Printed(L"MachineName: " + name) +
                  Text({" "});
    }
    Faults() = {};
    made.arguments = {L"-listServers"};
    made.judge = [expected](const RunResult& result) {
      EXPECT_EQ(Visible(result.output), Visible(expected));
    };
    return made;
  }
};

TEST_P(HostileSqlTest, IsToldOrRefused) {
  RunCases(
      "SQL results", 400, 20, [this](proof::Random& random, uint32_t) { return MakeCase(random); },
      1);
}
TEST_P(HostileSqlTest, IsListedToTheLetter) {
  RunCases(
      "SQL results", 200, 8, [this](proof::Random& random, uint32_t) { return ListCase(random); },
      1);
}

INSTANTIATE_TEST_SUITE_P(, HostileSqlTest, ::testing::Range(0U, 4U), kByShare);

// The texts of windows.

class HostileWindowTest : public HostileTest {
 protected:
  // What a control and a plan's rule keep as it is.
  static std::wstring Title(proof::Random& random) {
    std::wstring text = random.Text(
        random.Pick<size_t>({1, 12, 100, 253, 259, 260, 261, 2046, 2047, 2048, 2049, 4100}));
    for (wchar_t& c : text) {
      if (c < L' ' || c >= 0xD800) c = L'x';
    }
    return text;
  }

  // One of the profile's own: the repair tool says why it does not work on its file.
  HostileCase RepairCase(proof::Random& random, uint32_t index) const {
    HostileCase made;
    const lab::Profile profile(ProfileName(index));
    profile.AddSecondaryStore(L"ann@example.com", StorePath(L"ann.qsf"), {.withFile = false});
    lab::RepairOptions options;
    options.outcome = lab::RepairOutcome::kErrorBox;
    options.errorText = Title(random);
    PlanTool(options);
    made.shown = "error text " + Hex(options.errorText);
    made.arguments = {L"-scanQsf", L"-p", profile.Name()};
    // The buffer is the control's text and its terminator.
    const std::wstring text = options.errorText.substr(0, 2047);
    const std::string expected = proof::Printed(L"scanning " + StorePath(L"ann.qsf")) +
                                 proof::Printed(L"CheckRepairQsf. ScanPST Error: " + text) +
                                 Text({"file scan error."});
    made.judge = [expected](const RunResult& result) {
      EXPECT_EQ(Visible(result.output), Visible(expected));
    };
    return made;
  }

  // A dialog of another title stands before each compaction and is closed.
  HostileCase CompactCase(proof::Random& random, uint32_t index) const {
    HostileCase made;
    const lab::Profile profile(ProfileName(index));
    const std::wstring number = std::to_wstring(index);
    profile.AddSecondaryStore(L"ann" + number + L"@example.com",
                              StorePath(L"ann" + number + L".qsf"));
    const std::wstring title = random.OneIn(4) ? L"Compact Now" + Title(random) : Title(random);
    lab::CompactionPlan plan;
    plan.Dialog(L"*", {.title = title});
    plan.Takes(L"*", 10);
    PlanCompaction(plan);
    made.shown = "title " + Hex(title);
    made.arguments = {L"-compactQsf", L"-p", profile.Name()};
    made.judge = [number = Utf8FromWide(number)](const RunResult& result) {
      EXPECT_EQ(result.output,
                Text({"compacting ann" + number + "@example.com", "Compacting done"}));
    };
    return made;
  }
};

TEST_P(HostileWindowTest, TheRepairToolsTextIsShown) {
  RunCases(
      "window texts", 80, 4,
      [this](proof::Random& random, uint32_t index) { return RepairCase(random, index); }, 1);
}
TEST_P(HostileWindowTest, ADialogOfAnyTitleIsClosed) {
  RunCases(
      "window texts", 120, 4,
      [this](proof::Random& random, uint32_t index) { return CompactCase(random, index); }, 1);
}

INSTANTIATE_TEST_SUITE_P(, HostileWindowTest, ::testing::Range(0U, 4U), kByShare);

// Standard output.

enum class Output { kNone, kClosedPipe, kClosedLater, kFull, kReadOnly, kSlow, kSmallPipe };

class HostileOutputTest : public HostileTest {
 protected:
  static constexpr size_t kStores = 40;

  void SetUp() override {
    HostileTest::SetUp();
    for (size_t i = 0; i < kStores; ++i) {
      Add(L"user" + std::to_wstring(i), {.withFile = i == 0});
      expected_ += Text({"Email: user" + std::to_string(i) + "@example.com", "Type: QSF store",
                         "QSF: user" + std::to_string(i) + ".qsf", "Embedded stores: none", " "});
    }
  }

  static platform::KernelHandle Open(const std::wstring& path, DWORD access) {
    return platform::TakeFileHandle(
        CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, 0, nullptr));
  }

  // Both ends of a pipe.
  static void MakePipe(DWORD size, platform::KernelHandle* read, platform::KernelHandle* write) {
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    ASSERT_TRUE(CreatePipe(&readEnd, &writeEnd, nullptr, size));
    *read = platform::KernelHandle(readEnd);
    *write = platform::KernelHandle(writeEnd);
  }

  // Runs -purgeQsf -f, whose work can be seen without its output, or -findUsers for its lines.
  void RunCase(proof::Random& random) {
    const auto kind = static_cast<Output>(random.Below(7));
    SCOPED_TRACE("output " + std::to_string(static_cast<int>(kind)));
    const bool isRead = kind == Output::kSlow || kind == Output::kSmallPipe;
    const std::wstring unused = StorePath(L"unused.qsf");
    ASSERT_TRUE(lab::WriteWholeFile(unused, "x"));
    platform::KernelHandle read;
    ChildStreams streams;
    platform::KernelHandle errorRead;
    MakePipe(0, &errorRead, &streams.error);
    if (kind == Output::kFull) {
      streams.output = Open(L"\\\\?\\unix\\dev\\full", GENERIC_WRITE);
      ASSERT_TRUE(streams.output);
    } else if (kind == Output::kReadOnly) {
      streams.output = Open(unused, GENERIC_READ);
    } else if (kind != Output::kNone) {
      MakePipe(isRead ? 1 + random.Below(300) : 65536, &read, &streams.output);
    }
    if (kind == Output::kClosedPipe) read = {};
    const Words words = isRead ? Words("-findUsers -p Main -e @") : Words("-purgeQsf -f -v");
    ChildProcess child = StartChild(words, Prepare({}), streams);
    ASSERT_TRUE(child.process);
    streams = {};
    if (kind == Output::kClosedLater) {
      Sleep(random.Below(300));
      read = {};
    }
    std::string printed;
    if (isRead) printed = ReadSlowly(random, read.Get(), kind == Output::kSlow ? 200 : 5);
    ASSERT_EQ(WaitForSingleObject(child.process.Get(), 300000), WAIT_OBJECT_0) << "does not end";
    DWORD exitCode = 1;
    GetExitCodeProcess(child.process.Get(), &exitCode);
    EXPECT_EQ(exitCode, 0U);
    if (isRead) {
      EXPECT_EQ(printed, expected_);
    } else {
      EXPECT_FALSE(Exists(unused)) << "the work was not done";
    }
    ClearJournal();
  }

 private:
  // Reads with pauses, in pieces of any size.
  static std::string ReadSlowly(proof::Random& random, HANDLE pipe, uint32_t pause) {
    std::string collected;
    char buffer[2000];
    DWORD size = 0;
    Sleep(random.Below(10 * pause));
    while (ReadFile(pipe, buffer, 1 + random.Below(sizeof(buffer)), &size, nullptr)) {
      collected.append(buffer, size);
      if (random.OneIn(4)) Sleep(random.Below(pause));
    }
    return collected;
  }

  std::string expected_;
};

TEST_P(HostileOutputTest, TheWorkIsDoneAndWhatIsReadIsWhole) {
  const uint32_t count = proof::IsWhole() ? 240 : 8;
  uint32_t ran = 0;
  for (uint32_t index = GetParam(); index < count && !HasFailure(); index += kShares, ++ran) {
    SCOPED_TRACE("case " + std::to_string(index));
    proof::Random random("standard output", index);
    RunCase(random);
  }
  proof::Record("standard output", ran);
}

INSTANTIATE_TEST_SUITE_P(, HostileOutputTest, ::testing::Range(0U, 4U), kByShare);

}  // namespace
}  // namespace e2e
