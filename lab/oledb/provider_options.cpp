#include "lab/oledb/provider_options.h"

#include <windows.h>
// After windows.h.
#include <oledb.h>

#include <algorithm>
#include <array>
#include <vector>

#include "lab/common/lab_value.h"
#include "lab/common/text.h"

namespace lab {
namespace {

constexpr wchar_t kOptionsValue[] = L"OledbOptions";
constexpr std::wstring_view kColumnPrefix = L"column:";

struct TypeName {
  const wchar_t* name;
  DBTYPE type;
};

constexpr std::array<TypeName, 12> kTypeNames = {{
    {L"wstr", DBTYPE_WSTR},
    {L"str", DBTYPE_STR},
    {L"bstr", DBTYPE_BSTR},
    {L"i1", DBTYPE_I1},
    {L"i2", DBTYPE_I2},
    {L"i4", DBTYPE_I4},
    {L"i8", DBTYPE_I8},
    {L"ui1", DBTYPE_UI1},
    {L"ui2", DBTYPE_UI2},
    {L"ui4", DBTYPE_UI4},
    {L"ui8", DBTYPE_UI8},
    {L"numeric", DBTYPE_NUMERIC},
}};

std::optional<uint16_t> TypeOf(std::wstring_view name) {
  const auto* found = std::find_if(kTypeNames.begin(), kTypeNames.end(), [&](const TypeName& type) {
    return EqualsFolded(type.name, name);
  });
  if (found == kTypeNames.end()) return std::nullopt;
  return found->type;
}

std::vector<std::wstring> Pieces(std::wstring_view text, wchar_t separator) {
  std::vector<std::wstring> pieces;
  while (true) {
    const size_t end = text.find(separator);
    if (end != 0 && !text.empty()) pieces.emplace_back(text.substr(0, end));
    if (end == std::wstring_view::npos) return pieces;
    text.remove_prefix(end + 1);
  }
}

bool SetType(std::wstring_view value, std::optional<uint16_t>* type) {
  *type = TypeOf(value);
  return type->has_value();
}

bool SetChoice(std::wstring_view value, std::wstring_view yes, std::wstring_view no, bool* choice) {
  *choice = EqualsFolded(value, yes);
  return *choice || EqualsFolded(value, no);
}

bool SetNumber(std::wstring_view value, uint32_t* number) {
  const auto parsed = ParseNumber(Utf8FromWide(value));
  *number = parsed.value_or(0);
  return parsed.has_value();
}

bool SetColumnType(const std::wstring& name, std::wstring_view value, ProviderOptions* options) {
  const auto type = TypeOf(value);
  if (type) options->columnTypes[name.substr(kColumnPrefix.size())] = *type;
  return type.has_value();
}

bool SetOption(const std::wstring& name, const std::wstring& value, ProviderOptions* options) {
  if (name.starts_with(kColumnPrefix)) return SetColumnType(name, value, options);
  if (name == L"rows") return SetNumber(value, &options->rowsAtOnce);
  if (name == L"hold") return SetChoice(value, L"yes", L"no", &options->holdRows);
  if (name == L"accessor") return SetChoice(value, L"both", L"rowset", &options->commandAccessor);
  if (name == L"expressions") {
    return SetChoice(value, L"named", L"nameless", &options->nameExpressions);
  }
  if (name == L"journal") return SetChoice(value, L"brief", L"full", &options->briefJournal);
  if (name == L"text") return SetType(value, &options->textType);
  if (name == L"integer") return SetType(value, &options->integerType);
  if (name != L"server" && name != L"database") return false;
  (name == L"server" ? options->server : options->database) = value;
  return true;
}

}  // namespace

std::optional<ProviderOptions> ProviderOptions::Parse(std::wstring_view text) {
  ProviderOptions options;
  for (const std::wstring& piece : Pieces(text, L';')) {
    const size_t equals = piece.find(L'=');
    if (equals == std::wstring::npos) return std::nullopt;
    if (!SetOption(FoldAscii(piece.substr(0, equals)), piece.substr(equals + 1), &options)) {
      return std::nullopt;
    }
  }
  return options;
}

ProviderOptions ProviderOptions::Load() {
  return Parse(ReadLabValue(L"QRVLAB_OLEDB_OPTIONS", kOptionsValue)).value_or(ProviderOptions());
}

}  // namespace lab
