// Standard output whatever is written, in whatever pieces: as UTF-8 with CR LF in a pipe, as the
// same characters on a console; no character is lost, doubled or torn.
#include "src/console/console_stream.h"

#include "tests/fuzz/fuzz.h"

namespace {

std::wstring WithCarriageReturns(const std::wstring& text) {
  std::wstring out;
  for (const wchar_t c : text) {
    if (c == L'\n') out += L'\r';
    out += c;
  }
  return out;
}

std::string Utf8(const std::wstring& text) {
  std::string out(3 * text.size(), '\0');
  out.resize(static_cast<size_t>(
      WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(),
                          static_cast<int>(out.size()), nullptr, nullptr)));
  return out;
}

void Write(fuzz::Input& input, const std::wstring& piece, ConsoleStreamBuffer& stream) {
  if (input.Byte() & 1) {
    stream.sputn(piece.data(), static_cast<std::streamsize>(piece.size()));
  } else {
    for (const wchar_t c : piece) stream.sputc(c);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  shim::written.clear();
  shim::shown.clear();
  shim::isConsole = input.Byte() & 1;
  shim::mostAtOnce = 1 + input.Byte();
  std::wstring whole;
  {
    ConsoleStreamBuffer stream(nullptr);
    while (!input.IsEmpty()) {
      std::wstring piece = input.Word({L"\n", L"\xD83D\xDE00", L"\xD83D", L"\xDE00", L"\x65E5"});
      // A buffer's length and more.
      while (piece.size() > 1 && piece.size() < 3000 && input.Byte() > 200) piece += piece;
      whole += piece;
      Write(input, piece, stream);
      if (input.Byte() & 1) stream.pubsync();
    }
  }
  whole = WithCarriageReturns(whole);
  CLAIM(shim::shown == (shim::isConsole ? whole : L""));
  CLAIM(shim::written == (shim::isConsole ? "" : Utf8(whole)));
  return 0;
}
