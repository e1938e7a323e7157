// The typed tree between parser and program: what each operator and function takes and gives, and
// how wide its text can be. Constant parts are computed here, so that LEFT(name, 2 + 3) has a
// known width.
#ifndef PV_TABLESTORE_ENGINE_EXPRESSION_TREE_H_
#define PV_TABLESTORE_ENGINE_EXPRESSION_TREE_H_

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tablestore/engine/expression/expression.h"
#include "tablestore/engine/expression/program.h"
#include "tablestore/engine/expression/token.h"
#include "tablestore/engine/record_layout.h"

namespace pv::engine::expr {

struct Node {
  Op op = Op::kNumber;
  ValueType type = ValueType::kNumeric;
  std::uint8_t arguments = 0;  // how many of `child` are used
  std::array<std::uint16_t, 3> child{};
  Relation relation = Relation::kEqual;
  bool constant = false;  // reads no record
  bool uses_nullable = false;
  bool computed_width = false;  // a count in it is not constant: `width` is an upper bound
  bool utf16 = false;           // text with bytes of a Unicode field
  std::uint32_t width = 0;      // of text
  const FieldLayout* field = nullptr;
  double number = 0;  // of a kNumber
  std::string text;   // of a kText
};

struct ExpressionError {
  std::size_t position = 0;  // from 0
  std::string reason;
};

// Makes nodes from the leaves up; each function returns the index of the new node, or nothing and
// sets the error. Operands are indexes of nodes made before.
class TreeBuilder {
 public:
  using Index = std::uint16_t;
  using MaybeIndex = std::optional<Index>;

  explicit TreeBuilder(const RecordLayout& layout) : layout_(layout) {}

  MaybeIndex Number(double value, ValueType type);
  MaybeIndex Text(std::string_view text);
  MaybeIndex Field(const Token& name);
  MaybeIndex Unary(const Token& op, Index operand);
  MaybeIndex Binary(const Token& op, Index left, Index right);
  MaybeIndex Call(const Token& name, const std::vector<Index>& arguments);

  const Node& node(Index index) const { return nodes_[index]; }
  const ExpressionError& error() const { return error_; }
  MaybeIndex Fail(std::size_t position, std::string reason);

  // The program of the subtree at `root`.
  Program MakeProgram(Index root) const;
  // The instruction that reads the field of a field's node.
  Instruction FieldInstruction(const Node& node) const;

 private:
  MaybeIndex Add(Node node, std::size_t position);
  MaybeIndex Compare(const Token& op, Index left, Index right);
  MaybeIndex AddOrSubtract(const Token& op, Index left, Index right);
  Index ToDateTime(Index date);
  bool SetTextWidth(Node* node, std::size_t position);
  std::optional<double> Constant(Index index) const;

  const RecordLayout& layout_;
  std::vector<Node> nodes_;
  std::size_t text_made_ = 0;
  std::shared_ptr<const CaseMap> case_map_;
  ExpressionError error_;
};

// Whether `op` keeps its text in the program or puts it into the scratch area; others give a part
// of their operand's.
bool MakesText(Op op);

// "a number", "a date": for messages.
std::string_view TypeName(ValueType type);

}  // namespace pv::engine::expr

#endif  // PV_TABLESTORE_ENGINE_EXPRESSION_TREE_H_
