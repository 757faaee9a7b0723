// The module's exported functions. Their ordinals stand in mapi32.def.
#include <mapicode.h>
#include <mapiutil.h>
#include <mapix.h>
#include <windows.h>

#include "lab/com/runtime.h"
#include "lab/common/profile_registry.h"
#include "lab/mapi/administration.h"
#include "lab/mapi/buffers.h"
#include "lab/mapi/profile_section.h"
#include "lab/mapi/restriction.h"
#include "lab/mapi/store.h"
#include "lab/mapi/table.h"
#include "lab/mapi/threads.h"
#include "lab/system/system_calls.h"

namespace lab {
namespace {

// MAPI_NO_COINIT, which the platform's headers lack, is 8.
constexpr ULONG kInitializeFlags = MAPI_MULTITHREAD_NOTIFICATIONS | MAPI_NT_SERVICE | 0x00000008;

// MAPI_LOGON_UI, NEW_SESSION, ALLOW_OTHERS, EXPLICIT_PROFILE, EXTENDED, USE_DEFAULT,
// FORCE_DOWNLOAD, SERVICE_UI_ALWAYS, NO_MAIL, NT_SERVICE, PASSWORD_UI, TIMEOUT_SHORT, UNICODE.
constexpr ULONG kLogonFlags = 0x8013B07B;

}  // namespace
}  // namespace lab

extern "C" {

HRESULT WINAPI MAPIInitialize(LPVOID options) {
  const auto* given = static_cast<const MAPIINIT_0*>(options);
  lab::Call call("MAPIInitialize");
  call.Flags(given ? given->ulFlags : 0, lab::kInitializeFlags).FromAnyThread();
  const HRESULT result = call.Run([] {
    lab::InitializeThread();
    return S_OK;
  });
  if (call.WasInjected()) lab::InitializationRefused();
  return result;
}

void WINAPI MAPIUninitialize() {
  lab::Call("MAPIUninitialize").RunPlain([] { lab::UninitializeThread(); });
}

HRESULT WINAPI MAPILogonEx(ULONG_PTR parent, LPTSTR profile, LPTSTR password, ULONG flags,
                           LPMAPISESSION* session) {
  lab::Call call("MAPILogonEx");
  call.Hex("parent", parent).Text("profile", profile, flags).Text("password", password, flags);
  call.Flags(flags, lab::kLogonFlags).Out(session);
  return call.Run([&] {
    const std::wstring name = lab::TextParameter(profile, flags);
    if (!lab::ProfileExists(name)) return MAPI_E_LOGON_FAILED;
    return call.HandOut(session, new lab::MapiSession(name));
  });
}

HRESULT WINAPI MAPIAdminProfiles(ULONG flags, LPPROFADMIN* admin) {
  lab::Call call("MAPIAdminProfiles");
  call.Flags(flags, MAPI_NT_SERVICE).Out(admin);
  return call.Run([&] { return call.HandOut(admin, new lab::ProfAdmin); });
}

SCODE WINAPI MAPIAllocateBuffer(ULONG size, LPVOID* buffer) {
  lab::Call call("MAPIAllocateBuffer");
  call.Hex("size", size).Out(buffer);
  return call.Run([&] {
    *buffer = lab::AllocateBuffer(size, call.Name());
    return S_OK;
  });
}

SCODE WINAPI MAPIAllocateMore(ULONG size, LPVOID parent, LPVOID* buffer) {
  lab::Call call("MAPIAllocateMore");
  call.Hex("size", size).Out(buffer).Require(lab::IsBuffer(parent), "no buffer as parent");
  return call.Run([&] {
    *buffer = lab::AllocateMore(size, parent);
    return S_OK;
  });
}

ULONG WINAPI MAPIFreeBuffer(LPVOID buffer) {
  lab::Call call("MAPIFreeBuffer");
  call.Hex("buffer", reinterpret_cast<uintptr_t>(buffer)).RunPlain([&] {
    if (buffer && !lab::FreeBuffer(buffer)) {
      call.Refuse(S_OK, "what is no MAPI buffer or was freed before");
    }
  });
  return 0;
}

void WINAPI FreeProws(LPSRowSet rows) {
  lab::Call call("FreeProws");
  call.Hex("rows", reinterpret_cast<uintptr_t>(rows)).RunPlain([&] {
    if (rows && !lab::FreeRowSet(rows)) {
      call.Refuse(S_OK, "what is no row set or was freed before");
    }
  });
}

HRESULT WINAPI HrQueryAllRows(LPMAPITABLE table, LPSPropTagArray columns,
                              LPSRestriction restriction, LPSSortOrderSet order, LONG most,
                              LPSRowSet* rows) {
  auto* own = dynamic_cast<lab::Table*>(table);
  lab::Call call("HrQueryAllRows", own);
  call.On(own ? own->Name() : "?").Words("columns", lab::DescribeTags(columns));
  call.Words("restriction", lab::DescribeRestriction(restriction));
  call.Words("order", lab::DescribeOrder(order)).Count("most", most).Out(rows);
  call.Require(own, "no table of the lab's");
  call.Require(lab::IsKnown(restriction), lab::kUnknownRestriction, MAPI_E_TOO_COMPLEX);
  return call.Run([&] {
    const HRESULT result = own->QueryAll(call.Name(), {columns, restriction, order, most}, rows);
    if (SUCCEEDED(result)) call.Hex("rows", (*rows)->cRows);
    return result;
  });
}

HRESULT WINAPI HrGetOneProp(LPMAPIPROP object, ULONG tag, LPSPropValue* value) {
  const auto* own = dynamic_cast<lab::ProfileSection*>(object);
  lab::Call call("HrGetOneProp", own);
  call.On(own ? own->Kind() : "?").Hex("tag", tag).Out(value);
  call.Require(own, "no profile section of the lab's");
  return call.Run([&] { return own->GetOne(call.Name(), tag, value); });
}

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) lab::TakeSystemCalls();
  if (!lab::Runtime::Existing()) return TRUE;
  if (reason == DLL_THREAD_DETACH) lab::ThreadEnds();
  if (reason == DLL_PROCESS_DETACH) lab::ProcessEnds();
  return TRUE;
}

}  // extern "C"
