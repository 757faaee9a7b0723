// The command line of an unattended run.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct RunOptions {
  std::wstring logPath;                              // Empty: no log.
  std::optional<std::uint32_t> timeoutMilliseconds;  // Without a value the run takes what it takes.
  bool quiet = false;
  std::vector<std::wstring> toolArguments;
};

// What the command line asks for: a run, the help screen, or nothing, because of a fault.
struct ParsedOptions {
  RunOptions options;
  bool help = false;
  std::wstring fault;  // Says what is wrong; empty when nothing is.
};

// Reads the switches in front of the tool's arguments. Those begin at the first argument that is no
// switch of ours, or behind "--". One of ours in another letter case is a fault: passed on, it
// would be passed over in silence.
ParsedOptions ParseRunOptions(int argc, const wchar_t* const* argv);

void PrintRunHelp();
