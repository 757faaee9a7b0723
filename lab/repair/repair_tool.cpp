// SCANPST.EXE of the lab: the Inbox Repair tool, for the lab's store files.
#include <windows.h>

#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <utility>

#include "lab/common/lab_config.h"
#include "lab/common/text.h"
#include "lab/repair/repair_control.h"
#include "lab/repair/tool_window.h"

namespace lab {
namespace {

using Action = std::function<void()>;

constexpr wchar_t kTitle[] = L"Inbox Repair Tool";
constexpr wchar_t kDialogTitle[] = L"Inbox Repair";
constexpr uint32_t kPhases = 8;
constexpr UINT kDeathExitCode = 3;
constexpr DWORD kBusyMilliseconds = 20;

Control Text(const std::wstring& text) { return {ControlKind::kStatic, text}; }
Control Picture() { return {ControlKind::kPicture, {}}; }
Control Edit(const std::wstring& text = {}) { return {ControlKind::kEdit, text}; }
Control Button(const wchar_t* text, ToolCommand command) {
  return {ControlKind::kButton, text, command};
}
Control CancelButton() { return Button(L"Cancel", ToolCommand::kCancel); }
Control OkButton() { return Button(L"OK", ToolCommand::kOk); }

Page Question(const std::wstring& text) {
  return {Picture(), Text(text), Button(L"&Yes", ToolCommand::kYes),
          Button(L"&No", ToolCommand::kNo)};
}

std::map<UINT_PTR, Action> g_actions;

void CALLBACK OnTimer(HWND, UINT, UINT_PTR timer, DWORD) {
  KillTimer(nullptr, timer);
  auto action = g_actions.extract(timer);
  if (!action.empty()) action.mapped()();
}

// Runs `action` once, from the message loop, after `milliseconds` at the earliest and never before
// the message that is being handled is done with.
void RunAfter(uint32_t milliseconds, Action action) {
  g_actions[SetTimer(nullptr, 0, milliseconds, OnTimer)] = std::move(action);
}

[[noreturn]] void Die() {
  JournalTool("Die", 0, {});
  TerminateProcess(GetCurrentProcess(), kDeathExitCode);
  std::abort();
}

// What the tool's windows show, and what follows what.
class RepairTool {
 public:
  explicit RepairTool(RepairPlan plan) : plan_(std::move(plan)), options_(plan_.options) {}

  // Runs until the tool's last window is closed; returns the process's exit code.
  int Run() {
    if (options_.death == RepairDeath::kAtStart) Die();
    Sleep(options_.startTime);
    if (options_.lifetime != 0) RunAfter(options_.lifetime, [] { Die(); });
    if (options_.window && options_.windowDelay == 0) {
      OpenMainWindow();
    } else if (options_.window) {
      RunAfter(options_.windowDelay, [this] { OpenMainWindow(); });
    }
    MSG message = {};
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
      const HWND active = GetActiveWindow();
      if (active && IsDialogMessageW(active, &message)) continue;
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
    return static_cast<int>(message.wParam);
  }

 private:
  // kStart: a file can be named. kResult: something is shown that ends with "OK".
  enum class State { kStart, kScanning, kErrors, kRepairing, kResult };

  using Handler = std::function<void(ToolCommand)>;

  // --- Windows ---

  ToolWindow* NewWindow(std::wstring title, ToolWindow* owner, const Page& page,
                        ToolWindow::Events events) {
    const auto number = static_cast<uint32_t>(windows_.size() + 1);
    ++openWindows_;
    windows_.push_back(
        std::make_unique<ToolWindow>(number, std::move(title), owner, page, std::move(events)));
    return windows_.back().get();
  }

  void OpenMainWindow() {
    main_ = NewWindow(kTitle, nullptr, StartPage(),
                      {[this](ToolCommand command) { OnMainCommand(command); },
                       [this] { return OnClose(main_); }, [this] { OnClosed(); }});
  }

  Page StartPage() const {
    Page page = {Text(L"Enter the name of the file you want to scan:")};
    if (plan_.options.startEdit) page.push_back(Edit());
    if (plan_.options.startButton) page.push_back(Button(L"&Start", ToolCommand::kStart));
    page.push_back(CancelButton());
    return page;
  }

  void ShowStartPage() {
    state_ = State::kStart;
    options_ = plan_.options;
    main_->Show(StartPage());
  }

  // `handler` takes the dialog's button; the dialog is closed by then. WM_CLOSE counts as kNone.
  void OpenDialog(const Page& page, const Handler& handler) {
    const auto answer = [this, handler](ToolCommand command) {
      RunAfter(command == ToolCommand::kOk ? options_.okDelay : 0, [this, handler, command] {
        if (!dialog_) return;
        std::exchange(dialog_, nullptr)->Close();
        handler(command);
      });
    };
    const auto close = [this, handler] {
      if (!OnClose(dialog_)) return false;
      dialog_ = nullptr;
      RunAfter(0, [this, handler] {
        if (main_->IsOpen()) handler(ToolCommand::kNone);
      });
      return true;
    };
    dialog_ = NewWindow(kDialogTitle, main_, page, {answer, close, [this] { OnClosed(); }});
  }

