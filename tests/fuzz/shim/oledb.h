// OLE DB as far as a row set needs it.
#pragma once

#include <objbase.h>

using DBTYPE = WORD;
using DBORDINAL = uint64_t;
using DBCOUNTITEM = uint64_t;
using DBSTATUS = DWORD;
using DBLENGTH = uint64_t;
using HROW = uintptr_t;
using HACCESSOR = uintptr_t;
using HCHAPTER = uintptr_t;

enum : DBTYPE {
  DBTYPE_I2 = 2,
  DBTYPE_I4 = 3,
  DBTYPE_R8 = 5,
  DBTYPE_I1 = 16,
  DBTYPE_UI1 = 17,
  DBTYPE_UI2 = 18,
  DBTYPE_UI4 = 19,
  DBTYPE_I8 = 20,
  DBTYPE_UI8 = 21,
  DBTYPE_STR = 129,
  DBTYPE_WSTR = 130,
};
enum : DBSTATUS {
  DBSTATUS_S_OK = 0,
  DBSTATUS_E_CANTCONVERTVALUE = 2,
  DBSTATUS_S_ISNULL = 3,
  DBSTATUS_S_TRUNCATED = 4,
};
inline constexpr HACCESSOR DB_NULL_HACCESSOR = 0;
inline constexpr HROW DB_NULL_HROW = 0;
inline constexpr HCHAPTER DB_NULL_HCHAPTER = 0;
enum : DWORD { DBPART_VALUE = 1, DBPART_LENGTH = 2, DBPART_STATUS = 4 };
inline constexpr DWORD DBMEMOWNER_CLIENTOWNED = 0;
inline constexpr DWORD DBPARAMIO_NOTPARAM = 0;
inline constexpr DWORD DBACCESSOR_ROWDATA = 2;
inline constexpr IID IID_IRowset = IID::kRowset;
inline constexpr IID IID_IAccessor = IID::kAccessor;
inline constexpr IID IID_IColumnsInfo = IID::kColumnsInfo;

struct DBBINDING {
  DBORDINAL iOrdinal;
  size_t obValue, obLength, obStatus;
  DWORD dwPart, dwMemOwner, eParamIO;
  DBLENGTH cbMaxLen;
  DBTYPE wType;
};
struct DBCOLUMNINFO {
  LPOLESTR pwszName;
  DBORDINAL iOrdinal;
  DBTYPE wType;
};

struct IRowset : IUnknown {
  virtual HRESULT GetNextRows(HCHAPTER, int64_t skip, int64_t count, DBCOUNTITEM* obtained,
                              HROW** rows) = 0;
  virtual HRESULT GetData(HROW row, HACCESSOR accessor, void* data) = 0;
  virtual HRESULT ReleaseRows(DBCOUNTITEM count, const HROW* rows, void*, void*, void*) = 0;
};
struct IAccessor : IUnknown {
  virtual HRESULT CreateAccessor(DWORD flags, DBCOUNTITEM count, const DBBINDING* bindings, size_t,
                                 HACCESSOR* accessor, void*) = 0;
  virtual HRESULT ReleaseAccessor(HACCESSOR accessor, ULONG* left) = 0;
};
struct IColumnsInfo : IUnknown {
  virtual HRESULT GetColumnInfo(DBORDINAL* count, DBCOLUMNINFO** infos, OLECHAR** names) = 0;
};
struct ICommandText : IUnknown {
  virtual HRESULT Execute(void*, REFIID id, void*, void*, IUnknown** rowset) = 0;
};
struct IDBInitialize : IUnknown {};
struct IOpenRowset : IUnknown {};
