// -purgeQsf on generated folders with names of every kind, against a model of what it may delete:
// 300 folders under each ANSI code page.
//
// Each round makes a handful of folders and a set of profiles, runs the command dry and then with
// -f, and compares every line and every file with the model. A round is made from its seed and the
// code page alone; a failure names both.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "lab/common/files.h"
#include "lab/common/installation.h"
#include "tests/e2e/purge_listing.h"
#include "tests/e2e/support/lab_test.h"
#include "tests/e2e/support/output.h"

namespace e2e {
namespace {

constexpr int kShards = 3;
constexpr int kRoundsOfAShard = 10;
constexpr int kFoldersOfARound = 10;
static_assert(kShards * kRoundsOfAShard * kFoldersOfARound == 300);
constexpr unsigned kFirstSeed = 20010203;

constexpr std::wstring_view kExtension = L".qsf";

// Numbers that are the same with every standard library.
class Dice {
 public:
  explicit Dice(unsigned seed) : engine_(seed) {}
  unsigned Below(unsigned limit) { return static_cast<unsigned>(engine_() % limit); }
  bool Percent(unsigned percent) { return Below(100) < percent; }
  template <class Values>
  const auto& Pick(const Values& values) {
    return values[Below(static_cast<unsigned>(std::size(values)))];
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

// Names.

// What the ANSI code page makes of a text. It is no other text when the code page can hold it.
std::wstring InAnsi(const std::wstring& text) {
  return lab::WideFromNarrow(lab::NarrowFromWide(text));
}
bool IsExact(const std::wstring& text) { return InAnsi(text) == text; }

// As a path is compared: in the ANSI code page, A to Z in lower case.
std::wstring Folded(const std::wstring& text) { return lab::FoldAscii(InAnsi(text)); }

bool SameName(std::wstring_view left, std::wstring_view right) {
  return CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                              static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}

struct LessName {
  bool operator()(const std::wstring& left, const std::wstring& right) const {
    return CompareStringOrdinal(left.c_str(), -1, right.c_str(), -1, TRUE) == CSTR_LESS_THAN;
  }
};

std::wstring DirectoryPart(const std::wstring& path) {
  return path.substr(0, path.find_last_of(L'\\') + 1);
}
std::wstring NamePart(const std::wstring& path) {
  return path.substr(path.find_last_of(L'\\') + 1);
}

constexpr wchar_t kPlainLetters[] = {L'a', L'a', L'b', L'1', L' ', L'.', L'.', L'%', L'~'};
// What one code page holds exactly, another turns into similar letters (a backslash, a colon and
// wildcards among them), and a third into question marks; and of 932 those whose second byte is a
// letter's or a backslash's.
constexpr wchar_t kHardLetters[] =
    L"\u00e4\u00c4\u0436\u0416\u0142\u0100\u03b1\u221e\u00a5\uff3c\uff1a\uff0a\uff1f\uff1c\uff1e"
    L"\uff02\uff21\uff41\uff0e\u4e2d\u30bd\u30a2\u30c2\u30dd\u8868\u30a1\uff71";

// The generated world.

struct File {
  std::wstring name;
  uint64_t size = 0;
  lab::UtcTime read;  // no other file of the world has the same
  bool readOnly = false;
  bool folder = false;
};

struct Folder {
  std::wstring path;  // which the code page can hold
  std::vector<File> files;
};

enum class StoreKind { kOrdinary, kWithoutPath, kWithoutAddress, kOtherService, kEmbedded };

struct Store {
  StoreKind kind = StoreKind::kOrdinary;
  std::wstring address;
  std::wstring path;   // as the profile has it
  std::wstring plain;  // the same file's, without detours
};

struct World {
  std::vector<Folder> folders;
  std::map<std::wstring, std::vector<Store>> profiles;
};

class Generator {
 public:
  Generator(unsigned seed, std::wstring directory) : dice_(seed), directory_(std::move(directory)) {
    std::copy_if(std::begin(kHardLetters), std::end(kHardLetters) - 1,
                 std::back_inserter(exactLetters_),
                 [](wchar_t letter) { return IsExact(std::wstring(1, letter)); });
  }

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
  Folder MakeFolder(unsigned number, bool withNameless) {
    Folder folder{directory_ + L"\\folder " + std::to_wstring(number), {}};
    for (unsigned i = dice_.Below(3); i-- > 0;) folder.path += dice_.Pick(exactLetters_);
    std::set<std::wstring, LessName> taken;
    for (unsigned i = 2 + dice_.Below(9); i-- > 0;) {
      File file = MakeFile(MakeName());
      if (taken.insert(file.name).second) folder.files.push_back(file);
    }
    if (withNameless) folder.files.push_back(MakeFile(L".qsf"));
    return folder;
  }

  std::wstring MakeName() {
    static constexpr const wchar_t* kEndings[] = {
        L".qsf", L".qsf", L".qsf", L".qsf",      L".qsf",     L".qsf.qsf", L".idx",
        L".log", L"",     L".txt", L".qsf.lock", L".qsf_old", L".qsfx",    L".qsf~"};
    static constexpr const wchar_t* kTraps[] = {L"..\uff3c.qsf", L"inner\uff3c.qsf",
                                                L"inner\uff3ca.qsf", L"\uff0a.qsf", L"a\uff0eqsf"};
    static constexpr const wchar_t* kBases[] = {L"a", L"b", L"j", L"ann", L"j.doe"};
    if (dice_.Percent(4)) return dice_.Pick(kTraps);
    std::wstring base = dice_.Pick(kBases);
    for (unsigned i = dice_.Below(4); i-- > 0;) {
      base += dice_.Percent(75) ? dice_.Pick(kPlainLetters)
                                : kHardLetters[dice_.Below(std::size(kHardLetters) - 1)];
    }
    // A dot or a blank there is not what file systems keep.
    while (base.back() == L'.' || base.back() == L' ') base.pop_back();
    return dice_.Spell(base + dice_.Pick(kEndings));
  }

  File MakeFile(const std::wstring& name) {
    File file;
    file.name = name;
    file.folder = dice_.Percent(5);
    file.readOnly = dice_.Percent(5);
    file.size = dice_.Below(5000);
    const auto two = [&](unsigned limit) { return static_cast<uint16_t>(dice_.Below(limit)); };
    ++files_;
    file.read = {static_cast<uint16_t>(1990 + two(30)), static_cast<uint16_t>(1 + two(12)),
                 static_cast<uint16_t>(1 + two(28)),    two(24),
                 static_cast<uint16_t>(files_ / 60),    static_cast<uint16_t>(files_ % 60)};
    return file;
  }

  std::vector<Store> MakeProfile(const std::vector<Folder>& folders) {
    std::vector<Store> stores;
    for (unsigned i = dice_.Below(10); i-- > 0;) {
      // Some folders have most of the stores, others none.
      const Folder& folder = folders[dice_.Below(dice_.Percent(60) ? 4 : kFoldersOfARound)];
      const File& file = dice_.Pick(folder.files);
      // In a profile, a letter that becomes a backslash makes the path that of another folder.
      const bool otherFolder = InAnsi(file.name).find(L'\\') != std::wstring::npos;
      const bool missing = dice_.Percent(10) || file.folder || otherFolder;
      Store store;
      store.kind = MakeKind(!stores.empty() && stores.front().kind == StoreKind::kOrdinary);
      store.address = L"user" + std::to_wstring(++users_) + L"@example.com";
      const std::wstring name = missing ? L"missing.qsf" : file.name;
      store.plain = folder.path + L"\\" + name;
      std::wstring path = folder.path;
      path.append(MakeDetour()).append(name).append(dice_.Pick(kTails));
      store.path = dice_.Spell(path);
      stores.push_back(store);
    }
    return stores;
  }

  // Between a folder and a name.
  std::wstring MakeDetour() {
    static constexpr const wchar_t* kDetours[] = {L"\\.\\", L"\\gone\\..\\", L"\\\\", L"\\./"};
    return dice_.Percent(80) ? L"\\" : dice_.Pick(kDetours);
  }

  StoreKind MakeKind(bool mayBeEmbedded) {
    if (mayBeEmbedded && dice_.Percent(10)) return StoreKind::kEmbedded;
    if (dice_.Percent(4)) return StoreKind::kWithoutAddress;
    if (dice_.Percent(6)) return StoreKind::kWithoutPath;
    return dice_.Percent(6) ? StoreKind::kOtherService : StoreKind::kOrdinary;
  }

  // What the system leaves out at a path's end.
  static constexpr const wchar_t* kTails[] = {L"", L"", L"", L"", L"", L"", L"", L" ", L"."};

  Dice dice_;
  const std::wstring directory_;
  std::wstring exactLetters_;
  unsigned files_ = 0;
  int users_ = 0;
};

// Every folder has one inside of it, with files that nothing may touch.
std::vector<std::wstring> InnerFiles(const Folder& folder) {
  return {folder.path + L"\\inner\\a.qsf", folder.path + L"\\inner\\.qsf"};
}
std::vector<std::wstring> OuterFiles(const std::wstring& directory) {
  return {directory + L"\\a.qsf", directory + L"\\.qsf", directory + L"\\ann.log"};
}

void Create(const Folder& folder) {
  std::filesystem::create_directory(folder.path);
  for (const File& file : folder.files) {
    const std::wstring path = folder.path + L"\\" + file.name;
    if (file.folder) {
      ASSERT_TRUE(CreateDirectoryW(path.c_str(), nullptr)) << Utf8FromWide(path);
      continue;
    }
    ASSERT_TRUE(lab::WriteFileOfSize(path, file.size)) << Utf8FromWide(path);
    ASSERT_TRUE(lab::SetLastAccess(path, file.read)) << Utf8FromWide(path);
    if (file.readOnly) SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY);
  }
  std::filesystem::create_directory(folder.path + L"\\inner");
  for (const std::wstring& path : InnerFiles(folder)) {
    ASSERT_TRUE(lab::WriteFileOfSize(path, 1)) << Utf8FromWide(path);
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

// What the profiles say: the paths in use, the files that they name, the lines that reading them
// prints, whether they could all be read.
struct Reading {
  std::set<std::wstring> paths;  // folded
  std::set<std::wstring, LessName> files;
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
      if (store.kind == StoreKind::kOrdinary) {
        reading.paths.insert(Folded(store.path));
        reading.files.insert(InAnsi(store.plain));
      }
      if (store.kind == StoreKind::kWithoutPath) {
        reading.lines +=
            Text({"CStoreManager::LoadCache: Failed to get PR_PST_PATH for the store '" +
                  Utf8FromWide(store.address) + "' : 0x8004010f"});
      }
    }
    if (!lastSkipped) continue;
    reading.lines += Text({"PurgeQsf: storeManager LoadCache failed : 0x8004010f"});
    reading.failed = true;
    break;
  }
  return reading;
}

// One folder, which may be searched more than once, under several spellings.
class ModelFolder {
 public:
  explicit ModelFolder(const Folder& folder) : folder_(folder) {
    for (const File& file : folder.files) {
      if (!file.folder) present_.push_back(file);
    }
  }

