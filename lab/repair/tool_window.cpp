#include "lab/repair/tool_window.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "lab/common/lab_config.h"
#include "lab/common/text.h"

namespace lab {
namespace {

constexpr wchar_t kWindowClass[] = L"QrvLabInboxRepair";
constexpr wchar_t kOwnerProperty[] = L"QrvLabToolWindow";
constexpr int kWidth = 520;
constexpr int kMargin = 12;
constexpr int kRowHeight = 24;
constexpr int kButtonWidth = 84;
constexpr int kFirstCommandId = 100;

constexpr NamedValue<UINT> kMessageNames[] = {
    {WM_SETTEXT, "WM_SETTEXT"},
    {WM_GETTEXT, "WM_GETTEXT"},
    {WM_LBUTTONDOWN, "WM_LBUTTONDOWN"},
    {WM_LBUTTONUP, "WM_LBUTTONUP"},
    {WM_LBUTTONDBLCLK, "WM_LBUTTONDBLCLK"},
    {BM_CLICK, "BM_CLICK"},
    {WM_CLOSE, "WM_CLOSE"},
};

// While one lives, the tool itself does something to a window.
class OwnCall {
 public:
  OwnCall() { ++depth; }
  OwnCall(const OwnCall&) = delete;
  OwnCall& operator=(const OwnCall&) = delete;
  ~OwnCall() { --depth; }

  static bool Running() { return depth != 0; }

