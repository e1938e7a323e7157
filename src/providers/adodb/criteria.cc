// Parses and evaluates criteria. Tested by criteria_test.cc.
#include "providers/adodb/criteria.h"

#include <algorithm>

#include "base/text.h"
#include "providers/adodb/error_numbers.h"
#include "pvgroupman/automation/error.h"

namespace pv::adodb {
namespace {

using automation::Value;

// Deeper parentheses than these nobody writes.
constexpr int kMostDepth = 64;

Status Bad(const std::string& what) {
  return Status(StatusCode::kInvalid,
                std::string(TextOfNumber(kErrInvalidArgument)) + " (" + what + ")",
                kErrInvalidArgument);
}

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

Result<std::size_t> ColumnOf(const std::string& name, const std::vector<Column>& columns) {
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (EqualsIgnoreCase(columns[i].name, name)) return i;
  }
  return Status(StatusCode::kNotFound,
                std::string(TextOfNumber(kErrItemNotFound)) + " (" + name + ")", kErrItemNotFound);
}

// Reads a field's name at `*pos`.
Result<std::string> ReadName(std::string_view text, std::size_t* pos) {
  if (*pos >= text.size()) return Bad("a field is missing");
  const char open = text[*pos];
  if (open == '[' || open == '"') {
    const char close = open == '[' ? ']' : '"';
    std::string name;
    for (++*pos; *pos < text.size(); ++*pos) {
      if (text[*pos] == close) {
        ++*pos;
        if (*pos >= text.size() || text[*pos] != close) return name;
      }
      name.push_back(text[*pos]);
    }
    return Bad("a field's name has no end");
  }
  const std::size_t first = *pos;
  while (*pos < text.size() && !IsBlank(text[*pos]) &&
         std::string_view("=<>(),'#").find(text[*pos]) == std::string_view::npos) {
    ++*pos;
  }
  if (*pos == first) return Bad("a field is missing");
  return std::string(text.substr(first, *pos - first));
}

// True when `text` is the pattern, both in lower case; "*" and "%" stand for anything.
bool IsLike(std::string_view text, std::string_view pattern) {
  std::size_t t = 0;
  std::size_t p = 0;
  std::size_t star = std::string_view::npos;
  std::size_t retry = 0;
  while (t < text.size()) {
    if (p < pattern.size() && (pattern[p] == '*' || pattern[p] == '%')) {
      star = p++;
      retry = t;
    } else if (p < pattern.size() && pattern[p] == text[t]) {
      ++p;
      ++t;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      t = ++retry;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && (pattern[p] == '*' || pattern[p] == '%')) ++p;
  return p == pattern.size();
}

bool ReadsAsNumber(const Value& value, double* number) {
  try {
    *number = value.ToR8();
    return true;
  } catch (const automation::Error&) {
    return false;
  }
}

}  // namespace

class CriteriaParser {
 public:
  CriteriaParser(std::string_view text, const std::vector<Column>& columns, Criteria* out)
      : text_(text), columns_(columns), out_(out) {}

  Status ParseAll(bool single) {
    out_->nodes_.emplace_back();  // the root's place
    std::size_t root = 0;
    if (single) {
      PV_ASSIGN_OR_RETURN(root, Comparison());
    } else {
      PV_ASSIGN_OR_RETURN(root, Either(0));
    }
    SkipBlanks();
    if (pos_ < text_.size()) return Bad("\"" + std::string(text_.substr(pos_)) + "\" is too much");
    out_->nodes_[0] = out_->nodes_[root];
    return Status::Ok();
  }

 private:
  using Node = Criteria::Node;
  using Operator = Criteria::Operator;

  void SkipBlanks() {
    while (pos_ < text_.size() && IsBlank(text_[pos_])) ++pos_;
  }

  // Passes over a word that stands there by itself.
  bool Take(std::string_view word) {
    SkipBlanks();
    if (!EqualsIgnoreCase(text_.substr(pos_, word.size()), word)) return false;
    const std::size_t end = pos_ + word.size();
    const bool letters = word[0] >= 'A' && word[0] <= 'Z';
    if (letters && end < text_.size() && !IsBlank(text_[end]) &&
        std::string_view("('#[\"").find(text_[end]) == std::string_view::npos) {
      return false;
    }
    pos_ = end;
    return true;
  }

  std::size_t Push(Node node) {
    out_->nodes_.push_back(std::move(node));
    return out_->nodes_.size() - 1;
  }

