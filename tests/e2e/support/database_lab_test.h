// The frame of a test whose program works on the BES database.
//
//   TEST_F(ListServersTest, ShowsIdAndName) {
//     Database().AddServer(7, L"BES01");
//     EXPECT_EQ(Run("-listServers"), Text({"Id: 7", "MachineName: BES01", " "}));
//   }
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "lab/bes/bes_database.h"
#include "tests/e2e/support/lab_test.h"

namespace e2e {

// What the registry says where the database is, unless a test says otherwise.
inline constexpr wchar_t kBesServer[] = L"SRV";
inline constexpr wchar_t kBesDatabase[] = L"BES";
inline constexpr char kConnectionLine[] =
    "Connection string=Provider=SQLOLEDB;Server=SRV;Database=BES;Trusted_Connection=Yes";

inline constexpr char kSelectServers[] =
    "SELECT Id,MachineName From ServerConfig WHERE MailStoreType='Exchange';";

// This computer's name in capitals, as servers have theirs in the database; empty when it has none.
std::wstring ComputerName();

// Has the tests to come work on the database that QRVLAB_ODBC and QRVLAB_ODBC_TEXT name, one after
// the other, rather than each on a file of its own.
void UseConfiguredDatabase();

// Each test finds the lab's provider registered, the registry entries of the BES installation, and
// a database of its own with tables but without rows. It leaves none of them.
class DatabaseLabTest : public LabTest {
 protected:
  void SetUp() override;
  void TearDown() override;

  // The database behind the provider.
  lab::BesDatabase& Database() { return *database_; }

  // A user of a server who is not deleted, with the name as mailbox too.
  void AddUser(int32_t serverId, const std::wstring& name, int32_t agentId = 0);

  // How the provider behaves in the runs to come: lab/oledb/provider_options.h.
  void SetProviderOptions(const std::wstring& options) { providerOptions_ = options; }

  // The statements that the provider was to execute, in order; those that begin with UPDATE.
  Strings Statements() const;
  Strings Updates() const;

 private:
  RunOptions Prepare(RunOptions options) const override;
  std::wstring Connection() const;

  std::unique_ptr<lab::BesDatabase> database_;
  std::wstring providerOptions_;
};

}  // namespace e2e
