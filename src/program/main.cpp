#include <iostream>

#include "src/console/console.h"
#include "src/program/program.h"

int wmain(int argc, wchar_t** argv) {
  SetUpConsole();
  // Every line is flushed when it is written. A flush by a read would not mind the line lock.
  std::wcin.tie(nullptr);
  return RunProgram(argc, argv);
}
