#include "lab/mapi/shown_window.h"

#include <algorithm>

#include "lab/com/runtime.h"

namespace lab {
namespace {

// What dialogs are made of, and what no dialog is.
constexpr wchar_t kDialogClass[] = L"#32770";
constexpr wchar_t kPlainClass[] = L"STATIC";
// How often the time is looked at while no message comes.
constexpr DWORD kTickMillis = 10;

// Dispatches what is there; false for WM_QUIT.
bool DispatchWaiting(const std::vector<ShownWindow*>& windows) {
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    if (message.message == WM_QUIT) {
      PostQuitMessage(static_cast<int>(message.wParam));
      return false;
    }
    const auto takes = [&](const ShownWindow* window) { return window->TakesMessage(&message); };
    if (std::any_of(windows.begin(), windows.end(), takes)) continue;
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  return true;
}

}  // namespace

ShownWindow::ShownWindow(const WindowRequest& request) : request_(request) {
  record_.store = request.store;
  record_.title = request.title;
  record_.isDialog = request.isDialog;
  window_ = CreateWindowExW(0, request.isDialog ? kDialogClass : kPlainClass, request.title.c_str(),
                            WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 360, 140, nullptr, nullptr,
                            nullptr, nullptr);
  record_.shownMicros = NowMicros();
  if (!window_) {
    Runtime::Get().Unexpected("no window can be shown: error " + std::to_string(GetLastError()));
    return;
  }
  TakeOver();
  record_.window = reinterpret_cast<uint64_t>(window_);
  Runtime::Get().Write(DialogShownEntry(record_));
}

void ShownWindow::TakeOver() {
  SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  itsProc_ = reinterpret_cast<WNDPROC>(
      SetWindowLongPtrW(window_, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&WindowProc)));
  if (!request_.isDialog) return;
  const auto add = [&](const wchar_t* kind, const wchar_t* text, DWORD style, RECT at, INT_PTR id) {
    CreateWindowExW(0, kind, text, WS_CHILD | WS_VISIBLE | style, at.left, at.top, at.right,
                    at.bottom, window_, reinterpret_cast<HMENU>(id), nullptr, nullptr);
  };
  add(L"STATIC", request_.store.c_str(), SS_LEFT, {16, 16, 310, 24}, -1);
  add(L"BUTTON", L"Close", BS_PUSHBUTTON | WS_TABSTOP, {130, 60, 90, 26}, IDCANCEL);
}

LRESULT CALLBACK ShownWindow::WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  auto* self = reinterpret_cast<ShownWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (message == WM_CLOSE) {
    self->OnClose();
    return 0;
  }
  if (message == WM_COMMAND && LOWORD(wParam) == IDCANCEL) {
    self->End(DialogEnd::kClosedFromOutside);
    return 0;
  }
  return CallWindowProcW(self->itsProc_, window, message, wParam, lParam);
}

uint64_t ShownWindow::ShownMillis() const { return (NowMicros() - record_.shownMicros) / 1000; }

void ShownWindow::OnClose() {
  record_.closeMicros.push_back(NowMicros());
  if (ShownMillis() >= request_.ignoresCloseFor) End(DialogEnd::kClosedFromOutside);
}

void ShownWindow::EndWhenDue() {
  if (request_.endsAfter && ShownMillis() >= *request_.endsAfter) End(DialogEnd::kByItself);
}

void ShownWindow::End(DialogEnd how) {
  if (!window_) return;
  HWND window = window_;
  window_ = nullptr;
  record_.end = how;
  record_.endedMicros = NowMicros();
  DestroyWindow(window);
  Runtime::Get().Write(DialogEndedEntry(record_));
}

bool ShownWindow::TakesMessage(MSG* message) const {
  return IsShown() && request_.isDialog && IsDialogMessageW(window_, message);
}

bool PumpUntil(const std::vector<ShownWindow*>& windows, const std::function<bool()>& done) {
  while (true) {
    if (!DispatchWaiting(windows)) return false;
    for (ShownWindow* window : windows) window->EndWhenDue();
    if (done()) return true;
    MsgWaitForMultipleObjectsEx(0, nullptr, kTickMillis, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
  }
}

}  // namespace lab
