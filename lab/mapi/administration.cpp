#include "lab/mapi/administration.h"

#include <mapispi.h>
#include <mapiutil.h>

#include <algorithm>
#include <vector>

#include "lab/common/installation.h"
#include "lab/common/profile_registry.h"
#include "lab/mapi/compaction.h"
#include "lab/mapi/connector.h"
#include "lab/mapi/profile_section.h"
#include "lab/mapi/table.h"

namespace lab {
namespace {

// Its presence tells the connector's service to compact its store.
constexpr ULONG kCompactionRequest = PROP_TAG(PT_OBJECT, 0x6666);

constexpr ULONG kConfigureFlags =
    MAPI_UNICODE | SERVICE_UI_ALLOWED | SERVICE_UI_ALWAYS | MSG_SERVICE_UI_READ_ONLY;

// A row for each of `sections` with its properties, and its UID under `uidTag`.
std::vector<PropertyList> SectionRows(const std::wstring& profile, const std::vector<Uid>& sections,
                                      ULONG uidTag) {
  std::vector<PropertyList> rows;
  for (const Uid& section : sections) {
    PropertyList& row = rows.emplace_back(ReadSectionProperties(profile, section));
    std::erase_if(row, [&](const Property& property) { return property.tag == uidTag; });
    row.push_back(UidProperty(uidTag, section));
    row.push_back(UidProperty(PR_INSTANCE_KEY, section));
  }
  return rows;
}

Table* MakeProviderTable(const std::wstring& profile, const std::vector<Uid>& providers) {
  return new Table(
      "ProviderTable",
      {PR_INSTANCE_KEY, PR_PROVIDER_UID, PR_RESOURCE_TYPE, PR_SERVICE_UID, PR_DISPLAY_NAME_A},
      SectionRows(profile, providers, PR_PROVIDER_UID));
}

std::vector<Uid> ServicesOf(const std::wstring& profile) {
  return ReadUidList(profile, kAdminSectionUid, PR_SERVICES);
}

bool HasService(const std::wstring& profile, const Uid& service) {
  const std::vector<Uid> services = ServicesOf(profile);
  return std::find(services.begin(), services.end(), service) != services.end();
}

// The address of the service's mailbox, or empty.
std::wstring AddressOf(const std::wstring& profile, const Uid& service) {
  const auto found = Profile(profile).Get(service);
  return found ? found->address.value_or(L"") : std::wstring();
}

}  // namespace

std::wstring TextParameter(LPCTSTR text, ULONG flags) {
  if (!text) return {};
  if (flags & MAPI_UNICODE) return reinterpret_cast<const wchar_t*>(text);
  return WideFromNarrow(reinterpret_cast<const char*>(text));
}

STDMETHODIMP ProfAdmin::GetProfileTable(ULONG flags, LPMAPITABLE* table) {
  Call call("IProfAdmin::GetProfileTable", this);
  call.Flags(flags, 0).Out(table);
  return call.Run([&] {
    std::vector<PropertyList> rows;
    for (const std::wstring& name : ListProfiles()) {
      rows.push_back({{.tag = PR_DISPLAY_NAME_A, .text = name}, {.tag = PR_DEFAULT_PROFILE}});
    }
    return call.HandOut(
        table, new Table("ProfileTable", {PR_DISPLAY_NAME_A, PR_DEFAULT_PROFILE}, std::move(rows)));
  });
}

STDMETHODIMP ProfAdmin::AdminServices(LPTSTR profile, LPTSTR password, ULONG_PTR parent,
                                      ULONG flags, LPSERVICEADMIN* admin) {
  Call call("IProfAdmin::AdminServices", this);
  call.Text("profile", profile, flags).Text("password", password, flags).Hex("parent", parent);
  call.Flags(flags, MAPI_DIALOG | MAPI_UNICODE).Out(admin);
  return call.Run([&] {
    const std::wstring name = TextParameter(profile, flags);
    return ProfileExists(name) ? call.HandOut(admin, new ServiceAdmin(name)) : MAPI_E_NOT_FOUND;
  });
}

STDMETHODIMP ServiceAdmin::GetMsgServiceTable(ULONG flags, LPMAPITABLE* table) {
  Call call("IMsgServiceAdmin::GetMsgServiceTable", this);
  call.Flags(flags, MAPI_UNICODE).Out(table);
  return call.Run([&] {
    return call.HandOut(
        table, new Table("MsgServiceTable",
                         {PR_INSTANCE_KEY, PR_SERVICE_UID, PR_SERVICE_NAME_A, PR_DISPLAY_NAME_A},
                         SectionRows(profile_, ServicesOf(profile_), PR_SERVICE_UID)));
  });
}

STDMETHODIMP ServiceAdmin::DeleteMsgService(LPMAPIUID service) {
  Call call("IMsgServiceAdmin::DeleteMsgService", this);
  call.Binary("uid", service, sizeof(*service)).Require(service, "no UID");
  return call.Run([&] {
    const bool deleted = DeleteService(profile_, UidFromMapi(*service));
    ForgetStores(profile_);
    return deleted ? S_OK : MAPI_E_NOT_FOUND;
  });
}

STDMETHODIMP ServiceAdmin::ConfigureMsgService(LPMAPIUID service, ULONG_PTR parent, ULONG flags,
                                               ULONG count, LPSPropValue properties) {
  Call call("IMsgServiceAdmin::ConfigureMsgService", this);
  call.Binary("uid", service, sizeof(*service)).Hex("parent", parent);
  call.Flags(flags, kConfigureFlags).Hex("count", count);
  call.Words("parent-is", DescribeParentWindow(parent));
  const bool one = count == 1 && properties;
  if (one) call.Hex("tag", properties->ulPropTag).Hex("value", LOWORD(properties->Value.i));
  if (service) call.User(AddressOf(profile_, UidFromMapi(*service)));
  call.Require(service, "no UID");
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
  Call call("IMsgServiceAdmin::OpenProfileSection", this);
  return OpenSection(call, profile_, {uid, iid, flags, section});
}

STDMETHODIMP ServiceAdmin::AdminProviders(LPMAPIUID service, ULONG flags, LPPROVIDERADMIN* admin) {
  Call call("IMsgServiceAdmin::AdminProviders", this);
  call.Binary("uid", service, sizeof(*service))
      .Flags(flags, 0)
      .Out(admin)
      .Require(service, "no UID");
  return call.Run([&] {
    const Uid uid = UidFromMapi(*service);
    if (!HasService(profile_, uid)) return MAPI_E_NOT_FOUND;
    return call.HandOut(admin, new ProviderAdmin(profile_, uid));
  });
}

STDMETHODIMP ServiceAdmin::GetProviderTable(ULONG flags, LPMAPITABLE* table) {
  Call call("IMsgServiceAdmin::GetProviderTable", this);
  call.Flags(flags, MAPI_UNICODE).Out(table);
  return call.Run([&] {
    std::vector<Uid> providers;
    for (const Uid& service : ServicesOf(profile_)) {
      const std::vector<Uid> own = ReadUidList(profile_, service, PR_STORE_PROVIDERS);
      providers.insert(providers.end(), own.begin(), own.end());
    }
    return call.HandOut(table, MakeProviderTable(profile_, providers));
  });
}

STDMETHODIMP ProviderAdmin::GetProviderTable(ULONG flags, LPMAPITABLE* table) {
  Call call("IProviderAdmin::GetProviderTable", this);
  call.Flags(flags, MAPI_UNICODE).Out(table);
  return call.Run([&] {
    return call.HandOut(
        table, MakeProviderTable(profile_, ReadUidList(profile_, service_, PR_STORE_PROVIDERS)));
  });
}

STDMETHODIMP ProviderAdmin::OpenProfileSection(LPMAPIUID uid, LPCIID iid, ULONG flags,
                                               LPPROFSECT* section) {
  Call call("IProviderAdmin::OpenProfileSection", this);
  return OpenSection(call, profile_, {uid, iid, flags, section});
}

}  // namespace lab
