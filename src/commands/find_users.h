// -findUsers: which store and file serve given addresses.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

// The command's handler: reads the switches, shows the help screen (result 1) without a profile or
// without an address, else runs FindUsers with MAPI initialised. Returns 0 or 1.
int qrvAdminFindUsers(int argc, wchar_t** argv, const wchar_t* programName);

// Lists every connector store of the profile whose lower-cased address contains one of `fragments`
// (at least one; compared with letter case), in the cache's order. Returns the result of loading
// the cache. MAPI must be initialised on the calling thread.
HRESULT FindUsers(const std::wstring& profileName, const std::vector<std::wstring>& fragments);
