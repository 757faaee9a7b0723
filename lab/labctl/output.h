// What labctl prints: as characters on a console, as UTF-8 into a file or a pipe.
#pragma once

#include <string_view>

namespace lab {

// Prints UTF-8 text to standard output, each line end as CR LF.
void Print(std::string_view text);
// The same to standard error.
void PrintError(std::string_view text);

}  // namespace lab
