#include "lab/mapi/store.h"

#include <mapiutil.h>

#include <cstring>
#include <vector>

#include "lab/common/entry_id.h"
#include "lab/common/profile_registry.h"
#include "lab/common/qsf_file.h"
#include "lab/mapi/administration.h"
#include "lab/mapi/buffers.h"
#include "lab/mapi/table.h"

namespace lab {
namespace {

constexpr ULONG kOpenStoreFlags = MDB_NO_DIALOG | MDB_WRITE | MAPI_DEFERRED_ERRORS |
                                  MAPI_BEST_ACCESS | MDB_TEMPORARY | MDB_NO_MAIL;
constexpr ULONG kOpenEntryFlags = MAPI_MODIFY | MAPI_DEFERRED_ERRORS | MAPI_BEST_ACCESS;
constexpr ULONG kCreateFolderFlags = MAPI_UNICODE | MAPI_DEFERRED_ERRORS | OPEN_IF_EXISTS;
constexpr ULONG kContentsFlags = MAPI_UNICODE | MAPI_DEFERRED_ERRORS | MAPI_ASSOCIATED;
// The OPENSTORE_ flags of CreateStoreEntryID.
constexpr ULONG kStoreEntryIdFlags = 0x000003FF;

PropertyList StoreRow(const std::wstring& profile, const Uid& provider) {
  PropertyList row = ReadSectionProperties(profile, provider);
  const uint32_t flags = ReadLong(profile, provider, PR_RESOURCE_FLAGS).value_or(0);
  row.push_back({.tag = PR_DEFAULT_STORE, .number = (flags & STATUS_DEFAULT_STORE) != 0});
  row.push_back(UidProperty(PR_INSTANCE_KEY, provider));
  return row;
}

}  // namespace

STDMETHODIMP MapiSession::GetMsgStoresTable(ULONG flags, LPMAPITABLE* table) {
  Call call("IMAPISession::GetMsgStoresTable", this);
  call.Flags(flags, MAPI_UNICODE).Out(table);
  return call.Run([&] {
    std::vector<PropertyList> rows;
    for (const Uid& provider : ReadUidList(profile_, kAdminSectionUid, PR_STORE_PROVIDERS)) {
      rows.push_back(StoreRow(profile_, provider));
    }
    return call.HandOut(table, new Table("MsgStoresTable",
                                         {PR_INSTANCE_KEY, PR_ENTRYID, PR_DISPLAY_NAME_A,
                                          PR_DEFAULT_STORE, PR_PROVIDER_UID},
                                         std::move(rows)));
  });
}

STDMETHODIMP MapiSession::OpenMsgStore(ULONG_PTR parent, ULONG entryIdSize, LPENTRYID entryId,
                                       LPCIID iid, ULONG flags, LPMDB* store) {
  Call call("IMAPISession::OpenMsgStore", this);
  const auto* bytes = reinterpret_cast<const uint8_t*>(entryId);
  const Bytes id = bytes ? Bytes(bytes, bytes + entryIdSize) : Bytes();
  const std::wstring owner = OwnerOfEntryId(profile_, id);
  call.Hex("parent", parent).Binary("entryid", bytes, id.size()).Text("owner", owner.c_str());
  call.Asks<IMsgStore>(iid).Flags(flags, kOpenStoreFlags).User(owner).Out(store);
  call.Require(!id.empty(), "no entry ID");
  return call.Run([&] {
    std::shared_ptr<OpenStore> opened;
    const HRESULT result = OpenStoreByEntryId(profile_, id, &opened);
    return FAILED(result) ? result : call.HandOut(store, new Store(std::move(opened)));
  });
}

STDMETHODIMP MapiSession::Logoff(ULONG_PTR parent, ULONG flags, ULONG reserved) {
  Call call("IMAPISession::Logoff", this);
  call.Hex("parent", parent).Flags(flags, MAPI_LOGOFF_SHARED | MAPI_LOGOFF_UI);
  call.Require(reserved == 0, "a reserved parameter that is not 0");
  return call.Run([] { return S_OK; });
}

HRESULT Store::Query(REFIID iid, void** out, Call& call) {
  if (!IsEqualIID(iid, kIidExchangeManageStore)) return PropObject::Query(iid, out, call);
  return call.HandOut(reinterpret_cast<IExchangeManageStore**>(out), new ManageStore(this, owner_));
}

STDMETHODIMP Store::OpenEntry(ULONG entryIdSize, LPENTRYID entryId, LPCIID iid, ULONG flags,
                              ULONG* objectType, LPUNKNOWN* object) {
  Call call("IMsgStore::OpenEntry", this);
  call.Text("owner", owner_.c_str()).Binary("entryid", entryId, entryIdSize);
  call.Asks<IMAPIFolder>(iid).Flags(flags, kOpenEntryFlags).User(owner_);
  call.Out(objectType).Out(object).Require(entryIdSize == 0 || entryId, "no entry ID");
  return call.Run([&] {
    if (entryIdSize != 0) return MAPI_E_NOT_FOUND;
    *objectType = MAPI_FOLDER;
    return call.HandOut(object, new Folder(store_));
  });
}

STDMETHODIMP ManageStore::CreateStoreEntryID(LPSTR storeDn, LPSTR mailboxDn, ULONG flags,
                                             ULONG* entryIdSize, LPENTRYID* entryId) {
  Call call("IExchangeManageStore::CreateStoreEntryID", this);
  call.Text("store", storeDn).Text("mailbox", mailboxDn).Flags(flags, kStoreEntryIdFlags);
  if (mailboxDn) call.User(WideFromNarrow(mailboxDn));
  call.Out(entryIdSize).Out(entryId).Require(storeDn, "no store name");
  return call.Run([&] {
    if (!mailboxDn || *mailboxDn == '\0') return MAPI_E_INVALID_PARAMETER;
    const Bytes bytes = MailboxEntryId(mailboxDn);
    void* buffer = AllocateBuffer(bytes.size(), call.Name());
    std::memcpy(buffer, bytes.data(), bytes.size());
    *entryId = static_cast<LPENTRYID>(buffer);
    *entryIdSize = static_cast<ULONG>(bytes.size());
    return S_OK;
  });
}

STDMETHODIMP Folder::CreateFolder(ULONG type, LPTSTR name, LPTSTR comment, LPCIID iid, ULONG flags,
                                  LPMAPIFOLDER* folder) {
  Call call("IMAPIFolder::CreateFolder", this);
  call.Text("owner", owner_.c_str()).Hex("type", type).Text("name", name, flags);
  call.Text("comment", comment, flags).Asks<IMAPIFolder>(iid).Flags(flags, kCreateFolderFlags);
  call.User(owner_).Out(folder).Require(name, "no name");
  call.Require(type == FOLDER_GENERIC || type == FOLDER_SEARCH, "a folder type that is none");
  return call.Run([&] {
    bool existed = false;
    const QsfStatus status = AddQsfFolder(
        store_->File(), owner_, {TextParameter(name, flags), type == FOLDER_SEARCH}, &existed);
    if (status != QsfStatus::kOk) return ResultOf(status);
    if (existed && !(flags & OPEN_IF_EXISTS)) return MAPI_E_COLLISION;
    return call.HandOut(folder, new Folder(store_));
  });
}

STDMETHODIMP Folder::GetContentsTable(ULONG flags, LPMAPITABLE* table) {
  Call call("IMAPIFolder::GetContentsTable", this);
  call.Text("owner", owner_.c_str()).Flags(flags, kContentsFlags).User(owner_).Out(table);
  return call.Run([&] {
    return call.HandOut(
        table, new Table("ContentsTable", {PR_ENTRYID, PR_INSTANCE_KEY, PR_DISPLAY_NAME_A}, {}));
  });
}

}  // namespace lab
