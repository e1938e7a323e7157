#include "tablestore/field_access.h"

#include <limits>

#include "tablestore/table_fixture_test.h"

namespace pv::tablestore {
namespace {

class FieldAccessTest : public TableTest {
 protected:
  // The field F of a table with one record.
  engine::Handle FieldOf(FieldType type, std::int16_t length, const Value& value) {
    cursor_ = MakeOne(type, length);
    Through(cursor_, value);
    return engine::d4field(cursor_->GetTableHandle(), "F");
  }
  Ref<Recipients> cursor_;
  const std::shared_ptr<const CodePage> page_ = CodePage::Windows1252();
};

TEST_F(FieldAccessTest, EngineTextIsCutAt256) {
  const std::string long_text(300, 'x');
  EXPECT_EQ(EngineText(long_text.c_str()), std::string(256, 'x'));
  EXPECT_EQ(EngineText(std::string(256, 'y').c_str()).size(), 256U);
  EXPECT_EQ(EngineText("short"), "short");
}

TEST_F(FieldAccessTest, CutGoesThroughNoCharacter) {
  const std::string text = std::string(255, 'x') + "é";
  EXPECT_EQ(EngineText(text.c_str()), std::string(255, 'x'));
  const std::string whole = std::string(254, 'x') + "éz";
  EXPECT_EQ(EngineText(whole.c_str()), std::string(254, 'x') + "é");
}

TEST_F(FieldAccessTest, NullPointersGiveNothing) {
  EXPECT_EQ(EngineText(nullptr), "");
  EXPECT_EQ(EngineText(nullptr, *page_), "");
  const engine::Handle no_field = 0;
  EXPECT_EQ(FieldName(no_field, *page_), "");
  EXPECT_EQ(FieldText(no_field, *page_), "");
  EXPECT_EQ(FieldBytesTrimmed(no_field, 10), "");
  EXPECT_EQ(FieldDateTime(no_field), "");
  EXPECT_EQ(FieldUnicode(no_field), "");
  EXPECT_EQ(MemoText(no_field, *page_), "");
  EXPECT_TRUE(FieldBytes(no_field).empty());
}

TEST_F(FieldAccessTest, ErrorTextIsTheEnginesMessage) {
  EXPECT_EQ(EngineErrorText(0, -120), "The file exists already.");
  EXPECT_EQ(EngineErrorText(0, -1), "");
}

TEST_F(FieldAccessTest, FieldNameIsUpperCase) {
  EXPECT_EQ(FieldName(FieldOf(FieldType::kCharacter, 5, "a"), *page_), "F");
}

TEST_F(FieldAccessTest, FieldTextKeepsItsTrailingBlanks) {
  const engine::Handle field = FieldOf(FieldType::kCharacter, 5, " é");
  EXPECT_EQ(FieldText(field, *page_), " é   ");
  EXPECT_EQ(FieldBytesTrimmed(field, 5), " \xE9");
}

TEST_F(FieldAccessTest, DateTextHasEightDigits) {
  EXPECT_EQ(DateText(2460370), "20240229");
  EXPECT_EQ(DateText(0), "        ");
}

TEST_F(FieldAccessTest, DateTimeText) {
  EXPECT_EQ(FieldDateTime(FieldOf(FieldType::kDateTime, 8, "2024-02-29 13:45:10")),
            "2024022913:45:10");
  EXPECT_EQ(FieldDateTime(FieldOf(FieldType::kDateTime, 8, Value())), std::string(16, ' '));
}

TEST_F(FieldAccessTest, UnicodeFieldEndsAtItsFirstZeroCharacter) {
  const engine::Handle field = FieldOf(FieldType::kUnicode, 20, "żółw");
  EXPECT_EQ(FieldUnicode(field), "żółw");
  AssignUnicode(field, std::string_view("ab\0cd", 5));
  EXPECT_EQ(FieldUnicode(field), "ab");
  AssignUnicode(field, "");
  EXPECT_EQ(FieldUnicode(field), "");
}

TEST_F(FieldAccessTest, UnicodeFieldOfFullWidthHasNoZeroCharacter) {
  const engine::Handle field = FieldOf(FieldType::kUnicode, 8, "abcdefg");
  EXPECT_EQ(FieldUnicode(field), "abcd") << "the width counts bytes";
  AssignUnicode(field, "a😀bc");
  EXPECT_EQ(FieldUnicode(field), "a😀b");
}

TEST_F(FieldAccessTest, FieldBytesHaveTheFullWidth) {
  const engine::Handle field = FieldOf(FieldType::kCharacter, 4, "ab");
  EXPECT_EQ(FieldBytes(field), (std::vector<std::uint8_t>{'a', 'b', ' ', ' '}));
}

TEST_F(FieldAccessTest, FieldOfWidthZeroGivesAnEmptyArray) {
  // A handle without a field has the width 0, which no field of a table can have.
  EXPECT_EQ(engine::f4len_v(0), 0);
  EXPECT_TRUE(FieldBytes(0).empty());
}

TEST_F(FieldAccessTest, MemoOfLengthZeroIsEmptyText) {
  const engine::Handle field = FieldOf(FieldType::kMemo, 4, "");
  ASSERT_NE(engine::f4memoPtr(field), nullptr);
  EXPECT_EQ(engine::f4memoLen(field), 0);
  EXPECT_EQ(MemoText(field, *page_), "");
}

TEST_F(FieldAccessTest, MemoTextIsInTheTablesPage) {
  const engine::Handle field = FieldOf(FieldType::kMemo, 4, "Grüße\r\n€");
  EXPECT_EQ(MemoText(field, *page_), "Grüße\r\n€");
  EXPECT_EQ(engine::f4memoLen(field), 8);
}

TEST_F(FieldAccessTest, NoMemoIsTooLongForAThirtyTwoBitLength) {
  static_assert(kLongestMemo == std::numeric_limits<std::int32_t>::max());
  const engine::Handle field = FieldOf(FieldType::kMemo, 4, std::string(300'000, 'm'));
  EXPECT_EQ(MemoText(field, *page_).size(), 300'000U);
  EXPECT_TRUE(machine_.process.messages.empty());
}

TEST_F(FieldAccessTest, AssignedTextIsCutToTheWidthAndThePage) {
  const engine::Handle field = FieldOf(FieldType::kCharacter, 4, "x");
  AssignText(field, "abcdef", *page_);
  EXPECT_EQ(FieldText(field, *page_), "abcd");
  AssignText(field, "é→", *page_);
  EXPECT_EQ(FieldText(field, *page_), "é?  ");
}

}  // namespace
}  // namespace pv::tablestore
