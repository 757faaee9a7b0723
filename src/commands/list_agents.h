// -listAgents: the agents of one BES server.
#pragma once

#include <windows.h>

// The command's handler: lists the agents of the server given with "-s" and how many users each
// serves. Shows the help screen (result 1) when the server's name is missing. The name is
// upper-cased (a to z) before it is looked up with its letter case, so a server that the database
// keeps in lower case is never found.
HRESULT qrvAdminListAgents(int argc, wchar_t** argv, const wchar_t* programName);
