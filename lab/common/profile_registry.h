// MAPI profiles in the registry, where and how MAPI keeps them.
//
// A profile is a key below the profiles key of HKEY_CURRENT_USER; each profile section is a subkey
// named by its UID in 32 hexadecimal digits; each property of it is a value named by property type
// and property id, four lower-case hexadecimal digits each, with REG_BINARY data: UTF-16 text with
// its terminating zero, 4-byte longs and 2-byte booleans in little-endian order, binary as it is.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "lab/common/entry_id.h"
#include "lab/common/text.h"

namespace lab {

// Property tags that the profile sections hold. The last four digits are the type.
inline constexpr uint32_t kTagServiceName = 0x3D09001F;
inline constexpr uint32_t kTagServiceUid = 0x3D0C0102;
inline constexpr uint32_t kTagServiceUids = 0x3D0E0102;  // of the administration section
inline constexpr uint32_t kTagProviderUids =
    0x3D000102;  // of a service, and of all store providers
inline constexpr uint32_t kTagProviderUid = 0x300C0102;
inline constexpr uint32_t kTagDisplayName = 0x3001001F;
inline constexpr uint32_t kTagResourceType = 0x3E030003;
inline constexpr uint32_t kTagResourceFlags = 0x30090003;
inline constexpr uint32_t kTagEntryId = 0x0FFF0102;
inline constexpr uint32_t kTagStorePath = 0x6700001F;
inline constexpr uint32_t kTagCorruptionMark = 0x66890003;
inline constexpr uint32_t kTagRootAddress = 0x6646001F;  // the owner's address, of the root service
inline constexpr uint32_t kTagStoreAddress = 0x6650001F;  // ... and of the other services
inline constexpr uint32_t kTagProfileName = 0x3D12001F;
inline constexpr uint32_t kTagLastCounter =
    0x6FFE0003;  // the lab's own, of the administration section

// STATUS_DEFAULT_STORE of the resource flags.
inline constexpr uint32_t kStatusDefaultStore = 0x00000001;

// The profile's administration section.
inline constexpr Uid kAdminSectionUid = {0x92, 0x07, 0xF3, 0xE0, 0xA3, 0xB1, 0x10, 0x19,
                                         0x90, 0x8B, 0x08, 0x00, 0x2B, 0x2A, 0x56, 0xC2};

struct OutlookVersion {
  unsigned major = 11;
  unsigned minor = 0;

  bool operator==(const OutlookVersion&) const = default;
};

// From the default value of HKEY_CLASSES_ROOT\Outlook.Application\CurVer,
// "Outlook.Application.<major>[.<minor>]" in any letter case; 11.0 when there is none.
OutlookVersion ReadOutlookVersion();

// Makes the registered classes say that `version` is installed; none removes what they say.
// The profiles of one version are not those of another: set it before making profiles.
bool WriteOutlookVersion(std::optional<OutlookVersion> version);

// The key below HKEY_CURRENT_USER that holds the profiles, without a trailing backslash.
std::wstring ProfilesKeyPath();
// The key of a section of a profile.
std::wstring SectionKeyPath(const std::wstring& profile, const Uid& section);
// The name of a property's value: "001f3d09" for 0x3D09001F.
std::wstring ValueName(uint32_t tag);

// A registry value as it is.
struct RawValue {
  uint32_t type = 3;  // REG_BINARY
  Bytes data;
};

bool ProfileExists(const std::wstring& profile);
// False when the registry refuses. Creating one that exists changes nothing.
bool CreateProfile(const std::wstring& profile);
bool DeleteProfile(const std::wstring& profile);
// In the order in which the registry enumerates them.
std::vector<std::wstring> ListProfiles();

bool SectionExists(const std::wstring& profile, const Uid& section);
// In the order in which the registry enumerates them; keys that are no UID are left out.
std::vector<Uid> ListSections(const std::wstring& profile);
bool DeleteSection(const std::wstring& profile, const Uid& section);

// Values of a section. Writing creates the section; removing what is not there succeeds.
std::optional<RawValue> ReadRawValue(const std::wstring& profile, const Uid& section, uint32_t tag);
bool WriteRawValue(const std::wstring& profile, const Uid& section, uint32_t tag,
                   const RawValue& value);
bool RemoveRawValue(const std::wstring& profile, const Uid& section, uint32_t tag);
// All of a section's values with their tags.
std::vector<std::pair<uint32_t, RawValue>> ReadSection(const std::wstring& profile,
                                                       const Uid& section);

// The same with the data made from, or read as, the property's type.
bool WriteText(const std::wstring& profile, const Uid& section, uint32_t tag,
               std::wstring_view text);
bool WriteLong(const std::wstring& profile, const Uid& section, uint32_t tag, uint32_t number);
bool WriteBinary(const std::wstring& profile, const Uid& section, uint32_t tag, const Bytes& bytes);
std::optional<std::wstring> ReadText(const std::wstring& profile, const Uid& section, uint32_t tag);
std::optional<uint32_t> ReadLong(const std::wstring& profile, const Uid& section, uint32_t tag);
Bytes ReadBinary(const std::wstring& profile, const Uid& section, uint32_t tag);

// A property of concatenated UIDs as a list; a remainder of fewer than 16 bytes is left out.
std::vector<Uid> ReadUidList(const std::wstring& profile, const Uid& section, uint32_t tag);
bool WriteUidList(const std::wstring& profile, const Uid& section, uint32_t tag,
                  const std::vector<Uid>& uids);

// Deletes a service: its section, its providers' sections and their places in the lists.
// False when the profile has no such service.
bool DeleteService(const std::wstring& profile, const Uid& service);

// Runs `change` while no other thread or process of the lab changes a profile.
void WithProfilesLocked(const std::function<void()>& change);

}  // namespace lab
