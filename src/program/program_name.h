// The name under which the program was started.
#pragma once

#include <string>

// The program's short name: the part of `firstArgument` behind its last backslash (a slash
// separates nothing), without its last dot and what follows it. Of a part of 260 characters or more
// the first 259 are looked at.
std::wstring ProgramShortName(const wchar_t* firstArgument);
