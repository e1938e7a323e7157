// Small looks at statements; nothing here parses SQL. Tested by statement_text_test.cc.
#include "providers/adodb/statement_text.h"

#include <algorithm>

#include "base/text.h"

namespace pv::adodb {
namespace {

constexpr const char* kBlanks = " \t\r\n";

bool IsWordCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '$' || static_cast<unsigned char>(c) >= 0x80;
}

// Passes over what begins with a quote at `pos`; the end of the text when it has no end.
std::size_t EndOfQuoted(std::string_view sql, std::size_t pos) {
  const char quote = sql[pos] == '[' ? ']' : sql[pos];
  for (++pos; pos < sql.size(); ++pos) {
    if (sql[pos] != quote) continue;
    if (pos + 1 < sql.size() && sql[pos + 1] == quote) {
      ++pos;
      continue;
    }
    return pos + 1;
  }
  return sql.size();
}

// True for names divided by points, each a word or in quotes.
bool IsName(std::string_view text) {
  std::size_t pos = 0;
  while (pos < text.size()) {
    const std::size_t first = pos;
    if (std::string_view("\"`[").find(text[pos]) != std::string_view::npos) {
      pos = EndOfQuoted(text, pos);
      const char close = text[first] == '[' ? ']' : text[first];
      if (pos - first < 3 || text[pos - 1] != close) return false;
    } else {
      while (pos < text.size() && IsWordCharacter(text[pos])) ++pos;
      if (pos == first) return false;
    }
    if (pos == text.size()) return true;
    if (text[pos] != '.') return false;
    ++pos;
  }
  return false;
}

std::string_view Trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// Passes over the comment that begins at `pos`; `pos` where none does.
std::size_t EndOfComment(std::string_view sql, std::size_t pos) {
  if (sql.substr(pos, 2) == "--") return std::min(sql.find('\n', pos), sql.size());
  if (sql.substr(pos, 2) != "/*") return pos;
  const std::size_t end = sql.find("*/", pos + 2);
  return end == std::string_view::npos ? sql.size() : end + 2;
}

// Passes over a text, a quoted name, a comment or one character.
std::size_t EndOfToken(std::string_view sql, std::size_t pos) {
  if (std::string_view("'\"`").find(sql[pos]) != std::string_view::npos)
    return EndOfQuoted(sql, pos);
  return std::max(pos + 1, EndOfComment(sql, pos));
}

// The first semicolon that may stand outside of texts, quoted names and comments.
std::size_t FindSemicolon(std::string_view sql) {
  // Backslashes may stand before quotes, and whether they then mean something nobody knows here.
  if (sql.find('\\') != std::string_view::npos) return sql.find(';');
  for (std::size_t pos = 0; pos < sql.size(); pos = EndOfToken(sql, pos)) {
    if (sql[pos] == ';') return pos;
  }
  return std::string_view::npos;
}

// A text without the blanks and comments before it, and the blanks behind it.
std::string_view SkipComments(std::string_view sql) {
  for (;;) {
    sql = Trim(sql);
    const std::size_t comment = EndOfComment(sql, 0);
    if (comment == 0) return sql;
    sql.remove_prefix(comment);
  }
}

// The statement's first word.
std::string_view FirstWord(std::string_view text) {
  text = Trim(text);
  std::size_t end = 0;
  while (end < text.size() && IsWordCharacter(text[end])) ++end;
  return text.substr(0, end);
}

}  // namespace

std::string TableName(std::string_view name, const Session& session) {
  name = Trim(name);
  return IsName(name) ? std::string(name) : session.Quoted(name);
}

std::string WithoutBackQuotes(std::string_view sql) {
  std::string result;
  for (std::size_t pos = 0; pos < sql.size();) {
    const std::size_t end = EndOfToken(sql, pos);
    if (sql[pos] == '`' && end - pos >= 2 && sql[end - 1] == '`') {
      const std::string_view inner = sql.substr(pos + 1, end - pos - 2);
      result.push_back('"');
      for (std::size_t i = 0; i < inner.size(); ++i) {
        result.push_back(inner[i]);
        if (inner[i] == '"') result.push_back('"');
        if (inner[i] == '`') ++i;  // a doubled one
      }
      result.push_back('"');
    } else {
      result.append(sql.substr(pos, end - pos));
    }
    pos = end;
  }
  return result;
}

bool IsStatement(std::string_view text) {
  text = Trim(text);
  if (text.empty()) return false;
  if (text[0] == '(' || text[0] == '{' || text.substr(0, 2) == "--" || text.substr(0, 2) == "/*") {
    return true;
  }
  constexpr const char* kVerbs[] = {"select", "with",   "values",  "insert",  "update",  "delete",
                                    "create", "drop",   "alter",   "show",    "explain", "pragma",
                                    "call",   "exec",   "execute", "replace", "merge",   "truncate",
                                    "grant",  "revoke", "set",     "table",   "begin",   "commit"};
  const std::string_view word = FirstWord(text);
  if (word.size() == text.size()) return false;  // one word alone is a name
  return std::any_of(std::begin(kVerbs), std::end(kVerbs),
                     [&](const char* verb) { return EqualsIgnoreCase(word, verb); });
}

bool HasPlainColumns(std::string_view sql) {
  sql = Trim(sql);
  if (!EqualsIgnoreCase(FirstWord(sql), "select")) return false;
  std::size_t pos = 6;
  const auto skip = [&] {
    while (pos < sql.size() && std::string_view(kBlanks).find(sql[pos]) != std::string_view::npos)
      ++pos;
  };
  for (;;) {
    skip();
    // One column: words, quoted names and "*" with points between them.
    const std::size_t first = pos;
    while (pos < sql.size()) {
      if (std::string_view("\"`[").find(sql[pos]) != std::string_view::npos) {
        pos = EndOfQuoted(sql, pos);
      } else if (IsWordCharacter(sql[pos]) || sql[pos] == '*' || sql[pos] == '.') {
        ++pos;
      } else {
        break;
      }
    }
    if (pos == first) return false;
    skip();
    if (pos < sql.size() && sql[pos] == ',') {
      ++pos;
      continue;
    }
    return EqualsIgnoreCase(FirstWord(sql.substr(pos)), "from");
  }
}

std::string_view QueryOfManyRows(std::string_view text) {
  std::string_view query = SkipComments(text);
  if (const std::size_t end = FindSemicolon(query); end != std::string_view::npos) {
    if (!SkipComments(query.substr(end + 1)).empty()) return {};
    query = Trim(query.substr(0, end));
  }
  if (query.empty()) return {};
  const std::string_view word = FirstWord(query);
  for (const char* verb : {"with", "values", "table"}) {
    if (EqualsIgnoreCase(word, verb)) return query;
  }
  if (query.front() == '(') return query;
  if (!EqualsIgnoreCase(word, "select")) return {};
  // What groups count their members by gives one row, and so does a query without a table.
  const std::string rest = ToLower(Trim(query.substr(word.size())));
  const bool counts = rest.compare(0, 6, "count(") == 0 && rest.find("group") == rest.npos;
  return !counts && rest.find("from") != rest.npos ? query : std::string_view();
}

}  // namespace pv::adodb
