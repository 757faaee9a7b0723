#include "tests/proof/model_run.h"

#include <algorithm>
#include <filesystem>

#include "lab/common/qsf_file.h"
#include "lab/common/text.h"
#include "tests/e2e/common_lines.h"
#include "tests/e2e/support/output.h"

namespace e2e {
namespace {

using lab::ServiceKind;

// The entry IDs compare in another order than that of the profile's table, and those of stores that
// the connector makes before them all.
const std::vector<StoreModel> kStores = {
    {ServiceKind::kRoot, "bes", "", 140, "bes.qsf"},
    {ServiceKind::kSecondary, "ann", "", 170, "ann.qsf"},
    {ServiceKind::kEmbedded, "bob", "ann", 120},
    {ServiceKind::kEmbedded, "cid", "", 130},
    {ServiceKind::kEmbedded, "dan", "bes", 160},
    {ServiceKind::kSecondary, "eve", "", 150, "eve.qsf"},
    {ServiceKind::kEmbedded, "fay", "", 180},
    {ServiceKind::kEmbedded, "hal", "ann", 190},
};
constexpr uint32_t kOrderOfNew = 100;
constexpr uint32_t kFreeBytes = 4096;

std::string ServiceLine(const std::string& address, const std::wstring& service) {
  return "service " + Utf8FromWide(service) + " of " + address;
}

std::string FileLine(const std::string& name, const World::File& file) {
  std::string line = "file " + name + (file.compact ? ", compact" : ", not compact");
  for (const auto& [owner, folders] : file.folders) {
    line += ", " + owner;
    for (const std::string& folder : folders) line += " " + folder;
  }
  return line;
}

World::File FileOf(const lab::QsfContent& content) {
  World::File file{.compact = content.freeBytes == 0};
  for (const lab::QsfMailbox& mailbox : std::vector{content.main} + content.embedded) {
    Strings& folders = file.folders[Utf8FromWide(mailbox.owner)];
    for (const lab::QsfFolder& folder : mailbox.folders) {
      folders.push_back((folder.search ? "search:" : "") + Utf8FromWide(folder.name));
    }
  }
  return file;
}

std::string LineOf(const std::filesystem::path& file) {
  const std::string name = Utf8FromWide(file.filename().wstring());
  lab::QsfContent content;
  const lab::QsfStatus status = lab::ReadQsf(file.wstring(), &content);
  if (status != lab::QsfStatus::kOk) return "file " + name + ", " + lab::QsfStatusText(status);
  return FileLine(name, FileOf(content));
}

}  // namespace

bool ModelCalls::OneFails(const std::string& operation, uint32_t count) {
  uint32_t& made = counts_[operation];
  const uint32_t before = made;
  made += count;
  const bool fails = operation == operation_ && nth_ > before && nth_ <= made;
  failed_ = failed_ || fails;
  return fails;
}

std::string MailOf(const std::string& name) { return name + "@example.com"; }

const StoreModel* World::Find(const std::string& name) const {
  const auto found = std::find_if(services.begin(), services.end(),
                                  [&](const StoreModel& store) { return store.name == name; });
  return found == services.end() ? nullptr : &*found;
}

World::File* World::FileOf(const StoreModel& store) {
  if (!store.IsEmbedded()) return &files[store.file];
  const StoreModel* const parent = Find(store.parent);
  return parent ? FileOf(*parent) : nullptr;
}

World::File* World::Open(const std::string& name) {
  if (!Find(name)) {
    const std::string file = MailOf(name) + ".qsf";
    services.push_back({ServiceKind::kSecondary, name, "", kOrderOfNew, file});
    files[file] = {.compact = true, .folders = {{MailOf(name), {}}}};
  }
  return FileOf(*Find(name));
}

Strings World::Describe() const {
  Strings lines;
  for (const StoreModel& store : services) {
    lines.push_back(ServiceLine(MailOf(store.name), lab::ServiceNameOf(store.kind)));
  }
  for (const auto& [name, file] : files) lines.push_back(FileLine(name, file));
  for (const auto& [user, agent] : agents) {
    lines.push_back("user " + user + " of agent " + std::to_string(agent));
  }
  return Sorted(lines);
}

World NewWorld() {
  World world{.services = kStores, .files = {}, .agents = {}};
  for (const StoreModel& store : kStores) {
    if (World::File* const file = world.FileOf(store)) file->folders[MailOf(store.name)];
  }
  return world;
}

void Install(const lab::Profile& profile, const std::wstring& directory) {
  for (const StoreModel& store : kStores) {
    const std::wstring address = WideFromUtf8(MailOf(store.name));
    const std::wstring file = directory + L'\\' + WideFromUtf8(store.file);
    const lab::StoreOptions options{.order = store.order, .freeBytes = kFreeBytes};
    if (store.kind == ServiceKind::kRoot) {
      profile.AddRootStore(address, file, options);
    } else if (store.kind == ServiceKind::kSecondary) {
      profile.AddSecondaryStore(address, file, options);
    } else if (store.parent.empty()) {
      profile.AddOrphan(address, options);
    } else {
      const auto parent = profile.Find(WideFromUtf8(MailOf(store.parent)));
      profile.AddEmbeddedStore(address, parent.value(), options);
    }
  }
}

Strings Observe(const lab::Profile& profile, const std::wstring& directory) {
  Strings lines;
  for (const lab::Service& service : profile.Services()) {
    lines.push_back(ServiceLine(Utf8FromWide(service.address.value_or(L"")), service.name));
  }
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    if (entry.path().extension() == L".qsf") lines.push_back(LineOf(entry.path()));
  }
  return Sorted(lines);
}

void ModelRun::PrintResult(const std::string& what, uint32_t result) {
  Print(what + " : " + lab::HexNumber(result));
}

void ModelRun::PrintFailure(const std::string& function, const std::string& what, uint32_t result) {
  PrintResult(function + ": " + what, result);
}

uint32_t ModelRun::Take(const Step& step, const std::string& function) {
  const uint32_t result = calls.Make(step.operation);
  if (Fails(result)) PrintFailure(function, step.what, result);
  return result;
}

bool ModelRun::InitializeMapi() {
  if (!Fails(calls.Make("MAPIInitialize"))) return true;
  Print(kNoMapi);
  return false;
}

void ModelRun::StartController() {
  Print("ServiceStartSvc. Service is already running, currentState=4)");
  Print(kStartingController);
}

}  // namespace e2e
