// labctl's verbs for what lies around the profiles: the controller service, the configuration
// database, the repair tool. Each returns one of labctl's exit codes; they throw what the lab's
// libraries throw.
#pragma once

#include "lab/labctl/outcome.h"

namespace lab {

// STATE: absent, stopped, running, paused, pending, broken, disabled.
int PutController(const Words& words);

// SERVER DATABASE: registers the OLE DB provider, makes the tables anew, and enters the names in
// the registry.
int MakeDatabase(const Words& words);

// ID NAME [TYPE]: adds a server; "this" is this computer's name.
int AddBesServer(const Words& words);

// SERVER-ID ADDRESS [AGENT]: adds a user.
int AddBesUser(const Words& words);

// Prints every user with server and agent.
int ShowBesUsers(const Words& words);

// SECONDS: prints "warm" and keeps the desktop in use that long; see KeepDesktopWarm.
int HoldDesktop(const Words& words);

// DIRECTORY: installs the repair tool there, where MAPI's stub then says that MAPI is.
int PlaceTool(const Words& words);

}  // namespace lab
