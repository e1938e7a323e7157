// The input is a line with an expression and, behind it, the bytes of a record: compiled, turned
// into keys, evaluated. It must not read beyond the record nor change it, and must give the same
// value each time.
#include "tablestore/engine/expression/expression.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/require.h"
#include "tablestore/engine/expression/test_table.h"

namespace {

using namespace pv::engine;  // NOLINT

const expr::TestTable& Table() {
  static const expr::TestTable table = [] {
    expr::TestTable t;
    t.Add("NAME", FieldLetter::kCharacter, 12).Add("BIN", FieldLetter::kCharacterBinary, 4);
    t.Add("WIDE", FieldLetter::kUnicode, 8).Add("VAR", FieldLetter::kVarchar, 8);
    t.Add("AMOUNT", FieldLetter::kNumeric, 10, false, 2).Add("ID", FieldLetter::kInteger, 4);
    t.Add("RATE", FieldLetter::kDouble, 8).Add("PRICE", FieldLetter::kCurrency, 8);
    t.Add("BORN", FieldLetter::kDate, 8).Add("SEEN", FieldLetter::kDateTime, 8);
    t.Add("OK", FieldLetter::kLogical, 1).Add("NOTE", FieldLetter::kMemo, 4);
    t.Add("NTEXT", FieldLetter::kCharacter, 6, true).Add("NINT", FieldLetter::kInteger, 4, true);
    return t;
  }();
  return table;
}

std::string KeyOf(const KeyMaker& maker, const std::uint8_t* record) {
  // Its exact size, so that a byte too many is seen.
  const auto key = std::make_unique<std::uint8_t[]>(maker.key_length());
  if (!maker.MakeKey(record, 7, key.get()).ok()) return "";
  return {reinterpret_cast<const char*>(key.get()), maker.key_length()};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t line = std::min(input.find('\n'), size);
  const std::string_view rest = input.substr(std::min(line + 1, size));

  const RecordLayout& layout = Table().layout();
  const std::vector<std::uint8_t> blank = Table().NewRecord();
  const auto record = std::make_unique<std::uint8_t[]>(blank.size());
  std::copy(blank.begin(), blank.end(), record.get());
  std::memcpy(record.get(), rest.data(), std::min(rest.size(), blank.size()));
  const std::vector<std::uint8_t> before(record.get(), record.get() + blank.size());

  auto expression = Expression::Compile(input.substr(0, line), layout);
  if (!expression.ok()) {
    PV_REQUIRE(!expression.status().message().empty());
    return 0;
  }
  const std::size_t width = (*expression)->width();
  const expr::PlainValue value = expr::ValueOf(**expression, record.get(), 7);
  const expr::PlainValue again = expr::ValueOf(**expression, record.get(), 7);
  PV_REQUIRE(value.null == again.null && value.text == again.text);
  PV_REQUIRE(std::memcmp(&value.number, &again.number, sizeof value.number) == 0);
  if ((*expression)->type() == ValueType::kCharacter) PV_REQUIRE(value.text.size() <= width);
  if ((*expression)->type() == ValueType::kLogical) {
    const auto truth = (*expression)->EvaluateLogical(record.get(), 7);
    PV_REQUIRE(!truth.ok() || *truth == (!value.null && value.number != 0));
  }

  const auto maker = KeyMaker::Create(std::move(*expression), 0);
  if (!maker.ok()) return 0;
  PV_REQUIRE(maker->key_length() > 0 && maker->key_length() <= kMaxKeyLength);
  PV_REQUIRE(KeyOf(*maker, record.get()) == KeyOf(*maker, record.get()));
  const auto key = std::make_unique<std::uint8_t[]>(maker->key_length());
  std::size_t exact = 0;
  maker->KeyFromText(rest, key.get(), &exact);
  PV_REQUIRE(exact <= maker->key_length());
  PV_REQUIRE(std::equal(before.begin(), before.end(), record.get()));
  return 0;
}
