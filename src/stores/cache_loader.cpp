#include "src/stores/cache_loader.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <span>
#include <utility>
#include <vector>

#include "src/console/console.h"
#include "src/platform/text.h"
#include "src/stores/entry_id.h"
#include "src/stores/profile_admin.h"

namespace {

using platform::MapiBuffer;
using platform::RowSet;

constexpr const char* kFunction = "CStoreManager::LoadCache";

constexpr char kRootService[] = "LSMS";
constexpr char kSecondaryService[] = "LSMS_Secondary";
constexpr char kEmbeddedService[] = "LSMS_Embedded";

// The narrow path of a store's file, in its provider's profile section.
constexpr ULONG kPrPstPathA = PROP_TAG(PT_STRING8, 0x6700);

// The connector's own properties of a service's profile section: the address of the account that
// owns the root store, and of the one that owns a secondary or an embedded store.
constexpr ULONG kPrRootStoreAddress = PROP_TAG(PT_UNICODE, 0x6646);
constexpr ULONG kPrStoreAddress = PROP_TAG(PT_UNICODE, 0x6650);

constexpr ULONG kServiceName = PROP_TAG(PT_STRING8, PROP_ID(PR_SERVICE_NAME));
constexpr ULONG kSectionFlags = platform::kMapiForceAccess | MAPI_MODIFY;

// "The service is called `name`", whole and in any letter case. `value` and `name` must outlive the
// restriction.
SRestriction ServiceNamed(const char* name, SPropValue& value) {
  value = {};
  value.ulPropTag = kServiceName;
  value.Value.lpszA = const_cast<char*>(name);
  SRestriction restriction = {};
  restriction.rt = RES_CONTENT;
  restriction.res.resContent.ulFuzzyLevel = FL_FULLSTRING | FL_IGNORECASE;
  restriction.res.resContent.ulPropTag = kServiceName;
  restriction.res.resContent.lpProp = &value;
  return restriction;
}

HRESULT RestrictToConnector(IMAPITable* services, bool includeRootStore) {
  std::array<SPropValue, 3> names;
  std::array<SRestriction, 3> members = {ServiceNamed(kSecondaryService, names[0]),
                                         ServiceNamed(kEmbeddedService, names[1]),
                                         ServiceNamed(kRootService, names[2])};
  SRestriction any = {};
  any.rt = RES_OR;
  any.res.resOr.cRes = includeRootStore ? 3 : 2;
  any.res.resOr.lpRes = members.data();
  return services->Restrict(&any, 0);
}

HRESULT RestrictToStoreProviders(IMAPITable* providers) {
  SPropValue type = {};
  type.ulPropTag = PR_RESOURCE_TYPE;
  type.Value.l = MAPI_STORE_PROVIDER;
  SRestriction isStore = platform::PropertyEquals(type);
  return providers->Restrict(&isStore, 0);
}

EntryIdBytes BytesOf(const SPropValue& value) {
  const auto bytes = platform::BinaryOf(value);
  return {bytes.begin(), bytes.end()};
}

// A UID column's value. One that is missing or too short is filled up with zeros: no section has
// such a name, and MAPI says so.
MAPIUID UidOf(const SPropValue& value) {
  MAPIUID uid = {};
  if (PROP_TYPE(value.ulPropTag) != PT_BINARY) return uid;
  const auto bytes = platform::BinaryOf(value);
  std::copy_n(bytes.begin(), std::min(bytes.size(), sizeof(uid)), uid.ab);
  return uid;
}

std::vector<BYTE> BytesOf(const MAPIUID& uid) { return {std::begin(uid.ab), std::end(uid.ab)}; }

}  // namespace

HRESULT CacheLoader::Load(const std::wstring& profileName, bool includeRootStore) {
  RowSet services;
  const bool complete = OpenAdministration(profileName) &&
                        QueryServices(includeRootStore, services) && LoadServices(services);
  if (complete && SUCCEEDED(status_)) LinkEmbeddedStores();
  return status_;
}

bool CacheLoader::Failed(LineFormat<const char*, HRESULT> message) const {
  if (SUCCEEDED(status_)) return false;
  PrintLine(message, kFunction, status_);
  return true;
}

bool CacheLoader::OpenAdministration(const std::wstring& profileName) {
  status_ = OpenProfileAdmin(kFunction, profileAdmin_);
  if (FAILED(status_)) return false;
  status_ = OpenServiceAdmin(profileAdmin_.Get(), profileName, kFunction, serviceAdmin_);
  return SUCCEEDED(status_);
}

