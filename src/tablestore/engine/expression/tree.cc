// Types, widths and constants of expression trees. Tested by expression_syntax_test.cc and
// expression_value_test.cc.
#include "tablestore/engine/expression/tree.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace pv::engine::expr {
namespace {

constexpr std::size_t kMaxFieldName = 10;
constexpr std::size_t kShortestAbbreviation = 4;

// `takes` has a letter per argument: C text, N number, D date or date-time, L logical, A any.
struct Function {
  std::string_view name;
  Op op;
  std::size_t required;
  std::string_view takes;
  ValueType gives;
};

constexpr Function kFunctions[] = {
    {"UPPER", Op::kUpper, 1, "C", ValueType::kCharacter},
    {"LOWER", Op::kLower, 1, "C", ValueType::kCharacter},
    {"TRIM", Op::kTrimRight, 1, "C", ValueType::kCharacter},
    {"LTRIM", Op::kTrimLeft, 1, "C", ValueType::kCharacter},
    {"RTRIM", Op::kTrimRight, 1, "C", ValueType::kCharacter},
    {"ALLTRIM", Op::kTrimBoth, 1, "C", ValueType::kCharacter},
    {"LEFT", Op::kLeft, 2, "CN", ValueType::kCharacter},
    {"RIGHT", Op::kRight, 2, "CN", ValueType::kCharacter},
    {"SUBSTR", Op::kSubstr, 2, "CNN", ValueType::kCharacter},
    {"PADL", Op::kPadLeft, 2, "CNC", ValueType::kCharacter},
    {"PADR", Op::kPadRight, 2, "CNC", ValueType::kCharacter},
    {"SPACE", Op::kSpace, 1, "N", ValueType::kCharacter},
    {"STR", Op::kStr, 1, "NNN", ValueType::kCharacter},
    {"VAL", Op::kVal, 1, "C", ValueType::kNumeric},
    {"INT", Op::kInt, 1, "N", ValueType::kNumeric},
    {"ABS", Op::kAbs, 1, "N", ValueType::kNumeric},
    {"ROUND", Op::kRound, 2, "NN", ValueType::kNumeric},
    {"CHR", Op::kChr, 1, "N", ValueType::kCharacter},
    {"ASC", Op::kAsc, 1, "C", ValueType::kNumeric},
    {"LEN", Op::kLen, 1, "C", ValueType::kNumeric},
    {"AT", Op::kAt, 2, "CC", ValueType::kNumeric},
    {"DTOS", Op::kDtos, 1, "D", ValueType::kCharacter},
    {"DTOC", Op::kDtoc, 1, "DN", ValueType::kCharacter},
    {"CTOD", Op::kCtod, 1, "C", ValueType::kDate},
    {"STOD", Op::kStod, 1, "C", ValueType::kDate},
    {"YEAR", Op::kYear, 1, "D", ValueType::kNumeric},
    {"MONTH", Op::kMonth, 1, "D", ValueType::kNumeric},
    {"DAY", Op::kDay, 1, "D", ValueType::kNumeric},
    {"DELETED", Op::kDeleted, 0, "", ValueType::kLogical},
    {"RECNO", Op::kRecno, 0, "", ValueType::kNumeric},
    {"IIF", Op::kIif, 3, "LAA", ValueType::kCharacter},  // gives what its branches give
    {"EMPTY", Op::kEmptyNumber, 1, "A", ValueType::kLogical},
    {"ISNULL", Op::kIsNull, 1, "A", ValueType::kLogical},
    {"BINTOC", Op::kBinToC, 1, "NN", ValueType::kCharacter},
};

// By name, or by the first four or more letters of it when no other function begins so.
const Function* FindFunction(std::string_view name) {
  const Function* found = nullptr;
  for (const Function& f : kFunctions) {
    if (SameWord(name, f.name)) return &f;
    if (name.size() < kShortestAbbreviation || name.size() > f.name.size()) continue;
    if (!SameWord(name, f.name.substr(0, name.size()))) continue;
    if (found != nullptr) return nullptr;
    found = &f;
  }
  return found;
}

bool Takes(char letter, ValueType type) {
  switch (letter) {
    case 'C':
      return type == ValueType::kCharacter;
    case 'N':
      return type == ValueType::kNumeric;
    case 'D':
      return type == ValueType::kDate || type == ValueType::kDateTime;
    case 'L':
      return type == ValueType::kLogical;
    default:
      return true;
  }
}

std::string_view Wanted(char letter) {
  switch (letter) {
    case 'C':
      return "a text";
    case 'N':
      return "a number";
    case 'D':
      return "a date";
    default:
      return "a logical value";
  }
}

bool IsJoin(Op op) { return op == Op::kJoin || op == Op::kJoinTrimmed; }

bool IsNumberedSibling(std::string_view name, std::string_view long_name) {
  // CONTACT_T2 beside CONTACT_TY: both were cut from longer names that begin alike.
  std::size_t digits = 0;
  while (digits < name.size() && name[name.size() - 1 - digits] >= '0' &&
         name[name.size() - 1 - digits] <= '9') {
    ++digits;
  }
  return name.size() == kMaxFieldName && digits > 0 && digits < kMaxFieldName &&
         long_name.substr(0, kMaxFieldName - digits) == name.substr(0, kMaxFieldName - digits);
}

// Bytes that a field of this type has in every sound table; 0 when its length is free.
std::size_t FixedLength(FieldLetter type) {
  switch (type) {
    case FieldLetter::kInteger:
      return 4;
    case FieldLetter::kDouble:
    case FieldLetter::kCurrency:
    case FieldLetter::kDate:
    case FieldLetter::kDateTime:
      return 8;
    case FieldLetter::kLogical:
      return 1;
    default:
      return 0;
  }
}

std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

}  // namespace

