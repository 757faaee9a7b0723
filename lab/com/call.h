// One call that crosses the boundary: it is counted, may fail or take its time by the fault plan,
// is checked, and stands in the journal when it is over.
//
//   STDMETHODIMP Table::SetColumns(LPSPropTagArray columns, ULONG flags) {
//     Call call("IMAPITable::SetColumns", this);
//     call.On(name_).Flags(flags, kSetFlags).Require(columns, "no columns");
//     return call.Run([&] { ... });
//   }
#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "lab/com/object.h"
#include "lab/common/journal.h"

namespace lab {

class Call {
 public:
  // `name` is the operation's name in journal and fault plan, `object` the called one or null.
  explicit Call(std::string name, const ObjectCore* object = nullptr);
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  const std::string& Name() const { return entry_.call; }

  // What the journal shows of the arguments, in the order of the calls.
  Call& Words(std::string name, std::string text);
  Call& Hex(const char* name, uint64_t value);
  Call& Count(const char* name, int64_t value) { return Words(name, std::to_string(value)); }
  Call& Text(const char* name, const wchar_t* text);
  Call& Text(const char* name, const char* text);
  // A string that is wide when `flags` holds MAPI_UNICODE, and narrow otherwise.
  Call& Text(const char* name, LPCTSTR text, ULONG flags);
  Call& Binary(const char* name, const void* data, size_t size);

  // Flags, of which only those in `legal` may be set.
  Call& Flags(ULONG flags, ULONG legal);

  // An interface that a method is asked for, which may be null for "the usual one".
  template <class Interface>
  Call& Asks(const IID* iid) {
    const bool known =
        !iid || IsEqualIID(*iid, IidOf<Interface>()) || IsEqualIID(*iid, IID_IUnknown);
    return Binary("iid", iid, sizeof(IID)).Require(known, kLacking, E_NOINTERFACE);
  }

  // The mailbox that the call is about, for the plan's "match" rules.
  Call& User(std::wstring address);

  // What the call works on, for rules like "HrQueryAllRows@ProviderTable"; the journal shows it.
  Call& On(std::string place);

  // Keeps the call out of the journal unless it fails.
  Call& OnlyFailures(bool only);

  // Out-parameters. They are set to zero before anything else; an injected failure fills them as
  // the plan says. A required one that is null makes the call fail.
  template <class T>
  Call& Out(T* out, bool required = true) {
    return AddOut(out, sizeof(T), required);  // NOLINT(bugprone-sizeof-expression): T is a pointer
  }

  // Fails the call when `holds` is false: an argument that the callee does not take.
  Call& Require(bool holds, const char* what, HRESULT refusal = E_INVALIDARG);

  // Does all of the above, then `body`, and returns what came of it. Exceptions end here.
  HRESULT Run(const std::function<HRESULT()>& body);

  // For calls that cannot fail: no fault plan, no checks.
  void RunPlain(const std::function<void()>& body);

  // Lets any thread make the call.
  Call& FromAnyThread();
  // Whether the fault plan has failed the call.
  bool WasInjected() const { return injected_; }

  // To be called by `body`: a journal line for an argument that is not taken, and its answer.
  HRESULT Refuse(HRESULT result, const std::string& why) const;

  // Puts a new object with its one reference into `*out`.
  template <class Interface, class Own>
  HRESULT HandOut(Interface** out, Own* made) {
    made->MadeBy(Name());
    *out = made;
    return S_OK;
  }
  // The same by the interface that is asked for; without it the object is gone.
  template <class Own>
  HRESULT HandOut(REFIID iid, void** out, Own* made) {
    made->MadeBy(Name());
    const HRESULT result = made->Give(iid, out);
    made->Release();
    return result;
  }

  static constexpr char kLacking[] = "an interface that the object lacks";

 private:
  struct OutParameter {
    void* address;
    size_t size;
  };

  Call& AddOut(void* address, size_t size, bool required);
  // Asks the fault plan and takes the time that it says; true when it fails the call.
  bool Injected(HRESULT* result);
  HRESULT Check() const;
  HRESULT CheckedBody(const std::function<HRESULT()>& body);
  void FillOuts(int byte);
  HRESULT Finish(HRESULT result);

  const ObjectCore* const object_;
  JournalEntry entry_;
  std::wstring user_;
  std::string place_;
  std::vector<OutParameter> outs_;
  HRESULT refusal_ = S_OK;
  std::string reason_;
  bool anyThread_ = false;
  bool onlyFailures_ = false;
  bool injected_ = false;
};

}  // namespace lab