bool CacheLoader::QueryServices(bool includeRootStore, RowSet& services) {
  ComPtr<IMAPITable> table;
  status_ = serviceAdmin_->GetMsgServiceTable(0, &table);
  if (Failed(L"%hs: GetMsgServiceTable failed : 0x%x")) return false;
  status_ = RestrictToConnector(table.Get(), includeRootStore);
  if (Failed(L"%hs: Restrict on MsgServiceTable failed : 0x%x")) return false;
  auto columns = platform::MakePropTags(PR_SERVICE_UID, kServiceName);
  status_ = HrQueryAllRows(table.Get(), columns.Get(), nullptr, nullptr, 0, services.Put());
  return !Failed(L"%hs: HrQueryAllRows on MsgServiceTable failed : 0x%x");
}

bool CacheLoader::LoadServices(const RowSet& services) {
  int index = 0;
  for (const SRow& row : services.Rows()) {
    if (LoadService(row, index++) == Outcome::kEndLoad) return false;
  }
  return true;
}

CacheLoader::Outcome CacheLoader::LoadService(const SRow& row, int index) {
  Draft draft;
  draft.serviceUid = UidOf(platform::PropertyAt(row, 0));
  ComPtr<IProfSect> section;
  status_ = serviceAdmin_->OpenProfileSection(&draft.serviceUid, nullptr, kSectionFlags, &section);
  // Kept: the text of the step before serves for this one too; console lines are an interface.
  if (Failed(L"%hs: HrQueryAllRows on MsgServiceTable failed : 0x%x")) return Outcome::kEndLoad;

  const SPropValue name = platform::PropertyAt(row, 1);
  if (name.ulPropTag != kServiceName) {
    // Kept: the load comes back with the success of the call before, and a cache that lacks the
    // rest. Commands go on with what they then see.
    PrintLine(L"%hs: PR_SERVICE_NAME_A not found at index %d", kFunction, index);
    return Outcome::kEndLoad;
  }
  Outcome outcome = ReadEmail(section.Get(), name.Value.lpszA, draft.email);
  MAPIUID providerUid = {};
  if (outcome == Outcome::kGoOn) outcome = FindProvider(draft.serviceUid, providerUid);
  if (outcome == Outcome::kGoOn) outcome = ReadProvider(providerUid, std::move(draft));
  return outcome;
}

CacheLoader::Outcome CacheLoader::ReadEmail(IProfSect* serviceSection, const char* serviceName,
                                            std::wstring& email) {
  const bool isRoot = _stricmp(serviceName, kRootService) == 0;
  MapiBuffer<SPropValue> address;
  status_ =
      HrGetOneProp(serviceSection, isRoot ? kPrRootStoreAddress : kPrStoreAddress, address.Put());
  if (FAILED(status_)) return Outcome::kSkipService;
  email = address->Value.lpszW;
  platform::LowerAscii(email);
  return Outcome::kGoOn;
}

CacheLoader::Outcome CacheLoader::FindProvider(MAPIUID serviceUid, MAPIUID& providerUid) {
  ComPtr<IProviderAdmin> providerAdmin;
  status_ = serviceAdmin_->AdminProviders(&serviceUid, 0, &providerAdmin);
  if (Failed(L"%hs: AdminProviders failed : 0x%x")) return Outcome::kEndLoad;
  ComPtr<IMAPITable> table;
  status_ = providerAdmin->GetProviderTable(0, &table);
  if (Failed(L"%hs: GetProviderTable failed : 0x%x")) return Outcome::kEndLoad;
  status_ = RestrictToStoreProviders(table.Get());
  if (Failed(L"%hs: Restrict on provider table failed : 0x%x")) return Outcome::kEndLoad;

  RowSet providers;
  auto columns = platform::MakePropTags(PR_PROVIDER_UID);
  status_ = HrQueryAllRows(table.Get(), columns.Get(), nullptr, nullptr, 0, providers.Put());
  if (Failed(L"%hs: HrQueryAllRows on provider table failed : 0x%x")) return Outcome::kEndLoad;
  if (providers.Rows().empty()) return Outcome::kSkipService;
  providerUid = UidOf(platform::PropertyAt(providers.Rows().front(), 0));
  return Outcome::kGoOn;
}

