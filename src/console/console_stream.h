// The stream buffer behind the wide standard output.
#pragma once

#include <windows.h>

#include <array>
#include <streambuf>
#include <string_view>

// Takes wide text and writes it where standard output leads: as characters when that is a console,
// as UTF-8 when it is a pipe or a file. The runtime's own buffer serves neither: it stops for good
// at the first character beyond U+00FF. Line ends become CR LF, as in the runtime's text mode. A
// surrogate pair is never torn. Text that cannot be written (a full disk, a closed pipe) is
// dropped; what follows is tried again. Writing takes no memory from the heap: a stream is silent
// for good once its buffer has thrown. One thread at a time.
class ConsoleStreamBuffer : public std::wstreambuf {
 public:
  // `output` stays the caller's.
  explicit ConsoleStreamBuffer(HANDLE output);
  // Writes what is left, half a surrogate pair included.
  ~ConsoleStreamBuffer() override;

 protected:
  int_type overflow(int_type character) override;
  int sync() override;

 private:
  static constexpr size_t kSize = 1024;

  // Writes the buffered text, all but a first half of a surrogate pair at its end.
  void WriteBuffered();
  // Writes `text`, of at most kSize characters.
  void Write(std::wstring_view text);

  const HANDLE output_;
  const bool isConsole_;
  std::array<wchar_t, kSize> buffer_;
};
