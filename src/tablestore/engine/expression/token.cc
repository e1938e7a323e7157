// Splits the text of an expression into tokens. Tested by expression_syntax_test.cc.
#include "tablestore/engine/expression/token.h"

#include <array>
#include <charconv>
#include <cmath>

#include "base/date.h"

namespace pv::engine::expr {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
char AsciiUpper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

// Bytes above 0x7F are letters of the table's code page.
bool StartsName(char c) {
  const char u = AsciiUpper(c);
  return (u >= 'A' && u <= 'Z') || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}
bool ContinuesName(char c) { return StartsName(c) || IsDigit(c); }

struct Word {
  std::string_view text;
  TokenKind kind;
};

constexpr Word kDottedWords[] = {
    {".AND.", TokenKind::kAnd}, {".OR.", TokenKind::kOr},   {".NOT.", TokenKind::kNot},
    {".T.", TokenKind::kTrue},  {".F.", TokenKind::kFalse}, {".Y.", TokenKind::kTrue},
    {".N.", TokenKind::kFalse},
};

constexpr Word kPlainWords[] = {
    {"AND", TokenKind::kAnd}, {"OR", TokenKind::kOr}, {"NOT", TokenKind::kNot}};

// Longer ones first.
constexpr Word kOperators[] = {
    {"->", TokenKind::kArrow},        {"**", TokenKind::kPower},
    {"==", TokenKind::kExactlyEqual}, {"<>", TokenKind::kNotEqual},
    {"!=", TokenKind::kNotEqual},     {"<=", TokenKind::kLessEqual},
    {">=", TokenKind::kGreaterEqual}, {"+", TokenKind::kPlus},
    {"-", TokenKind::kMinus},         {"*", TokenKind::kTimes},
    {"/", TokenKind::kDivide},        {"^", TokenKind::kPower},
    {"=", TokenKind::kEqual},         {"#", TokenKind::kNotEqual},
    {"<", TokenKind::kLess},          {">", TokenKind::kGreater},
    {"$", TokenKind::kContainedIn},   {"!", TokenKind::kNot},
    {"(", TokenKind::kOpen},          {")", TokenKind::kClose},
    {",", TokenKind::kComma},
};

}  // namespace

bool SameWord(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (AsciiUpper(a[i]) != AsciiUpper(b[i])) return false;
  }
  return true;
}

double JulianFromDateText(std::string_view text) {
  constexpr double kNoDate = -1;
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  const auto separates = [](char c) { return c == '/' || c == '-' || c == '.'; };
  bool empty = true;
  for (const char c : text) empty = empty && (c == ' ' || separates(c));
  if (empty) return 0;
  const bool year_first = text.front() == '^';
  if (year_first) text.remove_prefix(1);
  std::array<std::int32_t, 3> parts{};
  for (std::size_t part = 0; part < 3; ++part) {
    const std::size_t most = part == (year_first ? 0u : 2u) ? 4 : 2;
    std::size_t digits = 0;
    while (digits < text.size() && IsDigit(text[digits])) {
      if (++digits > most) return kNoDate;
      parts[part] = parts[part] * 10 + (text[digits - 1] - '0');
    }
    if (digits == 0 || (most == 4 && digits != 4)) return kNoDate;
    text.remove_prefix(digits);
    if (part == 2) break;
    if (text.empty() || !separates(text.front())) return kNoDate;
    text.remove_prefix(1);
  }
  if (!text.empty()) return kNoDate;
  const CivilDate date = year_first ? CivilDate{parts[0], parts[1], parts[2]}
                                    : CivilDate{parts[2], parts[0], parts[1]};
  return IsValidDate(date) ? JulianFromDate(date) : kNoDate;
}