std::string_view TypeName(ValueType type) {
  switch (type) {
    case ValueType::kCharacter:
      return "a text";
    case ValueType::kNumeric:
      return "a number";
    case ValueType::kDate:
      return "a date";
    case ValueType::kDateTime:
      return "a date-time";
    default:
      return "a logical value";
  }
}

TreeBuilder::MaybeIndex TreeBuilder::Fail(std::size_t position, std::string reason) {
  error_ = {position, std::move(reason)};
  return std::nullopt;
}

TreeBuilder::MaybeIndex TreeBuilder::Number(double value, ValueType type) {
  Node n;
  n.op = Op::kNumber;
  n.type = type;
  n.constant = true;
  n.number = value;
  return Add(std::move(n), 0);
}

TreeBuilder::MaybeIndex TreeBuilder::Text(std::string_view text) {
  Node n;
  n.op = Op::kText;
  n.type = ValueType::kCharacter;
  n.constant = true;
  n.width = static_cast<std::uint32_t>(text.size());
  n.text = text;
  return Add(std::move(n), 0);
}

TreeBuilder::MaybeIndex TreeBuilder::Field(const Token& name) {
  std::string upper(name.text);
  layout_.page->UpperBytes(upper.data(), upper.size());
  // Names may be held as bytes of the page or as UTF-8: they differ beyond ASCII only.
  const std::string decoded = layout_.page->Decode(upper);
  const FieldLayout* found = nullptr;
  for (const FieldLayout& f : layout_.fields) {
    if (found == nullptr && (f.name == upper || f.name == decoded)) found = &f;
  }
  if (found == nullptr && upper.size() > kMaxFieldName) {
    // A table of a database container has the first ten letters of a longer name; that is sure
    // unless another name was cut to the same letters and then numbered.
    const std::string_view cut = std::string_view(upper).substr(0, kMaxFieldName);
    for (const FieldLayout& f : layout_.fields) {
      if (found == nullptr && f.name == cut) found = &f;
    }
    for (const FieldLayout& f : layout_.fields) {
      if (found != nullptr && &f != found && IsNumberedSibling(f.name, upper)) {
        return Fail(name.position, "the name " + Quoted(decoded) + " can mean the field " +
                                       found->name + " or the field " + f.name);
      }
    }
  }
  if (found == nullptr) {
    return Fail(name.position, "there is no field " + Quoted(layout_.page->Decode(name.text)));
  }

  Node n;
  n.field = found;
  n.uses_nullable = found->nullable;
  switch (found->type) {
    case FieldLetter::kUnicode:
      n.utf16 = true;
      [[fallthrough]];
    case FieldLetter::kCharacter:
    case FieldLetter::kCharacterBinary:
      n.op = Op::kTextField;
      n.type = ValueType::kCharacter;
      break;
    case FieldLetter::kVarchar:
    case FieldLetter::kVarbinary:
      n.op = Op::kVarTextField;
      n.type = ValueType::kCharacter;
      break;
    case FieldLetter::kNumeric:
    case FieldLetter::kFloat:
      n.op = Op::kDecimalField;
      break;
    case FieldLetter::kInteger:
      n.op = Op::kIntegerField;
      break;
    case FieldLetter::kDouble:
      n.op = Op::kDoubleField;
      break;
    case FieldLetter::kCurrency:
      n.op = Op::kCurrencyField;
      break;
    case FieldLetter::kDate:
      n.op = Op::kDateField;
      n.type = ValueType::kDate;
      break;
    case FieldLetter::kDateTime:
      n.op = Op::kDateTimeField;
      n.type = ValueType::kDateTime;
      break;
    case FieldLetter::kLogical:
      n.op = Op::kLogicalField;
      n.type = ValueType::kLogical;
      break;
    default:
      return Fail(name.position, "the field " + found->name +
                                     " is a memo or general field, which no expression can use");
  }
  if (n.type == ValueType::kCharacter) n.width = found->length;

  const std::size_t fixed = FixedLength(found->type);
  const bool in_record = found->length > 0 && found->offset >= 1 &&
                         found->offset <= layout_.record_length &&
                         found->length <= layout_.record_length - found->offset;
  const auto bit_in_flags = [this](std::uint16_t bit) {
    return layout_.null_flags_offset >= 1 && bit / 8 < layout_.null_flags_length &&
           layout_.null_flags_offset <= layout_.record_length &&
           layout_.null_flags_length <= layout_.record_length - layout_.null_flags_offset;
  };
  const bool flags_needed = (found->nullable && !bit_in_flags(found->null_bit)) ||
                            (n.op == Op::kVarTextField && layout_.null_flags_offset != 0 &&
                             !bit_in_flags(found->length_bit));
  if (!in_record || flags_needed || (fixed != 0 && found->length != fixed)) {
    return Fail(name.position, "the field " + found->name + " does not fit its record");
  }
  return Add(std::move(n), name.position);
}

