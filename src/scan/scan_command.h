// -scanQsf, and the stand-alone utility "qsfscan".
#pragma once

// The command's handler, with switches of its own: scans and repairs the store files of a profile,
// or deletes them after a question each. Returns 0, or 1 when the switches are wrong (the help
// screen follows), MAPI is in use or cannot be initialised; that a file could not be repaired or
// deleted changes nothing in it.
int ScanQsfCommand(int argc, wchar_t** argv, const wchar_t* programName);