  Result<std::size_t> Either(int depth) {
    PV_ASSIGN_OR_RETURN(std::size_t left, Both(depth));
    while (Take("OR")) {
      PV_ASSIGN_OR_RETURN(const std::size_t right, Both(depth));
      Node node;
      node.type = Node::Type::kOr;
      node.left = left;
      node.right = right;
      left = Push(std::move(node));
    }
    return left;
  }

  Result<std::size_t> Both(int depth) {
    PV_ASSIGN_OR_RETURN(std::size_t left, Factor(depth));
    while (Take("AND")) {
      PV_ASSIGN_OR_RETURN(const std::size_t right, Factor(depth));
      Node node;
      node.type = Node::Type::kAnd;
      node.left = left;
      node.right = right;
      left = Push(std::move(node));
    }
    return left;
  }

  Result<std::size_t> Factor(int depth) {
    if (!Take("(")) return Comparison();
    if (depth >= kMostDepth) return Bad("too many parentheses");
    PV_ASSIGN_OR_RETURN(const std::size_t inner, Either(depth + 1));
    if (!Take(")")) return Bad("a parenthesis is not closed");
    return inner;
  }

  Result<std::size_t> Comparison() {
    SkipBlanks();
    PV_ASSIGN_OR_RETURN(const std::string name, ReadName(text_, &pos_));
    Node node;
    PV_ASSIGN_OR_RETURN(node.column, ColumnOf(name, columns_));
    struct Sign {
      const char* text;
      Operator op;
    };
    constexpr Sign kSigns[] = {{"<>", Operator::kUnequal}, {"<=", Operator::kAtMost},
                               {">=", Operator::kAtLeast}, {"=", Operator::kEqual},
                               {"<", Operator::kLess},     {">", Operator::kMore},
                               {"LIKE", Operator::kLike}};
    const auto* sign = std::find_if(std::begin(kSigns), std::end(kSigns),
                                    [&](const Sign& s) { return Take(s.text); });
    if (sign == std::end(kSigns)) return Bad("a comparison is missing behind " + name);
    node.op = sign->op;
    PV_RETURN_IF_ERROR(ReadValue(columns_[node.column].kind, &node.value));
    if (node.op == Operator::kLike) {
      if (!node.value.IsText()) return Bad("LIKE needs a text");
      node.value = Value(ToLower(*node.value.TryGet<std::string>()));
    }
    return Push(std::move(node));
  }

  Status ReadValue(Kind kind, Value* value) {
    SkipBlanks();
    if (pos_ >= text_.size()) return Bad("a value is missing");
    const char open = text_[pos_];
    if (open == '\'' || open == '#') {
      std::string inner;
      for (++pos_;; ++pos_) {
        if (pos_ >= text_.size()) return Bad("a value has no end");
        if (text_[pos_] == open) {
          ++pos_;
          if (pos_ >= text_.size() || text_[pos_] != open) break;
        }
        inner.push_back(text_[pos_]);
      }
      automation::Date date;
      const bool wants_date =
          open == '#' || kind == Kind::kDate || kind == Kind::kTime || kind == Kind::kDateTime;
      if (wants_date) {
        if (!automation::ParseDate(inner, &date)) return Bad("\"" + inner + "\" is no date");
        *value = Value(date);
      } else {
        *value = Value(std::move(inner));
      }
      return Status::Ok();
    }
    if (Take("NULL")) {
      *value = Value::Null();
      return Status::Ok();
    }
    const std::size_t first = pos_;
    while (pos_ < text_.size() && !IsBlank(text_[pos_]) && text_[pos_] != ')') ++pos_;
    *value = Value(std::string(text_.substr(first, pos_ - first)));
    if (Value* v = value; EqualsIgnoreCase(*v->TryGet<std::string>(), "true") ||
                          EqualsIgnoreCase(*v->TryGet<std::string>(), "false")) {
      *value = Value(v->ToBoolean());
      return Status::Ok();
    }
    double number = 0;
    if (!ReadsAsNumber(*value, &number)) {
      return Bad("\"" + *value->TryGet<std::string>() + "\" is no value; text stands in quotes");
    }
    // Digits keep what a double would lose.
    if (kind != Kind::kDecimal && kind != Kind::kInteger) *value = Value(number);
    return Status::Ok();
  }

