// A command: one text of SQL, which may hold several statements, and its execution.
#pragma once

#include <optional>

#include "lab/oledb/accessor_object.h"
#include "lab/oledb/properties.h"
#include "lab/oledb/session.h"

namespace lab {

class Call;

class Command final : public AccessorObject<ICommandText, ICommandProperties, IColumnsInfo> {
 public:
  explicit Command(Ref<Session> session);

  // ICommand.
  HRESULT STDMETHODCALLTYPE Cancel() override;
  HRESULT STDMETHODCALLTYPE Execute(IUnknown* outer, REFIID iid, DBPARAMS* parameters,
                                    DBROWCOUNT* affected, IUnknown** rowset) override;
  HRESULT STDMETHODCALLTYPE GetDBSession(REFIID iid, IUnknown** session) override;

  // ICommandText.
  HRESULT STDMETHODCALLTYPE GetCommandText(GUID* dialect, LPOLESTR* text) override;
  HRESULT STDMETHODCALLTYPE SetCommandText(REFGUID dialect, LPCOLESTR text) override;

  // ICommandProperties.
  HRESULT STDMETHODCALLTYPE GetProperties(const ULONG count, const DBPROPIDSET wanted[],
                                          ULONG* setCount, DBPROPSET** sets) override;
  HRESULT STDMETHODCALLTYPE SetProperties(ULONG count, DBPROPSET sets[]) override;

  // IColumnsInfo: answers once the command has run.
  HRESULT STDMETHODCALLTYPE GetColumnInfo(DBORDINAL* count, DBCOLUMNINFO** info,
                                          OLECHAR** strings) override;
  HRESULT STDMETHODCALLTYPE MapColumnIDs(DBORDINAL count, const DBID ids[],
                                         DBORDINAL ordinals[]) override;

 private:
  void* FindInterface(REFIID iid) override;
  const std::vector<ResultColumn>* KnownColumns() const override;

  // Runs the text; the first result with columns is the one kept.
  HRESULT Run(Call* call, std::optional<OdbcResult>* result, std::wstring* resultStatement,
              DBROWCOUNT* affected);
  void CheckBatch(const std::vector<std::wstring>& statements);
  OdbcResult RunStatement(const std::wstring& statement);
  HRESULT OpenRowset(OdbcResult result, const std::wstring& statement, REFIID iid,
                     IUnknown** rowset);

  const Ref<Session> session_;
  std::optional<std::wstring> text_;
  std::optional<std::vector<ResultColumn>> columns_;
  PropertyBag properties_{kPropertiesRowset};
};

}  // namespace lab
