// The one implementation of Expression.
#ifndef PV_TABLESTORE_ENGINE_EXPRESSION_COMPILED_EXPRESSION_H_
#define PV_TABLESTORE_ENGINE_EXPRESSION_COMPILED_EXPRESSION_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "tablestore/engine/expression/expression.h"
#include "tablestore/engine/expression/program.h"

namespace pv::engine::expr {

// Forms that are common enough in tags to be evaluated without the machine.
enum class Shape : std::uint8_t {
  kGeneral,
  kField,       // a bare field: the program's only instruction
  kUpperField,  // UPPER() of a C field: the program's first instruction loads it
  kDeleted,
  kNotDeleted,
};

class CompiledExpression final : public Expression {
 public:
  struct Facts {
    ValueType type = ValueType::kNumeric;
    Shape shape = Shape::kGeneral;
    bool can_be_null = false;
    bool computed_width = false;  // width() is an upper bound: a count in it is computed
    bool utf16 = false;           // a bare Unicode field
    std::size_t width = 0;
  };

  CompiledExpression(std::string text, const Facts& facts, Program program,
                     std::shared_ptr<const CodePage> page)
      : text_(std::move(text)),
        facts_(facts),
        program_(std::move(program)),
        page_(std::move(page)) {}

  ValueType type() const override { return facts_.type; }
  bool can_be_null() const override { return facts_.can_be_null; }
  std::size_t width() const override { return facts_.width; }
  Result<bool> EvaluateLogical(const std::uint8_t* record,
                               std::uint32_t record_number) const override;

  const Facts& facts() const { return facts_; }
  const Program& program() const { return program_; }
  const CodePage& page() const { return *page_; }

  // The failure `reason` with the expression's text before it.
  Status Failure(StatusCode code, const std::string& reason, std::int32_t detail) const;

  // Gives the value on a record to `use`. It is good only during the call.
  template <typename Use>
  auto Evaluate(const std::uint8_t* record, std::uint32_t record_number, Use use) const {
    return expr::Evaluate(program_, record, record_number, use);
  }

 private:
  std::string text_;  // UTF-8, for messages
  Facts facts_;
  Program program_;
  std::shared_ptr<const CodePage> page_;
};

}  // namespace pv::engine::expr

#endif  // PV_TABLESTORE_ENGINE_EXPRESSION_COMPILED_EXPRESSION_H_
