#include "lab/mapi/call.h"

#include <cstring>
#include <exception>
#include <new>

#include "lab/common/text.h"
#include "lab/mapi/object.h"
#include "lab/mapi/properties.h"
#include "lab/mapi/runtime.h"

namespace lab {
namespace {

constexpr int kPoison = 0xDD;

}  // namespace

Call::Call(std::string name, const ObjectCore* object) : object_(object) {
  entry_.startMicros = NowMicros();
  entry_.call = std::move(name);
  if (object != nullptr) entry_.object = object->Number();
}

Call& Call::Words(const char* name, std::string text) {
  entry_.arguments.emplace_back(name, std::move(text));
  return *this;
}

Call& Call::Number(const char* name, uint64_t value) { return Words(name, HexNumber(value)); }

Call& Call::Text(const char* name, const wchar_t* text) {
  return Words(name, text == nullptr ? "NULL" : Utf8FromWide(text));
}

Call& Call::Text(const char* name, const char* text) {
  return Words(name, text == nullptr ? "NULL" : Utf8FromWide(WideFromNarrow(text)));
}

Call& Call::Text(const char* name, LPCTSTR text, ULONG flags) {
  if (flags & MAPI_UNICODE) return Text(name, reinterpret_cast<const wchar_t*>(text));
  return Text(name, reinterpret_cast<const char*>(text));
}

Call& Call::Binary(const char* name, const void* data, size_t size) {
  return Words(name, data == nullptr ? "NULL" : HexFromBytes(data, size));
}

Call& Call::Uid(const char* name, const MAPIUID* uid) { return Binary(name, uid, sizeof(*uid)); }

Call& Call::Iid(const char* name, const IID* iid) { return Binary(name, iid, sizeof(*iid)); }

Call& Call::Tags(const char* name, const SPropTagArray* tags) {
  if (tags == nullptr) return Words(name, "NULL");
  std::string text;
  for (ULONG i = 0; i < tags->cValues; ++i) {
    text += (i == 0 ? "" : ",") + TagText(tags->aulPropTag[i]);
  }
  return Words(name, text);
}

Call& Call::Flags(ULONG flags, ULONG legal) {
  Number("flags", flags);
  if (flags & ~legal) Refuse(MAPI_E_UNKNOWN_FLAGS, "flags " + HexNumber(flags & ~legal));
  return *this;
}

Call& Call::User(std::wstring address) {
  user_ = std::move(address);
  return *this;
}

Call& Call::On(std::string place) {
  place_ = std::move(place);
  return Words("on", place_);
}

Call& Call::Require(bool holds, const char* what, HRESULT refusal) {
  if (!holds) Refuse(refusal, what);
  return *this;
}

Call& Call::AddOut(void* address, size_t size, bool required) {
  if (address != nullptr) {
    outs_.push_back({address, size});
  } else if (required) {
    Refuse(MAPI_E_INVALID_PARAMETER, "an out-parameter that is null");
  }
  return *this;
}

void Call::Refuse(HRESULT result, const std::string& why) {
  if (refusal_ != S_OK) return;
  refusal_ = result;
  reason_ = why;
}

void Call::FillOuts(int byte) {
  for (const OutParameter& out : outs_) std::memset(out.address, byte, out.size);
}

void Call::InjectedOuts() {
  const OutParameters treatment = Runtime::Get().Faults().Treatment();
  if (treatment == OutParameters::kPoison) FillOuts(kPoison);
  if (treatment == OutParameters::kNull) FillOuts(0);
}

HRESULT Call::Finish(HRESULT result) {
  entry_.result = static_cast<uint32_t>(result);
  entry_.endMicros = NowMicros();
  Runtime::Get().Write(entry_);
  return result;
}

HRESULT Call::CheckedBody(const std::function<HRESULT()>& body) {
  Runtime& runtime = Runtime::Get();
  FillOuts(0);
  if (object_ != nullptr && !object_->Alive()) {
    runtime.Unexpected(Name() + " on released " + object_->Describe());
    return MAPI_E_INVALID_OBJECT;
  }
  const HRESULT initialized = runtime.CheckInitialized(Name());
  if (FAILED(initialized)) return initialized;
  if (refusal_ != S_OK) {
    runtime.Unexpected(Name() + " was given " + reason_);
    return refusal_;
  }
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return MAPI_E_NOT_ENOUGH_MEMORY;
  } catch (const std::exception& error) {
    runtime.Unexpected(Name() + " failed inside the lab: " + error.what());
    return MAPI_E_CALL_FAILED;
  }
}

bool Call::Injected(HRESULT* result) {
  const FaultInjector::Answer answer = Runtime::Get().Faults().NextCall(Name(), user_, place_);
  entry_.ordinal = answer.ordinal;
  if (answer.milliseconds != 0) Sleep(answer.milliseconds);
  if (!answer.fails) return false;
  Words("injected", "yes");
  InjectedOuts();
  *result = static_cast<HRESULT>(answer.result);
  return true;
}

HRESULT Call::Run(const std::function<HRESULT()>& body) {
  HRESULT result = S_OK;
  if (!Injected(&result)) result = CheckedBody(body);
  return Finish(result);
}

HRESULT Call::RunUnchecked(const std::function<HRESULT()>& body,
                           const std::function<void()>& refused) {
  HRESULT result = S_OK;
  if (Injected(&result)) {
    refused();
  } else {
    result = body();
  }
  return Finish(result);
}

void Call::RunPlain(const std::function<void()>& body) {
  body();
  Finish(S_OK);
}

}  // namespace lab
