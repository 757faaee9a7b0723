// A small OLE DB consumer: data source, session, and statements with rows.
// Everything returns HRESULTs and prints nothing. COM must be initialised on the calling thread,
// and stay so until the objects are gone.
#pragma once

#include <windows.h>
// OLE DB's headers want windows.h first.
#include <oledb.h>

#include <string>

#include "src/platform/com.h"

namespace oledb {

class DataSource {
 public:
  // Finds the provider through the data-links component by "Provider=..." in the initialisation
  // string, hands it the rest and initialises it. Returns the first failure.
  HRESULT OpenFromInitializationString(const std::wstring& initializationString);

  void Close() { source_.Reset(); }

  // The open database, still owned here; null when there is none.
  IDBInitialize* Get() const { return source_.Get(); }

 private:
  platform::ComPtr<IDBInitialize> source_;
};

// A session on a data source, held by the one interface that every session has.
class Session {
 public:
  // `source` must be open. Returns the first failure.
  HRESULT Open(const DataSource& source);

  void Close() { session_.Reset(); }

  // Makes a new command with the statement `sql`. Returns the first failure.
  HRESULT CreateCommand(const std::wstring& sql, platform::ComPtr<ICommandText>& command) const;

  // Runs statements that return no rows. Returns the first failure.
  HRESULT Execute(const std::wstring& sql) const;

 private:
  platform::ComPtr<IOpenRowset> session_;
};

}  // namespace oledb
