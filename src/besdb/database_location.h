// Where the BES configuration database is.
#pragma once

#include <windows.h>

#include <string>

struct DatabaseLocation {
  std::wstring server;
  std::wstring database;
};

// Reads the location that the BES installation keeps in the local machine's registry, in the view
// of this process. Both values must be texts (REG_SZ). Returns the HRESULT of the Win32 error: of
// opening the key, or ERROR_NOT_FOUND for a value that is missing or of another type. Throws
// Quorvel::Util::Win32Error when HKEY_LOCAL_MACHINE itself cannot be opened.
HRESULT ReadDatabaseLocation(DatabaseLocation& location);
