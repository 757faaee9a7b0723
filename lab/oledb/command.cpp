#include "lab/oledb/command.h"

#include <oledberr.h>

#include <cwchar>

#include "lab/common/text.h"
#include "lab/oledb/call.h"
#include "lab/oledb/memory.h"
#include "lab/oledb/odbc_error.h"
#include "lab/oledb/rowset.h"
#include "lab/oledb/statement_text.h"

namespace lab {
namespace {

// {C8B521FB-5CF3-11CE-ADE5-00AA0044773D}, the dialect that means the provider's own.
constexpr GUID kDefaultDialect = {
    0xc8b521fb, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};

// {C8B522D7-5CF3-11CE-ADE5-00AA0044773D}, SQL by its name.
constexpr GUID kSqlDialect = {
    0xc8b522d7, 0x5cf3, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};

// An injected failure of a single statement.
class PlannedFailure : public std::exception {
 public:
  explicit PlannedFailure(HRESULT result) : result_(result) {}
  HRESULT Result() const { return result_; }

 private:
  HRESULT result_;
};

// Lets the fault plan give the result another shape.
void Distort(OdbcResult* result, std::vector<ResultColumn>* columns) {
  if (PlanWants("column-extra")) {
    columns->push_back({L"Extra", DBTYPE_I4, sizeof(int32_t), 10, true});
    for (OdbcRow& row : result->rows) row.emplace_back(L"0");
  }
  if (PlanWants("column-lacking")) {
    columns->pop_back();
    for (OdbcRow& row : result->rows) row.pop_back();
  }
  for (ResultColumn& column : *columns) {
    if (column.name.empty()) continue;
    if (PlanWants("column-nameless:" + Utf8FromWide(column.name))) column.name.clear();
  }
}

}  // namespace

Command::Command(Ref<Session> session) : AccessorObject("command"), session_(std::move(session)) {
  if (TheRuntime().options.holdRows) properties_.SetTrue(DBPROP_CANHOLDROWS);
}

void* Command::FindInterface(REFIID iid) {
  if (iid == IID_IUnknown || iid == IID_ICommandText || iid == IID_ICommand) {
    return static_cast<ICommandText*>(this);
  }
  if (iid == IID_ICommandProperties) return static_cast<ICommandProperties*>(this);
  if (iid == IID_IColumnsInfo) return static_cast<IColumnsInfo*>(this);
  if (iid == IID_IConvertType) return static_cast<IConvertType*>(this);
  if (iid == IID_IAccessor && TheRuntime().options.commandAccessor) {
    return static_cast<IAccessor*>(this);
  }
  return nullptr;
}

HRESULT Command::Cancel() { return Unexpected("ICommand::Cancel", Number()); }

HRESULT Command::Execute(IUnknown* outer, REFIID iid, DBPARAMS* parameters, DBROWCOUNT* affected,
                         IUnknown** rowset) {
  Call call("ICommand::Execute", Number());
  call.With("iid", iid).With("sql", text_.value_or(L""));
  if (call.Fails()) return call.Fail(affected, rowset);
  if (rowset) *rowset = nullptr;
  if (outer) return call.Return(DB_E_NOAGGREGATION);
  if (parameters && parameters->cParamSets != 0) {
    return call.Return(Unexpected("ICommand::Execute with parameters", Number()));
  }
  if (!text_) return call.Return(DB_E_NOCOMMAND);
  if (!rowset && iid != IID_NULL) return call.Return(E_INVALIDARG);
  if (iid != IID_NULL && !Rowset::Serves(iid)) return call.Return(E_NOINTERFACE);
  return call.Return(Guarded([&] {
    std::optional<OdbcResult> result;
    std::wstring statement;
    const HRESULT hr = Run(&call, &result, &statement, affected);
    if (FAILED(hr) || !result || iid == IID_NULL) return hr;
    return OpenRowset(std::move(*result), statement, iid, rowset);
  }));
}

HRESULT Command::Run(Call* call, std::optional<OdbcResult>* result, std::wstring* resultStatement,
                     DBROWCOUNT* affected) {
  const StatementBatch batch = SplitStatements(*text_);
  DBROWCOUNT total = DB_COUNTUNAVAILABLE;
  try {
    if (batch.openQuote) throw OdbcError("42000", "unclosed quotation mark");
    CheckBatch(batch.statements);
    for (const std::wstring& statement : batch.statements) {
      OdbcResult one = RunStatement(statement);
      if (one.affected >= 0) total = std::max<DBROWCOUNT>(total, 0) + one.affected;
      if (one.columns.empty() || result->has_value()) continue;
      *result = std::move(one);
      *resultStatement = statement;
    }
  } catch (const OdbcError& error) {
    call->With("error", WideFromUtf8(error.what()));
    return StatementResult(error);
  } catch (const PlannedFailure& failure) {
    return failure.Result();
  }
  if (affected) *affected = total;
  if (total >= 0) call->With("affected", static_cast<uint64_t>(total));
  return S_OK;
}

// A server reads a batch as a whole before it runs its first statement: a mistake in the text of
// any of them means that none is run.
void Command::CheckBatch(const std::vector<std::wstring>& statements) {
  if (statements.size() < 2) return;
  for (const std::wstring& statement : statements) {
    try {
      session_->Connection().Run(L"EXPLAIN " + statement);
    } catch (const OdbcError& error) {
      if (IsSyntaxError(error)) throw;
    }
  }
}

OdbcResult Command::RunStatement(const std::wstring& statement) {
  uint32_t failure = 0;
  if (PlanWants("statement", &failure)) throw PlannedFailure(static_cast<HRESULT>(failure));
  return session_->Connection().Run(statement);
}

HRESULT Command::OpenRowset(OdbcResult result, const std::wstring& statement, REFIID iid,
                            IUnknown** rowset) {
  std::vector<ResultColumn> columns =
      DescribeColumns(result.columns, statement, TheRuntime().options);
  Distort(&result, &columns);
  columns_ = columns;
  const bool holdRows = properties_.IsTrue(DBPROP_CANHOLDROWS);
  const auto created = Ref<Rowset>::Adopt(
      new Rowset(Ref<Command>(this), std::move(columns), std::move(result.rows), holdRows));
  return created->QueryInterface(iid, reinterpret_cast<void**>(rowset));
}

HRESULT Command::GetDBSession(REFIID iid, IUnknown** session) {
  Call call("ICommand::GetDBSession", Number());
  if (call.Fails()) return call.Fail(session);
  return call.Return(session_->QueryInterface(iid, reinterpret_cast<void**>(session)));
}

HRESULT Command::GetCommandText(GUID* dialect, LPOLESTR* text) {
  Call call("ICommandText::GetCommandText", Number());
  if (call.Fails()) return call.Fail(text);
  if (!text) return call.Return(E_INVALIDARG);
  *text = nullptr;
  if (!text_) return call.Return(DB_E_NOCOMMAND);
  if (dialect) *dialect = kDefaultDialect;
  return call.Return(Guarded([&] {
    *text = AllocateForClient<OLECHAR>(text_->size() + 1, "command text");
    std::wcscpy(*text, text_->c_str());
    return S_OK;
  }));
}

HRESULT Command::SetCommandText(REFGUID dialect, LPCOLESTR text) {
  Call call("ICommandText::SetCommandText", Number());
  call.With("dialect", dialect).With("sql", text ? text : L"");
  if (call.Fails()) return call.Fail();
  if (dialect != kDefaultDialect && dialect != kSqlDialect) {
    return call.Return(DB_E_DIALECTNOTSUPPORTED);
  }
  columns_.reset();
  text_.reset();
  if (text && *text) text_ = text;
  return call.Return(S_OK);
}

HRESULT Command::GetProperties(const ULONG count, const DBPROPIDSET wanted[], ULONG* setCount,
                               DBPROPSET** sets) {
  Call call("ICommandProperties::GetProperties", Number());
  if (call.Fails()) return call.Fail(setCount, sets);
  return call.Return(Guarded([&] { return properties_.Get(count, wanted, setCount, sets); }));
}

HRESULT Command::SetProperties(ULONG count, DBPROPSET sets[]) {
  Call call("ICommandProperties::SetProperties", Number());
  if (call.Fails()) return call.Fail();
  return call.Return(Guarded([&] { return properties_.Set(count, sets); }));
}

const std::vector<ResultColumn>* Command::KnownColumns() const {
  return columns_ ? &*columns_ : nullptr;
}

HRESULT Command::GetColumnInfo(DBORDINAL* count, DBCOLUMNINFO** info, OLECHAR** strings) {
  Call call("IColumnsInfo::GetColumnInfo", Number());
  if (call.Fails()) return call.Fail(count, info, strings);
  if (!columns_) return call.Return(text_ ? DB_E_NOTPREPARED : DB_E_NOCOMMAND);
  return call.Return(Guarded([&] { return CopyColumnInfo(*columns_, count, info, strings); }));
}

HRESULT Command::MapColumnIDs(DBORDINAL count, const DBID ids[], DBORDINAL ordinals[]) {
  Call call("IColumnsInfo::MapColumnIDs", Number());
  if (call.Fails()) return call.Fail(ordinals);
  if (!columns_) return call.Return(text_ ? DB_E_NOTPREPARED : DB_E_NOCOMMAND);
  return call.Return(MapColumns(*columns_, count, ids, ordinals));
}

}  // namespace lab
