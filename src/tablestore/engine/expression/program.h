// What a compiled expression runs as: a flat list of instructions for a small stack machine.
//
//   name + STR(age, 3)   =>   load name; load age; number 3; STR; join
//
// Every text that an instruction makes has its own place in the scratch area, given to it when
// the program is made; so running allocates nothing and cannot need more than scratch_size().
#ifndef PV_TABLESTORE_ENGINE_EXPRESSION_PROGRAM_H_
#define PV_TABLESTORE_ENGINE_EXPRESSION_PROGRAM_H_

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/code_page.h"

namespace pv::engine::expr {

// The most bytes of text that one evaluation may make; also the longest text.
constexpr std::size_t kMaxScratch = 65'500;
// Every value on the stack comes from a token of its own.
constexpr std::size_t kMaxStack = 1024;
// A count that is computed, not written, is cut to this when it makes text.
constexpr int kMaxComputedCount = 254;

enum class Op : std::uint8_t {
  // Values. Dates are numbers (Julian day, 0 when empty), date-times are seconds since Julian
  // day 0, logical values are 0 and 1.
  kNumber,
  kText,
  kTextField,
  kVarTextField,
  kDecimalField,
  kIntegerField,
  kDoubleField,
  kCurrencyField,
  kDateField,
  kDateTimeField,
  kLogicalField,
  kRecno,
  kDeleted,
  // Two operands.
  kAdd,
  kSubtract,
  kMultiply,
  kDivide,
  kPower,
  kAddToDate,
  kSubtractFromDate,
  kAddToDateTime,
  kSubtractFromDateTime,
  kJoin,
  kJoinTrimmed,  // blanks at the end of the left operand go to the end of the result
  kCompareNumbers,
  kCompareTexts,
  kEqualTexts,  // blank-padded
  kContainedIn,
  kAnd,
  kOr,
  // One operand.
  kNegate,
  kNot,
  kDateTimeFromDate,
  kDateFromDateTime,
  // Functions.
  kUpper,
  kLower,
  kTrimLeft,
  kTrimRight,
  kTrimBoth,
  kLeft,
  kRight,
  kSubstr,
  kPadLeft,
  kPadRight,
  kSpace,
  kStr,
  kVal,
  kInt,
  kAbs,
  kRound,
  kChr,
  kAsc,
  kLen,
  kAt,
  kDtos,
  kDtoc,
  kCtod,
  kStod,
  kYear,
  kMonth,
  kDay,
  kIif,  // in trees only: jumps in a program
  kEmptyText,
  kEmptyNumber,  // also dates and logical values
  kIsNull,
  kBinToC,
  // Jumps, in programs only.
  kJump,
  kJumpUnlessTrue,  // takes the condition off the stack
  kJumpIfFalse,     // leaves it there
  kJumpIfTrue,      // leaves it there
};

enum class Relation : std::uint8_t {
  kEqual,
  kNotEqual,
  kLess,
  kLessEqual,
  kGreater,
  kGreaterEqual,
};

struct Instruction {
  Op op = Op::kNumber;
  std::uint8_t arguments = 0;  // of a function whose last ones can be left out
  Relation relation = Relation::kEqual;
  bool left_in_place = false;    // kJoin...: the left operand stands in this buffer already
  std::uint8_t null_mask = 0;    // of a field: its bit in the byte at null_offset, or 0
  std::uint8_t length_mask = 0;  // of kVarTextField: as null_mask, at length_offset
  std::uint16_t index = 0;       // of a constant; target of a jump
  std::uint32_t offset = 0;      // of the field in the record; of the buffer in the scratch
  std::uint32_t size = 0;        // of the field; of the buffer
  std::uint32_t null_offset = 0;
  std::uint32_t length_offset = 0;
};

// A value on the machine's stack. Numbers are always finite: what cannot be computed is null.
struct Value {
  double number;
  const char* data;    // texts only: in the record, the program's constants or the scratch
  std::uint32_t size;  // texts only
  bool null;

  std::string_view text() const { return {data, size}; }
};

// How single bytes change under UPPER and LOWER; bytes of double-byte pages go to the page.
struct CaseMap {
  explicit CaseMap(std::shared_ptr<const CodePage> code_page);
  void Upper(const char* in, std::size_t size, char* out) const;
  void Lower(const char* in, std::size_t size, char* out) const;

  std::shared_ptr<const CodePage> page;
  std::array<char, 256> upper{};
  std::array<char, 256> lower{};
  bool plain_ascii = false;  // bytes below 0x80 change as in ASCII, so words of them can
};

struct Program {
  std::vector<Instruction> code;
  std::vector<double> numbers;
  std::vector<std::string> texts;
  std::shared_ptr<const CaseMap> case_map;  // null unless UPPER or LOWER is used
  std::size_t stack_size = 0;
  std::size_t scratch_size = 0;
};

// Runs `program` on a record (null for a program that reads none). `stack` and `scratch` have the
// sizes that the program states. The value's text is good while record, program and scratch are.
Value Run(const Program& program, const std::uint8_t* record, std::uint32_t record_number,
          Value* stack, char* scratch);

// The value of a field instruction alone.
Value LoadField(const Instruction& field, const std::uint8_t* record);

inline bool IsFieldNull(const Instruction& field, const std::uint8_t* record) {
  return field.null_mask != 0 && (record[field.null_offset] & field.null_mask) != 0;
}

namespace internal {
template <std::size_t kStack, std::size_t kScratch, typename Use>
[[gnu::noinline]] auto RunIn(const Program& program, const std::uint8_t* record,
                             std::uint32_t record_number, Use& use) {
  Value stack[kStack];
  char scratch[kScratch];
  return use(Run(program, record, record_number, stack, scratch));
}
}  // namespace internal

// Runs `program` with its working memory on the stack and gives the value to `use`.
template <typename Use>
auto Evaluate(const Program& program, const std::uint8_t* record, std::uint32_t record_number,
              Use use) {
  constexpr std::size_t kFewValues = 16;
  constexpr std::size_t kLittleScratch = 1024;
  if (program.stack_size <= kFewValues && program.scratch_size <= kLittleScratch) {
    return internal::RunIn<kFewValues, kLittleScratch>(program, record, record_number, use);
  }
  return internal::RunIn<kMaxStack, kMaxScratch>(program, record, record_number, use);
}

}  // namespace pv::engine::expr

#endif  // PV_TABLESTORE_ENGINE_EXPRESSION_PROGRAM_H_
