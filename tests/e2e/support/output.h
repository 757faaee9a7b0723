#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace e2e {

// `lines` as a program writes them: each ended by CR LF.
std::string Text(const std::vector<std::string>& lines);

// The lines of `output` without their ends. Every end must be CR LF, the last line's included:
// anything else fails the running test.
std::vector<std::string> Lines(std::string_view output);

// The lines of `output` in byte order, for what several threads print in no fixed order.
std::vector<std::string> SortedLines(std::string_view output);

// `lines` in byte order.
std::vector<std::string> Sorted(std::vector<std::string> lines);

// How often `line` is among the lines of `output`.
int CountLines(std::string_view output, std::string_view line);

// `output` with control characters made visible, for messages.
std::string Visible(std::string_view output);

std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view text);

}  // namespace e2e
