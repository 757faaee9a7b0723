#include "tests/unit/source_formats.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <optional>
#include <span>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace {

enum class TokenKind { kName, kWideText, kNarrowText, kSign };

struct Token {
  TokenKind kind;
  std::wstring text;
};

using Tokens = std::vector<Token>;
using TokenSpan = std::span<const Token>;

bool IsNamePart(char character) {
  return std::isalnum(static_cast<unsigned char>(character)) || character == '_';
}

// Takes a C++ source apart: no comments, literals without their quotes.
class Lexer {
 public:
  explicit Lexer(std::string_view source) : rest_(source) {}

  Tokens Read() {
    while (!rest_.empty()) TakeNext();
    return std::move(tokens_);
  }

 private:
  void TakeNext() {
    if (rest_.starts_with("//")) {
      rest_.remove_prefix(std::min(rest_.find('\n'), rest_.size()));
    } else if (rest_.starts_with("/*")) {
      rest_.remove_prefix(std::min(rest_.find("*/", 2), rest_.size() - 2) + 2);
    } else if (rest_.starts_with("L\"")) {
      rest_.remove_prefix(1);
      TakeLiteral(TokenKind::kWideText);
    } else if (rest_.front() == '"') {
      TakeLiteral(TokenKind::kNarrowText);
    } else if (rest_.front() == '\'') {
      TakeLiteral(TokenKind::kSign);
    } else if (IsNamePart(rest_.front())) {
      TakeName();
    } else {
      if (!std::isspace(static_cast<unsigned char>(rest_.front()))) {
        tokens_.push_back({TokenKind::kSign, std::wstring(1, rest_.front())});
      }
      rest_.remove_prefix(1);
    }
  }

  // A name, or a number, which may be cut into groups by single quotes.
  void TakeName() {
    const bool number = std::isdigit(static_cast<unsigned char>(rest_.front())) != 0;
    size_t length = 1;
    while (length < rest_.size() &&
           (IsNamePart(rest_[length]) || (number && rest_[length] == '\''))) {
      ++length;
    }
    if (rest_.substr(0, length).ends_with('R') && rest_.substr(length).starts_with('"')) {
      throw std::runtime_error("a raw literal");
    }
    tokens_.push_back({TokenKind::kName, std::wstring(rest_.begin(), rest_.begin() + length)});
    rest_.remove_prefix(length);
  }

  void TakeLiteral(TokenKind kind) {
    const char quote = rest_.front();
    rest_.remove_prefix(1);
    std::wstring text;
    while (!rest_.empty() && rest_.front() != quote) text += TakeCharacter();
    if (rest_.empty()) throw std::runtime_error("a literal without an end");
    rest_.remove_prefix(1);
    tokens_.push_back({kind, text});
  }

  wchar_t TakeCharacter() {
    constexpr std::string_view kLetters = "\\\"'ntr0vf";
    constexpr std::string_view kMeanings("\\\"'\n\t\r\0\v\f", 9);
    char character = rest_.front();
    if (character == '\\') {
      rest_.remove_prefix(1);
      const size_t letter = rest_.empty() ? kLetters.npos : kLetters.find(rest_.front());
      if (letter == kLetters.npos) throw std::runtime_error("an unknown escape in a literal");
      character = kMeanings[letter];
    }
    rest_.remove_prefix(1);
    return static_cast<unsigned char>(character);
  }

  std::string_view rest_;
  Tokens tokens_;
};

bool IsSign(const Token& token, wchar_t sign) {
  return token.kind == TokenKind::kSign && token.text.size() == 1 && token.text[0] == sign;
}

bool IsName(const Token& token, std::wstring_view name) {
  return token.kind == TokenKind::kName && token.text == name;
}

