// -assignAgents with each of its calls failing once: with a user whose store is to be created, and
// with more users than a batch of statements takes.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "lab/bes/bes_database.h"
#include "tests/e2e/support/output.h"
#include "tests/proof/cache_model.h"
#include "tests/proof/database_model.h"
#include "tests/proof/fault_sweep.h"
#include "tests/proof/logon_model.h"

namespace e2e {
namespace {

constexpr char kFunction[] = "AssignUsersToAgents";
constexpr char kLoadFailed[] = "StoreManager::LoadCache failed";
constexpr size_t kBatchSize = 100;
constexpr int kBaseAgent = 10;
constexpr int kAgents = 2;

constexpr int32_t kServer = 7;
constexpr int32_t kOtherServer = 8;
constexpr char kOthersUser[] = "zoe";

lab::BesDatabase DatabaseOf(const SweptRun& run) {
  return lab::BesDatabase(lab::SqliteConnectionString(run.Directory() + L"\\bes.sqlite"),
                          lab::OdbcText::kUtf8);
}

lab::BesUser User(int32_t server, const std::string& name) {
  const std::wstring address = WideFromUtf8(MailOf(name));
  lab::BesUser user;
  user.serverConfigId = server;
  user.userName = address;
  user.mailboxDn = address;
  return user;
}

// Whether it is a failure, which is then printed.
bool Told(ModelRun& run, const char* what, uint32_t status) {
  if (Fails(status)) run.PrintFailure(kFunction, what, status);
  return Fails(status);
}

// The updates on their way into the database.
class Batches {
 public:
  Batches(ModelRun& run, DatabaseModel& database, size_t stores)
      : run_(run), database_(database), stores_(stores) {}

  void Append(const std::string& name, int agent) {
    batch_.push_back({name, agent});
    ++assigned_;
    if (batch_.size() == kBatchSize) Execute();
  }
  void Execute() {
    if (batch_.empty()) return;
    failed_ = Told(run_, "Failed to execute SQL", database_.Execute(batch_));
    batch_.clear();
    if (failed_) return;
    run_.Print("Assigned " + std::to_string(assigned_) + " of " + std::to_string(stores_) +
               " users ...");
  }
  // Whether the last batch has.
  bool Failed() const { return failed_; }

 private:
  ModelRun& run_;
  DatabaseModel& database_;
  const size_t stores_;
  DatabaseModel::Batch batch_;
  size_t assigned_ = 0;
  bool failed_ = false;
};

class AssignSweep : public FaultSweepTest {
 protected:
  // The server's users.
  virtual Strings Users() const = 0;
  virtual bool CreatesStores() const = 0;

  void MakeDatabase(const SweptRun& run) const {
    lab::BesDatabase database = DatabaseOf(run);
    database.CreateTables();
    database.AddServer(kOtherServer, L"OTHER");
    database.AddServer(kServer, ComputerName());
    std::vector<lab::BesUser> users = {User(kOtherServer, kOthersUser)};
    for (const std::string& name : Users()) users.push_back(User(kServer, name));
    database.AddUsers(users);
  }

  std::map<std::string, int> FirstAgents() const {
    std::map<std::string, int> agents = {{kOthersUser, 0}};
    for (const std::string& name : Users()) agents[name] = 0;
    return agents;
  }

  Strings Observe(const SweptRun& run) const override {
    Strings lines = FaultSweepTest::Observe(run);
    for (const lab::BesUser& user : DatabaseOf(run).Users()) {
      const std::string address = Utf8FromWide(user.mailboxDn.value());
      lines.push_back("user " + address.substr(0, address.find('@')) + " of agent " +
                      std::to_string(user.agentId.value()));
    }
    return Sorted(lines);
  }

  void Walk(ModelRun& run) const override {
    if (run.InitializeMapi()) {
      Assign(run);
      run.StartController();
    }
    run.Print("Exiting.");
  }

 private:
  void Assign(ModelRun& run) const {
    run.Print("The Control Handler is installed.");
    run.Print("Base Agentid=" + std::to_string(kBaseAgent));
    run.Print("Number of Agents=" + std::to_string(kAgents));
    DatabaseModel database(run);
    uint32_t status = database.GetServers(2);
    if (Told(run, "GetServers failed", status)) return;
    status = database.GetServerUserNames(static_cast<uint32_t>(Users().size()));
    if (Told(run, "GetServerUserNames failed", status)) return;
    CacheModel cache(run);
    if (Told(run, kLoadFailed, cache.Load(false))) return;
    if (CreatesStores() && !Create(run, cache)) return;
    Update(run, cache, database);
    run.Print("Done");
  }

