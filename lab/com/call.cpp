#include "lab/com/call.h"

#include <mapidefs.h>

#include <cstring>
#include <exception>
#include <new>

#include "lab/com/runtime.h"
#include "lab/common/text.h"

namespace lab {
namespace {

constexpr int kPoison = 0xDD;

}  // namespace

Call::Call(std::string name, const ObjectCore* object) : object_(object) {
  entry_.startMicros = NowMicros();
  entry_.call = std::move(name);
  if (object) entry_.object = object->Number();
}

Call& Call::Words(std::string name, std::string text) {
  entry_.arguments.emplace_back(std::move(name), std::move(text));
  return *this;
}

Call& Call::Hex(const char* name, uint64_t value) { return Words(name, HexNumber(value)); }

Call& Call::Text(const char* name, const wchar_t* text) {
  return Words(name, text ? Utf8FromWide(text) : "NULL");
}

Call& Call::Text(const char* name, const char* text) {
  return Words(name, text ? Utf8FromWide(WideFromNarrow(text)) : "NULL");
}

Call& Call::Text(const char* name, LPCTSTR text, ULONG flags) {
  if (flags & MAPI_UNICODE) return Text(name, reinterpret_cast<const wchar_t*>(text));
  return Text(name, reinterpret_cast<const char*>(text));
}

Call& Call::Binary(const char* name, const void* data, size_t size) {
  return Words(name, data ? HexFromBytes(data, size) : "NULL");
}

Call& Call::Flags(ULONG flags, ULONG legal) {
  const ULONG unknown = flags & ~legal;
  Hex("flags", flags);
  return Require(unknown == 0, ("flags " + HexNumber(unknown)).c_str(), kComponent.unknownFlags);
}

Call& Call::User(std::wstring address) {
  user_ = std::move(address);
  return *this;
}

Call& Call::On(std::string place) {
  place_ = std::move(place);
  return Words("on", place_);
}

Call& Call::OnlyFailures(bool only) {
  onlyFailures_ = only;
  return *this;
}

Call& Call::FromAnyThread() {
  anyThread_ = true;
  return *this;
}

Call& Call::AddOut(void* address, size_t size, bool required) {
  if (address) outs_.push_back({address, size});
  return Require(address || !required, "an out-parameter that is null");
}

Call& Call::Require(bool holds, const char* what, HRESULT refusal) {
  if (holds || refusal_ != S_OK) return *this;
  refusal_ = refusal;
  reason_ = what;
  return *this;
}

HRESULT Call::Refuse(HRESULT result, const std::string& why) const {
  Runtime::Get().Unexpected(Name() + " was given " + why);
  return result;
}

void Call::FillOuts(int byte) {
  for (const OutParameter& out : outs_) std::memset(out.address, byte, out.size);
}

bool Call::Injected(HRESULT* result) {
  FaultInjector& faults = Runtime::Get().Faults();
  const FaultInjector::Answer answer = faults.NextCall(Name(), user_, place_);
  entry_.ordinal = answer.ordinal;
  if (answer.milliseconds != 0) Sleep(answer.milliseconds);
  if (!answer.fails) return false;
  Words("injected", "yes");
  const OutParameters treatment = faults.Treatment();
  if (treatment != OutParameters::kKeep) {
    FillOuts(treatment == OutParameters::kPoison ? kPoison : 0);
  }
  *result = static_cast<HRESULT>(answer.result);
  return true;
}

HRESULT Call::Check() const {
  if (object_ && !object_->Alive()) {
    Runtime::Get().Unexpected(Name() + " on released " + object_->Describe());
    return kComponent.released;
  }
  const HRESULT thread = anyThread_ ? S_OK : kComponent.checkThread(Name());
  if (FAILED(thread)) return thread;
  return refusal_ == S_OK ? S_OK : Refuse(refusal_, reason_);
}

HRESULT Call::CheckedBody(const std::function<HRESULT()>& body) {
  FillOuts(0);
  const HRESULT checked = Check();
  if (FAILED(checked)) return checked;
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (const std::exception& error) {
    Runtime::Get().Unexpected(Name() + " failed inside the lab: " + error.what());
    return E_FAIL;
  }
}

HRESULT Call::Finish(HRESULT result) {
  entry_.result = static_cast<uint32_t>(result);
  entry_.endMicros = NowMicros();
  if (!onlyFailures_ || FAILED(result)) Runtime::Get().Write(entry_);
  return result;
}

HRESULT Call::Run(const std::function<HRESULT()>& body) {
  HRESULT result = S_OK;
  injected_ = Injected(&result);
  return Finish(injected_ ? result : CheckedBody(body));
}

void Call::RunPlain(const std::function<void()>& body) {
  body();
  Finish(S_OK);
}

}  // namespace lab
