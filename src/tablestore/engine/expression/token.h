// Splits the text of an expression into tokens.
#ifndef PV_TABLESTORE_ENGINE_EXPRESSION_TOKEN_H_
#define PV_TABLESTORE_ENGINE_EXPRESSION_TOKEN_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace pv::engine::expr {

// A longer text is refused before anything is read: the index keeps 512 bytes for it.
constexpr std::size_t kMaxTextLength = 1024;

enum class TokenKind : std::uint8_t {
  kEnd,
  kName,    // a field, a function, an alias; `text` as written
  kNumber,  // `number`
  kText,    // `text` without its quotes
  kDate,    // `number` is the Julian day, 0 for the empty date
  kTrue,
  kFalse,
  kAnd,
  kOr,
  kNot,
  kPlus,
  kMinus,
  kTimes,
  kDivide,
  kPower,
  kEqual,
  kExactlyEqual,
  kNotEqual,
  kLess,
  kLessEqual,
  kGreater,
  kGreaterEqual,
  kContainedIn,
  kOpen,
  kClose,
  kComma,
  kArrow,  // -> between an alias and a name
  kDot,    // . between an alias and a name
};

struct Token {
  TokenKind kind = TokenKind::kEnd;
  std::size_t position = 0;  // of its first byte, from 0
  std::string_view text;     // into the expression's text
  double number = 0;
};

class Tokenizer {
 public:
  // `text` must outlive the tokenizer and its tokens.
  explicit Tokenizer(std::string_view text) : text_(text) {}

  // The next token; kEnd at the end, again and again. False when the bytes are no token: then
  // `error` says why, and `token->position` where.
  bool Next(Token* token, std::string* error);

 private:
  bool ReadDotted(Token* token);
  bool ReadNumber(Token* token, std::string* error);
  bool ReadText(Token* token, std::string* error);
  bool ReadDate(Token* token, std::string* error);
  bool ReadOperator(Token* token, std::string* error);

  std::string_view text_;
  std::size_t pos_ = 0;
  bool after_name_ = false;  // the token before ends right here and is a name
};

// ASCII letters compared without case.
bool SameWord(std::string_view a, std::string_view b);

// What names the date "mm/dd/yyyy" or "^yyyy-mm-dd" (separators / - . all accepted): its Julian
// day; 0 for blanks and separators alone; -1 for anything else. Years have four digits: which
// century two digits mean is a setting of the program that wrote them, and not in the table.
double JulianFromDateText(std::string_view text);

}  // namespace pv::engine::expr

#endif  // PV_TABLESTORE_ENGINE_EXPRESSION_TOKEN_H_
