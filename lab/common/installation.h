// Building an installation: profiles, the connector's services in them, and their store files.
//
//   lab::Profile profile(L"Main");
//   profile.Create();
//   lab::Service root = profile.AddRootStore(L"bes@example.com", L"C:\\qsf\\bes.qsf");
//   lab::Service ann = profile.AddSecondaryStore(L"ann@example.com", L"C:\\qsf\\ann.qsf");
//   profile.AddEmbeddedStore(L"bob@example.com", ann);
//
// UIDs and entry IDs derive from the profile's name and from a counter that each added service
// takes one of, so building the same installation twice gives the same bytes, and stores compare in
// the order in which they were added unless an order is given.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "lab/common/entry_id.h"
#include "lab/common/profile_registry.h"
#include "lab/common/qsf_file.h"
#include "lab/common/text.h"

namespace lab {

enum class ServiceKind { kRoot, kSecondary, kEmbedded };

// "LSMS", "LSMS_Secondary", "LSMS_Embedded".
const wchar_t* ServiceNameOf(ServiceKind kind);

// How an added store differs from an ordinary one: {.withFile = false, .order = 10}. Defaults make
// an ordinary one.
struct StoreOptions {
  std::optional<std::wstring> serviceName{};  // another spelling in both sections
  bool serviceNameAsString = false;           // kept with registry type REG_SZ
  bool withServiceName = true;
  bool withAddress = true;
  bool withProvider = true;  // false: a service without any provider
  bool withEntryId = true;
  bool withPath = true;
  bool withFile = true;                      // false: the store file is not created
  std::optional<std::wstring> storedPath{};  // what the profile says instead of the file's path
  std::optional<Bytes> entryId{};            // instead of the derived one
  std::optional<uint32_t> order{};           // in the derived entry ID; below kOrderLimit
  std::optional<Uid> parentProviderUid{};    // named by an embedded store's entry ID
  std::optional<uint32_t> corruptionMark{};
  std::optional<bool> defaultStore{};  // by default the root store is
  bool otherProviderFirst = false;     // a provider that is no store comes first
  unsigned extraProviders = 0;         // further store providers behind the first
  std::optional<size_t> position{};    // place in the service table; by default the end
  std::vector<uint32_t> messageSizes = {512};
  uint32_t freeBytes = 0;
};

// A provider of a service, as the profile holds it.
struct Provider {
  Uid uid{};
  std::optional<uint32_t> resourceType;
  std::optional<Bytes> entryId;
  std::optional<std::wstring> path;
  std::optional<uint32_t> corruptionMark;
  uint32_t resourceFlags = 0;
};

// A service, as the profile holds it.
struct Service {
  Uid uid{};
  std::wstring name;                    // empty when it has none
  std::optional<std::wstring> address;  // as written, from either address property
  std::vector<Provider> providers;      // in the order of the service's list

  // The first store provider, or none.
  const Provider* Store() const;
  // Its entry ID and path; empty when it has none.
  Bytes EntryId() const;
  std::wstring Path() const;
};

class Profile {
 public:
  explicit Profile(std::wstring name) : name_(std::move(name)) {}

  const std::wstring& Name() const { return name_; }
  bool Exists() const { return ProfileExists(name_); }
  bool Create() const { return CreateProfile(name_); }
  bool Delete() const { return DeleteProfile(name_); }

  // Each adds a service with its provider, and creates the store file (an embedded store is entered
  // in its parent's). The profile is created when it does not exist. Returns the new service as the
  // profile now holds it. Throws std::runtime_error when the registry or the file system refuses.
  Service AddRootStore(const std::wstring& address, const std::wstring& path,
                       const StoreOptions& options = {}) const;
  Service AddSecondaryStore(const std::wstring& address, const std::wstring& path,
                            const StoreOptions& options = {}) const;
  Service AddEmbeddedStore(const std::wstring& address, const Service& parent,
                           const StoreOptions& options = {}) const;

  // Many secondary stores with their paths in `directory`, but without files: in a fraction of the
  // time that adding them one by one takes.
  void AddSecondaryStores(const std::vector<std::wstring>& addresses,
                          const std::wstring& directory) const;

  // An embedded store whose parent has no service in the profile: of the parent only the provider's
  // section is left, with an entry ID that no store has.
  Service AddOrphan(const std::wstring& address, const StoreOptions& options = {}) const;

  // Removes a service as MAPI would. The store file stays.
  bool Remove(const Uid& service) const { return DeleteService(name_, service); }

  // All services in table order; the first whose address is `address` (compared without the case of
  // A to Z); the one with the UID.
  std::vector<Service> Services() const;
  std::optional<Service> Find(std::wstring_view address) const;
  std::optional<Service> Get(const Uid& service) const;

  // The file that a store's messages are in: its own, or that of the store it is embedded in. Empty
  // when the profile names none.
  std::wstring FileOf(const Service& service) const;

  // Sets the corruption mark of a store; none removes it. False when the service has no store.
  bool Mark(const Uid& service, std::optional<uint32_t> mark) const;

  // A listing for people: services in table order with address, path, size, health, entry ID.
  std::string Describe() const;

 private:
  std::wstring name_;
};

// The listing of every profile.
std::string DescribeInstallation();

}  // namespace lab
