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

#include <cstddef>
#include <memory>

#include "lab/bes/bes_database.h"
#include "lab/bes/registration.h"
#include "lab/common/fault_plan.h"
#include "lab/common/journal.h"
#include "lab/oledb/provider_options.h"
#include "lab/oledb/statement_text.h"
#include "lab/tests/directory_test.h"
#include "src/platform/com.h"

namespace lab {
namespace {

using platform::ComPtr;
using Texts = std::vector<std::wstring>;

constexpr wchar_t kConnection[] =
    L"Provider=SQLOLEDB;Server=SRV;Database=BES;Trusted_Connection=Yes";
constexpr wchar_t kForeignName[] = L"Zo\u00e9\u65e5\U0001F600@example.com";
constexpr wchar_t kUserNames[] = L"SELECT UserName FROM UserConfig WHERE ServerConfigId=7";
constexpr GUID kDialect = {
    0xc8b521fb, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
constexpr GUID kSqlDialect = {
    0xc8b522d7, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
constexpr GUID kPropertiesInit = {
    0xc8b522bc, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
constexpr DBSTATUS kOk = DBSTATUS_S_OK;
constexpr DBSTATUS kNull = DBSTATUS_S_ISNULL;
constexpr DBSTATUS kTruncated = DBSTATUS_S_TRUNCATED;
constexpr IID kUnknownInterface = {
    0x12345678, 0x1234, 0x1234, {0x12, 0x34, 0x12, 0x34, 0x12, 0x34, 0x12, 0x34}};

// The interface of `object`, or null.
template <class Interface>
ComPtr<Interface> Ask(IUnknown* object, const IID& iid) {
  ComPtr<Interface> found;
  object->QueryInterface(iid, &found);
  return found;
}

// Where a row's only bound column goes.
struct Slot {
  DBSTATUS status = 0xDD;
  DBLENGTH length = 0;
  union {
    wchar_t wide[16];
    int64_t number;
    int32_t shortNumber;
    uint8_t byte;
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
  explicit Reader(ComPtr<IRowset> rowset)
      : rowset_(std::move(rowset)), accessors_(Ask<IAccessor>(rowset_.Get(), IID_IAccessor)) {}
  ~Reader() {
    if (accessor_) accessors_->ReleaseAccessor(accessor_, nullptr);
  }

  DBBINDSTATUS BindTo(DBORDINAL ordinal, DBTYPE type) {
    const DBBINDING binding = Bind(ordinal, type);
    DBBINDSTATUS status = DBBINDSTATUS_OK;
    accessors_->CreateAccessor(DBACCESSOR_ROWDATA, 1, &binding, 0, &accessor_, &status);
    return status;
  }

  // Fetches one row and reads its bound column.
  HRESULT Next(Slot* slot) {
    HROW row = DB_NULL_HROW;
    const HRESULT hr = Fetch(1, &row);
    if (FAILED(hr) || row == DB_NULL_HROW) return hr;
    const HRESULT data = rowset_->GetData(row, accessor_, slot);
    EXPECT_EQ(Release(row), S_OK);
    return data;
  }

  HRESULT Fetch(DBROWCOUNT wanted, HROW* rows) {
    return rowset_->GetNextRows(DB_NULL_HCHAPTER, 0, wanted, &obtained_, &rows);
  }
  DBCOUNTITEM Obtained() const { return obtained_; }
  HRESULT Release(HROW row) { return rowset_->ReleaseRows(1, &row, nullptr, nullptr, nullptr); }

  IRowset* operator->() const { return rowset_.Get(); }
  IAccessor* Accessors() const { return accessors_.Get(); }

 private:
  ComPtr<IRowset> rowset_;
  ComPtr<IAccessor> accessors_;
  HACCESSOR accessor_ = DB_NULL_HACCESSOR;
  DBCOUNTITEM obtained_ = 0;
};

class OledbProvider : public DirectoryTest {
 protected:
  OledbProvider() {
    EXPECT_TRUE(RegisterOledbProvider());
    database_ = std::make_unique<BesDatabase>();
    database_->CreateTables();
    database_->AddServer(7, L"BES01");
    EXPECT_EQ(CoInitialize(nullptr), S_OK);
  }
  ~OledbProvider() override {
    End();
    database_.reset();
  }

  // Everything the client holds is gone by now.
  void End() {
    session_.Reset();
    source_.Reset();
    if (!std::exchange(ended_, true)) CoUninitialize();
  }

  void SetOptions(const wchar_t* options) {
    SetEnvironmentVariableW(L"QRVLAB_OLEDB_OPTIONS", options);
  }

  HRESULT Connect() {
    ComPtr<IDataInitialize> links;
    CoCreateInstance(CLSID_MSDAINITIALIZE, nullptr, CLSCTX_INPROC_SERVER, IID_IDataInitialize,
                     &links);
    HRESULT hr = links->GetDataSource(nullptr, CLSCTX_INPROC_SERVER, kConnection, IID_IDBInitialize,
                                      reinterpret_cast<IUnknown**>(source_.GetAddressOf()));
    if (SUCCEEDED(hr)) hr = source_->Initialize();
    if (FAILED(hr)) return hr;
    return Ask<IDBCreateSession>(source_.Get(), IID_IDBCreateSession)
        ->CreateSession(nullptr, IID_IDBCreateCommand,
                        reinterpret_cast<IUnknown**>(session_.GetAddressOf()));
  }

  ComPtr<ICommandText> Command(const wchar_t* sql) {
    ComPtr<ICommandText> command;
    session_->CreateCommand(nullptr, IID_ICommandText,
                            reinterpret_cast<IUnknown**>(command.GetAddressOf()));
    command->SetCommandText(kDialect, sql);
    return command;
  }

  HRESULT Execute(const wchar_t* sql) {
    return Command(sql)->Execute(nullptr, IID_NULL, nullptr, nullptr, nullptr);
  }

  Reader Open(const wchar_t* sql) {
    ComPtr<IRowset> rowset;
    EXPECT_EQ(Command(sql)->Execute(nullptr, IID_IRowset, nullptr, nullptr,
                                    reinterpret_cast<IUnknown**>(rowset.GetAddressOf())),
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

  size_t UnexpectedLines() const { return UnexpectedCalls(Journal()).size(); }

  std::unique_ptr<BesDatabase> database_;
  ComPtr<IDBInitialize> source_;
  ComPtr<IDBCreateCommand> session_;
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

using ProviderOptionsText = DirectoryTest;

TEST_F(ProviderOptionsText, IsReadWholeOrNotAtAll) {
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

TEST_F(ProviderOptionsText, AMistakeStandsInTheJournal) {
  SetEnvironmentVariableW(L"QRVLAB_OLEDB_OPTIONS", L"rows=1;hold=perhaps");
  EXPECT_EQ(ProviderOptions::Load().rowsAtOnce, 0u);
  SetEnvironmentVariableW(L"QRVLAB_OLEDB_OPTIONS", nullptr);
  EXPECT_EQ(UnexpectedCalls(Journal()),
            std::vector<std::string>{"options of the provider that are none: rows=1;hold=perhaps"});
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
  AddUser(L"Zo\u00e9\u65e5\U0001F600");
  AddUser(std::nullopt);
  ASSERT_EQ(Connect(), S_OK);
  Reader reader = Open(kUserNames);
  ASSERT_EQ(reader.BindTo(1, DBTYPE_WSTR), DBBINDSTATUS_OK);
  Slot slot;
  ASSERT_EQ(reader.Next(&slot), S_OK);
  EXPECT_EQ(slot.status, kOk);
  EXPECT_STREQ(slot.wide, L"Zo\u00e9\u65e5\U0001F600");
  EXPECT_EQ(slot.length, 6 * sizeof(wchar_t));
  slot.length = 4711;
  ASSERT_EQ(reader.Next(&slot), S_OK);
  EXPECT_EQ(slot.status, kNull);
  EXPECT_EQ(slot.length, 4711U);
  EXPECT_STREQ(slot.wide, L"Zo\u00e9\u65e5\U0001F600");
  EXPECT_EQ(reader.Next(&slot), DB_S_ENDOFROWSET);
  EXPECT_EQ(reader->RestartPosition(DB_NULL_HCHAPTER), S_OK);
  EXPECT_EQ(reader.Next(&slot), S_OK);
  EXPECT_EQ(slot.status, kOk);
}

TEST_F(OledbProvider, CutsTextThatDoesNotFitAndTellsItsLength) {
  AddUser(L"a.long.address@example.com");
  ASSERT_EQ(Connect(), S_OK);
  Reader reader = Open(kUserNames);
  ASSERT_EQ(reader.BindTo(1, DBTYPE_WSTR), DBBINDSTATUS_OK);
  Slot slot;
  ASSERT_EQ(reader.Next(&slot), S_OK);
  EXPECT_EQ(slot.status, kTruncated);
  EXPECT_STREQ(slot.wide, L"a.long.address@");
  EXPECT_EQ(slot.length, 26 * sizeof(wchar_t));
}

TEST_F(OledbProvider, IntegersComeInEveryWidthThatHoldsThem) {
  ASSERT_EQ(Connect(), S_OK);
  const auto read = [&](const wchar_t* number, DBTYPE type, Slot* slot) {
    Reader reader = Open((std::wstring(L"SELECT ") + number).c_str());
    EXPECT_EQ(reader.BindTo(1, type), DBBINDSTATUS_OK);
    reader.Next(slot);
    return slot->status;
  };
  Slot slot;
  EXPECT_EQ(read(L"-128", DBTYPE_I1, &slot), kOk);
  EXPECT_EQ(slot.byte, 0x80);
  EXPECT_EQ(slot.length, 1U);
  EXPECT_EQ(read(L"-9223372036854775807", DBTYPE_I8, &slot), kOk);
  EXPECT_EQ(slot.number, -9223372036854775807);
  EXPECT_EQ(read(L"256", DBTYPE_UI1, &slot), static_cast<DBSTATUS>(DBSTATUS_E_DATAOVERFLOW));
  EXPECT_EQ(read(L"-129", DBTYPE_I1, &slot), static_cast<DBSTATUS>(DBSTATUS_E_DATAOVERFLOW));
  EXPECT_EQ(read(L"-1", DBTYPE_UI4, &slot), static_cast<DBSTATUS>(DBSTATUS_E_SIGNMISMATCH));
  EXPECT_EQ(read(L"'one'", DBTYPE_I4, &slot), static_cast<DBSTATUS>(DBSTATUS_E_CANTCONVERTVALUE));
}

TEST_F(OledbProvider, CountHasNoNameAndIsANumber) {
  database_->AddSampleUsers(7, 10000);
  ASSERT_EQ(Connect(), S_OK);
  Reader reader = Open(L"SELECT COUNT(*) From UserConfig WHERE ServerConfigId=7;");
  DBORDINAL count = 0;
  platform::CoTaskMemory<DBCOLUMNINFO> info;
  platform::CoTaskMemory<OLECHAR> strings;
  ASSERT_EQ(Ask<IColumnsInfo>(reader.operator->(), IID_IColumnsInfo)
                ->GetColumnInfo(&count, info.Put(), strings.Put()),
            S_OK);
  ASSERT_EQ(count, 1u);
  EXPECT_EQ(info.Get()->pwszName, nullptr);
  EXPECT_EQ(info.Get()->wType, DBTYPE_I4);
  ASSERT_EQ(reader.BindTo(1, DBTYPE_I4), DBBINDSTATUS_OK);
  Slot slot;
  ASSERT_EQ(reader.Next(&slot), S_OK);
  EXPECT_EQ(slot.shortNumber, 10000);
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
    ASSERT_EQ(reader.BindTo(1, DBTYPE_WSTR), DBBINDSTATUS_OK);
    Slot slot;
    ASSERT_EQ(reader.Next(&slot), S_OK);
    EXPECT_STREQ(slot.wide, L"ann@example.com");
  }
  End();
  EXPECT_TRUE(Leaks(Journal()).empty());
  EXPECT_EQ(UnexpectedLines(), 0U);
}

TEST_F(OledbProvider, ReportsWhatIsLeft) {
  AddUser(L"ann@example.com");
  ASSERT_EQ(Connect(), S_OK);
  {
    Reader reader = Open(kUserNames);
    HROW row = DB_NULL_HROW;
    ASSERT_EQ(reader.Fetch(1, &row), S_OK);
    HACCESSOR accessor = DB_NULL_HACCESSOR;
    const DBBINDING binding = Bind(1, DBTYPE_WSTR);
    reader.Accessors()->CreateAccessor(DBACCESSOR_ROWDATA, 1, &binding, 0, &accessor, nullptr);
    DBORDINAL count = 0;
    DBCOLUMNINFO* info = nullptr;
    platform::CoTaskMemory<OLECHAR> strings;
    Ask<IColumnsInfo>(reader.operator->(), IID_IColumnsInfo)
        ->GetColumnInfo(&count, &info, strings.Put());
  }
  source_->AddRef();
  End();
  const std::vector<std::string> leaks = Leaks(Journal());
  ASSERT_EQ(leaks.size(), 4u);
  EXPECT_TRUE(leaks[0].starts_with("row #")) << leaks[0];
  EXPECT_TRUE(leaks[1].starts_with("accessor #")) << leaks[1];
  EXPECT_EQ(leaks[2],
            "data source #1 made by IClassFactory::CreateInstance, 1 references, "
            "at the thread's last CoUninitialize");
  EXPECT_EQ(leaks[3], "column information, at the thread's last CoUninitialize");
}

TEST_F(OledbProvider, AReleasedObjectAnswersAnError) {
  ASSERT_EQ(Connect(), S_OK);
  ICommandText* command = Command(kUserNames).Detach();
  command->Release();
  EXPECT_EQ(command->SetCommandText(kDialect, L"SELECT 1"), E_UNEXPECTED);
  EXPECT_EQ(UnexpectedLines(), 1U);
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

TEST_F(OledbProvider, AnInjectedFailureCanPoisonTheOutParameter) {
  ASSERT_TRUE(FaultPlan()
                  .FailNth("IDBCreateCommand::CreateCommand", 1, 0x8007000E)
                  .SetOutParameters(OutParameters::kPoison)
                  .Save(directory_));
  ASSERT_EQ(Connect(), S_OK);
  IUnknown* command = nullptr;
  EXPECT_EQ(session_->CreateCommand(nullptr, IID_ICommandText, &command), E_OUTOFMEMORY);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(command), 0xDDDDDDDDDDDDDDDDu);
}

TEST_F(OledbProvider, HandsOutOneRowAtATime) {
  SetOptions(L"rows=1");
  database_->AddSampleUsers(7, 3);
  ASSERT_EQ(Connect(), S_OK);
  Reader reader = Open(kUserNames);
  HROW rows[3] = {};
  EXPECT_EQ(reader.Fetch(3, rows), DB_S_ROWLIMITEXCEEDED);
  EXPECT_EQ(reader.Obtained(), 1u);
  EXPECT_EQ(reader.Fetch(3, rows), DB_E_ROWSNOTRELEASED);
  EXPECT_EQ(reader.Release(rows[0]), S_OK);
}

TEST_F(OledbProvider, MayHoldRowsWhileOthersAreFetched) {
  SetOptions(L"hold=yes");
  database_->AddSampleUsers(7, 2);
  ASSERT_EQ(Connect(), S_OK);
  Reader reader = Open(kUserNames);
  HROW rows[2] = {};
  EXPECT_EQ(reader.Fetch(1, &rows[0]), S_OK);
  EXPECT_EQ(reader.Fetch(1, &rows[1]), S_OK);
  EXPECT_EQ(reader.Release(rows[0]), S_OK);
  EXPECT_EQ(reader.Release(rows[1]), S_OK);
}

TEST_F(OledbProvider, CommandMayLackAccessors) {
  SetOptions(L"accessor=rowset");
  ASSERT_EQ(Connect(), S_OK);
  EXPECT_FALSE(Ask<IAccessor>(Command(kUserNames).Get(), IID_IAccessor));
}

TEST_F(OledbProvider, RefusesAnotherServer) {
  SetOptions(L"server=other");
  EXPECT_EQ(Connect(), E_FAIL);
}

TEST_F(OledbProvider, ServesTheServerItIsNamedFor) {
  SetOptions(L"server=srv;database=bes");
  EXPECT_EQ(Connect(), S_OK);
}

// What the provider does not know it refuses, and the journal tells.

TEST_F(OledbProvider, AMethodThatNobodyNeedsIsUnexpected) {
  ASSERT_EQ(Connect(), S_OK);
  const auto command = Command(kUserNames);
  const Reader reader = Open(kUserNames);
  GUID dialect = {};
  wchar_t* text = nullptr;
  ULONG count = 0;
  DBPROPSET* sets = nullptr;
  EXPECT_EQ(command->GetCommandText(&dialect, &text), E_NOTIMPL);
  EXPECT_EQ(command->Cancel(), E_NOTIMPL);
  EXPECT_EQ(Ask<IAccessor>(command.Get(), IID_IAccessor)->AddRefAccessor(1, nullptr), E_NOTIMPL);
  EXPECT_EQ(reader->AddRefRows(0, nullptr, nullptr, nullptr), E_NOTIMPL);
  EXPECT_EQ(reader.Accessors()->GetBindings(1, nullptr, nullptr, nullptr), E_NOTIMPL);
  EXPECT_EQ(Ask<IDBProperties>(source_.Get(), IID_IDBProperties)
                ->GetProperties(0, nullptr, &count, &sets),
            E_NOTIMPL);
  EXPECT_EQ(UnexpectedLines(), 6U);
  EXPECT_EQ(UnexpectedCalls(Journal())[5],
            "GetProperties on data source #1 made by IClassFactory::CreateInstance");
}

TEST_F(OledbProvider, KnowsItsOwnDialectAndSqlAndNoOther) {
  ASSERT_EQ(Connect(), S_OK);
  const auto command = Command(L"UPDATE UserConfig SET AgentId=1");
  for (size_t i = 0; i < sizeof(GUID); ++i) {
    GUID other = kDialect;
    reinterpret_cast<BYTE*>(&other)[i] ^= 1;
    EXPECT_EQ(command->SetCommandText(other, L"SELECT 1"), DB_E_DIALECTNOTSUPPORTED) << i;
  }
  EXPECT_EQ(UnexpectedLines(), sizeof(GUID));
  EXPECT_EQ(command->Execute(nullptr, IID_NULL, nullptr, nullptr, nullptr), S_OK);
  EXPECT_EQ(CallsOf(Journal(), "ICommand::Execute")[0].Argument("sql"),
            "UPDATE UserConfig SET AgentId=1");
  EXPECT_EQ(command->SetCommandText(kSqlDialect, L"SELECT 1"), S_OK);
}

TEST_F(OledbProvider, LacksAnUnknownInterface) {
  ASSERT_EQ(Connect(), S_OK);
  ComPtr<IUnknown> object;
  CLSID provider = {};
  ASSERT_EQ(CLSIDFromProgID(L"SQLOLEDB", &provider), S_OK);
  EXPECT_EQ(CoCreateInstance(provider, nullptr, CLSCTX_INPROC_SERVER, kUnknownInterface, &object),
            E_NOINTERFACE);
  EXPECT_EQ(Ask<IDBCreateSession>(source_.Get(), IID_IDBCreateSession)
                ->CreateSession(nullptr, kUnknownInterface, &object),
            E_NOINTERFACE);
  EXPECT_EQ(session_->CreateCommand(nullptr, kUnknownInterface, &object), E_NOINTERFACE);
  EXPECT_EQ(source_->QueryInterface(kUnknownInterface, &object), E_NOINTERFACE);
  EXPECT_EQ(session_->QueryInterface(kUnknownInterface, &object), E_NOINTERFACE);
  EXPECT_EQ(Command(kUserNames)->QueryInterface(kUnknownInterface, &object), E_NOINTERFACE);
  EXPECT_EQ(Open(kUserNames)->QueryInterface(kUnknownInterface, &object), E_NOINTERFACE);
  EXPECT_EQ(object.Get(), nullptr);
}

TEST_F(OledbProvider, RunsNothingForAnUnknownInterface) {
  database_->AddSampleUsers(7, 1);
  ASSERT_EQ(Connect(), S_OK);
  ComPtr<IUnknown> rowset;
  const auto execute = [&](const wchar_t* sql, REFIID iid) {
    return Command(sql)->Execute(nullptr, iid, nullptr, nullptr, &rowset);
  };
  EXPECT_EQ(execute(kUserNames, kUnknownInterface), E_NOINTERFACE);
  EXPECT_EQ(execute(L"UPDATE UserConfig SET AgentId=1", kUnknownInterface), E_NOINTERFACE);
  EXPECT_EQ(database_->AgentOf(L"user1@example.com"), 0);
  for (REFIID iid : {IID_IUnknown, IID_IRowset, IID_IAccessor, IID_IColumnsInfo}) {
    EXPECT_EQ(execute(kUserNames, iid), S_OK);
  }
}

TEST_F(OledbProvider, TakesNoOtherFlagsOfAccessors) {
  ASSERT_EQ(Connect(), S_OK);
  const Reader reader = Open(kUserNames);
  const DBBINDING binding = Bind(1, DBTYPE_WSTR);
  HACCESSOR accessor = 4711;
  for (const DBACCESSORFLAGS flags : {0x0U, 0x3U, 0x4U, 0x6U, 0xAU, 0x12U, 0x22U, 0x80000002U}) {
    EXPECT_EQ(reader.Accessors()->CreateAccessor(flags, 1, &binding, 0, &accessor, nullptr),
              DB_E_BADACCESSORFLAGS)
        << flags;
  }
  EXPECT_EQ(accessor, HACCESSOR{DB_NULL_HACCESSOR});
}

TEST_F(OledbProvider, RefusesBindingsItCannotServe) {
  ASSERT_EQ(Connect(), S_OK);
  const Reader reader = Open(kUserNames);
  DBBINDING bindings[6] = {};
  for (DBBINDING& binding : bindings) binding = Bind(1, DBTYPE_WSTR);
  bindings[0].iOrdinal = 2;
  bindings[1].wType = DBTYPE_BSTR;
  bindings[2].wType = DBTYPE_WSTR | DBTYPE_BYREF;
  bindings[3].dwFlags = DBBINDFLAG_HTML;
  bindings[4].dwPart = DBPART_VALUE;
  bindings[5].dwMemOwner = DBMEMOWNER_PROVIDEROWNED;
  HACCESSOR accessor = DB_NULL_HACCESSOR;
  std::vector<DBBINDSTATUS> statuses(std::size(bindings));
  EXPECT_EQ(reader.Accessors()->CreateAccessor(DBACCESSOR_ROWDATA, std::size(bindings), bindings, 0,
                                               &accessor, statuses.data()),
            DB_E_ERRORSOCCURRED);
  EXPECT_EQ(statuses,
            (std::vector<DBBINDSTATUS>{DBBINDSTATUS_BADORDINAL, DBBINDSTATUS_UNSUPPORTEDCONVERSION,
                                       DBBINDSTATUS_UNSUPPORTEDCONVERSION, DBBINDSTATUS_BADBINDINFO,
                                       DBBINDSTATUS_BADBINDINFO, DBBINDSTATUS_BADBINDINFO}));
}

TEST_F(OledbProvider, GoesForwardOnlyAndTakesNoOptionsForRows) {
  database_->AddSampleUsers(7, 1);
  ASSERT_EQ(Connect(), S_OK);
  Reader reader = Open(kUserNames);
  HROW row = DB_NULL_HROW;
  HROW* rows = &row;
  DBCOUNTITEM obtained = 0;
  EXPECT_EQ(reader->GetNextRows(DB_NULL_HCHAPTER, -1, 1, &obtained, &rows),
            DB_E_CANTSCROLLBACKWARDS);
  EXPECT_EQ(reader.Fetch(-1, &row), DB_E_CANTFETCHBACKWARDS);
  EXPECT_EQ(reader->GetNextRows(DB_NULL_HCHAPTER, 0, 1, nullptr, &rows), E_INVALIDARG);
  EXPECT_EQ(reader->GetNextRows(DB_NULL_HCHAPTER, 0, 1, &obtained, nullptr), E_INVALIDARG);
  ASSERT_EQ(reader.Fetch(1, &row), S_OK);
  DBROWOPTIONS options = 0;
  EXPECT_EQ(reader->ReleaseRows(1, &row, &options, nullptr, nullptr), E_INVALIDARG);
  EXPECT_EQ(reader->ReleaseRows(1, nullptr, nullptr, nullptr, nullptr), E_INVALIDARG);
  EXPECT_EQ(reader.Release(row), S_OK);
  EXPECT_EQ(reader.Release(row), DB_E_ERRORSOCCURRED);
  EXPECT_EQ(reader->GetData(row, 4711, &row), DB_E_BADACCESSORHANDLE);
  EXPECT_EQ(UnexpectedLines(), 8U);
}

TEST_F(OledbProvider, TakesTheProvidersStringAndNoOtherProperty) {
  ASSERT_EQ(Connect(), S_OK);
  const auto properties = Ask<IDBProperties>(source_.Get(), IID_IDBProperties);
  const auto set = [&](GUID guid, DBPROPID id, DBPROPOPTIONS options) {
    DBPROP property{};
    property.dwPropertyID = id;
    property.dwOptions = options;
    property.vValue.vt = VT_BSTR;
    DBPROPSET all{};
    all.rgProperties = &property;
    all.cProperties = 1;
    all.guidPropertySet = guid;
    const HRESULT result = properties->SetProperties(1, &all);
    return std::pair(result, property.dwStatus);
  };
  constexpr DBPROPID kString = DBPROP_INIT_PROVIDERSTRING;
  EXPECT_EQ(set(kPropertiesInit, kString, DBPROPOPTIONS_OPTIONAL),
            std::pair(HRESULT{S_OK}, DBPROPSTATUS{DBPROPSTATUS_OK}));
  EXPECT_EQ(set(kPropertiesInit, kString, 2),
            std::pair(DB_E_ERRORSOCCURRED, DBPROPSTATUS{DBPROPSTATUS_BADOPTION}));
  EXPECT_EQ(set(kPropertiesInit, DBPROP_INIT_TIMEOUT, DBPROPOPTIONS_REQUIRED),
            std::pair(DB_E_ERRORSOCCURRED, DBPROPSTATUS{DBPROPSTATUS_NOTSUPPORTED}));
  EXPECT_EQ(set(kDialect, kString, DBPROPOPTIONS_REQUIRED),
            std::pair(DB_E_ERRORSOCCURRED, DBPROPSTATUS{DBPROPSTATUS_NOTSUPPORTED}));
  EXPECT_EQ(UnexpectedLines(), 3U);
}

}  // namespace
}  // namespace lab
