// Reads the text of an expression into a typed tree. Tested by expression_syntax_test.cc.
//
// Operators are read by precedence: a loop takes operators of equal strength from left to right
// and calls itself only for stronger ones, so the depth of the recursion is bounded by the
// nesting limit times the number of strengths, whatever the text.
#include "tablestore/engine/expression/parser.h"

#include <string>

namespace pv::engine::expr {
namespace {

// Strength of infix operators; 0 for what is none. NOT stands between AND and the comparisons, a
// sign above all.
constexpr int kOr = 1;
constexpr int kAnd = 2;
constexpr int kComparison = 3;

int Strength(TokenKind kind) {
  switch (kind) {
    case TokenKind::kOr:
      return kOr;
    case TokenKind::kAnd:
      return kAnd;
    case TokenKind::kEqual:
    case TokenKind::kExactlyEqual:
    case TokenKind::kNotEqual:
    case TokenKind::kLess:
    case TokenKind::kLessEqual:
    case TokenKind::kGreater:
    case TokenKind::kGreaterEqual:
    case TokenKind::kContainedIn:
      return kComparison;
    case TokenKind::kPlus:
    case TokenKind::kMinus:
      return 4;
    case TokenKind::kTimes:
    case TokenKind::kDivide:
      return 5;
    case TokenKind::kPower:
      return 6;
    default:
      return 0;
  }
}

}  // namespace

bool Parser::Advance() {
  std::string error;
  if (tokenizer_.Next(&token_, &error)) return true;
  tree_.Fail(token_.position, std::move(error));
  return false;
}

bool Parser::Expect(TokenKind kind, const char* what) {
  if (token_.kind != kind) {
    tree_.Fail(token_.position, std::string(what) + " is missing");
    return false;
  }
  return Advance();
}

TreeBuilder::MaybeIndex Parser::Parse() {
  if (!Advance()) return std::nullopt;
  if (token_.kind == TokenKind::kEnd) return tree_.Fail(0, "the expression is empty");
  const MaybeIndex root = ParseOperators(kOr);
  if (!root) return root;
  if (token_.kind == TokenKind::kEnd) return root;
  return tree_.Fail(token_.position, token_.kind == TokenKind::kClose
                                         ? "there is no ( for this )"
                                         : "an operator is missing before this");
}

TreeBuilder::MaybeIndex Parser::ParseOperators(int weakest) {
  MaybeIndex left = ParseOperand();
  while (left) {
    const int strength = Strength(token_.kind);
    if (strength < weakest || strength == 0) return left;
    const Token op = token_;
    if (!Advance()) return std::nullopt;
    const MaybeIndex right = ParseOperators(strength + 1);
    if (!right) return right;
    left = tree_.Binary(op, *left, *right);
  }
  return left;
}

TreeBuilder::MaybeIndex Parser::ParseOperand() {
  const Token token = token_;
  if (nesting_ > kMaxNesting) {
    return tree_.Fail(token.position,
                      "more than " + std::to_string(kMaxNesting) + " levels of nesting");
  }
  switch (token.kind) {
    case TokenKind::kNumber:
      if (!Advance()) return std::nullopt;
      return tree_.Number(token.number, ValueType::kNumeric);
    case TokenKind::kDate:
      if (!Advance()) return std::nullopt;
      return tree_.Number(token.number, ValueType::kDate);
    case TokenKind::kTrue:
    case TokenKind::kFalse:
      if (!Advance()) return std::nullopt;
      return tree_.Number(token.kind == TokenKind::kTrue ? 1 : 0, ValueType::kLogical);
    case TokenKind::kText:
      if (!Advance()) return std::nullopt;
      return tree_.Text(token.text);
    case TokenKind::kName:
      return ParseName();
    case TokenKind::kOpen: {
      if (!Advance()) return std::nullopt;
      ++nesting_;
      const MaybeIndex inner = ParseOperators(kOr);
      --nesting_;
      if (!inner || !Expect(TokenKind::kClose, "a )")) return std::nullopt;
      return inner;
    }
    case TokenKind::kNot:
    case TokenKind::kMinus:
    case TokenKind::kPlus: {
      if (!Advance()) return std::nullopt;
      ++nesting_;
      const MaybeIndex operand =
          token.kind == TokenKind::kNot ? ParseOperators(kComparison) : ParseOperand();
      --nesting_;
      if (!operand) return operand;
      return tree_.Unary(token, *operand);
    }
    default:
      return tree_.Fail(token.position, "a value is missing");
  }
}

TreeBuilder::MaybeIndex Parser::ParseName() {
  Token name = token_;
  if (!Advance()) return std::nullopt;
  if (token_.kind == TokenKind::kOpen) return ParseCall(name);
  if (token_.kind == TokenKind::kArrow || token_.kind == TokenKind::kDot) {
    if (SameWord(name.text, "M")) {
      return tree_.Fail(name.position, "M names the variables of a program, not a table");
    }
    if (!Advance()) return std::nullopt;
    if (token_.kind != TokenKind::kName) {
      return tree_.Fail(token_.position, "a field name is missing after the alias");
    }
    name = token_;
    if (!Advance()) return std::nullopt;
    if (token_.kind == TokenKind::kOpen) {
      return tree_.Fail(name.position, "an alias goes before a field, not before a function");
    }
  }
  return tree_.Field(name);
}

TreeBuilder::MaybeIndex Parser::ParseCall(const Token& name) {
  if (!Advance()) return std::nullopt;
  std::vector<TreeBuilder::Index> arguments;
  ++nesting_;
  while (token_.kind != TokenKind::kClose) {
    const MaybeIndex argument = ParseOperators(kOr);
    if (!argument) return argument;
    arguments.push_back(*argument);
    if (token_.kind == TokenKind::kClose) break;
    if (!Expect(TokenKind::kComma, "a ) or a comma")) return std::nullopt;
    if (token_.kind == TokenKind::kClose) {
      return tree_.Fail(token_.position, "a value is missing");
    }
  }
  --nesting_;
  if (!Advance()) return std::nullopt;
  return tree_.Call(name, arguments);
}

}  // namespace pv::engine::expr
