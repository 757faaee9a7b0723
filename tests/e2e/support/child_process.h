#pragma once

#include <string>
#include <vector>

#include "src/platform/handle.h"
#include "tests/e2e/support/program.h"

namespace e2e {

// What a child gets as its three standard handles. It inherits nothing else.
struct ChildStreams {
  platform::KernelHandle input;
  platform::KernelHandle output;
  platform::KernelHandle error;
};

// A process inside a job object that takes every process it starts along when it is closed.
struct ChildProcess {
  platform::KernelHandle process;
  platform::KernelHandle job;
  DWORD id = 0;
};

// Starts a program; without a process in the result GetLastError tells why.
ChildProcess StartChild(const Words& arguments, const RunOptions& options,
                        const ChildStreams& streams);

// Gives the test a console, shared with the programs that it starts, whose Ctrl+C and Ctrl+Break
// the test itself survives.
void PrepareToStartPrograms();

}  // namespace e2e
