#include "src/platform/text.h"

#include <windows.h>

namespace platform {

namespace {

// Replaces `character`, when it is a letter from `first` to `last`, by its like from `target` on.
template <typename Char>
void FoldLetter(Char& character, char first, char last, char target) {
  if (character < first || character > last) return;
  character = static_cast<Char>(character - first + target);
}

// Calls `visit` with the place of each character of `text` that is a single byte.
template <typename Visit>
void VisitSingleBytes(std::string_view text, unsigned codePage, Visit visit) {
  for (size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<BYTE>(text[at]);
    // No code page has lead bytes among the ASCII characters.
    if (byte >= 0x80 && IsDBCSLeadByteEx(codePage, byte)) {
      ++at;
    } else {
      visit(at);
    }
  }
}

}  // namespace

void LowerAscii(std::wstring& text) {
  for (wchar_t& character : text) FoldLetter(character, 'A', 'Z', 'a');
}

void LowerAscii(std::string& text, unsigned codePage) {
  VisitSingleBytes(text, codePage, [&](size_t at) { FoldLetter(text[at], 'A', 'Z', 'a'); });
}

void UpperAscii(std::wstring& text) {
  for (wchar_t& character : text) FoldLetter(character, 'a', 'z', 'A');
}

std::wstring_view FileNamePart(std::wstring_view path) {
  const size_t backslash = path.rfind(L'\\');
  return backslash == path.npos ? path : path.substr(backslash + 1);
}

std::string_view FileNamePart(std::string_view path, unsigned codePage) {
  size_t start = 0;
  VisitSingleBytes(path, codePage, [&](size_t at) {
    if (path[at] == '\\') start = at + 1;
  });
  return path.substr(start);
}

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
