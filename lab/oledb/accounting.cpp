#include "lab/oledb/accounting.h"

#include <objbase.h>
#include <objidl.h>

#include "lab/common/journal.h"
#include "lab/oledb/runtime.h"

// Exported by oleaut32, in no public header: BSTRs are freed at once instead of being kept for
// later use.
extern "C" void WINAPI SetOaNoCache();

namespace lab {
namespace {

constexpr uintptr_t kBstrHeader = 16;

// The spies live as long as the process.
template <class Interface>
class Spy : public Interface {
 public:
  explicit Spy(const IID& iid) : iid_(iid) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    *object = iid == iid_ || iid == IID_IUnknown ? this : nullptr;
    return *object ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }

 private:
  const IID& iid_;
};

class AllocatorSpy : public Spy<IMallocSpy> {
 public:
  AllocatorSpy() : Spy(IID_IMallocSpy) {}

  void* STDMETHODCALLTYPE PreFree(void* block, BOOL) override {
    if (block) TheRuntime().accounting.RemoveMemory(block);
    return block;
  }
  SIZE_T STDMETHODCALLTYPE PreRealloc(void* block, SIZE_T size, void** same, BOOL) override {
    if (block) TheRuntime().accounting.RemoveMemory(block);
    *same = block;
    return size;
  }

  SIZE_T STDMETHODCALLTYPE PreAlloc(SIZE_T size) override { return size; }
  void* STDMETHODCALLTYPE PostAlloc(void* block) override { return block; }
  void STDMETHODCALLTYPE PostFree(BOOL) override {}
  void* STDMETHODCALLTYPE PostRealloc(void* block, BOOL) override { return block; }
  void* STDMETHODCALLTYPE PreGetSize(void* block, BOOL) override { return block; }
  SIZE_T STDMETHODCALLTYPE PostGetSize(SIZE_T size, BOOL) override { return size; }
  void* STDMETHODCALLTYPE PreDidAlloc(void* block, BOOL) override { return block; }
  int STDMETHODCALLTYPE PostDidAlloc(void*, BOOL, int actual) override { return actual; }
  void STDMETHODCALLTYPE PreHeapMinimize() override {}
  void STDMETHODCALLTYPE PostHeapMinimize() override {}
};

class ComSpy : public Spy<IInitializeSpy> {
 public:
  ComSpy() : Spy(IID_IInitializeSpy) {}

  HRESULT STDMETHODCALLTYPE PreUninitialize(DWORD references) override {
    if (references == 1) TheRuntime().accounting.Report();
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE PreInitialize(DWORD, DWORD) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE PostInitialize(HRESULT result, DWORD, DWORD) override { return result; }
  HRESULT STDMETHODCALLTYPE PostUninitialize(DWORD) override { return S_OK; }
};

// What the spies' addresses are registered for must not be unloaded.
void PinModule() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                     reinterpret_cast<LPCWSTR>(&PinModule), &module);
}

void SpyOnAllocator() {
  static AllocatorSpy* const spy = new AllocatorSpy;
  SetOaNoCache();
  CoRegisterMallocSpy(spy);
}

void SpyOnThread() {
  static ComSpy* const spy = new ComSpy;
  ULARGE_INTEGER cookie{};
  CoRegisterInitializeSpy(spy, &cookie);
}

}  // namespace

uint32_t Accounting::Add(std::string what) {
  const std::lock_guard lock(mutex_);
  things_[++last_] = std::move(what);
  return last_;
}

void Accounting::Remove(uint32_t number) {
  const std::lock_guard lock(mutex_);
  things_.erase(number);
}

void Accounting::Lose(uint32_t number) {
  std::string what;
  {
    const std::lock_guard lock(mutex_);
    const auto node = things_.extract(number);
    if (!node) return;
    what = node.mapped();
  }
  Leak(what + " #" + std::to_string(number));
}

void Accounting::AddMemory(const void* block, std::string what) {
  if (!block) return;
  const std::lock_guard lock(mutex_);
  if (watching_) memory_[reinterpret_cast<uintptr_t>(block)] = std::move(what);
}

void Accounting::RemoveMemory(const void* address) {
  const std::lock_guard lock(mutex_);
  const auto start = reinterpret_cast<uintptr_t>(address);
  const auto found = memory_.lower_bound(start);
  if (found != memory_.end() && found->first <= start + kBstrHeader) memory_.erase(found);
}

void Accounting::Watch() {
  bool firstThread = false;
  bool newThread = false;
  {
    const std::lock_guard lock(mutex_);
    firstThread = !std::exchange(watching_, true);
    newThread = threads_.insert(GetCurrentThreadId()).second;
  }
  if (firstThread) {
    PinModule();
    SpyOnAllocator();
  }
  if (newThread) SpyOnThread();
}

void Accounting::Report() {
  std::map<uint32_t, std::string> things;
  std::map<uintptr_t, std::string> memory;
  {
    const std::unique_lock lock(mutex_, std::try_to_lock);
    if (!lock.owns_lock()) return;
    things.swap(things_);
    memory.swap(memory_);
  }
  for (const auto& [number, what] : things) Leak(what + " #" + std::to_string(number));
  for (const auto& [address, what] : memory) Leak(what);
}

void Accounting::Leak(const std::string& text) {
  AppendJournalNote(journal_, JournalEntry::Kind::kLeak, text);
}

void Accounting::Unexpected(const std::string& text) {
  AppendJournalNote(journal_, JournalEntry::Kind::kUnexpected, text);
}

}  // namespace lab
