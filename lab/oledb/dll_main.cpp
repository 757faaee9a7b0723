// The DLL's entry points: the class factory, registration, and the last look at what is left.
#include <windows.h>
// After windows.h.
#include <olectl.h>

#include "lab/bes/registration.h"
#include "lab/com/call.h"
#include "lab/oledb/data_source.h"
#include "lab/oledb/provider.h"

namespace lab {
namespace {

HMODULE moduleHandle = nullptr;

// Lives as long as the DLL.
class ClassFactory final : public IClassFactory {
 public:
  STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
    *object = IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IClassFactory) ? this : nullptr;
    return *object ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }

  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    WatchClient();
    Call call("IClassFactory::CreateInstance");
    call.Words("iid", GuidText(iid)).Out(object);
    call.Require(!outer, "an outer object", CLASS_E_NOAGGREGATION);
    return call.Run([&] { return call.HandOut(iid, object, new DataSource); });
  }

  STDMETHODIMP LockServer(BOOL) override { return S_OK; }
};

}  // namespace
}  // namespace lab

STDAPI DllGetClassObject(REFCLSID id, REFIID iid, void** object) {
  static lab::ClassFactory factory;
  if (!object) return E_POINTER;
  *object = nullptr;
  if (!IsEqualGUID(id, lab::kProviderClass)) return CLASS_E_CLASSNOTAVAILABLE;
  return factory.QueryInterface(iid, object);
}

// The allocator spy's address must stay valid: see WatchClient.
STDAPI DllCanUnloadNow() { return S_FALSE; }

STDAPI DllRegisterServer() {
  return lab::RegisterOledbProvider(lab::moduleHandle) ? S_OK : SELFREG_E_CLASS;
}

STDAPI DllUnregisterServer() { return lab::UnregisterOledbProvider() ? S_OK : SELFREG_E_CLASS; }

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) lab::moduleHandle = module;
  if (reason == DLL_PROCESS_DETACH && lab::Runtime::Existing()) {
    lab::Runtime::Get().Held().ReportAtTheEnd();
  }
  return TRUE;
}
