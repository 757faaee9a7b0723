// One call that crosses the boundary: it is counted, may fail or take its time by the fault plan,
// is checked, and stands in the journal when it is over.
#pragma once

#include <mapicode.h>
#include <mapix.h>
#include <windows.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "lab/common/journal.h"

namespace lab {

class ObjectCore;

class Call {
 public:
  // `name` is the operation's name in journal and fault plan, `object` the called one or null.
  explicit Call(std::string name, const ObjectCore* object = nullptr);
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  const std::string& Name() const { return entry_.call; }

  // What the journal shows of the arguments, in the order of the calls.
  Call& Number(const char* name, uint64_t value);
  Call& Text(const char* name, const wchar_t* text);
  Call& Text(const char* name, const char* text);
  // A string that is wide when `flags` holds MAPI_UNICODE, and narrow otherwise.
  Call& Text(const char* name, LPCTSTR text, ULONG flags);
  Call& Binary(const char* name, const void* data, size_t size);
  Call& Uid(const char* name, const MAPIUID* uid);
  Call& Iid(const char* name, const IID* iid);
  Call& Tags(const char* name, const SPropTagArray* tags);
  Call& Words(const char* name, std::string text);

  // Flags, of which only those in `legal` may be set.
  Call& Flags(ULONG flags, ULONG legal);

  // The mailbox that the call is about, for the plan's "match" rules.
  Call& User(std::wstring address);

  // What the call works on, for rules like "HrQueryAllRows@ProviderTable"; the journal shows it.
  Call& On(std::string place);

  // Out-parameters. They are set to zero before anything else; an injected failure fills them as
  // the plan says. A required one that is null makes the call fail.
  template <class T>
  Call& Out(T** out) {
    return AddOut(out, sizeof(*out), true);
  }
  Call& OutNumber(ULONG* out, bool required = true) { return AddOut(out, sizeof(*out), required); }

  // Fails the call when `holds` is false: an argument that the callee does not take.
  Call& Require(bool holds, const char* what, HRESULT refusal = MAPI_E_INVALID_PARAMETER);

  // Does all of the above, then `body`, and returns what came of it. Exceptions end here.
  HRESULT Run(const std::function<HRESULT()>& body);

  // For calls that cannot fail: no fault plan, no check of the thread.
  void RunPlain(const std::function<void()>& body);

  // For a call that needs no initialised thread: without that check, and `refused` is run when the
  // fault plan fails the call.
  HRESULT RunUnchecked(const std::function<HRESULT()>& body, const std::function<void()>& refused);

 private:
  struct OutParameter {
    void* address;
    size_t size;
  };

  Call& AddOut(void* address, size_t size, bool required);
  void Refuse(HRESULT result, const std::string& why);
  // Asks the fault plan and takes the time that it says; true when it fails the call.
  bool Injected(HRESULT* result);
  HRESULT CheckedBody(const std::function<HRESULT()>& body);
  void FillOuts(int byte);
  void InjectedOuts();
  HRESULT Finish(HRESULT result);

  const ObjectCore* const object_;
  JournalEntry entry_;
  std::wstring user_;
  std::string place_;
  std::vector<OutParameter> outs_;
  HRESULT refusal_ = S_OK;
  std::string reason_;
};

}  // namespace lab
