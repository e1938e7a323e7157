// One test for each row of what a store type reads as and how it is written.
#include <limits>

#include "base/date.h"
#include "tablestore/table_fixture_test.h"
#include "tablestore/table_record_view.h"

namespace pv::tablestore {
namespace {

using automation::Currency;
using automation::Date;
using automation::ValueType;

class FieldValuesTest : public TableTest {
 protected:
  // The letter of field F of a table.
  static char LetterOf(const Ref<Recipients>& cursor) {
    return static_cast<char>(engine::f4type(engine::d4field(cursor->GetTableHandle(), "F")));
  }
  static Error UpdateError(const Ref<Recipients>& cursor, const Value& value) {
    Set(cursor, "F", value);
    return ErrorFrom([&] { cursor->Update(); });
  }
};

const double kLeapDay = AutomationFromDateTime({{2024, 2, 29}, 0, 0, 0});
const double kMoment = AutomationFromDateTime({{2024, 2, 29}, 13, 45, 10});

TEST_F(FieldValuesTest, CharacterLosesTrailingBlanksAndKeepsLeadingOnes) {
  const auto cursor = MakeOne(FieldType::kCharacter, 8);
  EXPECT_EQ(LetterOf(cursor), 'C');
  EXPECT_EQ(Through(cursor, "  a b   "), Value("  a b"));
  EXPECT_EQ(Through(cursor, 12.5), Value("12.5"));
  EXPECT_EQ(Through(cursor, true), Value("True"));
  EXPECT_EQ(Through(cursor, "much too long"), Value("much too"));
  EXPECT_EQ(Through(cursor, Value()), Value(""));
  EXPECT_EQ(Through(cursor, "naïve"), Value("naïve"));
}

TEST_F(FieldValuesTest, UnicodeIsCutAtTheFirstZero) {
  const auto cursor = MakeOne(FieldType::kUnicode, 20);
  EXPECT_EQ(LetterOf(cursor), 'W');
  EXPECT_EQ(Through(cursor, "Żółć  "), Value("Żółć  "));
  EXPECT_EQ(Through(cursor, std::string("ab\0cd", 5)), Value("ab"));
  EXPECT_EQ(Through(cursor, Value()), Value(""));
}

TEST_F(FieldValuesTest, NumericIsADouble) {
  const auto cursor = MakeOne(FieldType::kNumeric, 8, 2);
  EXPECT_EQ(LetterOf(cursor), 'N');
  EXPECT_EQ(Through(cursor, 12.25), Value(12.25));
  EXPECT_EQ(Through(cursor, "-3.5"), Value(-3.5));
  EXPECT_EQ(Through(cursor, 7), Value(7.0));
  EXPECT_EQ(Through(cursor, Value()), Value(0.0));
  EXPECT_EQ(Through(cursor, Value::Null()), Value(0.0));
  EXPECT_EQ(Through(cursor, ""), Value(0.0));
}

TEST_F(FieldValuesTest, FloatIsADouble) {
  const auto cursor = MakeOne(FieldType::kFloat, 10, 3);
  EXPECT_EQ(LetterOf(cursor), 'F');
  EXPECT_EQ(Through(cursor, 0.125), Value(0.125));
  EXPECT_EQ(Through(cursor, Value::Null()), Value(0.0));
}

TEST_F(FieldValuesTest, DoubleReadsAsADoubleAndIsWrittenFromItsText) {
  for (const FieldType type : {FieldType::kDouble, FieldType::kBinary}) {
    const auto cursor = MakeOne(type, 8);
    EXPECT_EQ(LetterOf(cursor), 'B');
    EXPECT_EQ(Through(cursor, 0.1), Value(0.1));
    EXPECT_EQ(Through(cursor, 1.5e300), Value(1.5e300));
    EXPECT_EQ(Through(cursor, "-2.5"), Value(-2.5));
    EXPECT_EQ(Through(cursor, Value()), Value(0.0));
  }
}

TEST_F(FieldValuesTest, IntegerIsThirtyTwoBits) {
  const auto cursor = MakeOne(FieldType::kInteger, 4);
  EXPECT_EQ(LetterOf(cursor), 'I');
  EXPECT_EQ(Through(cursor, -2147483647), Value(-2147483647));
  EXPECT_EQ(Through(cursor, 2.5), Value(2));
  EXPECT_EQ(Through(cursor, "41"), Value(41));
  EXPECT_EQ(Through(cursor, Value()), Value(0));
  EXPECT_EQ(Through(cursor, Value::Null()), Value(0));
}

TEST_F(FieldValuesTest, CurrencyIsExact) {
  const auto cursor = MakeOne(FieldType::kCurrency, 8);
  EXPECT_EQ(LetterOf(cursor), 'Y');
  const std::int64_t big = 9'007'199'254'740'993;
  EXPECT_EQ(Through(cursor, Currency{big}), Value(Currency{big}));
  EXPECT_EQ(Through(cursor, Currency{std::numeric_limits<std::int64_t>::min()}),
            Value(Currency{std::numeric_limits<std::int64_t>::min()}));
  EXPECT_EQ(Through(cursor, 12.5), Value(Currency{125'000}));
  EXPECT_EQ(Through(cursor, "0.0001"), Value(Currency{1}));
  EXPECT_EQ(Through(cursor, Value()), Value(Currency{0}));
  EXPECT_EQ(Through(cursor, Value::Null()), Value(Currency{0}));
}

TEST_F(FieldValuesTest, LogicalIsABoolean) {
  const auto cursor = MakeOne(FieldType::kLogical, 1);
  EXPECT_EQ(LetterOf(cursor), 'L');
  EXPECT_EQ(Through(cursor, true), Value(true));
  EXPECT_EQ(Through(cursor, -1), Value(true));
  EXPECT_EQ(Through(cursor, "True"), Value(true));
  EXPECT_EQ(Through(cursor, false), Value(false));
  EXPECT_EQ(Through(cursor, Value()), Value(false));
  EXPECT_EQ(Through(cursor, Value::Null()), Value(false));
}

TEST_F(FieldValuesTest, LogicalWrittenFromFalseStoresF) {
  const auto cursor = MakeOne(FieldType::kLogical, 1);
  EXPECT_EQ(Through(cursor, false), Value(false));
  const engine::Handle field = engine::d4field(cursor->GetTableHandle(), "F");
  EXPECT_EQ(*engine::f4ptr(field), 'F');
}

TEST_F(FieldValuesTest, DateIsADate) {
  const auto cursor = MakeOne(FieldType::kDate, 8);
  EXPECT_EQ(LetterOf(cursor), 'D');
  EXPECT_EQ(Through(cursor, Date{kLeapDay}), Value(Date{kLeapDay}));
  EXPECT_EQ(Through(cursor, Date{kMoment}), Value(Date{kLeapDay})) << "the time is left out";
  EXPECT_EQ(Through(cursor, "2024-02-29"), Value(Date{kLeapDay}));
  EXPECT_EQ(Through(cursor, "20240229"), Value(Date{kLeapDay}));
  EXPECT_EQ(Through(cursor, kLeapDay), Value(Date{kLeapDay}));
}

TEST_F(FieldValuesTest, DateHoldingNoDateReadsAsEmptyText) {
  const auto cursor = MakeOne(FieldType::kDate, 8);
  EXPECT_EQ(Through(cursor, Value()), Value(""));
  EXPECT_EQ(engine::f4long(engine::d4field(cursor->GetTableHandle(), "F")), 0)
      << "an empty value writes Julian day 0";
  EXPECT_EQ(Through(cursor, Value::Null()), Value(""));
  EXPECT_EQ(Through(cursor, ""), Value(""));
}

TEST_F(FieldValuesTest, DateTimeIsDateAndTimeInOne) {
  const auto cursor = MakeOne(FieldType::kDateTime, 8);
  EXPECT_EQ(LetterOf(cursor), 'T');
  const Value back = Through(cursor, Date{kMoment});
  ASSERT_EQ(back.type(), ValueType::kDate);
  EXPECT_DOUBLE_EQ(back.TryGet<Date>()->days, kMoment);
  EXPECT_DOUBLE_EQ(Through(cursor, "2024-02-29 13:45:10").ToDate().days, kMoment);
  EXPECT_DOUBLE_EQ(Through(cursor, "2024022913:45:10").ToDate().days, kMoment);
  EXPECT_EQ(Through(cursor, Value()), Value(""));
  EXPECT_EQ(Through(cursor, Value::Null()), Value(""));
}

TEST_F(FieldValuesTest, MemosAreText) {
  for (const auto& [type, letter] :
       {std::pair{FieldType::kMemo, 'M'}, {FieldType::kMemoBinary, 'X'}}) {
    const auto cursor = MakeOne(type, 4);
    EXPECT_EQ(LetterOf(cursor), letter);
    const std::string text(70'000, 'z');
    EXPECT_TRUE(Through(cursor, text) == Value(text));
    EXPECT_EQ(Through(cursor, "two\r\nlines  "), Value("two\r\nlines  "));
    EXPECT_EQ(Through(cursor, 3), Value("3"));
    EXPECT_EQ(Through(cursor, Value()), Value(""));
  }
}

TEST_F(FieldValuesTest, BinaryCharacterIsTextOfFullWidth) {
  const auto cursor = MakeOne(FieldType::kCharacterBinary, 6);
  EXPECT_EQ(LetterOf(cursor), 'Z');
  EXPECT_EQ(Through(cursor, "ab"), Value("ab    "));
  EXPECT_EQ(Through(cursor, "a\x01\xC2\x81z"), Value("a\x01\xC2\x81z  "));
}

TEST_F(FieldValuesTest, GeneralIsTextOfFullWidthBothWays) {
  const auto cursor = MakeOne(FieldType::kGeneral, 4);
  EXPECT_EQ(LetterOf(cursor), 'G');
  const Value back = Through(cursor, "abcd");
  EXPECT_EQ(back, Value("abcd"));
}

TEST_F(FieldValuesTest, FieldThatAcceptsNullsReadsAsNull) {
  for (const FieldType type :
       {FieldType::kCharacter, FieldType::kNumeric, FieldType::kDate, FieldType::kLogical,
        FieldType::kInteger, FieldType::kMemo, FieldType::kDateTime, FieldType::kUnicode}) {
    const auto cursor = MakeOne(type, 8, 0, true);
    EXPECT_EQ(Through(cursor, Value::Null()).type(), ValueType::kNull) << static_cast<int>(type);
    EXPECT_NE(Through(cursor, Value()).type(), ValueType::kNull)
        << "Empty does not make a field null: " << static_cast<int>(type);
  }
}

TEST_F(FieldValuesTest, WritingAValueTakesTheNullAway) {
  const auto cursor = MakeOne(FieldType::kCharacter, 8, 0, true);
  EXPECT_TRUE(Through(cursor, Value::Null()).IsNull());
  EXPECT_EQ(Through(cursor, "x"), Value("x"));
}

TEST_F(FieldValuesTest, ValueOfTheWrongKindIs13AndNothingIsWritten) {
  for (const FieldType type :
       {FieldType::kNumeric, FieldType::kInteger, FieldType::kLogical, FieldType::kDate}) {
    const auto cursor = MakeOne(type, 8);
    const Error e = UpdateError(cursor, "certainly not");
    EXPECT_EQ(e.number(), 13) << static_cast<int>(type);
    EXPECT_EQ(e.source(), "Update");
    EXPECT_EQ(cursor->GetRecordCount(), 0);
  }
}

TEST_F(FieldValuesTest, IntegerThatDoesNotFitIs6) {
  const auto cursor = MakeOne(FieldType::kInteger, 4);
  EXPECT_EQ(UpdateError(cursor, 3e9).number(), 6);
}

TEST_F(FieldValuesTest, ValueThatTheFieldCannotHoldCarriesTheEnginesCode) {
  for (const auto& [type, value] : {std::pair{FieldType::kNumeric, Value(1e9)},
                                    {FieldType::kCurrency, Value(1e15)},
                                    {FieldType::kDateTime, Value("no moment")}}) {
    const auto cursor = MakeOne(type, 5);
    const Error e = UpdateError(cursor, value);
    EXPECT_EQ(e.number(), -630);
    EXPECT_EQ(e.source(), "Update");
    EXPECT_NE(e.description().find("field F: the value does not fit"), std::string::npos)
        << e.description();
    EXPECT_EQ(cursor->GetRecordCount(), 0);
  }
}

TEST_F(FieldValuesTest, ObjectsAndArraysAreNoValues) {
  const auto cursor = MakeOne(FieldType::kCharacter, 8);
  EXPECT_EQ(UpdateError(cursor, Value(database_)).number(), 13);
  EXPECT_EQ(UpdateError(cursor, Value(automation::Bytes{1})).number(), 13);
}

TEST_F(FieldValuesTest, UnknownLetterFailsInReadingAndWriting) {
  EXPECT_FALSE(IsKnownLetter('V'));
  EXPECT_FALSE(IsKnownLetter('\0'));
  const auto page = CodePage::Windows1252();
  TableRecordView::Column column;
  column.letter = 'V';
  Value value;
  ExpectError(ErrorFrom([&] { ReadField(0, column, *page, &value); }), 2404, "ReadRecordBuffer",
              "Data type not handled <V> in RecordBuffer.");
  ExpectError(ErrorFrom([&] { StoreField(column, Value("x"), *page); }), 2404, "Update",
              "Unhandled type : V in Update method.");
}

TEST_F(FieldValuesTest, TextIsInThePageOfTheTable) {
  machine_.process.environment["PVGROUP_CODEPAGE"] = "1250";
  const auto database = automation::MakeObject<Database>();
  const auto cursor =
      database->CreateTable("/data", "pl.pvg", {{"F", FieldType::kCharacter, 6, 0, false}}, {});
  cursor->AddNew();
  EXPECT_EQ(Through(cursor, "żółw→"), Value("żółw?"));
  const std::string bytes = machine_.files.Get("/data/pl.pvg");
  EXPECT_NE(bytes.find("\xBF\xF3\xB3w? "), std::string::npos);
  EXPECT_EQ(bytes[29], '\xC8') << "the mark of Windows-1250";
}

}  // namespace
}  // namespace pv::tablestore
