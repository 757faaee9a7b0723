// The system functions that the program calls: the lab can stand in their place, to have them fail
// by the fault plan and to journal them.
#pragma once

#include "lab/common/fault_plan.h"

namespace lab {

// Takes the places of the system functions that the plan in the lab's directory names, or of all
// when it asks for their journal, in the program's import table. Calls of other modules go on to
// the system. Does nothing without such a plan. For the moment in which the module is loaded, when
// no other thread runs.
void TakeSystemCalls();

}  // namespace lab
