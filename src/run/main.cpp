#include "src/console/console.h"
#include "src/run/unattended_run.h"

int wmain(int argc, wchar_t** argv) {
  SetUpConsole();
  return RunUnattended(argc, argv);
}
