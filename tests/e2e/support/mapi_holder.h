#pragma once

#include <string>
#include <vector>

#include "tests/e2e/support/program.h"
#include "tests/e2e/support/temp_directory.h"

namespace e2e {

// Another program with MAPI libraries loaded: runs from construction to destruction.
class MapiHolder {
 public:
  // `programName` is the image's name ("outlook.exe"), `modules` the file names of the DLLs that
  // it loads ("OLMAPI32.DLL"). They are loaded when the constructor returns, else the test fails.
  explicit MapiHolder(const std::wstring& programName,
                      const std::vector<std::wstring>& modules = {L"MAPI32.DLL"});

  DWORD ProcessId() const { return program_.ProcessId(); }

  // Ends the program and waits for its end.
  void Quit();

 private:
  TempDirectory directory_;
  RunningProgram program_;
};

}  // namespace e2e
