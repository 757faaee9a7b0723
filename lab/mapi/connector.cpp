#include "lab/mapi/connector.h"

#include <mapicode.h>
#include <mapix.h>

#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "lab/common/installation.h"
#include "lab/common/profile_registry.h"
#include "lab/common/qsf_file.h"

namespace lab {
namespace {

// What opening a store needs to know of it.
struct StoreFacts {
  std::wstring owner;
  Bytes entryId;
  std::wstring path;          // empty for an embedded store
  std::optional<Uid> parent;  // its parent's provider, for an embedded store
};

// A profile's stores by what they are looked up by: each of the keys below. Reading them from the
// registry for each open store would cost more than all the rest.
using StoreIndex = std::map<std::string, StoreFacts>;

constexpr char kRootKey[] = "root";
std::string OwnerKey(const std::wstring& owner) {
  return "owner " + Utf8FromWide(FoldAscii(owner));
}
std::string EntryIdKey(const Bytes& entryId) { return "entry ID " + HexFromBytes(entryId); }
std::string ProviderKey(const Uid& uid) { return "provider " + UidText(uid); }

// The first of several stores with the same key is the one that is found.
void AddTo(StoreIndex& index, const Service& service) {
  const Provider* store = service.Store();
  if (!store) return;
  StoreFacts facts;
  facts.owner = service.address.value_or(L"");
  facts.entryId = service.EntryId();
  facts.parent = ParentProviderOfEntryId(facts.entryId);
  if (!facts.parent) facts.path = service.Path();
  if (service.address) index.emplace(OwnerKey(facts.owner), facts);
  if (!facts.entryId.empty()) index.emplace(EntryIdKey(facts.entryId), facts);
  index.emplace(ProviderKey(store->uid), facts);
  const bool isRoot = EqualsFolded(service.name, ServiceNameOf(ServiceKind::kRoot));
  if (isRoot) index.emplace(kRootKey, facts);
}

std::mutex g_mutex;  // guards the indexes; never held while a file is touched

std::map<std::wstring, StoreIndex>& Indexes() {
  static auto* const kIndexes = new std::map<std::wstring, StoreIndex>;
  return *kIndexes;
}

// With the mutex held.
StoreIndex& IndexOf(const std::wstring& profile) {
  const auto [place, isNew] = Indexes().try_emplace(profile);
  if (isNew) {
    for (const Service& service : Profile(profile).Services()) AddTo(place->second, service);
  }
  return place->second;
}

std::optional<StoreFacts> Find(const std::wstring& profile, const std::string& key) {
  const std::lock_guard lock(g_mutex);
  const StoreIndex& index = IndexOf(profile);
  const auto found = index.find(key);
  return found == index.end() ? std::nullopt : std::optional(found->second);
}

bool CanBeFileName(const std::wstring& name) {
  return !name.empty() && name.find_first_of(L"\\/:*?\"<>|") == std::wstring::npos;
}

// Makes the service of a mailbox that has none. Its file is made when it is opened.
HRESULT CreateStore(const std::wstring& profile, const std::wstring& address, StoreFacts* facts) {
  if (!CanBeFileName(address)) return MAPI_E_NOT_FOUND;
  std::optional<StoreFacts> found;
  WithProfilesLocked([&] {
    // Another thread may have made it meanwhile.
    found = Find(profile, OwnerKey(address));
    const auto root = Find(profile, kRootKey);
    if (found || !root || root->path.empty()) return;
    StoreOptions options;
    options.withFile = false;
    const std::wstring file = DirectoryOf(root->path) + L'\\' + FoldAscii(address) + L".qsf";
    const Service service = Profile(profile).AddSecondaryStore(address, file, options);
    {
      const std::lock_guard lock(g_mutex);
      AddTo(IndexOf(profile), service);
    }
    found = Find(profile, OwnerKey(address));
  });
  if (!found) return MAPI_E_UNCONFIGURED;
  *facts = *found;
  return S_OK;
}

HRESULT FindStore(const std::wstring& profile, const Bytes& entryId, StoreFacts* facts) {
  const auto mailbox = MailboxOfEntryId(entryId);
  const std::wstring owner = mailbox ? WideFromNarrow(*mailbox) : std::wstring();
  const auto found = Find(profile, mailbox ? OwnerKey(owner) : EntryIdKey(entryId));
  if (!found && mailbox) return CreateStore(profile, owner, facts);
  if (!found) return entryId.size() < kOwnPartOffset ? MAPI_E_INVALID_ENTRYID : MAPI_E_NOT_FOUND;
  *facts = *found;
  return S_OK;
}

// The store whose file `facts`' messages are in.
std::optional<StoreFacts> HolderOf(const std::wstring& profile, const StoreFacts& facts) {
  StoreFacts holder = facts;
  // A parent may be embedded itself; no chain of them is longer than this.
  for (int depth = 0; depth < 8; ++depth) {
    if (!holder.parent) return holder;
    const auto parent = Find(profile, ProviderKey(*holder.parent));
    if (!parent) return std::nullopt;
    holder = *parent;
  }
  return std::nullopt;
}

QsfStatus MakeSureOfFile(const StoreFacts& holder) {
  QsfContent content;
  const QsfStatus status = ReadQsf(holder.path, &content);
  if (status != QsfStatus::kMissing) return status;
  content.main.owner = holder.owner;
  content.entryId = holder.entryId;
  return CreateQsf(holder.path, content);
}

platform::KernelHandle Hold(const std::wstring& file) {
  return platform::TakeFileHandle(CreateFileW(file.c_str(), GENERIC_READ,
                                              FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                              OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
}

}  // namespace

HRESULT ResultOf(QsfStatus status) {
  switch (status) {
    case QsfStatus::kOk:
      return S_OK;
    case QsfStatus::kMissing:
      return MAPI_E_NOT_FOUND;
    case QsfStatus::kLocked:
      return MAPI_E_NO_ACCESS;
    case QsfStatus::kDamaged:
      return MAPI_E_CORRUPT_STORE;
    default:
      return MAPI_E_DISK_ERROR;
  }
}

HRESULT OpenStoreByEntryId(const std::wstring& profile, const Bytes& entryId,
                           std::shared_ptr<OpenStore>* store) {
  StoreFacts facts;
  HRESULT result = FindStore(profile, entryId, &facts);
  if (FAILED(result)) return result;
  const auto holder = HolderOf(profile, facts);
  if (!holder) return MAPI_E_NOT_FOUND;
  if (holder->path.empty()) return MAPI_E_UNCONFIGURED;
  result = ResultOf(MakeSureOfFile(*holder));
  if (FAILED(result)) return result;
  platform::KernelHandle handle = Hold(holder->path);
  if (!handle) return MAPI_E_NO_ACCESS;
  *store = std::make_shared<OpenStore>(facts.owner, holder->path, std::move(handle));
  return S_OK;
}

std::wstring OwnerOfEntryId(const std::wstring& profile, const Bytes& entryId) {
  if (const auto mailbox = MailboxOfEntryId(entryId)) return WideFromNarrow(*mailbox);
  const auto facts = Find(profile, EntryIdKey(entryId));
  return facts ? facts->owner : std::wstring();
}

void ForgetStores(const std::wstring& profile) {
  const std::lock_guard lock(g_mutex);
  Indexes().erase(profile);
}

}  // namespace lab
