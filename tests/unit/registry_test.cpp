#include "src/platform/registry.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace platform {
namespace {

constexpr const wchar_t* kTestKey = L"Software\\QrvLab\\RegistryTest";

RegistryValue Bytes(std::initializer_list<BYTE> bytes) { return {REG_BINARY, bytes}; }

TEST(RegistryValueText, EndsAtTheTerminator) {
  EXPECT_EQ(Bytes({'a', 0, 'b', 0, 0, 0, 'c', 0}).Text(), L"ab");
}

TEST(RegistryValueText, WithoutATerminatorEndsWithTheBytes) {
  EXPECT_EQ(Bytes({'a', 0, 'b', 0}).Text(), L"ab");
  EXPECT_EQ(Bytes({'a', 0, 'b'}).Text(), L"a");
  EXPECT_EQ(Bytes({'a'}).Text(), L"");
  EXPECT_EQ(Bytes({}).Text(), L"");
}

class RegistryKeyTest : public ::testing::Test {
 protected:
  RegistryKeyTest() {
    HKEY created = nullptr;
    RegCreateKeyExW(HKEY_CURRENT_USER, kTestKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &created,
                    nullptr);
    RegCloseKey(created);
  }
  ~RegistryKeyTest() override { RegDeleteTreeW(HKEY_CURRENT_USER, kTestKey); }
};

TEST_F(RegistryKeyTest, OpensAKeyAndReadsItsValues) {
  const std::wstring text(3000, L't');
  RegSetKeyValueW(HKEY_CURRENT_USER, kTestKey, L"Text", REG_SZ, text.c_str(),
                  static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
  RegistryKey key;
  ASSERT_EQ(key.Open(HKEY_CURRENT_USER, kTestKey, KEY_READ), ERROR_SUCCESS);
  const auto value = key.Read(L"Text");
  ASSERT_TRUE(value);
  EXPECT_EQ(value->type, DWORD{REG_SZ});
  EXPECT_EQ(value->Text(), text);
}

TEST_F(RegistryKeyTest, AnEmptyValueExists) {
  RegSetKeyValueW(HKEY_CURRENT_USER, kTestKey, L"Empty", REG_BINARY, nullptr, 0);
  RegistryKey key;
  ASSERT_EQ(key.Open(HKEY_CURRENT_USER, kTestKey, KEY_READ), ERROR_SUCCESS);
  const auto value = key.Read(L"Empty");
  ASSERT_TRUE(value);
  EXPECT_TRUE(value->bytes.empty());
}

// Gives a value some bytes and takes them away again for as long as it lives.
class ValueChanger {
 public:
  ValueChanger(const wchar_t* name, const std::vector<BYTE>& bytes)
      : thread_([this, name, bytes] {
          RegistryKey key;
          key.Open(HKEY_CURRENT_USER, kTestKey, KEY_WRITE);
          while (!ended_) {
            RegSetValueExW(key.Get(), name, 0, REG_BINARY, bytes.data(),
                           static_cast<DWORD>(bytes.size()));
            RegSetValueExW(key.Get(), name, 0, REG_BINARY, nullptr, 0);
          }
        }) {}
  ~ValueChanger() {
    ended_ = true;
    thread_.join();
  }

 private:
  std::atomic<bool> ended_ = false;
  std::thread thread_;
};

TEST_F(RegistryKeyTest, AValueThatGrowsFromNothingMeanwhileIsReadWhole) {
  const std::vector<BYTE> bytes = {1, 2, 3, 4};
  RegistryKey key;
  ASSERT_EQ(key.Open(HKEY_CURRENT_USER, kTestKey, KEY_READ), ERROR_SUCCESS);
  const ValueChanger changer(L"Growing", bytes);
  int whole = 0;
  for (int i = 0; i < 5000; ++i) {
    const auto value = key.Read(L"Growing");
    if (!value || value->bytes.empty()) continue;
    ASSERT_EQ(value->bytes, bytes) << "read " << i;
    ++whole;
  }
  EXPECT_GT(whole, 0);
}

TEST_F(RegistryKeyTest, AMissingValueIsNone) {
  RegistryKey key;
  ASSERT_EQ(key.Open(HKEY_CURRENT_USER, kTestKey, KEY_READ), ERROR_SUCCESS);
  EXPECT_FALSE(key.Read(L"Missing"));
}

TEST_F(RegistryKeyTest, AMissingKeyLeavesNone) {
  RegistryKey key;
  ASSERT_EQ(key.Open(HKEY_CURRENT_USER, kTestKey, KEY_READ), ERROR_SUCCESS);
  EXPECT_EQ(key.Open(HKEY_CURRENT_USER, L"Software\\QrvLab\\Missing", KEY_READ),
            ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(key.Get(), nullptr);
  EXPECT_FALSE(key.Read(L"Text"));
}

TEST_F(RegistryKeyTest, AnEmptyPathOpensTheParentItself) {
  RegistryKey root;
  ASSERT_EQ(root.Open(HKEY_CURRENT_USER, L"", KEY_READ), ERROR_SUCCESS);
  RegistryKey key;
  EXPECT_EQ(key.Open(root.Get(), kTestKey, KEY_READ), ERROR_SUCCESS);
}

}  // namespace
}  // namespace platform
