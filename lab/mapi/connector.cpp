#include "lab/mapi/connector.h"

#include <mapicode.h>
#include <mapix.h>

#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "lab/common/installation.h"
#include "lab/common/profile_registry.h"
#include "lab/common/qsf_file.h"

namespace lab {
namespace {

// What opening a store needs to know of it.
struct StoreFacts {
  std::wstring owner;
  Bytes entryId;
  Uid provider{};
  std::wstring path;          // empty for an embedded store
  std::optional<Uid> parent;  // its parent's provider, for an embedded store
  bool isRoot = false;
};

// A profile's stores by what they are looked up by. Reading them from the registry for each open
// store would cost more than all the rest.
class StoreIndex {
 public:
  explicit StoreIndex(const std::wstring& profile) {
    for (const Service& service : Profile(profile).Services()) Add(service);
  }

  void Add(const Service& service) {
    const Provider* store = service.Store();
    if (!store) return;
    StoreFacts facts;
    facts.owner = service.address.value_or(L"");
    facts.entryId = service.EntryId();
    facts.provider = store->uid;
    facts.parent = ParentProviderOfEntryId(facts.entryId);
    if (!facts.parent) facts.path = service.Path();
    facts.isRoot = EqualsFolded(service.name, ServiceNameOf(ServiceKind::kRoot));
    // The first of several stores with the same key is the one that is found.
    if (service.address) byOwner_.emplace(FoldAscii(facts.owner), facts);
    if (!facts.entryId.empty()) byEntryId_.emplace(facts.entryId, facts);
    byProvider_.emplace(facts.provider, facts);
    if (facts.isRoot && !root_) root_ = facts;
  }

  std::optional<StoreFacts> ByOwner(const std::wstring& owner) const {
    return Get(byOwner_, FoldAscii(owner));
  }
  std::optional<StoreFacts> ByEntryId(const Bytes& entryId) const {
    return Get(byEntryId_, entryId);
  }
  std::optional<StoreFacts> ByProvider(const Uid& uid) const { return Get(byProvider_, uid); }
  std::optional<StoreFacts> Root() const { return root_; }

 private:
  template <class Map>
  static std::optional<StoreFacts> Get(const Map& map, const typename Map::key_type& key) {
    const auto found = map.find(key);
    return found == map.end() ? std::nullopt : std::optional(found->second);
  }

  std::map<std::wstring, StoreFacts> byOwner_;
  std::map<Bytes, StoreFacts> byEntryId_;
  std::map<Uid, StoreFacts> byProvider_;
  std::optional<StoreFacts> root_;
};

std::mutex g_mutex;  // guards the indexes; never held while a file is touched

std::map<std::wstring, StoreIndex>& Indexes() {
  static auto* const kIndexes = new std::map<std::wstring, StoreIndex>;
  return *kIndexes;
}

// What `ask` finds in the profile's index.
template <class Ask>
auto InIndex(const std::wstring& profile, Ask ask) {
  const std::lock_guard lock(g_mutex);
  auto found = Indexes().find(profile);
  if (found == Indexes().end()) found = Indexes().emplace(profile, StoreIndex(profile)).first;
  return ask(found->second);
}

std::optional<StoreFacts> FindByOwner(const std::wstring& profile, const std::wstring& owner) {
  return InIndex(profile, [&](StoreIndex& index) { return index.ByOwner(owner); });
}

bool CanBeFileName(const std::wstring& name) {
  return !name.empty() && name.find_first_of(L"\\/:*?\"<>|") == std::wstring::npos;
}

// Makes the service of a mailbox that has none. Its file is made when it is opened.
HRESULT CreateStore(const std::wstring& profile, const std::wstring& address, StoreFacts* facts) {
  if (!CanBeFileName(address)) return MAPI_E_NOT_FOUND;
  HRESULT result = S_OK;
  WithProfilesLocked([&] {
    // Another thread may have made it meanwhile.
    auto found = FindByOwner(profile, address);
    const auto root = InIndex(profile, [](StoreIndex& index) { return index.Root(); });
    if (!found && (!root || root->path.empty())) result = MAPI_E_UNCONFIGURED;
    if (FAILED(result)) return;
    if (!found) {
      StoreOptions options;
      options.withFile = false;
      const Service service = Profile(profile).AddSecondaryStore(
          address, DirectoryOf(root->path) + L'\\' + FoldAscii(address) + L".qsf", options);
      InIndex(profile, [&](StoreIndex& index) {
        index.Add(service);
        return 0;
      });
      found = FindByOwner(profile, address);
    }
    *facts = *found;
  });
  return result;
}

HRESULT FindStore(const std::wstring& profile, const Bytes& entryId, StoreFacts* facts) {
  const auto mailbox = MailboxOfEntryId(entryId);
  const auto found =
      mailbox ? FindByOwner(profile, WideFromNarrow(*mailbox))
              : InIndex(profile, [&](StoreIndex& index) { return index.ByEntryId(entryId); });
  if (found) {
    *facts = *found;
    return S_OK;
  }
  if (mailbox) return CreateStore(profile, WideFromNarrow(*mailbox), facts);
  return entryId.size() < kOwnPartOffset ? MAPI_E_INVALID_ENTRYID : MAPI_E_NOT_FOUND;
}

// The store whose file `facts`' messages are in.
std::optional<StoreFacts> HolderOf(const std::wstring& profile, const StoreFacts& facts) {
  StoreFacts holder = facts;
  // A parent may be embedded itself; no chain of them is longer than this.
  for (int depth = 0; depth < 8; ++depth) {
    if (!holder.parent) return holder;
    const auto parent =
        InIndex(profile, [&](StoreIndex& index) { return index.ByProvider(*holder.parent); });
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
  const auto facts = InIndex(profile, [&](StoreIndex& index) { return index.ByEntryId(entryId); });
  return facts ? facts->owner : std::wstring();
}

void ForgetStores(const std::wstring& profile) {
  const std::lock_guard lock(g_mutex);
  Indexes().erase(profile);
}

}  // namespace lab
