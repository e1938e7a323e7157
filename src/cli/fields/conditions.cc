// Reads conditions. Tested by conditions_test.cc.
#include "cli/fields/conditions.h"

#include "base/text.h"
#include "cli/failure.h"
#include "cli/fields/values.h"

namespace pv::cli {
namespace {

bool IsWordByte(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 0x80 || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') ||
         (c >= 'A' && c <= 'Z') || c == '_' || c == '$' || c == '.';
}

class Parser {
 public:
  explicit Parser(std::string_view text) : text_(text) {}

  std::vector<WrittenCondition> Parse() {
    std::vector<WrittenCondition> conditions;
    std::string logical = "and";
    while (true) {
      WrittenCondition condition;
      condition.logical = logical;
      condition.field = Field();
      Operator(&condition);
      conditions.push_back(std::move(condition));
      SkipBlanks();
      if (at_ == text_.size()) return conditions;
      if (TakeWord("and")) {
        logical = "and";
      } else if (TakeWord("or")) {
        logical = "or";
      } else {
        Fail("\"and\" or \"or\" is expected");
      }
    }
  }

 private:
  [[noreturn]] void Fail(const std::string& what) const {
    const std::string_view rest = text_.substr(at_);
    throw Failure(kUsage, "--where: " + what +
                              (rest.empty() ? " at the end of \"" + std::string(text_) + "\""
                                            : " before \"" + std::string(rest) + "\""));
  }

  void SkipBlanks() {
    while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\t' || text_[at_] == '\n')) {
      ++at_;
    }
  }

  // Whether a word stands here, as a whole.
  bool AtWord(std::size_t at, std::string_view word) const {
    if (!EqualsIgnoreCase(text_.substr(at, word.size()), word)) return false;
    const std::size_t end = at + word.size();
    return (end == text_.size() || !IsWordByte(text_[end])) &&
           (at == 0 || !IsWordByte(text_[at - 1]));
  }

  bool TakeWord(std::string_view word) {
    SkipBlanks();
    if (!AtWord(at_, word)) return false;
    at_ += word.size();
    return true;
  }

  bool TakeSign(std::string_view sign) {
    SkipBlanks();
    if (text_.substr(at_, sign.size()) != sign) return false;
    at_ += sign.size();
    return true;
  }

  // What stands up to `close`, which doubled stands for itself.
  std::string Quoted(char close) {
    std::string result;
    const std::size_t begin = at_;
    for (++at_; at_ < text_.size(); ++at_) {
      if (text_[at_] == close) {
        if (at_ + 1 == text_.size() || text_[at_ + 1] != close) {
          ++at_;
          return result;
        }
        ++at_;
      }
      result += text_[at_];
    }
    at_ = begin;
    Fail("a closing " + std::string(1, close) + " is missing");
  }

  std::string Field() {
    SkipBlanks();
    if (at_ == text_.size()) Fail("the name of a field is expected");
    const char open = text_[at_];
    if (open == '"' || open == '`') return Quoted(open);
    if (open == '[') return Quoted(']');
    if (open == '(') {
      Fail("parentheses are for --sql; the name of a field is expected");
    }
    const std::size_t begin = at_;
    while (at_ < text_.size() && IsWordByte(text_[at_])) ++at_;
    if (at_ == begin) Fail("the name of a field is expected");
    return std::string(text_.substr(begin, at_ - begin));
  }

