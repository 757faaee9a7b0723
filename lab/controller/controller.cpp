// The "BlackBerry Controller" service of the lab. It does nothing but be in a state, and journals
// each control that reaches it.
//
// usage (as the service's command line): controller.exe [--stay-pending] [--directory LAB]
#include <windows.h>

#include <string>
#include <string_view>

#include "lab/common/journal.h"
#include "lab/common/lab_config.h"

namespace {

wchar_t serviceName[] = L"BlackBerry Controller";

std::wstring labDirectory;
bool stayPending = false;
SERVICE_STATUS_HANDLE statusHandle = nullptr;
HANDLE stopEvent = nullptr;

void Journal(const char* call) {
  lab::AppendJournalNow(lab::JournalPath(labDirectory), {.call = call});
}

void Report(DWORD state) {
  SERVICE_STATUS status = {};
  status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
  status.dwCurrentState = state;
  status.dwControlsAccepted = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_PAUSE_CONTINUE;
  status.dwWaitHint = 60000;
  SetServiceStatus(statusHandle, &status);
}

DWORD WINAPI OnControl(DWORD control, DWORD, void*, void*) {
  switch (control) {
    case SERVICE_CONTROL_STOP:
      Journal("Controller::Stop");
      SetEvent(stopEvent);
      return NO_ERROR;
    case SERVICE_CONTROL_PAUSE:
      Journal("Controller::Pause");
      Report(SERVICE_PAUSED);
      return NO_ERROR;
    case SERVICE_CONTROL_CONTINUE:
      Journal("Controller::Continue");
      Report(SERVICE_RUNNING);
      return NO_ERROR;
    case SERVICE_CONTROL_INTERROGATE:
      return NO_ERROR;
    default:
      return ERROR_CALL_NOT_IMPLEMENTED;
  }
}

void WINAPI ServiceMain(DWORD, wchar_t**) {
  stopEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  statusHandle = RegisterServiceCtrlHandlerExW(serviceName, OnControl, nullptr);
  Journal("Controller::Start");
  Report(stayPending ? SERVICE_START_PENDING : SERVICE_RUNNING);
  WaitForSingleObject(stopEvent, INFINITE);
  Report(SERVICE_STOPPED);
}

void ReadCommandLine(int argc, wchar_t** argv) {
  labDirectory = lab::LabDirectory();
  for (int index = 1; index < argc; ++index) {
    const std::wstring_view argument = argv[index];
    if (argument == L"--stay-pending") {
      stayPending = true;
    } else if (argument == L"--directory" && index + 1 < argc && argv[index + 1][0] != L'\0') {
      labDirectory = argv[++index];
    }
  }
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  ReadCommandLine(argc, argv);
  const SERVICE_TABLE_ENTRYW services[] = {{serviceName, ServiceMain}, {nullptr, nullptr}};
  return StartServiceCtrlDispatcherW(services) ? 0 : 1;
}
