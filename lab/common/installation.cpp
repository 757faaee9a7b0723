#include "lab/common/installation.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <span>
#include <stdexcept>

#include "lab/common/registry_key.h"

namespace lab {
namespace {

constexpr char kServiceUidKind = 'S';
constexpr char kProviderUidKind = 'P';

struct ServiceNames {
  const wchar_t* name;
  const wchar_t* displayName;
  uint32_t addressTag;
};
constexpr ServiceNames kServiceNames[] = {
    {L"LSMS", L"Root Message Store", kTagRootAddress},
    {L"LSMS_Secondary", L"Secondary Message Store", kTagStoreAddress},
    {L"LSMS_Embedded", L"Embedded Message Store", kTagStoreAddress},
};

const ServiceNames& NamesOf(ServiceKind kind) { return kServiceNames[static_cast<size_t>(kind)]; }

void Require(bool done, const char* what) {
  if (!done) throw std::runtime_error(std::string("lab: cannot ") + what);
}

uint64_t HashOf(const std::wstring& text) {
  uint64_t hash = 0xCBF29CE484222325u;  // FNV-1a
  for (wchar_t c : text) hash = (hash ^ c) * 0x100000001B3u;
  return hash;
}

// kind, which of the service's providers, 0, 0, counter[4], hash of the profile's name[8]: sections
// enumerate by kind and then in the order in which they were made.
Uid MakeUid(char kind, unsigned index, uint32_t counter, const std::wstring& profile) {
  Uid uid{};
  uid[0] = static_cast<uint8_t>(kind);
  uid[1] = static_cast<uint8_t>(index);
  for (size_t i = 0; i < 4; ++i) uid[4 + i] = static_cast<uint8_t>(counter >> (24 - 8 * i));
  const uint64_t hash = HashOf(FoldAscii(profile));
  std::memcpy(uid.data() + 8, &hash, sizeof(hash));
  return uid;
}

// A number that no section of the profile was made with.
uint32_t NextCounter(const std::wstring& profile) {
  const uint32_t next = ReadLong(profile, kAdminSectionUid, kTagLastCounter).value_or(0) + 1;
  Require(WriteLong(profile, kAdminSectionUid, kTagLastCounter, next), "count the services");
  return next;
}

// A store on its way into a profile.
struct NewStore {
  std::wstring profile;
  ServiceKind kind = ServiceKind::kRoot;
  std::wstring address;
  std::wstring path;  // empty for an embedded store
  Uid parentProvider{};
  const StoreOptions& options;
  uint32_t counter = 0;
  Uid service{};

