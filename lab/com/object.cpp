#include "lab/com/object.h"

#include "lab/com/runtime.h"

namespace lab {

ObjectCore::ObjectCore(const char* kind)
    : kind_(kind), number_(Runtime::Get().Held().Add(kind, this)) {}

std::string ObjectCore::Describe() const {
  return std::string(kind_) + " #" + std::to_string(number_) + " made by " + madeBy_;
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
    Runtime::Get().Held().Remove(number_);
    LetGo();
  }
  return held - 1;
}

HRESULT ObjectCore::Refuse(const char* method) const {
  Runtime::Get().Unexpected(std::string(method) + " on " + Describe());
  return kComponent.notNeeded;
}

}  // namespace lab
