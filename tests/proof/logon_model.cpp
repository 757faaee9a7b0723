#include "tests/proof/logon_model.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <vector>

namespace e2e {
namespace {

constexpr char kDispatcher[] = "CStoreManager::LogonToStores";
constexpr char kWorker[] = "StoreLogonThread";
constexpr uint32_t kWorkers = 5;

constexpr char kInfoFolder[] = "BlackBerryHandheldInfo";
constexpr char kSearchFolder[] = "BlackBerryMsgOnDeviceSearchFolder";

constexpr Step kLogOn[] = {
    {"MAPILogonEx", "MAPILogonEx failed"},
    {"IMAPISession::GetMsgStoresTable", "GetMsgStoresTable failed"},
    {"HrQueryAllRows@MsgStoresTable", "HrQueryAllRows on MsgServiceTable failed"},
};
constexpr Step kOpenDefaultStore[] = {
    {"IMAPISession::OpenMsgStore", "Failed to open default store"},
    {"IMsgStore::QueryInterface", "Failed query IExchangeManageStore interface"},
};

// What a worker does in a job, on which folder, and whether its line names the user.
struct WorkerStep {
  std::string operation;
  std::string folder;
  std::string what;
  bool namesUser;
};
const std::vector<WorkerStep> kCreateSteps = {
    {"MAPILogonEx", "", "MAPILogonEx failed", false},
    {"IMsgStore::QueryInterface", "", "Failed query IExchangeManageStore interface", false},
    {"IExchangeManageStore::CreateStoreEntryID", "", "Failed to CreateStoreEntryID", true},
    {"IMAPISession::OpenMsgStore", "", "Failed to open delegate store", true},
};
const std::vector<WorkerStep> kCheckSteps =
    kCreateSteps + std::vector<WorkerStep>{
                       {"IMsgStore::OpenEntry", "", "Failed to open root folder", true},
                       {"IMAPIFolder::CreateFolder", kInfoFolder,
                        "Failed to open BlackBerryHandHeldInfo folder", true},
                       {"IMAPIFolder::CreateFolder", kSearchFolder,
                        "Failed to open BlackBerryMsgOnDeviceSearchFolder folder", true},
                       {"IMAPIFolder::GetContentsTable", "",
                        "Failed to get BlackBerryHandHeldInfo contents table", true},
                   };

// A store that a worker opens.
struct Job {
  uint32_t worker = 0;                        // its thread
  std::string name = {};                      // the user's
  bool withMapi = true;                       // the worker got MAPI for itself
  const lab::JournalEntry* failed = nullptr;  // the call in it that the lab let fail
};

// The jobs as a run's journal has them, in the order in which each worker got its own.
class Schedule {
 public:
  explicit Schedule(const std::vector<lab::JournalEntry>& journal) {
    for (const lab::JournalEntry& entry : journal) {
      const bool isWorkers = entry.kind == lab::JournalEntry::Kind::kCall &&
                             entry.processId == journal.front().processId &&
                             entry.threadId != journal.front().threadId;
      if (isWorkers) Read(entry);
    }
  }

  // Jobs that failed before they named their user are the same worker's, which got them in the
  // order of the names.
  std::vector<Job> For(const Strings& names) && {
    for (const std::string& name : names) {
      if (JobWith(MailOf(name)) == jobs_.end()) {
        const auto nameless = JobWith("");
        if (nameless != jobs_.end()) nameless->name = MailOf(name);
      }
    }
    for (Job& job : jobs_) job.name = job.name.substr(0, job.name.find('@'));
    return std::move(jobs_);
  }

 private:
  void Read(const lab::JournalEntry& entry) {
    const bool failed = entry.Argument("injected") == "yes";
    if (entry.call == "MAPIInitialize" && failed) withoutMapi_.insert(entry.threadId);
    if (entry.call == "MAPILogonEx") {
      jobs_.push_back(
          {.worker = entry.threadId, .withMapi = !withoutMapi_.contains(entry.threadId)});
    }
    const auto job = std::find_if(jobs_.rbegin(), jobs_.rend(),
                                  [&](const Job& begun) { return begun.worker == entry.threadId; });
    if (job == jobs_.rend()) return;
    if (!entry.Argument("mailbox").empty()) job->name = entry.Argument("mailbox");
    if (failed) job->failed = &entry;
  }

