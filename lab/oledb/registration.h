// The provider's entries in the registry.
#pragma once

#include <string>

namespace lab {

// Registers the DLL at `path` as the in-process server of ProgID SQLOLEDB for the whole machine.
// False when the registry refuses.
bool RegisterOledbProvider(const std::wstring& path);
// Registers `sqloledb.dll` in the running program's directory.
bool RegisterOledbProvider();
// Removes the entries; succeeds when there are none.
bool UnregisterOledbProvider();

}  // namespace lab
