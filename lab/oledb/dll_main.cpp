// The DLL's entry points: the class factory, registration, and the last look at what is left.
#include <windows.h>
// After windows.h.
#include <olectl.h>

#include "lab/bes/registration.h"
#include "lab/oledb/call.h"
#include "lab/oledb/data_source.h"

namespace lab {
namespace {

HMODULE moduleHandle = nullptr;
bool used = false;

// Lives as long as the DLL.
class ClassFactory final : public IClassFactory {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    *object = iid == IID_IUnknown || iid == IID_IClassFactory ? this : nullptr;
    return *object ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    if (!object) return E_POINTER;
    *object = nullptr;
    used = true;
    TheRuntime().accounting.Watch();
    Call call("IClassFactory::CreateInstance", 0);
    call.With("iid", iid);
    if (call.Fails()) return call.Fail(object);
    if (outer) return call.Return(CLASS_E_NOAGGREGATION);
    return call.Return(Guarded([&] {
      const auto created = Ref<DataSource>::Adopt(new DataSource);
      return created->QueryInterface(iid, object);
    }));
  }

  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
};

std::wstring ModulePath() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(moduleHandle, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

}  // namespace
}  // namespace lab

STDAPI DllGetClassObject(REFCLSID id, REFIID iid, void** object) {
  static lab::ClassFactory factory;
  if (!object) return E_POINTER;
  *object = nullptr;
  if (id != lab::kProviderClass) return CLASS_E_CLASSNOTAVAILABLE;
  return factory.QueryInterface(iid, object);
}

// The allocator spy's address must stay valid: see Accounting::Watch.
STDAPI DllCanUnloadNow() { return S_FALSE; }

STDAPI DllRegisterServer() {
  return lab::RegisterOledbProvider(lab::ModulePath()) ? S_OK : SELFREG_E_CLASS;
}

STDAPI DllUnregisterServer() { return lab::UnregisterOledbProvider() ? S_OK : SELFREG_E_CLASS; }

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) lab::moduleHandle = module;
  if (reason == DLL_PROCESS_DETACH && lab::used) lab::TheRuntime().accounting.Report();
  return TRUE;
}
