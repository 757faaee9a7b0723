// The table by which the process's program calls other modules.
#pragma once

#include <string_view>

namespace lab {

// Where the program has the address of the function that it imports by this name; null when it
// imports none.
void** FindImport(std::string_view function);

// Has the program call `target` from now on.
void SetImport(void** import, void* target);

}  // namespace lab
