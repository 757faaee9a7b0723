#include "lab/oledb/provider_options.h"

#include <windows.h>
// After windows.h.
#include <oledb.h>

#include "lab/common/rule_file.h"

namespace lab {
namespace {

constexpr std::string_view kColumnPrefix = "column:";

constexpr NamedValue<bool> kAccessors[] = {{true, "both"}, {false, "rowset"}};
constexpr NamedValue<bool> kExpressions[] = {{true, "named"}, {false, "nameless"}};
constexpr NamedValue<bool> kJournals[] = {{true, "brief"}, {false, "full"}};
constexpr NamedValue<uint16_t> kTypes[] = {
    {DBTYPE_WSTR, "wstr"}, {DBTYPE_STR, "str"}, {DBTYPE_BSTR, "bstr"}, {DBTYPE_I1, "i1"},
    {DBTYPE_I2, "i2"},     {DBTYPE_I4, "i4"},   {DBTYPE_I8, "i8"},     {DBTYPE_UI1, "ui1"},
    {DBTYPE_UI2, "ui2"},   {DBTYPE_UI4, "ui4"}, {DBTYPE_UI8, "ui8"},   {DBTYPE_NUMERIC, "numeric"},
};

constexpr RuleForm<ProviderOptions> kOptions[] = {
    {"rows", kValue<&ProviderOptions::rowsAtOnce>},
    {"hold", kChoice<&ProviderOptions::holdRows, kYesNo>},
    {"accessor", kChoice<&ProviderOptions::commandAccessor, kAccessors>},
    {"expressions", kChoice<&ProviderOptions::nameExpressions, kExpressions>},
    {"journal", kChoice<&ProviderOptions::briefJournal, kJournals>},
    {"server", kValue<&ProviderOptions::server>},
    {"database", kValue<&ProviderOptions::database>},
    {"text", kChoice<&ProviderOptions::textType, kTypes>},
    {"integer", kChoice<&ProviderOptions::integerType, kTypes>},
};

// `name` is folded.
bool SetOption(const std::string& name, const std::string& value, ProviderOptions* options) {
  if (!name.starts_with(kColumnPrefix)) return ReadRule(kOptions, {name, value}, options);
  ProviderOptions column;
  if (!ReadRule(kOptions, {"integer", value}, &column)) return false;
  options->columnTypes[WideFromUtf8(name.substr(kColumnPrefix.size()))] = *column.integerType;
  return true;
}

}  // namespace

std::optional<ProviderOptions> ProviderOptions::Parse(std::wstring_view text) {
  ProviderOptions options;
  for (const std::string& piece : Split(Utf8FromWide(text), ';')) {
    if (piece.empty()) continue;
    const size_t equals = piece.find('=');
    if (equals == std::string::npos) return std::nullopt;
    if (!SetOption(FoldAscii(piece.substr(0, equals)), piece.substr(equals + 1), &options)) {
      return std::nullopt;
    }
  }
  return options;
}

ProviderOptions ProviderOptions::Load() {
  const std::wstring text = ReadLabValue(L"QRVLAB_OLEDB_OPTIONS", L"OledbOptions");
  const auto options = Parse(text);
  if (!options) {
    AppendJournalNote(JournalPath(), JournalEntry::Kind::kUnexpected,
                      "options of the provider that are none: " + Utf8FromWide(text));
  }
  return options.value_or(ProviderOptions());
}

}  // namespace lab
