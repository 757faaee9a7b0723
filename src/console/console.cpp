#include "src/console/console.h"

#include <windows.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include "src/console/console_stream.h"
#include "src/platform/lock.h"

namespace {

// The size of a line with its terminator, in characters.
constexpr size_t kLineSize = 255;

// Whether `format` holds a conversion that stores through its argument (%n, with whatever flags,
// width and size prefix): runtimes differ between storing, refusing and ending the program.
bool HasStoringConversion(std::wstring_view format) {
  constexpr std::wstring_view kFlagsWidthAndSize = L"-+ #0123456789*.hlLIwz";
  for (size_t at = format.find(L'%'); at != format.npos; at = format.find(L'%', at)) {
    at = format.find_first_not_of(kFlagsWidthAndSize, at + 1);
    if (at == format.npos) return false;
    if (format[at] == L'n') return true;
    ++at;
  }
  return false;
}

// The number of characters that the formatted text takes without its terminator, -1 on a format
// that the runtime refuses.
int FormattedLength(const wchar_t* format, va_list arguments) {
  va_list copy;
  va_copy(copy, arguments);
  const int length = _vscwprintf(format, copy);
  va_end(copy);
  return length;
}

// Copies as much of `text` into `buffer` as a line holds and returns the number of characters.
int CopyLine(wchar_t* buffer, std::wstring_view text) {
  const size_t length = text.copy(buffer, kLineSize - 1);
  buffer[length] = L'\0';
  return static_cast<int>(length);
}

// Formats into `buffer` of kLineSize characters; returns what the formatting call returns.
int FormatLine(wchar_t* buffer, const wchar_t* format, va_list arguments) {
  if (HasStoringConversion(format)) return CopyLine(buffer, format);
  const int length = FormattedLength(format, arguments);
  if (length < static_cast<int>(kLineSize)) {
    return _vsnwprintf_s(buffer, kLineSize, kLineSize, format, arguments);
  }
  // The secure function treats a text that does not fit as an error, and what is in the buffer
  // afterwards depends on the runtime. The whole text goes through a buffer that holds it.
  std::wstring whole(static_cast<size_t>(length) + 1, L'\0');
  _vsnwprintf_s(whole.data(), whole.size(), static_cast<size_t>(length), format, arguments);
  return CopyLine(buffer, whole);
}

// Held around a whole line with its flush.
SRWLOCK lineLock = SRWLOCK_INIT;

}  // namespace

void SetUpConsole() {
  // Never destroyed: the process may end on any thread, and lines are printed and std::wcout is
  // flushed when the main thread's stack and the static objects are gone.
  std::wcout.rdbuf(new ConsoleStreamBuffer(GetStdHandle(STD_OUTPUT_HANDLE)));
}

void PrintFormattedLine(const wchar_t* format, ...) {
  const std::unique_ptr<wchar_t[]> buffer(new wchar_t[kLineSize]());
  // Kept: cleared again, and by a size in bytes: half of the buffer, which is clear already. It
  // does no harm.
  memset(buffer.get(), 0, kLineSize);

  va_list arguments;
  va_start(arguments, format);
  const int formatted = FormatLine(buffer.get(), format, arguments);
  va_end(arguments);

  // A refused format counts as a line too: whatever the buffer then holds is shown.
  if (formatted == 0) return;
  const platform::SlimLockGuard guard(lineLock);
  std::wcout << buffer.get() << std::endl;
}

void PrintText(const std::wstring& text) {
  const platform::SlimLockGuard guard(lineLock);
  std::wcout << text << std::endl;
}
