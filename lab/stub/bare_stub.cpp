// A MAPI stub without FGetComponentPath.
#include <windows.h>

extern "C" __declspec(dllexport) DWORD WINAPI GetOutlookVersion() { return 0; }
