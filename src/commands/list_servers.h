// -listServers: the BES servers in the configuration database.
#pragma once

#include <windows.h>

// The command's handler: lists the Exchange-type servers by name, with "-c" their user counts too.
// Knows no other switch. Returns the last HRESULT.
HRESULT qrvAdminListServers(int argc, wchar_t** argv);
