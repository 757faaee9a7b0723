#include "lab/oledb/command.h"

#include <string_view>

#include "lab/common/text.h"
#include "lab/oledb/column.h"
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

bool Says(const OdbcError& error, std::string_view words) {
  return std::string_view(error.what()).find(words) != std::string_view::npos;
}

// What a provider answers for a statement that failed.
HRESULT ResultOf(const OdbcError& error) {
  const std::string& state = error.State();
  if (state == "42S02" || state == "42P01" || Says(error, "no such table")) return DB_E_NOTABLE;
  if (state.starts_with("23") || Says(error, "constraint failed")) return DB_E_INTEGRITYVIOLATION;
  if (state.starts_with("08") || state.starts_with("57P")) return E_FAIL;
  return DB_E_ERRORSINCOMMAND;
}

// Whether the statement's text is at fault, so that a server would refuse a whole batch for it.
bool IsSyntaxError(const OdbcError& error) {
  return error.State() == "42601" || Says(error, "syntax error") ||
         Says(error, "unrecognized token") || Says(error, "incomplete input");
}

// Lets the fault plan give the result another shape.
void Distort(OdbcResult* result, std::vector<ResultColumn>* columns) {
  Runtime& runtime = Runtime::Get();
  if (runtime.Planned("column-extra")) {
    columns->push_back({L"Extra", DBTYPE_I4});
    for (OdbcRow& row : result->rows) row.emplace_back(L"0");
  }
  if (runtime.Planned("column-lacking")) {
    columns->pop_back();
    for (OdbcRow& row : result->rows) row.pop_back();
  }
  for (ResultColumn& column : *columns) {
    if (column.name.empty()) continue;
    if (runtime.Planned("column-nameless:" + Utf8FromWide(column.name))) column.name.clear();
  }
}

}  // namespace

void* Command::Find(REFIID iid) {
  if (IsEqualIID(iid, IID_IAccessor) && !Options().commandAccessor) return nullptr;
  return Object::Find(iid);
}

STDMETHODIMP Command::Execute(IUnknown* outer, REFIID iid, DBPARAMS* parameters,
                              DBROWCOUNT* affected, IUnknown** rowset) {
  const bool wantsRows = !IsEqualIID(iid, IID_NULL);
  Call call("ICommand::Execute", this);
  call.Words("iid", GuidText(iid)).Text("sql", text_.c_str());
  call.Out(rowset, wantsRows).Require(!affected, "a place for the number of rows changed");
  call.Require(!outer, "an outer object", DB_E_NOAGGREGATION);
  call.Require(!parameters || parameters->cParamSets == 0, "parameters", E_NOTIMPL);
  call.Require(!text_.empty(), "no text", DB_E_NOCOMMAND);
  call.Require(!wantsRows || Rowset::Serves(iid), Call::kLacking, E_NOINTERFACE);
  return call.Run([&] {
    Outcome outcome;
    try {
      const HRESULT result = RunBatch(&outcome);
      if (FAILED(result)) return result;
    } catch (const OdbcError& error) {
      call.Words("error", error.what());
      return ResultOf(error);
    }
    if (!wantsRows || !outcome.result) return S_OK;
    std::vector<ResultColumn> columns = DescribeColumns(outcome.result->columns, outcome.statement);
    Distort(&*outcome.result, &columns);
    return call.HandOut(iid, reinterpret_cast<void**>(rowset),
                        new Rowset(std::move(columns), std::move(outcome.result->rows)));
  });
}

HRESULT Command::RunBatch(Outcome* outcome) const {
  const StatementBatch batch = SplitStatements(text_);
  if (batch.openQuote) throw OdbcError("42000", "unclosed quotation mark");
  CheckBatch(batch.statements);
  for (const std::wstring& statement : batch.statements) {
    const auto planned = Runtime::Get().Planned("statement");
    if (planned) return static_cast<HRESULT>(*planned);
    OdbcResult one = connection_->Run(statement);
    if (one.columns.empty() || outcome->result) continue;
    outcome->result = std::move(one);
    outcome->statement = statement;
  }
  return S_OK;
}

// A server reads a batch as a whole before it runs its first statement: a mistake in the text of
// any of them means that none is run.
void Command::CheckBatch(const std::vector<std::wstring>& statements) const {
  if (statements.size() < 2) return;
  for (const std::wstring& statement : statements) {
    try {
      connection_->Run(L"EXPLAIN " + statement);
    } catch (const OdbcError& error) {
      if (IsSyntaxError(error)) throw;
    }
  }
}

STDMETHODIMP Command::SetCommandText(REFGUID dialect, LPCOLESTR text) {
  const bool known = IsEqualGUID(dialect, kDefaultDialect) || IsEqualGUID(dialect, kSqlDialect);
  Call call("ICommandText::SetCommandText", this);
  call.Words("dialect", GuidText(dialect)).Text("sql", text ? text : L"");
  call.Require(known, "a dialect that it does not know", DB_E_DIALECTNOTSUPPORTED);
  return call.Run([&] {
    text_ = text ? text : L"";
    return S_OK;
  });
}

}  // namespace lab
