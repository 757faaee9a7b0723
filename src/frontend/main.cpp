#include <iostream>

#include "src/frontend/console_stream.h"
#include "src/frontend/program.h"

int wmain(int argc, wchar_t** argv) {
  const ConsoleStream console(std::wcout);
  return RunProgram(argc, argv);
}
