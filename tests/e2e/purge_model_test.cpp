// -purgeQsf on a thousand generated folders, against a model of what it may delete.
//
// Each round makes a handful of folders and a set of profiles, runs the command dry and then with
// -f, and compares every line and every file with the model. A round is made from its seed alone; a
// failure names it.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "lab/common/files.h"
#include "lab/common/installation.h"
#include "tests/e2e/purge_listing.h"
#include "tests/e2e/support/lab_test.h"
#include "tests/e2e/support/output.h"

namespace e2e {
namespace {

constexpr int kShards = 10;
constexpr int kRoundsOfAShard = 10;
constexpr int kFoldersOfARound = 10;
static_assert(kShards * kRoundsOfAShard * kFoldersOfARound == 1000);
constexpr unsigned kFirstSeed = 20010203;

constexpr std::string_view kExtension = ".qsf";
constexpr wchar_t kOutsideTheCodePage = L'\u0436';

// Numbers that are the same with every standard library.
class Dice {
 public:
  explicit Dice(unsigned seed) : engine_(seed) {}
  unsigned Below(unsigned limit) { return static_cast<unsigned>(engine_() % limit); }
  bool Percent(unsigned percent) { return Below(100) < percent; }
  template <class T, size_t size>
  const T& Pick(const T (&values)[size]) {
    return values[Below(size)];
  }
  // Some of the letters a to z in capitals.
  std::wstring Spell(std::wstring text) {
    for (wchar_t& c : text) {
      if (c >= L'a' && c <= L'z' && Percent(20)) c = static_cast<wchar_t>(c - L'a' + L'A');
    }
    return text;
  }

 private:
  std::mt19937 engine_;
};

// The generated world.

struct File {
  std::wstring name;
  uint64_t size = 0;
  lab::UtcTime read;
  bool readOnly = false;
  bool folder = false;
};

struct Folder {
  std::wstring path;
  std::vector<File> files;
};

enum class StoreKind { kOrdinary, kWithoutPath, kWithoutAddress, kOtherService, kEmbedded };

struct Store {
  StoreKind kind = StoreKind::kOrdinary;
  std::wstring address;
  std::wstring path;  // as the profile has it
};

struct World {
  std::vector<Folder> folders;
  std::map<std::wstring, std::vector<Store>> profiles;
};

class Generator {
 public:
  Generator(unsigned seed, std::wstring directory)
      : dice_(seed), directory_(std::move(directory)) {}

  World Make() {
    World world;
    // At most one folder has a file whose base name is empty.
    const unsigned withNameless = dice_.Below(3 * kFoldersOfARound);
    for (unsigned i = 0; i < kFoldersOfARound; ++i) {
      world.folders.push_back(MakeFolder(i, i == withNameless));
    }
    for (unsigned i = dice_.Percent(5) ? 0 : 1 + dice_.Below(5); i-- > 0;) {
      const std::wstring name = L"Profile " + std::to_wstring(i);
      world.profiles[name] = MakeProfile(world.folders);
    }
    return world;
  }

 private:
  // All names of a folder begin with its letter, so that a listed name tells the folder.
  Folder MakeFolder(unsigned number, bool withNameless) {
    static constexpr wchar_t kLetters[] = L"abcde1[(-\u00e4";
    static_assert(std::size(kLetters) == kFoldersOfARound + 1);
    const wchar_t letter = kLetters[number];
    Folder folder{directory_ + L"\\folder " + std::to_wstring(number), {}};
    std::set<std::wstring> taken;
    for (unsigned i = 2 + dice_.Below(9); i-- > 0;) {
      File file = MakeFile(letter);
      if (taken.insert(lab::FoldAscii(file.name)).second) folder.files.push_back(file);
    }
    if (withNameless) {
      File nameless = MakeFile(letter);
      nameless.name = L".qsf";
      folder.files.push_back(nameless);
    }
    return folder;
  }

