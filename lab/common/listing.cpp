// The listings of an installation for people.
#include <algorithm>

#include "lab/common/installation.h"

namespace lab {
namespace {

std::string HealthOf(const std::wstring& path) {
  std::vector<QsfProblem> problems;
  const QsfStatus status = CheckQsf(path, &problems);
  std::string text = QsfStatusText(status);
  for (const QsfProblem& problem : problems) {
    text += std::string(" ") + QsfDamageText(problem.damage);
  }
  return text;
}

std::string DescribeStore(const Profile& profile, const Service& service, const Provider& store) {
  std::string text;
  if (store.path) {
    text += "  path      " + Utf8FromWide(*store.path) + "\n";
    const auto size = QsfSize(*store.path);
    text += "  file      " + (size ? std::to_string(*size) + " bytes, " : std::string()) +
            HealthOf(*store.path) + "\n";
  } else if (store.entryId && ParentProviderOfEntryId(*store.entryId)) {
    text += "  in        " + Utf8FromWide(profile.FileOf(service)) + "\n";
  }
  if (store.corruptionMark) text += "  mark      " + HexResult(*store.corruptionMark) + "\n";
  if (store.resourceFlags & STATUS_DEFAULT_STORE) text += "  default store\n";
  if (store.entryId) text += "  entry id  " + HexFromBytes(*store.entryId) + "\n";
  return text;
}

std::string DescribeService(const Profile& profile, const Service& service) {
  std::string text = (service.name.empty() ? "(no name)" : Utf8FromWide(service.name)) + "  " +
                     (service.address ? Utf8FromWide(*service.address) : "(no address)") + "\n";
  text += "  service   " + UidText(service.uid) + "\n";
  if (const Provider* store = service.Store()) {
    text += DescribeStore(profile, service, *store);
  } else {
    text += "  (no store provider)\n";
  }
  return text;
}

// Where each store stands when entry IDs are compared, as a line of addresses.
std::string DescribeOrder(std::vector<Service> services) {
  std::stable_sort(services.begin(), services.end(),
                   [](const Service& a, const Service& b) { return a.EntryId() < b.EntryId(); });
  std::string text = "By entry id:";
  for (const Service& service : services) {
    if (!service.EntryId().empty()) text += " " + Utf8FromWide(service.address.value_or(L"?"));
  }
  return text + "\n";
}

}  // namespace

std::string Profile::Describe() const {
  if (!Exists()) return "Profile " + Utf8FromWide(name_) + " does not exist\n";
  const std::vector<Service> services = Services();
  std::string text =
      "Profile " + Utf8FromWide(name_) + ", " + std::to_string(services.size()) + " services\n";
  for (const Service& service : services) text += DescribeService(*this, service);
  return text + DescribeOrder(services);
}

std::string DescribeInstallation() {
  std::string text;
  for (const std::wstring& name : ListProfiles()) text += Profile(name).Describe() + "\n";
  return text.empty() ? "No profiles\n" : text;
}

}  // namespace lab
