// What -purgeQsf costs in big folders beside bare enumeration of the same folder by the same calls.
// Both run in turn, and the median of their ratios counts: the machine may do something else too.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "src/commands/unused_files.h"
#include "src/platform/text.h"
#include "tests/e2e/support/temp_directory.h"

namespace {

constexpr int kFiles = 20000;
constexpr int kRounds = 41;
constexpr double kMostTimesBareEnumeration = 1.15;

using Clock = std::chrono::steady_clock;
using Paths = std::map<std::string, std::string>;

double MicrosSince(Clock::time_point start) {
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

// Where Wine makes a file without a look at every other name of its folder, which takes minutes for
// thousands of them; elsewhere the path itself.
std::wstring DirectPath(const std::wstring& path) {
  using GetUnixFileName = char*(__cdecl*)(const wchar_t*);
  const auto getUnixFileName = reinterpret_cast<GetUnixFileName>(
      GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name"));
  char* const name = getUnixFileName ? getUnixFileName(path.c_str()) : nullptr;
  if (!name) return path;
  std::wstring direct = L"\\\\?\\unix" + platform::FromCodePage(name, CP_UTF8);
  HeapFree(GetProcessHeap(), 0, name);
  return direct;
}

std::string NameOfFile(int number, const char* extension) {
  const std::string digits = std::to_string(number);
  return "user" + std::string(5 - digits.size(), '0') + digits + "@example.com" + extension;
}

class PurgeSpeedTest : public ::testing::Test {
 protected:
  PurgeSpeedTest() {
    directory_ = folder_.Path().string() + '\\';
    platform::LowerAscii(directory_, CP_ACP);
  }

  // Store files in use, and others that are no store files.
  void MakeFiles(int stores, int others) {
    const std::wstring direct = DirectPath(folder_.Path().wstring());
    for (int i = 0; i < stores + others; ++i) {
      const bool isStore = i < stores;
      const std::string name = NameOfFile(i, isStore ? ".qsf" : ".idx");
      if (isStore) inUse_.emplace(directory_ + name, directory_ + name);
      const std::wstring path = direct + L'\\' + std::wstring(name.begin(), name.end());
      HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
      ASSERT_NE(file, INVALID_HANDLE_VALUE) << name << ": error " << GetLastError();
      CloseHandle(file);
    }
  }

  double BareMicros(int expectedEntries) const {
    const std::string pattern = directory_ + "*.qsf";
    int entries = 0;
    const auto start = Clock::now();
    WIN32_FIND_DATAA entry;
    HANDLE search = FindFirstFileA(pattern.c_str(), &entry);
    while (search != INVALID_HANDLE_VALUE) {
      ++entries;
      if (!FindNextFileA(search, &entry)) break;
    }
    FindClose(search);
    const double micros = MicrosSince(start);
    EXPECT_EQ(entries, expectedEntries);
    return micros;
  }

  double PurgeMicros() const {
    const auto start = Clock::now();
    InUseFiles inUse(inUse_);
    const bool found = PurgeDirectory(directory_, inUse, 0);
    const double micros = MicrosSince(start);
    EXPECT_FALSE(found);
    return micros;
  }

  void Compare(int entries) const {
    std::vector<double> ratios;
    double bare = 0;
    double purge = 0;
    for (int round = 0; round < kRounds && !HasFailure(); ++round) {
      const double bareMicros = BareMicros(entries);
      const double purgeMicros = PurgeMicros();
      ratios.push_back(purgeMicros / bareMicros);
      bare = round == 0 ? bareMicros : std::min(bare, bareMicros);
      purge = round == 0 ? purgeMicros : std::min(purge, purgeMicros);
    }
    const auto median = ratios.begin() + static_cast<ptrdiff_t>(ratios.size() / 2);
    std::nth_element(ratios.begin(), median, ratios.end());
    std::cout << "bare enumeration " << bare << " us, the command's " << purge
              << " us at best; median ratio " << *median << '\n';
    EXPECT_LE(*median, kMostTimesBareEnumeration);
  }

 private:
  const e2e::TempDirectory folder_;
  std::string directory_;
  Paths inUse_;
};

TEST_F(PurgeSpeedTest, FilesInUseCostLittleMoreThanBareEnumeration) {
  MakeFiles(kFiles, 0);
  Compare(kFiles);
}

TEST_F(PurgeSpeedTest, FilesThatAreNoStoresCostLittleMoreThanBareEnumeration) {
  constexpr int kStores = 50;
  MakeFiles(kStores, kFiles - kStores);
  Compare(kStores);
}

}  // namespace
