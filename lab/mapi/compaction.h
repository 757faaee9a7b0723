// The connector's compaction of a store.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

#include "lab/common/entry_id.h"

namespace lab {

// Compacts the store of a service, by the lab's compaction plan, and shows on the calling thread
// what the plan says; returns when all of it is gone. `gained` receives by how many bytes the file
// shrank. Fails with
//   MAPI_E_NOT_FOUND        no such service, or no such file
//   MAPI_E_NO_SUPPORT       an embedded store, which has no file of its own
//   MAPI_E_UNCONFIGURED     the service has no store, or its store no path
//   MAPI_E_NO_ACCESS        another process holds the file
//   MAPI_E_CORRUPT_STORE    the file is damaged
//   MAPI_E_USER_CANCEL      somebody closed the compaction's own dialog
//   what the plan says
// and then leaves the file as it is.
HRESULT CompactService(const std::wstring& profile, const Uid& service, uint64_t* gained);

// What a caller gives as the window for the dialogs: "none", "no-window", or whose it is:
// "own-thread", "own-process", "other-process".
std::string DescribeParentWindow(ULONG_PTR parent);

}  // namespace lab