// Cuts `tokens` at each `separator`, one or two signs, that stands in no brackets of any kind. Ends
// at the first bracket that closes none of them, and at a semicolon.
std::vector<TokenSpan> Split(TokenSpan tokens, std::wstring_view separator) {
  constexpr std::wstring_view kOpening = L"([{";
  constexpr std::wstring_view kClosing = L")]}";
  std::vector<TokenSpan> pieces;
  size_t begin = 0;
  size_t at = 0;
  for (int depth = 0; at < tokens.size(); ++at) {
    const Token& token = tokens[at];
    if (token.kind != TokenKind::kSign || token.text.size() != 1) continue;
    const wchar_t sign = token.text[0];
    if (kClosing.find(sign) != kClosing.npos && --depth < 0) break;
    if (kOpening.find(sign) != kOpening.npos) ++depth;
    if (depth == 0 && sign == L';') break;
    const bool separates =
        depth == 0 && sign == separator[0] &&
        (separator.size() == 1 || (at + 1 < tokens.size() && IsSign(tokens[at + 1], separator[1])));
    if (!separates) continue;
    pieces.push_back(tokens.subspan(begin, at - begin));
    at += separator.size() - 1;
    begin = at + 1;
  }
  pieces.push_back(tokens.subspan(begin, at - begin));
  return pieces;
}

// The text of adjacent literals of that kind; nothing for anything else.
std::optional<std::wstring> Joined(TokenSpan tokens, TokenKind kind) {
  if (tokens.empty()) return std::nullopt;
  std::wstring text;
  for (const Token& token : tokens) {
    if (token.kind != kind) return std::nullopt;
    text += token.text;
  }
  return text;
}

// `text` as a format that prints it as it stands.
std::wstring AsFormat(std::wstring_view text) {
  std::wstring format;
  for (const wchar_t character : text) format.append(character == L'%' ? 2 : 1, character);
  return format;
}

// What an expression of pieces prints; nothing when a literal stands in it elsewhere, or nowhere.
std::optional<std::wstring> FormatOfPieces(const std::vector<TokenSpan>& pieces) {
  std::wstring format;
  bool hasText = false;
  for (const TokenSpan piece : pieces) {
    if (const auto text = Joined(piece, TokenKind::kWideText)) {
      format += AsFormat(*text);
      hasText = true;
    } else if (!piece.empty() && IsName(piece.back(), L"endl")) {
      format += L'\n';
    } else if (std::any_of(piece.begin(), piece.end(), [](const Token& token) {
                 return token.kind == TokenKind::kWideText || token.kind == TokenKind::kNarrowText;
               })) {
      return std::nullopt;
    } else {
      format += L"%s";
    }
  }
  return hasText ? std::optional(format) : std::nullopt;
}

// Looks through the tokens of one file.
class FormatReader {
 public:
  FormatReader(std::string file, const Tokens& tokens, SourceFormats& found)
      : file_(std::move(file)), tokens_(tokens), found_(found) {}

  void Read() {
    for (size_t i = 0; i < tokens_.size(); ++i) {
      if (tokens_[i].kind == TokenKind::kName) Read(tokens_[i].text, tokens_.subspan(i + 1));
    }
  }

 private:
  void Read(const std::wstring& name, TokenSpan behind) {
    // These print what is not seen here, wherever they stand.
    static const std::set<std::wstring> kOtherWays = {
        L"PrintTexts",   L"PrintUsage",    L"PrintFormattedLine",
        L"GetStdHandle", L"WriteConsoleA", L"WriteConsoleW",
        L"WriteFile",    L"printf",        L"fprintf",
        L"wprintf",      L"fwprintf",      L"vprintf",
        L"vwprintf",     L"puts",          L"_putws",
        L"fputs",        L"fputws",        L"putchar",
        L"putwchar",     L"fwrite",        L"cout",
        L"cerr",         L"clog",          L"wcerr",
        L"wclog"};
    if (name == L"kFunction") {
      NoteFunction(behind);
    } else if (name == L"PrintLine") {
      Note(name, FormatOfLine(behind, {}));
    } else if (name == L"Failed") {
      Note(name, FormatOfLine(behind, function_));
    } else if (name == L"PrintText") {
      Note(name, behind.empty() || !IsSign(behind[0], L'(')
                     ? std::nullopt
                     : FormatOfPieces(Split(behind.subspan(1), L"+")));
    } else if (name == L"wcout") {
      NoteStreamed(name, behind);
    } else if (kOtherWays.contains(name)) {
      Note(name, std::nullopt);
    }
  }

