// The lines that the tool can print at all, by the formats that stand in its sources.
#pragma once

#include <string>
#include <string_view>

#include "tests/e2e/support/lists.h"

namespace proof {

// Whether a line, given without its end, has one of the formats, or is one of a help screen's. Of
// one that is as long as a line can be the end may be cut off. A format that is nothing but a text
// of the caller's is none: it would be every line.
bool IsKnownLine(std::string_view line);

// How the tool prints a text in one line: cut at 254 characters, as UTF-8, its line ends CR LF;
// with the end of the line, or nothing for an empty text.
std::string Printed(std::wstring_view text);

// The same of a text that is printed whole.
std::string PrintedWhole(std::wstring_view text);

}  // namespace proof
