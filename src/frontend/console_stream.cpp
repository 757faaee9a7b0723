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
    WriteConsoleText(withLineEnds);
  } else {
    WriteUtf8(withLineEnds);
  }
}

void ConsoleStreamBuffer::WriteConsoleText(std::wstring_view text) {
  while (!text.empty()) {
    DWORD written = 0;
    const bool ok = WriteConsoleW(output_, text.data(), static_cast<DWORD>(text.size()), &written,
                                  nullptr) != FALSE;
    if (!ok || written == 0) return;
    text.remove_prefix(written);
  }
}

void ConsoleStreamBuffer::WriteUtf8(std::wstring_view text) {
  const std::string utf8 = platform::ToCodePage(text, CP_UTF8).value_or("");
  std::string_view rest = utf8;
  while (!rest.empty()) {
    DWORD written = 0;
    const bool ok = WriteFile(output_, rest.data(), static_cast<DWORD>(rest.size()), &written,
                              nullptr) != FALSE;
    if (!ok || written == 0) return;
    rest.remove_prefix(written);
  }
}
