// Windows that a call shows on its own thread while it works: dialogs, and windows that are none.
#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "lab/common/dialog_record.h"

namespace lab {

struct WindowRequest {
  std::wstring store;  // the address that it is about
  std::wstring title;
  bool isDialog = true;
  std::optional<uint32_t> endsAfter = {};  // milliseconds
  uint32_t ignoresCloseFor = 0;            // milliseconds
};

// One window, visible from the object's beginning until somebody closes it or the object ends it.
// It has no owner. Only the thread that made the object may use it.
class ShownWindow {
 public:
  explicit ShownWindow(const WindowRequest& request);
  ShownWindow(const ShownWindow&) = delete;
  ShownWindow& operator=(const ShownWindow&) = delete;
  ~ShownWindow() { End(DialogEnd::kByItself); }

  bool IsShown() const { return window_ != nullptr; }
  bool ClosedFromOutside() const { return record_.end == DialogEnd::kClosedFromOutside; }

  // Ends the window when its time is over.
  void EndWhenDue();

  // The keyboard's way through a dialog; true when the message is done with.
  bool TakesMessage(MSG* message) const;

 private:
  static LRESULT CALLBACK WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

  // Puts WindowProc before the window's own procedure, and what people see into a dialog.
  void TakeOver();
  uint64_t ShownMillis() const;
  void OnClose();
  void End(DialogEnd how);

  const WindowRequest request_;
  DialogRecord record_;
  HWND window_ = nullptr;
  WNDPROC itsProc_ = nullptr;
};

// Dispatches the thread's messages, and ends the `windows` whose time is over, until `done` says
// so. False when the thread is told to quit instead; the message then waits for its next loop.
bool PumpUntil(const std::vector<ShownWindow*>& windows, const std::function<bool()>& done);

}  // namespace lab
