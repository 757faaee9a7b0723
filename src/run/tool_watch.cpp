#include "src/run/tool_watch.h"

#include <array>

#include "src/run/ctrl_c.h"

namespace {

std::optional<ULONGLONG> DeadlineAfter(std::optional<std::uint32_t> milliseconds) {
  if (!milliseconds) return std::nullopt;
  return GetTickCount64() + *milliseconds;
}

}  // namespace

ToolWatch::ToolWatch(ToolProcess& tool, Screen& screen, HANDLE ctrlC,
                     std::optional<std::uint32_t> timeoutMilliseconds)
    : tool_(tool),
      screen_(screen),
      ctrlC_(ctrlC),
      deadline_(DeadlineAfter(timeoutMilliseconds)),
      thread_(CreateThread(nullptr, 0, RunThread, this, 0, nullptr)) {}

RunEnd ToolWatch::WaitForEnd() {
  WaitForSingleObject(thread_.Get(), INFINITE);
  return end_;
}

DWORD WINAPI ToolWatch::RunThread(LPVOID watch) {
  static_cast<ToolWatch*>(watch)->Run();
  return 0;
}

void ToolWatch::Run() {
  DWORD waited = WAIT_TIMEOUT;
  while (waited != WAIT_OBJECT_0 && waited != WAIT_FAILED) waited = WaitForNext();
  // What it has left running, the repair tool above all.
  tool_.EndAll();
}

DWORD ToolWatch::WaitForNext() {
  const std::array<HANDLE, 2> handles = {tool_.Process(), ctrlC_};
  const DWORD waited = WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(),
                                              FALSE, MillisecondsLeft());
  if (waited == WAIT_OBJECT_0 + 1) {
    OnCtrlC();
  } else if (waited == WAIT_TIMEOUT) {
    OnTimeout();
  }
  return waited;
}

DWORD ToolWatch::MillisecondsLeft() const {
  if (!deadline_) return INFINITE;
  const ULONGLONG now = GetTickCount64();
  return *deadline_ > now ? static_cast<DWORD>(*deadline_ - now) : 0;
}

// Pressed again, or when the time is over, it says nothing new to the tool.
void ToolWatch::OnCtrlC() {
  if (!end_.ctrlC && !end_.timeRanOut) AskToolToEnd();
  end_.ctrlC = true;
}

void ToolWatch::OnTimeout() {
  constexpr ULONGLONG kToEndMilliseconds = 30000;
  if (end_.timeRanOut) {
    end_.killed = true;
    tool_.EndAll();
    return;
  }
  end_.timeRanOut = true;
  AskToolToEnd();
  deadline_ = GetTickCount64() + kToEndMilliseconds;
}

void ToolWatch::AskToolToEnd() { SendCtrlC(tool_.Process(), tool_.ProcessId(), screen_); }