TreeBuilder::MaybeIndex TreeBuilder::Unary(const Token& op, Index operand) {
  const ValueType type = nodes_[operand].type;
  Node n;
  n.arguments = 1;
  n.child[0] = operand;
  n.type = type;
  if (op.kind == TokenKind::kNot) {
    if (type != ValueType::kLogical) {
      return Fail(op.position, "NOT needs a logical value and gets " + std::string(TypeName(type)));
    }
    n.op = Op::kNot;
  } else {
    if (type != ValueType::kNumeric) {
      return Fail(op.position, "a sign needs a number and gets " + std::string(TypeName(type)));
    }
    if (op.kind == TokenKind::kPlus) return operand;
    n.op = Op::kNegate;
  }
  return Add(std::move(n), op.position);
}

TreeBuilder::MaybeIndex TreeBuilder::Binary(const Token& op, Index left, Index right) {
  Node n;
  n.arguments = 2;
  n.child = {left, right, 0};
  ValueType needed = ValueType::kNumeric;
  switch (op.kind) {
    case TokenKind::kAnd:
    case TokenKind::kOr:
      n.op = op.kind == TokenKind::kAnd ? Op::kAnd : Op::kOr;
      n.type = needed = ValueType::kLogical;
      break;
    case TokenKind::kContainedIn:
      n.op = Op::kContainedIn;
      n.type = ValueType::kLogical;
      needed = ValueType::kCharacter;
      break;
    case TokenKind::kTimes:
      n.op = Op::kMultiply;
      break;
    case TokenKind::kDivide:
      n.op = Op::kDivide;
      break;
    case TokenKind::kPower:
      n.op = Op::kPower;
      break;
    case TokenKind::kPlus:
    case TokenKind::kMinus:
      return AddOrSubtract(op, left, right);
    default:
      return Compare(op, left, right);
  }
  for (const Index operand : {left, right}) {
    if (nodes_[operand].type != needed) {
      return Fail(op.position, "this operator needs " + std::string(TypeName(needed)) +
                                   " on both sides and gets " +
                                   std::string(TypeName(nodes_[operand].type)));
    }
  }
  return Add(std::move(n), op.position);
}

