// The unattended run as a whole.
#pragma once

// Runs the tool with the arguments behind our own switches: passes its lines on, writes them to the
// log, stops it when the time is over, and returns how it went, one of RunCode's numbers. To be
// called once a process, on the main thread.
int RunUnattended(int argc, const wchar_t* const* argv);
