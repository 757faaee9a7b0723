// From the command line to one command.
#pragma once

// Finds the command words among all arguments (values of switches included; any letter case) and
// calls the handler of the one that the list of commands names first, or its help screen when an
// argument is exactly "-h". Without a command word the general help screen is shown. What the
// handler returns is discarded: the result is always 0.
int Dispatch(int argc, wchar_t** argv, const wchar_t* programName);
