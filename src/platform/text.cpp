#include "src/platform/text.h"

#include <windows.h>

namespace platform {

namespace {

template <typename String>
void FoldLetters(String& text) {
  for (auto& character : text) {
    if (character >= 'A' && character <= 'Z') character += 'a' - 'A';
  }
}

}  // namespace

void LowerAscii(std::wstring& text) { FoldLetters(text); }

void LowerAscii(std::string& text) { FoldLetters(text); }

void UpperAscii(std::wstring& text) {
  for (wchar_t& character : text) {
    if (character >= L'a' && character <= L'z') character -= L'a' - L'A';
  }
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
