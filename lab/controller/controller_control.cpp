#include "lab/controller/controller_control.h"

#include "src/platform/handle.h"

namespace lab {

const wchar_t kControllerService[] = L"BlackBerry Controller";

namespace {

using platform::KernelHandle;
using platform::ServiceHandle;

constexpr DWORD kPollMilliseconds = 10;

ServiceHandle OpenManager() {
  return ServiceHandle(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
}

// None when there is no manager either.
ServiceHandle OpenController() {
  return ServiceHandle(OpenServiceW(OpenManager().Get(), kControllerService, SERVICE_ALL_ACCESS));
}

std::optional<DWORD> CurrentState(SC_HANDLE service) {
  SERVICE_STATUS status = {};
  if (!QueryServiceStatus(service, &status)) return std::nullopt;
  return status.dwCurrentState;
}

std::wstring CommandLineOf(ControllerState state, const std::wstring& program,
                           const std::wstring& labDirectory) {
  const std::wstring file = state == ControllerState::kBroken ? program + L".missing" : program;
  const std::wstring mode = state == ControllerState::kStartPending ? L" --stay-pending" : L"";
  return L"\"" + file + L"\"" + mode + L" --directory \"" + labDirectory + L"\"";
}

ServiceHandle Install(ControllerState state, const std::wstring& commandLine) {
  const DWORD start = state == ControllerState::kDisabled ? SERVICE_DISABLED : SERVICE_DEMAND_START;
  return ServiceHandle(CreateServiceW(OpenManager().Get(), kControllerService, kControllerService,
                                      SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS, start,
                                      SERVICE_ERROR_NORMAL, commandLine.c_str(), nullptr, nullptr,
                                      nullptr, nullptr, nullptr));
}

bool Start(SC_HANDLE service, DWORD expectedState) {
  return StartServiceW(service, 0, nullptr) && WaitForController(expectedState);
}

bool Pause(SC_HANDLE service) {
  SERVICE_STATUS status = {};
  return ControlService(service, SERVICE_CONTROL_PAUSE, &status) &&
         WaitForController(SERVICE_PAUSED);
}

bool Stop(SC_HANDLE service) {
  if (CurrentState(service) == SERVICE_STOPPED) return true;
  SERVICE_STATUS status = {};
  ControlService(service, SERVICE_CONTROL_STOP, &status);
  return WaitForController(SERVICE_STOPPED);
}

// Ends a service that does not answer: a process that was killed leaves its state behind.
void EndProcess(SC_HANDLE service) {
  SERVICE_STATUS_PROCESS status = {};
  DWORD needed = 0;
  if (!QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                            sizeof(status), &needed)) {
    return;
  }
  const KernelHandle process(OpenProcess(PROCESS_TERMINATE, FALSE, status.dwProcessId));
  if (process) TerminateProcess(process.Get(), 0);
}

// Asks again and again; false when the time is over.
template <class Condition>
bool WaitUntil(const Condition& holds, std::chrono::milliseconds timeout) {
  const ULONGLONG end = GetTickCount64() + static_cast<ULONGLONG>(timeout.count());
  while (!holds()) {
    if (GetTickCount64() > end) return false;
    Sleep(kPollMilliseconds);
  }
  return true;
}

}  // namespace

bool SetController(ControllerState state, const std::wstring& program,
                   const std::wstring& labDirectory) {
  if (!RemoveController()) return false;
  if (state == ControllerState::kAbsent) return true;
  const ServiceHandle service = Install(state, CommandLineOf(state, program, labDirectory));
  if (!service) return false;
  switch (state) {
    case ControllerState::kRunning:
      return Start(service.Get(), SERVICE_RUNNING);
    case ControllerState::kPaused:
      return Start(service.Get(), SERVICE_RUNNING) && Pause(service.Get());
    case ControllerState::kStartPending:
      return Start(service.Get(), SERVICE_START_PENDING);
    default:
      return true;
  }
}

bool RemoveController() {
  {
    const ServiceHandle service = OpenController();
    if (!service) return GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST;
    if (!Stop(service.Get())) EndProcess(service.Get());
    if (!DeleteService(service.Get()) && GetLastError() != ERROR_SERVICE_MARKED_FOR_DELETE) {
      return false;
    }
  }
  return WaitUntil([] { return !OpenController(); }, std::chrono::seconds(15));
}

std::optional<DWORD> QueryController() { return CurrentState(OpenController().Get()); }

bool WaitForController(DWORD state, std::chrono::milliseconds timeout) {
  return WaitUntil([state] { return QueryController() == state; }, timeout);
}

}  // namespace lab