TreeBuilder::MaybeIndex TreeBuilder::AddOrSubtract(const Token& op, Index left, Index right) {
  const bool minus = op.kind == TokenKind::kMinus;
  ValueType l = nodes_[left].type;
  ValueType r = nodes_[right].type;
  if (!minus && l == ValueType::kNumeric && (r == ValueType::kDate || r == ValueType::kDateTime)) {
    std::swap(left, right);
    std::swap(l, r);
  }
  Node n;
  n.arguments = 2;
  n.child = {left, right, 0};
  n.type = l;
  if (l == ValueType::kCharacter && r == l) {
    n.op = minus ? Op::kJoinTrimmed : Op::kJoin;
  } else if (l == ValueType::kNumeric && r == l) {
    n.op = minus ? Op::kSubtract : Op::kAdd;
  } else if (l == ValueType::kDate && r == ValueType::kNumeric) {
    n.op = minus ? Op::kSubtractFromDate : Op::kAddToDate;
  } else if (l == ValueType::kDateTime && r == ValueType::kNumeric) {
    n.op = minus ? Op::kSubtractFromDateTime : Op::kAddToDateTime;
  } else if (minus && l == r && (l == ValueType::kDate || l == ValueType::kDateTime)) {
    n.op = Op::kSubtract;
    n.type = ValueType::kNumeric;
  } else {
    return Fail(op.position, std::string(minus ? "- does" : "+ does") + " not go with " +
                                 std::string(TypeName(l)) + " and " + std::string(TypeName(r)));
  }
  return Add(std::move(n), op.position);
}

TreeBuilder::MaybeIndex TreeBuilder::Compare(const Token& op, Index left, Index right) {
  const ValueType l = nodes_[left].type;
  const ValueType r = nodes_[right].type;
  if (l == ValueType::kDate && r == ValueType::kDateTime) {
    left = ToDateTime(left);
  } else if (l == ValueType::kDateTime && r == ValueType::kDate) {
    right = ToDateTime(right);
  } else if (l != r) {
    return Fail(op.position,
                std::string(TypeName(l)) + " cannot be compared with " + std::string(TypeName(r)));
  }
  Node n;
  n.arguments = 2;
  n.child = {left, right, 0};
  n.type = ValueType::kLogical;
  n.op = l == ValueType::kCharacter ? Op::kCompareTexts : Op::kCompareNumbers;
  switch (op.kind) {
    case TokenKind::kExactlyEqual:
      if (l == ValueType::kCharacter) n.op = Op::kEqualTexts;
      break;
    case TokenKind::kNotEqual:
      n.relation = Relation::kNotEqual;
      break;
    case TokenKind::kLess:
      n.relation = Relation::kLess;
      break;
    case TokenKind::kLessEqual:
      n.relation = Relation::kLessEqual;
      break;
    case TokenKind::kGreater:
      n.relation = Relation::kGreater;
      break;
    case TokenKind::kGreaterEqual:
      n.relation = Relation::kGreaterEqual;
      break;
    default:
      break;
  }
  return Add(std::move(n), op.position);
}

TreeBuilder::Index TreeBuilder::ToDateTime(Index date) {
  Node n;
  n.op = Op::kDateTimeFromDate;
  n.type = ValueType::kDateTime;
  n.arguments = 1;
  n.child[0] = date;
  return *Add(std::move(n), 0);
}

