// The repair tool: what its windows show, and what follows what.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "lab/repair/repair_plan.h"
#include "lab/repair/store_check.h"
#include "lab/repair/tool_window.h"

namespace lab {

class RepairTool {
 public:
  explicit RepairTool(RepairPlan plan);

  // Runs until the tool's last window is closed; returns the process's exit code.
  int Run();

 private:
  // kStart: a file can be named. kResult: something is shown that ends with "OK".
  enum class State { kStart, kScanning, kErrors, kRepairing, kResult };

  using Handler = void (RepairTool::*)(ToolCommand);

  // Windows.
  void OpenMainWindow();
  Page StartPage() const;
  void ShowStartPage();
  void OpenDialog(const Page& page, Handler handler);
  void OpenFurtherWindow();
  ToolWindow* NewWindow(std::wstring title, ToolWindow* owner, const Page& page,
                        ToolWindow::Events events);
  bool OnClose(ToolWindow* window);
  void OnClosed();
  void OnMainCommand(ToolCommand command);

  // The scan.
  void StartScan();
  void NextPhase(uint32_t phase);
  void ShowPhase(uint32_t phase);
  void FinishScan();
  void AskCancel();
  void OnCancelAnswer(ToolCommand command);
  void Cancel();

  // What it ends with.
  void ShowOutcome(RepairOutcome outcome, const std::wstring& text);
  // The page of a result that stands until "OK", from what it begins with; opens the windows that
  // come with it.
  Page EndWith(Page page, bool usuallyWithEdit);
  void ShowSound(const std::wstring& text);
  void ShowErrors(const std::wstring& text);
  void AskMinor(const std::wstring& text);
  void OnMinorAnswer(ToolCommand command);
  void ShowErrorBox(const std::wstring& text);
  void ShowRepaired();
  void OnResultAnswer(ToolCommand command);
  void Conclude();

  // The repair.
  void AskBackup();
  void OnBackupAnswer(ToolCommand command);
  void StartRepair();
  void FinishRepair();

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

}  // namespace lab
