// Owners of loaded modules.
#pragma once

#include <windows.h>

#include "src/platform/handle.h"

namespace platform {

using ModuleHandle = UniqueHandle<HMODULE, &FreeLibrary>;

}  // namespace platform