  File MakeFile(wchar_t letter) {
    static constexpr wchar_t kMiddle[] = {L'a', L'a', L'b', L'1', L' ', L'.', L'\u00e4', L'%'};
    static constexpr const wchar_t* kEndings[] = {L".qsf", L".qsf", L".qsf",     L".qsf",
                                                  L".qsf", L".qsf", L".qsf.qsf", L".idx",
                                                  L".log", L"",     L".txt",     L".qsf.lock"};
    std::wstring base(1, letter);
    for (unsigned i = dice_.Below(4); i-- > 0;) base += dice_.Pick(kMiddle);
    if (dice_.Percent(4)) base += kOutsideTheCodePage;
    // A dot or a blank there is not what file systems keep.
    while (base.back() == L'.' || base.back() == L' ') base.pop_back();
    File file;
    file.name = dice_.Spell(base + dice_.Pick(kEndings));
    file.folder = dice_.Percent(5);
    file.readOnly = dice_.Percent(5);
    file.size = dice_.Below(5000);
    const auto two = [&](unsigned limit) { return static_cast<uint16_t>(dice_.Below(limit)); };
    file.read = {static_cast<uint16_t>(1990 + two(30)),
                 static_cast<uint16_t>(1 + two(12)),
                 static_cast<uint16_t>(1 + two(28)),
                 two(24),
                 two(60),
                 two(60)};
    return file;
  }

  std::vector<Store> MakeProfile(const std::vector<Folder>& folders) {
    std::vector<Store> stores;
    for (unsigned i = dice_.Below(10); i-- > 0;) {
      // Some folders have most of the stores, others none.
      const Folder& folder = folders[dice_.Below(dice_.Percent(60) ? 4 : kFoldersOfARound)];
      const File& file = folder.files[dice_.Below(static_cast<unsigned>(folder.files.size()))];
      const bool missing = dice_.Percent(10) || file.folder;
      Store store;
      store.kind = MakeKind(!stores.empty() && stores.front().kind == StoreKind::kOrdinary);
      store.address = L"user" + std::to_wstring(++users_) + L"@example.com";
      store.path = dice_.Spell(folder.path + L"\\" + (missing ? L"missing.qsf" : file.name));
      stores.push_back(store);
    }
    return stores;
  }

  StoreKind MakeKind(bool mayBeEmbedded) {
    if (mayBeEmbedded && dice_.Percent(10)) return StoreKind::kEmbedded;
    if (dice_.Percent(4)) return StoreKind::kWithoutAddress;
    if (dice_.Percent(6)) return StoreKind::kWithoutPath;
    return dice_.Percent(6) ? StoreKind::kOtherService : StoreKind::kOrdinary;
  }

  Dice dice_;
  const std::wstring directory_;
  int users_ = 0;
};

void Create(const Folder& folder) {
  std::filesystem::create_directory(folder.path);
  for (const File& file : folder.files) {
    const std::wstring path = folder.path + L"\\" + file.name;
    if (file.folder) {
      ASSERT_TRUE(CreateDirectoryW(path.c_str(), nullptr)) << ToUtf8(path);
      continue;
    }
    ASSERT_TRUE(lab::WriteFileOfSize(path, file.size)) << ToUtf8(path);
    ASSERT_TRUE(lab::SetLastAccess(path, file.read)) << ToUtf8(path);
    if (file.readOnly) SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY);
  }
}

void Create(const std::wstring& name, const std::vector<Store>& stores) {
  const lab::Profile profile(name);
  ASSERT_TRUE(profile.Create());
  std::optional<lab::Service> first;
  for (const Store& store : stores) {
    lab::StoreOptions options;
    options.withFile = false;
    options.withPath = store.kind != StoreKind::kWithoutPath;
    options.withAddress = store.kind != StoreKind::kWithoutAddress;
    if (store.kind == StoreKind::kOtherService) options.serviceName = L"MSUPST MS";
    if (store.kind == StoreKind::kEmbedded) {
      profile.AddEmbeddedStore(store.address, first.value(), options);
    } else {
      const lab::Service service = profile.AddSecondaryStore(store.address, store.path, options);
      if (!first) first = service;
    }
  }
}

// The model.

// As it comes through the narrow interfaces, with A to Z in lower case.
std::string Folded(const std::wstring& text) { return lab::FoldAscii(lab::NarrowFromWide(text)); }
// Narrow text as it is printed.
std::string Printed(const std::string& narrow) { return ToUtf8(lab::WideFromNarrow(narrow)); }

std::string DirectoryPart(const std::string& path) {
  return path.substr(0, path.find_last_of('\\') + 1);
}

// What the profiles say: the paths in use, the lines that reading them prints, whether they could
// all be read.
struct Reading {
  std::set<std::string> inUse;
  std::string lines;
  bool failed = false;
};

Reading Read(const World& world) {
  Reading reading;
  for (const std::wstring& name : lab::ListProfiles()) {
    bool lastSkipped = false;
    for (const Store& store : world.profiles.at(name)) {
      if (store.kind == StoreKind::kOtherService) continue;
      lastSkipped = store.kind == StoreKind::kWithoutAddress;
      if (store.kind == StoreKind::kOrdinary) reading.inUse.insert(Folded(store.path));
      if (store.kind == StoreKind::kWithoutPath) {
        reading.lines +=
            Text({"CStoreManager::LoadCache: Failed to get PR_PST_PATH for the store '" +
                  ToUtf8(store.address) + "' : 0x8004010f"});
      }
    }
    if (!lastSkipped) continue;
    reading.lines += Text({"PurgeQsf: storeManager LoadCache failed : 0x8004010f"});
    reading.failed = true;
    break;
  }
  return reading;
}

// One folder while it is searched.
class ModelFolder {
 public:
  ModelFolder(const Folder& folder, const std::set<std::string>& inUse)
      : directory_(Folded(folder.path) + "\\"), present_(folder.files) {
    for (const File& file : folder.files) {
      const std::string name = Folded(file.name);
      if (file.folder || !name.ends_with(kExtension)) continue;
      (inUse.contains(directory_ + name) ? inUse_ : unused_).emplace(name, file);
    }
  }

