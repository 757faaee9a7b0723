#include "src/frame/switches.h"

#include <cstdlib>
#include <cwchar>
#include <span>

namespace {

using Arguments = std::span<wchar_t* const>;

// Each Take gets the arguments behind the switch and returns how many of them it took.

size_t Take(bool* target, Arguments) {
  *target = true;
  return 0;
}

size_t Take(std::uint32_t* target, Arguments) {
  *target = 1;
  return 0;
}

size_t Take(BoundedNumber* target, Arguments rest) {
  if (rest.empty()) return 0;
  target->given = static_cast<std::uint32_t>(_wtoi(rest.front()));
  return 1;
}

size_t Take(std::wstring* target, Arguments rest) {
  if (rest.empty()) return 0;
  *target = rest.front();
  return 1;
}

size_t Take(std::vector<std::wstring>* target, Arguments rest) {
  size_t taken = 0;
  while (taken < rest.size() && rest[taken][0] != L'-') target->push_back(rest[taken++]);
  return taken;
}

const Switch* FindSwitch(const wchar_t* argument, std::initializer_list<Switch> switches) {
  for (const Switch& candidate : switches) {
    if (wcscmp(argument, candidate.text) == 0) return &candidate;
  }
  return nullptr;
}

}  // namespace

void ReadSwitches(int argc, wchar_t** argv, std::initializer_list<Switch> switches) {
  if (argc < 2) return;
  Arguments rest(argv + 1, static_cast<size_t>(argc) - 1);
  while (!rest.empty()) {
    const Switch* const found = FindSwitch(rest.front(), switches);
    rest = rest.subspan(1);
    if (!found) continue;
    rest = rest.subspan(std::visit([&](auto target) { return Take(target, rest); }, found->target));
  }
}