CacheLoader::Outcome CacheLoader::ReadProvider(MAPIUID providerUid, Draft draft) {
  ComPtr<IProfSect> section;
  status_ = serviceAdmin_->OpenProfileSection(&providerUid, nullptr, kSectionFlags, &section);
  if (Failed(L"%hs: OpenProfileSection on provider table failed : 0x%x")) return Outcome::kEndLoad;

  auto tags = platform::MakePropTags(PR_ENTRYID, kPrPstPathA);
  ULONG count = 0;
  MapiBuffer<SPropValue> properties;
  status_ = section->GetProps(tags.Get(), 0, &count, properties.Put());
  if (FAILED(status_)) return Outcome::kSkipService;

  const std::span<const SPropValue> values(properties.Get(), count);
  const SPropValue entryIdValue = platform::PropertyAt(values, 0);
  if (entryIdValue.ulPropTag != PR_ENTRYID) {
    PrintLine(L"%hs: Failed to get PR_ENTRYID for the store '%s' : 0x%x", kFunction,
              draft.email.c_str(), entryIdValue.Value.err);
    return Outcome::kSkipService;
  }
  EntryIdBytes entryId = BytesOf(entryIdValue);
  if (const auto parentProvider = EmbeddedParentProvider(entryId)) {
    return AddEmbeddedStore(std::move(draft), std::move(entryId), *parentProvider);
  }
  return AddFileStore(std::move(draft), std::move(entryId), platform::PropertyAt(values, 1));
}

CacheLoader::Outcome CacheLoader::AddEmbeddedStore(Draft draft, EntryIdBytes entryId,
                                                   MAPIUID parentProvider) {
  ComPtr<IProfSect> section;
  status_ = serviceAdmin_->OpenProfileSection(&parentProvider, nullptr, kSectionFlags, &section);
  if (Failed(L"%hs: OpenProfileSection on parent provider UID failed : 0x%x")) {
    return Outcome::kEndLoad;
  }
  MapiBuffer<SPropValue> parentEntryId;
  status_ = HrGetOneProp(section.Get(), PR_ENTRYID, parentEntryId.Put());
  if (FAILED(status_)) return Outcome::kSkipService;

  AddRecord({.Kind = StoreKind::EmbeddedStore,
             .QsfPath = {},
             .Email = std::move(draft.email),
             .ServiceUid = BytesOf(draft.serviceUid),
             .EntryId = std::move(entryId),
             .ParentEntryId = BytesOf(*parentEntryId.Get()),
             .EmbeddedChildren = {}});
  return Outcome::kGoOn;
}

CacheLoader::Outcome CacheLoader::AddFileStore(Draft draft, EntryIdBytes entryId,
                                               const SPropValue& path) {
  if (path.ulPropTag != kPrPstPathA) {
    PrintLine(L"%hs: Failed to get PR_PST_PATH for the store '%s' : 0x%x", kFunction,
              draft.email.c_str(), path.Value.err);
    return Outcome::kSkipService;
  }
  std::string qsfPath = path.Value.lpszA;
  platform::LowerAscii(qsfPath, CP_ACP);
  AddRecord({.Kind = StoreKind::FileStore,
             .QsfPath = std::move(qsfPath),
             .Email = std::move(draft.email),
             .ServiceUid = BytesOf(draft.serviceUid),
             .EntryId = std::move(entryId),
             .ParentEntryId = {},
             .EmbeddedChildren = {}});
  return Outcome::kGoOn;
}

void CacheLoader::AddRecord(StoreRecord record) {
  // Of two services with the same entry ID the first keeps its record.
  EntryIdBytes key = record.EntryId;
  stores_.emplace(std::move(key), std::move(record));
}

void CacheLoader::LinkEmbeddedStores() {
  for (const auto& [entryId, record] : stores_) {
    if (record.Kind != StoreKind::EmbeddedStore) continue;
    const auto parent = stores_.find(record.ParentEntryId);
    if (parent == stores_.end()) {
      DeleteOrphan(record);
    } else {
      parent->second.EmbeddedChildren.push_back(entryId);
    }
  }
}

void CacheLoader::DeleteOrphan(const StoreRecord& orphan) {
  PrintLine(L"Serious error: *** Parent store not found for '%s' ***", orphan.Email.c_str());
  PrintLine(L"Deleting orphan embedded store.");
  MAPIUID serviceUid;
  std::memcpy(&serviceUid, orphan.ServiceUid.data(), sizeof(serviceUid));
  status_ = serviceAdmin_->DeleteMsgService(&serviceUid);
  PrintLine(L"DeleteMsgService : 0x%x", status_);
}
