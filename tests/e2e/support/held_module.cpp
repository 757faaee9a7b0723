// An empty DLL, to be copied under the name of a MAPI library.
#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID) { return TRUE; }
