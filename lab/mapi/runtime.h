// What belongs to the process as a whole: the journal, the fault plan, who has initialised MAPI,
// and the account of what is still held.
#pragma once

#include <windows.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>

#include "lab/common/fault_plan.h"
#include "lab/common/journal.h"

namespace lab {

class ObjectCore;

class Runtime {
 public:
  // Made at the first call into the module and never destroyed: calls come in until the very end.
  static Runtime& Get();
  // The same, or null when no call has come yet.
  static Runtime* Existing();

  FaultInjector& Faults() { return faults_; }
  // How many of `count` values an answer holds, from the first on: all, unless the fault plan has a
  // number for the pseudo operation.
  size_t AnsweredCount(const std::string& operation, size_t count);

  void Write(const JournalEntry& entry) const { AppendJournal(journalPath_, entry); }
  void Unexpected(const std::string& text) const;
  void Leak(const std::string& text) const;

  // A thread initialises MAPI for itself; the process is initialised while any thread is.
  void Initialize();
  // Remembers that an injected failure kept this thread from initialising MAPI: what it then calls
  // is refused without a note in the journal.
  void InitializeRefused();
  // Undoes one Initialize of the calling thread, and writes down what is left when it is the last.
  void Uninitialize();
  // S_OK, or MAPI_E_NOT_INITIALIZED for a thread that has not initialised MAPI.
  HRESULT CheckInitialized(const std::string& call);

  // The account of interface references.
  uint32_t Enter(ObjectCore* object);
  void Remove(ObjectCore* object);

  // To be called when a thread and when the process ends.
  void ThreadEnds();
  void ProcessEnds();

 private:
  struct ThreadState {
    int initialized = 0;
    int refused = 0;
  };

  Runtime();
  // With the mutex held.
  void ReportHeld(const char* when);
  void ReportThread(DWORD thread, const ThreadState& state) const;

  const std::wstring journalPath_;
  FaultInjector faults_;

  std::mutex mutex_;  // guards what follows
  std::map<DWORD, ThreadState> threads_;
  int initialized_ = 0;
  uint32_t lastObject_ = 0;
  std::set<ObjectCore*> objects_;
};

}  // namespace lab
