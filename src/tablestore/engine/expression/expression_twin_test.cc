// Compiled expressions against a slow evaluator that shares no code with them.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "base/instrumented_test.h"
#include "tablestore/engine/expression/slow_twin.h"

namespace pv::engine::expr {
namespace {

constexpr int kExpressions = kInstrumented ? 24'000 : 120'000;
constexpr int kRowsEach = 3;

ValueType TypeOf(char letter) {
  switch (letter) {
    case 'C':
      return ValueType::kCharacter;
    case 'N':
      return ValueType::kNumeric;
    case 'D':
      return ValueType::kDate;
    case 'T':
      return ValueType::kDateTime;
    default:
      return ValueType::kLogical;
  }
}

TEST(ExpressionTwinTest, RandomExpressionsAgree) {
  constexpr std::uint32_t kSeed = 20261121;
  SlowTwin twin(kSeed);
  const TestTable table = SlowTwin::Table();
  std::map<char, int> compared;
  int nulls = 0;
  int keys = 0;
  int ordered = 0;
  for (int n = 0; n < kExpressions; ++n) {
    const char type = "CCNNDTLL"[n % 8];
    const auto tree = twin.RandomTree(type, 1 + n / 8 % 5);
    const std::string text = twin.Print(*tree);
    if (text.size() > 1024) continue;
    auto e = Expression::Compile(text, table.layout());
    ASSERT_TRUE(e.ok()) << e.status().message() << " (expression " << n << ")";
    ASSERT_EQ((*e)->type(), TypeOf(type)) << text;
    const std::size_t width = (*e)->width();

    TwinRow rows[kRowsEach];
    TwinValue values[kRowsEach];
    std::vector<std::uint8_t> records[kRowsEach];
    for (int r = 0; r < kRowsEach; ++r) {
      rows[r] = twin.RandomRow();
      values[r] = SlowTwin::Evaluate(*tree, rows[r]);
      records[r] = SlowTwin::Record(table, rows[r]);
      const PlainValue v = ValueOf(**e, records[r].data(), rows[r].number);
      ASSERT_EQ(v.null, values[r].null) << text;
      ++compared[type];
      if (v.null) {
        ++nulls;
      } else if (type == 'C') {
        ASSERT_EQ(v.text, values[r].text) << text;
        ASSERT_LE(v.text.size(), width) << text;
      } else {
        ASSERT_EQ(v.number, values[r].number) << text;
      }
      if (type == 'L') {
        const auto truth = (*e)->EvaluateLogical(records[r].data(), rows[r].number);
        ASSERT_TRUE(truth.ok());
        ASSERT_EQ(truth.value(), !values[r].null && values[r].number != 0) << text;
      }
    }

    const bool can_be_null = (*e)->can_be_null();
    const auto maker = KeyMaker::Create(std::move(*e), 0);
    const std::size_t natural = type == 'C' ? width + (can_be_null ? 1 : 0) : 1;
    ASSERT_EQ(maker.ok(), natural <= kMaxKeyLength && (type != 'C' || width > 0)) << text;
    if (!maker.ok()) continue;
    ASSERT_EQ(maker->nullable(), can_be_null);
    std::string made[kRowsEach];
    for (int r = 0; r < kRowsEach; ++r) {
      made[r].resize(maker->key_length());
      ASSERT_TRUE(maker
                      ->MakeKey(records[r].data(), rows[r].number,
                                reinterpret_cast<std::uint8_t*>(made[r].data()))
                      .ok());
      ASSERT_EQ(made[r], SlowTwin::Key(*tree, rows[r], maker->key_length(), maker->nullable()))
          << text;
      ++keys;
      if (r == 0 || values[r].null || values[0].null) continue;
      if (type == 'C') {
        std::string padded[2] = {values[0].text, values[r].text};
        for (std::string& p : padded) p.resize(width, ' ');
        ASSERT_EQ(made[0] < made[r], padded[0] < padded[1]) << text;
      } else if (tree->op == "PRICE") {  // its key is finer than a double
        ASSERT_EQ(made[0] < made[r], rows[0].price < rows[r].price) << text;
      } else {
        ASSERT_EQ(made[0] < made[r], values[0].number < values[r].number) << text;
      }
      ++ordered;
    }
  }
  for (const char type : {'C', 'N', 'D', 'T', 'L'})
    EXPECT_GT(compared[type], kExpressions / 12) << type;
  EXPECT_GT(nulls, kExpressions / 12);
  EXPECT_GT(keys, kExpressions * 5 / 6);
  EXPECT_GT(ordered, kExpressions * 5 / 12);
}

}  // namespace
}  // namespace pv::engine::expr
