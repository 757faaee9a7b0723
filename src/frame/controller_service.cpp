#include "src/frame/controller_service.h"

#include <windows.h>

#include <optional>

#include "src/console/console.h"
#include "src/platform/handle.h"

namespace {

using platform::ServiceHandle;

constexpr const char* kFunction = "ServiceStartSvc";

ServiceHandle OpenManager() {
  ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
  if (!manager) PrintLine(L"%hs. OpenSCManager failed (%d)", kFunction, GetLastError());
  return manager;
}

ServiceHandle OpenController(const ServiceHandle& manager) {
  ServiceHandle service(OpenServiceW(manager.Get(), L"BlackBerry Controller", SERVICE_ALL_ACCESS));
  if (!service) PrintLine(L"%hs. OpenService failed (%d)", kFunction, GetLastError());
  return service;
}

std::optional<DWORD> CurrentState(const ServiceHandle& service) {
  SERVICE_STATUS_PROCESS status = {};
  DWORD needed = 0;
  if (!QueryServiceStatusEx(service.Get(), SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                            sizeof(status), &needed)) {
    PrintLine(L"%hs. QueryServiceStatusEx failed (%d)", kFunction, GetLastError());
    return std::nullopt;
  }
  return status.dwCurrentState;
}

void StartIfStopped(const ServiceHandle& service, DWORD state) {
  if (state != SERVICE_STOPPED) {
    // Kept: "running" is said of every state but stopped, pending ones too, and the bracket has no
    // partner; console lines are an interface.
    PrintLine(L"%hs. Service is already running, currentState=%d)", kFunction, state);
  } else if (!StartServiceW(service.Get(), 0, nullptr)) {
    PrintLine(L"%hs. StartService failed (%d)", kFunction, GetLastError());
  }
}

}  // namespace

void ServiceStartSvc() {
  const ServiceHandle manager = OpenManager();
  if (!manager) return;
  const ServiceHandle service = OpenController(manager);
  if (!service) return;
  if (const std::optional<DWORD> state = CurrentState(service)) StartIfStopped(service, *state);
}
