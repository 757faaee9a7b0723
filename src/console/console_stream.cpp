#include "src/console/console_stream.h"

namespace {

bool IsConsole(HANDLE output) {
  DWORD mode = 0;
  return GetConsoleMode(output, &mode) != FALSE;
}

// Copies `text` to `target`, which has room for twice as much, and returns what stands there.
std::wstring_view AddCarriageReturns(std::wstring_view text, wchar_t* target) {
  wchar_t* end = target;
  for (const wchar_t character : text) {
    if (character == L'\n') *end++ = L'\r';
    *end++ = character;
  }
  return {target, static_cast<size_t>(end - target)};
}

// Writes `text` in UTF-8 to `target`, of `size` bytes, and returns what stands there.
std::string_view ToUtf8(std::wstring_view text, char* target, size_t size) {
  const int length = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                         target, static_cast<int>(size), nullptr, nullptr);
  return {target, static_cast<size_t>(length)};
}

// Hands `text` to `write`, which is WriteConsoleW or WriteFile, until all of it is written or the
// system takes no more.
template <typename Text, typename WriteFunction>
void WriteAll(HANDLE output, Text text, WriteFunction write) {
  while (!text.empty()) {
    DWORD written = 0;
    const BOOL ok = write(output, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    if (!ok || written == 0) return;
    text.remove_prefix(written);
  }
}

}  // namespace

ConsoleStreamBuffer::ConsoleStreamBuffer(HANDLE output)
    : output_(output), isConsole_(IsConsole(output)) {
  setp(buffer_.data(), buffer_.data() + buffer_.size());
}

ConsoleStreamBuffer::~ConsoleStreamBuffer() {
  WriteBuffered();
  Write({pbase(), static_cast<size_t>(pptr() - pbase())});
}

ConsoleStreamBuffer::int_type ConsoleStreamBuffer::overflow(int_type character) {
  WriteBuffered();
  // Streams pass characters only. Where an int_type has 16 bits, U+FFFF looks like the end of file.
  *pptr() = traits_type::to_char_type(character);
  pbump(1);
  return traits_type::not_eof(character);
}

int ConsoleStreamBuffer::sync() {
  WriteBuffered();
  return 0;
}

void ConsoleStreamBuffer::WriteBuffered() {
  const bool endsInHalfPair = pptr() > pbase() && IS_HIGH_SURROGATE(pptr()[-1]);
  const wchar_t half = endsInHalfPair ? pptr()[-1] : L'\0';
  Write({pbase(), static_cast<size_t>(pptr() - pbase()) - (endsInHalfPair ? 1 : 0)});
  setp(buffer_.data(), buffer_.data() + buffer_.size());
  if (endsInHalfPair) sputc(half);
}

void ConsoleStreamBuffer::Write(std::wstring_view text) {
  if (text.empty()) return;
  std::array<wchar_t, 2 * kSize> wide;
  const std::wstring_view withLineEnds = AddCarriageReturns(text, wide.data());
  if (isConsole_) {
    WriteAll(output_, withLineEnds, WriteConsoleW);
  } else {
    // No unit of UTF-16 takes more than three bytes.
    std::array<char, 3 * wide.size()> utf8;
    WriteAll(output_, ToUtf8(withLineEnds, utf8.data(), utf8.size()), WriteFile);
  }
}
