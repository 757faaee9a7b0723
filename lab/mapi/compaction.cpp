#include "lab/mapi/compaction.h"

#include <mapicode.h>
#include <mapix.h>

#include <memory>
#include <vector>

#include "lab/com/runtime.h"
#include "lab/common/compaction_plan.h"
#include "lab/common/installation.h"
#include "lab/common/lab_config.h"
#include "lab/common/qsf_file.h"
#include "lab/mapi/connector.h"
#include "lab/mapi/shown_window.h"

namespace lab {
namespace {

// One compaction with its windows.
class Compaction {
 public:
  Compaction(std::wstring address, std::wstring file, PlannedCompaction planned)
      : address_(std::move(address)), file_(std::move(file)), planned_(std::move(planned)) {}

  HRESULT Run(uint64_t* gained) {
    Windows plain;
    for (const std::wstring& title : planned_.windows) {
      Show(&plain, {.store = address_, .title = title, .isDialog = false});
    }
    if (!ShowInTurn(DialogTime::kBefore)) return MAPI_E_USER_CANCEL;
    const HRESULT result = Work(gained);
    if (result == MAPI_E_USER_CANCEL) return result;
    return ShowInTurn(DialogTime::kAfter) ? result : MAPI_E_USER_CANCEL;
  }

 private:
  using Windows = std::vector<std::unique_ptr<ShownWindow>>;

  static ShownWindow* Show(Windows* windows, const WindowRequest& request) {
    windows->push_back(std::make_unique<ShownWindow>(request));
    return windows->back().get();
  }

  WindowRequest RequestOf(const PlannedDialog& dialog) const {
    return {.store = address_,
            .title = dialog.title,
            .endsAfter = dialog.endsAfter,
            .ignoresCloseFor = dialog.ignoresCloseFor};
  }

  // False when the thread is told to quit.
  bool ShowInTurn(DialogTime time) const {
    for (const PlannedDialog& dialog : planned_.dialogs) {
      if (dialog.time != time) continue;
      ShownWindow shown(RequestOf(dialog));
      if (!PumpUntil({&shown}, [&] { return !shown.IsShown(); })) return false;
    }
    return true;
  }

  HRESULT Work(uint64_t* gained) const {
    Windows windows;
    // Its own comes first and goes last: those beside it are never alone, not even for a moment.
    const ShownWindow* own = nullptr;
    if (planned_.withDialog) {
      own = Show(&windows, {.store = address_,
                            .title = planned_.title,
                            .ignoresCloseFor = planned_.ignoresCloseFor});
    }
    for (const PlannedDialog& dialog : planned_.dialogs) {
      if (dialog.time == DialogTime::kDuring) Show(&windows, RequestOf(dialog));
    }
    const HRESULT result = WorkBehind(windows, own, gained);
    while (!windows.empty()) windows.pop_back();
    return result;
  }

  HRESULT WorkBehind(const Windows& windows, const ShownWindow* own, uint64_t* gained) const {
    const HRESULT readable = ResultOf(ReadQsf(file_, nullptr));
    if (FAILED(readable)) return readable;
    if (!TakeTime(windows, own)) return MAPI_E_USER_CANCEL;
    const auto planned = static_cast<HRESULT>(planned_.result);
    if (FAILED(planned)) return planned;
    const HRESULT compacted = ResultOf(CompactQsf(file_, gained));
    return FAILED(compacted) ? compacted : planned;
  }

  // False when the compaction is cancelled.
  bool TakeTime(const Windows& windows, const ShownWindow* own) const {
    std::vector<ShownWindow*> pumped;
    for (const auto& window : windows) pumped.push_back(window.get());
    const uint64_t end = NowMicros() + uint64_t{planned_.milliseconds} * 1000;
    const auto cancelled = [&] { return own && own->ClosedFromOutside(); };
    return PumpUntil(pumped, [&] { return cancelled() || NowMicros() >= end; }) && !cancelled();
  }

  const std::wstring address_;
  const std::wstring file_;
  const PlannedCompaction planned_;
};

}  // namespace

HRESULT CompactService(const std::wstring& profile, const Uid& service, uint64_t* gained) {
  *gained = 0;
  const auto found = Profile(profile).Get(service);
  if (!found) return MAPI_E_NOT_FOUND;
  const std::wstring address = found->address.value_or(L"");
  if (ParentProviderOfEntryId(found->EntryId())) {
    Runtime::Get().Unexpected("compaction of an embedded store, that of " + Utf8FromWide(address));
    return MAPI_E_NO_SUPPORT;
  }
  if (found->Path().empty()) return MAPI_E_UNCONFIGURED;
  const PlannedCompaction planned = CompactionPlan::Load(LabDirectory()).For(address);
  return Compaction(address, found->Path(), planned).Run(gained);
}

std::string DescribeParentWindow(ULONG_PTR parent) {
  if (parent == 0) return "none";
  DWORD process = 0;
  const DWORD thread = GetWindowThreadProcessId(reinterpret_cast<HWND>(parent), &process);
  if (thread == 0) return "no-window";
  if (thread == GetCurrentThreadId()) return "own-thread";
  return process == GetCurrentProcessId() ? "own-process" : "other-process";
}

}  // namespace lab
