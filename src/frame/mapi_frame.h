// What every command on MAPI profiles does around its own work.
#pragma once

#include <windows.h>

#include <functional>

// A command's own part of a run.
struct MapiCommand {
  // Does the command's work; called once, between MAPIInitialize and MAPIUninitialize.
  std::function<HRESULT()> worker;
  // Whether the controller service is to be started after a worker with this result. Empty: never.
  std::function<bool(HRESULT workerResult)> wantsRestart;
};

// Initialises MAPI, runs the worker, starts the controller service if wanted and uninitialises
// MAPI. Returns 0, or 1 when MAPI cannot be initialised, which it says; the worker has not run
// then. Main thread only.
int RunMapiCommand(const MapiCommand& command);

// The same for commands that must not run while another program has MAPI loaded: returns 1 without
// touching MAPI when one has (the programs have then been listed).
int RunExclusiveMapiCommand(const MapiCommand& command);