  // A search under the spelling `directory` begins.
  void BeginSearch(const std::wstring& directory, const Reading& reading) {
    directory_ = directory;
    unused_.clear();
    inUseByFile_.clear();
    for (const File& file : present_) {
      if (!lab::FoldAscii(file.name).ends_with(kExtension)) continue;
      const bool byPath = reading.paths.contains(Folded(directory + file.name));
      const bool byFile = reading.files.contains(folder_.path + L"\\" + file.name);
      (byPath || byFile ? inUse_ : unused_).insert(file.name);
      if (byFile && !byPath) inUseByFile_.insert(file.name);
    }
    listed_.clear();
  }

  // Whether the search may list, next, the file that was last read at `time`.
  bool MayList(const std::string& time) const {
    const File* const file = FileRead(time);
    if (!file || listed_.contains(file->name)) return false;
    // What was taken along with another may still be met, but not be looked at any more.
    const bool gone = inUseByFile_.contains(file->name) && !Left().contains(file->name);
    return gone || unused_.contains(file->name);
  }

  // What is listed of an unused file now, and with `force` its removal.
  std::string List(const std::string& time, bool force) {
    const File& file = *FileRead(time);
    listed_.insert(file.name);
    UnusedFile listed{Utf8FromWide(NamePart(Folded(file.name))),
                      static_cast<int64_t>(file.size / 1024),
                      time,
                      {}};
    // For a name that the code page cannot hold nothing goes.
    if (IsExact(file.name)) {
      const std::wstring stem = file.name.substr(0, file.name.size() - kExtension.size());
      for (const File& each : present_) {
        if (Takes(stem, each)) listed.deleted.push_back(Utf8FromWide(directory_ + each.name));
      }
      if (force) {
        std::erase_if(present_,
                      [&](const File& each) { return Takes(stem, each) && !each.readOnly; });
      }
      stems_.push_back(stem);
    }
    return SortDeleting(Block(listed));
  }

