// Property tags of the tables' columns, beside those that profile sections hold
// (lab/common/profile_registry.h).
#pragma once

#include <windows.h>

#include "lab/common/profile_registry.h"

namespace lab {

inline constexpr ULONG kInstanceKey = 0x0FF60102;
inline constexpr ULONG kDisplayNameA = 0x3001001E;
inline constexpr ULONG kDefaultStore = 0x3400000B;
inline constexpr ULONG kDefaultProfile = 0x3D04000B;
inline constexpr ULONG kServiceNameA = 0x3D09001E;

}  // namespace lab
