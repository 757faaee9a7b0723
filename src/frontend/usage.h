// The help screens. Each is written to the wide standard output; `programName` is the program's
// short name, the first word of every screen. Main thread only.
#pragma once

void PrintGeneralUsage(const wchar_t* programName);

void PrintCheckQsfUsage(const wchar_t* programName);
// In the form of the utility of its own when `programName` is "qsfscan" in any letter case.
void PrintScanQsfUsage(const wchar_t* programName);
void PrintCompactQsfUsage(const wchar_t* programName);
void PrintPurgeQsfUsage(const wchar_t* programName);
void PrintListAgentsUsage(const wchar_t* programName);
void PrintAssignAgentsUsage(const wchar_t* programName);
void PrintListServersUsage(const wchar_t* programName);
void PrintFindUsersUsage(const wchar_t* programName);
