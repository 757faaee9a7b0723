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

void FoldAsciiLower(std::wstring& text) { FoldLetters(text); }

void FoldAsciiLower(std::string& text) { FoldLetters(text); }

std::optional<std::string> ToThreadCodePage(const std::wstring& text) {
  // Two bytes for each character: no ANSI code page needs more.
  std::string narrow((text.size() + 1) * 2, '\0');
  const int written = WideCharToMultiByte(CP_THREAD_ACP, 0, text.c_str(), -1, narrow.data(),
                                          static_cast<int>(narrow.size()), nullptr, nullptr);
  if (written <= 0) return std::nullopt;
  narrow.resize(static_cast<size_t>(written) - 1);
  return narrow;
}

}  // namespace platform
