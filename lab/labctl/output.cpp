#include "lab/labctl/output.h"

#include <windows.h>

#include <string>

#include "lab/common/text.h"

namespace lab {
namespace {

std::string WithLineEnds(std::string_view text) {
  std::string result;
  for (char c : text) {
    if (c == '\n') result += '\r';
    result += c;
  }
  return result;
}

void Write(DWORD standardHandle, std::string_view text) {
  HANDLE handle = GetStdHandle(standardHandle);
  const std::string data = WithLineEnds(text);
  DWORD mode = 0;
  DWORD written = 0;
  if (GetConsoleMode(handle, &mode)) {
    const std::wstring wide = WideFromUtf8(data);
    WriteConsoleW(handle, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr);
  } else {
    WriteFile(handle, data.data(), static_cast<DWORD>(data.size()), &written, nullptr);
  }
}

}  // namespace

void Print(std::string_view text) { Write(STD_OUTPUT_HANDLE, text); }
void PrintError(std::string_view text) { Write(STD_ERROR_HANDLE, text); }

}  // namespace lab
