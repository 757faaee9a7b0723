#pragma once

#include <windows.h>

#include <string_view>
#include <vector>

namespace e2e {

// The ids of the processes that run a program file of that name, in any folder and letter case.
std::vector<DWORD> ProcessesOf(std::wstring_view fileName);

}  // namespace e2e
