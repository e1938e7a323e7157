// Conditions as people write them, and as a database wants them.
#ifndef PV_CLI_FIELDS_CONDITIONS_H_
#define PV_CLI_FIELDS_CONDITIONS_H_

#include <string>
#include <string_view>
#include <vector>

namespace pv::cli {

// One condition of --where.
struct WrittenCondition {
  struct Value {
    std::string text;
    bool quoted = false;  // stood between apostrophes
  };
  std::string logical;  // "and" or "or"; of the first "and"
  std::string field;    // without quotes
  std::string op;       // "=", "<>", "<", "<=", ">", ">=", "like", "not like", "in", "not in",
                        // "between", "not between", "is", "is not"
  std::vector<Value> values;  // two of between, any number of in; of "is" one, "null"
};

// Reads FIELD OPERATOR VALUE, joined by "and" and "or":
//   country = DE and "first name" like 'A%' or age between 18 and 30
// A field name with blanks or signs stands between quotes, back-quotes or brackets. A value may
// stand between apostrophes (doubled inside) and must where it holds "and" or "or" as a word.
// Throws Failure kUsage, saying where.
std::vector<WrittenCondition> ParseConditions(std::string_view text);

// What the values of a field are, as far as quoting minds.
enum class ValueKind { kText, kNumber, kPlain };

// The value as a statement has it: text between apostrophes, numbers as they are (kUsage when one
// is none), kPlain by what it looks like. `double_backslashes` for databases in which "\" begins an
// escape.
std::string SqlLiteral(const WrittenCondition::Value& value, ValueKind kind,
                       bool double_backslashes, const std::string& field);

// All values of a condition, as they stand behind its operator.
std::string SqlValue(const WrittenCondition& condition, ValueKind kind, bool double_backslashes);

// How people are shown an operator.
std::string OperatorText(const std::string& op);

}  // namespace pv::cli

#endif  // PV_CLI_FIELDS_CONDITIONS_H_
