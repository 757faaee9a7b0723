// -assignAgents with as many users as a large server has: that every one of them ends up where the
// rotation puts it, and how much of the time is the program's own.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "lab/common/installation.h"
#include "tests/e2e/support/database_lab_test.h"
#include "tests/e2e/support/output.h"

namespace e2e {
namespace {

using std::chrono::microseconds;

constexpr uint32_t kUsers = 10000;
constexpr int32_t kServerId = 7;

using Entries = std::vector<lab::JournalEntry>;

// What a run's time went into.
struct Shares {
  microseconds whole{};
  microseconds calls{};  // inside calls of the lab
  microseconds idle{};   // between calls, without the program's doing
  microseconds Own() const { return whole - calls - idle; }
};

std::ostream& operator<<(std::ostream& out, const Shares& shares) {
  return out << "of " << shares.whole.count() << " us, " << shares.calls.count() << " in calls, "
             << shares.idle.count() << " between them, " << shares.Own().count()
             << " the program's own";
}

uint64_t GapBefore(const Entries& journal, size_t index) {
  return journal[index].startMicros - journal[index - 1].endMicros;
}

// Whether the program has nothing to do between the call and the one before it: the time is the
// lab's, for the journal's line and for what it puts off until its call has ended.
bool FollowsAtOnce(const Entries& journal, size_t index) {
  const std::string& before = journal[index - 1].call;
  const std::string& call = journal[index].call;
  return (before == "IMAPITable::Restrict" && call == "HrQueryAllRows") ||
         (before == "IMsgServiceAdmin::AdminProviders" &&
          call == "IProviderAdmin::GetProviderTable");
}

// The time between calls that is not the program's: where it has nothing to do all of it, elsewhere
// as much as passes on average between two calls of the simplest such pair.
microseconds IdleTime(const Entries& journal) {
  uint64_t simplest = 0;
  uint64_t pairs = 0;
  uint64_t atOnce = 0;
  uint64_t others = 0;
  for (size_t i = 1; i < journal.size(); ++i) {
    if (!FollowsAtOnce(journal, i)) {
      ++others;
      continue;
    }
    atOnce += GapBefore(journal, i);
    if (journal[i].call != "HrQueryAllRows") continue;
    simplest += GapBefore(journal, i);
    ++pairs;
  }
  EXPECT_GT(pairs, kUsers);
  return microseconds(atOnce + others * simplest / std::max<uint64_t>(pairs, 1));
}

// The time inside the outermost calls of the run's one thread.
microseconds CallTime(const Entries& journal) {
  std::vector<std::pair<uint64_t, uint64_t>> spans;
  for (const lab::JournalEntry& entry : journal) {
    spans.emplace_back(entry.startMicros, entry.endMicros);
  }
  std::sort(spans.begin(), spans.end());
  uint64_t sum = 0;
  uint64_t covered = 0;
  for (const auto& [start, end] : spans) {
    if (end <= covered) continue;
    sum += end - std::max(start, covered);
    covered = end;
  }
  return microseconds(sum);
}

class AssignAgentsScaleTest : public DatabaseLabTest {
 protected:
  void SetUp() override {
    DatabaseLabTest::SetUp();
    SetProviderOptions(L"journal=brief");
    Database().AddServer(kServerId, ComputerName());
    Database().AddSampleUsers(kServerId, kUsers);
    Database().Run(L"CREATE INDEX ByMailbox ON UserConfig (MailboxDN)");
    AddStores();
  }

  void AddStores() {
    AddRoot();
    std::vector<std::wstring> addresses;
    for (uint32_t n = 1; n <= kUsers; ++n) {
      addresses.push_back(L"user" + std::to_wstring(n) + L"@example.com");
    }
    profile_.AddSecondaryStores(addresses, Directory().wstring());
  }
};

TEST_F(AssignAgentsScaleTest, TenThousandUsersAreSpreadOverTheirAgents) {
  constexpr int kBase = 100;
  constexpr int kAgents = 7;
  const RunOptions options = {.timeout = std::chrono::minutes(5)};
  const uint64_t start = lab::NowMicros();
  const std::string output = Run("-assignAgents -p Main -b 100 -n 7", options);
  const microseconds whole(lab::NowMicros() - start);

  Strings expected = {"Base Agentid=100", "Number of Agents=7"};
  for (uint32_t done = 100; done <= kUsers; done += 100) {
    expected.push_back("Assigned " + std::to_string(done) + " of 10000 users ...");
  }
  expected.push_back("Done");
  EXPECT_EQ(Lines(output), expected);

  const std::vector<lab::BesUser> users = Database().Users(kServerId);
  EXPECT_EQ(users.size(), kUsers);
  for (const lab::BesUser& user : users) {
    const int number = std::stoi(user.mailboxDn->substr(4));
    ASSERT_EQ(user.agentId, kBase + (number - 1) % kAgents) << number;
  }

  const Entries journal = Journal();
  const Shares shares = {whole, CallTime(journal), IdleTime(journal)};
  std::cout << journal.size() << " calls; " << shares << '\n';
  EXPECT_LT(shares.Own() * 10, shares.whole) << shares;
}

}  // namespace
}  // namespace e2e
