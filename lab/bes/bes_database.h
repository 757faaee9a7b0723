// The configuration database of a simulated BlackBerry Enterprise Server, and the registry entries
// that say where it is.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "lab/bes/odbc_connection.h"
#include "lab/common/profile_registry.h"

namespace lab {

// Rows of the tables; none stands for NULL.
struct BesServer {
  std::optional<int32_t> id;
  std::optional<std::wstring> machineName;
  std::optional<std::wstring> mailStoreType = L"Exchange";
};

struct BesUser {
  std::optional<int32_t> serverConfigId;
  std::optional<std::wstring> userName;
  std::optional<std::wstring> mailboxDn;
  std::optional<int32_t> agentId = 0;
  std::optional<int32_t> userDeleteStatus = 0;
  std::optional<std::wstring> displayName;
};

// An open database. Every operation throws OdbcError when the database refuses.
class BesDatabase {
 public:
  // Opens the database that the lab is configured for, or another one.
  BesDatabase();
  explicit BesDatabase(const std::wstring& connection, OdbcText text = OdbcTextMode());

  // Makes the tables anew, without rows. Text in them compares without regard to case.
  void CreateTables();

  // Adds rows as they are. Many rows at once are one transaction.
  void AddServer(const BesServer& server);
  void AddServer(int32_t id, const std::wstring& machineName);
  void AddUser(const BesUser& user);
  void AddUsers(const std::vector<BesUser>& users);

  // Adds `count` users of a server, user<n>@example.com from n = 1 on, with their address also in
  // MailboxDN, all on agent 0.
  void AddSampleUsers(int32_t serverId, uint32_t count);

  // All users, or one server's, in the order in which the database returns them.
  std::vector<BesUser> Users();
  std::vector<BesUser> Users(int32_t serverId);
  // The agent of the user whose MailboxDN is `mailbox`; none when there is no such user.
  std::optional<int32_t> AgentOf(const std::wstring& mailbox);

  // Runs one statement.
  OdbcResult Run(const std::wstring& statement) { return connection_->Run(statement); }

 private:
  std::vector<BesUser> UsersWhere(const std::wstring& condition);
  void InsertUsers(std::span<const BesUser> users);

  std::unique_ptr<OdbcConnection> connection_;
};

// The registry entries of the server's installation on this machine. Writing creates the key;
// removing what is not there succeeds. False when the registry refuses.
bool SetBesDatabaseLocation(const std::wstring& server, const std::wstring& database);
inline constexpr wchar_t kBesServerValue[] = L"DatabaseServerMachineName";
inline constexpr wchar_t kBesDatabaseValue[] = L"DatabaseName";
bool SetBesRegistryValue(const std::wstring& name, const RawValue& value);
bool RemoveBesRegistryValue(const std::wstring& name);
bool RemoveBesRegistryKey();

}  // namespace lab
