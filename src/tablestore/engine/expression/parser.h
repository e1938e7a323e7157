// Reads the text of an expression into a typed tree.
#ifndef PV_TABLESTORE_ENGINE_EXPRESSION_PARSER_H_
#define PV_TABLESTORE_ENGINE_EXPRESSION_PARSER_H_

#include <string_view>

#include "tablestore/engine/expression/token.h"
#include "tablestore/engine/expression/tree.h"

namespace pv::engine::expr {

// How deep parentheses, calls and prefix operators may stand in one another.
constexpr int kMaxNesting = 64;

class Parser {
 public:
  Parser(std::string_view text, TreeBuilder* tree) : tokenizer_(text), tree_(*tree) {}

  // The root of the whole text's tree; nothing when it is wrong, and the tree's error says why.
  TreeBuilder::MaybeIndex Parse();

 private:
  using MaybeIndex = TreeBuilder::MaybeIndex;

  bool Advance();
  bool Expect(TokenKind kind, const char* what);
  MaybeIndex ParseOperators(int weakest);
  MaybeIndex ParseOperand();
  MaybeIndex ParseName();
  MaybeIndex ParseCall(const Token& name);

  Tokenizer tokenizer_;
  TreeBuilder& tree_;
  Token token_;  // the one to be read next
  int nesting_ = 0;
};

}  // namespace pv::engine::expr

#endif  // PV_TABLESTORE_ENGINE_EXPRESSION_PARSER_H_
