// A profile section as an object.
#pragma once

#include <string>

#include "lab/common/entry_id.h"
#include "lab/mapi/properties.h"
#include "lab/mapi/stubs.h"

namespace lab {

class ProfileSection final : public PropStubs<IProfSect> {
 public:
  // The section need not exist: it is then empty.
  ProfileSection(std::string madeBy, std::wstring profile, const Uid& uid);

  STDMETHODIMP GetProps(LPSPropTagArray tags, ULONG flags, ULONG* count,
                        LPSPropValue* values) override;

  // HrGetOneProp: the property in a buffer of its own, or the error that stands in its place.
  HRESULT GetOne(const std::string& madeBy, ULONG tag, LPSPropValue* value) const;

  // "ProviderSection", "ServiceSection", "AdminSection" or "OtherSection".
  const std::string& Kind() const { return kind_; }

 private:
  // The property, or PT_ERROR when the section lacks it or the fault plan says so.
  Property Read(ULONG tag) const;

  const std::wstring profile_;
  const Uid uid_;
  const std::string kind_;
};

// What kind of section `uid` names; see ProfileSection::Kind.
const char* SectionKind(const std::wstring& profile, const Uid& uid);

// Opens a section for IMsgServiceAdmin::OpenProfileSection and its likes. A section that does not
// exist opens only for writing; a provider's needs MAPI_FORCE_ACCESS.
HRESULT OpenSection(const std::string& madeBy, const std::wstring& profile, const Uid& uid,
                    ULONG flags, LPPROFSECT* section);

// MAPI_FORCE_ACCESS, which the platform's headers lack: open what belongs to a provider.
inline constexpr ULONG kForceAccess = 0x00080000;

}  // namespace lab
