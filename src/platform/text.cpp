#include "src/platform/text.h"

#include <windows.h>

namespace platform {

namespace {

// Replaces the letters from `first` to `last` by those from `target` on.
template <typename Char>
void FoldLetters(std::basic_string<Char>& text, char first, char last, char target) {
  for (Char& character : text) {
    if (character < first || character > last) continue;
    character = static_cast<Char>(character - first + target);
  }
}

}  // namespace

void LowerAscii(std::wstring& text) { FoldLetters(text, 'A', 'Z', 'a'); }

void LowerAscii(std::string& text) { FoldLetters(text, 'A', 'Z', 'a'); }

void UpperAscii(std::wstring& text) { FoldLetters(text, 'a', 'z', 'A'); }

std::optional<std::string> ToCodePage(std::wstring_view text, unsigned codePage) {
  if (text.empty()) return std::string();
  const int length = static_cast<int>(text.size());
  const int size =
      WideCharToMultiByte(codePage, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  if (size <= 0) return std::nullopt;
  std::string narrow(static_cast<size_t>(size), '\0');
  WideCharToMultiByte(codePage, 0, text.data(), length, narrow.data(), size, nullptr, nullptr);
  return narrow;
}

std::wstring FromCodePage(std::string_view text, unsigned codePage) {
  // No character takes less than a byte.
  std::wstring wide(text.size(), L'\0');
  const int written = MultiByteToWideChar(codePage, 0, text.data(), static_cast<int>(text.size()),
                                          wide.data(), static_cast<int>(wide.size()));
  wide.resize(static_cast<size_t>(written));
  return wide;
}

}  // namespace platform