  std::string_view text_;
  const std::vector<Column>& columns_;
  Criteria* out_;
  std::size_t pos_ = 0;
};

Result<Criteria> Criteria::Parse(std::string_view text, const std::vector<Column>& columns,
                                 bool single) {
  Criteria criteria;
  PV_RETURN_IF_ERROR(CriteriaParser(text, columns, &criteria).ParseAll(single));
  return criteria;
}

bool Criteria::Evaluate(std::size_t index, const ValueOf& value_of) const {
  const Node& node = nodes_[index];
  if (node.type == Node::Type::kAnd) {
    return Evaluate(node.left, value_of) && Evaluate(node.right, value_of);
  }
  if (node.type == Node::Type::kOr) {
    return Evaluate(node.left, value_of) || Evaluate(node.right, value_of);
  }
  const Value value = value_of(node.column);
  if (value.IsNull() || node.value.IsNull()) {
    const bool both = value.IsNull() && node.value.IsNull();
    return node.op == Operator::kUnequal ? !both : node.op == Operator::kEqual && both;
  }
  if (node.op == Operator::kLike) {
    return value.type() != automation::ValueType::kBytes &&
           IsLike(ToLower(value.ToText()), *node.value.TryGet<std::string>());
  }
  // A number against text that is none, and the like, is unequal without an order.
  double number = 0;
  const bool comparable = value.type() != automation::ValueType::kBytes &&
                          (value.IsText() == node.value.IsText() ||
                           (ReadsAsNumber(value, &number) && ReadsAsNumber(node.value, &number)));
  if (!comparable) return node.op == Operator::kUnequal;
  const Kind kind = value.IsText() && node.value.IsText() ? Kind::kText : Kind::kDouble;
  const int order = CompareValues(value, node.value, kind);
  switch (node.op) {
    case Operator::kEqual:
      return order == 0;
    case Operator::kUnequal:
      return order != 0;
    case Operator::kLess:
      return order < 0;
    case Operator::kAtMost:
      return order <= 0;
    case Operator::kMore:
      return order > 0;
    default:
      return order >= 0;
  }
}

Result<std::vector<SortKey>> ParseSort(std::string_view text, const std::vector<Column>& columns) {
  std::vector<SortKey> keys;
  std::size_t pos = 0;
  const auto skip = [&] {
    while (pos < text.size() && IsBlank(text[pos])) ++pos;
  };
  for (skip(); pos < text.size(); skip()) {
    PV_ASSIGN_OR_RETURN(const std::string name, ReadName(text, &pos));
    SortKey key;
    PV_ASSIGN_OR_RETURN(key.column, ColumnOf(name, columns));
    skip();
    const std::size_t end = std::min(text.find(',', pos), text.size());
    const std::string_view order = TrimBlanks(text.substr(pos, end - pos));
    if (EqualsIgnoreCase(order, "DESC")) {
      key.descending = true;
    } else if (!order.empty() && !EqualsIgnoreCase(order, "ASC")) {
      return Bad("\"" + std::string(order) + "\" is no order");
    }
    keys.push_back(key);
    pos = end + 1;
  }
  return keys;
}

int CompareValues(const Value& a, const Value& b, Kind kind) {
  const auto order = [](const auto& x, const auto& y) { return x < y ? -1 : y < x ? 1 : 0; };
  if (a.IsNull() || b.IsNull()) return order(!a.IsNull(), !b.IsNull());
  if (kind == Kind::kText) return order(ToLower(a.ToText()), ToLower(b.ToText()));
  if (kind == Kind::kBytes) {
    const auto* x = a.TryGet<automation::Bytes>();
    const auto* y = b.TryGet<automation::Bytes>();
    return x != nullptr && y != nullptr ? order(*x, *y) : 0;
  }
  if (a.type() != automation::ValueType::kDate && b.type() != automation::ValueType::kDate) {
    // Exactly, where both fit a currency.
    try {
      return order(a.ToCurrency().units, b.ToCurrency().units) != 0
                 ? order(a.ToCurrency().units, b.ToCurrency().units)
                 : order(a.ToR8(), b.ToR8());
    } catch (const automation::Error&) {
      // Too large: doubles it is.
    }
  }
  double x = 0;
  double y = 0;
  if (!ReadsAsNumber(a, &x) || !ReadsAsNumber(b, &y)) return order(a.ToText(), b.ToText());
  return order(x, y);
}

}  // namespace pv::adodb