TreeBuilder::MaybeIndex TreeBuilder::Call(const Token& name, const std::vector<Index>& given) {
  if (SameWord(name.text, "DATE")) {
    return Fail(name.position, "DATE() changes with the clock, so keys and filters cannot use it");
  }
  const Function* function = FindFunction(name.text);
  if (function == nullptr) {
    return Fail(name.position, "there is no function " + Quoted(layout_.page->Decode(name.text)));
  }
  const std::string shown(function->name);
  const std::size_t most = function->takes.size();
  if (given.size() < function->required || given.size() > most) {
    std::string wanted = std::to_string(function->required);
    if (most > function->required) wanted += " to " + std::to_string(most);
    return Fail(name.position,
                shown + " takes " + wanted + " values and gets " + std::to_string(given.size()));
  }
  Node n;
  n.op = function->op;
  n.type = function->gives;
  n.arguments = static_cast<std::uint8_t>(given.size());
  for (std::size_t i = 0; i < given.size(); ++i) {
    n.child[i] = given[i];
    const Node& argument = nodes_[given[i]];
    if (!Takes(function->takes[i], argument.type)) {
      return Fail(name.position, shown + " needs " + std::string(Wanted(function->takes[i])) +
                                     " as value " + std::to_string(i + 1) + " and gets " +
                                     std::string(TypeName(argument.type)));
    }
    if (argument.utf16 && (n.op == Op::kUpper || n.op == Op::kLower)) {
      return Fail(name.position, shown + " does not work on the bytes of a Unicode field");
    }
    if (function->takes[i] == 'D' && argument.type == ValueType::kDateTime) {
      Node date;
      date.op = Op::kDateFromDateTime;
      date.type = ValueType::kDate;
      date.arguments = 1;
      date.child[0] = given[i];
      n.child[i] = *Add(std::move(date), name.position);
    }
  }
  if (n.op == Op::kIif) {
    const ValueType yes = nodes_[given[1]].type;
    const ValueType no = nodes_[given[2]].type;
    if (yes != no) {
      return Fail(name.position, "IIF gives " + std::string(TypeName(yes)) + " or " +
                                     std::string(TypeName(no)) + ", which must be alike");
    }
    n.type = yes;
  }
  if (n.op == Op::kEmptyNumber && nodes_[given[0]].type == ValueType::kCharacter) {
    n.op = Op::kEmptyText;
  }
  if (n.op == Op::kDtoc && n.arguments == 2) {
    if (Constant(given[1]) != 1.0) {
      return Fail(name.position, "the second value of DTOC can only be 1");
    }
    n.op = Op::kDtos;
    n.arguments = 1;
  }
  return Add(std::move(n), name.position);
}

std::optional<double> TreeBuilder::Constant(Index index) const {
  const Node& n = nodes_[index];
  if (n.op != Op::kNumber) return std::nullopt;
  return n.number;
}

