// Generated input: the same for the same seed, whatever the machine.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tests/proof/proof.h"

namespace proof {

class Random {
 public:
  // Of its own for each case of each row.
  Random(std::string_view row, uint32_t index) {
    std::seed_seq seed{Seed(), index, static_cast<uint32_t>(row.size()),
                       static_cast<uint32_t>(row.empty() ? 0 : row[0] * 256 + row.back())};
    engine_.seed(seed);
  }

  // 0 to `limit` - 1.
  uint32_t Below(uint32_t limit) { return static_cast<uint32_t>(engine_()) % limit; }
  bool OneIn(uint32_t times) { return Below(times) == 0; }

  template <typename T>
  T Pick(std::initializer_list<T> choices) {
    return choices.begin()[Below(static_cast<uint32_t>(choices.size()))];
  }

  std::vector<uint8_t> Bytes(size_t size) {
    std::vector<uint8_t> bytes(size);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(Below(256));
    return bytes;
  }

  // A text of that many units in one script, or in several, with what formats, paths, statements
  // and conversions might trip over. No line end is in it: a line would become two.
  std::wstring Text(size_t length) {
    std::wstring text;
    const uint32_t kind = Below(12);
    while (text.size() < length) text += Unit(kind == 11 ? Below(11) : kind);
    text.resize(length);
    return text;
  }
  // Of any length that has a meaning somewhere, up to `most`.
  std::wstring AnyText(size_t most) {
    const size_t length =
        Pick<size_t>({0,   1,   2,   5,   12,   12,   40,   100,  253,  254,  255,  256,  259,
                      260, 261, 511, 512, 1023, 1024, 2046, 2047, 2048, 2049, 4095, 4096, 4097});
    return Text(length <= most ? length : Below(static_cast<uint32_t>(most) + 1));
  }

 private:
  // One or more units of a script or of a nuisance.
  std::wstring Unit(uint32_t kind) {
    const auto from = [&](wchar_t first, uint32_t count) {
      return std::wstring(1, static_cast<wchar_t>(first + Below(count)));
    };
    switch (kind) {
      case 0:
        return from(L'a', 26);
      case 1:
        return from(L' ', 95);
      case 2:
        return from(L'\u00A0', 96);
      case 3:
        return from(L'\u0400', 256);
      case 4:
        return from(L'\u4E00', 20000);
      case 5:
        return from(L'\u0590', 0x170);  // From right to left.
      case 6:
        return {static_cast<wchar_t>(0xD800 + Below(0x400)),
                static_cast<wchar_t>(0xDC00 + Below(0x400))};
      case 7:
        return from(static_cast<wchar_t>(0xD800), 0x800);  // Half of a pair.
      case 8:
        return Pick<const wchar_t*>({L"%s", L"%n", L"%hs", L"%I64d", L"%1$x", L"'", L"\"", L"\\",
                                     L";", L"--", L"*", L"?", L"{0}", L"@", L"..\\", L"%"});
      case 9:
        return Pick<const wchar_t*>({L"\t", L"\x01", L"\x1A", L"\x1B[2J", L"\x7F", L"\x08",
                                     L"\uFEFF", L"\uFFFE", L"\uFFFF", L"\u200B", L"\u2028",
                                     L"\u0301"});
      default:
        return from(1, 9);
    }
  }

  std::mt19937_64 engine_;
};

}  // namespace proof
