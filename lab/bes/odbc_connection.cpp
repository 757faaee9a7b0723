// The functions are called by their own names, the wide ones with a W.
#define SQL_NOUNICODEMAP

#include "lab/bes/odbc_connection.h"

#include <windows.h>
// After windows.h.
#include <sql.h>
#include <sqlext.h>

#include <algorithm>

#include "lab/common/lab_config.h"
#include "lab/common/text.h"

namespace lab {
namespace {

constexpr wchar_t kConnectionValue[] = L"OdbcConnection";
constexpr wchar_t kTextValue[] = L"OdbcText";
constexpr wchar_t kDatabaseFile[] = L"bes.sqlite";

std::wstring FullPath(const std::wstring& path) {
  std::wstring full(32768, L'\0');
  full.resize(
      GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
  return full.empty() ? path : full;
}

// The driver is a program of the machine below, where there is one: it wants that machine's name
// of the file.
std::wstring DriverPath(const std::wstring& path) {
  using ToUnix = char*(CDECL*)(const wchar_t*);
  const auto toUnix = reinterpret_cast<ToUnix>(
      GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name"));
  if (!toUnix) return path;
  char* name = toUnix(path.c_str());
  if (!name) return path;
  std::wstring result = WideFromUtf8(name);
  HeapFree(GetProcessHeap(), 0, name);
  return result;
}

constexpr size_t kMessageSize = 1024;
constexpr size_t kNameSize = 512;
constexpr size_t kChunkSize = 4096;  // characters fetched of a value at a time

SQLWCHAR* WideArgument(const std::wstring& text) {
  return reinterpret_cast<SQLWCHAR*>(const_cast<wchar_t*>(text.c_str()));
}

SQLCHAR* NarrowArgument(const std::string& text) {
  return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text.c_str()));
}

// Throws the first diagnostic record of `handle`.
[[noreturn]] void ThrowDiagnostic(SQLSMALLINT type, SQLHANDLE handle, const char* call) {
  SQLCHAR state[6] = {};
  SQLCHAR message[kMessageSize] = {};
  SQLINTEGER native = 0;
  SQLSMALLINT length = 0;
  if (handle && SQL_SUCCEEDED(SQLGetDiagRec(type, handle, 1, state, &native, message,
                                            static_cast<SQLSMALLINT>(kMessageSize), &length))) {
    throw OdbcError(reinterpret_cast<char*>(state), reinterpret_cast<char*>(message));
  }
  throw OdbcError("HY000", std::string(call) + " failed without a diagnostic record");
}

// A statement handle and what is read through it.
class Statement {
 public:
  Statement(SQLHDBC connection, OdbcText text) : text_(text) {
    if (!SQL_SUCCEEDED(SQLAllocHandle(SQL_HANDLE_STMT, connection, &handle_))) {
      ThrowDiagnostic(SQL_HANDLE_DBC, connection, "SQLAllocHandle");
    }
  }
  ~Statement() { SQLFreeHandle(SQL_HANDLE_STMT, handle_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  void Execute(const std::wstring& statement) {
    const SQLRETURN result =
        text_ == OdbcText::kUtf16
            ? SQLExecDirectW(handle_, WideArgument(statement), SQL_NTS)
            : SQLExecDirect(handle_, NarrowArgument(Utf8FromWide(statement)), SQL_NTS);
    if (result != SQL_NO_DATA) Check(result, "SQLExecDirect");
  }

  std::vector<OdbcColumn> Columns() {
    SQLSMALLINT count = 0;
    Check(SQLNumResultCols(handle_, &count), "SQLNumResultCols");
    std::vector<OdbcColumn> columns;
    for (SQLUSMALLINT i = 1; i <= count; ++i) columns.push_back(Column(i));
    return columns;
  }

  bool Fetch() {
    const SQLRETURN result = SQLFetch(handle_);
    if (result == SQL_NO_DATA) return false;
    Check(result, "SQLFetch");
    return true;
  }

  OdbcRow Row(size_t columns) {
    OdbcRow row;
    for (size_t i = 1; i <= columns; ++i) row.push_back(Cell(static_cast<SQLUSMALLINT>(i)));
    return row;
  }

 private:
  void Check(SQLRETURN result, const char* call) {
    if (!SQL_SUCCEEDED(result)) ThrowDiagnostic(SQL_HANDLE_STMT, handle_, call);
  }

  OdbcColumn Column(SQLUSMALLINT number);
  OdbcCell Cell(SQLUSMALLINT number);
  template <class Char>
  bool ReadCell(SQLUSMALLINT number, SQLSMALLINT type, std::basic_string<Char>* text);

  SQLHSTMT handle_ = SQL_NULL_HSTMT;
  const OdbcText text_;
};

int IntegerSizeOf(SQLSMALLINT type) {
  switch (type) {
    case SQL_BIT:
    case SQL_TINYINT:
    case SQL_SMALLINT:
      return 2;
    case SQL_INTEGER:
      return 4;
    case SQL_BIGINT:
      return 8;
    default:
      return 0;
  }
}

OdbcColumn Statement::Column(SQLUSMALLINT number) {
  SQLSMALLINT length = 0;
  SQLSMALLINT type = 0;
  SQLULEN size = 0;
  SQLSMALLINT digits = 0;
  SQLSMALLINT nullable = 0;
  constexpr auto kRoom = static_cast<SQLSMALLINT>(kNameSize);
  if (text_ == OdbcText::kUtf16) {
    std::wstring name(kNameSize, L'\0');
    Check(SQLDescribeColW(handle_, number, WideArgument(name), kRoom, &length, &type, &size,
                          &digits, &nullable),
          "SQLDescribeColW");
    return {name.substr(0, name.find(L'\0')), IntegerSizeOf(type)};
  }
  std::string name(kNameSize, '\0');
  Check(SQLDescribeCol(handle_, number, NarrowArgument(name), kRoom, &length, &type, &size, &digits,
                       &nullable),
        "SQLDescribeCol");
  return {WideFromUtf8(name.c_str()), IntegerSizeOf(type)};
}

// Reads a value piece by piece; false for NULL.
template <class Char>
bool Statement::ReadCell(SQLUSMALLINT number, SQLSMALLINT type, std::basic_string<Char>* text) {
  std::basic_string<Char> chunk(kChunkSize, Char{});
  while (true) {
    SQLLEN length = 0;
    const SQLRETURN result = SQLGetData(handle_, number, type, chunk.data(),
                                        static_cast<SQLLEN>(kChunkSize * sizeof(Char)), &length);
    if (result == SQL_NO_DATA) return true;
    Check(result, "SQLGetData");
    if (length == SQL_NULL_DATA) return false;
    const size_t whole = length < 0 ? kChunkSize : static_cast<size_t>(length) / sizeof(Char);
    text->append(chunk, 0, std::min(whole, kChunkSize - 1));
    if (result == SQL_SUCCESS) return true;
  }
}

OdbcCell Statement::Cell(SQLUSMALLINT number) {
  if (text_ == OdbcText::kUtf16) {
    std::wstring wide;
    return ReadCell(number, SQL_C_WCHAR, &wide) ? OdbcCell(std::move(wide)) : std::nullopt;
  }
  std::string narrow;
  return ReadCell(number, SQL_C_CHAR, &narrow) ? OdbcCell(WideFromUtf8(narrow)) : std::nullopt;
}

SQLHANDLE MakeEnvironment() {
  SQLHANDLE environment = nullptr;
  if (!SQL_SUCCEEDED(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &environment))) {
    throw OdbcError("IM004", "there is no ODBC driver manager");
  }
  SQLSetEnvAttr(environment, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
  return environment;
}

void FreeEnvironment(void* environment) { SQLFreeHandle(SQL_HANDLE_ENV, environment); }

SQLHANDLE MakeConnection(SQLHANDLE environment) {
  SQLHANDLE connection = nullptr;
  if (!SQL_SUCCEEDED(SQLAllocHandle(SQL_HANDLE_DBC, environment, &connection))) {
    ThrowDiagnostic(SQL_HANDLE_ENV, environment, "SQLAllocHandle");
  }
  return connection;
}

void FreeConnection(void* connection) {
  SQLDisconnect(connection);
  SQLFreeHandle(SQL_HANDLE_DBC, connection);
}

}  // namespace

std::wstring SqliteConnectionString(const std::wstring& path) {
  return L"Driver=SQLite3;Database=" + DriverPath(FullPath(path)) +
         L";SyncPragma=OFF;Timeout=20000;LongNames=0";
}

std::wstring OdbcConnectionString() {
  std::wstring text = ReadLabValue(L"QRVLAB_ODBC", kConnectionValue);
  if (!text.empty()) return text;
  const std::wstring directory = LabDirectory();
  if (directory.empty()) return SqliteConnectionString(kDatabaseFile);
  return SqliteConnectionString(directory + L'\\' + kDatabaseFile);
}

OdbcText OdbcTextMode() {
  const std::wstring text = ReadLabValue(L"QRVLAB_ODBC_TEXT", kTextValue);
  return EqualsFolded(text, L"utf16") ? OdbcText::kUtf16 : OdbcText::kUtf8;
}

OdbcConnection::OdbcConnection(const std::wstring& connection, OdbcText text)
    : text_(text),
      environment_(MakeEnvironment(), &FreeEnvironment),
      connection_(MakeConnection(environment_.get()), &FreeConnection) {
  SQLSMALLINT length = 0;
  const SQLRETURN result =
      text_ == OdbcText::kUtf16
          ? SQLDriverConnectW(connection_.get(), nullptr, WideArgument(connection), SQL_NTS,
                              nullptr, 0, &length, SQL_DRIVER_NOPROMPT)
          : SQLDriverConnect(connection_.get(), nullptr, NarrowArgument(Utf8FromWide(connection)),
                             SQL_NTS, nullptr, 0, &length, SQL_DRIVER_NOPROMPT);
  if (!SQL_SUCCEEDED(result))
    ThrowDiagnostic(SQL_HANDLE_DBC, connection_.get(), "SQLDriverConnect");
}

OdbcResult OdbcConnection::Run(const std::wstring& statement) {
  const std::lock_guard lock(mutex_);
  Statement running(connection_.get(), text_);
  running.Execute(statement);
  OdbcResult result;
  result.columns = running.Columns();
  while (!result.columns.empty() && running.Fetch())
    result.rows.push_back(running.Row(result.columns.size()));
  return result;
}

std::string OdbcConnection::ProductName() {
  const std::lock_guard lock(mutex_);
  char name[kNameSize] = {};
  SQLSMALLINT length = 0;
  SQLGetInfo(connection_.get(), SQL_DBMS_NAME, name, static_cast<SQLSMALLINT>(sizeof name),
             &length);
  return name;
}

}  // namespace lab
