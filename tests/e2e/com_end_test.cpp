// Which runs end COM, and which leave it to the end of the process.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/e2e/common_lines.h"
#include "tests/e2e/support/database_lab_test.h"
#include "tests/e2e/support/named_case.h"
#include "tests/e2e/support/output.h"

namespace e2e {
namespace {

constexpr uint32_t kRefused = 0x80004005;

// How often a run starts COM and ends it.
struct Com {
  size_t starts;
  size_t ends;

  bool operator==(const Com&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const Com& com) {
    return out << com.starts << " started, " << com.ends << " ended";
  }
};
constexpr Com kUnused = {0, 0};
constexpr Com kEnded = {1, 1};
constexpr Com kLeftOpen = {1, 0};

// A run with one call failing, or with none.
struct ComCase : NamedCase {
  Words words;
  std::string failing;
  uint32_t nth;
  Com com;
};

class ComEndTest : public DatabaseLabTest, public ::testing::WithParamInterface<ComCase> {
 protected:
  void SetUp() override {
    DatabaseLabTest::SetUp();
    AddRoot();
    Add(L"ann");
    Database().AddServer(7, ComputerName());
    AddUser(7, L"ann@example.com");
  }

  Com Seen() const { return {Calls("CoInitialize").size(), Calls("CoUninitialize").size()}; }

  // COM is the main thread's, which starts it before anything else works on it.
  void ExpectOneThread() const {
    const auto starts = Calls("CoInitialize");
    for (const lab::JournalEntry& end : Calls("CoUninitialize")) {
      EXPECT_EQ(end.threadId, starts.at(0).threadId);
      EXPECT_GE(end.startMicros, starts.at(0).endMicros);
    }
  }
};

TEST_P(ComEndTest, AsItsPathSays) {
  Faults().JournalSystemCalls();
  if (GetParam().nth) Faults().FailNth(GetParam().failing, GetParam().nth, kRefused);
  Run(GetParam().words);
  EXPECT_EQ(Seen(), GetParam().com);
  ExpectOneThread();
  if (GetParam().nth == 0) return;
  const auto failed = Calls(GetParam().failing.substr(0, GetParam().failing.find('@')));
  EXPECT_TRUE(std::any_of(failed.begin(), failed.end(), [](const lab::JournalEntry& call) {
    return call.Argument("injected") == "yes";
  }));
}

const Words kServers = "-listServers -c";
const Words kAgents = "-listAgents -v -s " + Words{ComputerName()};
const Words kAssign = "-assignAgents -p Main";
const Words kCompact = "-compactQsf -p Main";
const Words kPurge = "-purgeQsf -f";

INSTANTIATE_TEST_SUITE_P(
    ListServers, ComEndTest,
    ::testing::Values(ComCase{"Listed", kServers, "", 0, kEnded},
                      ComCase{"NotStarted", kServers, "CoInitialize", 1, kLeftOpen},
                      ComCase{"NoConnection", kServers, "CoCreateInstance", 1, kEnded},
                      ComCase{"NoRows", kServers, "IRowset::GetNextRows", 1, kEnded}),
    kByName);

INSTANTIATE_TEST_SUITE_P(
    ListAgents, ComEndTest,
    ::testing::Values(ComCase{"Listed", kAgents, "", 0, kEnded},
                      ComCase{"Usage", "-listAgents -s", "", 0, kUnused},
                      ComCase{"UnknownServer", "-listAgents -s NOBODY", "", 0, kEnded},
                      ComCase{"NotStarted", kAgents, "CoInitialize", 1, kLeftOpen},
                      ComCase{"NoConnection", kAgents, "CoCreateInstance", 1, kEnded},
                      ComCase{"NoRows", kAgents, "IRowset::GetNextRows", 1, kEnded}),
    kByName);

INSTANTIATE_TEST_SUITE_P(
    AssignAgents, ComEndTest,
    ::testing::Values(ComCase{"Assigned", kAssign, "", 0, kEnded},
                      ComCase{"NotStarted", kAssign, "CoInitialize", 1, kLeftOpen},
                      ComCase{"NoComputerName", kAssign, "GetComputerNameExW", 1, kLeftOpen},
                      ComCase{"NoConnection", kAssign, "CoCreateInstance", 1, kLeftOpen},
                      ComCase{"NoUsers", kAssign, "ICommand::Execute", 2, kLeftOpen},
                      ComCase{"NoProfile", kAssign, "MAPIAdminProfiles", 1, kLeftOpen},
                      ComCase{"FailedBatch", kAssign, "ICommand::Execute", 3, kEnded}),
    kByName);

INSTANTIATE_TEST_SUITE_P(
    CompactQsf, ComEndTest,
    ::testing::Values(ComCase{"Compacted", kCompact, "", 0, kEnded},
                      ComCase{"NotStarted", kCompact, "CoInitialize", 1, kLeftOpen},
                      ComCase{"NoCache", kCompact, "MAPIAdminProfiles", 1, kLeftOpen},
                      ComCase{"NoProfiles", kCompact, "MAPIAdminProfiles", 2, kLeftOpen},
                      ComCase{"NoServices", kCompact, "IProfAdmin::AdminServices", 2, kEnded},
                      ComCase{"FailedStore", kCompact, "IMsgServiceAdmin::ConfigureMsgService", 1,
                              kEnded}),
    kByName);

INSTANTIATE_TEST_SUITE_P(
    PurgeQsf, ComEndTest,
    ::testing::Values(ComCase{"Purged", kPurge, "", 0, kEnded},
                      ComCase{"NotStarted", kPurge, "CoInitialize", 1, kLeftOpen},
                      ComCase{"NoProfiles", kPurge, "MAPIAdminProfiles", 1, kLeftOpen},
                      ComCase{"NoTable", kPurge, "IProfAdmin::GetProfileTable", 1, kLeftOpen},
                      ComCase{"NoRows", kPurge, "HrQueryAllRows@ProfileTable", 1, kLeftOpen},
                      ComCase{"NoCache", kPurge, "MAPIAdminProfiles", 2, kLeftOpen}),
    kByName);

// The others work without COM, or leave it to MAPI.
INSTANTIATE_TEST_SUITE_P(Others, ComEndTest,
                         ::testing::Values(ComCase{"CheckQsf", "-checkQsf -p Main", "", 0, kUnused},
                                           ComCase{"FindUsers", "-findUsers -p Main -e a", "", 0,
                                                   kUnused},
                                           ComCase{"ScanQsf", "-scanQsf -p Nobody", "", 0, kUnused},
                                           ComCase{"Help", "-h", "", 0, kUnused}),
                         kByName);

}  // namespace
}  // namespace e2e
