#include "lab/mapi/administration.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "lab/common/installation.h"
#include "lab/common/profile_registry.h"
#include "lab/mapi/compaction.h"
#include "lab/mapi/connector.h"
#include "lab/mapi/profile_section.h"
#include "lab/mapi/property_tags.h"
#include "lab/mapi/table.h"

namespace lab {
namespace {

// Its presence tells the connector's service to compact its store.
constexpr ULONG kCompactionRequest = PROP_TAG(PT_OBJECT, 0x6666);

// MSG_SERVICE_UI_READ_ONLY, which the platform's headers lack, is 8.
constexpr ULONG kConfigureFlags =
    MAPI_UNICODE | SERVICE_UI_ALLOWED | SERVICE_UI_ALWAYS | 0x00000008;
constexpr ULONG kSectionFlags = MAPI_MODIFY | MAPI_DEFERRED_ERRORS | kForceAccess;

// The properties of `section` that a table shows, with the UID under `uidTag`.
PropertyList SectionRow(const std::wstring& profile, const Uid& section, ULONG uidTag) {
  PropertyList row = ReadSectionProperties(profile, section);
  const auto isUid = [&](const Property& property) { return property.tag == uidTag; };
  row.erase(std::remove_if(row.begin(), row.end(), isUid), row.end());
  row.push_back(UidProperty(uidTag, section));
  row.push_back(UidProperty(kInstanceKey, section));
  return row;
}

std::vector<PropertyList> SectionRows(const std::wstring& profile, const std::vector<Uid>& sections,
                                      ULONG uidTag) {
  std::vector<PropertyList> rows;
  for (const Uid& section : sections) rows.push_back(SectionRow(profile, section, uidTag));
  return rows;
}

LPMAPITABLE MakeProviderTable(const std::string& madeBy, const std::wstring& profile,
                              const std::vector<Uid>& providers) {
  return new Table(madeBy, "ProviderTable",
                   {kInstanceKey, PR_PROVIDER_UID, PR_RESOURCE_TYPE, PR_SERVICE_UID, kDisplayNameA},
                   SectionRows(profile, providers, PR_PROVIDER_UID));
}

std::vector<Uid> ServicesOf(const std::wstring& profile) {
  return ReadUidList(profile, kAdminSectionUid, PR_SERVICES);
}

bool HasService(const std::wstring& profile, const Uid& service) {
  const std::vector<Uid> services = ServicesOf(profile);
  return std::find(services.begin(), services.end(), service) != services.end();
}

HRESULT RunOpenSection(Call& call, const std::wstring& profile, LPMAPIUID uid, LPCIID iid,
                       ULONG flags, LPPROFSECT* section) {
  if (uid != nullptr) call.On(SectionKind(profile, UidFromMapi(*uid)));
  call.Uid("uid", uid).Iid("iid", iid).Flags(flags, kSectionFlags).Out(section);
  call.Require(uid != nullptr, "no UID");
  RequireInterface<IProfSect>(call, iid);
  return call.Run(
      [&] { return OpenSection(call.Name(), profile, UidFromMapi(*uid), flags, section); });
}

// The address of the service's mailbox, or empty.
std::wstring AddressOf(const std::wstring& profile, const Uid& service) {
  const auto found = Profile(profile).Get(service);
  return found ? found->address.value_or(L"") : std::wstring();
}

}  // namespace

std::wstring TextParameter(LPCTSTR text, ULONG flags) {
  if (text == nullptr) return {};
  if (flags & MAPI_UNICODE) return reinterpret_cast<const wchar_t*>(text);
  return WideFromNarrow(reinterpret_cast<const char*>(text));
}

STDMETHODIMP ProfAdmin::GetProfileTable(ULONG flags, LPMAPITABLE* table) {
  Call call(CallName("GetProfileTable"), this);
  call.Flags(flags, 0).Out(table);
  return call.Run([&] {
    std::vector<PropertyList> rows;
    for (const std::wstring& name : ListProfiles()) {
      rows.push_back({TextProperty(kDisplayNameA, name), NumberProperty(kDefaultProfile, 0)});
    }
    *table = new Table(call.Name(), "ProfileTable", {kDisplayNameA, kDefaultProfile}, rows);
    return S_OK;
  });
}

STDMETHODIMP ProfAdmin::AdminServices(LPTSTR profile, LPTSTR password, ULONG_PTR parent,
                                      ULONG flags, LPSERVICEADMIN* admin) {
  Call call(CallName("AdminServices"), this);
  call.Text("profile", profile, flags).Text("password", password, flags).Number("parent", parent);
  call.Flags(flags, MAPI_DIALOG | MAPI_UNICODE).Out(admin);
  return call.Run([&] {
    const std::wstring name = TextParameter(profile, flags);
    if (!ProfileExists(name)) return MAPI_E_NOT_FOUND;
    *admin = new ServiceAdmin(call.Name(), name);
    return S_OK;
  });
}

ServiceAdmin::ServiceAdmin(std::string madeBy, std::wstring profile)
    : ServiceAdminStubs(std::move(madeBy)), profile_(std::move(profile)) {}

STDMETHODIMP ServiceAdmin::GetMsgServiceTable(ULONG flags, LPMAPITABLE* table) {
  Call call(CallName("GetMsgServiceTable"), this);
  call.Flags(flags, MAPI_UNICODE).Out(table);
  return call.Run([&] {
    *table = new Table(call.Name(), "MsgServiceTable",
                       {kInstanceKey, PR_SERVICE_UID, kServiceNameA, kDisplayNameA},
                       SectionRows(profile_, ServicesOf(profile_), PR_SERVICE_UID));
    return S_OK;
  });
}

STDMETHODIMP ServiceAdmin::DeleteMsgService(LPMAPIUID service) {
  Call call(CallName("DeleteMsgService"), this);
  call.Uid("uid", service).Require(service != nullptr, "no UID");
  return call.Run([&] {
    const bool deleted = DeleteService(profile_, UidFromMapi(*service));
    ForgetStores(profile_);
    return deleted ? S_OK : MAPI_E_NOT_FOUND;
  });
}

STDMETHODIMP ServiceAdmin::ConfigureMsgService(LPMAPIUID service, ULONG_PTR parent, ULONG flags,
                                               ULONG count, LPSPropValue properties) {
  Call call(CallName("ConfigureMsgService"), this);
  call.Uid("uid", service).Number("parent", parent);
  call.Flags(flags, kConfigureFlags).Number("count", count);
  call.Words("parent-is", DescribeParentWindow(parent));
  const bool one = count == 1 && properties != nullptr;
  if (one) call.Number("tag", properties->ulPropTag).Number("value", LOWORD(properties->Value.i));
  if (service != nullptr) call.User(AddressOf(profile_, UidFromMapi(*service)));
  call.Require(service != nullptr, "no UID");
  call.Require(flags == SERVICE_UI_ALWAYS, "flags other than SERVICE_UI_ALWAYS");
  call.Require(one && properties->ulPropTag == kCompactionRequest && properties->Value.i == 0,
               "other properties than the request for compaction");
  return call.Run([&] {
    uint64_t gained = 0;
    const HRESULT result = CompactService(profile_, UidFromMapi(*service), &gained);
    call.Words("gained", std::to_string(gained));
    return result;
  });
}

STDMETHODIMP ServiceAdmin::OpenProfileSection(LPMAPIUID uid, LPCIID iid, ULONG flags,
                                              LPPROFSECT* section) {
  Call call(CallName("OpenProfileSection"), this);
  return RunOpenSection(call, profile_, uid, iid, flags, section);
}

STDMETHODIMP ServiceAdmin::AdminProviders(LPMAPIUID service, ULONG flags, LPPROVIDERADMIN* admin) {
  Call call(CallName("AdminProviders"), this);
  call.Uid("uid", service).Flags(flags, 0).Out(admin).Require(service != nullptr, "no UID");
  return call.Run([&] {
    const Uid uid = UidFromMapi(*service);
    if (!HasService(profile_, uid)) return MAPI_E_NOT_FOUND;
    *admin = new ProviderAdmin(call.Name(), profile_, uid);
    return S_OK;
  });
}

STDMETHODIMP ServiceAdmin::GetProviderTable(ULONG flags, LPMAPITABLE* table) {
  Call call(CallName("GetProviderTable"), this);
  call.Flags(flags, MAPI_UNICODE).Out(table);
  return call.Run([&] {
    std::vector<Uid> providers;
    for (const Uid& service : ServicesOf(profile_)) {
      const std::vector<Uid> own = ReadUidList(profile_, service, PR_STORE_PROVIDERS);
      providers.insert(providers.end(), own.begin(), own.end());
    }
    *table = MakeProviderTable(call.Name(), profile_, providers);
    return S_OK;
  });
}

ProviderAdmin::ProviderAdmin(std::string madeBy, std::wstring profile, const Uid& service)
    : ProviderAdminStubs(std::move(madeBy)), profile_(std::move(profile)), service_(service) {}

STDMETHODIMP ProviderAdmin::GetProviderTable(ULONG flags, LPMAPITABLE* table) {
  Call call(CallName("GetProviderTable"), this);
  call.Flags(flags, MAPI_UNICODE).Out(table);
  return call.Run([&] {
    *table = MakeProviderTable(call.Name(), profile_,
                               ReadUidList(profile_, service_, PR_STORE_PROVIDERS));
    return S_OK;
  });
}

STDMETHODIMP ProviderAdmin::OpenProfileSection(LPMAPIUID uid, LPCIID iid, ULONG flags,
                                               LPPROFSECT* section) {
  Call call(CallName("OpenProfileSection"), this);
  return RunOpenSection(call, profile_, uid, iid, flags, section);
}

}  // namespace lab
