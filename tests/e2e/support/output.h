#pragma once

#include <string>
#include <string_view>

#include "lab/common/text.h"
#include "tests/e2e/support/lists.h"

namespace e2e {

// `lines` as a program writes them: each ended by CR LF.
std::string Text(const Strings& lines);

// The lines of `output` without their ends. Every end must be CR LF, the last line's included:
// anything else fails the running test.
Strings Lines(std::string_view output);

// The lines of `output` in byte order, for what several threads print in no fixed order.
Strings SortedLines(std::string_view output);

// `lines` in byte order.
Strings Sorted(Strings lines);

// How often `line` is among the lines of `output`.
int CountLines(std::string_view output, std::string_view line);

// `output` with control characters made visible, for messages.
std::string Visible(std::string_view output);

using lab::Utf8FromWide;
using lab::WideFromUtf8;

}  // namespace e2e
