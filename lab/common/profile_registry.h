// MAPI profiles in the registry, where and how MAPI keeps them.
//
// A profile is a key below the profiles key of HKEY_CURRENT_USER; each profile section is a subkey
// named by its UID in 32 hexadecimal digits; each property of it is a value named by property type
// and property id, four lower-case hexadecimal digits each, with REG_BINARY data: UTF-16 text with
// its terminating zero, 4-byte longs and 2-byte booleans in little-endian order, binary as it is.
#pragma once

#include <windows.h>
// After windows.h.
#include <mapidefs.h>
#include <mapitags.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "lab/common/entry_id.h"
#include "lab/common/text.h"

namespace lab {

// Property tags of the profile sections that the platform's headers do not name.
inline constexpr ULONG kTagStorePath = 0x6700001F;
inline constexpr ULONG kTagCorruptionMark = 0x66890003;
inline constexpr ULONG kTagRootAddress = 0x6646001F;   // the owner's address, of the root service
inline constexpr ULONG kTagStoreAddress = 0x6650001F;  // ... and of the other services
// The lab's own, of the administration section.
inline constexpr ULONG kTagLastCounter = 0x6FFE0003;

// The profile's administration section.
inline constexpr Uid kAdminSectionUid = {0x92, 0x07, 0xF3, 0xE0, 0xA3, 0xB1, 0x10, 0x19,
                                         0x90, 0x8B, 0x08, 0x00, 0x2B, 0x2A, 0x56, 0xC2};

struct OutlookVersion {
  unsigned major = 11;
  unsigned minor = 0;

  bool operator==(const OutlookVersion&) const = default;
};

// Makes the registered classes say that `version` is installed, as the default value
// "Outlook.Application.<major>[.<minor>]" of HKEY_CLASSES_ROOT\Outlook.Application\CurVer; none
// removes what they say, which then counts as 11.0. The profiles of one version are not those of
// another: set it before making profiles.
bool WriteOutlookVersion(std::optional<OutlookVersion> version);

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
