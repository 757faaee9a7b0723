// The OLE DB provider's class and its entries in the registry.
#pragma once

#include <windows.h>

namespace lab {

// {0C7FF16C-38E3-11D0-97AB-00C04FC2AD98}, the class that installations register for SQLOLEDB.
inline constexpr GUID kProviderClass = {
    0x0c7ff16c, 0x38e3, 0x11d0, {0x97, 0xab, 0x00, 0xc0, 0x4f, 0xc2, 0xad, 0x98}};

// Registers the `sqloledb.dll` beside `module`, or beside the running program, as the in-process
// server of ProgID SQLOLEDB for the whole machine. False when the registry refuses.
bool RegisterOledbProvider(HMODULE module = nullptr);
// Removes the entries; succeeds when there are none.
bool UnregisterOledbProvider();

}  // namespace lab
