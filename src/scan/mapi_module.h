// Where Outlook's MAPI lies on disk.
#pragma once

#include <string>

// The full path of mspst32.dll, the personal-folders provider: in the directory that the MAPI stub
// library names (the system directory when it names none), else beside a MAPI library that is
// loaded in this process. When it is in neither place, the path that was formed last, where there
// is no such file. Errors are not reported; in verbose mode the steps are printed.
std::wstring GetMapiModuleFullPath();
