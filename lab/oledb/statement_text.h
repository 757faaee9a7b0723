// What the text of an SQL statement tells without a database.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lab {

struct StatementBatch {
  // The statements without their semicolons, blanks around them and empty ones left out.
  std::vector<std::wstring> statements;
  bool openQuote = false;  // a quote or a comment is not closed
};

// Cuts at the semicolons that stand outside quotes and comments.
StatementBatch SplitStatements(std::wstring_view text);

// The names of a SELECT's result columns as its text spells them: a column's own name, or the one
// behind AS; empty for any other expression. Empty as a whole when the text is no plain SELECT or
// selects '*'.
std::vector<std::wstring> SelectListNames(std::wstring_view statement);

}  // namespace lab
