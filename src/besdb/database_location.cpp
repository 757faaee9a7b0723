#include "src/besdb/database_location.h"

#include "src/platform/registry.h"
#include "src/platform/win32_error.h"

namespace {

bool ReadText(const platform::RegistryKey& key, const wchar_t* name, std::wstring& text) {
  const auto value = key.Read(name);
  if (!value || value->type != REG_SZ) return false;
  text = value->Text();
  return true;
}

}  // namespace

HRESULT ReadDatabaseLocation(DatabaseLocation& location) {
  platform::RegistryKey machine;
  Quorvel::Util::ThrowIfError(static_cast<DWORD>(machine.Open(HKEY_LOCAL_MACHINE, L"", KEY_READ)));
  platform::RegistryKey key;
  const LSTATUS error =
      key.Open(machine.Get(),
               L"SOFTWARE\\Research In Motion\\BlackBerry Enterprise Server\\Database", KEY_READ);
  if (error != ERROR_SUCCESS) return HRESULT_FROM_WIN32(static_cast<DWORD>(error));
  const bool found = ReadText(key, L"DatabaseServerMachineName", location.server) &&
                     ReadText(key, L"DatabaseName", location.database);
  return found ? S_OK : HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
}
