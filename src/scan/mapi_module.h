// Where Outlook's MAPI lies on disk. Nothing here reports an error; each lookup falls back.
#pragma once

#include <string>

// The directory of the MAPI subsystem in the ANSI code page, without a backslash at its end, as the
// MAPI stub library knows it; the system directory when the stub does not know; empty only when not
// even that can be had.
std::string InitMAPIDir();

// The full path of mspst32.dll, the personal-folders provider: in that directory, else beside a
// MAPI library that is loaded in this process. When it is in neither place, the path that was
// formed last, where there is no such file.
std::wstring GetMapiModuleFullPath();