  void OpenFurtherWindow() {
    const size_t index = windows_.size();
    NewWindow(L"Inbox Repair " + std::to_wstring(index + 1), nullptr,
              {Text(L"Further information")},
              {[](ToolCommand) {}, [this, index] { return OnClose(windows_[index].get()); },
               [this] { OnClosed(); }});
  }

  // Whether the window may close now.
  bool OnClose(ToolWindow* window) {
    if (firstClose_ == 0) firstClose_ = GetTickCount64();
    if (GetTickCount64() - firstClose_ < options_.ignoreClose) {
      Sleep(kBusyMilliseconds);
      return false;
    }
    if (window != main_) return true;
    dialog_ = nullptr;  // goes with its owner
    for (uint32_t count = 0; count < options_.windowsOnClose; ++count) OpenFurtherWindow();
    return true;
  }

  void OnClosed() {
    if (--openWindows_ == 0) PostQuitMessage(0);
  }

  // Pages change later: the button that was clicked must outlive its click.
  void OnMainCommand(ToolCommand command) {
    if (command == ToolCommand::kStart && state_ == State::kStart) {
      StartScan();
    } else if (command == ToolCommand::kCancel && state_ == State::kScanning) {
      RunAfter(0, [this] { AskCancel(); });
    } else if (command == ToolCommand::kCancel) {
      RunAfter(0, [this] { main_->Close(); });
    } else if (command == ToolCommand::kRepair && state_ == State::kErrors) {
      RunAfter(0, [this] { AskBackup(); });
    } else if (command == ToolCommand::kOk && state_ == State::kResult) {
      RunAfter(options_.okDelay, [this] { Conclude(); });
    }
  }

  // --- The scan ---

  void StartScan() {
    path_ = main_->EditText();
    options_ = plan_.For(path_);
    finding_ = ExamineStore(path_);
    JournalTool("Scan", 0,
                {{"file", Utf8FromWide(path_)},
                 {"problems", std::to_string(finding_.problems)},
                 {"text", Utf8FromWide(finding_.text)}});
    state_ = State::kScanning;
    finishesOnAnswer_ = false;
    minorOnly_ = false;
    ++scanNumber_;
    NextPhase(1);
    if (options_.windowInScan == 0) return;
    RunAfter(options_.windowInScan, [this] { OpenFurtherWindow(); });
  }

  void NextPhase(uint32_t phase) {
    const bool last = phase > kPhases || options_.scanTime == 0;
    const uint32_t time = phase == 1 ? 0 : options_.scanTime / kPhases;
    RunAfter(time, [this, phase, last, scan = scanNumber_] {
      if (state_ != State::kScanning || scan != scanNumber_ || !main_->IsOpen()) return;
      if (last) {
        FinishScan();
      } else {
        ShowPhase(phase);
        NextPhase(phase + 1);
      }
    });
  }

  void ShowPhase(uint32_t phase) {
    const std::wstring text =
        L"Phase " + std::to_wstring(phase) + L" of " + std::to_wstring(kPhases);
    if (phase != 1) {
      main_->SetMessage(text);
      return;
    }
    Page page = {Text(path_), Edit(), Text(text)};
    if (options_.cancelButton) page.push_back(CancelButton());
    main_->Show(page);
  }

  void FinishScan() {
    if (options_.death == RepairDeath::kInScan) Die();
    if (dialog_) {
      finishesOnAnswer_ = true;
      return;
    }
    const bool fromFile = options_.outcome == RepairOutcome::kFromFile;
    ShowOutcome(fromFile ? finding_.outcome : options_.outcome, finding_.text);
  }

  void AskCancel() {
    if (state_ != State::kScanning || dialog_) return;
    if (!options_.cancelQuestion) {
      Cancel();
      return;
    }
    OpenDialog(Question(L"Do you want to cancel the scan?"), [this](ToolCommand answer) {
      if (answer == ToolCommand::kYes) Cancel();
      if (state_ == State::kScanning && finishesOnAnswer_) FinishScan();
    });
  }

  void Cancel() {
    JournalTool("Cancel", 0, {});
    if (options_.afterCancel == AfterCancel::kErrorBox) ShowErrorBox(L"The scan was canceled.");
    if (options_.afterCancel == AfterCancel::kSound) ShowSound(L"The scan was canceled.");
  }

  // --- What it ends with ---

  void ShowOutcome(RepairOutcome outcome, const std::wstring& text) {
    switch (outcome) {
      case RepairOutcome::kErrors:
        return ShowErrors(text);
      case RepairOutcome::kMinor:
        return AskMinor(text);
      case RepairOutcome::kErrorBox:
        return ShowErrorBox(text);
      default:
        return ShowSound(L"No errors were found in this file.");
    }
  }

  // The page of a result that stands until "OK", from what it begins with; opens the windows that
  // come with it.
  Page EndWith(Page page, bool usuallyWithEdit) {
    state_ = State::kResult;
    const bool edit = options_.resultEdit == ResultEdit::kByOutcome
                          ? usuallyWithEdit
                          : options_.resultEdit == ResultEdit::kAlways;
    if (edit) page.push_back(Edit());
    page.push_back(OkButton());
    for (uint32_t count = 0; count < options_.windowsAtEnd; ++count) OpenFurtherWindow();
    return page;
  }