  // The constant's definition, which stands ahead of its uses.
  void NoteFunction(TokenSpan behind) {
    if (behind.size() >= 2 && IsSign(behind[0], L'=') && behind[1].kind == TokenKind::kNarrowText) {
      function_ = behind[1].text;
    }
  }

  void Note(const std::wstring& name, const std::optional<std::wstring>& format) {
    if (format) {
      found_.lines.emplace(file_, *format);
    } else {
      found_.opaque.emplace(file_, name);
    }
  }

  void NoteStreamed(const std::wstring& name, TokenSpan behind) {
    std::optional<std::wstring> format;
    if (behind.size() >= 2 && IsSign(behind[0], L'<') && IsSign(behind[1], L'<')) {
      format = FormatOfPieces(Split(behind.subspan(2), L"<<"));
    }
    if (format) {
      found_.streamed.emplace(file_, *format);
    } else {
      found_.opaque.emplace(file_, name);
    }
  }

  // Of a call whose arguments `behind` begins with. `function` is its first argument behind the
  // format where the call does not name it.
  std::optional<std::wstring> FormatOfLine(TokenSpan behind, const std::wstring& function) {
    if (behind.empty() || !IsSign(behind[0], L'(')) return std::nullopt;
    const std::vector<TokenSpan> arguments = Split(behind.subspan(1), L",");
    TokenSpan format = arguments[0];
    if (format.size() > 3 && IsName(format[0], L"UncheckedFormat")) {
      // Only one that the formatter refuses is written so, and it is shown as it stands.
      const auto text = Joined(format.subspan(2, format.size() - 3), TokenKind::kWideText);
      return text ? std::optional(AsFormat(*text)) : std::nullopt;
    }
    const auto text = Joined(format, TokenKind::kWideText);
    if (!text) return std::nullopt;
    std::vector<std::optional<std::wstring>> values;
    if (!function.empty()) values.emplace_back(function);
    for (size_t i = 1; i < arguments.size(); ++i) values.push_back(ValueOf(arguments[i]));
    return WithValues(*text, values);
  }

  // A narrow text that is known.
  std::optional<std::wstring> ValueOf(TokenSpan argument) const {
    if (argument.size() == 1 && IsName(argument[0], L"kFunction")) {
      if (function_.empty()) throw std::runtime_error("kFunction has no value");
      return function_;
    }
    return Joined(argument, TokenKind::kNarrowText);
  }

  // `format` with the values that are known in the places of their conversions.
  static std::wstring WithValues(std::wstring_view format,
                                 const std::vector<std::optional<std::wstring>>& values) {
    std::wstring filled;
    size_t argument = 0;
    while (!format.empty()) {
      const bool percent = format.starts_with(L"%%");
      if (format[0] == L'%' && !percent) {
        const bool known = argument < values.size() && values[argument].has_value();
        if (known && format.starts_with(L"%hs")) {
          filled += AsFormat(*values[argument]);
          format.remove_prefix(3);
          ++argument;
          continue;
        }
        ++argument;
      }
      const size_t length = percent ? 2 : 1;
      filled += format.substr(0, length);
      format.remove_prefix(length);
    }
    return filled;
  }

  const std::string file_;
  const TokenSpan tokens_;
  SourceFormats& found_;
  // The value of kFunction, as far as the file has been read.
  std::wstring function_;
};

void ReadFile(const std::filesystem::path& path, const std::string& name, SourceFormats& found) {
  std::ifstream stream(path, std::ios::binary);
  const std::string source{std::istreambuf_iterator<char>(stream),
                           std::istreambuf_iterator<char>()};
  if (source.empty()) throw std::runtime_error(name + ": cannot be read");
  try {
    const Tokens tokens = Lexer(source).Read();
    FormatReader(name, tokens, found).Read();
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(name + ": " + error.what());
  }
}

}  // namespace

SourceFormats ReadSourceFormats(const std::filesystem::path& folder, const std::string& left) {
  SourceFormats found;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    const std::string name = entry.path().lexically_relative(folder).generic_string();
    const std::string extension = entry.path().extension().string();
    if ((extension != ".cpp" && extension != ".h") || name.starts_with(left + "/")) continue;
    ReadFile(entry.path(), name, found);
  }
  return found;
}
