#include "lab/mapi/object.h"

#include <utility>

#include "lab/mapi/runtime.h"

namespace lab {

ObjectCore::ObjectCore(const char* interfaceName, std::string madeBy)
    : interfaceName_(interfaceName),
      madeBy_(std::move(madeBy)),
      number_(Runtime::Get().Enter(this)) {}

std::string ObjectCore::Describe() const {
  return std::string(interfaceName_) + " #" + std::to_string(number_) + " made by " + madeBy_;
}

std::string ObjectCore::CallName(const char* method) const {
  return std::string(interfaceName_) + "::" + method;
}

ULONG ObjectCore::AddReference() {
  if (!Alive()) {
    Runtime::Get().Unexpected("AddRef on released " + Describe());
    return 0;
  }
  return ++references_;
}

ULONG ObjectCore::DropReference() {
  ULONG held = references_;
  do {
    if (held == 0) {
      Runtime::Get().Unexpected("Release on released " + Describe());
      return 0;
    }
  } while (!references_.compare_exchange_weak(held, held - 1));
  if (held == 1) {
    Runtime::Get().Remove(this);
    LetGo();
  }
  return held - 1;
}

HRESULT ObjectCore::Refuse(const char* method) const {
  Runtime::Get().Unexpected(CallName(method) + " on " + Describe());
  return MAPI_E_NO_SUPPORT;
}

}  // namespace lab
