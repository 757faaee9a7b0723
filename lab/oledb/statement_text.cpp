#include "lab/oledb/statement_text.h"

#include <cwctype>

#include "lab/common/text.h"

namespace lab {
namespace {

// Walks over a statement's text; a quoted stretch or a comment is one step.
class Walker {
 public:
  explicit Walker(std::wstring_view text) : text_(text) {}

  bool AtEnd() const { return position_ >= text_.size(); }
  size_t Position() const { return position_; }
  bool OpenQuote() const { return openQuote_; }
  wchar_t Current() const { return text_[position_]; }

  void Step() {
    if (Current() == L'\'' || Current() == L'"') {
      SkipTo(std::wstring_view(&text_[position_], 1), position_ + 1);
    } else if (StartsWith(L"--")) {
      const size_t end = text_.find(L'\n', position_);
      position_ = end == std::wstring_view::npos ? text_.size() : end + 1;
    } else if (StartsWith(L"/*")) {
      SkipTo(L"*/", position_ + 2);
    } else {
      ++position_;
    }
  }

 private:
  bool StartsWith(std::wstring_view mark) const {
    return text_.substr(position_, mark.size()) == mark;
  }

  void SkipTo(std::wstring_view mark, size_t from) {
    const size_t end = text_.find(mark, from);
    openQuote_ = end == std::wstring_view::npos;
    position_ = openQuote_ ? text_.size() : end + mark.size();
  }

  const std::wstring_view text_;
  size_t position_ = 0;
  bool openQuote_ = false;
};

std::wstring_view Trim(std::wstring_view text) {
  while (!text.empty() && std::iswspace(text.front())) text.remove_prefix(1);
  while (!text.empty() && std::iswspace(text.back())) text.remove_suffix(1);
  return text;
}

bool IsNameCharacter(wchar_t c) { return std::iswalnum(c) || c == L'_' || c == L'$' || c == L'#'; }

bool IsName(std::wstring_view text) {
  if (text.empty() || std::iswdigit(text.front())) return false;
  for (const wchar_t c : text) {
    if (!IsNameCharacter(c)) return false;
  }
  return true;
}

// The text behind the last character that cannot be part of a name.
std::wstring_view LastWord(std::wstring_view text) {
  size_t start = text.size();
  while (start > 0 && IsNameCharacter(text[start - 1])) --start;
  return text.substr(start);
}

std::wstring NameOfItem(std::wstring_view item) {
  const std::wstring_view last = LastWord(item);
  if (!IsName(last)) return {};
  std::wstring_view before = item.substr(0, item.size() - last.size());
  if (!before.empty() && std::iswspace(before.back())) {
    return EqualsFolded(LastWord(Trim(before)), L"as") ? std::wstring(last) : std::wstring();
  }
  while (!before.empty() && before.back() == L'.') {
    before.remove_suffix(1);
    before.remove_suffix(LastWord(before).size());
  }
  return before.empty() ? std::wstring(last) : std::wstring();
}

bool IsWordAt(std::wstring_view text, size_t position, std::wstring_view word) {
  if (!EqualsFolded(text.substr(position, word.size()), word)) return false;
  const size_t end = position + word.size();
  return (position == 0 || !IsNameCharacter(text[position - 1])) &&
         (end >= text.size() || !IsNameCharacter(text[end]));
}

// The items between SELECT and FROM.
std::vector<std::wstring_view> SelectItems(std::wstring_view list) {
  std::vector<std::wstring_view> items;
  size_t start = 0;
  int depth = 0;
  Walker walker(list);
  for (; !walker.AtEnd(); walker.Step()) {
    const wchar_t c = walker.Current();
    if (c == L'(') ++depth;
    if (c == L')') --depth;
    if (depth == 0 && IsWordAt(list, walker.Position(), L"from")) break;
    if (depth != 0 || c != L',') continue;
    items.push_back(Trim(list.substr(start, walker.Position() - start)));
    start = walker.Position() + 1;
  }
  items.push_back(Trim(list.substr(start, walker.Position() - start)));
  return items;
}

}  // namespace

StatementBatch SplitStatements(std::wstring_view text) {
  StatementBatch batch;
  const auto add = [&](size_t start, size_t end) {
    const std::wstring_view statement = Trim(text.substr(start, end - start));
    if (!statement.empty()) batch.statements.emplace_back(statement);
  };
  size_t start = 0;
  Walker walker(text);
  for (; !walker.AtEnd(); walker.Step()) {
    if (walker.Current() != L';') continue;
    add(start, walker.Position());
    start = walker.Position() + 1;
  }
  add(start, text.size());
  batch.openQuote = walker.OpenQuote();
  return batch;
}

std::vector<std::wstring> SelectListNames(std::wstring_view statement) {
  constexpr std::wstring_view kSelect = L"select";
  statement = Trim(statement);
  if (!IsWordAt(statement, 0, kSelect)) return {};
  std::vector<std::wstring> names;
  for (const std::wstring_view item : SelectItems(statement.substr(kSelect.size()))) {
    if (!item.empty() && item.back() == L'*') return {};
    names.push_back(NameOfItem(item));
  }
  return names;
}

}  // namespace lab
