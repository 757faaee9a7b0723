// The provider through the data links component, as a client sees it.
//
// The provider reads its options and the fault plan once in a process: ctest gives each case one of
// its own.
#include <gtest/gtest.h>
#include <windows.h>
// After windows.h.
#include <msdasc.h>
#include <oledb.h>
#include <oledberr.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <memory>

#include "lab/common/fault_plan.h"
#include "lab/common/journal.h"
#include "lab/common/lab_config.h"
#include "lab/oledb/bes_database.h"
#include "lab/oledb/provider_options.h"
#include "lab/oledb/ref.h"
#include "lab/oledb/registration.h"
#include "lab/oledb/statement_text.h"

namespace lab {
namespace {

using Texts = std::vector<std::wstring>;

constexpr wchar_t kConnection[] =
    L"Provider=SQLOLEDB;Server=SRV;Database=BES;Trusted_Connection=Yes";
constexpr wchar_t kForeignName[] = L"Zo\u00e9\u65e5\U0001F600@example.com";
constexpr wchar_t kUserNames[] = L"SELECT UserName FROM UserConfig WHERE ServerConfigId=7";
constexpr GUID kDialect = {
    0xc8b521fb, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};

constexpr GUID kSqlDialect = {
    0xc8b522d7, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
constexpr IID kUnknownInterface = {
    0x12345678, 0x1234, 0x1234, {0x12, 0x34, 0x12, 0x34, 0x12, 0x34, 0x12, 0x34}};

std::wstring TemporaryDirectory() {
  wchar_t path[MAX_PATH] = {};
  GetTempPathW(MAX_PATH, path);
  const std::wstring directory = std::wstring(path) + L"qrvlab" +
                                 std::to_wstring(GetCurrentProcessId()) + L"_" +
                                 std::to_wstring(GetTickCount64());
  CreateDirectoryW(directory.c_str(), nullptr);
  return directory;
}

// Where a row's only bound column goes.
struct Slot {
  DBSTATUS status = 0xDD;
  DBLENGTH length = 0;
  union {
    wchar_t wide[16];
    char narrow[16];
    int32_t number;
    BSTR bstr;
    wchar_t* reference;
  };
};

DBBINDING Bind(DBORDINAL ordinal, DBTYPE type) {
  DBBINDING binding{};
  binding.iOrdinal = ordinal;
  binding.wType = type;
  binding.dwPart = DBPART_VALUE | DBPART_LENGTH | DBPART_STATUS;
  binding.obValue = offsetof(Slot, wide);
  binding.obLength = offsetof(Slot, length);
  binding.obStatus = offsetof(Slot, status);
  binding.cbMaxLen = sizeof(Slot::wide);
  return binding;
}

// A rowset with one accessor on it.
class Reader {
 public:
  explicit Reader(Ref<IRowset> rowset) : rowset_(std::move(rowset)) {}
  ~Reader() {
    if (accessor_) accessors_->ReleaseAccessor(accessor_, nullptr);
  }

  DBBINDSTATUS BindTo(DBORDINAL ordinal, DBTYPE type) {
    const DBBINDING binding = Bind(ordinal, type);
    DBBINDSTATUS status = DBBINDSTATUS_OK;
    rowset_->QueryInterface(IID_IAccessor, reinterpret_cast<void**>(accessors_.Put()));
    accessors_->CreateAccessor(DBACCESSOR_ROWDATA, 1, &binding, 0, &accessor_, &status);
    return status;
  }

  // Fetches one row and reads its bound column.
  HRESULT Next(Slot* slot) {
    HROW row = DB_NULL_HROW;
    HROW* rows = &row;
    DBCOUNTITEM obtained = 0;
    const HRESULT hr = rowset_->GetNextRows(DB_NULL_HCHAPTER, 0, 1, &obtained, &rows);
    if (FAILED(hr) || obtained == 0) return hr;
    const HRESULT data = rowset_->GetData(row, accessor_, slot);
    rowset_->ReleaseRows(1, &row, nullptr, nullptr, nullptr);
    return data;
  }

  IRowset* operator->() const { return rowset_.Get(); }

 private:
  Ref<IRowset> rowset_;
  Ref<IAccessor> accessors_;
  HACCESSOR accessor_ = DB_NULL_HACCESSOR;
};

class OledbProvider : public testing::Test {
 protected:
  OledbProvider() : directory_(TemporaryDirectory()) {
    SetEnvironmentVariableW(L"QRVLAB_DIR", directory_.c_str());
    EXPECT_TRUE(RegisterOledbProvider());
    database_ = std::make_unique<BesDatabase>();
    database_->CreateTables();
    database_->AddServer(7, L"BES01");
    EXPECT_EQ(CoInitialize(nullptr), S_OK);
  }
  ~OledbProvider() override {
    End();
    database_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }

  // Everything the client holds is gone by now.
  void End() {
    session_ = {};
    source_ = {};
    if (!std::exchange(ended_, true)) CoUninitialize();
  }

  void SetOptions(const wchar_t* options) {
    SetEnvironmentVariableW(L"QRVLAB_OLEDB_OPTIONS", options);
  }

  HRESULT Connect() {
    Ref<IDataInitialize> links;
    CoCreateInstance(CLSID_MSDAINITIALIZE, nullptr, CLSCTX_INPROC_SERVER, IID_IDataInitialize,
                     reinterpret_cast<void**>(links.Put()));
    HRESULT hr = links->GetDataSource(nullptr, CLSCTX_INPROC_SERVER, kConnection, IID_IDBInitialize,
                                      reinterpret_cast<IUnknown**>(source_.Put()));
    if (SUCCEEDED(hr)) hr = source_->Initialize();
    if (FAILED(hr)) return hr;
    Ref<IDBCreateSession> sessions;
    source_->QueryInterface(IID_IDBCreateSession, reinterpret_cast<void**>(sessions.Put()));
    return sessions->CreateSession(nullptr, IID_IDBCreateCommand,
                                   reinterpret_cast<IUnknown**>(session_.Put()));
  }

  Ref<ICommandText> Command(const wchar_t* sql) {
    Ref<ICommandText> command;
    session_->CreateCommand(nullptr, IID_ICommandText, reinterpret_cast<IUnknown**>(command.Put()));
    command->SetCommandText(kDialect, sql);
    return command;
  }

  HRESULT Execute(const wchar_t* sql) {
    return Command(sql)->Execute(nullptr, IID_NULL, nullptr, nullptr, nullptr);
  }

  Reader Open(const wchar_t* sql) {
    Ref<IRowset> rowset;
    EXPECT_EQ(Command(sql)->Execute(nullptr, IID_IRowset, nullptr, nullptr,
                                    reinterpret_cast<IUnknown**>(rowset.Put())),
              S_OK);
    return Reader(rowset);
  }

  void AddUser(std::optional<std::wstring> name) {
    BesUser user;
    user.serverConfigId = 7;
    user.mailboxDn = name;
    user.userName = std::move(name);
    database_->AddUser(user);
  }

  std::vector<JournalEntry> Journal() const { return ReadJournal(JournalPath(directory_)); }

  const std::wstring directory_;
  std::unique_ptr<BesDatabase> database_;
  Ref<IDBInitialize> source_;
  Ref<IDBCreateCommand> session_;
  bool ended_ = false;
};

TEST(StatementText, CutsAtSemicolonsOutsideQuotes) {
  const StatementBatch batch = SplitStatements(L"a 'x;''y' ; ;b \";\" -- c;\n;d /* ; */;");
  EXPECT_EQ(batch.statements, (Texts{L"a 'x;''y'", L"b \";\" -- c;", L"d /* ; */"}));
  EXPECT_FALSE(batch.openQuote);
  EXPECT_TRUE(SplitStatements(L"a='o'brien';").openQuote);
}

TEST(StatementText, NamesColumnsAsTheStatementSpellsThem) {
  EXPECT_EQ(SelectListNames(L"SELECT Id,MachineName From T WHERE x='a,b'"),
            (Texts{L"Id", L"MachineName"}));
  EXPECT_EQ(SelectListNames(L"select COUNT(*), t.Name, max(a, b) as Top from T"),
            (Texts{L"", L"Name", L"Top"}));
  EXPECT_EQ(SelectListNames(L"SELECT * FROM T"), Texts());
  EXPECT_EQ(SelectListNames(L"UPDATE T SET a=1"), Texts());
}

TEST(ProviderOptionsText, IsReadWholeOrNotAtAll) {
  const auto options = ProviderOptions::Parse(
      L"rows=1;HOLD=yes;accessor=rowset;expressions=named;journal=brief;server=SRV;database=BES;"
      L"text=bstr;integer=i8;column:AgentId=numeric;");
  ASSERT_TRUE(options.has_value());
  EXPECT_EQ(options->rowsAtOnce, 1u);
  EXPECT_TRUE(options->holdRows);
  EXPECT_FALSE(options->commandAccessor);
  EXPECT_TRUE(options->nameExpressions);
  EXPECT_TRUE(options->briefJournal);
  EXPECT_EQ(options->server, L"SRV");
  EXPECT_EQ(options->database, L"BES");
  EXPECT_EQ(options->textType, DBTYPE_BSTR);
  EXPECT_EQ(options->integerType, DBTYPE_I8);
  EXPECT_EQ(options->columnTypes.at(L"agentid"), DBTYPE_NUMERIC);
  EXPECT_FALSE(ProviderOptions::Parse(L"rows=many").has_value());
  EXPECT_FALSE(ProviderOptions::Parse(L"nonsense=1").has_value());
}

TEST(ProviderOptionsText, AMistakeStandsInTheJournal) {
  const std::wstring directory = TemporaryDirectory();
  SetEnvironmentVariableW(L"QRVLAB_DIR", directory.c_str());
  SetEnvironmentVariableW(L"QRVLAB_OLEDB_OPTIONS", L"rows=1;hold=perhaps");
  EXPECT_EQ(ProviderOptions::Load().rowsAtOnce, 0u);
  SetEnvironmentVariableW(L"QRVLAB_OLEDB_OPTIONS", nullptr);
  EXPECT_EQ(UnexpectedCalls(ReadJournal(JournalPath(directory))),
            std::vector<std::string>{"options of the provider that are none: rows=1;hold=perhaps"});
  std::filesystem::remove_all(directory);
}

TEST_F(OledbProvider, DatabaseKeepsForeignTextAndNullAndComparesWithoutCase) {
  AddUser(kForeignName);
  AddUser(std::nullopt);
  AddUser(L"O'Brien@Example.com");
  const std::vector<BesUser> users = database_->Users(7);
  ASSERT_EQ(users.size(), 3u);
  EXPECT_EQ(users[0].userName, kForeignName);
  EXPECT_EQ(users[1].userName, std::nullopt);
  EXPECT_EQ(database_->AgentOf(L"o'brien@example.COM"), 0);
  EXPECT_EQ(database_->AgentOf(L"nobody"), std::nullopt);
}

TEST_F(OledbProvider, ReadsRowsToTheEnd) {
  AddUser(kForeignName);
  AddUser(std::nullopt);
  ASSERT_EQ(Connect(), S_OK);
  Reader reader = Open(kUserNames);
  ASSERT_EQ(reader.BindTo(1, DBTYPE_WSTR | DBTYPE_BYREF), DBBINDSTATUS_OK);
  Slot slot;
  ASSERT_EQ(reader.Next(&slot), S_OK);
  EXPECT_EQ(slot.status, static_cast<DBSTATUS>(DBSTATUS_S_OK));
  EXPECT_STREQ(slot.reference, kForeignName);
  EXPECT_EQ(slot.length, (std::size(kForeignName) - 1) * sizeof(wchar_t));
  CoTaskMemFree(slot.reference);
  ASSERT_EQ(reader.Next(&slot), S_OK);
  EXPECT_EQ(slot.status, static_cast<DBSTATUS>(DBSTATUS_S_ISNULL));
  EXPECT_EQ(reader.Next(&slot), DB_S_ENDOFROWSET);
  EXPECT_EQ(reader->RestartPosition(DB_NULL_HCHAPTER), S_OK);
  ASSERT_EQ(reader.Next(&slot), S_OK);
  CoTaskMemFree(slot.reference);
}

TEST_F(OledbProvider, CutsTextThatDoesNotFitAndTellsItsLength) {
  AddUser(L"a.long.address@example.com");
  ASSERT_EQ(Connect(), S_OK);
  Reader reader = Open(kUserNames);
  ASSERT_EQ(reader.BindTo(1, DBTYPE_WSTR), DBBINDSTATUS_OK);
  Slot slot;
  ASSERT_EQ(reader.Next(&slot), S_OK);
  EXPECT_EQ(slot.status, static_cast<DBSTATUS>(DBSTATUS_S_TRUNCATED));
  EXPECT_STREQ(slot.wide, L"a.long.address@");
  EXPECT_EQ(slot.length, 26 * sizeof(wchar_t));
}

TEST_F(OledbProvider, CountHasNoNameAndIsANumber) {
  database_->AddSampleUsers(7, 10000);
  ASSERT_EQ(Connect(), S_OK);
  Reader reader = Open(L"SELECT COUNT(*) From UserConfig WHERE ServerConfigId=7;");
  Ref<IColumnsInfo> columns;
  reader->QueryInterface(IID_IColumnsInfo, reinterpret_cast<void**>(columns.Put()));
  DBORDINAL count = 0;
  DBCOLUMNINFO* info = nullptr;
  OLECHAR* strings = nullptr;
  ASSERT_EQ(columns->GetColumnInfo(&count, &info, &strings), S_OK);
  ASSERT_EQ(count, 1u);
  EXPECT_EQ(info->pwszName, nullptr);
  EXPECT_EQ(info->wType, DBTYPE_I4);
  CoTaskMemFree(info);
  CoTaskMemFree(strings);
  ASSERT_EQ(reader.BindTo(1, DBTYPE_I4), DBBINDSTATUS_OK);
  Slot slot;
  ASSERT_EQ(reader.Next(&slot), S_OK);
  EXPECT_EQ(slot.number, 10000);
}

TEST_F(OledbProvider, RefusesBindingsItCannotServe) {
  ASSERT_EQ(Connect(), S_OK);
  Reader reader = Open(kUserNames);
  EXPECT_EQ(reader.BindTo(2, DBTYPE_WSTR), static_cast<DBBINDSTATUS>(DBBINDSTATUS_BADORDINAL));
  EXPECT_EQ(reader.BindTo(1, DBTYPE_DBTIMESTAMP),
            static_cast<DBBINDSTATUS>(DBBINDSTATUS_UNSUPPORTEDCONVERSION));
}

TEST_F(OledbProvider, BatchRunsUpToTheStatementThatFails) {
  database_->AddSampleUsers(7, 3);
  ASSERT_EQ(Connect(), S_OK);
  EXPECT_EQ(Execute(L"UPDATE UserConfig SET AgentId=1 WHERE MailboxDN='USER1@example.com';"
                    L"UPDATE NoTable SET AgentId=2;"
                    L"UPDATE UserConfig SET AgentId=3 WHERE MailboxDN='user3@example.com';"),
            DB_E_NOTABLE);
  EXPECT_EQ(database_->AgentOf(L"user1@example.com"), 1);
  EXPECT_EQ(database_->AgentOf(L"user3@example.com"), 0);
}

TEST_F(OledbProvider, BatchWithAnOpenQuoteDoesNotRunAtAll) {
  database_->AddSampleUsers(7, 1);
  ASSERT_EQ(Connect(), S_OK);
  EXPECT_EQ(Execute(L"UPDATE UserConfig SET AgentId=1 WHERE MailboxDN='user1@example.com';"
                    L"UPDATE UserConfig SET AgentId=2 WHERE MailboxDN='o'brien@example.com';"),
            DB_E_ERRORSINCOMMAND);
  EXPECT_EQ(database_->AgentOf(L"user1@example.com"), 0);
}

TEST_F(OledbProvider, JournalHoldsTheWholeStatement) {
  std::wstring sql;
  for (int i = 0; i < 200; ++i) sql += L"UPDATE UserConfig SET AgentId=1 WHERE MailboxDN='x';";
  ASSERT_EQ(Connect(), S_OK);
  ASSERT_EQ(Execute(sql.c_str()), S_OK);
  End();
  const std::vector<JournalEntry> executed = CallsOf(Journal(), "ICommand::Execute");
  ASSERT_EQ(executed.size(), 1u);
  EXPECT_EQ(executed[0].Argument("sql").size(), sql.size());
}

TEST_F(OledbProvider, LeavesNothingBehind) {
  AddUser(L"ann@example.com");
  ASSERT_EQ(Connect(), S_OK);
  {
    Reader reader = Open(kUserNames);
    ASSERT_EQ(reader.BindTo(1, DBTYPE_BSTR), DBBINDSTATUS_OK);
    Slot slot;
    ASSERT_EQ(reader.Next(&slot), S_OK);
    EXPECT_STREQ(slot.bstr, L"ann@example.com");
    SysFreeString(slot.bstr);
  }
  End();
  EXPECT_TRUE(Leaks(Journal()).empty());
  EXPECT_TRUE(UnexpectedCalls(Journal()).empty());
}

TEST_F(OledbProvider, ReportsWhatIsLeft) {
  AddUser(L"ann@example.com");
  ASSERT_EQ(Connect(), S_OK);
  {
    Reader reader = Open(kUserNames);
    reader.BindTo(1, DBTYPE_BSTR);
    Slot slot;
    reader.Next(&slot);
    HROW* rows = nullptr;
    DBCOUNTITEM obtained = 0;
    reader->RestartPosition(DB_NULL_HCHAPTER);
    reader->GetNextRows(DB_NULL_HCHAPTER, 0, 1, &obtained, &rows);
  }
  source_->AddRef();
  End();
  const std::vector<std::string> leaks = Leaks(Journal());
  ASSERT_EQ(leaks.size(), 4u);
  EXPECT_TRUE(leaks[0].starts_with("row #")) << leaks[0];
  EXPECT_TRUE(leaks[1].starts_with("data source #")) << leaks[1];
  std::vector<std::string> memory(leaks.begin() + 2, leaks.end());
  std::sort(memory.begin(), memory.end());
  EXPECT_EQ(memory, (std::vector<std::string>{"BSTR of a column", "row handles"}));
}

TEST_F(OledbProvider, PlannedFailuresHappen) {
  ASSERT_TRUE(FaultPlan().FailNth("first-row", 1, 0x80004005).Save(directory_));
  AddUser(L"ann@example.com");
  ASSERT_EQ(Connect(), S_OK);
  Reader first = Open(kUserNames);
  first.BindTo(1, DBTYPE_WSTR);
  Slot slot;
  EXPECT_EQ(first.Next(&slot), E_FAIL);
  Reader second = Open(kUserNames);
  second.BindTo(1, DBTYPE_WSTR);
  EXPECT_EQ(second.Next(&slot), S_OK);
}

TEST_F(OledbProvider, HandsOutOneRowAtATime) {
  SetOptions(L"rows=1");
  database_->AddSampleUsers(7, 3);
  ASSERT_EQ(Connect(), S_OK);
  Reader reader = Open(kUserNames);
  HROW rows[3] = {};
  HROW* place = rows;
  DBCOUNTITEM obtained = 0;
  EXPECT_EQ(reader->GetNextRows(DB_NULL_HCHAPTER, 0, 3, &obtained, &place), DB_S_ROWLIMITEXCEEDED);
  EXPECT_EQ(obtained, 1u);
  EXPECT_EQ(reader->GetNextRows(DB_NULL_HCHAPTER, 0, 3, &obtained, &place), DB_E_ROWSNOTRELEASED);
  reader->ReleaseRows(1, rows, nullptr, nullptr, nullptr);
}

TEST_F(OledbProvider, CommandMayLackAccessors) {
  SetOptions(L"accessor=rowset");
  ASSERT_EQ(Connect(), S_OK);
  Ref<IAccessor> accessors;
  EXPECT_EQ(
      Command(kUserNames)->QueryInterface(IID_IAccessor, reinterpret_cast<void**>(accessors.Put())),
      E_NOINTERFACE);
}

TEST_F(OledbProvider, RefusesAnotherServer) {
  SetOptions(L"server=other");
  EXPECT_EQ(Connect(), E_FAIL);
}

TEST_F(OledbProvider, ServesTheServerItIsNamedFor) {
  SetOptions(L"server=srv;database=bes");
  EXPECT_EQ(Connect(), S_OK);
}

// What the provider does not know it refuses.

TEST_F(OledbProvider, KnowsItsOwnDialectAndSqlAndNoOther) {
  ASSERT_EQ(Connect(), S_OK);
  const auto command = Command(kUserNames);
  for (size_t i = 0; i < sizeof(GUID); ++i) {
    GUID other = kDialect;
    reinterpret_cast<BYTE*>(&other)[i] ^= 1;
    EXPECT_EQ(command->SetCommandText(other, L"SELECT 1"), DB_E_DIALECTNOTSUPPORTED) << i;
  }
  GUID dialect = {};
  wchar_t* text = nullptr;
  ASSERT_EQ(command->GetCommandText(&dialect, &text), S_OK);
  EXPECT_STREQ(text, kUserNames);
  CoTaskMemFree(text);
  EXPECT_EQ(command->SetCommandText(kSqlDialect, L"SELECT 1"), S_OK);
}

TEST_F(OledbProvider, LacksAnUnknownInterface) {
  ASSERT_EQ(Connect(), S_OK);
  Ref<IUnknown> object;
  const auto out = [&] { return reinterpret_cast<void**>(object.Put()); };
  CLSID provider = {};
  ASSERT_EQ(CLSIDFromProgID(L"SQLOLEDB", &provider), S_OK);
  EXPECT_EQ(CoCreateInstance(provider, nullptr, CLSCTX_INPROC_SERVER, kUnknownInterface, out()),
            E_NOINTERFACE);
  Ref<IDBCreateSession> sessions;
  source_->QueryInterface(IID_IDBCreateSession, reinterpret_cast<void**>(sessions.Put()));
  EXPECT_EQ(sessions->CreateSession(nullptr, kUnknownInterface, object.Put()), E_NOINTERFACE);
  EXPECT_EQ(session_->CreateCommand(nullptr, kUnknownInterface, object.Put()), E_NOINTERFACE);
  EXPECT_EQ(source_->QueryInterface(kUnknownInterface, out()), E_NOINTERFACE);
  EXPECT_EQ(session_->QueryInterface(kUnknownInterface, out()), E_NOINTERFACE);
  EXPECT_EQ(Command(kUserNames)->QueryInterface(kUnknownInterface, out()), E_NOINTERFACE);
  EXPECT_EQ(Open(kUserNames)->QueryInterface(kUnknownInterface, out()), E_NOINTERFACE);
  EXPECT_EQ(object.Get(), nullptr);
}

TEST_F(OledbProvider, RunsNothingForAnUnknownInterface) {
  database_->AddSampleUsers(7, 1);
  ASSERT_EQ(Connect(), S_OK);
  Ref<IUnknown> rowset;
  const auto execute = [&](const wchar_t* sql, REFIID iid) {
    return Command(sql)->Execute(nullptr, iid, nullptr, nullptr, rowset.Put());
  };
  EXPECT_EQ(execute(kUserNames, kUnknownInterface), E_NOINTERFACE);
  EXPECT_EQ(execute(L"UPDATE UserConfig SET AgentId=1", kUnknownInterface), E_NOINTERFACE);
  EXPECT_EQ(database_->AgentOf(L"user1@example.com"), 0);
  for (REFIID iid : {IID_IUnknown, IID_IRowset, IID_IAccessor, IID_IColumnsInfo, IID_IRowsetInfo,
                     IID_IConvertType}) {
    EXPECT_EQ(execute(kUserNames, iid), S_OK);
  }
}

TEST_F(OledbProvider, TakesNoOtherFlagsOfAccessors) {
  ASSERT_EQ(Connect(), S_OK);
  const Reader reader = Open(kUserNames);
  Ref<IAccessor> accessors;
  reader->QueryInterface(IID_IAccessor, reinterpret_cast<void**>(accessors.Put()));
  const DBBINDING binding = Bind(1, DBTYPE_WSTR);
  HACCESSOR accessor = 4711;
  const auto create = [&](DBACCESSORFLAGS flags) {
    return accessors->CreateAccessor(flags, 1, &binding, 0, &accessor, nullptr);
  };
  for (const DBACCESSORFLAGS flags : {0x0U, 0x4U, 0x6U, 0x12U, 0x22U, 0x80000002U}) {
    EXPECT_EQ(create(flags), DB_E_BADACCESSORFLAGS) << flags;
  }
  EXPECT_EQ(create(DBACCESSOR_ROWDATA | DBACCESSOR_PASSBYREF), DB_E_BYREFACCESSORNOTSUPPORTED);
  EXPECT_EQ(accessor, HACCESSOR{DB_NULL_HACCESSOR});
  ASSERT_EQ(create(DBACCESSOR_ROWDATA | DBACCESSOR_OPTIMIZED), S_OK);
  accessors->ReleaseAccessor(accessor, nullptr);
}

TEST_F(OledbProvider, TakesNoFlagsOfBindings) {
  ASSERT_EQ(Connect(), S_OK);
  const Reader reader = Open(kUserNames);
  Ref<IAccessor> accessors;
  reader->QueryInterface(IID_IAccessor, reinterpret_cast<void**>(accessors.Put()));
  DBBINDING bindings[3] = {Bind(1, DBTYPE_WSTR), Bind(1, DBTYPE_WSTR), Bind(1, DBTYPE_WSTR)};
  bindings[0].dwFlags = DBBINDFLAG_HTML;
  bindings[1].dwPart |= 0x8;
  bindings[2].dwMemOwner = DBMEMOWNER_PROVIDEROWNED;
  HACCESSOR accessor = DB_NULL_HACCESSOR;
  DBBINDSTATUS statuses[3] = {};
  EXPECT_EQ(accessors->CreateAccessor(DBACCESSOR_ROWDATA, 3, bindings, 0, &accessor, statuses),
            DB_E_ERRORSOCCURRED);
  for (const DBBINDSTATUS status : statuses) {
    EXPECT_EQ(status, static_cast<DBBINDSTATUS>(DBBINDSTATUS_BADBINDINFO));
  }
}

TEST_F(OledbProvider, GoesForwardOnlyAndTakesNoOptionsForRows) {
  database_->AddSampleUsers(7, 1);
  ASSERT_EQ(Connect(), S_OK);
  const Reader reader = Open(kUserNames);
  HROW row = DB_NULL_HROW;
  HROW* rows = &row;
  DBCOUNTITEM obtained = 0;
  EXPECT_EQ(reader->GetNextRows(DB_NULL_HCHAPTER, -1, 1, &obtained, &rows),
            DB_E_CANTSCROLLBACKWARDS);
  EXPECT_EQ(reader->GetNextRows(DB_NULL_HCHAPTER, 0, -1, &obtained, &rows),
            DB_E_CANTFETCHBACKWARDS);
  EXPECT_EQ(reader->GetNextRows(DB_NULL_HCHAPTER, 0, 1, nullptr, &rows), E_INVALIDARG);
  EXPECT_EQ(reader->GetNextRows(DB_NULL_HCHAPTER, 0, 1, &obtained, nullptr), E_INVALIDARG);
  ASSERT_EQ(reader->GetNextRows(DB_NULL_HCHAPTER, 0, 1, &obtained, &rows), S_OK);
  DBROWOPTIONS options = 0;
  EXPECT_EQ(reader->ReleaseRows(1, &row, &options, nullptr, nullptr), E_INVALIDARG);
  EXPECT_EQ(reader->ReleaseRows(1, nullptr, nullptr, nullptr, nullptr), E_INVALIDARG);
  EXPECT_EQ(reader->ReleaseRows(1, &row, nullptr, nullptr, nullptr), S_OK);
}

}  // namespace
}  // namespace lab
