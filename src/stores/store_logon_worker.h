// One worker thread of the pooled store logon and what passes between it and the dispatcher.
#pragma once

#include <windows.h>

#include <string>

#include "src/platform/handle.h"
#include "src/platform/mapi.h"

// The dispatcher touches a slot only while `ready` is signalled (or after its wait has failed), its
// worker only between `go` and `ready`; no lock is needed. The events and the store references go
// with the slot.
struct StoreLogonSlot {
  StoreLogonSlot();
  StoreLogonSlot(const StoreLogonSlot&) = delete;
  StoreLogonSlot& operator=(const StoreLogonSlot&) = delete;

  platform::KernelHandle go;     // Set by the dispatcher: there is a job.
  platform::KernelHandle ready;  // Set by the worker: the slot is free. Signalled at first.
  platform::KernelHandle quit;   // Set once, after the last job was handed out.
  HRESULT result = S_OK;         // Of the last job.
  bool checkMode = false;        // Open the connector's folders too.
  std::wstring profileName;
  std::wstring userName;  // Whose mailbox to open.
  bool busy = false;      // Has had a job whose result has not been collected.
  size_t jobIndex = 0;
  // The default store of the dispatcher's session.
  platform::ComPtr<IMsgStore> defaultStore;
  // The store that the last job opened, or none.
  platform::ComPtr<IMsgStore> openedStore;
};

// The worker: a thread procedure whose parameter is its StoreLogonSlot. Initialises MAPI for its
// thread and does the slot's jobs until told to quit; returns 0.
DWORD WINAPI StoreLogonThread(LPVOID lpvStoreLogonThreadParams);