  bool Clean() const { return unused_.empty(); }
  bool HasUnused(const std::string& name) const { return unused_.contains(name); }

  // What is listed of an unused file now, and with `force` its removal.
  std::string List(const std::string& name, bool force) {
    const File& file = unused_.at(name);
    listed_.insert(name);
    UnusedFile listed{
        Printed(name), static_cast<int64_t>(file.size / 1024), LocalTimeText(file.read), {}};
    const std::string stem = name.substr(0, name.rfind(kExtension));
    // Names that the code page cannot hold stand with a question mark.
    if (stem.find('?') == std::string::npos) {
      for (const File& each : present_) {
        if (!Takes(stem, each)) continue;
        listed.deleted.push_back(Printed(directory_ + lab::NarrowFromWide(each.name)));
      }
      if (force) {
        std::erase_if(present_, [&](const File& each) {
          return Takes(stem, each) && !each.readOnly &&
                 each.name.find(kOutsideTheCodePage) == std::wstring::npos;
        });
      }
      stems_.push_back(stem);
    }
    return SortDeleting(Block(listed));
  }

  // After the search: what was not listed is gone, taken along by another.
  void ExpectAllListed() const {
    for (const auto& [name, file] : unused_) {
      if (!listed_.contains(name)) {
        EXPECT_FALSE(IsPresent(file.name)) << Printed(name);
      }
    }
  }

  // No file in use is gone but by the pattern of another's base name.
  void ExpectUsedFilesKept(const std::set<std::wstring>& left) const {
    for (const auto& [name, file] : inUse_) {
      if (left.contains(file.name)) continue;
      const bool taken = std::any_of(stems_.begin(), stems_.end(), [&](const std::string& stem) {
        return name.compare(0, stem.size(), stem) == 0;
      });
      EXPECT_TRUE(taken) << Printed(directory_ + name);
    }
  }

  std::set<std::wstring> Left() const {
    std::set<std::wstring> names;
    for (const File& file : present_) {
      if (!file.folder) names.insert(file.name);
    }
    return names;
  }

  size_t UnusedCount() const { return unused_.size(); }
  size_t UsedCount() const { return inUse_.size(); }
  size_t UsedTaken() const {
    return static_cast<size_t>(std::count_if(inUse_.begin(), inUse_.end(), [&](const auto& used) {
      return !IsPresent(used.second.name);
    }));
  }

 private:
  static bool Takes(const std::string& stem, const File& file) {
    return !file.folder && Folded(file.name).starts_with(stem);
  }
  bool IsPresent(const std::wstring& name) const {
    return std::any_of(present_.begin(), present_.end(),
                       [&](const File& file) { return file.name == name; });
  }

  std::string directory_;
  std::vector<File> present_;
  std::map<std::string, File> unused_;
  std::map<std::string, File> inUse_;
  std::set<std::string> listed_;
  Strings stems_;
};

// What all rounds met, so that a run shows that it tried something.
struct Tally {
  size_t rounds = 0;
  size_t unreadable = 0;
  size_t unused = 0;
  size_t used = 0;
  size_t usedTaken = 0;
};

class PurgeModelTest : public LabTest, public ::testing::WithParamInterface<int> {
 protected:
  void MakeWorld(unsigned seed) {
    world_ = Generator(seed, Directory().wstring()).Make();
    for (const Folder& folder : world_.folders) Create(folder);
    for (const auto& [name, stores] : world_.profiles) Create(name, stores);
  }

