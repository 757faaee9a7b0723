// How long the tool may run, and who may stop it.
#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>

#include "src/platform/handle.h"
#include "src/run/screen.h"
#include "src/run/tool_process.h"

// How a run came to its end. With nothing set the tool has ended by itself.
struct RunEnd {
  bool timeRanOut = false;
  bool ctrlC = false;
  // It did not end in the time that it was given after its own had run out.
  bool killed = false;
};

// Watches over the tool on a thread of its own, so that a line that is stuck on its way to the
// screen keeps nothing. The first time that `ctrlC` is signalled in its time, and when that is
// over, the tool is asked to end; it is ended 30 seconds later. When it has ended, whatever it left
// running is ended too.
class ToolWatch {
 public:
  // The tool has just been started. Without a timeout it may take its time. `tool` and `screen`
  // must live until WaitForEnd has returned; meanwhile the tool's output may be read and lines may
  // be shown.
  ToolWatch(ToolProcess& tool, Screen& screen, HANDLE ctrlC,
            std::optional<std::uint32_t> timeoutMilliseconds);
  ToolWatch(const ToolWatch&) = delete;
  ToolWatch& operator=(const ToolWatch&) = delete;

  // Waits until the tool and all that it has started have ended. To be called once.
  RunEnd WaitForEnd();

 private:
  static DWORD WINAPI RunThread(LPVOID watch);
  void Run();
  // Returns what the wait has returned: WAIT_OBJECT_0 when the tool has ended.
  DWORD WaitForNext();
  DWORD MillisecondsLeft() const;
  void OnCtrlC();
  void OnTimeout();
  void AskToolToEnd();

  ToolProcess& tool_;
  Screen& screen_;
  const HANDLE ctrlC_;
  std::optional<ULONGLONG> deadline_;
  RunEnd end_;
  // Last: it begins when all the rest is there.
  platform::KernelHandle thread_;
};