  // After a search: what was not listed is gone, taken along by another.
  void ExpectAllListed() const {
    for (const std::wstring& name : unused_) {
      if (!listed_.contains(name)) {
        EXPECT_FALSE(Left().contains(name)) << Utf8FromWide(name);
      }
    }
  }

  // No file in use is gone but by the pattern of another's base name.
  void ExpectUsedFilesKept(const std::set<std::wstring>& left) const {
    for (const std::wstring& name : inUse_) {
      const bool taken = std::any_of(stems_.begin(), stems_.end(), [&](const std::wstring& stem) {
        return IsExact(name) && SameName(std::wstring_view(name).substr(0, stem.size()), stem);
      });
      EXPECT_TRUE(left.contains(name) || taken) << Utf8FromWide(folder_.path + L"\\" + name);
    }
  }

  std::set<std::wstring> Left() const {
    std::set<std::wstring> names;
    for (const File& file : present_) names.insert(file.name);
    return names;
  }

  bool Clean() const { return unused_.empty(); }
  size_t UnusedCount() const { return unused_.size(); }
  size_t UsedCount() const { return inUse_.size(); }
  size_t UsedTaken() const {
    const std::set<std::wstring> left = Left();
    return static_cast<size_t>(
        std::count_if(inUse_.begin(), inUse_.end(),
                      [&](const std::wstring& name) { return !left.contains(name); }));
  }