  void RemoveWorld() {
    for (const auto& [name, stores] : world_.profiles) EXPECT_TRUE(lab::DeleteProfile(name));
    for (const Folder& folder : world_.folders) {
      for (const std::wstring& name : lab::FilesIn(folder.path)) {
        SetFileAttributesW((folder.path + L"\\" + name).c_str(), FILE_ATTRIBUTE_NORMAL);
      }
      std::filesystem::remove_all(folder.path);
    }
    ClearJournal();
  }

  // Runs the command and follows its listing block by block.
  void CheckRun(bool force) {
    const std::string output = force ? Run({L"-purgeQsf", L"-f"}) : Run({L"-purgeQsf"});
    const Reading reading = Read(world_);
    std::map<std::string, ModelFolder> searched;
    std::set<std::string> directories;
    if (!reading.failed) {
      for (const std::string& path : reading.inUse) directories.insert(DirectoryPart(path));
    }
    for (const Folder& folder : world_.folders) {
      const std::string directory = Folded(folder.path) + "\\";
      if (directories.erase(directory))
        searched.emplace(directory, ModelFolder(folder, reading.inUse));
    }
    EXPECT_TRUE(directories.empty());
    EXPECT_EQ(SortDeleting(output), reading.lines + Listing(Lines(output), searched, force));
    CheckFiles(searched, force);
    if (force) Count(reading, searched);
  }

  // The listing that the model makes in the order in which the files of a folder were listed.
  static std::string Listing(const Strings& lines, std::map<std::string, ModelFolder>& searched,
                             bool force) {
    constexpr std::string_view kUnused = "Unused Qsf: '";
    std::string listing;
    bool found = false;
    for (auto& [directory, folder] : searched) {
      std::set<std::string> listed;
      for (const std::string& line : lines) {
        if (!line.starts_with(kUnused)) continue;
        const std::string shown = line.substr(kUnused.size(), line.size() - kUnused.size() - 1);
        const std::string name = lab::NarrowFromWide(FromUtf8(shown));
        // Listing a file twice is left for the comparison to find.
        if (folder.HasUnused(name) && listed.insert(name).second) {
          listing += folder.List(name, force);
        }
      }
      folder.ExpectAllListed();
      found = found || !folder.Clean();
      if (!found) listing += Text({kNothingUnused});
    }
    return listing;
  }

  void CheckFiles(const std::map<std::string, ModelFolder>& searched, bool force) const {
    for (const Folder& folder : world_.folders) {
      const auto names = lab::FilesIn(folder.path);
      const std::set<std::wstring> left(names.begin(), names.end());
      const auto model = searched.find(Folded(folder.path) + "\\");
      if (model == searched.end()) {
        EXPECT_EQ(left, ModelFolder(folder, {}).Left());
        continue;
      }
      EXPECT_EQ(left, model->second.Left());
      if (!force) {
        EXPECT_EQ(left, ModelFolder(folder, {}).Left());
      }
      model->second.ExpectUsedFilesKept(left);
    }
  }

  void Count(const Reading& reading, const std::map<std::string, ModelFolder>& searched) {
    ++tally_.rounds;
    tally_.unreadable += reading.failed ? 1 : 0;
    for (const auto& [directory, folder] : searched) {
      tally_.unused += folder.UnusedCount();
      tally_.used += folder.UsedCount();
      tally_.usedTaken += folder.UsedTaken();
    }
  }

  World world_;
  Tally tally_;
};

TEST_P(PurgeModelTest, DeletesWhatTheModelDeletes) {
  const unsigned firstSeed = kFirstSeed + static_cast<unsigned>(GetParam() * kRoundsOfAShard);
  for (unsigned seed = firstSeed; seed < firstSeed + kRoundsOfAShard; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    MakeWorld(seed);
    if (!HasFatalFailure()) {
      CheckRun(false);
      CheckRun(true);
    }
    RemoveWorld();
    if (HasFailure()) return;
  }
  std::cout << "seeds " << firstSeed << " to " << firstSeed + kRoundsOfAShard - 1 << ": "
            << tally_.rounds * kFoldersOfARound << " folders, " << tally_.unused
            << " unused files, " << tally_.used << " used files of which " << tally_.usedTaken
            << " went with others, " << tally_.unreadable << " runs ended early\n";
  EXPECT_GT(tally_.unused, 0U);
  EXPECT_GT(tally_.used, tally_.usedTaken);
}

INSTANTIATE_TEST_SUITE_P(Shards, PurgeModelTest, ::testing::Range(0, kShards));

}  // namespace
}  // namespace e2e
