// A command: one text of SQL, which may hold several statements, and its execution.
#pragma once

#include <optional>

#include "lab/oledb/accessor_table.h"
#include "lab/oledb/com_object.h"
#include "lab/oledb/properties.h"
#include "lab/oledb/session.h"

namespace lab {

class Call;

class Command final
    : public ComObject<ICommandText, ICommandProperties, IAccessor, IColumnsInfo, IConvertType> {
 public:
  explicit Command(Ref<Session> session);

  const AccessorTable& Accessors() const { return accessors_; }

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

  // IAccessor.
  HRESULT STDMETHODCALLTYPE AddRefAccessor(HACCESSOR accessor, DBREFCOUNT* references) override;
  HRESULT STDMETHODCALLTYPE CreateAccessor(DBACCESSORFLAGS flags, DBCOUNTITEM count,
                                           const DBBINDING bindings[], DBLENGTH rowSize,
                                           HACCESSOR* accessor, DBBINDSTATUS statuses[]) override;
  HRESULT STDMETHODCALLTYPE GetBindings(HACCESSOR accessor, DBACCESSORFLAGS* flags,
                                        DBCOUNTITEM* count, DBBINDING** bindings) override;
  HRESULT STDMETHODCALLTYPE ReleaseAccessor(HACCESSOR accessor, DBREFCOUNT* references) override;

  // IColumnsInfo: answers once the command has run.
  HRESULT STDMETHODCALLTYPE GetColumnInfo(DBORDINAL* count, DBCOLUMNINFO** info,
                                          OLECHAR** strings) override;
  HRESULT STDMETHODCALLTYPE MapColumnIDs(DBORDINAL count, const DBID ids[],
                                         DBORDINAL ordinals[]) override;

  // IConvertType.
  HRESULT STDMETHODCALLTYPE CanConvert(DBTYPE from, DBTYPE to, DBCONVERTFLAGS flags) override;

 private:
  void* FindInterface(REFIID iid) override;

  // Runs the text; the first result with columns is the one kept.
  HRESULT Run(Call* call, std::optional<OdbcResult>* result, std::wstring* resultStatement,
              DBROWCOUNT* affected);
  HRESULT CheckBatch(const std::vector<std::wstring>& statements);
  OdbcResult RunStatement(const std::wstring& statement);
  HRESULT OpenRowset(OdbcResult result, const std::wstring& statement, REFIID iid,
                     IUnknown** rowset);
  const std::vector<ResultColumn>* KnownColumns() const;

  const Ref<Session> session_;
  std::optional<std::wstring> text_;
  std::optional<std::vector<ResultColumn>> columns_;
  PropertyBag properties_{kPropertiesRowset};
  AccessorTable accessors_;
};

}  // namespace lab