 private:
  static bool Takes(const std::wstring& stem, const File& file) {
    return IsExact(file.name) &&
           SameName(std::wstring_view(file.name).substr(0, stem.size()), stem);
  }
  const File* FileRead(const std::string& time) const {
    const auto file =
        std::find_if(folder_.files.begin(), folder_.files.end(),
                     [&](const File& each) { return LocalTimeText(each.read) == time; });
    return file == folder_.files.end() ? nullptr : &*file;
  }

  const Folder& folder_;
  std::wstring directory_;
  std::vector<File> present_;
  std::set<std::wstring> unused_;
  std::set<std::wstring> inUse_;
  std::set<std::wstring> inUseByFile_;  // but not by the text of its path
  std::set<std::wstring> listed_;
  std::vector<std::wstring> stems_;
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
    for (const std::wstring& path : OuterFiles(Directory().wstring())) {
      ASSERT_TRUE(lab::WriteFileOfSize(path, 1));
    }
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
    const std::string output = force ? Run("-purgeQsf -f") : Run("-purgeQsf");
    const Reading reading = Read(world_);
    std::vector<ModelFolder> folders(world_.folders.begin(), world_.folders.end());
    EXPECT_EQ(SortDeleting(output),
              reading.lines + Listing(TimesIn(output), reading, folders, force));
    for (size_t i = 0; i < folders.size(); ++i) CheckFiles(world_.folders[i], folders[i], force);
    CheckOthers();
    if (force) Count(reading, folders);
  }

