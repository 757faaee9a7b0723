#include "lab/bes/bes_database.h"

#include <algorithm>

#include "lab/common/registry_key.h"

namespace lab {
namespace {

constexpr wchar_t kBesKey[] =
    L"SOFTWARE\\Research In Motion\\BlackBerry Enterprise Server\\Database";
constexpr size_t kRowsPerInsert = 200;

// Where a collation that ignores case does not come with the database.
constexpr char kPostgres[] = "PostgreSQL";
constexpr wchar_t kPostgresCollation[] =
    L"CREATE COLLATION IF NOT EXISTS nocase "
    L"(provider = icu, locale = 'und-u-ks-level2', deterministic = false)";

constexpr wchar_t kServerTable[] =
    L"CREATE TABLE ServerConfig (Id INTEGER, MachineName VARCHAR(255) COLLATE NOCASE, "
    L"MailStoreType VARCHAR(64) COLLATE NOCASE)";
constexpr wchar_t kUserTable[] =
    L"CREATE TABLE UserConfig (ServerConfigId INTEGER, UserName VARCHAR(512) COLLATE NOCASE, "
    L"MailboxDN VARCHAR(512) COLLATE NOCASE, AgentId INTEGER, UserDeleteStatus INTEGER, "
    L"DisplayName VARCHAR(512) COLLATE NOCASE)";
constexpr wchar_t kServerColumns[] = L"Id, MachineName, MailStoreType";
constexpr wchar_t kUserColumns[] =
    L"ServerConfigId, UserName, MailboxDN, AgentId, UserDeleteStatus, DisplayName";

std::wstring SqlLiteral(const std::wstring& text) {
  std::wstring literal = L"'";
  for (const wchar_t c : text) literal.append(c == L'\'' ? 2 : 1, c);
  return literal + L'\'';
}

std::wstring Literal(const std::optional<std::wstring>& text) {
  return text ? SqlLiteral(*text) : L"NULL";
}

std::wstring Literal(const std::optional<int32_t>& number) {
  return number ? std::to_wstring(*number) : L"NULL";
}

std::wstring RowOf(const BesUser& user) {
  return L"(" + Literal(user.serverConfigId) + L',' + Literal(user.userName) + L',' +
         Literal(user.mailboxDn) + L',' + Literal(user.agentId) + L',' +
         Literal(user.userDeleteStatus) + L',' + Literal(user.displayName) + L')';
}

std::optional<int32_t> NumberOf(const OdbcCell& cell) {
  if (!cell) return std::nullopt;
  return static_cast<int32_t>(std::wcstol(cell->c_str(), nullptr, 10));
}

BesUser UserOf(const OdbcRow& row) {
  return {NumberOf(row.at(0)), row.at(1),           row.at(2),
          NumberOf(row.at(3)), NumberOf(row.at(4)), row.at(5)};
}

}  // namespace

BesDatabase::BesDatabase() : BesDatabase(OdbcConnectionString()) {}

BesDatabase::BesDatabase(const std::wstring& connection, OdbcText text)
    : connection_(std::make_unique<OdbcConnection>(connection, text)) {}

void BesDatabase::CreateTables() {
  if (connection_->ProductName() == kPostgres) Run(kPostgresCollation);
  Run(L"DROP TABLE IF EXISTS ServerConfig");
  Run(L"DROP TABLE IF EXISTS UserConfig");
  Run(kServerTable);
  Run(kUserTable);
}

void BesDatabase::AddServer(const BesServer& server) {
  Run(std::wstring(L"INSERT INTO ServerConfig (") + kServerColumns + L") VALUES (" +
      Literal(server.id) + L',' + Literal(server.machineName) + L',' +
      Literal(server.mailStoreType) + L')');
}

void BesDatabase::AddServer(int32_t id, const std::wstring& machineName) {
  AddServer({.id = id, .machineName = machineName});
}

void BesDatabase::AddUser(const BesUser& user) { AddUsers({user}); }

void BesDatabase::InsertUsers(std::span<const BesUser> users) {
  std::wstring statement = std::wstring(L"INSERT INTO UserConfig (") + kUserColumns + L") VALUES ";
  for (const BesUser& user : users) statement += RowOf(user) + L',';
  statement.pop_back();
  Run(statement);
}

void BesDatabase::AddUsers(const std::vector<BesUser>& users) {
  Run(L"BEGIN TRANSACTION");
  try {
    std::span<const BesUser> left = users;
    while (!left.empty()) {
      const size_t count = std::min(left.size(), kRowsPerInsert);
      InsertUsers(left.first(count));
      left = left.subspan(count);
    }
    Run(L"COMMIT");
  } catch (const OdbcError&) {
    Run(L"ROLLBACK");
    throw;
  }
}

void BesDatabase::AddSampleUsers(int32_t serverId, uint32_t count) {
  std::vector<BesUser> users;
  for (uint32_t i = 1; i <= count; ++i) {
    BesUser user;
    user.serverConfigId = serverId;
    user.userName = L"user" + std::to_wstring(i) + L"@example.com";
    user.mailboxDn = user.userName;
    user.displayName = L"User " + std::to_wstring(i);
    users.push_back(std::move(user));
  }
  AddUsers(users);
}

std::vector<BesUser> BesDatabase::UsersWhere(const std::wstring& condition) {
  std::vector<BesUser> users;
  const std::wstring statement =
      std::wstring(L"SELECT ") + kUserColumns + L" FROM UserConfig" + condition;
  for (const OdbcRow& row : Run(statement).rows) users.push_back(UserOf(row));
  return users;
}

std::vector<BesUser> BesDatabase::Users() { return UsersWhere({}); }

std::vector<BesUser> BesDatabase::Users(int32_t serverId) {
  return UsersWhere(L" WHERE ServerConfigId=" + std::to_wstring(serverId));
}

std::optional<int32_t> BesDatabase::AgentOf(const std::wstring& mailbox) {
  const std::vector<BesUser> users = UsersWhere(L" WHERE MailboxDN=" + SqlLiteral(mailbox));
  return users.empty() ? std::nullopt : users.front().agentId;
}

bool SetBesDatabaseLocation(const std::wstring& server, const std::wstring& database) {
  return SetBesRegistryValue(kBesServerValue, TextValue(server, REG_SZ)) &&
         SetBesRegistryValue(kBesDatabaseValue, TextValue(database, REG_SZ));
}

bool SetBesRegistryValue(const std::wstring& name, const RawValue& value) {
  const RegistryKey key = RegistryKey::Create(HKEY_LOCAL_MACHINE, kBesKey);
  return key.Open() && key.Write(name, value);
}

bool RemoveBesRegistryValue(const std::wstring& name) {
  const RegistryKey key = RegistryKey::OpenExisting(HKEY_LOCAL_MACHINE, kBesKey, KEY_SET_VALUE);
  return !key.Open() || key.Remove(name);
}

bool RemoveBesRegistryKey() { return DeleteKeyTree(HKEY_LOCAL_MACHINE, kBesKey); }

}  // namespace lab
