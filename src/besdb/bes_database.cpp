#include "src/besdb/bes_database.h"

#include <optional>
#include <string>
#include <utility>

#include "src/besdb/database_location.h"
#include "src/console/console.h"
#include "src/console/user_break.h"
#include "src/platform/text.h"

namespace {

// The end of every statement about a server's users.
std::wstring OfServer(std::int32_t serverId) {
  return L" From UserConfig WHERE ServerConfigId=" + std::to_wstring(serverId) +
         L" AND UserDeleteStatus=0;";
}

// The row's user name in lower case; nothing, with a line, when there is none.
std::optional<std::wstring> UserNameOf(const oledb::Rowset& row, const char* function) {
  std::optional<std::wstring> userName = row.Text(L"UserName");
  if (!userName) {
    PrintLine(L"%hs: NULL user name", function);
    return std::nullopt;
  }
  platform::LowerAscii(*userName);
  return userName;
}

}  // namespace

CBESDatabase::~CBESDatabase() {
  if (!connected_) return;
  session_.Close();
  dataSource_.Close();
  connected_ = 0;
}

HRESULT CBESDatabase::GetConnectionString(std::wstring& connectionString) {
  DatabaseLocation location;
  const HRESULT hr = ReadDatabaseLocation(location);
  if (FAILED(hr)) {
    PrintLine(L"%hs: Unable to read BES Database properties : 0x%x",
              "CBESDatabase::GetConnectionString", hr);
    return hr;
  }
  connectionString = L"Provider=SQLOLEDB;Server=" + location.server + L";Database=" +
                     location.database + L";Trusted_Connection=Yes";
  return S_OK;
}

HRESULT CBESDatabase::Connect() {
  constexpr const char* kFunction = "CBESDatabase::Connect";
  if (connected_) return S_OK;
  std::wstring connectionString;
  HRESULT hr = GetConnectionString(connectionString);
  if (FAILED(hr)) {
    PrintLine(L"%hs: GetConnectionString failed : 0x%x", kFunction, hr);
    return hr;
  }
  if (VerboseOutput) PrintLine(L"Connection string=%s", connectionString.c_str());
  hr = dataSource_.OpenFromInitializationString(connectionString);
  if (FAILED(hr)) {
    PrintLine(L"%hs: OpenFromInitializationString failed : 0x%x", kFunction, hr);
    return hr;
  }
  hr = session_.Open(dataSource_);
  if (FAILED(hr)) {
    PrintLine(L"%hs: Session open failed : 0x%x", kFunction, hr);
    dataSource_.Close();
    return hr;
  }
  connected_ = 1;
  return hr;
}

HRESULT CBESDatabase::Execute(const std::wstring& sqlText) {
  constexpr const char* kFunction = "CBESDatabase::Execute";
  HRESULT hr = Connect();
  if (FAILED(hr)) {
    PrintLine(L"%hs: Connect failed : 0x%x", kFunction, hr);
    return hr;
  }
  hr = session_.Execute(sqlText);
  if (FAILED(hr)) PrintLine(L"%hs: Failed to execute SQL : 0x%x", kFunction, hr);
  return hr;
}

HRESULT CBESDatabase::ReadRows(const char* function, const std::wstring& sqlText,
                               size_t columnCount, const RowReader& readRow) {
  HRESULT hr = Connect();
  if (FAILED(hr)) {
    PrintLine(L"%hs: Connect failed : 0x%x", function, hr);
    return hr;
  }
  oledb::Rowset rows;
  hr = rows.Open(session_, sqlText);
  if (FAILED(hr)) {
    PrintLine(L"%hs: Failed to execute SQL : 0x%x", function, hr);
    return hr;
  }
  hr = rows.MoveNext();
  if (FAILED(hr)) {
    PrintLine(L"%hs: MoveFirst failed : 0x%x", function, hr);
    return hr;
  }
  if (rows.ColumnCount() != columnCount) {
    PrintLine(L"%hs: column count check failed", function);
    return E_FAIL;
  }
  while (hr != DB_S_ENDOFROWSET) {
    hr = readRow(rows);
    if (FAILED(hr)) return hr;
    hr = rows.MoveNext();
    if (FAILED(hr)) {
      PrintLine(L"%hs: MoveNext failed : 0x%x", function, hr);
      return hr;
    }
  }
  return S_OK;
}

HRESULT CBESDatabase::GetServers(ServerMap& servers) {
  constexpr const char* kFunction = "CBESDatabase::GetServers";
  const auto addServer = [&](const oledb::Rowset& row) {
    const std::optional<std::int32_t> id = row.Integer(L"Id");
    if (!id) {
      PrintLine(L"%hs: Failed to read Id column", kFunction);
      return E_FAIL;
    }
    const std::optional<std::wstring> name = row.Text(L"MachineName");
    if (!name) {
      PrintLine(L"%hs: NULL server name", kFunction);
      return E_FAIL;
    }
    // As stored, not in capitals: callers that look a name up rely on it.
    servers.emplace(*name, *id);
    return S_OK;
  };
  return ReadRows(kFunction,
                  L"SELECT Id,MachineName From ServerConfig WHERE MailStoreType='Exchange';", 2,
                  addServer);
}

HRESULT CBESDatabase::CountServerUsers(std::int32_t serverId, std::uint32_t& count) {
  constexpr const char* kFunction = "CBESDatabase::CountServerUsers";
  const auto takeCount = [&](const oledb::Rowset& row) {
    // The column has no name.
    const std::optional<std::int32_t> value = row.Integer(size_t{0});
    if (!value) {
      PrintLine(L"%hs: Failed to read COUNT column", kFunction);
      return E_FAIL;
    }
    count = static_cast<std::uint32_t>(*value);
    return S_OK;
  };
  return ReadRows(kFunction, L"SELECT COUNT(*)" + OfServer(serverId), 1, takeCount);
}

HRESULT CBESDatabase::GetServerUserNames(std::int32_t serverId,
                                         std::vector<std::wstring>& userNames) {
  constexpr const char* kFunction = "CBESDatabase::GetServerUserNames";
  const auto addName = [&](const oledb::Rowset& row) {
    std::optional<std::wstring> userName = UserNameOf(row, kFunction);
    if (!userName) return E_FAIL;
    userNames.push_back(std::move(*userName));
    return S_OK;
  };
  return ReadRows(kFunction, L"SELECT UserName" + OfServer(serverId), 1, addName);
}

HRESULT CBESDatabase::GetServerUserNamesByAgentId(
    std::int32_t serverId, std::set<std::int32_t>& agentIds,
    std::multimap<std::int32_t, std::wstring>& usersByAgent) {
  constexpr const char* kFunction = "CBESDatabase::GetServerUserNamesByAgentId";
  const auto addUser = [&](const oledb::Rowset& row) {
    const std::optional<std::int32_t> agentId = row.Integer(L"AgentId");
    if (!agentId) {
      PrintLine(L"%hs: Failed to read AgentId column", kFunction);
      return E_FAIL;
    }
    std::optional<std::wstring> userName = UserNameOf(row, kFunction);
    if (!userName) return E_FAIL;
    agentIds.insert(*agentId);
    usersByAgent.emplace(*agentId, std::move(*userName));
    return S_OK;
  };
  return ReadRows(kFunction, L"SELECT AgentId, UserName" + OfServer(serverId), 2, addUser);
}
