// The thread on which the connector's message service compacts one store.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

// Handed to the thread; its maker owns it and keeps it until the thread has ended.
struct CompactQsfThreadParams {
  HRESULT result = S_OK;  // Of the compaction. Stays 0 when the thread fails ahead of it.
  HWND parentWindow = nullptr;
  std::wstring profileName;
  std::vector<BYTE> serviceUid;  // 16 bytes.
};

// The thread's procedure; its parameter is a CompactQsfThreadParams. Initialises MAPI for its
// thread and calls the service's configuration entry point, which is modal: it shows its dialogs on
// this thread and returns when they are closed. Always returns 0.
DWORD WINAPI CompactQsfThread(LPVOID lpvCompactQsfThreadParams);
