// The program between wmain and the commands.
#pragma once

// Runs the program once: sets up the Ctrl+C state, hands the arguments to the dispatcher or, under
// the name of the stand-alone scan utility, to the scan command, and returns the exit code. That is
// 0 for every dispatched command. To be called once a process, on the main thread.
int RunProgram(int argc, wchar_t** argv);
