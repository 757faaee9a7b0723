// -scanQsf, and the stand-alone utility "qsfscan".
#pragma once

#include <string>

// The command's handler, with switches of its own: scans and repairs the store files of a profile,
// or deletes them after a question each. Returns 0, or 1 when the switches are wrong (the help
// screen follows), MAPI is in use or cannot be initialised; that a file could not be repaired or
// deleted changes nothing in it.
int ScanQsfCommand(int argc, wchar_t** argv, const wchar_t* programName);

// What the user may answer to the question about one file.
enum class DeleteAnswer { kYes = 0, kNo = 1, kCancel = 2 };

// Asks on the console whether to delete the file, until the answer begins with y, n or c. It reads
// one character: the rest of the line answers the next question. The end of the input counts as
// cancel.
DeleteAnswer ConfirmDelete(const std::wstring& path);
