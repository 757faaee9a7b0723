// The objects of MAPI's interfaces.
#pragma once

#include <mapicode.h>
#include <mapix.h>
#include <windows.h>

#include <string>

#include "lab/com/call.h"
#include "lab/com/object.h"
#include "lab/mapi/exchange_manage_store.h"

namespace lab {

template <class Interface>
constexpr const char* kInterfaceName = nullptr;

// Name and identifier of an interface. MAPI's identifiers differ in their first number only:
// {0002xxxx-0000-0000-C000-000000000046}.
#define LAB_MAPI_INTERFACE(name, number)                                                       \
  template <>                                                                                  \
  inline constexpr const char* kInterfaceName<name> = #name;                                   \
  template <>                                                                                  \
  inline const IID& IidOf<name>() {                                                            \
    static constexpr IID kIid = {0x00020000 + (number), 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}}; \
    return kIid;                                                                               \
  }
LAB_MAPI_INTERFACE(IMAPISession, 0x300)
LAB_MAPI_INTERFACE(IMAPITable, 0x301)
LAB_MAPI_INTERFACE(IProfSect, 0x304)
LAB_MAPI_INTERFACE(IMsgStore, 0x306)
LAB_MAPI_INTERFACE(IMAPIFolder, 0x30C)
LAB_MAPI_INTERFACE(IProfAdmin, 0x31C)
LAB_MAPI_INTERFACE(IMsgServiceAdmin, 0x31D)
LAB_MAPI_INTERFACE(IProviderAdmin, 0x325)
#undef LAB_MAPI_INTERFACE

template <>
inline constexpr const char* kInterfaceName<IExchangeManageStore> = "IExchangeManageStore";
template <>
inline const IID& IidOf<IExchangeManageStore>() {
  return kIidExchangeManageStore;
}

template <class Interface>
class MapiObject : public Object<Interface> {
 public:
  MapiObject() : Object<Interface>(kInterfaceName<Interface>) {}

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    Call call(std::string(kInterfaceName<Interface>) + "::QueryInterface", this);
    call.Binary("iid", &iid, sizeof(iid)).User(Owner()).Out(out);
    return call.Run([&] { return Query(iid, out, call); });
  }

 protected:
  virtual HRESULT Query(REFIID iid, void** out, Call& /*call*/) { return this->Give(iid, out); }

  // The address of the mailbox that the object belongs to, or empty.
  virtual std::wstring Owner() const { return {}; }
};

// An object whose interface derives from IMAPIProp.
template <class Interface>
class PropObject : public MapiObject<Interface> {
 public:
  // What no program is expected to need.
  LAB_REFUSE(GetLastError, (HRESULT, ULONG, LPMAPIERROR*))
  LAB_REFUSE(SaveChanges, (ULONG))
  LAB_REFUSE(GetProps, (LPSPropTagArray, ULONG, ULONG*, LPSPropValue*))
  LAB_REFUSE(GetPropList, (ULONG, LPSPropTagArray*))
  LAB_REFUSE(OpenProperty, (ULONG, LPCIID, ULONG, ULONG, LPUNKNOWN*))
  LAB_REFUSE(SetProps, (ULONG, LPSPropValue, LPSPropProblemArray*))
  LAB_REFUSE(DeleteProps, (LPSPropTagArray, LPSPropProblemArray*))
  LAB_REFUSE(CopyTo, (ULONG, LPCIID, LPSPropTagArray, ULONG, LPMAPIPROGRESS, LPCIID, LPVOID, ULONG,
                      LPSPropProblemArray*))
  LAB_REFUSE(CopyProps,
             (LPSPropTagArray, ULONG, LPMAPIPROGRESS, LPCIID, LPVOID, ULONG, LPSPropProblemArray*))
  LAB_REFUSE(GetNamesFromIDs, (LPSPropTagArray*, LPGUID, ULONG, ULONG*, LPMAPINAMEID**))
  LAB_REFUSE(GetIDsFromNames, (ULONG, LPMAPINAMEID*, ULONG, LPSPropTagArray*))
};

}  // namespace lab
