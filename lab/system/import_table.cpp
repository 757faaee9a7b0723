#include "lab/system/import_table.h"

#include <windows.h>

namespace lab {
namespace {

template <class Part>
const Part* At(const BYTE* image, size_t offset) {
  return reinterpret_cast<const Part*>(image + offset);
}

const IMAGE_IMPORT_DESCRIPTOR* FirstModule(const BYTE* image) {
  const auto* dos = At<IMAGE_DOS_HEADER>(image, 0);
  const auto* headers = At<IMAGE_NT_HEADERS>(image, static_cast<size_t>(dos->e_lfanew));
  return At<IMAGE_IMPORT_DESCRIPTOR>(
      image, headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
}

// The place of the function among those of one module, or null.
void** FindIn(const BYTE* image, const IMAGE_IMPORT_DESCRIPTOR& module, std::string_view function) {
  const auto* name = At<IMAGE_THUNK_DATA>(image, module.OriginalFirstThunk);
  const auto* address = At<IMAGE_THUNK_DATA>(image, module.FirstThunk);
  for (; name->u1.AddressOfData != 0; ++name, ++address) {
    if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
    const char* imported = reinterpret_cast<const char*>(
        At<IMAGE_IMPORT_BY_NAME>(image, name->u1.AddressOfData)->Name);
    if (imported == function) {
      return const_cast<void**>(reinterpret_cast<void* const*>(&address->u1.Function));
    }
  }
  return nullptr;
}

}  // namespace

void** FindImport(std::string_view function) {
  const auto* image = reinterpret_cast<const BYTE*>(GetModuleHandleW(nullptr));
  for (const auto* module = FirstModule(image); module->Name != 0; ++module) {
    if (void** found = FindIn(image, *module, function)) return found;
  }
  return nullptr;
}

void SetImport(void** import, void* target) {
  DWORD protection = 0;
  if (!VirtualProtect(import, sizeof(*import), PAGE_READWRITE, &protection)) return;
  *import = target;
  VirtualProtect(import, sizeof(*import), protection, &protection);
}

}  // namespace lab
