// -scanQsf as a program of its own.
#pragma once

#include "src/commands/command.h"

extern const Command kScanQsf;

// Whether this short name, in any letter case, makes the program the stand-alone scan utility.
bool IsStandaloneScanName(const wchar_t* programName);
