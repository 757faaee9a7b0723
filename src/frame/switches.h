// How commands read their switches.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <variant>
#include <vector>

// A number given on the command line: decimal digits as _wtoi reads them (anything else is 0). One
// that is above the limit when taken as unsigned, so every negative one too, counts as not given.
struct BoundedNumber {
  std::uint32_t fallback;  // Without a value.
  std::uint32_t limit;
  std::optional<std::uint32_t> given = std::nullopt;

  std::uint32_t Value() const { return given && *given <= limit ? *given : fallback; }
};

// One switch of a command and where its value goes. The type of the target says what the switch
// takes: nothing (the target becomes true, or 1), the next argument as it stands, or all arguments
// up to the next that begins with "-", appended to the list.
struct Switch {
  const wchar_t* text;
  std::variant<bool*, std::uint32_t*, BoundedNumber*, std::wstring*, std::vector<std::wstring>*>
      target;
};

// Walks all arguments behind the program's name and fills the targets of the switches that it
// meets. Switches are matched whole and with their letter case; everything else is passed over
// silently. A switch whose value is missing at the end leaves its target as it is.
void ReadSwitches(int argc, wchar_t** argv, std::initializer_list<Switch> switches);
