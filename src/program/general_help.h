// The help screen of the program as a whole.
#pragma once

#include <span>

#include "src/commands/command.h"

// Writes the screen to the wide standard output, with a row for each of `commands`.
void PrintGeneralUsage(const wchar_t* programName, std::span<const Command* const> commands);
