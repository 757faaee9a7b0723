#include "tests/e2e/support/output.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace e2e {

std::string Text(const Strings& lines) {
  std::string text;
  for (const std::string& line : lines) {
    text += line + "\r\n";
  }
  return text;
}

Strings Lines(std::string_view output) {
  Strings lines;
  while (!output.empty()) {
    const size_t end = output.find("\r\n");
    const std::string line(output.substr(0, end));
    if (line.find_first_of("\r\n") != std::string::npos) {
      ADD_FAILURE() << "a line end that is not CR LF in: " << Visible(line);
    }
    lines.push_back(line);
    if (end == std::string_view::npos) {
      ADD_FAILURE() << "the last line is not ended: " << Visible(line);
      break;
    }
    output.remove_prefix(end + 2);
  }
  return lines;
}

Strings SortedLines(std::string_view output) { return Sorted(Lines(output)); }

Strings Sorted(Strings lines) {
  std::sort(lines.begin(), lines.end());
  return lines;
}

int CountLines(std::string_view output, std::string_view line) {
  const Strings lines = Lines(output);
  return static_cast<int>(std::count(lines.begin(), lines.end(), line));
}

std::string Visible(std::string_view output) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string visible;
  for (const char character : output) {
    const auto byte = static_cast<unsigned char>(character);
    if (character == '\n') {
      visible += "\\n\n";
    } else if (character == '\r') {
      visible += "\\r";
    } else if (byte < 0x20 || byte == 0x7f) {
      visible += std::string("\\x") + kDigits[byte >> 4] + kDigits[byte & 15];
    } else {
      visible += character;
    }
  }
  return visible;
}

}  // namespace e2e