 private:
  static inline int depth = 0;
};

// Set while posted messages are handled within a sent one.
bool g_handlesPosted = false;

bool IsSent() { return !g_handlesPosted && (InSendMessageEx(nullptr) & ISMEX_SEND) != 0; }

// The system's own code reads and writes texts as well, in the tool's thread. Clicks and WM_CLOSE
// never come from the tool.
bool IsFromOutside(UINT message) {
  if (OwnCall::Running()) return false;
  return (message != WM_SETTEXT && message != WM_GETTEXT) || IsSent();
}

void SetTextOfWindow(HWND window, const std::wstring& text) {
  const OwnCall own;
  SetWindowTextW(window, text.c_str());
}

std::wstring TextOfWindow(HWND window) {
  const OwnCall own;
  std::wstring text(static_cast<size_t>(GetWindowTextLengthW(window)) + 1, L'\0');
  text.resize(
      static_cast<size_t>(GetWindowTextW(window, text.data(), static_cast<int>(text.size()))));
  return text;
}

std::string ClassOfWindow(HWND window) {
  char name[64] = "";
  GetClassNameA(window, name, static_cast<int>(std::size(name)));
  return name;
}

struct Look {
  const wchar_t* className;
  DWORD style;
};

Look LookOf(ControlKind kind) {
  switch (kind) {
    case ControlKind::kPicture:
      return {L"Static", SS_ICON};
    case ControlKind::kEdit:
      return {L"Edit", WS_BORDER | WS_TABSTOP | ES_AUTOHSCROLL};
    case ControlKind::kButton:
      return {L"Button", BS_PUSHBUTTON | WS_TABSTOP};
    default:
      return {L"Static", SS_NOPREFIX};
  }
}

// The procedure of the control's class, as it is before any window of the class is changed.
WNDPROC ClassProcedure(HWND window) {
  WNDCLASSW info = {};
  wchar_t name[64] = L"";
  GetClassNameW(window, name, static_cast<int>(std::size(name)));
  GetClassInfoW(nullptr, name, &info);
  return info.lpfnWndProc;
}

// Handles the clicks that were posted before what is being handled now.
void HandlePostedClicks() {
  MSG message = {};
  g_handlesPosted = true;
  while (PeekMessageW(&message, nullptr, WM_MOUSEFIRST, WM_MOUSELAST, PM_REMOVE)) {
    DispatchMessageW(&message);
  }
  g_handlesPosted = false;
}

}  // namespace

void JournalTool(std::string_view event, uint32_t object, ToolArguments arguments,
                 uint32_t result) {
  AppendJournalNow(JournalPath(), {.call = "SCANPST::" + std::string(event),
                                   .object = object,
                                   .arguments = std::move(arguments),
                                   .result = result});
}

ToolWindow::ToolWindow(uint32_t number, std::wstring title, ToolWindow* owner, const Page& page,
                       Events events)
    : number_(number), title_(std::move(title)), owner_(owner), events_(std::move(events)) {
  RegisterWindowClass();
  JournalTool("Open", number_, {{"window", Utf8FromWide(title_)}});
  CreateWindowExW(0, kWindowClass, title_.c_str(), WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX,
                  CW_USEDEFAULT, CW_USEDEFAULT, kWidth, 100, owner_ ? owner_->window_ : nullptr,
                  nullptr, GetModuleHandleW(nullptr), this);
  Show(page);
  if (owner_) EnableWindow(owner_->window_, FALSE);
  ShowWindow(window_, SW_SHOW);
  Raise();
}

void ToolWindow::RegisterWindowClass() {
  WNDCLASSW windowClass = {};
  windowClass.lpfnWndProc = WindowProcedure;
  windowClass.hInstance = GetModuleHandleW(nullptr);
  windowClass.lpszClassName = kWindowClass;
  windowClass.hbrBackground = GetSysColorBrush(COLOR_BTNFACE);
  windowClass.hCursor = LoadCursorA(nullptr, IDC_ARROW);
  RegisterClassW(&windowClass);  // fails from the second window on
}

// What goes goes first: nobody shall find a field of the old page beside a button of the new one.
void ToolWindow::Show(const Page& page) {
  std::vector<Child> old = std::exchange(children_, {});
  for (const Control& control : page) {
    const auto present = FindChild(&old, control);
    children_.push_back({control, present != old.end() ? present->window : nullptr});
    if (present != old.end()) old.erase(present);
  }
  for (const Child& child : old) DestroyWindow(child.window);
  for (Child& child : children_) {
    if (!child.window) {
      child.window = CreateChild(child.control);
    } else if (child.control.kind == ControlKind::kStatic) {
      SetTextOfWindow(child.window, child.control.text);
    }
  }
  ArrangeChildren();
}

// A control of the old page that serves as `control`.
std::vector<ToolWindow::Child>::iterator ToolWindow::FindChild(std::vector<Child>* children,
                                                               const Control& control) const {
  return std::find_if(children->begin(), children->end(), [&](const Child& child) {
    if (child.control.kind != control.kind) return false;
    return control.kind != ControlKind::kButton ||
           (child.control.text == control.text && child.control.command == control.command);
  });
}

HWND ToolWindow::CreateChild(const Control& control) {
  const Look look = LookOf(control.kind);
  const auto id = INT_PTR{kFirstCommandId} + static_cast<INT_PTR>(control.command);
  HWND child = CreateWindowExW(0, look.className, control.text.c_str(),
                               WS_CHILD | WS_VISIBLE | look.style, 0, 0, 10, 10, window_,
                               reinterpret_cast<HMENU>(id), GetModuleHandleW(nullptr), nullptr);
  if (control.kind == ControlKind::kPicture) {
    const HICON icon = LoadIconA(nullptr, IDI_INFORMATION);
    SendMessageW(child, STM_SETICON, reinterpret_cast<WPARAM>(icon), 0);
  }
  const HGDIOBJ font = GetStockObject(DEFAULT_GUI_FONT);
  SendMessageW(child, WM_SETFONT, reinterpret_cast<WPARAM>(font), FALSE);
  SetPropW(child, kOwnerProperty, this);
  SetWindowLongPtrW(child, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(ChildProcedure));
  return child;
}

// Texts and fields stand below each other, the buttons in a row at the bottom; who enumerates the
// controls finds them in the page's order.
void ToolWindow::ArrangeChildren() {
  int row = kMargin;
  int column = kMargin;
  HWND before = HWND_TOP;
  for (const Child& child : children_) {
    const bool button = child.control.kind == ControlKind::kButton;
    const bool text = child.control.kind == ControlKind::kStatic;
    const int width = button ? kButtonWidth : kWidth - 3 * kMargin;
    const int height = text ? 2 * kRowHeight : kRowHeight;
    SetWindowPos(child.window, before, button ? column : kMargin, row, width, height,
                 SWP_NOACTIVATE);
    before = child.window;
    if (button) {
      column += width + kMargin;
    } else {
      row += height + kMargin;
    }
  }
  RECT outer = {0, 0, kWidth, row + kRowHeight + kMargin};
  AdjustWindowRect(&outer, WS_CAPTION, FALSE);
  SetWindowPos(window_, nullptr, 0, 0, kWidth, outer.bottom - outer.top,
               SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
}

std::wstring ToolWindow::EditText() const {
  for (const Child& child : children_) {
    if (child.control.kind == ControlKind::kEdit) return TextOfWindow(child.window);
  }
  return {};
}

void ToolWindow::SetMessage(const std::wstring& text) {
  const auto last = std::find_if(children_.rbegin(), children_.rend(), [](const Child& child) {
    return child.control.kind == ControlKind::kStatic;
  });
  if (last != children_.rend()) SetTextOfWindow(last->window, text);
}

void ToolWindow::Raise() {
  SetWindowPos(window_, HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
}

void ToolWindow::Close() {
  if (!window_) return;
  const OwnCall own;
  // Before the window goes, so that the owner and no other program's window comes to the front.
  if (owner_) EnableWindow(owner_->window_, TRUE);
  DestroyWindow(window_);
}

LRESULT CALLBACK ToolWindow::WindowProcedure(HWND window, UINT message, WPARAM wParam,
                                             LPARAM lParam) {
  if (message == WM_NCCREATE) {
    const auto* creation = reinterpret_cast<const CREATESTRUCTW*>(lParam);
    auto* created = static_cast<ToolWindow*>(creation->lpCreateParams);
    created->window_ = window;
    SetPropW(window, kOwnerProperty, created);
  }
  auto* self = static_cast<ToolWindow*>(GetPropW(window, kOwnerProperty));
  if (!self) return DefWindowProcW(window, message, wParam, lParam);
  self->JournalMessage(window, message, wParam, lParam);
  return self->OnMessage(message, wParam, lParam);
}

LRESULT CALLBACK ToolWindow::ChildProcedure(HWND window, UINT message, WPARAM wParam,
                                            LPARAM lParam) {
  const auto* self = static_cast<const ToolWindow*>(GetPropW(window, kOwnerProperty));
  if (self) self->JournalMessage(window, message, wParam, lParam);
  if (message == WM_NCDESTROY) RemovePropW(window, kOwnerProperty);
  return CallWindowProcW(ClassProcedure(window), window, message, wParam, lParam);
}

LRESULT ToolWindow::OnMessage(UINT message, WPARAM wParam, LPARAM lParam) {
  const HWND window = window_;
  if (message == WM_CLOSE) return OnClose();
  if (message == WM_COMMAND) return OnCommand(wParam);
  if (message == WM_NCDESTROY) OnDestroyed();
  return DefWindowProcW(window, message, wParam, lParam);
}

LRESULT ToolWindow::OnClose() {
  // Sent messages overtake posted ones, but what was clicked first shall act first.
  HandlePostedClicks();
  if (IsOpen() && events_.close()) Close();
  return 0;
}

LRESULT ToolWindow::OnCommand(WPARAM wParam) {
  const int command = LOWORD(wParam) - kFirstCommandId;
  if (HIWORD(wParam) != BN_CLICKED || command <= static_cast<int>(ToolCommand::kNone)) return 0;
  // A disabled window cannot be clicked by hand, but posted clicks do reach it.
  if (IsWindowEnabled(window_)) events_.command(static_cast<ToolCommand>(command));
  return 0;
}

void ToolWindow::OnDestroyed() {
  RemovePropW(window_, kOwnerProperty);
  window_ = nullptr;
  children_.clear();
  JournalTool("Closed", number_, {{"window", Utf8FromWide(title_)}});
  events_.closed();
}

void ToolWindow::JournalMessage(HWND receiver, UINT message, WPARAM wParam, LPARAM lParam) const {
  const char* name = NameOf(kMessageNames, message);
  if (!name || !IsFromOutside(message)) return;
  ToolArguments arguments = {{"how", IsSent() ? "sent" : "posted"},
                             {"window", Utf8FromWide(title_)}};
  if (receiver != window_) {
    arguments.emplace_back("class", ClassOfWindow(receiver));
    arguments.emplace_back("control", Utf8FromWide(TextOfWindow(receiver)));
  }
  arguments.emplace_back("wParam", HexNumber(wParam));
  if (message == WM_SETTEXT) {
    const auto* text = reinterpret_cast<const wchar_t*>(lParam);
    arguments.emplace_back("text", Utf8FromWide(text ? text : L""));
  } else if (message != WM_GETTEXT) {
    arguments.emplace_back("lParam", HexNumber(static_cast<uint64_t>(lParam)));
  }
  JournalTool(name, number_, std::move(arguments));
}

}  // namespace lab
