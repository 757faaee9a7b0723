#include "lab/oledb/provider.h"

#include <objidl.h>

#include "lab/common/text.h"

namespace lab {
namespace {

// The spies live as long as the process.
template <class Interface>
class Spy : public Interface {
 public:
  explicit Spy(const IID& iid) : iid_(iid) {}

  STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
    *object = IsEqualIID(iid, iid_) || IsEqualIID(iid, IID_IUnknown) ? this : nullptr;
    return *object ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }

 private:
  const IID& iid_;
};

class AllocatorSpy : public Spy<IMallocSpy> {
 public:
  AllocatorSpy() : Spy(IID_IMallocSpy) {}

  STDMETHODIMP_(void*) PreFree(void* block, BOOL) override {
    Runtime::Get().Held().RemoveMemory(block);
    return block;
  }
  STDMETHODIMP_(SIZE_T) PreRealloc(void* block, SIZE_T size, void** same, BOOL) override {
    Runtime::Get().Held().RemoveMemory(block);
    *same = block;
    return size;
  }

  STDMETHODIMP_(SIZE_T) PreAlloc(SIZE_T size) override { return size; }
  STDMETHODIMP_(void*) PostAlloc(void* block) override { return block; }
  STDMETHODIMP_(void) PostFree(BOOL) override {}
  STDMETHODIMP_(void*) PostRealloc(void* block, BOOL) override { return block; }
  STDMETHODIMP_(void*) PreGetSize(void* block, BOOL) override { return block; }
  STDMETHODIMP_(SIZE_T) PostGetSize(SIZE_T size, BOOL) override { return size; }
  STDMETHODIMP_(void*) PreDidAlloc(void* block, BOOL) override { return block; }
  STDMETHODIMP_(int) PostDidAlloc(void*, BOOL, int actual) override { return actual; }
  STDMETHODIMP_(void) PreHeapMinimize() override {}
  STDMETHODIMP_(void) PostHeapMinimize() override {}
};

class ComSpy : public Spy<IInitializeSpy> {
 public:
  ComSpy() : Spy(IID_IInitializeSpy) {}

  STDMETHODIMP PreUninitialize(DWORD references) override {
    if (references == 1) Runtime::Get().Held().Report("at the thread's last CoUninitialize");
    return S_OK;
  }

  STDMETHODIMP PreInitialize(DWORD, DWORD) override { return S_OK; }
  STDMETHODIMP PostInitialize(HRESULT result, DWORD, DWORD) override { return result; }
  STDMETHODIMP PostUninitialize(DWORD) override { return S_OK; }
};

// What the spies' addresses are registered for must not be unloaded.
void PinModule() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                     reinterpret_cast<LPCWSTR>(&PinModule), &module);
}

}  // namespace

const Component kComponent = {.notNeeded = E_NOTIMPL,
                              .released = E_UNEXPECTED,
                              .unknownFlags = DB_E_BADACCESSORFLAGS,
                              .checkThread = [](const std::string&) { return S_OK; }};

const ProviderOptions& Options() {
  static const auto* const kOptions = new ProviderOptions(ProviderOptions::Load());
  return *kOptions;
}

void WatchClient() {
  static auto* const allocatorSpy = new AllocatorSpy;
  static auto* const comSpy = new ComSpy;
  PinModule();
  CoRegisterMallocSpy(allocatorSpy);  // refused when it is registered already
  // Kept: a thread may have it several times; only the first finds something left.
  ULARGE_INTEGER cookie{};
  CoRegisterInitializeSpy(comSpy, &cookie);
}

std::string GuidText(const GUID& guid) {
  wchar_t text[40] = {};
  StringFromGUID2(guid, text, static_cast<int>(std::size(text)));
  return Utf8FromWide(text);
}

}  // namespace lab
