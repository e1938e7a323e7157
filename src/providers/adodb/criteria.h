// The criteria of Recordset.Find and Filter, and the keys of Sort.
#ifndef PV_PROVIDERS_ADODB_CRITERIA_H_
#define PV_PROVIDERS_ADODB_CRITERIA_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "providers/adodb/columns.h"
#include "pvgroupman/automation/value.h"

namespace pv::adodb {

// Gives the value of a column of the row in question.
using ValueOf = std::function<automation::Value(std::size_t column)>;

// Conditions like "country = 'DE' AND (age >= 18 OR name LIKE 'a*')". A field is a word, or stands
// in [brackets] or "quotes"; a value is 'text' (quotes doubled inside), #a date#, a number, or
// null. Letter case makes no difference; "*" and "%" stand for anything in LIKE. Null compares
// with null only.
class Criteria {
 public:
  // kInvalid with number 3001, or 3265 for a field that is not there. With `single` only one
  // comparison is allowed, as in Find.
  static Result<Criteria> Parse(std::string_view text, const std::vector<Column>& columns,
                                bool single);

  bool Matches(const ValueOf& value_of) const { return Evaluate(0, value_of); }

 private:
  friend class CriteriaParser;
  enum class Operator : std::uint8_t { kEqual, kUnequal, kLess, kAtMost, kMore, kAtLeast, kLike };
  struct Node {
    enum class Type : std::uint8_t { kAnd, kOr, kCompare } type = Type::kCompare;
    std::size_t left = 0;
    std::size_t right = 0;
    std::size_t column = 0;
    Operator op = Operator::kEqual;
    automation::Value value;
  };
  bool Evaluate(std::size_t node, const ValueOf& value_of) const;

  std::vector<Node> nodes_;  // the first is the root
};

// One key of an order.
struct SortKey {
  std::size_t column = 0;
  bool descending = false;
};

// "name, age DESC"; an empty text gives no keys.
Result<std::vector<SortKey>> ParseSort(std::string_view text, const std::vector<Column>& columns);

// -1, 0 or 1. Null comes before everything, text without regard to letter case; exact numbers
// that travel as text compare as numbers.
int CompareValues(const automation::Value& a, const automation::Value& b, Kind kind);

}  // namespace pv::adodb

#endif  // PV_PROVIDERS_ADODB_CRITERIA_H_
