// Compiles expressions. Tested by expression_syntax_test.cc, expression_value_test.cc and
// expression_twin_test.cc.
#include "tablestore/engine/expression/expression.h"

#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/expression/compiled_expression.h"
#include "tablestore/engine/expression/parser.h"
#include "tablestore/engine/expression/tree.h"

namespace pv::engine {
namespace {

// What a message shows of a text that is too long to be an expression.
constexpr std::size_t kShownText = 80;

Status BadExpression(const std::string& text, std::size_t position, const std::string& reason) {
  return Status(
      StatusCode::kInvalid,
      "expression \"" + text + "\", position " + std::to_string(position + 1) + ": " + reason,
      kErrExpression);
}

expr::Shape ShapeOf(const expr::TreeBuilder& tree, expr::TreeBuilder::Index root) {
  const expr::Node& n = tree.node(root);
  if (n.field != nullptr) return expr::Shape::kField;
  if (n.op == expr::Op::kDeleted) return expr::Shape::kDeleted;
  if (n.arguments != 1) return expr::Shape::kGeneral;
  const expr::Op operand = tree.node(n.child[0]).op;
  if (n.op == expr::Op::kUpper && operand == expr::Op::kTextField) {
    return expr::Shape::kUpperField;
  }
  if (n.op == expr::Op::kNot && operand == expr::Op::kDeleted) return expr::Shape::kNotDeleted;
  return expr::Shape::kGeneral;
}

}  // namespace

namespace expr {

Status CompiledExpression::Failure(StatusCode code, const std::string& reason,
                                   std::int32_t detail) const {
  return Status(code, "expression \"" + text_ + "\": " + reason, detail);
}

Result<bool> CompiledExpression::EvaluateLogical(const std::uint8_t* record,
                                                 std::uint32_t record_number) const {
  switch (facts_.shape) {
    case Shape::kDeleted:
      return record[0] == kDeletedMark;
    case Shape::kNotDeleted:
      return record[0] != kDeletedMark;
    default:
      break;
  }
  if (facts_.type != ValueType::kLogical) {
    return Failure(
        StatusCode::kInvalid,
        "a filter needs a logical value and this is " + std::string(TypeName(facts_.type)),
        kErrExpression);
  }
  return Evaluate(record, record_number, [](const Value& v) { return !v.null && v.number != 0; });
}

}  // namespace expr

Result<std::unique_ptr<Expression>> Expression::Compile(std::string_view text,
                                                        const RecordLayout& layout) {
  const bool too_long = text.size() > expr::kMaxTextLength;
  std::string shown = layout.page->Decode(text.substr(0, too_long ? kShownText : text.size()));
  if (too_long) {
    return BadExpression(
        shown + "...", expr::kMaxTextLength,
        "an expression has at most " + std::to_string(expr::kMaxTextLength) + " bytes");
  }
  expr::TreeBuilder tree(layout);
  const auto root = expr::Parser(text, &tree).Parse();
  if (!root) return BadExpression(shown, tree.error().position, tree.error().reason);

  const expr::Node& n = tree.node(*root);
  expr::CompiledExpression::Facts facts;
  facts.type = n.type;
  facts.shape = ShapeOf(tree, *root);
  facts.can_be_null = n.uses_nullable;
  facts.computed_width = n.computed_width;
  facts.utf16 = n.field != nullptr && n.utf16;
  facts.width = n.type == ValueType::kCharacter ? n.width : 0;
  std::unique_ptr<Expression> compiled = std::make_unique<expr::CompiledExpression>(
      std::move(shown), facts, tree.MakeProgram(*root), layout.page);
  return compiled;
}

}  // namespace pv::engine
