#include "lab/repair/repair_tool.h"

#include <windows.h>

#include <cstdlib>
#include <utility>

#include "lab/common/text.h"
#include "lab/repair/timers.h"

namespace lab {
namespace {

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

std::wstring PhaseText(uint32_t phase) {
  return L"Phase " + std::to_wstring(phase) + L" of " + std::to_wstring(kPhases);
}

[[noreturn]] void Die() {
  JournalTool("Die", 0, {});
  TerminateProcess(GetCurrentProcess(), kDeathExitCode);
  std::abort();
}

}  // namespace

RepairTool::RepairTool(RepairPlan plan) : plan_(std::move(plan)), options_(plan_.options) {}

int RepairTool::Run() {
  if (options_.death == RepairDeath::kAtStart) Die();
  Sleep(options_.startTime);
  if (options_.lifetime != 0) RunAfter(options_.lifetime, [] { Die(); });
  if (options_.window && options_.windowDelay == 0) OpenMainWindow();
  if (options_.window && options_.windowDelay != 0) {
    RunAfter(options_.windowDelay, [this] { OpenMainWindow(); });
  }
  MSG message = {};
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    const HWND active = GetActiveWindow();
    if (active != nullptr && IsDialogMessageW(active, &message)) continue;
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  return static_cast<int>(message.wParam);
}

// --- Windows ---

ToolWindow* RepairTool::NewWindow(std::wstring title, ToolWindow* owner, const Page& page,
                                  ToolWindow::Events events) {
  const auto number = static_cast<uint32_t>(windows_.size() + 1);
  ++openWindows_;
  windows_.push_back(
      std::make_unique<ToolWindow>(number, std::move(title), owner, page, std::move(events)));
  return windows_.back().get();
}

void RepairTool::OpenMainWindow() {
  main_ = NewWindow(kTitle, nullptr, StartPage(),
                    {[this](ToolCommand command) { OnMainCommand(command); },
                     [this] { return OnClose(main_); }, [this] { OnClosed(); }});
}

Page RepairTool::StartPage() const {
  Page page = {Text(L"Enter the name of the file you want to scan:")};
  if (plan_.options.startEdit) page.push_back(Edit());
  if (plan_.options.startButton) page.push_back(Button(L"&Start", ToolCommand::kStart));
  page.push_back(CancelButton());
  return page;
}

void RepairTool::ShowStartPage() {
  state_ = State::kStart;
  options_ = plan_.options;
  main_->Show(StartPage());
}

// `handler` takes the dialog's button; the dialog is closed by then. WM_CLOSE counts as kNone.
void RepairTool::OpenDialog(const Page& page, Handler handler) {
  const auto answer = [this, handler](ToolCommand command) {
    RunAfter(command == ToolCommand::kOk ? options_.okDelay : 0, [this, handler, command] {
      if (dialog_ == nullptr) return;
      std::exchange(dialog_, nullptr)->Close();
      (this->*handler)(command);
    });
  };
  const auto close = [this, handler] {
    if (!OnClose(dialog_)) return false;
    dialog_ = nullptr;
    RunAfter(0, [this, handler] {
      if (main_->IsOpen()) (this->*handler)(ToolCommand::kNone);
    });
    return true;
  };
  dialog_ = NewWindow(kDialogTitle, main_, page, {answer, close, [this] { OnClosed(); }});
}

void RepairTool::OpenFurtherWindow() {
  const size_t index = windows_.size();
  NewWindow(L"Inbox Repair " + std::to_wstring(index + 1), nullptr, {Text(L"Further information")},
            {[](ToolCommand) {}, [this, index] { return OnClose(windows_[index].get()); },
             [this] { OnClosed(); }});
}

// Whether the window may close now.
bool RepairTool::OnClose(ToolWindow* window) {
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

void RepairTool::OnClosed() {
  if (--openWindows_ == 0) PostQuitMessage(0);
}

// Pages change later: the button that was clicked must outlive its click.
void RepairTool::OnMainCommand(ToolCommand command) {
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

void RepairTool::StartScan() {
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
  if (options_.windowInScan != 0) RunAfter(options_.windowInScan, [this] { OpenFurtherWindow(); });
}

void RepairTool::NextPhase(uint32_t phase) {
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

void RepairTool::ShowPhase(uint32_t phase) {
  if (phase != 1) {
    main_->SetMessage(PhaseText(phase));
    return;
  }
  Page page = {Text(path_), Edit(), Text(PhaseText(phase))};
  if (options_.cancelButton) page.push_back(CancelButton());
  main_->Show(page);
}

void RepairTool::FinishScan() {
  if (options_.death == RepairDeath::kInScan) Die();
  if (dialog_ != nullptr) {
    finishesOnAnswer_ = true;
    return;
  }
  const bool fromFile = options_.outcome == RepairOutcome::kFromFile;
  ShowOutcome(fromFile ? finding_.outcome : options_.outcome, finding_.text);
}

void RepairTool::AskCancel() {
  if (state_ != State::kScanning || dialog_ != nullptr) return;
  if (!options_.cancelQuestion) {
    Cancel();
    return;
  }
  OpenDialog(Question(L"Do you want to cancel the scan?"), &RepairTool::OnCancelAnswer);
}

void RepairTool::OnCancelAnswer(ToolCommand command) {
  if (command == ToolCommand::kYes) Cancel();
  if (state_ == State::kScanning && finishesOnAnswer_) FinishScan();
}

void RepairTool::Cancel() {
  JournalTool("Cancel", 0, {});
  if (options_.afterCancel == AfterCancel::kErrorBox) ShowErrorBox(L"The scan was canceled.");
  if (options_.afterCancel == AfterCancel::kSound) ShowSound(L"The scan was canceled.");
}

// --- What it ends with ---

void RepairTool::ShowOutcome(RepairOutcome outcome, const std::wstring& text) {
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

Page RepairTool::EndWith(Page page, bool usuallyWithEdit) {
  state_ = State::kResult;
  const bool edit = options_.resultEdit == ResultEdit::kByOutcome
                        ? usuallyWithEdit
                        : options_.resultEdit == ResultEdit::kAlways;
  if (edit) page.push_back(Edit());
  page.push_back(OkButton());
  for (uint32_t count = 0; count < options_.windowsAtEnd; ++count) OpenFurtherWindow();
  return page;
}

void RepairTool::ShowSound(const std::wstring& text) {
  main_->Show(EndWith({Picture(), Text(text)}, true));
  main_->Raise();
}

void RepairTool::ShowErrors(const std::wstring& text) {
  state_ = State::kErrors;
  main_->Show({Text(L"Errors were found in this file. To repair these errors, click Repair."),
               Text(text), Edit(), Button(L"&Repair", ToolCommand::kRepair), CancelButton()});
  main_->Raise();
}

void RepairTool::AskMinor(const std::wstring& text) {
  state_ = State::kErrors;
  OpenDialog(Question(L"Only minor inconsistencies were found in this file (" + text +
                      L"). Repairing the file is optional. Do you want to repair it?"),
             &RepairTool::OnMinorAnswer);
}

void RepairTool::OnMinorAnswer(ToolCommand command) {
  minorOnly_ = true;
  if (command == ToolCommand::kYes) {
    AskBackup();
  } else {
    ShowSound(L"The file was left as it is.");
  }
}

void RepairTool::ShowErrorBox(const std::wstring& text) {
  const std::wstring& usual = text.empty() ? L"The file " + path_ + L" cannot be scanned." : text;
  const std::wstring& shown = options_.errorText.empty() ? usual : options_.errorText;
  Page page;
  for (uint32_t count = 0; count < options_.errorStatics; ++count) {
    page.push_back(count == 0 ? Picture() : Text(count == 1 ? shown : path_));
  }
  OpenDialog(EndWith(std::move(page), false), &RepairTool::OnResultAnswer);
}

void RepairTool::ShowRepaired() {
  if (minorOnly_) {
    ShowSound(L"The minor inconsistencies in this file were repaired.");
    return;
  }
  OpenDialog(EndWith({Picture(), Text(L"Repair complete.")}, false), &RepairTool::OnResultAnswer);
}

void RepairTool::OnResultAnswer(ToolCommand) { Conclude(); }

void RepairTool::Conclude() {
  if (!main_->IsOpen() || state_ != State::kResult) return;
  if (options_.okCloses) {
    main_->Close();
  } else {
    ShowStartPage();
  }
}

// --- The repair ---

void RepairTool::AskBackup() {
  if (state_ != State::kErrors || dialog_ != nullptr) return;
  const bool asks = options_.backupQuestion == BackupQuestion::kAlways ||
                    (options_.backupQuestion == BackupQuestion::kWhenThere && BackupExists(path_));
  if (!asks) {
    StartRepair();
    return;
  }
  OpenDialog(Question(L"The backup file " + BackupPathOf(path_) +
                      L" already exists. Do you want to replace it?"),
             &RepairTool::OnBackupAnswer);
}

void RepairTool::OnBackupAnswer(ToolCommand command) {
  if (command == ToolCommand::kYes) {
    StartRepair();
  } else {
    ShowErrors(finding_.text);
  }
}

void RepairTool::StartRepair() {
  state_ = State::kRepairing;
  main_->Show({Text(path_), Edit(), Text(L"Repairing...")});
  RunAfter(options_.repairTime, [this] {
    if (main_->IsOpen()) FinishRepair();
  });
}

void RepairTool::FinishRepair() {
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

}  // namespace lab
