// The state of the "BlackBerry Controller" service, as tests and labctl set it.
#pragma once

#include <windows.h>

#include <chrono>
#include <optional>
#include <string>

namespace lab {

// The service's key name.
extern const wchar_t kControllerService[];

enum class ControllerState {
  kAbsent,        // not installed
  kStopped,       // installed; a start succeeds
  kRunning,       //
  kPaused,        //
  kStartPending,  // started, and never done with starting
  kBroken,        // stopped; a start fails because the program file is missing
  kDisabled,      // stopped; a start fails because the service is disabled
};

// Brings the service into `state`, whatever it was in. `program` is the path of controller.exe;
// `labDirectory` is where the service writes its journal (empty: where the registry says). False,
// with GetLastError, when the service manager refuses.
bool SetController(ControllerState state, const std::wstring& program,
                   const std::wstring& labDirectory);

// Stops the service and removes it; true also when there was none.
bool RemoveController();

// SERVICE_STOPPED, SERVICE_RUNNING ... of the installed service; none when it is absent.
std::optional<DWORD> QueryController();

// Waits until the service reports `state`; false when the time is over.
bool WaitForController(DWORD state, std::chrono::milliseconds timeout = std::chrono::seconds(15));

}  // namespace lab
