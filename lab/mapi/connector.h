// The connector behind the message services: which store serves a mailbox, and opening, creating
// and re-creating store files.
#pragma once

#include <windows.h>

#include <memory>
#include <string>

#include "lab/common/text.h"
#include "src/platform/handle.h"

namespace lab {

// A store that is open: its file is held, and can be read and written but not deleted.
class OpenStore {
 public:
  OpenStore(std::wstring owner, std::wstring file, platform::KernelHandle handle)
      : owner_(std::move(owner)), file_(std::move(file)), handle_(std::move(handle)) {}

  const std::wstring& Owner() const { return owner_; }  // the mailbox's address
  const std::wstring& File() const { return file_; }

 private:
  const std::wstring owner_;
  const std::wstring file_;
  const platform::KernelHandle handle_;
};

// Opens the store that `entryId` names, either as the profile holds it or by its mailbox. A mailbox
// without a store gets one: a file "<address>.qsf" beside the root store's and a service of its
// own. A known store's missing file is made anew. Fails with
//   MAPI_E_INVALID_ENTRYID    an entry ID that names neither
//   MAPI_E_NOT_FOUND          no such store or parent, or an address that cannot be one
//   MAPI_E_UNCONFIGURED       the store has no path, or there is no root store to create one beside
//   MAPI_E_NO_ACCESS          another process holds the file
//   MAPI_E_CORRUPT_STORE      the file is damaged
// Any number of threads may open stores at once.
HRESULT OpenStoreByEntryId(const std::wstring& profile, const Bytes& entryId,
                           std::shared_ptr<OpenStore>* store);

// The address of the mailbox that `entryId` names, or empty.
std::wstring OwnerOfEntryId(const std::wstring& profile, const Bytes& entryId);

// To be called when the profile's services have changed.
void ForgetStores(const std::wstring& profile);

// The HRESULT for what became of a store file.
enum class QsfStatus;
HRESULT ResultOf(QsfStatus status);

}  // namespace lab
