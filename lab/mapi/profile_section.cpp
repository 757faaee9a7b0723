#include "lab/mapi/profile_section.h"

#include <utility>
#include <vector>

#include "lab/common/profile_registry.h"
#include "lab/mapi/buffers.h"
#include "lab/mapi/runtime.h"

namespace lab {
namespace {

bool IsProviderSection(const std::wstring& profile, const Uid& uid) {
  return ReadRawValue(profile, uid, PR_PROVIDER_UID).has_value();
}

std::vector<Property> ReadAll(const SPropTagArray& tags,
                              const std::function<Property(ULONG)>& read) {
  std::vector<Property> properties;
  for (ULONG i = 0; i < tags.cValues; ++i) properties.push_back(read(tags.aulPropTag[i]));
  return properties;
}

// Hands out the properties; tells whether one of them is an error.
bool HandOut(const std::vector<Property>& properties, const std::string& madeBy, ULONG* count,
             LPSPropValue* values) {
  bool errors = false;
  auto* array =
      static_cast<LPSPropValue>(AllocateBuffer(properties.size() * sizeof(SPropValue), madeBy));
  for (size_t i = 0; i < properties.size(); ++i) {
    FillPropValue(properties[i], array, &array[i]);
    errors = errors || PROP_TYPE(properties[i].tag) == PT_ERROR;
  }
  *values = array;
  *count = static_cast<ULONG>(properties.size());
  return errors;
}

}  // namespace

ProfileSection::ProfileSection(std::string madeBy, std::wstring profile, const Uid& uid)
    : PropStubs(std::move(madeBy)),
      profile_(std::move(profile)),
      uid_(uid),
      kind_(SectionKind(profile_, uid)) {}

const char* SectionKind(const std::wstring& profile, const Uid& uid) {
  if (uid == kAdminSectionUid) return "AdminSection";
  if (IsProviderSection(profile, uid)) return "ProviderSection";
  return ReadRawValue(profile, uid, PR_SERVICE_UID) ? "ServiceSection" : "OtherSection";
}

Property ProfileSection::Read(ULONG tag) const {
  const auto answer = Runtime::Get().Faults().NextValue(kind_ + ".Prop." + TagText(tag));
  if (answer.fails) return ErrorProperty(tag, static_cast<HRESULT>(answer.result));
  auto property = ReadSectionProperty(profile_, uid_, tag);
  return property ? std::move(*property) : ErrorProperty(tag, MAPI_E_NOT_FOUND);
}

STDMETHODIMP ProfileSection::GetProps(LPSPropTagArray tags, ULONG flags, ULONG* count,
                                      LPSPropValue* values) {
  Call call(CallName("GetProps"), this);
  call.On(kind_)
      .Binary("section", uid_.data(), uid_.size())
      .Tags("tags", tags)
      .Flags(flags, MAPI_UNICODE);
  call.OutNumber(count).Out(values);
  return call.Run([&] {
    std::vector<Property> properties =
        tags == nullptr ? ReadSectionProperties(profile_, uid_)
                        : ReadAll(*tags, [this](ULONG tag) { return Read(tag); });
    properties.resize(Runtime::Get().AnsweredCount(kind_ + ".PropCount", properties.size()));
    return HandOut(properties, call.Name(), count, values) ? MAPI_W_ERRORS_RETURNED : S_OK;
  });
}

HRESULT ProfileSection::GetOne(const std::string& madeBy, ULONG tag, LPSPropValue* value) const {
  const Property property = Read(tag);
  if (PROP_TYPE(property.tag) == PT_ERROR) return static_cast<HRESULT>(property.number);
  ULONG count = 0;
  HandOut({property}, madeBy, &count, value);
  return S_OK;
}

HRESULT OpenSection(const std::string& madeBy, const std::wstring& profile, const Uid& uid,
                    ULONG flags, LPPROFSECT* section) {
  if (!SectionExists(profile, uid) && !(flags & MAPI_MODIFY)) return MAPI_E_NOT_FOUND;
  if (IsProviderSection(profile, uid) && !(flags & kForceAccess)) return MAPI_E_NO_ACCESS;
  *section = new ProfileSection(madeBy, profile, uid);
  return S_OK;
}

}  // namespace lab
