#include "lab/common/profile_registry.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "lab/common/registry_key.h"
#include "lab/common/session_mutex.h"

namespace lab {
namespace {

constexpr wchar_t kCurVerKey[] = L"Outlook.Application\\CurVer";
constexpr wchar_t kUserClasses[] = L"Software\\Classes\\";
constexpr wchar_t kOldProfilesKey[] =
    L"Software\\Microsoft\\Windows NT\\CurrentVersion\\Windows Messaging Subsystem\\Profiles";
// The first version that keeps its profiles below its own key.
constexpr unsigned kFirstOwnProfilesMajor = 15;

SessionMutex g_profilesMutex(L"Local\\QrvLabProfiles");

RegistryKey OpenSection(const std::wstring& profile, const Uid& section) {
  return RegistryKey::OpenExisting(HKEY_CURRENT_USER, SectionKeyPath(profile, section));
}

RegistryKey CreateSection(const std::wstring& profile, const Uid& section) {
  return RegistryKey::Create(HKEY_CURRENT_USER, SectionKeyPath(profile, section));
}

std::wstring ProfileKeyPath(const std::wstring& profile) {
  return ProfilesKeyPath() + L'\\' + profile;
}

bool WriteDefaultValue(HKEY parent, const std::wstring& path, const std::wstring& text) {
  RegistryKey key = RegistryKey::Create(parent, path);
  return key.Open() && key.Write(L"", TextValue(text, REG_SZ));
}

bool RemoveFromUidList(const std::wstring& profile, const Uid& section, uint32_t tag,
                       const std::vector<Uid>& gone) {
  std::vector<Uid> uids = ReadUidList(profile, section, tag);
  const auto end = std::remove_if(uids.begin(), uids.end(), [&](const Uid& uid) {
    return std::find(gone.begin(), gone.end(), uid) != gone.end();
  });
  if (end == uids.end()) return false;
  uids.erase(end, uids.end());
  return WriteUidList(profile, section, tag, uids);
}

}  // namespace

OutlookVersion ReadOutlookVersion() {
  OutlookVersion version;
  RegistryKey key = RegistryKey::OpenExisting(HKEY_CLASSES_ROOT, kCurVerKey);
  const auto value = key.Open() ? key.Read(L"") : std::nullopt;
  if (!value || value->type != REG_SZ) return version;
  const std::string text = FoldAscii(NarrowFromWide(TextOf(*value)));
  OutlookVersion read{0, 0};
  if (std::sscanf(text.c_str(), "outlook.application.%u.%u", &read.major, &read.minor) < 1) {
    return version;
  }
  return read;
}

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

std::wstring ProfilesKeyPath() {
  const OutlookVersion version = ReadOutlookVersion();
  if (version.major < kFirstOwnProfilesMajor) return kOldProfilesKey;
  return L"Software\\Microsoft\\Office\\" + std::to_wstring(version.major) + L'.' +
         std::to_wstring(version.minor) + L"\\Outlook\\Profiles";
}

std::wstring SectionKeyPath(const std::wstring& profile, const Uid& section) {
  return ProfileKeyPath(profile) + L'\\' + WideFromUtf8(UidText(section));
}

std::wstring ValueName(uint32_t tag) {
  char name[16];
  std::snprintf(name, sizeof(name), "%04x%04x", tag & 0xFFFF, tag >> 16);
  return WideFromUtf8(name);
}

bool ProfileExists(const std::wstring& profile) {
  return !profile.empty() &&
         RegistryKey::OpenExisting(HKEY_CURRENT_USER, ProfileKeyPath(profile)).Open();
}

bool CreateProfile(const std::wstring& profile) {
  if (ProfileExists(profile)) return true;
  return WriteText(profile, kAdminSectionUid, kTagProfileName, profile);
}

bool DeleteProfile(const std::wstring& profile) {
  return !profile.empty() && DeleteKeyTree(HKEY_CURRENT_USER, ProfileKeyPath(profile));
}

std::vector<std::wstring> ListProfiles() {
  RegistryKey key = RegistryKey::OpenExisting(HKEY_CURRENT_USER, ProfilesKeyPath());
  return key.Open() ? key.SubkeyNames() : std::vector<std::wstring>();
}

bool SectionExists(const std::wstring& profile, const Uid& section) {
  return OpenSection(profile, section).Open();
}

std::vector<Uid> ListSections(const std::wstring& profile) {
  std::vector<Uid> sections;
  RegistryKey key = RegistryKey::OpenExisting(HKEY_CURRENT_USER, ProfileKeyPath(profile));
  if (!key.Open()) return sections;
  for (const std::wstring& name : key.SubkeyNames()) {
    if (const auto uid = UidFromText(Utf8FromWide(name))) sections.push_back(*uid);
  }
  return sections;
}

bool DeleteSection(const std::wstring& profile, const Uid& section) {
  return DeleteKeyTree(HKEY_CURRENT_USER, SectionKeyPath(profile, section));
}

std::optional<RawValue> ReadRawValue(const std::wstring& profile, const Uid& section,
                                     uint32_t tag) {
  RegistryKey key = OpenSection(profile, section);
  return key.Open() ? key.Read(ValueName(tag)) : std::nullopt;
}

bool WriteRawValue(const std::wstring& profile, const Uid& section, uint32_t tag,
                   const RawValue& value) {
  RegistryKey key = CreateSection(profile, section);
  return key.Open() && key.Write(ValueName(tag), value);
}

bool RemoveRawValue(const std::wstring& profile, const Uid& section, uint32_t tag) {
  RegistryKey key = RegistryKey::OpenExisting(HKEY_CURRENT_USER, SectionKeyPath(profile, section),
                                              KEY_ALL_ACCESS);
  return !key.Open() || key.Remove(ValueName(tag));
}

std::vector<std::pair<uint32_t, RawValue>> ReadSection(const std::wstring& profile,
                                                       const Uid& section) {
  std::vector<std::pair<uint32_t, RawValue>> values;
  RegistryKey key = OpenSection(profile, section);
  if (!key.Open()) return values;
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
  RawValue value;
  value.data.resize(sizeof(number));
  std::memcpy(value.data.data(), &number, sizeof(number));
  return WriteRawValue(profile, section, tag, value);
}

bool WriteBinary(const std::wstring& profile, const Uid& section, uint32_t tag,
                 const Bytes& bytes) {
  RawValue value;
  value.data = bytes;
  return WriteRawValue(profile, section, tag, value);
}

std::optional<std::wstring> ReadText(const std::wstring& profile, const Uid& section,
                                     uint32_t tag) {
  const auto value = ReadRawValue(profile, section, tag);
  if (!value) return std::nullopt;
  return TextOf(*value);
}

std::optional<uint32_t> ReadLong(const std::wstring& profile, const Uid& section, uint32_t tag) {
  const auto value = ReadRawValue(profile, section, tag);
  uint32_t number = 0;
  if (!value || value->data.size() < sizeof(number)) return std::nullopt;
  std::memcpy(&number, value->data.data(), sizeof(number));
  return number;
}

Bytes ReadBinary(const std::wstring& profile, const Uid& section, uint32_t tag) {
  const auto value = ReadRawValue(profile, section, tag);
  return value ? value->data : Bytes();
}

std::vector<Uid> ReadUidList(const std::wstring& profile, const Uid& section, uint32_t tag) {
  const Bytes bytes = ReadBinary(profile, section, tag);
  std::vector<Uid> uids(bytes.size() / sizeof(Uid));
  if (!uids.empty()) std::memcpy(uids.data(), bytes.data(), uids.size() * sizeof(Uid));
  return uids;
}

bool WriteUidList(const std::wstring& profile, const Uid& section, uint32_t tag,
                  const std::vector<Uid>& uids) {
  Bytes bytes;
  for (const Uid& uid : uids) bytes.insert(bytes.end(), uid.begin(), uid.end());
  return WriteBinary(profile, section, tag, bytes);
}

bool DeleteService(const std::wstring& profile, const Uid& service) {
  bool deleted = false;
  WithProfilesLocked([&] {
    const std::vector<Uid> providers = ReadUidList(profile, service, kTagProviderUids);
    if (!RemoveFromUidList(profile, kAdminSectionUid, kTagServiceUids, {service})) return;
    RemoveFromUidList(profile, kAdminSectionUid, kTagProviderUids, providers);
    for (const Uid& provider : providers) DeleteSection(profile, provider);
    deleted = DeleteSection(profile, service);
  });
  return deleted;
}

void WithProfilesLocked(const std::function<void()>& change) {
  const std::lock_guard lock(g_profilesMutex);
  change();
}

}  // namespace lab
