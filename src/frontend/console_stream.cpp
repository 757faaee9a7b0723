#include "src/frontend/console_stream.h"

#include <string>

#include "src/platform/text.h"

namespace {

bool IsConsole(HANDLE output) {
  DWORD mode = 0;
  return GetConsoleMode(output, &mode) != FALSE;
}

std::wstring WithCarriageReturns(std::wstring_view text) {
  std::wstring result;
  result.reserve(text.size() + 8);
  for (const wchar_t character : text) {
    if (character == L'\n') result += L'\r';
    result += character;
  }
  return result;
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
  if (traits_type::eq_int_type(character, traits_type::eof())) {
    return traits_type::not_eof(character);
  }
  return sputc(traits_type::to_char_type(character));
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
  const std::wstring withLineEnds = WithCarriageReturns(text);
  if (isConsole_) {
    WriteAll(output_, std::wstring_view(withLineEnds), WriteConsoleW);
  } else {
    const std::string utf8 = platform::ToCodePage(withLineEnds, CP_UTF8).value_or("");
    WriteAll(output_, std::string_view(utf8), WriteFile);
  }
}
