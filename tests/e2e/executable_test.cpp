// What the shipped files tell the loader: which functions they take from MAPI, and that they are
// built to make attacks on their memory hard.
#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "lab/common/text.h"
#include "tests/e2e/support/directory.h"
#include "tests/e2e/support/output.h"

namespace e2e {
namespace {

// A file in the format of Windows' executables.
class ExecutableFile {
 public:
  explicit ExecutableFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    bytes_.assign(std::istreambuf_iterator<char>(file), {});
    if (bytes_.empty()) throw std::runtime_error("cannot read " + path.string());
  }

  const IMAGE_NT_HEADERS64& Headers() const {
    return *At<IMAGE_NT_HEADERS64>(At<IMAGE_DOS_HEADER>(0)->e_lfanew);
  }

  // What is taken from `library`: "#17" by number, the name otherwise.
  std::multiset<std::string> ImportsFrom(std::string_view library) const {
    std::multiset<std::string> imports;
    const auto& directory =
        Headers().OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    for (const auto* entry = Mapped<IMAGE_IMPORT_DESCRIPTOR>(directory); entry->Name; ++entry) {
      if (_stricmp(Mapped<char>(entry->Name), std::string(library).c_str()) != 0) continue;
      for (const auto* thunk = Mapped<ULONGLONG>(entry->OriginalFirstThunk); *thunk; ++thunk) {
        imports.insert(IMAGE_SNAP_BY_ORDINAL64(*thunk)
                           ? "#" + std::to_string(IMAGE_ORDINAL64(*thunk))
                           : Mapped<IMAGE_IMPORT_BY_NAME>(static_cast<DWORD>(*thunk))->Name);
      }
    }
    return imports;
  }

  // The libraries that something is taken from, in small letters.
  std::set<std::string> Libraries() const {
    std::set<std::string> names;
    const auto& directory =
        Headers().OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    for (const auto* entry = Mapped<IMAGE_IMPORT_DESCRIPTOR>(directory); entry->Name; ++entry) {
      names.insert(lab::FoldAscii(std::string_view(Mapped<char>(entry->Name))));
    }
    return names;
  }

  // The names that are defined in the file.
  std::set<std::string> Symbols() const {
    const IMAGE_FILE_HEADER& header = Headers().FileHeader;
    const auto* symbols = At<IMAGE_SYMBOL>(header.PointerToSymbolTable);
    const auto* strings = reinterpret_cast<const char*>(symbols + header.NumberOfSymbols);
    std::set<std::string> names;
    for (DWORD i = 0; i < header.NumberOfSymbols; i += 1 + symbols[i].NumberOfAuxSymbols) {
      if (symbols[i].SectionNumber <= 0) continue;
      const auto* shortName = reinterpret_cast<const char*>(symbols[i].N.ShortName);
      names.insert(symbols[i].N.Name.Short ? std::string(shortName, strnlen(shortName, 8))
                                           : strings + symbols[i].N.Name.Long);
    }
    return names;
  }

 private:
  template <typename T>
  const T* At(size_t offset) const {
    return reinterpret_cast<const T*>(bytes_.data() + offset);
  }

  // What lies at `address` once the file is loaded.
  template <typename T>
  const T* Mapped(DWORD address) const {
    const auto* section = reinterpret_cast<const IMAGE_SECTION_HEADER*>(&Headers() + 1);
    while (address - section->VirtualAddress >= section->SizeOfRawData) ++section;
    return At<T>(address - section->VirtualAddress + section->PointerToRawData);
  }

  std::vector<char> bytes_;
};

// The symbols are split off a release, and stay in a debug build.
std::filesystem::path FileWithSymbols(const std::wstring& name) {
  const std::filesystem::path program = LabBinaries() / L"..\\bin" / (name + L".exe");
  const std::filesystem::path symbols = program.native() + L".debug";
  return std::filesystem::exists(symbols) ? symbols : program;
}

// The names of MAPI's exports differ between its implementations, their numbers do not.
TEST(ExecutableTest, TakesMapiByNumber) {
  EXPECT_EQ(ExecutableFile(ShippedProgram()).ImportsFrom("mapi32.dll"),
            (std::multiset<std::string>{"#11", "#17", "#19", "#21", "#23", "#75", "#135", "#140"}));
}

// It knows nothing of MAPI, and of Windows only what every program does.
TEST(ExecutableTest, TheRunnerTakesNothingFromMapi) {
  EXPECT_EQ(ExecutableFile(LabBinaries() / L"qrvrun.exe").Libraries(),
            (std::set<std::string>{"advapi32.dll", "kernel32.dll", "msvcrt.dll"}));
}

class HardenedTest : public ::testing::TestWithParam<std::wstring> {
 protected:
  std::filesystem::path path_ = LabBinaries() / (GetParam() + L".exe");
};

TEST_P(HardenedTest, HasUnforeseeableAddressesAndNoExecutableData) {
  constexpr WORD kHardened = IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE |
                             IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA |
                             IMAGE_DLLCHARACTERISTICS_NX_COMPAT;
  const ExecutableFile file(path_);
  EXPECT_EQ(file.Headers().OptionalHeader.DllCharacteristics & kHardened, kHardened);
  EXPECT_EQ(file.Headers().FileHeader.Characteristics & IMAGE_FILE_RELOCS_STRIPPED, 0);
}

// Nothing but a use of it brings this function into the file.
TEST_P(HardenedTest, GuardsItsStack) {
  EXPECT_TRUE(ExecutableFile(FileWithSymbols(GetParam())).Symbols().contains("__stack_chk_fail"));
}

#ifdef NDEBUG
// Four fifths of it are what the C++ library brings along with wide streams.
TEST_P(HardenedTest, StaysNearOneMebibyte) {
  EXPECT_LE(std::filesystem::file_size(path_), (1U << 20) * 106 / 100);
}
#endif

INSTANTIATE_TEST_SUITE_P(Files, HardenedTest, ::testing::Values(L"qrvadmin", L"qrvrun"),
                         [](const auto& test) { return Utf8FromWide(test.param); });

// Of our library calls the optimiser of GCC 12 leaves three to be checked in the running program;
// GCC 14's finds all of them safe.
#if defined(NDEBUG) && defined(__OPTIMIZE__) && __GNUC__ < 14
TEST(ExecutableTest, GuardsItsBuffers) {
  EXPECT_TRUE(ExecutableFile(FileWithSymbols(L"qrvadmin")).Symbols().contains("__memcpy_chk"));
}
#endif

}  // namespace
}  // namespace e2e
