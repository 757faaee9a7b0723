#include "tests/proof/cache_model.h"

namespace e2e {
namespace {

constexpr char kFunction[] = "CStoreManager::LoadCache";

// The failure of each of these ends the load.
constexpr Step kOpenProfile[] = {
    {"MAPIAdminProfiles", "MAPIAdminProfiles failed"},
    {"IProfAdmin::AdminServices", "AdminServices failed"},
    {"IMsgServiceAdmin::GetMsgServiceTable", "GetMsgServiceTable failed"},
    {"IMAPITable::Restrict@MsgServiceTable", "Restrict on MsgServiceTable failed"},
    {"HrQueryAllRows@MsgServiceTable", "HrQueryAllRows on MsgServiceTable failed"},
};
constexpr Step kOpenService[] = {
    {"IMsgServiceAdmin::OpenProfileSection@ServiceSection",
     "HrQueryAllRows on MsgServiceTable failed"},
};
constexpr Step kFindProvider[] = {
    {"IMsgServiceAdmin::AdminProviders", "AdminProviders failed"},
    {"IProviderAdmin::GetProviderTable", "GetProviderTable failed"},
    {"IMAPITable::Restrict@ProviderTable", "Restrict on provider table failed"},
    {"HrQueryAllRows@ProviderTable", "HrQueryAllRows on provider table failed"},
    {"IMsgServiceAdmin::OpenProfileSection@ProviderSection",
     "OpenProfileSection on provider table failed"},
};
constexpr char kOpenParentFailed[] = "OpenProfileSection on parent provider UID failed";

}  // namespace

uint32_t CacheModel::Load(bool includeRoot) {
  stores_.clear();
  if (!Pass(kOpenProfile)) return status_;
  int index = 0;
  for (const StoreModel& service : run_.world.services) {
    if (service.kind == lab::ServiceKind::kRoot && !includeRoot) continue;
    if (!LoadService(service, index++)) return status_;
  }
  if (!Fails(status_)) Link();
  return status_;
}

template <class Steps>
bool CacheModel::Pass(const Steps& steps) {
  status_ = run_.TakeAll(steps, kFunction);
  return !Fails(status_);
}

bool CacheModel::Succeed(const Strings& operations) {
  for (const std::string& operation : operations) {
    status_ = run_.calls.Make(operation);
    if (Fails(status_)) return false;
  }
  return true;
}

bool CacheModel::LoadService(const StoreModel& service, int index) {
  if (!Pass(kOpenService)) return false;
  if (Fails(run_.calls.Make("MsgServiceTable.Column.3D09001E"))) {
    // The status is that of the call before: success.
    run_.Print(std::string(kFunction) + ": PR_SERVICE_NAME_A not found at index " +
               std::to_string(index));
    return false;
  }
  const bool isRoot = service.kind == lab::ServiceKind::kRoot;
  const std::string address = isRoot ? "6646001F" : "6650001F";
  // Otherwise the service is passed over.
  return !Succeed({"HrGetOneProp@ServiceSection", "ServiceSection.Prop." + address}) ||
         FindProvider(service);
}

bool CacheModel::FindProvider(const StoreModel& service) {
  if (!Pass(kFindProvider)) return false;
  return !Succeed({"IProfSect::GetProps@ProviderSection"}) || ReadProvider(service);
}

bool CacheModel::ReadProvider(const StoreModel& service) {
  const uint32_t entryId = run_.calls.Make("ProviderSection.Prop.0FFF0102");
  const uint32_t path = run_.calls.Make("ProviderSection.Prop.6700001E");
  const std::string ofStore = " for the store '" + MailOf(service.name) + "'";
  if (Fails(entryId)) {
    run_.PrintFailure(kFunction, "Failed to get PR_ENTRYID" + ofStore, entryId);
  } else if (service.IsEmbedded()) {
    return AddEmbedded(service);
  } else if (Fails(path)) {
    run_.PrintFailure(kFunction, "Failed to get PR_PST_PATH" + ofStore, path);
  } else {
    stores_.emplace(service.order, Record{service});
  }
  return true;
}

bool CacheModel::AddEmbedded(const StoreModel& service) {
  // What a parent leaves that is not there any more is no provider's section.
  const std::string section = service.parent.empty() ? "OtherSection" : "ProviderSection";
  const std::string open = "IMsgServiceAdmin::OpenProfileSection@" + section;
  const Step steps[] = {{open.c_str(), kOpenParentFailed}};
  if (!Pass(steps)) return false;
  if (Succeed({"HrGetOneProp@" + section, section + ".Prop.0FFF0102"})) {
    stores_.emplace(service.order, Record{service});
  }
  return true;
}

void CacheModel::Link() {
  for (const auto& [order, record] : stores_) {
    if (!record.store.IsEmbedded()) continue;
    if (const Record* const parent = Find(record.store.parent)) {
      stores_.at(parent->store.order).children.push_back(record.store.name);
    } else {
      DeleteOrphan(record.store);
    }
  }
}

void CacheModel::DeleteOrphan(const StoreModel& orphan) {
  run_.Print("Serious error: *** Parent store not found for '" + MailOf(orphan.name) + "' ***");
  run_.Print("Deleting orphan embedded store.");
  status_ = run_.calls.Make("IMsgServiceAdmin::DeleteMsgService");
  run_.PrintResult("DeleteMsgService", status_);
  if (!Fails(status_)) std::erase(run_.world.services, orphan);
}

Strings CacheModel::Names() const {
  Strings names;
  for (const auto& [order, record] : stores_) names.push_back(record.store.name);
  return names;
}

const CacheModel::Record* CacheModel::Find(const std::string& name) const {
  for (const auto& [order, record] : stores_) {
    if (record.store.name == name) return &record;
  }
  return nullptr;
}

}  // namespace e2e
