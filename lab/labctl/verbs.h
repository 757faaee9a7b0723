// What labctl can do.
#pragma once

#include <string>
#include <vector>

namespace lab {

// Runs the verb that `words` begins with, and returns the process's exit code: 0 done, 1 failed,
// 2 not understood. Without words it prints the help.
int RunVerb(std::vector<std::wstring> words);

}  // namespace lab
