// Profile administration: profiles, their services, their providers.
#pragma once

#include <string>

#include "lab/common/entry_id.h"
#include "lab/mapi/object.h"

namespace lab {

class ProfAdmin final : public MapiObject<IProfAdmin> {
 public:
  STDMETHODIMP GetProfileTable(ULONG flags, LPMAPITABLE* table) override;
  STDMETHODIMP AdminServices(LPTSTR profile, LPTSTR password, ULONG_PTR parent, ULONG flags,
                             LPSERVICEADMIN* admin) override;

  // What no program is expected to need.
  LAB_REFUSE(GetLastError, (HRESULT, ULONG, LPMAPIERROR*))
  LAB_REFUSE(CreateProfile, (LPTSTR, LPTSTR, ULONG_PTR, ULONG))
  LAB_REFUSE(DeleteProfile, (LPTSTR, ULONG))
  LAB_REFUSE(ChangeProfilePassword, (LPTSTR, LPTSTR, LPTSTR, ULONG))
  LAB_REFUSE(CopyProfile, (LPTSTR, LPTSTR, LPTSTR, ULONG_PTR, ULONG))
  LAB_REFUSE(RenameProfile, (LPTSTR, LPTSTR, LPTSTR, ULONG_PTR, ULONG))
  LAB_REFUSE(SetDefaultProfile, (LPTSTR, ULONG))
};

// Of what services can be told through ConfigureMsgService the connector knows one thing: to
// compact a store.
class ServiceAdmin final : public MapiObject<IMsgServiceAdmin> {
 public:
  explicit ServiceAdmin(std::wstring profile) : profile_(std::move(profile)) {}

  STDMETHODIMP GetMsgServiceTable(ULONG flags, LPMAPITABLE* table) override;
  STDMETHODIMP DeleteMsgService(LPMAPIUID service) override;
  STDMETHODIMP ConfigureMsgService(LPMAPIUID service, ULONG_PTR parent, ULONG flags, ULONG count,
                                   LPSPropValue properties) override;
  STDMETHODIMP OpenProfileSection(LPMAPIUID uid, LPCIID iid, ULONG flags,
                                  LPPROFSECT* section) override;
  STDMETHODIMP AdminProviders(LPMAPIUID service, ULONG flags, LPPROVIDERADMIN* admin) override;
  STDMETHODIMP GetProviderTable(ULONG flags, LPMAPITABLE* table) override;

  // What no program is expected to need.
  LAB_REFUSE(GetLastError, (HRESULT, ULONG, LPMAPIERROR*))
  LAB_REFUSE(CreateMsgService, (LPTSTR, LPTSTR, ULONG_PTR, ULONG))
  LAB_REFUSE(CopyMsgService, (LPMAPIUID, LPTSTR, LPCIID, LPCIID, LPVOID, ULONG_PTR, ULONG))
  LAB_REFUSE(RenameMsgService, (LPMAPIUID, ULONG, LPTSTR))
  LAB_REFUSE(MsgServiceTransportOrder, (ULONG, LPMAPIUID, ULONG))
  LAB_REFUSE(SetPrimaryIdentity, (LPMAPIUID, ULONG))

 private:
  const std::wstring profile_;
};

class ProviderAdmin final : public MapiObject<IProviderAdmin> {
 public:
  ProviderAdmin(std::wstring profile, const Uid& service)
      : profile_(std::move(profile)), service_(service) {}

  STDMETHODIMP GetProviderTable(ULONG flags, LPMAPITABLE* table) override;
  STDMETHODIMP OpenProfileSection(LPMAPIUID uid, LPCIID iid, ULONG flags,
                                  LPPROFSECT* section) override;

  // What no program is expected to need.
  LAB_REFUSE(GetLastError, (HRESULT, ULONG, LPMAPIERROR*))
  LAB_REFUSE(CreateProvider, (LPTSTR, ULONG, LPSPropValue, ULONG, ULONG, MAPIUID*))
  LAB_REFUSE(DeleteProvider, (LPMAPIUID))

 private:
  const std::wstring profile_;
  const Uid service_;
};

// A string parameter that is wide when `flags` holds MAPI_UNICODE; null gives an empty one.
std::wstring TextParameter(LPCTSTR text, ULONG flags);

}  // namespace lab
