// What every interface object of the lab is made of: references that are accounted for, a number
// for the journal, and a life after death. The last Release lets go of what the object holds, but
// not of its memory: a call on it then is written down and answered with an error.
#pragma once

#include <mapicode.h>
#include <mapix.h>
#include <windows.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "lab/mapi/call.h"
#include "lab/mapi/exchange_manage_store.h"

namespace lab {

class ObjectCore {
 public:
  // `interfaceName` must live as long as the module; `madeBy` is the call that hands the object
  // out. The object begins with one reference.
  ObjectCore(const char* interfaceName, std::string madeBy);
  ObjectCore(const ObjectCore&) = delete;
  ObjectCore& operator=(const ObjectCore&) = delete;

  uint32_t Number() const { return number_; }
  ULONG References() const { return references_; }
  bool Alive() const { return references_ != 0; }
  std::string Describe() const;
  // "IMAPITable::QueryRows" for "QueryRows".
  std::string CallName(const char* method) const;

 protected:
  virtual ~ObjectCore() = default;
  ULONG AddReference();
  ULONG DropReference();
  // Answers a method that nobody is expected to call.
  HRESULT Refuse(const char* method) const;
  // Called once, when the last reference has gone.
  virtual void LetGo() {}

 private:
  const char* const interfaceName_;
  const std::string madeBy_;
  std::atomic<ULONG> references_{1};
  const uint32_t number_;
};

// Name and identifier of the interfaces that the lab implements. MAPI's identifiers differ in their
// first number only: {0002xxxx-0000-0000-C000-000000000046}.
template <class Interface>
struct InterfaceFacts;

#define LAB_MAPI_INTERFACE(name, number)                                        \
  template <>                                                                   \
  struct InterfaceFacts<name> {                                                 \
    static constexpr const char* kName = #name;                                 \
    static constexpr IID kIid = {number, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}}; \
  }
LAB_MAPI_INTERFACE(IMAPISession, 0x00020300);
LAB_MAPI_INTERFACE(IMAPITable, 0x00020301);
LAB_MAPI_INTERFACE(IProfSect, 0x00020304);
LAB_MAPI_INTERFACE(IMsgStore, 0x00020306);
LAB_MAPI_INTERFACE(IMAPIFolder, 0x0002030C);
LAB_MAPI_INTERFACE(IProfAdmin, 0x0002031C);
LAB_MAPI_INTERFACE(IMsgServiceAdmin, 0x0002031D);
LAB_MAPI_INTERFACE(IProviderAdmin, 0x00020325);
#undef LAB_MAPI_INTERFACE

template <>
struct InterfaceFacts<IExchangeManageStore> {
  static constexpr const char* kName = "IExchangeManageStore";
  static constexpr IID kIid = kIidExchangeManageStore;
};

template <class Interface>
class Object : public Interface, public ObjectCore {
 public:
  explicit Object(std::string madeBy)
      : ObjectCore(InterfaceFacts<Interface>::kName, std::move(madeBy)) {}

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    Call call(CallName("QueryInterface"), this);
    call.Iid("iid", &iid).User(Owner()).Out(out);
    return call.Run([&] { return Query(iid, out, call.Name()); });
  }
  STDMETHODIMP_(ULONG) AddRef() override { return AddReference(); }
  STDMETHODIMP_(ULONG) Release() override { return DropReference(); }

 protected:
  // Puts an interface of the object with a reference of its own into `*out`, or E_NOINTERFACE.
  virtual HRESULT Query(REFIID iid, void** out, const std::string& /*madeBy*/) {
    if (!IsEqualIID(iid, IID_IUnknown) && !IsEqualIID(iid, InterfaceFacts<Interface>::kIid)) {
      return MAPI_E_INTERFACE_NOT_SUPPORTED;
    }
    AddReference();
    *out = static_cast<Interface*>(this);
    return S_OK;
  }

  // The address of the mailbox that the object belongs to, or empty.
  virtual std::wstring Owner() const { return {}; }
};

// Fails the call unless `iid`, which may be null for "the usual one", asks for `Interface`.
template <class Interface>
void RequireInterface(Call& call, const IID* iid) {
  const bool known = iid == nullptr || IsEqualIID(*iid, InterfaceFacts<Interface>::kIid) ||
                     IsEqualIID(*iid, IID_IUnknown);
  call.Require(known, "an interface that the object lacks", MAPI_E_INTERFACE_NOT_SUPPORTED);
}

}  // namespace lab
