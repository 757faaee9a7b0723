// The administration interfaces of the current user's MAPI profiles. MAPI must be initialised on
// the calling thread. A failure is printed under the name `function` and returned.
#pragma once

#include <windows.h>

#include <string>

#include "src/platform/mapi.h"

HRESULT OpenProfileAdmin(const char* function, platform::ComPtr<IProfAdmin>& profileAdmin);

// The message services of the profile `profileName`.
HRESULT OpenServiceAdmin(IProfAdmin* profileAdmin, const std::wstring& profileName,
                         const char* function, platform::ComPtr<IMsgServiceAdmin>& serviceAdmin);
