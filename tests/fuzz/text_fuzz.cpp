// Letter case, file names and code pages, for any text.
#include "src/platform/text.h"

#include "src/program/program_name.h"
#include "tests/fuzz/fuzz.h"

namespace {

// `text` with the letters from `first` on, 26 of them, moved by `by`.
std::wstring Moved(std::wstring text, wchar_t first, int by) {
  for (wchar_t& c : text) {
    if (c >= first && c < first + 26) c = static_cast<wchar_t>(c + by);
  }
  return text;
}

void ClaimWide(const std::wstring& text) {
  std::wstring lower = text;
  platform::LowerAscii(lower);
  CLAIM(lower == Moved(text, L'A', 32));
  std::wstring upper = text;
  platform::UpperAscii(upper);
  CLAIM(upper == Moved(text, L'a', -32));

  const std::wstring_view name = platform::FileNamePart(std::wstring_view(text));
  CLAIM(name.find(L'\\') == name.npos && text.ends_with(name));
  CLAIM(name.size() == text.size() || text[text.size() - name.size() - 1] == L'\\');

  const std::wstring shortName = ProgramShortName(text.c_str());
  CLAIM(shortName.size() < 260 && name.starts_with(shortName));
  const std::wstring_view cut = name.substr(0, 259);
  CLAIM(cut.substr(shortName.size()).empty() || cut[shortName.size()] == L'.');
  CLAIM(cut.substr(std::min(shortName.size() + 1, cut.size())).find(L'.') == cut.npos);
}

// Character by character, as the wide text has them.
void ClaimNarrow(const std::string& text) {
  std::string lower = text;
  platform::LowerAscii(lower, CP_ACP);
  const std::wstring wide = platform::FromCodePage(text, CP_ACP);
  CLAIM(platform::FromCodePage(lower, CP_ACP) == Moved(wide, L'A', 32));
  const std::string_view name = platform::FileNamePart(std::string_view(text), CP_ACP);
  CLAIM(text.ends_with(name));
  CLAIM(platform::FromCodePage(name, CP_ACP) == platform::FileNamePart(std::wstring_view(wide)));
  CLAIM(platform::ToCodePage(wide, CP_ACP) == text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  shim::ansiCodePage = input.Byte() & 1 ? 932 : 1252;
  ClaimNarrow(input.Narrow());
  ClaimWide(input.Wide(700));
  return 0;
}
