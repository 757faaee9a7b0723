#include "lab/mapi/shown_window.h"

#include <algorithm>

#include "lab/com/runtime.h"

namespace lab {
namespace {

constexpr wchar_t kPlainClass[] = L"QrvLabWindow";
// How often the time is looked at while no message comes.
constexpr DWORD kTickMillis = 10;
constexpr WORD kButtonClass = 0x0080;
constexpr WORD kStaticClass = 0x0082;

HINSTANCE ThisModule() {
  HMODULE module = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCWSTR>(&ThisModule), &module);
  return module;
}

// A dialog template as it lies in memory: 16-bit words, each control at a multiple of four bytes.
class DialogTemplate {
 public:
  explicit DialogTemplate(const std::wstring& title) {
    PutLong(WS_POPUP | WS_CAPTION | WS_SYSMENU | WS_VISIBLE | DS_MODALFRAME | DS_CENTER);
    PutLong(0);  // extended style
    words_.push_back(0);
    Place({0, 0, 200, 60});
    words_.push_back(0);  // no menu
    words_.push_back(0);  // the dialogs' own class
    PutText(title);
  }

  void AddControl(WORD windowClass, DWORD style, WORD id, const std::wstring& text, RECT place) {
    if (words_.size() % 2 != 0) words_.push_back(0);
    PutLong(WS_CHILD | WS_VISIBLE | style);
    PutLong(0);
    Place(place);
    words_.push_back(id);
    words_.push_back(0xFFFF);
    words_.push_back(windowClass);
    PutText(text);
    words_.push_back(0);  // no data of its own
    ++words_[kControlCount];
  }

  LPCDLGTEMPLATEW Get() const { return reinterpret_cast<LPCDLGTEMPLATEW>(words_.data()); }

 private:
  static constexpr size_t kControlCount = 4;  // behind the two styles

  void PutLong(DWORD value) {
    words_.push_back(LOWORD(value));
    words_.push_back(HIWORD(value));
  }
  // Left, top, width and height in dialog units.
  void Place(RECT place) {
    for (LONG number : {place.left, place.top, place.right, place.bottom}) {
      words_.push_back(static_cast<WORD>(number));
    }
  }
  void PutText(const std::wstring& text) {
    words_.insert(words_.end(), text.begin(), text.end());
    words_.push_back(0);
  }

  std::vector<WORD> words_;
};

void RegisterPlainClass(WNDPROC procedure) {
  WNDCLASSW windowClass{};
  windowClass.lpfnWndProc = procedure;
  windowClass.hInstance = ThisModule();
  windowClass.lpszClassName = kPlainClass;
  RegisterClassW(&windowClass);  // refused when it is registered already
}

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
  window_ = request.isDialog ? CreateDialogWindow() : CreatePlainWindow();
  record_.shownMicros = NowMicros();
  if (!window_) {
    Runtime::Get().Unexpected("no window can be shown: error " + std::to_string(GetLastError()));
    return;
  }
  record_.window = reinterpret_cast<uint64_t>(window_);
  Runtime::Get().Write(DialogShownEntry(record_));
}

HWND ShownWindow::CreateDialogWindow() {
  DialogTemplate dialog(request_.title);
  dialog.AddControl(kStaticClass, SS_LEFT, 0xFFFF, request_.store, {8, 8, 184, 20});
  dialog.AddControl(kButtonClass, BS_PUSHBUTTON | WS_TABSTOP, IDCANCEL, L"Close", {75, 38, 50, 14});
  return CreateDialogIndirectParamW(ThisModule(), dialog.Get(), nullptr, DialogProc,
                                    reinterpret_cast<LPARAM>(this));
}

HWND ShownWindow::CreatePlainWindow() {
  RegisterPlainClass(WindowProc);
  return CreateWindowExW(0, kPlainClass, request_.title.c_str(), WS_OVERLAPPEDWINDOW | WS_VISIBLE,
                         0, 0, 200, 100, nullptr, nullptr, ThisModule(), this);
}

INT_PTR CALLBACK ShownWindow::DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_INITDIALOG) {
    SetWindowLongPtrW(window, GWLP_USERDATA, lParam);
    return TRUE;
  }
  auto* self = reinterpret_cast<ShownWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (!self) return FALSE;
  if (message == WM_CLOSE) {
    self->OnClose();
    return TRUE;
  }
  if (message == WM_COMMAND && LOWORD(wParam) == IDCANCEL) {
    self->End(DialogEnd::kClosedFromOutside);
    return TRUE;
  }
  return FALSE;
}

LRESULT CALLBACK ShownWindow::WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_NCCREATE) {
    const auto* creation = reinterpret_cast<const CREATESTRUCTW*>(lParam);
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(creation->lpCreateParams));
  }
  auto* self = reinterpret_cast<ShownWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (message == WM_CLOSE && self) {
    self->OnClose();
    return 0;
  }
  return DefWindowProcW(window, message, wParam, lParam);
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
