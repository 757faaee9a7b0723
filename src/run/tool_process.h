// The tool as a process.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

#include "src/platform/handle.h"

// The tool's file, in the folder of this program.
std::wstring ToolPath();

// The command line of a program that is to find `arguments` behind its own path, as Windows' C
// library takes it apart.
std::wstring CommandLineOf(const std::wstring& program, const std::vector<std::wstring>& arguments);

// The tool while it runs, with all that it starts: when the object goes, or this process in
// whatever way, none of them is left. Its standard input is empty; standard output and standard
// error are one pipe. It has a console of its own, without a window.
class ToolProcess {
 public:
  // 0, or the system's error.
  DWORD Start(const std::wstring& path, const std::vector<std::wstring>& arguments);

  HANDLE Process() const { return process_.Get(); }
  DWORD ProcessId() const { return processId_; }

  // The next piece of what it prints; empty when it and all that might write there have ended.
  // Valid until the next call.
  std::string_view ReadOutput();

  // Ends the tool, if it still runs, and all that it has started. May be called from another thread
  // than the rest.
  void EndAll();

  // Only when it has ended.
  DWORD ExitCode() const;

 private:
  platform::KernelHandle job_;
  platform::KernelHandle process_;
  platform::KernelHandle output_;
  DWORD processId_ = 0;
  std::vector<char> buffer_;
};
