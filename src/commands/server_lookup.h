// How the commands find a BES server.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

#include "src/besdb/bes_database.h"

// Finds the id of the server called `name`, compared with letter case against the names as the
// database keeps them. Failures are printed under the name `function`; a server that is not there
// gives MAPI_E_NOT_FOUND. `serverId` is set on success only.
HRESULT FindServer(CBESDatabase& database, const std::wstring& name, const char* function,
                   std::int32_t& serverId);
