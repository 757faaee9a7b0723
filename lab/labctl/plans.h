// labctl's verbs for what is planned to go wrong: failing calls, compactions, the repair tool. Each
// returns one of labctl's exit codes.
#pragma once

#include "lab/labctl/outcome.h"

namespace lab {

// Each adds the rule of these words to its plan in the lab's directory, and prints the plan.
int AddFault(const Words& words);
int AddCompactionRule(const Words& words);
// OPTION VALUE, for every file, or file TEXT OPTION VALUE.
int AddRepairOption(const Words& words);

// Each empties its plan.
int EmptyFaults(const Words& words);
int EmptyCompaction(const Words& words);
int EmptyRepair(const Words& words);

}  // namespace lab
