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

namespace lab {
namespace {

// MAPI_NO_COINIT, which the platform's headers lack, is 8.
constexpr ULONG kInitializeFlags = MAPI_MULTITHREAD_NOTIFICATIONS | MAPI_NT_SERVICE | 0x00000008;

// MAPI_LOGON_UI, NEW_SESSION, ALLOW_OTHERS, EXPLICIT_PROFILE, EXTENDED, USE_DEFAULT,
// FORCE_DOWNLOAD, SERVICE_UI_ALWAYS, NO_MAIL, NT_SERVICE, PASSWORD_UI, TIMEOUT_SHORT, UNICODE.
constexpr ULONG kLogonFlags = 0x8013B07B;

// What stands for one of the lab's own objects behind an interface pointer, or null.
template <class Own, class Interface>
Own* OwnObject(Interface* object) {
  return object ? dynamic_cast<Own*>(object) : nullptr;
}

HRESULT Initialize(const MAPIINIT_0* options) {
  Call call("MAPIInitialize");
  call.Flags(options ? options->ulFlags : 0, kInitializeFlags).FromAnyThread();
  const HRESULT result = call.Run([] {
    InitializeThread();
    return S_OK;
  });
  if (call.WasInjected()) InitializationRefused();
  return result;
}

HRESULT LogonEx(ULONG_PTR parent, LPTSTR profile, LPTSTR password, ULONG flags,
                LPMAPISESSION* session) {
  Call call("MAPILogonEx");
  call.Hex("parent", parent).Text("profile", profile, flags).Text("password", password, flags);
  call.Flags(flags, kLogonFlags).Out(session);
  return call.Run([&] {
    const std::wstring name = TextParameter(profile, flags);
    return ProfileExists(name) ? call.HandOut(session, new MapiSession(name)) : MAPI_E_LOGON_FAILED;
  });
}

HRESULT QueryAllRows(LPMAPITABLE table, const RowQuery& query, LPSRowSet* rows) {
  Table* own = OwnObject<Table>(table);
  Call call("HrQueryAllRows", own);
  call.On(own ? own->Name() : "?").Words("columns", DescribeTags(query.columns));
  call.Words("restriction", DescribeRestriction(query.restriction));
  call.Words("order", DescribeOrder(query.order)).Count("most", query.most).Out(rows);
  call.Require(own, "no table of the lab's");
  return call.Run([&] {
    const HRESULT result = own->QueryAll(call.Name(), query, rows);
    if (SUCCEEDED(result)) call.Hex("rows", (*rows)->cRows);
    return result;
  });
}

HRESULT GetOneProp(LPMAPIPROP object, ULONG tag, LPSPropValue* value) {
  const ProfileSection* own = OwnObject<ProfileSection>(object);
  Call call("HrGetOneProp", own);
  call.On(own ? own->Kind() : "?").Hex("tag", tag).Out(value);
  call.Require(own, "no profile section of the lab's");
  return call.Run([&] { return own->GetOne(call.Name(), tag, value); });
}

SCODE Allocate(ULONG size, LPVOID* buffer) {
  Call call("MAPIAllocateBuffer");
  call.Hex("size", size).Out(buffer);
  return call.Run([&] {
    *buffer = AllocateBuffer(size, call.Name());
    return S_OK;
  });
}

SCODE AllocateChild(ULONG size, LPVOID parent, LPVOID* buffer) {
  Call call("MAPIAllocateMore");
  call.Hex("size", size).Out(buffer).Require(IsBuffer(parent), "no buffer as parent");
  return call.Run([&] {
    *buffer = AllocateMore(size, parent);
    return S_OK;
  });
}

void Free(LPVOID buffer) {
  Call call("MAPIFreeBuffer");
  call.Hex("buffer", reinterpret_cast<uintptr_t>(buffer));
  call.RunPlain([&] {
    if (buffer && !FreeBuffer(buffer)) {
      Runtime::Get().Unexpected("MAPIFreeBuffer of what is no MAPI buffer or was freed before");
    }
  });
}

void FreeRows(LPSRowSet rows) {
  Call call("FreeProws");
  call.Hex("rows", reinterpret_cast<uintptr_t>(rows));
  call.RunPlain([&] {
    if (rows && !FreeRowSet(rows)) {
      Runtime::Get().Unexpected("FreeProws of what is no row set or was freed before");
    }
  });
}

}  // namespace
}  // namespace lab

extern "C" {

HRESULT WINAPI MAPIInitialize(LPVOID options) {
  return lab::Initialize(static_cast<const MAPIINIT_0*>(options));
}

void WINAPI MAPIUninitialize() {
  lab::Call("MAPIUninitialize").RunPlain([] { lab::UninitializeThread(); });
}

HRESULT WINAPI MAPILogonEx(ULONG_PTR parent, LPTSTR profile, LPTSTR password, ULONG flags,
                           LPMAPISESSION* session) {
  return lab::LogonEx(parent, profile, password, flags, session);
}

HRESULT WINAPI MAPIAdminProfiles(ULONG flags, LPPROFADMIN* admin) {
  lab::Call call("MAPIAdminProfiles");
  call.Flags(flags, MAPI_NT_SERVICE).Out(admin);
  return call.Run([&] { return call.HandOut(admin, new lab::ProfAdmin); });
}

SCODE WINAPI MAPIAllocateBuffer(ULONG size, LPVOID* buffer) { return lab::Allocate(size, buffer); }

SCODE WINAPI MAPIAllocateMore(ULONG size, LPVOID parent, LPVOID* buffer) {
  return lab::AllocateChild(size, parent, buffer);
}

ULONG WINAPI MAPIFreeBuffer(LPVOID buffer) {
  lab::Free(buffer);
  return 0;
}

HRESULT WINAPI HrQueryAllRows(LPMAPITABLE table, LPSPropTagArray columns,
                              LPSRestriction restriction, LPSSortOrderSet order, LONG most,
                              LPSRowSet* rows) {
  return lab::QueryAllRows(table, {columns, restriction, order, most}, rows);
}

HRESULT WINAPI HrGetOneProp(LPMAPIPROP object, ULONG tag, LPSPropValue* value) {
  return lab::GetOneProp(object, tag, value);
}

void WINAPI FreeProws(LPSRowSet rows) { lab::FreeRows(rows); }

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
  if (!lab::Runtime::Existing()) return TRUE;
  if (reason == DLL_THREAD_DETACH) lab::ThreadEnds();
  if (reason == DLL_PROCESS_DETACH) lab::ProcessEnds();
  return TRUE;
}

}  // extern "C"
