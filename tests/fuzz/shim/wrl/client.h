#pragma once

namespace Microsoft::WRL {

// An owning pointer to a COM object.
template <typename T>
class ComPtr {
 public:
  ComPtr() = default;
  ComPtr(const ComPtr& other) : object_(other.object_) {
    if (object_) object_->AddRef();
  }
  ComPtr& operator=(const ComPtr&) = delete;
  ~ComPtr() { Reset(); }

  T* Get() const { return object_; }
  T* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

  void Reset() {
    if (T* const object = object_) {
      object_ = nullptr;
      object->Release();
    }
  }

  // The place for a callee to fill, emptied first.
  struct Place {
    ComPtr* pointer;
    operator T**() const { return &pointer->object_; }
    operator void**() const { return reinterpret_cast<void**>(&pointer->object_); }
  };
  Place operator&() {
    Reset();
    return {this};
  }

 private:
  T* object_ = nullptr;
};

}  // namespace Microsoft::WRL
