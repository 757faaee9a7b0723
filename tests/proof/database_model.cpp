#include "tests/proof/database_model.h"

namespace e2e {
namespace {

// What each of the steps calls, whatever it says when one of them fails.
constexpr char kCreateSource[] = "IClassFactory::CreateInstance";
const Strings kInitializeSource = {"IDBProperties::SetProperties", "IDBInitialize::Initialize"};
const Strings kOpenSession = {"IDBCreateSession::CreateSession"};
const Strings kExecute = {"IDBCreateCommand::CreateCommand", "ICommandText::SetCommandText",
                          "ICommand::Execute"};
const Strings kOpenRows =
    kExecute + Strings{"statement", "IColumnsInfo::GetColumnInfo", "IAccessor::CreateAccessor"};

// What the platform's data links component, between the program and the provider, makes of a
// provider that it cannot create.
constexpr uint32_t kNotCreated = 0x80004001;       // E_NOTIMPL
constexpr uint32_t kRowsNotReleased = 0x80040E25;  // DB_E_ROWSNOTRELEASED

// The first failure of calls that are made one after another.
uint32_t MakeAll(ModelRun& run, const Strings& operations) {
  for (const std::string& operation : operations) {
    const uint32_t result = run.calls.Make(operation);
    if (Fails(result)) return result;
  }
  return 0;
}

}  // namespace

uint32_t DatabaseModel::Connect() {
  if (connected_) return 0;
  run_.Print("Connection string=Provider=SQLOLEDB;Server=SRV;Database=BES;Trusted_Connection=Yes");
  uint32_t result =
      Fails(run_.calls.Make(kCreateSource)) ? kNotCreated : MakeAll(run_, kInitializeSource);
  if (Fails(result)) {
    run_.PrintFailure("CBESDatabase::Connect", "OpenFromInitializationString failed", result);
    return result;
  }
  result = MakeAll(run_, kOpenSession);
  if (Fails(result)) run_.PrintFailure("CBESDatabase::Connect", "Session open failed", result);
  connected_ = !Fails(result);
  return result;
}

uint32_t DatabaseModel::Read(const std::string& function, const Columns& columns, uint32_t rows) {
  uint32_t result = Connect();
  const auto failed = [&](const char* what) {
    if (Fails(result)) run_.PrintFailure(function, what, result);
    return Fails(result);
  };
  if (failed("Connect failed")) return result;
  result = MakeAll(run_, kOpenRows);
  if (failed("Failed to execute SQL")) return result;
  result = Move(true, rows != 0);
  if (failed("MoveFirst failed")) return result;
  if (!HasColumns(function, columns)) return kFail;
  for (uint32_t row = 1; row <= rows; ++row) {
    if (!HasValues(function, columns)) return kFail;
    result = Move(false, row < rows);
    if (failed("MoveNext failed")) return result;
  }
  if (Fails(run_.calls.Make("IAccessor::ReleaseAccessor"))) run_.leaks.push_back("accessor #");
  return 0;
}

uint32_t DatabaseModel::Move(bool toFirst, bool toRow) {
  if (!toFirst && Fails(run_.calls.Make("IRowset::ReleaseRows"))) {
    run_.leaks.push_back("row #");
    return kRowsNotReleased;
  }
  return MakeAll(run_, Strings{"IRowset::GetNextRows", toFirst ? "first-row" : "next-row"} +
                           (toRow ? Strings{"IRowset::GetData"} : Strings{}));
}

bool DatabaseModel::HasColumns(const std::string& function, const Columns& columns) {
  if (Fails(run_.calls.Make("column-extra"))) {
    run_.Print(function + ": column count check failed");
    return false;
  }
  for (const Column& column : columns) {
    if (!Fails(run_.calls.Make("column-nameless:" + column.name))) continue;
    run_.Print(function + ": " + column.missing);
    return false;
  }
  return true;
}

bool DatabaseModel::HasValues(const std::string& function, const Columns& columns) {
  for (const Column& column : columns) {
    if (!column.mayBeNull || !Fails(run_.calls.Make("value-null:" + column.name))) continue;
    run_.Print(function + ": " + column.missing);
    return false;
  }
  return true;
}

uint32_t DatabaseModel::GetServers(uint32_t count) {
  return Read(
      "CBESDatabase::GetServers",
      {{"Id", "Failed to read Id column", false}, {"MachineName", "NULL server name", true}},
      count);
}

uint32_t DatabaseModel::GetServerUserNames(uint32_t count) {
  return Read("CBESDatabase::GetServerUserNames", {{"UserName", "NULL user name", true}}, count);
}

uint32_t DatabaseModel::Execute(const Batch& batch) {
  uint32_t result = MakeAll(run_, kExecute);
  // What runs before the one that fails stays done.
  for (auto update = batch.begin(); update != batch.end() && !Fails(result); ++update) {
    result = run_.calls.Make("statement");
    if (!Fails(result)) run_.world.agents[update->first] = update->second;
  }
  if (Fails(result)) run_.PrintFailure("CBESDatabase::Execute", "Failed to execute SQL", result);
  return result;
}

}  // namespace e2e
