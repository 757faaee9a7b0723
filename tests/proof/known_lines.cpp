#include "tests/proof/known_lines.h"

#include <algorithm>
#include <set>
#include <vector>

#include "tests/e2e/support/output.h"
#include "tests/e2e/usage_text.h"
#include "tests/unit/source_formats.h"

namespace proof {
namespace {

constexpr size_t kLongestLine = 254;

enum class PieceKind { kLiteral, kText, kNumber, kHexadecimal };

struct Piece {
  PieceKind kind;
  std::wstring literal = {};
};

using Pieces = std::vector<Piece>;

void AppendLiteral(Pieces& pieces, wchar_t character) {
  if (pieces.empty() || pieces.back().kind != PieceKind::kLiteral) {
    pieces.push_back({PieceKind::kLiteral});
  }
  pieces.back().literal += character;
}

Pieces PiecesOf(std::wstring_view format) {
  Pieces pieces;
  while (!format.empty()) {
    const wchar_t character = format.front();
    format.remove_prefix(1);
    if (character != L'%' || format.starts_with(L'%')) {
      AppendLiteral(pieces, character);
      if (character == L'%') format.remove_prefix(1);
      continue;
    }
    const size_t end = std::min(format.find_first_of(L"sdx"), format.size() - 1);
    pieces.push_back({format[end] == L's'   ? PieceKind::kText
                      : format[end] == L'd' ? PieceKind::kNumber
                                            : PieceKind::kHexadecimal});
    format.remove_prefix(end + 1);
  }
  return pieces;
}

// Without the number at its front; the same when there is none.
std::wstring_view WithoutNumber(std::wstring_view line, PieceKind kind) {
  const bool isHexadecimal = kind == PieceKind::kHexadecimal;
  std::wstring_view rest = line;
  if (isHexadecimal && rest.starts_with(L"0x")) rest.remove_prefix(2);
  if (!isHexadecimal && rest.starts_with(L'-')) rest.remove_prefix(1);
  const size_t digits = std::min(
      rest.find_first_not_of(isHexadecimal ? L"0123456789abcdef" : L"0123456789"), rest.size());
  return digits > 0 ? rest.substr(digits) : line;
}

bool Matches(std::wstring_view line, const Piece* piece, const Piece* end, bool mayBeCut) {
  if (piece == end) return line.empty();
  if (mayBeCut && line.empty()) return true;
  if (piece->kind == PieceKind::kLiteral) {
    if (line.starts_with(piece->literal)) {
      return Matches(line.substr(piece->literal.size()), piece + 1, end, mayBeCut);
    }
    return mayBeCut && piece->literal.starts_with(line);
  }
  if (piece->kind != PieceKind::kText) {
    const std::wstring_view rest = WithoutNumber(line, piece->kind);
    return rest.size() < line.size() && Matches(rest, piece + 1, end, mayBeCut);
  }
  for (size_t length = 0; length <= line.size(); ++length) {
    if (Matches(line.substr(length), piece + 1, end, mayBeCut)) return true;
  }
  return false;
}

std::vector<Pieces> ReadForms() {
  std::vector<Pieces> forms;
  const SourceFormats found = ReadSourceFormats(QRV_SOURCE_DIRECTORY, "run");
  for (const auto& [file, format] : found.lines) {
    Pieces pieces = PiecesOf(format);
    const bool hasWords = std::any_of(pieces.begin(), pieces.end(), [](const Piece& piece) {
      return piece.kind == PieceKind::kLiteral;
    });
    if (hasWords) forms.push_back(std::move(pieces));
  }
  return forms;
}

std::set<std::string> ReadHelpLines() {
  std::string screens = e2e::GeneralUsage() + e2e::QsfScanUsage() + e2e::SwitchError();
  for (const e2e::CommandWord& command : e2e::CommandWords()) screens += command.usage("qrvadmin");
  const e2e::Strings lines = e2e::Lines(screens);
  return {lines.begin(), lines.end()};
}

}  // namespace

bool IsKnownLine(std::string_view line) {
  static const std::vector<Pieces> kForms = ReadForms();
  static const std::set<std::string> kHelpLines = ReadHelpLines();
  if (kHelpLines.contains(std::string(line))) return true;
  const std::wstring wide = e2e::WideFromUtf8(line);
  const bool mayBeCut = wide.size() == kLongestLine;
  return std::any_of(kForms.begin(), kForms.end(), [&](const Pieces& form) {
    return Matches(wide, form.data(), form.data() + form.size(), mayBeCut);
  });
}

std::string Printed(std::wstring_view text) {
  return text.empty() ? "" : PrintedWhole(text.substr(0, kLongestLine));
}

std::string PrintedWhole(std::wstring_view text) {
  std::wstring line;
  for (const wchar_t character : text) {
    if (character == L'\n') line += L'\r';
    line += character;
  }
  return e2e::Utf8FromWide(line) + "\r\n";
}

}  // namespace proof