  void ShowSound(const std::wstring& text) {
    main_->Show(EndWith({Picture(), Text(text)}, true));
    main_->Raise();
  }

  void ShowErrors(const std::wstring& text) {
    state_ = State::kErrors;
    main_->Show({Text(L"Errors were found in this file. To repair these errors, click Repair."),
                 Text(text), Edit(), Button(L"&Repair", ToolCommand::kRepair), CancelButton()});
    main_->Raise();
  }

  void AskMinor(const std::wstring& text) {
    state_ = State::kErrors;
    const Page question = Question(L"Only minor inconsistencies were found in this file (" + text +
                                   L"). Repairing the file is optional. Do you want to repair it?");
    OpenDialog(question, [this](ToolCommand answer) {
      minorOnly_ = true;
      if (answer == ToolCommand::kYes) {
        AskBackup();
      } else {
        ShowSound(L"The file was left as it is.");
      }
    });
  }

  void ShowErrorBox(const std::wstring& text) {
    const std::wstring& usual = text.empty() ? L"The file " + path_ + L" cannot be scanned." : text;
    const std::wstring& shown = options_.errorText.empty() ? usual : options_.errorText;
    Page page;
    for (uint32_t count = 0; count < options_.errorStatics; ++count) {
      page.push_back(count == 0 ? Picture() : Text(count == 1 ? shown : path_));
    }
    ShowResultDialog(std::move(page));
  }

  void ShowRepaired() {
    if (minorOnly_) {
      ShowSound(L"The minor inconsistencies in this file were repaired.");
      return;
    }
    ShowResultDialog({Picture(), Text(L"Repair complete.")});
  }

  void ShowResultDialog(Page page) {
    OpenDialog(EndWith(std::move(page), false), [this](ToolCommand) { Conclude(); });
  }

  void Conclude() {
    if (!main_->IsOpen() || state_ != State::kResult) return;
    if (options_.okCloses) {
      main_->Close();
    } else {
      ShowStartPage();
    }
  }

  // --- The repair ---

  void AskBackup() {
    if (state_ != State::kErrors || dialog_) return;
    const bool asks =
        options_.backupQuestion == BackupQuestion::kAlways ||
        (options_.backupQuestion == BackupQuestion::kWhenThere && BackupExists(path_));
    if (!asks) {
      StartRepair();
      return;
    }
    const Page question = Question(L"The backup file " + BackupPathOf(path_) +
                                   L" already exists. Do you want to replace it?");
    OpenDialog(question, [this](ToolCommand answer) {
      if (answer == ToolCommand::kYes) {
        StartRepair();
      } else {
        ShowErrors(finding_.text);
      }
    });
  }

  void StartRepair() {
    state_ = State::kRepairing;
    main_->Show({Text(path_), Edit(), Text(L"Repairing...")});
    RunAfter(options_.repairTime, [this] {
      if (main_->IsOpen()) FinishRepair();
    });
  }

  void FinishRepair() {
    if (options_.death == RepairDeath::kInRepair) Die();
    std::wstring text;
    const bool repaired = RepairStore(path_, &text);
    JournalTool("Repair", 0,
                {{"file", Utf8FromWide(path_)},
                 {"backup", Utf8FromWide(BackupPathOf(path_))},
                 {"text", Utf8FromWide(text)}},
                repaired ? 0 : 1);
    if (repaired) {
      ShowRepaired();
    } else {
      ShowErrorBox(text);
    }
  }

  const RepairPlan plan_;
  RepairOptions options_;  // for the present file
  std::wstring path_;
  StoreFinding finding_;
  State state_ = State::kStart;
  uint32_t scanNumber_ = 0;        // tells the timers of a scan that is over
  bool finishesOnAnswer_ = false;  // the scan ended while a question was open
  bool minorOnly_ = false;         // what is being repaired
  uint64_t firstClose_ = 0;        // tick count of the first WM_CLOSE
  size_t openWindows_ = 0;
  std::vector<std::unique_ptr<ToolWindow>> windows_;  // also those that are closed
  ToolWindow* main_ = nullptr;
  ToolWindow* dialog_ = nullptr;  // the open dialog, or none
};

}  // namespace
}  // namespace lab

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) {
  std::wstring directory(GetCurrentDirectoryW(0, nullptr), L'\0');
  directory.resize(GetCurrentDirectoryW(static_cast<DWORD>(directory.size()), directory.data()));
  lab::JournalTool("Start", 0,
                   {{"command", lab::Utf8FromWide(GetCommandLineW())},
                    {"directory", lab::Utf8FromWide(directory)}});
  lab::RepairTool tool(lab::RepairPlan::Load(lab::LabDirectory()));
  const int exitCode = tool.Run();
  lab::JournalTool("Exit", 0, {}, static_cast<uint32_t>(exitCode));
  return exitCode;
}
