#include "src/platform/win32_error.h"

#include <memory>

#include "src/platform/text.h"

namespace Quorvel::Util {

namespace {

struct LocalMemoryDeleter {
  void operator()(wchar_t* text) const { LocalFree(text); }
};
using LocalText = std::unique_ptr<wchar_t, LocalMemoryDeleter>;

// The system's text for the code, with its line end; null when it has none.
LocalText SystemText(DWORD errorCode) {
  wchar_t* text = nullptr;
  FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM,
      nullptr, errorCode, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
      reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  return LocalText(text);
}

}  // namespace

Win32Error::Win32Error(const std::string& context, DWORD errorCode)
    : std::runtime_error(context), errorCode_(errorCode) {}

const char* Win32Error::what() const noexcept {
  const char* const context = std::runtime_error::what();
  if (!message_.empty()) return message_.c_str();
  try {
    const LocalText text = SystemText(errorCode_);
    if (!text) return context;
    // By the ANSI code page and not by the C library, whose locale stops at the first letter
    // outside ASCII.
    message_ = std::string(context) + ": " + platform::ToCodePage(text.get(), CP_ACP).value_or("");
    return message_.c_str();
  } catch (...) {
    return context;
  }
}

DWORD ThrowIfError(DWORD errorCode) {
  if (errorCode != ERROR_SUCCESS) throw Win32Error("", errorCode);
  return errorCode;
}

}  // namespace Quorvel::Util
