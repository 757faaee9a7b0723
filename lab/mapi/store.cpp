#include "lab/mapi/store.h"

#include <cstring>
#include <utility>

#include "lab/common/entry_id.h"
#include "lab/common/qsf_file.h"
#include "lab/mapi/administration.h"
#include "lab/mapi/buffers.h"
#include "lab/mapi/property_tags.h"
#include "lab/mapi/table.h"

namespace lab {
namespace {

constexpr ULONG kOpenEntryFlags = MAPI_MODIFY | MAPI_DEFERRED_ERRORS | MAPI_BEST_ACCESS;
constexpr ULONG kCreateFolderFlags = MAPI_UNICODE | MAPI_DEFERRED_ERRORS | OPEN_IF_EXISTS;
constexpr ULONG kContentsFlags = MAPI_UNICODE | MAPI_DEFERRED_ERRORS | MAPI_ASSOCIATED;
// The OPENSTORE_ flags of CreateStoreEntryID.
constexpr ULONG kStoreEntryIdFlags = 0x000003FF;

}  // namespace

Store::Store(std::string madeBy, std::shared_ptr<OpenStore> store)
    : StoreStubs(std::move(madeBy)), owner_(store->Owner()), store_(std::move(store)) {}

HRESULT Store::Query(REFIID iid, void** out, const std::string& madeBy) {
  if (!IsEqualIID(iid, kIidExchangeManageStore)) return StoreStubs::Query(iid, out, madeBy);
  *out = static_cast<IExchangeManageStore*>(new ManageStore(madeBy, this, owner_));
  return S_OK;
}

STDMETHODIMP Store::OpenEntry(ULONG entryIdSize, LPENTRYID entryId, LPCIID iid, ULONG flags,
                              ULONG* objectType, LPUNKNOWN* object) {
  Call call(CallName("OpenEntry"), this);
  call.Text("owner", owner_.c_str()).Binary("entryid", entryId, entryIdSize).Iid("iid", iid);
  call.Flags(flags, kOpenEntryFlags).User(owner_).OutNumber(objectType).Out(object);
  call.Require(entryIdSize == 0 || entryId != nullptr, "no entry ID");
  RequireInterface<IMAPIFolder>(call, iid);
  return call.Run([&] {
    if (entryIdSize != 0) return MAPI_E_NOT_FOUND;
    *objectType = MAPI_FOLDER;
    *object = new Folder(call.Name(), store_);
    return S_OK;
  });
}

ManageStore::ManageStore(std::string madeBy, IMsgStore* store, std::wstring owner)
    : Object(std::move(madeBy)), store_(store), owner_(std::move(owner)) {
  store_->AddRef();
}

void ManageStore::LetGo() { store_->Release(); }

STDMETHODIMP ManageStore::CreateStoreEntryID(LPSTR storeDn, LPSTR mailboxDn, ULONG flags,
                                             ULONG* entryIdSize, LPENTRYID* entryId) {
  Call call(CallName("CreateStoreEntryID"), this);
  call.Text("store", storeDn).Text("mailbox", mailboxDn).Flags(flags, kStoreEntryIdFlags);
  if (mailboxDn != nullptr) call.User(WideFromNarrow(mailboxDn));
  call.OutNumber(entryIdSize).Out(entryId).Require(storeDn != nullptr, "no store name");
  return call.Run([&] {
    if (mailboxDn == nullptr || *mailboxDn == '\0') return MAPI_E_INVALID_PARAMETER;
    const Bytes bytes = MailboxEntryId(mailboxDn);
    void* buffer = AllocateBuffer(bytes.size(), call.Name());
    std::memcpy(buffer, bytes.data(), bytes.size());
    *entryId = static_cast<LPENTRYID>(buffer);
    *entryIdSize = static_cast<ULONG>(bytes.size());
    return S_OK;
  });
}

Folder::Folder(std::string madeBy, std::shared_ptr<OpenStore> store)
    : FolderStubs(std::move(madeBy)), owner_(store->Owner()), store_(std::move(store)) {}

STDMETHODIMP Folder::CreateFolder(ULONG type, LPTSTR name, LPTSTR comment, LPCIID iid, ULONG flags,
                                  LPMAPIFOLDER* folder) {
  Call call(CallName("CreateFolder"), this);
  call.Text("owner", owner_.c_str()).Number("type", type).Text("name", name, flags);
  call.Text("comment", comment, flags).Iid("iid", iid).Flags(flags, kCreateFolderFlags);
  call.User(owner_).Out(folder).Require(name != nullptr, "no name");
  call.Require(type == FOLDER_GENERIC || type == FOLDER_SEARCH, "a folder type that is none");
  RequireInterface<IMAPIFolder>(call, iid);
  return call.Run([&] {
    bool existed = false;
    const QsfStatus status = AddQsfFolder(
        store_->File(), owner_, {TextParameter(name, flags), type == FOLDER_SEARCH}, &existed);
    if (status != QsfStatus::kOk) return ResultOf(status);
    if (existed && !(flags & OPEN_IF_EXISTS)) return MAPI_E_COLLISION;
    *folder = new Folder(call.Name(), store_);
    return S_OK;
  });
}

STDMETHODIMP Folder::GetContentsTable(ULONG flags, LPMAPITABLE* table) {
  Call call(CallName("GetContentsTable"), this);
  call.Text("owner", owner_.c_str()).Flags(flags, kContentsFlags).User(owner_).Out(table);
  return call.Run([&] {
    *table = new Table(call.Name(), "ContentsTable", {PR_ENTRYID, kInstanceKey, kDisplayNameA}, {});
    return S_OK;
  });
}

}  // namespace lab
