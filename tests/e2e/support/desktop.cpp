#include "tests/e2e/support/desktop.h"

#include <gtest/gtest.h>
#include <windows.h>

namespace e2e {

void KeepDesktop() {
  static const HWND kWindow = [] {
    constexpr DWORD kStandard[] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
    for (const DWORD stream : kStandard) {
      SetHandleInformation(GetStdHandle(stream), HANDLE_FLAG_INHERIT, 0);
    }
    return CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr,
                           nullptr);
  }();
  ASSERT_TRUE(kWindow) << "error " << GetLastError();
}

}  // namespace e2e
