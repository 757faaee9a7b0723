// The BES configuration database.
#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "src/besdb/oledb/data_source.h"
#include "src/besdb/oledb/rowset.h"

// One connection, made on first use and kept until the object goes. Every operation prints its own
// failure line and returns an HRESULT; what an operation had collected before a failure stays in
// its containers. COM must be initialised on the calling thread, and stay so until the object is
// gone.
class CBESDatabase {
 public:
  // Server name, exactly as stored, to server id; ordinal order.
  using ServerMap = std::map<std::wstring, std::int32_t>;

  CBESDatabase() = default;
  // Releases the session, then the data source.
  virtual ~CBESDatabase();
  CBESDatabase(const CBESDatabase&) = delete;
  CBESDatabase& operator=(const CBESDatabase&) = delete;

  // The OLE DB initialisation string of the database that the registry names. Its values go in as
  // they are, unquoted.
  HRESULT GetConnectionString(std::wstring& connectionString);

  // Opens the database; does nothing when it is open. A failed attempt is made again next time.
  HRESULT Connect();

  // Runs statements that return no rows.
  HRESULT Execute(const std::wstring& sqlText);

  // The Exchange-type servers. Of rows with the same name the first counts.
  HRESULT GetServers(ServerMap& servers);

  // How many users of a server are not deleted.
  HRESULT CountServerUsers(std::int32_t serverId, std::uint32_t& count);

  // Their names in row order, A to Z in lower case.
  HRESULT GetServerUserNames(std::int32_t serverId, std::vector<std::wstring>& userNames);

  // The agents that serve them, and each agent's users, A to Z in lower case.
  HRESULT GetServerUserNamesByAgentId(std::int32_t serverId, std::set<std::int32_t>& agentIds,
                                      std::multimap<std::int32_t, std::wstring>& usersByAgent);

 private:
  using RowReader = std::function<HRESULT(const oledb::Rowset& row)>;

  // Runs a query that must return `columnCount` columns and hands each row to `readRow` until that
  // fails. `function` is the name in the messages.
  HRESULT ReadRows(const char* function, const std::wstring& sqlText, size_t columnCount,
                   const RowReader& readRow);

  oledb::DataSource dataSource_;
  oledb::Session session_;
  std::uint32_t connected_ = 0;
};