  // The times of the listed files, in their order.
  static Strings TimesIn(std::string_view output) {
    constexpr std::string_view kTime = "Last access time: ";
    Strings times;
    for (const std::string& line : Lines(output)) {
      if (line.starts_with(kTime)) times.push_back(line.substr(kTime.size()));
    }
    return times;
  }

  // The folder that a directory, as a path in use spells it, leads to.
  size_t FolderOf(const std::wstring& directory) const {
    const std::filesystem::path normal = std::filesystem::path(directory).lexically_normal();
    const auto folder = std::find_if(
        world_.folders.begin(), world_.folders.end(),
        [&](const Folder& each) { return SameName(each.path + L"\\", normal.wstring()); });
    EXPECT_NE(folder, world_.folders.end()) << Utf8FromWide(directory);
    return static_cast<size_t>(folder - world_.folders.begin());
  }

  // The listing that the model makes in the order in which the files of a folder were listed: that
  // of a search ends with the first one that this search cannot list.
  std::string Listing(const Strings& times, const Reading& reading,
                      std::vector<ModelFolder>& folders, bool force) const {
    if (reading.failed) return "";
    std::set<std::string> directories;
    for (const std::wstring& path : reading.paths) {
      directories.insert(lab::NarrowFromWide(DirectoryPart(path)));
    }
    std::string listing;
    bool found = false;
    auto time = times.begin();
    for (const std::string& narrow : directories) {
      const std::wstring directory = lab::WideFromNarrow(narrow);
      ModelFolder& folder = folders.at(FolderOf(directory));
      folder.BeginSearch(directory, reading);
      for (; time != times.end() && folder.MayList(*time); ++time) {
        listing += folder.List(*time, force);
      }
      folder.ExpectAllListed();
      found = found || !folder.Clean();
      if (!found) listing += Text({kNothingUnused});
    }
    return listing;
  }

  static void CheckFiles(const Folder& folder, const ModelFolder& model, bool force) {
    const auto names = lab::FilesIn(folder.path);
    const std::set<std::wstring> left(names.begin(), names.end());
    EXPECT_EQ(left, force ? model.Left() : ModelFolder(folder).Left());
    model.ExpectUsedFilesKept(left);
    for (const std::wstring& path : InnerFiles(folder)) {
      EXPECT_TRUE(std::filesystem::exists(path)) << Utf8FromWide(path);
    }
  }

  void CheckOthers() const {
    for (const std::wstring& path : OuterFiles(Directory().wstring())) {
      EXPECT_TRUE(std::filesystem::exists(path)) << Utf8FromWide(path);
    }
  }

  void Count(const Reading& reading, const std::vector<ModelFolder>& folders) {
    ++tally_.rounds;
    tally_.unreadable += reading.failed ? 1 : 0;
    for (const ModelFolder& folder : folders) {
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
    SCOPED_TRACE("code page " + std::to_string(GetACP()) + ", seed " + std::to_string(seed));
    MakeWorld(seed);
    if (!HasFatalFailure()) {
      CheckRun(false);
      CheckRun(true);
    }
    RemoveWorld();
    if (HasFailure()) return;
  }
  std::cout << "code page " << GetACP() << ", seeds " << firstSeed << " to "
            << firstSeed + kRoundsOfAShard - 1 << ": " << tally_.rounds * kFoldersOfARound
            << " folders, " << tally_.unused << " unused files, " << tally_.used
            << " used files of which " << tally_.usedTaken << " went with others, "
            << tally_.unreadable << " runs ended early\n";
  EXPECT_GT(tally_.unused, 0U);
  EXPECT_GT(tally_.used, tally_.usedTaken);
}

INSTANTIATE_TEST_SUITE_P(Shards, PurgeModelTest, ::testing::Range(0, kShards));

}  // namespace
}  // namespace e2e
