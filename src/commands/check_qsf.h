// -checkQsf: whether the connector's stores open.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

// The command's handler: reads the switches, shows the help screen (result 1) without a profile,
// else runs CheckQsf unless another program uses MAPI. Returns 0 or 1.
int qrvAdminCheckQsf(int argc, wchar_t** argv, const wchar_t* programName);

// Opens every connector store of the profile, or those whose address contains one of
// `fragments` (taken as typed; none means all), and reports the ones that fail. Returns S_OK,
// E_FAIL when a store failed, or the failure that kept the check from running. The results of the
// last jobs of the pooled logon do not count. Takes ten seconds beyond the stores' own time. MAPI
// must be initialised on the calling thread.
HRESULT CheckQsf(const std::wstring& profileName, const std::vector<std::wstring>& fragments);
