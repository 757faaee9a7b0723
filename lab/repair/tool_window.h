// A top-level window of the repair tool: a page of controls, which are the window's direct
// children. What reaches the window or a control from outside the process is journalled.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "lab/common/journal.h"

namespace lab {

enum class ControlKind { kStatic, kPicture, kEdit, kButton };  // a picture is a "Static", too

// What a button means.
enum class ToolCommand { kNone, kStart, kCancel, kRepair, kOk, kYes, kNo };

struct Control {
  ControlKind kind = ControlKind::kStatic;
  std::wstring text;  // an edit field that stays from page to page keeps what it holds instead
  ToolCommand command = ToolCommand::kNone;
};

using Page = std::vector<Control>;

// Appends the line "SCANPST::<event> #<object> <arguments> =<result>" to the lab's journal.
using ToolArguments = std::vector<std::pair<std::string, std::string>>;
void JournalTool(std::string_view event, uint32_t object, ToolArguments arguments,
                 uint32_t result = 0);

// Lives longer than its window does, until the program ends. For the thread that made it.
class ToolWindow {
 public:
  struct Events {
    std::function<void(ToolCommand)> command;  // a button was clicked
    std::function<bool()> close;               // WM_CLOSE; true when the window is to be closed
    std::function<void()> closed;              // the window is gone
  };

  // Opens the window on top of all others. A window with an owner disables it while it is open.
  ToolWindow(uint32_t number, std::wstring title, ToolWindow* owner, const Page& page,
             Events events);
  ToolWindow(const ToolWindow&) = delete;
  ToolWindow& operator=(const ToolWindow&) = delete;
  ~ToolWindow() { Close(); }

  bool IsOpen() const { return window_ != nullptr; }

  // Replaces the controls. Those that the new page has too stay what they are: no control of the
  // old page can be found afterwards that is not in the new one.
  void Show(const Page& page);

  // The text of the first edit field; empty when there is none.
  std::wstring EditText() const;

  // Changes the text of the last static control.
  void SetMessage(const std::wstring& text);

  void Raise();

  void Close();

 private:
  struct Child {
    Control control;
    HWND window = nullptr;
  };

  static LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  static LRESULT CALLBACK ChildProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  static void RegisterWindowClass();

  LRESULT OnMessage(UINT message, WPARAM wParam, LPARAM lParam);
  LRESULT OnClose();
  LRESULT OnCommand(WPARAM wParam);
  void OnDestroyed();

  std::vector<Child>::iterator FindChild(std::vector<Child>* children,
                                         const Control& control) const;
  HWND CreateChild(const Control& control);
  void ArrangeChildren();
  void JournalMessage(HWND receiver, UINT message, WPARAM wParam, LPARAM lParam) const;

  const uint32_t number_;
  const std::wstring title_;
  ToolWindow* const owner_;
  Events events_;
  HWND window_ = nullptr;
  std::vector<Child> children_;
};

}  // namespace lab
