#include "src/frame/mapi_frame.h"

#include "src/console/console.h"
#include "src/frame/controller_service.h"
#include "src/frame/mapi_in_use.h"
#include "src/platform/mapi.h"

namespace {

void RestartController() {
  ServiceStartSvc();
  // Said after the attempt, whatever came of it.
  PrintLine(L"Starting BlackBerry Controller Service.");
}

}  // namespace

int RunMapiCommand(const MapiCommand& command) {
  if (FAILED(MAPIInitialize(nullptr))) {
    PrintLine(L"Failed to initialize MAPI. are you using the right 64/32 bitness?");
    return 1;
  }
  const HRESULT result = command.worker();
  if (command.wantsRestart && command.wantsRestart(result)) RestartController();
  MAPIUninitialize();
  return 0;
}

int RunExclusiveMapiCommand(const MapiCommand& command) {
  return MapiInUse() ? 1 : RunMapiCommand(command);
}