  std::vector<Job>::iterator JobWith(const std::string& address) {
    return std::find_if(jobs_.begin(), jobs_.end(),
                        [&](const Job& job) { return job.name == address; });
  }

  std::set<uint32_t> withoutMapi_;
  std::vector<Job> jobs_;
};

// Before the real run no worker's failure can be told: it is as if there were none.
std::vector<Job> JobsOf(const ModelRun& run, const Strings& names) {
  if (run.journal) return Schedule(*run.journal).For(names);
  std::vector<Job> jobs;
  for (const std::string& name : names) jobs.push_back({.name = name});
  return jobs;
}

bool IsLastOfItsWorker(const Job& job, const std::vector<Job>& jobs) {
  return std::none_of(&job + 1, jobs.data() + jobs.size(),
                      [&](const Job& later) { return later.worker == job.worker; });
}

// What a step comes back with that no fault concerns.
uint32_t Work(ModelRun& run, const WorkerStep& step, const Job& job) {
  if (step.operation == "MAPILogonEx") return job.withMapi ? 0 : kNotInitialized;
  if (step.operation == "IMAPISession::OpenMsgStore") {
    return run.world.Open(job.name) ? 0 : kNotFound;
  }
  if (!step.folder.empty()) {
    const std::string kind = step.folder == kSearchFolder ? "search:" : "";
    run.world.Open(job.name)->folders[MailOf(job.name)].push_back(kind + step.folder);
  }
  return 0;
}

bool FailsAt(const Job& job, const WorkerStep& step) {
  return job.failed && job.failed->call == step.operation &&
         (step.folder.empty() || job.failed->Argument("name") == step.folder);
}

uint32_t DoJob(ModelRun& run, const Job& job, const std::vector<WorkerStep>& steps) {
  for (const WorkerStep& step : steps) {
    const uint32_t result = FailsAt(job, step) ? kInjected : Work(run, step, job);
    if (!Fails(result)) continue;
    const std::string ofUser = step.namesUser ? " for user '" + MailOf(job.name) + "'" : "";
    run.PrintFailure(kWorker, step.what + ofUser, result);
    return result;
  }
  return 0;
}

void CountCalls(ModelRun& run, size_t jobs, const std::vector<WorkerStep>& steps) {
  run.calls.OneFails("MAPIInitialize", kWorkers);
  for (const WorkerStep& step : steps) {
    run.calls.OneFails(step.operation, static_cast<uint32_t>(jobs));
  }
}

}  // namespace

uint32_t LogonToStores(ModelRun& run, const Strings& names, LogonMode mode,
                       std::map<std::string, uint32_t>* results) {
  uint32_t status = run.TakeAll(kLogOn, kDispatcher);
  if (Fails(status)) return status;
  if (Fails(run.calls.Make("MsgStoresTable.Column.0FFF0102"))) {
    run.Print(std::string(kDispatcher) + ": Failed to find default store");
    return kNotFound;
  }
  status = run.TakeAll(kOpenDefaultStore, kDispatcher);
  if (Fails(status)) return status;

  const bool isCheck = mode == LogonMode::kCheck;
  const std::vector<WorkerStep>& steps = isCheck ? kCheckSteps : kCreateSteps;
  CountCalls(run, names.size(), steps);
  run.blockBegin = run.lines.size();
  for (const std::string& name : names) {
    run.Print((isCheck ? "Checking" : "Creating") + std::string(" store for '") + MailOf(name) +
              "'");
  }
  const std::vector<Job> jobs = JobsOf(run, names);
  for (const Job& job : jobs) {
    const uint32_t result = DoJob(run, job, steps);
    // What a worker's last job came to is not collected.
    if (!IsLastOfItsWorker(job, jobs)) (*results)[job.name] = result;
  }
  run.blockEnd = run.lines.size();
  return 0;
}

}  // namespace e2e
