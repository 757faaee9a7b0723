// Registry values of any type and length, for the targets that read the registry.
#pragma once

#include "tests/fuzz/fuzz.h"

namespace fuzz {

inline std::vector<BYTE> BytesOf(const std::wstring& text) {
  const auto* const first = reinterpret_cast<const BYTE*>(text.data());
  return {first, first + 2 * text.size()};
}

// Any bytes, or one of the texts as it may lie in a registry: with a terminator, without, or with a
// byte too many or too few.
inline shim::Value AnyValue(Input& input, std::initializer_list<const wchar_t*> words) {
  shim::Value value;
  const uint8_t kind = input.Byte();
  value.type = kind & 3 ? (kind & 1 ? REG_BINARY : REG_SZ) : input.Below(12);
  if (kind & 4) {
    value.bytes = input.Bytes(input.Byte());
    return value;
  }
  std::wstring text = input.Word(words);
  if (!(kind & 8)) text += L'\0';
  value.bytes = BytesOf(text);
  if (kind & 16) value.bytes.push_back(input.Byte());
  if ((kind & 32) && !value.bytes.empty()) value.bytes.pop_back();
  return value;
}

// The whole characters up to the first terminator.
inline std::wstring TextIn(const shim::Value& value) {
  std::wstring text;
  for (size_t i = 0; i + 1 < value.bytes.size(); i += 2) {
    const auto unit = static_cast<wchar_t>(value.bytes[i] | value.bytes[i + 1] << 8);
    if (!unit) break;
    text += unit;
  }
  return text;
}

}  // namespace fuzz
