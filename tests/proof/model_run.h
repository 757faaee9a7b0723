// A run of the program as the fault sweeps' models see it: the calls it makes, one of which fails,
// what it prints, and the installation that it works on.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "lab/common/installation.h"
#include "lab/common/journal.h"
#include "tests/e2e/support/lists.h"

namespace e2e {

// What the call that fails comes back with.
inline constexpr uint32_t kInjected = 0x8004DEAD;

inline constexpr uint32_t kFail = 0x80004005;            // E_FAIL
inline constexpr uint32_t kNotFound = 0x8004010F;        // MAPI_E_NOT_FOUND
inline constexpr uint32_t kNotInitialized = 0x80040605;  // MAPI_E_NOT_INITIALIZED

constexpr bool Fails(uint32_t result) { return result >= 0x80000000; }

// The calls of a run, counted by operation as the fault plan counts them, and the one of them that
// fails: the nth of an operation.
class ModelCalls {
 public:
  ModelCalls(std::string operation, uint32_t nth) : operation_(std::move(operation)), nth_(nth) {}

  // Makes a call; what it comes back with.
  uint32_t Make(const std::string& operation) { return OneFails(operation, 1) ? kInjected : 0; }
  // Makes calls that the fault may be among, as several threads make them. Whether it is.
  bool OneFails(const std::string& operation, uint32_t count);

  // Whether the call that is to fail was made.
  bool HaveFailed() const { return failed_; }
  const std::map<std::string, uint32_t>& Counts() const { return counts_; }

 private:
  std::string operation_;
  uint32_t nth_;
  bool failed_ = false;
  std::map<std::string, uint32_t> counts_;
};

// A store of a profile, by the name before the at sign of its address.
struct StoreModel {
  lab::ServiceKind kind;
  std::string name;
  std::string parent;     // of an embedded store; empty when the profile does not have it
  uint32_t order;         // of its entry ID among the others'
  std::string file = {};  // that it has for itself

  bool IsEmbedded() const { return kind == lab::ServiceKind::kEmbedded; }
  bool operator==(const StoreModel&) const = default;
};

std::string MailOf(const std::string& name);

// What a run finds and leaves.
struct World {
  struct File {
    bool compact = false;                         // without free space
    std::map<std::string, Strings> folders = {};  // of each mailbox in it, by address
  };

  std::vector<StoreModel> services;   // in the order of the profile's table
  std::map<std::string, File> files;  // by name
  std::map<std::string, int> agents;  // of the users in the database, by name

  const StoreModel* Find(const std::string& name) const;
  // The file that the store is in; null when its parent is not there.
  File* FileOf(const StoreModel& store);
  // Opens a mailbox, for which the connector makes a store when there is none. Null when the store
  // cannot be opened.
  File* Open(const std::string& name);

  // What Observe says of an installation that is like this.
  Strings Describe() const;
};

// An installation with a store of each kind and two whose parent is missing; the model of it.
void Install(const lab::Profile& profile, const std::wstring& directory);
World NewWorld();

// The services of a profile and the store files in a directory, a line each, in byte order.
Strings Observe(const lab::Profile& profile, const std::wstring& directory);

// What a function calls, and what it prints when that fails.
struct Step {
  const char* operation;
  const char* what;
};

struct ModelRun {
  World world;
  ModelCalls calls;
  // Of the real run, for what the machine decides: which worker does what. Null before it.
  const std::vector<lab::JournalEntry>* journal = nullptr;

  Strings lines = {};
  // Among these lines those of workers come in no certain order.
  size_t blockBegin = 0;
  size_t blockEnd = 0;
  // What is not given back, as the journal tells it, or a piece of that.
  Strings leaks = {};

  void Print(std::string line) { lines.push_back(std::move(line)); }
  // "<what> : 0x<result>", and with the name of the function before it.
  void PrintResult(const std::string& what, uint32_t result);
  void PrintFailure(const std::string& function, const std::string& what, uint32_t result);
  // Makes the call and prints its failure.
  uint32_t Take(const Step& step, const std::string& function);
  // Takes steps up to the first that fails; the last one's result.
  template <class Steps>
  uint32_t TakeAll(const Steps& steps, const std::string& function) {
    uint32_t result = 0;
    for (const Step& step : steps) {
      result = Take(step, function);
      if (Fails(result)) break;
    }
    return result;
  }

  // How a command that uses MAPI begins; false when it has none and is over.
  bool InitializeMapi();
  // How a command ends that is to start the controller service, which runs already.
  void StartController();
};

}  // namespace e2e
