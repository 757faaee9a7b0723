// Profile administration: profiles, their services, their providers.
#pragma once

#include <string>

#include "lab/common/entry_id.h"
#include "lab/mapi/stubs.h"

namespace lab {

class ProfAdmin final : public ProfAdminStubs<IProfAdmin> {
 public:
  using ProfAdminStubs::ProfAdminStubs;

  STDMETHODIMP GetProfileTable(ULONG flags, LPMAPITABLE* table) override;
  STDMETHODIMP AdminServices(LPTSTR profile, LPTSTR password, ULONG_PTR parent, ULONG flags,
                             LPSERVICEADMIN* admin) override;
};

// Of what services can be told through ConfigureMsgService the connector knows one thing: to
// compact a store.
class ServiceAdmin final : public ServiceAdminStubs<IMsgServiceAdmin> {
 public:
  ServiceAdmin(std::string madeBy, std::wstring profile);

  STDMETHODIMP GetMsgServiceTable(ULONG flags, LPMAPITABLE* table) override;
  STDMETHODIMP DeleteMsgService(LPMAPIUID service) override;
  STDMETHODIMP ConfigureMsgService(LPMAPIUID service, ULONG_PTR parent, ULONG flags, ULONG count,
                                   LPSPropValue properties) override;
  STDMETHODIMP OpenProfileSection(LPMAPIUID uid, LPCIID iid, ULONG flags,
                                  LPPROFSECT* section) override;
  STDMETHODIMP AdminProviders(LPMAPIUID service, ULONG flags, LPPROVIDERADMIN* admin) override;
  STDMETHODIMP GetProviderTable(ULONG flags, LPMAPITABLE* table) override;

 private:
  const std::wstring profile_;
};

class ProviderAdmin final : public ProviderAdminStubs<IProviderAdmin> {
 public:
  ProviderAdmin(std::string madeBy, std::wstring profile, const Uid& service);

  STDMETHODIMP GetProviderTable(ULONG flags, LPMAPITABLE* table) override;
  STDMETHODIMP OpenProfileSection(LPMAPIUID uid, LPCIID iid, ULONG flags,
                                  LPPROFSECT* section) override;

 private:
  const std::wstring profile_;
  const Uid service_;
};

// A string parameter that is wide when `flags` holds MAPI_UNICODE; null gives an empty one.
std::wstring TextParameter(LPCTSTR text, ULONG flags);

}  // namespace lab