bool TreeBuilder::SetTextWidth(Node* n, std::size_t position) {
  const auto child_width = [&](std::size_t i) { return nodes_[n->child[i]].width; };
  // A count as a constant, cut to [0, most]; nothing when it is computed or left out.
  const auto count = [&](std::size_t i, std::size_t most) -> std::optional<std::uint32_t> {
    if (i >= n->arguments) return std::nullopt;
    const auto number = Constant(n->child[i]);
    if (!number) return std::nullopt;
    return static_cast<std::uint32_t>(std::clamp(*number, 0.0, static_cast<double>(most)));
  };
  const auto is_computed = [&](std::size_t i) {
    return i < n->arguments && !Constant(n->child[i]);
  };
  std::size_t width = child_width(0);
  bool computed = nodes_[n->child[0]].computed_width;
  switch (n->op) {
    case Op::kJoin:
    case Op::kJoinTrimmed:
      width += child_width(1);
      computed = computed || nodes_[n->child[1]].computed_width;
      break;
    case Op::kIif: {
      const Node& yes = nodes_[n->child[1]];
      const Node& no = nodes_[n->child[2]];
      width = std::max(yes.width, no.width);
      computed = yes.computed_width || no.computed_width || yes.width != no.width;
      break;
    }
    case Op::kLeft:
    case Op::kRight:
      width = count(1, width).value_or(static_cast<std::uint32_t>(width));
      computed = computed || is_computed(1);
      break;
    case Op::kSubstr: {
      if (const auto start = Constant(n->child[1])) {
        const double before = std::trunc(*start) - 1;
        width = before < 0 || before >= static_cast<double>(width)
                    ? 0
                    : width - static_cast<std::size_t>(before);
      }
      width = count(2, width).value_or(static_cast<std::uint32_t>(width));
      computed = computed || is_computed(1) || is_computed(2);
      break;
    }
    case Op::kPadLeft:
    case Op::kPadRight:
    case Op::kSpace:
    case Op::kStr: {
      const std::size_t i = n->op == Op::kSpace ? 0 : 1;
      const bool is_str = n->op == Op::kStr;
      computed = is_computed(i);
      if (is_str && n->arguments == 1) {
        width = 10;
        break;
      }
      const std::size_t most = is_str ? kMaxComputedCount : kMaxScratch;
      if (const auto constant = Constant(n->child[i])) {
        const double least = is_str ? 1 : 0;
        if (std::trunc(*constant) < least || std::trunc(*constant) > static_cast<double>(most)) {
          Fail(position, "the width must be " + std::to_string(is_str ? 1 : 0) + " to " +
                             std::to_string(most));
          return false;
        }
        width = static_cast<std::size_t>(*constant);
      } else {
        width = kMaxComputedCount;
      }
      break;
    }
    case Op::kBinToC: {
      width = 4;
      if (n->arguments == 2) {
        const double size = Constant(n->child[1]).value_or(0);
        if (size != 1 && size != 2 && size != 4) {
          Fail(position, "the second value of BINTOC can only be 1, 2 or 4");
          return false;
        }
        width = static_cast<std::size_t>(size);
        n->arguments = 1;
      }
      computed = false;
      break;
    }
    case Op::kChr:
      width = 1;
      computed = false;
      break;
    case Op::kDtos:
      width = 8;
      computed = false;
      break;
    case Op::kDtoc:
      width = 10;
      computed = false;
      break;
    default:  // UPPER, LOWER and the trimming functions keep the width
      break;
  }
  n->width = static_cast<std::uint32_t>(std::min(width, kMaxScratch + 1));
  n->computed_width = computed;
  return true;
}

TreeBuilder::MaybeIndex TreeBuilder::Add(Node node, std::size_t position) {
  if (node.arguments > 0) {
    if (node.type == ValueType::kCharacter && !SetTextWidth(&node, position)) return std::nullopt;
    node.constant = true;
    for (std::size_t i = 0; i < node.arguments; ++i) {
      const Node& child = nodes_[node.child[i]];
      node.constant = node.constant && child.constant;
      node.uses_nullable = node.uses_nullable || child.uses_nullable;
      if (node.type == ValueType::kCharacter) node.utf16 = node.utf16 || child.utf16;
    }
  }
  if (MakesText(node.op)) {
    // A chain of joins grows in one buffer.
    const bool in_place = IsJoin(node.op) && IsJoin(nodes_[node.child[0]].op);
    text_made_ += in_place ? nodes_[node.child[1]].width : node.width;
    if (node.width > kMaxScratch || text_made_ > kMaxScratch) {
      return Fail(position, "the expression makes more than " + std::to_string(kMaxScratch) +
                                " bytes of text");
    }
  }
  if ((node.op == Op::kUpper || node.op == Op::kLower) && case_map_ == nullptr) {
    case_map_ = std::make_shared<const CaseMap>(layout_.page);
  }
  nodes_.push_back(std::move(node));
  const auto index = static_cast<Index>(nodes_.size() - 1);
  if (nodes_[index].arguments == 0 || !nodes_[index].constant) return index;

  // Constant: computed now. What cannot be computed stays, and is null on every record.
  const Program program = MakeProgram(index);
  Evaluate(program, nullptr, 0, [&](const Value& value) {
    if (value.null) return;
    Node& n = nodes_[index];
    n.arguments = 0;
    if (n.type == ValueType::kCharacter) {
      n.op = Op::kText;
      n.text = value.text();
    } else {
      n.op = Op::kNumber;
      n.number = value.number;
    }
  });
  return index;
}

}  // namespace pv::engine::expr
