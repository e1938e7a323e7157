// Lays a typed tree out as a program. Tested by expression_value_test.cc and
// expression_twin_test.cc.
#include <algorithm>

#include "tablestore/engine/expression/tree.h"

namespace pv::engine::expr {
namespace {

bool IsJoin(Op op) { return op == Op::kJoin || op == Op::kJoinTrimmed; }

bool IsBinary(const Node& n) { return n.arguments == 2 && n.op >= Op::kAdd && n.op <= Op::kOr; }

class Emitter {
 public:
  Emitter(const TreeBuilder& tree, Program* program) : tree_(tree), program_(*program) {}

  // Appends what leaves the value of `root` on the stack. The left operands of a long chain
  // (a + b + c ...) are followed in a loop, so the recursion is as deep as the text is nested.
  void Emit(TreeBuilder::Index root) {
    std::vector<const Node*> chain;  // outermost first
    const Node* first = &tree_.node(root);
    while (IsBinary(*first)) {
      chain.push_back(first);
      first = &tree_.node(first->child[0]);
    }
    EmitOperand(*first);
    std::uint32_t buffer = 0;
    bool in_place = false;
    for (std::size_t i = chain.size(); i-- > 0;) {
      const Node& n = *chain[i];
      if (!IsJoin(n.op)) {
        in_place = false;
        EmitBinary(n);
        continue;
      }
      if (!in_place) {
        // Joins that follow one another share the buffer of the last, the widest.
        std::size_t last = i;
        while (last > 0 && IsJoin(chain[last - 1]->op)) --last;
        buffer = Reserve(chain[last]->width);
      }
      Emit(n.child[1]);
      Instruction& join = Append(n.op, 2, 1);
      join.left_in_place = in_place;
      join.offset = buffer;
      in_place = true;
    }
  }

 private:
  Instruction& Append(Op op, int taken, int left) {
    program_.code.emplace_back();
    program_.code.back().op = op;
    depth_ += left - taken;
    program_.stack_size = std::max(program_.stack_size, static_cast<std::size_t>(depth_));
    return program_.code.back();
  }

  // A jump, whose target Land sets; it takes so many values off the stack.
  std::size_t AppendJump(Op op, int taken) {
    Append(op, taken, 0);
    return program_.code.size() - 1;
  }
  void Land(std::size_t jump) {
    program_.code[jump].index = static_cast<std::uint16_t>(program_.code.size());
  }

  std::uint32_t Reserve(std::uint32_t size) {
    const auto offset = static_cast<std::uint32_t>(program_.scratch_size);
    program_.scratch_size += size;
    return offset;
  }

  void EmitBinary(const Node& n) {
    if (n.op == Op::kAnd || n.op == Op::kOr) {
      const std::size_t jump = AppendJump(n.op == Op::kAnd ? Op::kJumpIfFalse : Op::kJumpIfTrue, 0);
      Emit(n.child[1]);
      Append(n.op, 2, 1);
      Land(jump);
    } else {
      Emit(n.child[1]);
      Append(n.op, 2, 1).relation = n.relation;
    }
  }

  void EmitOperand(const Node& n) {
    switch (n.op) {
      case Op::kNumber:
        Append(n.op, 0, 1).index = static_cast<std::uint16_t>(program_.numbers.size());
        program_.numbers.push_back(n.number);
        return;
      case Op::kText:
        Append(n.op, 0, 1).index = static_cast<std::uint16_t>(program_.texts.size());
        program_.texts.push_back(n.text);
        return;
      case Op::kIif:
        EmitIif(n);
        return;
      default:
        break;
    }
    if (n.field != nullptr) {
      Append(n.op, 0, 1) = tree_.FieldInstruction(n);
      return;
    }
    for (std::size_t i = 0; i < n.arguments; ++i) Emit(n.child[i]);
    Instruction& i = Append(n.op, n.arguments, 1);
    i.arguments = n.arguments;
    if (MakesText(n.op)) {
      i.size = n.width;
      i.offset = Reserve(n.width);
    }
  }

  void EmitIif(const Node& n) {
    Emit(n.child[0]);
    const std::size_t to_no = AppendJump(Op::kJumpUnlessTrue, 1);
    Emit(n.child[1]);
    const std::size_t to_end = AppendJump(Op::kJump, 0);
    --depth_;  // only one of the two branches leaves its value
    Land(to_no);
    Emit(n.child[2]);
    Land(to_end);
  }

  const TreeBuilder& tree_;
  Program& program_;
  int depth_ = 0;
};

}  // namespace

bool MakesText(Op op) {
  switch (op) {
    case Op::kText:
    case Op::kJoin:
    case Op::kJoinTrimmed:
    case Op::kUpper:
    case Op::kLower:
    case Op::kPadLeft:
    case Op::kPadRight:
    case Op::kSpace:
    case Op::kStr:
    case Op::kChr:
    case Op::kDtos:
    case Op::kDtoc:
    case Op::kBinToC:
      return true;
    default:
      return false;
  }
}

Instruction TreeBuilder::FieldInstruction(const Node& n) const {
  const FieldLayout& f = *n.field;
  Instruction i;
  i.op = n.op;
  i.offset = f.offset;
  i.size = f.length;
  if (f.nullable) {
    i.null_offset = layout_.null_flags_offset + f.null_bit / 8u;
    i.null_mask = static_cast<std::uint8_t>(1u << (f.null_bit % 8));
  }
  if (n.op == Op::kVarTextField && layout_.null_flags_offset != 0) {
    i.length_offset = layout_.null_flags_offset + f.length_bit / 8u;
    i.length_mask = static_cast<std::uint8_t>(1u << (f.length_bit % 8));
  }
  return i;
}

Program TreeBuilder::MakeProgram(Index root) const {
  Program program;
  Emitter(*this, &program).Emit(root);
  program.case_map = case_map_;
  return program;
}

}  // namespace pv::engine::expr
