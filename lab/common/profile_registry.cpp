#include "lab/common/profile_registry.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "lab/common/lab_config.h"
#include "lab/common/registry_key.h"

namespace lab {
namespace {

constexpr wchar_t kCurVerKey[] = L"Outlook.Application\\CurVer";
constexpr wchar_t kUserClasses[] = L"Software\\Classes\\";
constexpr wchar_t kOldProfilesKey[] =
    L"Software\\Microsoft\\Windows NT\\CurrentVersion\\Windows Messaging Subsystem\\Profiles";
// The first version that keeps its profiles below its own key.
constexpr unsigned kFirstOwnProfilesMajor = 15;

SessionMutex g_profilesMutex(L"Local\\QrvLabProfiles");

// In any letter case; what cannot be read counts as none.
OutlookVersion ReadOutlookVersion() {
  const auto value = RegistryKey::OpenExisting(HKEY_CLASSES_ROOT, kCurVerKey).Read(L"");
  OutlookVersion version{0, 0};
  const std::string text = FoldAscii(NarrowFromWide(value ? TextOf(*value) : L""));
  const int read =
      std::sscanf(text.c_str(), "outlook.application.%u.%u", &version.major, &version.minor);
  return read >= 1 && value->type == REG_SZ ? version : OutlookVersion();
}

// The key below HKEY_CURRENT_USER that holds the profiles.
std::wstring ProfilesKeyPath() {
  const OutlookVersion version = ReadOutlookVersion();
  if (version.major < kFirstOwnProfilesMajor) return kOldProfilesKey;
  return L"Software\\Microsoft\\Office\\" + std::to_wstring(version.major) + L'.' +
         std::to_wstring(version.minor) + L"\\Outlook\\Profiles";
}

std::wstring ProfileKeyPath(const std::wstring& profile) {
  return ProfilesKeyPath() + L'\\' + profile;
}

std::wstring SectionKeyPath(const std::wstring& profile, const Uid& section) {
  return ProfileKeyPath(profile) + L'\\' + WideFromUtf8(UidText(section));
}

// "001f3d09" for 0x3D09001F.
std::wstring ValueName(uint32_t tag) {
  wchar_t name[16];
  std::swprintf(name, std::size(name), L"%04x%04x", tag & 0xFFFF, tag >> 16);
  return name;
}

RegistryKey OpenKey(const std::wstring& path, REGSAM access = KEY_READ) {
  return RegistryKey::OpenExisting(HKEY_CURRENT_USER, path, access);
}

bool WriteDefaultValue(HKEY parent, const std::wstring& path, const std::wstring& text) {
  return RegistryKey::Create(parent, path).Write(L"", TextValue(text, REG_SZ));
}

bool DeleteSection(const std::wstring& profile, const Uid& section) {
  return DeleteKeyTree(HKEY_CURRENT_USER, SectionKeyPath(profile, section));
}

bool RemoveFromUidList(const std::wstring& profile, uint32_t tag, const std::vector<Uid>& gone) {
  std::vector<Uid> uids = ReadUidList(profile, kAdminSectionUid, tag);
  const size_t removed = std::erase_if(
      uids, [&](const Uid& uid) { return std::find(gone.begin(), gone.end(), uid) != gone.end(); });
  return removed != 0 && WriteUidList(profile, kAdminSectionUid, tag, uids);
}

// A value of so many bytes.
RawValue BinaryValue(const void* data, size_t size) {
  const auto* bytes = static_cast<const uint8_t*>(data);
  return {.data = Bytes(bytes, bytes + size)};
}

Bytes ReadBinary(const std::wstring& profile, const Uid& section, uint32_t tag) {
  const auto value = ReadRawValue(profile, section, tag);
  return value ? value->data : Bytes();
}

}  // namespace

bool WriteOutlookVersion(std::optional<OutlookVersion> version) {
  const std::wstring userPath = std::wstring(kUserClasses) + kCurVerKey;
  DeleteKeyTree(HKEY_CURRENT_USER, userPath);
  if (!version) return DeleteKeyTree(HKEY_CLASSES_ROOT, kCurVerKey);
  std::wstring text = L"Outlook.Application." + std::to_wstring(version->major);
  if (version->minor != 0) text += L'.' + std::to_wstring(version->minor);
  // Not every registry shows the user's classes among all classes.
  return WriteDefaultValue(HKEY_CURRENT_USER, userPath, text) &&
         (ReadOutlookVersion() == *version ||
          WriteDefaultValue(HKEY_CLASSES_ROOT, kCurVerKey, text));
}

bool ProfileExists(const std::wstring& profile) {
  return !profile.empty() && OpenKey(ProfileKeyPath(profile)).Open();
}

bool CreateProfile(const std::wstring& profile) {
  return ProfileExists(profile) || WriteText(profile, kAdminSectionUid, PR_PROFILE_NAME_W, profile);
}

bool DeleteProfile(const std::wstring& profile) {
  return !profile.empty() && DeleteKeyTree(HKEY_CURRENT_USER, ProfileKeyPath(profile));
}

std::vector<std::wstring> ListProfiles() { return OpenKey(ProfilesKeyPath()).SubkeyNames(); }

bool SectionExists(const std::wstring& profile, const Uid& section) {
  return OpenKey(SectionKeyPath(profile, section)).Open();
}

std::vector<Uid> ListSections(const std::wstring& profile) {
  std::vector<Uid> sections;
  for (const std::wstring& name : OpenKey(ProfileKeyPath(profile)).SubkeyNames()) {
    if (const auto uid = UidFromText(Utf8FromWide(name))) sections.push_back(*uid);
  }
  return sections;
}

std::optional<RawValue> ReadRawValue(const std::wstring& profile, const Uid& section,
                                     uint32_t tag) {
  return OpenKey(SectionKeyPath(profile, section)).Read(ValueName(tag));
}

bool WriteRawValue(const std::wstring& profile, const Uid& section, uint32_t tag,
                   const RawValue& value) {
  return RegistryKey::Create(HKEY_CURRENT_USER, SectionKeyPath(profile, section))
      .Write(ValueName(tag), value);
}

bool RemoveRawValue(const std::wstring& profile, const Uid& section, uint32_t tag) {
  const RegistryKey key = OpenKey(SectionKeyPath(profile, section), KEY_ALL_ACCESS);
  return !key.Open() || key.Remove(ValueName(tag));
}

std::vector<std::pair<uint32_t, RawValue>> ReadSection(const std::wstring& profile,
                                                       const Uid& section) {
  std::vector<std::pair<uint32_t, RawValue>> values;
  const RegistryKey key = OpenKey(SectionKeyPath(profile, section));
  for (const std::wstring& name : key.ValueNames()) {
    const auto number = ParseNumber("0x" + Utf8FromWide(name));
    auto value = name.size() == 8 && number ? key.Read(name) : std::nullopt;
    if (value) values.emplace_back(*number << 16 | *number >> 16, std::move(*value));
  }
  return values;
}

bool WriteText(const std::wstring& profile, const Uid& section, uint32_t tag,
               std::wstring_view text) {
  return WriteRawValue(profile, section, tag, TextValue(text, REG_BINARY));
}

bool WriteLong(const std::wstring& profile, const Uid& section, uint32_t tag, uint32_t number) {
  return WriteRawValue(profile, section, tag, BinaryValue(&number, sizeof(number)));
}

bool WriteBinary(const std::wstring& profile, const Uid& section, uint32_t tag,
                 const Bytes& bytes) {
  return WriteRawValue(profile, section, tag, {.data = bytes});
}

std::optional<std::wstring> ReadText(const std::wstring& profile, const Uid& section,
                                     uint32_t tag) {
  const auto value = ReadRawValue(profile, section, tag);
  return value ? std::optional(TextOf(*value)) : std::nullopt;
}

std::optional<uint32_t> ReadLong(const std::wstring& profile, const Uid& section, uint32_t tag) {
  const Bytes bytes = ReadBinary(profile, section, tag);
  uint32_t number = 0;
  if (bytes.size() < sizeof(number)) return std::nullopt;
  std::memcpy(&number, bytes.data(), sizeof(number));
  return number;
}

std::vector<Uid> ReadUidList(const std::wstring& profile, const Uid& section, uint32_t tag) {
  const Bytes bytes = ReadBinary(profile, section, tag);
  std::vector<Uid> uids(bytes.size() / sizeof(Uid));
  if (!uids.empty()) std::memcpy(uids.data(), bytes.data(), uids.size() * sizeof(Uid));
  return uids;
}

bool WriteUidList(const std::wstring& profile, const Uid& section, uint32_t tag,
                  const std::vector<Uid>& uids) {
  return WriteRawValue(profile, section, tag, BinaryValue(uids.data(), uids.size() * sizeof(Uid)));
}

bool DeleteService(const std::wstring& profile, const Uid& service) {
  bool deleted = false;
  WithProfilesLocked([&] {
    const std::vector<Uid> providers = ReadUidList(profile, service, PR_STORE_PROVIDERS);
    if (!RemoveFromUidList(profile, PR_SERVICES, {service})) return;
    RemoveFromUidList(profile, PR_STORE_PROVIDERS, providers);
    for (const Uid& provider : providers) DeleteSection(profile, provider);
    deleted = DeleteSection(profile, service);
  });
  return deleted;
}

void WithProfilesLocked(const std::function<void()>& change) {
  const SessionLock lock(g_profilesMutex);
  change();
}

}  // namespace lab
