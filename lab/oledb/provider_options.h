// How the provider behaves where OLE DB leaves providers a choice.
//
// One line of text, "name=value" with semicolons between: the environment variable
// QRVLAB_OLEDB_OPTIONS, else the value "OledbOptions" of HKEY_CURRENT_USER\Software\QrvLab. A
// process reads it once.
//
//   rows=<n>             GetNextRows hands out at most n rows at a time; 0 (default) for no limit
//   hold=yes             rows may be held while others are fetched (default no, as with a
//                        forward-only rowset)
//   accessor=rowset      commands have no IAccessor (default "both")
//   expressions=named    an expression's column has the name the database gives it (default:
//                        an expression without AS has none)
//   journal=brief        fetching, reading and releasing rows is journalled only when it fails
//   server=<name>        connections to another server fail; database=<name> likewise
//   text=wstr|str|bstr                          what text columns are reported as
//   integer=i1|i2|i4|i8|ui1|ui2|ui4|ui8|numeric what integer columns are reported as
//   column:<name>=<type>                        ... and one column, by name or by number from 1
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace lab {

struct ProviderOptions {
  uint32_t rowsAtOnce = 0;
  bool holdRows = false;
  bool commandAccessor = true;
  bool nameExpressions = false;
  bool briefJournal = false;
  std::wstring server;                           // empty for any
  std::wstring database;                         // empty for any
  std::optional<uint16_t> textType;              // DBTYPE
  std::optional<uint16_t> integerType;           // DBTYPE
  std::map<std::wstring, uint16_t> columnTypes;  // names folded

  // None when a name or a value is unknown.
  static std::optional<ProviderOptions> Parse(std::wstring_view text);

  // What is configured; the defaults when that is nothing, or is a mistake, of which the journal
  // then has an UNEXPECTED line.
  static ProviderOptions Load();
};

}  // namespace lab
