// COM objects: reference counts, interfaces, accounting.
#pragma once

#include <windows.h>
// After windows.h.
#include <unknwn.h>

#include <atomic>
#include <exception>
#include <new>

#include "lab/oledb/ref.h"
#include "lab/oledb/runtime.h"

namespace lab {

// An object with the given interfaces. A derived class tells which interface stands for an IID.
// Starts with one reference.
template <class... Interfaces>
class ComObject : public Interfaces... {
 public:
  explicit ComObject(const char* kind) : number_(TheRuntime().accounting.Add(kind)) {}
  virtual ~ComObject() { TheRuntime().accounting.Remove(number_); }
  ComObject(const ComObject&) = delete;
  ComObject& operator=(const ComObject&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (!object) return E_POINTER;
    *object = FindInterface(iid);
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }

  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }

  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

  // The object's number in the journal.
  uint32_t Number() const { return number_; }

 protected:
  // The interface without a new reference, or null.
  virtual void* FindInterface(REFIID iid) = 0;

 private:
  const uint32_t number_;
  std::atomic<ULONG> references_ = 1;
};

// Runs `work`, which throws what the standard library throws, where only an HRESULT may come out.
template <class Work>
HRESULT Guarded(Work work) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (const std::exception&) {
    return E_UNEXPECTED;
  }
}

}  // namespace lab
