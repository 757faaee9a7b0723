#include "lab/mapi/profile_section.h"

#include <mapiutil.h>

#include <algorithm>
#include <vector>

#include "lab/com/runtime.h"
#include "lab/common/profile_registry.h"
#include "lab/mapi/buffers.h"

namespace lab {
namespace {

// MAPI_FORCE_ACCESS, which the platform's headers lack: open what belongs to a provider.
constexpr ULONG kForceAccess = 0x00080000;

constexpr ULONG kSectionFlags = MAPI_MODIFY | MAPI_DEFERRED_ERRORS | kForceAccess;

bool IsProviderSection(const std::wstring& profile, const Uid& uid) {
  return ReadRawValue(profile, uid, PR_PROVIDER_UID).has_value();
}

// What kind of section `uid` names; see ProfileSection::Kind.
const char* SectionKind(const std::wstring& profile, const Uid& uid) {
  if (uid == kAdminSectionUid) return "AdminSection";
  if (IsProviderSection(profile, uid)) return "ProviderSection";
  return ReadRawValue(profile, uid, PR_SERVICE_UID) ? "ServiceSection" : "OtherSection";
}

// A buffer with the properties.
LPSPropValue MakeValues(const std::vector<Property>& properties, const std::string& madeBy) {
  auto* values =
      static_cast<LPSPropValue>(AllocateBuffer(properties.size() * sizeof(SPropValue), madeBy));
  for (size_t i = 0; i < properties.size(); ++i) FillPropValue(properties[i], values, &values[i]);
  return values;
}

bool IsError(const Property& property) { return PROP_TYPE(property.tag) == PT_ERROR; }

}  // namespace

ProfileSection::ProfileSection(std::wstring profile, const Uid& uid)
    : profile_(std::move(profile)), uid_(uid), kind_(SectionKind(profile_, uid)) {}

Property ProfileSection::Read(ULONG tag) const {
  if (const auto planned = Runtime::Get().Planned(kind_ + ".Prop." + TagText(tag))) {
    return ErrorProperty(tag, static_cast<HRESULT>(*planned));
  }
  auto property = ReadSectionProperty(profile_, uid_, tag);
  return property ? std::move(*property) : ErrorProperty(tag, MAPI_E_NOT_FOUND);
}

STDMETHODIMP ProfileSection::GetProps(LPSPropTagArray tags, ULONG flags, ULONG* count,
                                      LPSPropValue* values) {
  Call call("IProfSect::GetProps", this);
  call.On(kind_).Binary("section", uid_.data(), uid_.size()).Words("tags", DescribeTags(tags));
  call.Flags(flags, MAPI_UNICODE).Out(count).Out(values).Require(tags, "no tags");
  return call.Run([&] {
    std::vector<Property> properties;
    for (ULONG i = 0; i < tags->cValues; ++i) properties.push_back(Read(tags->aulPropTag[i]));
    properties.resize(AnsweredCount(kind_ + ".PropCount", properties.size()));
    *values = MakeValues(properties, call.Name());
    *count = static_cast<ULONG>(properties.size());
    const bool errors = std::any_of(properties.begin(), properties.end(), IsError);
    return errors ? MAPI_W_ERRORS_RETURNED : S_OK;
  });
}

HRESULT ProfileSection::GetOne(const std::string& madeBy, ULONG tag, LPSPropValue* value) const {
  const Property property = Read(tag);
  if (IsError(property)) return static_cast<HRESULT>(property.number);
  *value = MakeValues({property}, madeBy);
  return S_OK;
}

HRESULT OpenSection(Call& call, const std::wstring& profile, const SectionRequest& request) {
  const Uid uid = request.uid ? UidFromMapi(*request.uid) : Uid();
  if (request.uid) call.On(SectionKind(profile, uid));
  call.Binary("uid", request.uid, sizeof(MAPIUID)).Asks<IProfSect>(request.iid);
  call.Flags(request.flags, kSectionFlags).Out(request.section).Require(request.uid, "no UID");
  return call.Run([&] {
    if (!SectionExists(profile, uid) && !(request.flags & MAPI_MODIFY)) return MAPI_E_NOT_FOUND;
    if (IsProviderSection(profile, uid) && !(request.flags & kForceAccess)) return MAPI_E_NO_ACCESS;
    return call.HandOut(request.section, new ProfileSection(profile, uid));
  });
}

}  // namespace lab