bool Tokenizer::Next(Token* token, std::string* error) {
  const std::size_t before = pos_;
  while (pos_ < text_.size() && (text_[pos_] == ' ' || text_[pos_] == '\t' || text_[pos_] == '\r' ||
                                 text_[pos_] == '\n')) {
    ++pos_;
  }
  const bool joined = after_name_ && pos_ == before;
  after_name_ = false;
  *token = Token{};
  token->position = pos_;
  if (pos_ == text_.size()) return true;
  const char c = text_[pos_];
  if (StartsName(c)) {
    std::size_t end = pos_ + 1;
    while (end < text_.size() && ContinuesName(text_[end])) ++end;
    token->kind = TokenKind::kName;
    token->text = text_.substr(pos_, end - pos_);
    for (const Word& word : kPlainWords) {
      if (SameWord(token->text, word.text)) token->kind = word.kind;
    }
    pos_ = end;
    after_name_ = token->kind == TokenKind::kName;
    return true;
  }
  if (c == '.' && ReadDotted(token)) return true;
  if (c == '.' && joined && pos_ + 1 < text_.size() && StartsName(text_[pos_ + 1])) {
    token->kind = TokenKind::kDot;
    ++pos_;
    return true;
  }
  if (IsDigit(c) || (c == '.' && pos_ + 1 < text_.size() && IsDigit(text_[pos_ + 1]))) {
    return ReadNumber(token, error);
  }
  if (c == '\'' || c == '"' || c == '[') return ReadText(token, error);
  if (c == '{') return ReadDate(token, error);
  return ReadOperator(token, error);
}

bool Tokenizer::ReadDotted(Token* token) {
  for (const Word& word : kDottedWords) {
    if (SameWord(text_.substr(pos_, word.text.size()), word.text)) {
      token->kind = word.kind;
      pos_ += word.text.size();
      return true;
    }
  }
  return false;
}

bool Tokenizer::ReadNumber(Token* token, std::string* error) {
  std::size_t end = pos_;
  while (end < text_.size() && IsDigit(text_[end])) ++end;
  if (end < text_.size() && text_[end] == '.') {
    // The point of "1.AND.2" belongs to the operator.
    const std::size_t start = pos_;
    Token operator_token;
    pos_ = end;
    const bool dotted = ReadDotted(&operator_token);
    pos_ = start;
    if (!dotted) {
      ++end;
      while (end < text_.size() && IsDigit(text_[end])) ++end;
    }
  }
  if (end < text_.size() && AsciiUpper(text_[end]) == 'E') {
    std::size_t digits = end + 1;
    if (digits < text_.size() && (text_[digits] == '+' || text_[digits] == '-')) ++digits;
    if (digits < text_.size() && IsDigit(text_[digits])) {
      end = digits;
      while (end < text_.size() && IsDigit(text_[end])) ++end;
    }
  }
  const char* first = text_.data() + pos_;
  const char* last = text_.data() + end;
  const auto [ptr, code] = std::from_chars(first, last, token->number);
  if (code == std::errc::result_out_of_range) {
    *error = "the number is too large or too small";
    return false;
  }
  if (code != std::errc() || ptr != last || (end < text_.size() && ContinuesName(text_[end]))) {
    *error = "this is not a number";
    return false;
  }
  token->kind = TokenKind::kNumber;
  pos_ = end;
  return true;
}

bool Tokenizer::ReadText(Token* token, std::string* error) {
  const char close = text_[pos_] == '[' ? ']' : text_[pos_];
  const std::size_t end = text_.find(close, pos_ + 1);
  if (end == std::string_view::npos) {
    *error = std::string("the text that begins here has no closing ") + close;
    return false;
  }
  token->kind = TokenKind::kText;
  token->text = text_.substr(pos_ + 1, end - pos_ - 1);
  pos_ = end + 1;
  return true;
}

bool Tokenizer::ReadDate(Token* token, std::string* error) {
  const std::size_t end = text_.find('}', pos_ + 1);
  if (end == std::string_view::npos) {
    *error = "the date that begins here has no closing }";
    return false;
  }
  token->number = JulianFromDateText(text_.substr(pos_ + 1, end - pos_ - 1));
  if (token->number < 0) {
    *error = "this is no date of the form {^2024-02-29} or {02/29/2024}";
    return false;
  }
  token->kind = TokenKind::kDate;
  pos_ = end + 1;
  return true;
}

bool Tokenizer::ReadOperator(Token* token, std::string* error) {
  for (const Word& word : kOperators) {
    if (text_.substr(pos_, word.text.size()) == word.text) {
      token->kind = word.kind;
      pos_ += word.text.size();
      return true;
    }
  }
  const char c = text_[pos_];
  if (c > ' ' && c < '\x7F') {
    *error = std::string("unexpected ") + c;
  } else {
    *error = "unexpected byte " + std::to_string(static_cast<unsigned char>(c));
  }
  return false;
}

}  // namespace pv::engine::expr
