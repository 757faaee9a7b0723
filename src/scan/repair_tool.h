// Outlook's Inbox Repair tool, driven through its window.
#pragma once

#include <string>

// Has SCANPST.EXE, taken from the directory of the MAPI provider module, scan the store file at
// `path` and repair it when it finds errors. Returns 1 when the file came out sound, else 0. Prints
// its progress in verbose mode; a tool that cannot be started, shows no window or reports an error
// always gets a line. Ctrl+C cancels a scan, which then ends with the tool's own answer, and breaks
// off a repair. Waits for the tool as long as it takes, looking once a second. Knows the English
// tool only.
int CheckRepairQsf(const std::wstring& path);