  void Operator(WrittenCondition* condition) {
    constexpr std::string_view kSigns[] = {"<>", "!=", "<=", ">=", "=", "<", ">"};
    for (const std::string_view sign : kSigns) {
      if (!TakeSign(sign)) continue;
      condition->op = sign == "!=" ? "<>" : sign;
      condition->values.push_back(Value(false));
      const WrittenCondition::Value& value = condition->values.back();
      if (!value.quoted && EqualsIgnoreCase(value.text, "null")) {
        Fail("nothing is equal to null; \"is null\" is meant");
      }
      return;
    }
    if (TakeWord("is")) {
      condition->op = TakeWord("not") ? "is not" : "is";
      if (!TakeWord("null")) Fail("\"null\" is expected");
      condition->values.push_back({"null", false});
      return;
    }
    const std::string negation = TakeWord("not") ? "not " : "";
    if (TakeWord("like")) {
      condition->op = negation + "like";
      condition->values.push_back(Value(false));
    } else if (TakeWord("between")) {
      condition->op = negation + "between";
      condition->values.push_back(Value(false));
      if (!TakeWord("and")) Fail("the \"and\" of \"between\" is expected");
      condition->values.push_back(Value(false));
    } else if (TakeWord("in")) {
      condition->op = negation + "in";
      if (!TakeSign("(")) Fail("\"(\" is expected");
      do {
        condition->values.push_back(Value(true));
      } while (TakeSign(","));
      if (!TakeSign(")")) Fail("\")\" is expected");
    } else {
      Fail("an operator is expected");
    }
  }

  // Between apostrophes, or up to the next "and" or "or", or in a list up to "," or ")".
  WrittenCondition::Value Value(bool in_list) {
    SkipBlanks();
    if (at_ < text_.size() && text_[at_] == '\'') return {Quoted('\''), true};
    const std::size_t begin = at_;
    while (at_ < text_.size()) {
      if (in_list && (text_[at_] == ',' || text_[at_] == ')')) break;
      if (!in_list && at_ > begin && (AtWord(at_, "and") || AtWord(at_, "or"))) break;
      ++at_;
    }
    const std::string_view text = TrimBlanks(text_.substr(begin, at_ - begin));
    if (text.empty()) {
      at_ = begin;
      Fail("a value is expected (no text at all is '')");
    }
    return {std::string(text), false};
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

bool IsNumber(std::string_view text) {
  NumberShape shape;
  return ReadNumber(text, '.', &shape);
}

std::string TextLiteral(const std::string& text, bool double_backslashes) {
  std::string literal = "'";
  for (const char c : text) {
    if (c == '\'' || (c == '\\' && double_backslashes)) literal += c;
    literal += c;
  }
  return literal + "'";
}

}  // namespace

std::vector<WrittenCondition> ParseConditions(std::string_view text) {
  return Parser(text).Parse();
}

std::string SqlLiteral(const WrittenCondition::Value& value, ValueKind kind,
                       bool double_backslashes, const std::string& field) {
  switch (kind) {
    case ValueKind::kNumber:
      if (IsNumber(value.text)) return value.text;
      throw Failure(
          kUsage, "--where: the field " + field + " holds numbers; \"" + value.text + "\" is none");
    case ValueKind::kPlain: {
      const std::string lower = ToLower(value.text);
      const bool plain = IsNumber(value.text) || lower == "true" || lower == "false";
      if (!value.quoted && plain) return value.text;
      break;
    }
    case ValueKind::kText:
      break;
  }
  return TextLiteral(value.text, double_backslashes);
}

std::string SqlValue(const WrittenCondition& condition, ValueKind kind, bool double_backslashes) {
  if (condition.op == "is" || condition.op == "is not") return "null";
  const bool pattern = condition.op == "like" || condition.op == "not like";
  std::string all;
  const bool between = condition.op == "between" || condition.op == "not between";
  for (const WrittenCondition::Value& value : condition.values) {
    if (!all.empty()) all += between ? " and " : ", ";
    all +=
        SqlLiteral(value, pattern ? ValueKind::kText : kind, double_backslashes, condition.field);
  }
  return condition.op == "in" || condition.op == "not in" ? "(" + all + ")" : all;
}

std::string OperatorText(const std::string& op) {
  if (op == "=") return "is";
  if (op == "<>") return "is not";
  if (op == "<") return "is less than";
  if (op == "<=") return "is at most";
  if (op == ">") return "is greater than";
  if (op == ">=") return "is at least";
  if (op == "in") return "is one of";
  if (op == "not in") return "is none of";
  if (op == "between") return "is between";
  if (op == "not between") return "is not between";
  if (op == "like") return "is like";
  if (op == "not like") return "is not like";
  return op;
}

}  // namespace pv::cli
