// A profile section as an object.
#pragma once

#include <string>

#include "lab/common/entry_id.h"
#include "lab/mapi/object.h"
#include "lab/mapi/properties.h"

namespace lab {

class ProfileSection final : public PropObject<IProfSect> {
 public:
  // The section need not exist: it is then empty.
  ProfileSection(std::wstring profile, const Uid& uid);

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

// The arguments of IMsgServiceAdmin::OpenProfileSection and its likes.
struct SectionRequest {
  const MAPIUID* uid;
  const IID* iid;
  ULONG flags;
  LPPROFSECT* section;
};

// The whole of such a call. A section that does not exist opens only for writing; a provider's
// needs MAPI_FORCE_ACCESS.
HRESULT OpenSection(Call& call, const std::wstring& profile, const SectionRequest& request);

}  // namespace lab
