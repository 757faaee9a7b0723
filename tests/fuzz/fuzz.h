// What the fuzz targets share: their input cut into values, and the claim that each of them makes
// of what a source returns.
#pragma once

#include <windows.h>

#include <cstdio>
#include <span>
#include <string>
#include <vector>

// A claim that does not hold is a finding.
#define CLAIM(holds)                                                                  \
  do {                                                                                \
    if (!(holds)) {                                                                   \
      std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #holds); \
      std::abort();                                                                   \
    }                                                                                 \
  } while (false)

namespace fuzz {

// Values from the front of the input; when it is used up, zeros and empty texts.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : rest_(data, size) {}

  bool IsEmpty() const { return rest_.empty(); }

  uint8_t Byte() {
    if (rest_.empty()) return 0;
    const uint8_t byte = rest_.front();
    rest_ = rest_.subspan(1);
    return byte;
  }
  uint32_t Number() {
    uint32_t number = 0;
    for (int i = 0; i < 4; ++i) number = number << 8 | Byte();
    return number;
  }
  // Fewer than `limit`, which is at least 1.
  uint32_t Below(uint32_t limit) { return (limit > 256 ? Number() : Byte()) % limit; }

  std::vector<uint8_t> Bytes(size_t size) {
    const auto taken = rest_.first(std::min(size, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    return {taken.begin(), taken.end()};
  }
  std::vector<uint8_t> AllBytes() { return Bytes(rest_.size()); }

  // A text of at most `longest` characters, without a terminator within. Its first byte says how
  // its characters lie: one byte each, or two.
  std::wstring Wide(size_t longest = 300) {
    const uint8_t kind = Byte();
    std::wstring text;
    const size_t length = std::min<size_t>(longest, (kind >> 1) * (kind & 1 ? 1 : 8));
    while (text.size() < length && !rest_.empty()) {
      const auto unit = static_cast<wchar_t>(kind & 1 ? Byte() | Byte() << 8 : Byte());
      if (!unit) break;
      text += unit;
    }
    return text;
  }
  std::string Narrow(size_t longest = 300) {
    std::string text;
    while (text.size() < longest && !rest_.empty()) {
      const char byte = static_cast<char>(Byte());
      if (!byte) break;
      text += byte;
    }
    return text;
  }
  // One of the words, or any text.
  std::wstring Word(std::initializer_list<const wchar_t*> words) {
    const uint32_t choice = Below(static_cast<uint32_t>(words.size()) + 2);
    return choice < words.size() ? words.begin()[choice] : Wide();
  }

 private:
  std::span<const uint8_t> rest_;
};

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
