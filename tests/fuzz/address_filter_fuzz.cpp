// Which addresses the values of "-e" take.
#include "src/commands/address_filter.h"

#include "tests/fuzz/fuzz.h"

namespace {

bool Occurs(const std::wstring& part, const std::wstring& text) {
  for (size_t at = 0; at + part.size() <= text.size(); ++at) {
    if (std::equal(part.begin(), part.end(), text.begin() + at)) return true;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const std::wstring address = input.Wide(120);
  std::vector<std::wstring> fragments;
  bool occurs = false;
  while (!input.IsEmpty() && fragments.size() < 8) {
    const size_t begin = input.Below(121);
    const bool isPiece = begin <= address.size() && (input.Byte() & 1);
    fragments.push_back(isPiece ? address.substr(begin, input.Byte()) : input.Wide(30));
    occurs |= Occurs(fragments.back(), address);
    if (isPiece) CLAIM(occurs);
  }
  CLAIM(ContainsAny(address, fragments) == occurs);
  CLAIM(IsSelected(address, fragments) == (fragments.empty() || occurs));
  return 0;
}