  Strings WithoutStore(const CacheModel& cache) const {
    Strings names = Users();
    std::erase_if(names, [&](const std::string& name) { return cache.Find(name) != nullptr; });
    return Sorted(names);
  }

  bool Create(ModelRun& run, CacheModel& cache) const {
    const Strings names = WithoutStore(cache);
    if (names.empty()) return true;
    run.Print(std::string(kFunction) + ": Creating " + std::to_string(names.size()) +
              " MAPI stores...");
    std::map<std::string, uint32_t> results;
    const uint32_t status = LogonToStores(run, names, LogonMode::kCreate, &results);
    if (Told(run, "LogonToStores failed", status)) return false;
    if (Told(run, kLoadFailed, cache.Load(false))) return false;
    const bool missing = !WithoutStore(cache).empty();
    return !Told(run, "Failed to create MAPI stores", missing ? kFail : 0);
  }

  // Each store with a file gets the next agent, and those embedded in it the same.
  static void Update(ModelRun& run, const CacheModel& cache, DatabaseModel& database) {
    Batches batches(run, database, cache.Stores().size());
    int turn = 0;
    for (const auto& [order, record] : cache.Stores()) {
      if (batches.Failed()) break;
      if (record.store.IsEmbedded()) continue;
      const int agent = kBaseAgent + turn++ % kAgents;
      batches.Append(record.store.name, agent);
      for (const std::string& child : record.children) batches.Append(child, agent);
    }
    batches.Execute();
  }
};

// One of the users has no store.
class AssignFaultSweepTest : public AssignSweep {
 protected:
  Words Arguments() const override { return "-assignAgents -c -v -b 10"; }
  Strings Users() const override { return {"eve", "ann", "gil", "hal", "bob"}; }
  bool CreatesStores() const override { return true; }

  void Install(const SweptRun& run) const override {
    FaultSweepTest::Install(run);
    MakeDatabase(run);
  }
  World FirstWorld() const override {
    World world = NewWorld();
    world.agents = FirstAgents();
    return world;
  }
};

TEST_P(AssignFaultSweepTest, EachFaultHasTheOutcomeOfTheModel) { Sweep("-assignAgents"); }

INSTANTIATE_TEST_SUITE_P(, AssignFaultSweepTest, SweepShares(), kByShare);

// The last statement of the first batch is that of a store in which another one is embedded.
class BatchFaultSweepTest : public AssignSweep {
 protected:
  static constexpr char kParent[] = "user100";
  static constexpr char kChild[] = "child";

  Words Arguments() const override { return "-assignAgents -e -c -v -b 10"; }
  bool CreatesStores() const override { return false; }
  // Behind those of the two queries come those of the first batch.
  uint32_t ShortPlace(uint32_t) const override { return 3; }
  bool Sweeps(const std::string& operation) const override {
    return operation == "statement" || operation.starts_with("ICommand") ||
           operation.starts_with("IDBCreateCommand");
  }

  Strings Users() const override { return Parents() + Strings{kChild}; }

  void Install(const SweptRun& run) const override {
    const lab::Profile& profile = run.Profile();
    profile.AddRootStore(WideFromUtf8(MailOf("bes")), run.Directory() + L"\\bes.qsf");
    std::vector<std::wstring> addresses;
    for (const std::string& name : Parents()) addresses.push_back(WideFromUtf8(MailOf(name)));
    profile.AddSecondaryStores(addresses, run.Directory());
    const auto parent = profile.Find(WideFromUtf8(MailOf(kParent)));
    profile.AddEmbeddedStore(WideFromUtf8(MailOf(kChild)), parent.value());
    MakeDatabase(run);
  }

  World FirstWorld() const override {
    World world{.services = {{lab::ServiceKind::kRoot, "bes", "", 0, "bes.qsf"}},
                .files = {{"bes.qsf", {.compact = true, .folders = {{MailOf("bes"), {}}}}}},
                .agents = FirstAgents()};
    uint32_t order = 0;
    for (const std::string& name : Parents()) {
      world.services.push_back({lab::ServiceKind::kSecondary, name, "", ++order});
    }
    world.services.push_back({lab::ServiceKind::kEmbedded, kChild, kParent, ++order});
    return world;
  }

 private:
  static Strings Parents() {
    Strings names;
    for (int number = 1; number <= 105; ++number) names.push_back("user" + std::to_string(number));
    return names;
  }
};

TEST_P(BatchFaultSweepTest, EachFaultHasTheOutcomeOfTheModel) { Sweep("-assignAgents"); }

INSTANTIATE_TEST_SUITE_P(, BatchFaultSweepTest, SweepShares(), kByShare);

}  // namespace
}  // namespace e2e
