// Property tags of the tables' columns.
#pragma once

#include <windows.h>

namespace lab {

inline constexpr ULONG kInstanceKey = 0x0FF60102;
inline constexpr ULONG kEntryId = 0x0FFF0102;
inline constexpr ULONG kDisplayNameA = 0x3001001E;
inline constexpr ULONG kProviderUid = 0x300C0102;
inline constexpr ULONG kDefaultStore = 0x3400000B;
inline constexpr ULONG kDefaultProfile = 0x3D04000B;
inline constexpr ULONG kServiceNameA = 0x3D09001E;
inline constexpr ULONG kServiceUid = 0x3D0C0102;
inline constexpr ULONG kResourceType = 0x3E030003;

}  // namespace lab
