#include "tests/e2e/support/database_lab_test.h"

#include <windows.h>

#include <utility>

#include "lab/bes/registration.h"
#include "tests/e2e/support/desktop.h"

namespace e2e {
namespace {

bool databaseIsConfigured = false;

lab::OdbcText TextMode() {
  return databaseIsConfigured ? lab::OdbcTextMode() : lab::OdbcText::kUtf8;
}

}  // namespace

void UseConfiguredDatabase() { databaseIsConfigured = true; }

std::wstring ComputerName() {
  wchar_t name[260] = {};
  DWORD size = ARRAYSIZE(name);
  return GetComputerNameExW(ComputerNameNetBIOS, name, &size) ? _wcsupr(name) : L"";
}

void DatabaseLabTest::SetUp() {
  LabTest::SetUp();
  KeepDesktop();
  ASSERT_TRUE(lab::RegisterOledbProvider());
  ASSERT_TRUE(lab::RemoveBesRegistryKey());
  ASSERT_TRUE(lab::SetBesDatabaseLocation(kBesServer, kBesDatabase));
  database_ = std::make_unique<lab::BesDatabase>(Connection(), TextMode());
  database_->CreateTables();
}

void DatabaseLabTest::TearDown() {
  database_.reset();
  LabTest::TearDown();
  EXPECT_TRUE(lab::RemoveBesRegistryKey());
  EXPECT_TRUE(lab::UnregisterOledbProvider());
}

void DatabaseLabTest::AddUser(int32_t serverId, const std::wstring& name, int32_t agentId) {
  lab::BesUser user;
  user.serverConfigId = serverId;
  user.userName = name;
  user.mailboxDn = name;
  user.agentId = agentId;
  Database().AddUser(user);
}

Strings DatabaseLabTest::Statements() const {
  Strings statements;
  for (const lab::JournalEntry& call : Calls("ICommand::Execute")) {
    statements.push_back(call.Argument("sql"));
  }
  return statements;
}

Strings DatabaseLabTest::Updates() const {
  Strings updates = Statements();
  std::erase_if(updates, [](const std::string& sql) { return !sql.starts_with("UPDATE"); });
  return updates;
}

RunOptions DatabaseLabTest::Prepare(RunOptions options) const {
  options.environment.emplace(L"QRVLAB_ODBC", Connection());
  options.environment.emplace(L"QRVLAB_ODBC_TEXT",
                              TextMode() == lab::OdbcText::kUtf8 ? L"utf8" : L"utf16");
  options.environment.emplace(L"QRVLAB_OLEDB_OPTIONS", providerOptions_);
  return LabTest::Prepare(std::move(options));
}

std::wstring DatabaseLabTest::Connection() const {
  if (databaseIsConfigured) return lab::OdbcConnectionString();
  return lab::SqliteConnectionString(StorePath(L"bes.sqlite"));
}

}  // namespace e2e
