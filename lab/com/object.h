// What every interface object of the lab is made of: references that are accounted for, a number
// for the journal, and a life after death. The last Release lets go of what the object holds, but
// not of its memory: a call on it then is written down and answered with an error.
#pragma once

#include <windows.h>
// After windows.h.
#include <unknwn.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <tuple>

// The whole of a method that nobody is expected to call: a line in the journal and an error.
#define LAB_REFUSE(method, parameters) \
  STDMETHODIMP method parameters override { return this->Refuse(#method); }

namespace lab {

// The identifier of an interface that the lab implements. Each component has its own.
template <class Interface>
const IID& IidOf();

class ObjectCore {
 public:
  // `kind` names the object in the journal and must live as long as the module. The object begins
  // with one reference.
  explicit ObjectCore(const char* kind);
  ObjectCore(const ObjectCore&) = delete;
  ObjectCore& operator=(const ObjectCore&) = delete;

  uint32_t Number() const { return number_; }
  ULONG References() const { return references_; }
  bool Alive() const { return references_ != 0; }
  // "IMAPITable #5 made by IMsgServiceAdmin::GetMsgServiceTable".
  std::string Describe() const;
  // Tells which call hands the object out.
  void MadeBy(const std::string& call) { madeBy_ = call; }

 protected:
  virtual ~ObjectCore() = default;
  ULONG AddReference();
  ULONG DropReference();
  // Answers a method that nobody is expected to call.
  HRESULT Refuse(const char* method) const;
  // Called once, when the last reference has gone.
  virtual void LetGo() {}

 private:
  const char* const kind_;
  std::string madeBy_;
  std::atomic<ULONG> references_{1};
  const uint32_t number_;
};

template <class... Interfaces>
class Object : public Interfaces..., public ObjectCore {
 public:
  using ObjectCore::ObjectCore;

  // Whether such objects have the interface.
  static bool Serves(REFIID iid) {
    return IsEqualIID(iid, IID_IUnknown) || (IsEqualIID(iid, IidOf<Interfaces>()) || ...);
  }

  // Puts the interface with a reference of its own into `*out`.
  HRESULT Give(REFIID iid, void** out) {
    *out = Find(iid);
    if (!*out) return E_NOINTERFACE;
    AddReference();
    return S_OK;
  }

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    return out ? Give(iid, out) : E_POINTER;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return AddReference(); }
  STDMETHODIMP_(ULONG) Release() override { return DropReference(); }

 protected:
  // The interface without a reference of its own, or null.
  virtual void* Find(REFIID iid) {
    void* found = nullptr;
    ((found =
          !found && IsEqualIID(iid, IidOf<Interfaces>()) ? static_cast<Interfaces*>(this) : found),
     ...);
    if (IsEqualIID(iid, IID_IUnknown)) found = static_cast<First*>(this);
    return found;
  }

 private:
  using First = std::tuple_element_t<0, std::tuple<Interfaces...>>;
};

}  // namespace lab
