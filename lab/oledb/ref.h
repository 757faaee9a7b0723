// A counted reference to a COM object.
#pragma once

#include <utility>

namespace lab {

template <class T>
class Ref {
 public:
  Ref() = default;
  // Takes over the caller's reference.
  static Ref Adopt(T* object) {
    Ref ref;
    ref.object_ = object;
    return ref;
  }
  // Adds a reference.
  explicit Ref(T* object) : object_(object) {
    if (object_) object_->AddRef();
  }
  Ref(const Ref& other) : Ref(other.object_) {}
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Ref() {
    if (object_) object_->Release();
  }

  // Where a function puts a new reference; what was held is let go first.
  T** Put() {
    *this = Ref();
    return &object_;
  }

  T* operator->() const { return object_; }
  T* Get() const { return object_; }

 private:
  T* object_ = nullptr;
};

}  // namespace lab
