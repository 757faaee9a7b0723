#include "lab/mapi/runtime.h"

#include <mapicode.h>
#include <mapix.h>

#include <algorithm>
#include <atomic>

#include "lab/common/lab_config.h"
#include "lab/mapi/buffers.h"
#include "lab/mapi/object.h"

namespace lab {
namespace {

std::atomic<Runtime*> g_runtime;

}  // namespace

Runtime& Runtime::Get() {
  static Runtime* const kRuntime = new Runtime;
  g_runtime = kRuntime;
  return *kRuntime;
}

Runtime* Runtime::Existing() { return g_runtime; }

Runtime::Runtime() : journalPath_(JournalPath()), faults_(FaultPlan::Load(LabDirectory())) {}

size_t Runtime::AnsweredCount(const std::string& operation, size_t count) {
  const FaultInjector::Answer answer = faults_.NextValue(operation);
  return answer.fails ? std::min<size_t>(answer.result, count) : count;
}

void Runtime::Unexpected(const std::string& text) const {
  AppendJournalNote(journalPath_, JournalEntry::Kind::kUnexpected, text);
}

void Runtime::Leak(const std::string& text) const {
  AppendJournalNote(journalPath_, JournalEntry::Kind::kLeak, text);
}

void Runtime::Initialize() {
  std::lock_guard lock(mutex_);
  ++threads_[GetCurrentThreadId()].initialized;
  ++initialized_;
}

void Runtime::InitializeRefused() {
  std::lock_guard lock(mutex_);
  ++threads_[GetCurrentThreadId()].refused;
}

void Runtime::Uninitialize() {
  std::lock_guard lock(mutex_);
  ThreadState& state = threads_[GetCurrentThreadId()];
  if (state.initialized > 0) {
    --state.initialized;
    if (--initialized_ == 0) ReportHeld("at the last MAPIUninitialize");
  } else if (state.refused > 0) {
    --state.refused;
  } else {
    Unexpected("MAPIUninitialize on a thread that has not initialised MAPI");
  }
}

HRESULT Runtime::CheckInitialized(const std::string& call) {
  {
    std::lock_guard lock(mutex_);
    const ThreadState& state = threads_[GetCurrentThreadId()];
    if (state.initialized > 0) return S_OK;
    if (state.refused > 0) return MAPI_E_NOT_INITIALIZED;
  }
  Unexpected(call + " on a thread that has not initialised MAPI");
  return MAPI_E_NOT_INITIALIZED;
}

uint32_t Runtime::Enter(ObjectCore* object) {
  std::lock_guard lock(mutex_);
  objects_.insert(object);
  return ++lastObject_;
}

void Runtime::Remove(ObjectCore* object) {
  std::lock_guard lock(mutex_);
  objects_.erase(object);
}

void Runtime::ReportHeld(const char* when) {
  for (ObjectCore* object : objects_) {
    Leak(object->Describe() + ", " + std::to_string(object->References()) + " references, " + when);
  }
  // Each is reported once.
  objects_.clear();
  ReportHeldBuffers(*this, when);
}

void Runtime::ReportThread(DWORD thread, const ThreadState& state) const {
  if (state.initialized == 0) return;
  Leak("MAPIInitialize without MAPIUninitialize, " + std::to_string(state.initialized) +
       " times, on thread " + std::to_string(thread));
}

void Runtime::ThreadEnds() {
  std::unique_lock lock(mutex_, std::try_to_lock);
  if (!lock.owns_lock()) return;
  const auto found = threads_.find(GetCurrentThreadId());
  if (found == threads_.end()) return;
  ReportThread(found->first, found->second);
  threads_.erase(found);
}

void Runtime::ProcessEnds() {
  // A thread that was cut off may own the lock.
  std::unique_lock lock(mutex_, std::try_to_lock);
  if (!lock.owns_lock()) return;
  for (const auto& [thread, state] : threads_) ReportThread(thread, state);
  threads_.clear();
  ReportHeld("at the end of the process");
}

}  // namespace lab
