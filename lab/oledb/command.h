// A command: one text of SQL, which may hold several statements, and its execution.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "lab/bes/odbc_connection.h"
#include "lab/com/call.h"
#include "lab/oledb/provider.h"

namespace lab {

// It shows IAccessor unless the options say otherwise; its accessors nobody is expected to need.
class Command final : public Object<ICommandText, IAccessor> {
 public:
  explicit Command(std::shared_ptr<OdbcConnection> connection)
      : Object("command"), connection_(std::move(connection)) {}

  STDMETHODIMP Execute(IUnknown* outer, REFIID iid, DBPARAMS* parameters, DBROWCOUNT* affected,
                       IUnknown** rowset) override;
  STDMETHODIMP SetCommandText(REFGUID dialect, LPCOLESTR text) override;

  // What no program is expected to need.
  LAB_REFUSE(Cancel, ())
  LAB_REFUSE(GetDBSession, (REFIID, IUnknown**))
  LAB_REFUSE(GetCommandText, (GUID*, LPOLESTR*))
  LAB_REFUSE(AddRefAccessor, (HACCESSOR, DBREFCOUNT*))
  LAB_REFUSE(CreateAccessor, (DBACCESSORFLAGS, DBCOUNTITEM, const DBBINDING[], DBLENGTH, HACCESSOR*,
                              DBBINDSTATUS[]))
  LAB_REFUSE(GetBindings, (HACCESSOR, DBACCESSORFLAGS*, DBCOUNTITEM*, DBBINDING**))
  LAB_REFUSE(ReleaseAccessor, (HACCESSOR, DBREFCOUNT*))

 protected:
  void* Find(REFIID iid) override;
  void LetGo() override { connection_.reset(); }

 private:
  // What a batch has come to.
  struct Outcome {
    std::optional<OdbcResult> result;  // the first with columns
    std::wstring statement;            // ... and where it is from
  };

  HRESULT RunBatch(Outcome* outcome) const;
  void CheckBatch(const std::vector<std::wstring>& statements) const;

  std::shared_ptr<OdbcConnection> connection_;
  std::wstring text_;
};

}  // namespace lab
