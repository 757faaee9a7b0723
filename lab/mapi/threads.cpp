#include "lab/mapi/threads.h"

#include <mapix.h>
// After mapix.h.
#include <mapicode.h>
#include <windows.h>

#include <map>
#include <mutex>
#include <string>

#include "lab/com/runtime.h"

namespace lab {
namespace {

struct ThreadState {
  int initialized = 0;
  int refused = 0;
};

std::mutex g_mutex;  // guards what follows
int g_initialized;

// Never destroyed: see Runtime::Get.
std::map<DWORD, ThreadState>& States() {
  static auto* const kStates = new std::map<DWORD, ThreadState>;
  return *kStates;
}

// With the mutex held.
ThreadState& OwnState() { return States()[GetCurrentThreadId()]; }

HRESULT CheckThread(const std::string& call) {
  {
    const std::lock_guard lock(g_mutex);
    const ThreadState& state = OwnState();
    if (state.initialized > 0) return S_OK;
    if (state.refused > 0) return MAPI_E_NOT_INITIALIZED;
  }
  Runtime::Get().Unexpected(call + " on a thread that has not initialised MAPI");
  return MAPI_E_NOT_INITIALIZED;
}

void ReportThread(DWORD thread, const ThreadState& state) {
  if (state.initialized == 0) return;
  Runtime::Get().Held().Leak("MAPIInitialize without MAPIUninitialize, " +
                             std::to_string(state.initialized) + " times, on thread " +
                             std::to_string(thread));
}

}  // namespace

const Component kComponent = {.notNeeded = MAPI_E_NO_SUPPORT,
                              .released = MAPI_E_INVALID_OBJECT,
                              .unknownFlags = MAPI_E_UNKNOWN_FLAGS,
                              .checkThread = &CheckThread};

void InitializeThread() {
  const std::lock_guard lock(g_mutex);
  ++OwnState().initialized;
  ++g_initialized;
}

void InitializationRefused() {
  const std::lock_guard lock(g_mutex);
  ++OwnState().refused;
}

void UninitializeThread() {
  const std::lock_guard lock(g_mutex);
  ThreadState& state = OwnState();
  if (state.initialized > 0) {
    --state.initialized;
    if (--g_initialized == 0) Runtime::Get().Held().Report("at the last MAPIUninitialize");
  } else if (state.refused > 0) {
    --state.refused;
  } else {
    Runtime::Get().Unexpected("MAPIUninitialize on a thread that has not initialised MAPI");
  }
}

void ThreadEnds() {
  const std::unique_lock lock(g_mutex, std::try_to_lock);
  if (!lock) return;
  const auto ended = States().extract(GetCurrentThreadId());
  if (ended) ReportThread(ended.key(), ended.mapped());
}

void ProcessEnds() {
  // A thread that was cut off may own the lock.
  const std::unique_lock lock(g_mutex, std::try_to_lock);
  if (!lock) return;
  for (const auto& [thread, state] : States()) ReportThread(thread, state);
  States().clear();
  Runtime::Get().Held().ReportAtTheEnd();
}

}  // namespace lab
