#include "lab/mapi/session.h"

#include <utility>
#include <vector>

#include "lab/common/profile_registry.h"
#include "lab/mapi/connector.h"
#include "lab/mapi/property_tags.h"
#include "lab/mapi/store.h"
#include "lab/mapi/table.h"

namespace lab {
namespace {

constexpr ULONG kOpenStoreFlags = MDB_NO_DIALOG | MDB_WRITE | MAPI_DEFERRED_ERRORS |
                                  MAPI_BEST_ACCESS | MDB_TEMPORARY | MDB_NO_MAIL;

PropertyList StoreRow(const std::wstring& profile, const Uid& provider) {
  PropertyList row = ReadSectionProperties(profile, provider);
  const uint32_t flags = ReadLong(profile, provider, PR_RESOURCE_FLAGS).value_or(0);
  row.push_back(NumberProperty(kDefaultStore, (flags & STATUS_DEFAULT_STORE) != 0));
  row.push_back(UidProperty(kInstanceKey, provider));
  return row;
}

}  // namespace

Session::Session(std::string madeBy, std::wstring profile)
    : SessionStubs(std::move(madeBy)), profile_(std::move(profile)) {}

STDMETHODIMP Session::GetMsgStoresTable(ULONG flags, LPMAPITABLE* table) {
  Call call(CallName("GetMsgStoresTable"), this);
  call.Flags(flags, MAPI_UNICODE).Out(table);
  return call.Run([&] {
    std::vector<PropertyList> rows;
    for (const Uid& provider : ReadUidList(profile_, kAdminSectionUid, PR_STORE_PROVIDERS)) {
      rows.push_back(StoreRow(profile_, provider));
    }
    *table =
        new Table(call.Name(), "MsgStoresTable",
                  {kInstanceKey, PR_ENTRYID, kDisplayNameA, kDefaultStore, PR_PROVIDER_UID}, rows);
    return S_OK;
  });
}

STDMETHODIMP Session::OpenMsgStore(ULONG_PTR parent, ULONG entryIdSize, LPENTRYID entryId,
                                   LPCIID iid, ULONG flags, LPMDB* store) {
  Call call(CallName("OpenMsgStore"), this);
  const auto* bytes = reinterpret_cast<const uint8_t*>(entryId);
  const Bytes id = bytes != nullptr ? Bytes(bytes, bytes + entryIdSize) : Bytes();
  const std::wstring owner = OwnerOfEntryId(profile_, id);
  call.Number("parent", parent).Binary("entryid", bytes, id.size()).Text("owner", owner.c_str());
  call.Iid("iid", iid).Flags(flags, kOpenStoreFlags).User(owner).Out(store);
  call.Require(!id.empty(), "no entry ID");
  RequireInterface<IMsgStore>(call, iid);
  return call.Run([&] {
    std::shared_ptr<OpenStore> opened;
    const HRESULT result = OpenStoreByEntryId(profile_, id, &opened);
    if (SUCCEEDED(result)) *store = new Store(call.Name(), std::move(opened));
    return result;
  });
}

STDMETHODIMP Session::Logoff(ULONG_PTR parent, ULONG flags, ULONG reserved) {
  Call call(CallName("Logoff"), this);
  call.Number("parent", parent).Flags(flags, MAPI_LOGOFF_SHARED | MAPI_LOGOFF_UI);
  call.Require(reserved == 0, "a reserved parameter that is not 0");
  return call.Run([] { return S_OK; });
}

}  // namespace lab
