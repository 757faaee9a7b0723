// -compactQsf: the connector compacts its stores.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

// The command's handler: reads the switches, shows the help screen (result 1) without a profile,
// else runs CompactQsf unless another program uses MAPI. Returns 0 or 1.
int qrvAdminCompactQsf(int argc, wchar_t** argv, const wchar_t* programName);

// Has the connector compact, one after the other, the file of every store of the profile whose
// address contains one of `fragments` (taken as typed; none means all). Embedded stores have no
// file and are passed over. Ctrl+C ends it before the next store. A store that fails is reported
// and does not change the result: that of the last set-up step. MAPI must be initialised on the
// calling thread. After a failure ahead of opening the profile's services COM stays initialised.
HRESULT CompactQsf(const std::wstring& profileName, const std::vector<std::wstring>& fragments);
