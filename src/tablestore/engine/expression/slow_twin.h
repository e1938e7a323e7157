// A second, slow evaluator of expressions for tests: it walks a tree of its own and works on plain
// values, never on record bytes, and shares no code with the compiled one. Trees are random.
#ifndef PV_TABLESTORE_ENGINE_EXPRESSION_SLOW_TWIN_H_
#define PV_TABLESTORE_ENGINE_EXPRESSION_SLOW_TWIN_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "tablestore/engine/expression/test_table.h"

namespace pv::engine::expr {

// One row of the twins' table, as values.
struct TwinRow {
  std::uint32_t number = 0;
  bool deleted = false;
  std::string name;                  // C, 12
  std::string bin;                   // Z, 4
  std::string var;                   // V, up to 7
  std::optional<std::string> ntext;  // C, 6, can be null
  std::string amount;                // N, 10: the stored text
  std::int32_t id = 0;
  double rate = 0;         // may be no number
  std::int64_t price = 0;  // 1/10,000
  std::optional<std::int32_t> nint;
  std::int32_t born = 0;  // Julian day, 0 when empty
  std::optional<std::int32_t> ndate;
  std::int64_t seen = 0;  // seconds since Julian day 0, 0 when empty
  bool ok = false;
  std::optional<bool> nok;
};

struct TwinValue {
  char type = 'N';  // C N D T L
  bool null = false;
  double number = 0;
  std::string text;
};

struct TwinNode {
  std::string op;  // a field's name, an operator, a function's name, or "literal"
  char type = 'N';
  TwinValue value;  // of a literal
  std::string spelling;
  std::vector<std::unique_ptr<TwinNode>> children;
};

class SlowTwin {
 public:
  explicit SlowTwin(std::uint32_t seed) : random_(seed) {}

  static TestTable Table();
  static std::vector<std::uint8_t> Record(const TestTable& table, const TwinRow& row);

  TwinRow RandomRow();
  // A tree of the type (one of "CNDTL").
  std::unique_ptr<TwinNode> RandomTree(char type, int depth);
  // The tree as text, with no more parentheses than it needs but for a few at random.
  std::string Print(const TwinNode& node, int weakest = 1);

  static TwinValue Evaluate(const TwinNode& node, const TwinRow& row);
  // The key that a new tag on the tree has for the row; `length` is the key's.
  static std::string Key(const TwinNode& node, const TwinRow& row, std::size_t length,
                         bool nullable);

 private:
  using NodePtr = std::unique_ptr<TwinNode>;
  std::size_t Pick(std::size_t n) { return random_() % n; }
  bool Chance(std::size_t n) { return Pick(n) == 0; }
  std::string RandomText(std::size_t longest);
  std::int32_t RandomJulian();
  NodePtr Leaf(char type);
  NodePtr Literal(char type);
  NodePtr Count();
  NodePtr Make(char type, std::string op, std::vector<NodePtr> children);
  template <typename... Children>
  NodePtr Of(char type, std::string op, Children... children);

  std::mt19937 random_;
};

}  // namespace pv::engine::expr

#endif  // PV_TABLESTORE_ENGINE_EXPRESSION_SLOW_TWIN_H_