  std::wstring Name() const { return options.serviceName.value_or(NamesOf(kind).name); }
  uint32_t Order() const { return options.order.value_or(counter); }
};

void WriteServiceName(const NewStore& store, const Uid& section) {
  if (!store.options.withServiceName) return;
  const uint32_t type = store.options.serviceNameAsString ? REG_SZ : REG_BINARY;
  Require(WriteRawValue(store.profile, section, PR_SERVICE_NAME_W, TextValue(store.Name(), type)),
          "write a service name");
}

Bytes NewEntryId(const NewStore& store, const Uid& provider) {
  if (store.options.entryId) return *store.options.entryId;
  if (store.kind != ServiceKind::kEmbedded) return FileStoreEntryId(store.Order(), provider);
  return EmbeddedStoreEntryId(store.Order(), provider,
                              store.options.parentProviderUid.value_or(store.parentProvider));
}

void WriteProviderBasics(const NewStore& store, const Uid& provider, uint32_t resourceType) {
  Require(WriteUidList(store.profile, provider, PR_SERVICE_UID, {store.service}) &&
              WriteUidList(store.profile, provider, PR_PROVIDER_UID, {provider}) &&
              WriteLong(store.profile, provider, PR_RESOURCE_TYPE, resourceType),
          "write a provider's section");
}

void WriteStoreProvider(const NewStore& store, const Uid& provider) {
  const StoreOptions& options = store.options;
  WriteProviderBasics(store, provider, MAPI_STORE_PROVIDER);
  WriteServiceName(store, provider);
  WriteText(store.profile, provider, PR_DISPLAY_NAME_W, NamesOf(store.kind).displayName);
  if (options.withEntryId) {
    WriteBinary(store.profile, provider, PR_ENTRYID, NewEntryId(store, provider));
  }
  const std::wstring path = options.storedPath.value_or(store.path);
  if (options.withPath && !path.empty()) {
    WriteText(store.profile, provider, kTagStorePath, path);
  }
  if (options.corruptionMark) {
    WriteLong(store.profile, provider, kTagCorruptionMark, *options.corruptionMark);
  }
  const bool isDefault = options.defaultStore.value_or(store.kind == ServiceKind::kRoot);
  WriteLong(store.profile, provider, PR_RESOURCE_FLAGS, isDefault ? STATUS_DEFAULT_STORE : 0);
}

// Writes the providers' sections and returns the service's list of them; the store providers come
// into `stores` too.
std::vector<Uid> WriteProviders(const NewStore& store, std::vector<Uid>* stores) {
  std::vector<Uid> all;
  const auto next = [&] {
    const auto index = static_cast<unsigned>(all.size());
    all.push_back(MakeUid(kProviderUidKind, index, store.counter, store.profile));
    return all.back();
  };
  if (!store.options.withProvider) return all;
  if (store.options.otherProviderFirst) WriteProviderBasics(store, next(), MAPI_TRANSPORT_PROVIDER);
  for (unsigned i = 0; i <= store.options.extraProviders; ++i) {
    stores->push_back(next());
    WriteStoreProvider(store, stores->back());
  }
  return all;
}

void WriteServiceSection(const NewStore& store, const std::vector<Uid>& providers) {
  const std::wstring& profile = store.profile;
  WriteServiceName(store, store.service);
  Require(
      WriteUidList(profile, store.service, PR_SERVICE_UID, {store.service}) &&
          WriteText(profile, store.service, PR_DISPLAY_NAME_W, NamesOf(store.kind).displayName) &&
          WriteUidList(profile, store.service, PR_STORE_PROVIDERS, providers),
      "write a service's section");
  if (store.options.withAddress) {
    WriteText(profile, store.service, NamesOf(store.kind).addressTag, store.address);
  }
}

// Writes the sections of new services of one profile, which get their UIDs, and enters them in the
// profile's lists, at `position` or at the end.
void AddServices(const std::wstring& profile, std::span<NewStore> stores,
                 std::optional<size_t> position = std::nullopt) {
  Require(CreateProfile(profile), "create the profile");
  std::vector<Uid> services = ReadUidList(profile, kAdminSectionUid, PR_SERVICES);
  std::vector<Uid> providers = ReadUidList(profile, kAdminSectionUid, PR_STORE_PROVIDERS);
  size_t at = std::min(position.value_or(services.size()), services.size());
  for (NewStore& store : stores) {
    store.counter = NextCounter(profile);
    store.service = MakeUid(kServiceUidKind, 0, store.counter, profile);
    WriteServiceSection(store, WriteProviders(store, &providers));
    services.insert(services.begin() + static_cast<ptrdiff_t>(at++), store.service);
  }
  Require(WriteUidList(profile, kAdminSectionUid, PR_SERVICES, services) &&
              WriteUidList(profile, kAdminSectionUid, PR_STORE_PROVIDERS, providers),
          "write the profile's lists");
}

Service AddToProfile(NewStore store) {
  Require(store.Order() < kOrderLimit, "give a store an order of 2^24 or more");
  WithProfilesLocked(
      [&] { AddServices(store.profile, std::span(&store, 1), store.options.position); });
  return *Profile(store.profile).Get(store.service);
}

Service AddFileStore(const NewStore& store) {
  const StoreOptions& options = store.options;
  Service service = AddToProfile(store);
  if (options.withFile && !store.path.empty()) {
    QsfContent content;
    content.main.owner = store.address;
    content.entryId = service.EntryId();
    content.messageSizes = options.messageSizes;
    content.freeBytes = options.freeBytes;
    Require(CreateQsf(store.path, content) == QsfStatus::kOk, "create the store file");
  }
  return service;
}

void EnterInParentFile(const Profile& profile, const Service& service,
                       const std::wstring& address) {
  const std::wstring file = profile.FileOf(service);
  QsfContent content;
  if (file.empty() || ReadQsf(file, &content) != QsfStatus::kOk) return;
  content.embedded.push_back({address, {}});
  Require(WriteQsf(file, content) == QsfStatus::kOk, "write the parent's store file");
}

Provider ReadProvider(const std::wstring& profile, const Uid& uid) {
  const auto entryId = ReadRawValue(profile, uid, PR_ENTRYID);
  return {.uid = uid,
          .resourceType = ReadLong(profile, uid, PR_RESOURCE_TYPE),
          .entryId = entryId ? std::optional(entryId->data) : std::nullopt,
          .path = ReadText(profile, uid, kTagStorePath),
          .corruptionMark = ReadLong(profile, uid, kTagCorruptionMark),
          .resourceFlags = ReadLong(profile, uid, PR_RESOURCE_FLAGS).value_or(0)};
}

Service ReadService(const std::wstring& profile, const Uid& uid) {
  Service service = {.uid = uid,
                     .name = ReadText(profile, uid, PR_SERVICE_NAME_W).value_or(L""),
                     .address = ReadText(profile, uid, kTagRootAddress),
                     .providers = {}};
  if (!service.address) service.address = ReadText(profile, uid, kTagStoreAddress);
  for (const Uid& provider : ReadUidList(profile, uid, PR_STORE_PROVIDERS)) {
    service.providers.push_back(ReadProvider(profile, provider));
  }
  return service;
}

}  // namespace

const wchar_t* ServiceNameOf(ServiceKind kind) { return NamesOf(kind).name; }

const Provider* Service::Store() const {
  const auto found = std::find_if(providers.begin(), providers.end(), [](const Provider& provider) {
    return provider.resourceType == MAPI_STORE_PROVIDER;
  });
  return found == providers.end() ? nullptr : &*found;
}

Bytes Service::EntryId() const {
  const Provider* store = Store();
  return store ? store->entryId.value_or(Bytes()) : Bytes();
}

std::wstring Service::Path() const {
  const Provider* store = Store();
  return store ? store->path.value_or(L"") : L"";
}

Service Profile::AddRootStore(const std::wstring& address, const std::wstring& path,
                              const StoreOptions& options) const {
  return AddFileStore({name_, ServiceKind::kRoot, address, path, {}, options});
}

Service Profile::AddSecondaryStore(const std::wstring& address, const std::wstring& path,
                                   const StoreOptions& options) const {
  return AddFileStore({name_, ServiceKind::kSecondary, address, path, {}, options});
}

void Profile::AddSecondaryStores(const std::vector<std::wstring>& addresses,
                                 const std::wstring& directory) const {
  const StoreOptions options;
  std::vector<NewStore> stores;
  for (const std::wstring& address : addresses) {
    const std::wstring path = directory + L'\\' + FoldAscii(address) + L".qsf";
    stores.push_back({name_, ServiceKind::kSecondary, address, path, {}, options});
  }
  WithProfilesLocked([&] { AddServices(name_, stores); });
}

Service Profile::AddEmbeddedStore(const std::wstring& address, const Service& parent,
                                  const StoreOptions& options) const {
  const Provider* parentStore = parent.Store();
  const Uid parentUid = parentStore ? parentStore->uid : Uid{};
  Service service = AddToProfile({name_, ServiceKind::kEmbedded, address, L"", parentUid, options});
  if (options.withFile) EnterInParentFile(*this, service, address);
  return service;
}

Service Profile::AddOrphan(const std::wstring& address, const StoreOptions& options) const {
  Uid leftover{};
  WithProfilesLocked([&] {
    Require(CreateProfile(name_), "create the profile");
    const uint32_t counter = NextCounter(name_);
    leftover = MakeUid(kProviderUidKind, 0, counter, name_);
    Require(WriteBinary(name_, leftover, PR_ENTRYID, FileStoreEntryId(counter, leftover)),
            "write the section that a deleted parent leaves");
  });
  return AddToProfile({name_, ServiceKind::kEmbedded, address, L"", leftover, options});
}

std::vector<Service> Profile::Services() const {
  std::vector<Service> services;
  for (const Uid& uid : ReadUidList(name_, kAdminSectionUid, PR_SERVICES)) {
    services.push_back(ReadService(name_, uid));
  }
  return services;
}

std::optional<Service> Profile::Find(std::wstring_view address) const {
  for (const Service& service : Services()) {
    if (service.address && EqualsFolded(*service.address, address)) return service;
  }
  return std::nullopt;
}

std::optional<Service> Profile::Get(const Uid& service) const {
  const std::vector<Uid> uids = ReadUidList(name_, kAdminSectionUid, PR_SERVICES);
  if (std::find(uids.begin(), uids.end(), service) == uids.end()) return std::nullopt;
  return ReadService(name_, service);
}

std::wstring Profile::FileOf(const Service& service) const {
  if (!service.Path().empty()) return service.Path();
  const auto parent = ParentProviderOfEntryId(service.EntryId());
  return parent ? ReadText(name_, *parent, kTagStorePath).value_or(L"") : L"";
}

bool Profile::Mark(const Uid& service, std::optional<uint32_t> mark) const {
  const auto found = Get(service);
  const Provider* store = found ? found->Store() : nullptr;
  if (!store) return false;
  return mark ? WriteLong(name_, store->uid, kTagCorruptionMark, *mark)
              : RemoveRawValue(name_, store->uid, kTagCorruptionMark);
}

}  // namespace lab
