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

std::optional<std::string> ToThreadCodePage(const std::wstring& text) {
  // Two bytes for each character: no ANSI code page needs more.
  std::string narrow((text.size() + 1) * 2, '\0');
  const int written = WideCharToMultiByte(CP_THREAD_ACP, 0, text.c_str(), -1, narrow.data(),
                                          static_cast<int>(narrow.size()), nullptr, nullptr);
  if (written <= 0) return std::nullopt;
  narrow.resize(static_cast<size_t>(written) - 1);
  return narrow;
}

std::wstring FromThreadCodePage(const std::string& text) {
  // No character takes less than a byte.
  std::wstring wide(text.size(), L'\0');
  const int written =
      MultiByteToWideChar(CP_THREAD_ACP, 0, text.data(), static_cast<int>(text.size()), wide.data(),
                          static_cast<int>(wide.size()));
  wide.resize(static_cast<size_t>(written));
  return wide;
}

}  // namespace platform
