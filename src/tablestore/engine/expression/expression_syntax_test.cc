// What compiles and what does not: grammar, types, names, limits, and the position of each error.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/expression/test_table.h"

namespace pv::engine::expr {
namespace {

using testing::HasSubstr;

TestTable SmallTable() {
  TestTable t;
  t.Add("NAME", FieldLetter::kCharacter, 20)
      .Add("CITY", FieldLetter::kCharacter, 10, true)
      .Add("AGE", FieldLetter::kNumeric, 6, false, 2)
      .Add("ID", FieldLetter::kInteger, 4)
      .Add("BORN", FieldLetter::kDate, 8)
      .Add("SEEN", FieldLetter::kDateTime, 8)
      .Add("PAID", FieldLetter::kCurrency, 8)
      .Add("OK", FieldLetter::kLogical, 1)
      .Add("WIDE", FieldLetter::kUnicode, 20)
      .Add("NOTES", FieldLetter::kMemo, 4)
      .Add("BLOB", FieldLetter::kMemoBinary, 4)
      .Add("OLE", FieldLetter::kGeneral, 4)
      .Add("PIC", FieldLetter::kPicture, 4)
      .Add("CONTACT_TY", FieldLetter::kInteger, 4)
      .Add("COMPANY_NA", FieldLetter::kCharacter, 30)
      .Add("COMPANY_N2", FieldLetter::kCharacter, 30)
      .Add(
          "\xDC"
          "BER",
          FieldLetter::kCharacter, 5);
  return t;
}

TEST(ExpressionSyntaxTest, Compiles) {
  const TestTable t = SmallTable();
  const struct {
    const char* text;
    ValueType type;
    std::size_t width;
    bool can_be_null;
  } cases[] = {
      {"NAME", ValueType::kCharacter, 20, false},
      {"name", ValueType::kCharacter, 20, false},
      {"  Name\t", ValueType::kCharacter, 20, false},
      {"contacts->NAME", ValueType::kCharacter, 20, false},
      {"customer.name", ValueType::kCharacter, 20, false},
      {"CITY", ValueType::kCharacter, 10, true},
      {"UPPER(city)", ValueType::kCharacter, 10, true},
      {"upper( name )", ValueType::kCharacter, 20, false},
      {"UPPE(name)", ValueType::kCharacter, 20, false},
      {"\xFC"
       "ber",
       ValueType::kCharacter, 5, false},
      {"contact_type_id", ValueType::kNumeric, 0, false},
      {"company_na", ValueType::kCharacter, 30, false},
      {"name+city", ValueType::kCharacter, 30, true},
      {"name-city", ValueType::kCharacter, 30, true},
      {"trim(name)+', '+city", ValueType::kCharacter, 32, true},
      {"LEFT(name,5)", ValueType::kCharacter, 5, false},
      {"LEFT(name, 2 + 3)", ValueType::kCharacter, 5, false},
      {"LEFT(name,99)", ValueType::kCharacter, 20, false},
      {"LEFT(name,id)", ValueType::kCharacter, 20, false},
      {"RIGHT(name,-1)", ValueType::kCharacter, 0, false},
      {"SUBSTR(name,3)", ValueType::kCharacter, 18, false},
      {"SUBSTR(name,3,4)", ValueType::kCharacter, 4, false},
      {"SUBSTR(name,18,9)", ValueType::kCharacter, 3, false},
      {"SUBSTR(name,0,9)", ValueType::kCharacter, 0, false},
      {"SUBSTR(name,id,9)", ValueType::kCharacter, 9, false},
      {"PADL(name,30)", ValueType::kCharacter, 30, false},
      {"PADR(name,id)", ValueType::kCharacter, 254, false},
      {"SPACE(7)", ValueType::kCharacter, 7, false},
      {"STR(age)", ValueType::kCharacter, 10, false},
      {"STR(age,6,2)", ValueType::kCharacter, 6, false},
      {"DTOS(born)", ValueType::kCharacter, 8, false},
      {"DTOS(seen)", ValueType::kCharacter, 8, false},
      {"DTOC(born)", ValueType::kCharacter, 10, false},
      {"DTOC(born,1)", ValueType::kCharacter, 8, false},
      {"CHR(65)", ValueType::kCharacter, 1, false},
      {"BINTOC(id)", ValueType::kCharacter, 4, false},
      {"BINTOC(id,2)", ValueType::kCharacter, 2, false},
      {"IIF(ok,name,city)", ValueType::kCharacter, 20, true},
      {"IIF(ok,born,{})", ValueType::kDate, 0, false},
      {"born+1", ValueType::kDate, 0, false},
      {"1+born", ValueType::kDate, 0, false},
      {"born-1", ValueType::kDate, 0, false},
      {"born-born", ValueType::kNumeric, 0, false},
      {"seen+60", ValueType::kDateTime, 0, false},
      {"seen-seen", ValueType::kNumeric, 0, false},
      {"seen>born", ValueType::kLogical, 0, false},
      {"CTOD('01/02/2024')", ValueType::kDate, 0, false},
      {"{^2024-02-29}", ValueType::kDate, 0, false},
      {"{02/29/2024}", ValueType::kDate, 0, false},
      {"{}", ValueType::kDate, 0, false},
      {"{ / / }", ValueType::kDate, 0, false},
      {".T.", ValueType::kLogical, 0, false},
      {".y.", ValueType::kLogical, 0, false},
      {".NOT. DELETED()", ValueType::kLogical, 0, false},
      {"!deleted()", ValueType::kLogical, 0, false},
      {"not deleted( )", ValueType::kLogical, 0, false},
      {"!!ok", ValueType::kLogical, 0, false},
      {"age>1.AND.age<2", ValueType::kLogical, 0, false},
      {"age=1.or.name='x'", ValueType::kLogical, 0, false},
      {"ISNULL(city)", ValueType::kLogical, 0, true},
      {"'a\"b' + \"it's\" + [x'\"y]", ValueType::kCharacter, 11, false},
      {"''", ValueType::kCharacter, 0, false},
      {"RECNO()", ValueType::kNumeric, 0, false},
      {"1.5e3", ValueType::kNumeric, 0, false},
      {".5", ValueType::kNumeric, 0, false},
      {"+5", ValueType::kNumeric, 0, false},
      {"--5", ValueType::kNumeric, 0, false},
      {"2^-3", ValueType::kNumeric, 0, false},
      {"wide", ValueType::kCharacter, 20, false},
  };
  for (const auto& c : cases) {
    const auto e = Expression::Compile(c.text, t.layout());
    ASSERT_TRUE(e.ok()) << e.status().message();
    EXPECT_EQ((*e)->type(), c.type) << c.text;
    EXPECT_EQ((*e)->width(), c.width) << c.text;
    EXPECT_EQ((*e)->can_be_null(), c.can_be_null) << c.text;
  }
}

TEST(ExpressionSyntaxTest, ErrorsNameThePositionAndTheReason) {
  const TestTable t = SmallTable();
  const struct {
    const char* text;
    int position;  // from 1
    const char* reason;
  } cases[] = {
      {"", 1, "empty"},
      {"   ", 1, "empty"},
      {"UPPER(NAM)", 7, "there is no field \"NAM\""},
      {"t->x", 4, "there is no field \"x\""},
      {"t.upper(name)", 3, "not before a function"},
      {"t->5", 4, "field name is missing"},
      {"m.name", 1, "variables"},
      {"M->name", 1, "variables"},
      {"company_name_long", 1, "COMPANY_NA or the field COMPANY_N2"},
      {"company_name", 1, "COMPANY_NA or the field COMPANY_N2"},
      {"TRANSFORM(name)", 1, "there is no function \"TRANSFORM\""},
      {"UPP(name)", 1, "there is no function \"UPP\""},
      {"UPPERS(name)", 1, "there is no function"},
      {"notes", 1, "memo or general"},
      {"LEFT(blob,3)", 6, "memo or general"},
      {"ole", 1, "memo or general"},
      {"pic", 1, "memo or general"},
      {"(name", 6, "a ) is missing"},
      {"name)", 5, "no ( for this )"},
      {"UPPER(name", 11, "a ) or a comma is missing"},
      {"UPPER(", 7, "a value is missing"},
      {"LEFT(name,)", 11, "a value is missing"},
      {"LEFT(,3)", 6, "a value is missing"},
      {"name city", 6, "operator is missing"},
      {"name+", 6, "a value is missing"},
      {"+", 2, "a value is missing"},
      {"1 = = 2", 5, "a value is missing"},
      {"NOT", 4, "a value is missing"},
      {"name AND", 9, "a value is missing"},
      {"'abc", 1, "no closing '"},
      {"name = \"abc", 8, "no closing \""},
      {"[abc", 1, "no closing ]"},
      {"{^2024-02-29", 1, "no closing }"},
      {"{^2023-02-29}", 1, "no date"},
      {"born = {29/02/2024}", 8, "no date"},
      {"{02/29/24}", 1, "no date"},
      {"{^2024-02-29 10:00}", 1, "no date"},
      {"12abc", 1, "not a number"},
      {"1.2.3", 4, "an operator is missing"},
      {"1e999", 1, "too large"},
      {"name @ city", 6, "unexpected @"},
      {"name % 2", 6, "unexpected %"},
      {"name & city", 6, "unexpected &"},
      {"name.5", 5, "operator is missing"},
      {"name .x", 6, "unexpected ."},
      {".NULL.", 1, "unexpected ."},
      {"\x01", 1, "unexpected byte 1"},
      {"name + 1", 6, "+ does not go with a text and a number"},
      {"name - born", 6, "- does not go with a text and a date"},
      {"born + born", 6, "+ does not go with a date and a date"},
      {"1 - born", 3, "- does not go with a number and a date"},
      {"born - seen", 6, "- does not go with a date and a date-time"},
      {"name * 2", 6, "needs a number on both sides and gets a text"},
      {"2 / ok", 3, "needs a number on both sides and gets a logical value"},
      {"2 ** name", 3, "needs a number"},
      {"name = 1", 6, "a text cannot be compared with a number"},
      {"ok == 'T'", 4, "a logical value cannot be compared with a text"},
      {"born < 5", 6, "a date cannot be compared with a number"},
      {"1 $ name", 3, "needs a text on both sides and gets a number"},
      {"name AND ok", 6, "needs a logical value on both sides and gets a text"},
      {"name.and.ok", 5, "needs a logical value on both sides and gets a text"},
      {"ok .OR. 1", 4, "needs a logical value on both sides and gets a number"},
      {"NOT name", 1, "NOT needs a logical value and gets a text"},
      {"! 1", 1, "NOT needs a logical value"},
      {"-name", 1, "a sign needs a number and gets a text"},
      {"+ok", 1, "a sign needs a number"},
      {"UPPER()", 1, "UPPER takes 1 values and gets 0"},
      {"UPPER(name,1)", 1, "UPPER takes 1 values and gets 2"},
      {"SUBSTR(name)", 1, "SUBSTR takes 2 to 3 values and gets 1"},
      {"DELETED(1)", 1, "DELETED takes 0 values and gets 1"},
      {"UPPER(1)", 1, "UPPER needs a text as value 1 and gets a number"},
      {"LEFT(name,'3')", 1, "LEFT needs a number as value 2 and gets a text"},
      {"YEAR(name)", 1, "YEAR needs a date as value 1 and gets a text"},
      {"IIF(name,1,2)", 1, "IIF needs a logical value as value 1 and gets a text"},
      {"IIF(ok,1,'2')", 1, "IIF gives a number or a text"},
      {"BINTOC(id,3)", 1, "BINTOC can only be 1, 2 or 4"},
      {"BINTOC(id,id)", 1, "BINTOC can only be 1, 2 or 4"},
      {"DTOC(born,2)", 1, "DTOC can only be 1"},
      {"SPACE(65501)", 1, "the width must be 0 to 65500"},
      {"PADL(name,-1)", 1, "the width must be 0 to 65500"},
      {"STR(id,255)", 1, "the width must be 1 to 254"},
      {"STR(id,0)", 1, "the width must be 1 to 254"},
      {"SPACE(65000)+name", 13, "more than 65500 bytes of text"},
      {"DATE()", 1, "DATE() changes with the clock"},
      {"born = date()", 8, "DATE() changes with the clock"},
      {"UPPER(wide)", 1, "Unicode"},
      {"LOWER(name + wide)", 1, "Unicode"},
  };
  for (const auto& c : cases) {
    const auto e = Expression::Compile(c.text, t.layout());
    ASSERT_FALSE(e.ok()) << c.text;
    EXPECT_EQ(e.status().code(), StatusCode::kInvalid) << c.text;
    EXPECT_EQ(e.status().detail(), kErrExpression);
    EXPECT_THAT(e.status().message(), HasSubstr("position " + std::to_string(c.position) + ": "))
        << c.text;
    EXPECT_THAT(e.status().message(), HasSubstr(c.reason)) << c.text;
    EXPECT_THAT(e.status().message(),
                HasSubstr("expression \"" +
                          std::string(static_cast<unsigned char>(*c.text) < ' ' ? "" : c.text)))
        << c.text;
  }
}

TEST(ExpressionSyntaxTest, NestingIsLimited) {
  const TestTable t = SmallTable();
  const auto nested = [](const std::string& open, const std::string& close, int levels) {
    std::string text;
    for (int i = 0; i < levels; ++i) text += open;
    text += "1";
    for (int i = 0; i < levels; ++i) text += close;
    return text;
  };
  EXPECT_TRUE(Expression::Compile(nested("(", ")", 64), t.layout()).ok());
  EXPECT_TRUE(Expression::Compile(nested("ABS(", ")", 64), t.layout()).ok());
  EXPECT_TRUE(Expression::Compile(nested("-", "", 64), t.layout()).ok());
  const auto deep = Expression::Compile(nested("(", ")", 65), t.layout());
  ASSERT_FALSE(deep.ok());
  EXPECT_THAT(deep.status().message(), HasSubstr("position 66: more than 64 levels of nesting"));
  EXPECT_FALSE(Expression::Compile(nested("ABS(", ")", 65), t.layout()).ok());
  EXPECT_FALSE(Expression::Compile(nested("-", "", 65), t.layout()).ok());
  EXPECT_FALSE(Expression::Compile(nested("(", "", 1000), t.layout()).ok());
  EXPECT_FALSE(Expression::Compile(nested("NOT ", "", 250), t.layout()).ok());
  EXPECT_FALSE(Expression::Compile(nested("2^(", ")", 200), t.layout()).ok());
}

TEST(ExpressionSyntaxTest, LengthIsLimited) {
  const TestTable t = SmallTable();
  std::string text = "1";
  while (text.size() + 2 <= 1024) text += "+1";
  text.resize(1023, '1');
  text += " ";
  ASSERT_EQ(text.size(), 1024u);
  EXPECT_TRUE(Expression::Compile(text, t.layout()).ok());
  text += " ";
  const auto e = Expression::Compile(text, t.layout());
  ASSERT_FALSE(e.ok());
  EXPECT_THAT(e.status().message(), HasSubstr("at most 1024 bytes"));
  EXPECT_LT(e.status().message().size(), 200u);
}

TEST(ExpressionSyntaxTest, LongChainsNeedNoDepth) {
  const TestTable t = SmallTable();
  std::string joined = "id";
  while (joined.size() + 3 <= 1024) joined += "+id";
  EXPECT_TRUE(Expression::Compile(joined, t.layout()).ok());
  std::string logical = "ok";
  while (logical.size() + 6 <= 1024) logical += " OR ok";
  EXPECT_TRUE(Expression::Compile(logical, t.layout()).ok());
}

TEST(ExpressionSyntaxTest, FieldsThatDoNotFitTheRecordAreRefused) {
  const auto refused = [](const TestTable& t, const char* text) {
    const auto e = Expression::Compile(text, t.layout());
    return !e.ok() && e.status().message().find("does not fit its record") != std::string::npos;
  };
  TestTable t;
  t.Add("A", FieldLetter::kCharacter, 10).Add("I", FieldLetter::kInteger, 4);
  EXPECT_FALSE(refused(t, "a"));

  TestTable beyond = t;
  beyond.layout().fields[0].offset = 0xFFFFFFFF;
  EXPECT_TRUE(refused(beyond, "a"));
  beyond.layout().fields[0].offset = beyond.layout().record_length - 9;
  EXPECT_TRUE(refused(beyond, "a"));
  beyond.layout().fields[0].offset = 0;
  EXPECT_TRUE(refused(beyond, "a"));

  TestTable no_length = t;
  no_length.layout().fields[0].length = 0;
  EXPECT_TRUE(refused(no_length, "a"));
  TestTable wrong_length = t;
  wrong_length.layout().fields[1].length = 2;
  EXPECT_TRUE(refused(wrong_length, "i"));

  TestTable flags;
  flags.Add("A", FieldLetter::kCharacter, 10, true).Add("V", FieldLetter::kVarchar, 10);
  EXPECT_FALSE(refused(flags, "a + v"));
  TestTable bit = flags;
  bit.layout().fields[0].null_bit = 16;
  EXPECT_TRUE(refused(bit, "a"));
  bit = flags;
  bit.layout().fields[1].length_bit = 16;
  EXPECT_TRUE(refused(bit, "v"));
  TestTable outside = flags;
  outside.layout().null_flags_offset = outside.layout().record_length - 1;
  EXPECT_TRUE(refused(outside, "a"));
  outside.layout().null_flags_offset = 0;
  EXPECT_TRUE(refused(outside, "a"));
  EXPECT_FALSE(refused(outside, "v"));  // without flags a V field is as wide as it is
}

// Anything may stand in a damaged index. Random tokens and random bytes must give an expression
// that can be run or an error, and nothing else.
TEST(ExpressionSyntaxTest, TokenSoup) {
  const TestTable t = SmallTable();
  const std::vector<std::uint8_t> record = t.NewRecord();
  static constexpr const char* kWords[] = {
      "name",
      "city",
      "age",
      "id",
      "born",
      "seen",
      "paid",
      "ok",
      "wide",
      "notes",
      "contacts->",
      "t.",
      "(",
      ")",
      "(",
      ")",
      ",",
      "+",
      "-",
      "*",
      "/",
      "^",
      "**",
      "=",
      "==",
      "<>",
      "#",
      "!=",
      "<",
      "<=",
      ">",
      ">=",
      "$",
      ".AND.",
      ".OR.",
      ".NOT.",
      "!",
      "AND ",
      " OR ",
      " NOT ",
      ".T.",
      ".f.",
      "1",
      "0",
      "2.5",
      "1e9",
      "65500",
      "-1",
      "'x'",
      "\"y\"",
      "[z]",
      "{}",
      "{^2024-02-29}",
      "{02/29/2024}",
      "{",
      "'",
      "UPPER(",
      "LOWER(",
      "TRIM(",
      "LTRIM(",
      "ALLTRIM(",
      "LEFT(",
      "RIGHT(",
      "SUBSTR(",
      "PADL(",
      "PADR(",
      "SPACE(",
      "STR(",
      "VAL(",
      "INT(",
      "ABS(",
      "ROUND(",
      "CHR(",
      "ASC(",
      "LEN(",
      "AT(",
      "DTOS(",
      "DTOC(",
      "CTOD(",
      "STOD(",
      "YEAR(",
      "MONTH(",
      "DAY(",
      "DATE()",
      "DELETED()",
      "RECNO()",
      "IIF(",
      "EMPTY(",
      "ISNULL(",
      "BINTOC(",
      " ",
      ".",
      "@",
      "\x80",
      "\xFF",
  };
  std::mt19937 random(7);
  int compiled = 0;
  for (int n = 0; n < 60'000; ++n) {
    std::string text;
    const std::size_t length = n % 4 == 0 ? random() % 2000 : random() % 24;
    while (text.size() < length) {
      if (random() % 40 == 0) {
        text += static_cast<char>(random() % 256);
      } else {
        text += kWords[random() % std::size(kWords)];
      }
    }
    auto e = Expression::Compile(text, t.layout());
    if (!e.ok()) {
      ASSERT_FALSE(e.status().message().empty());
      continue;
    }
    ++compiled;
    ValueOf(**e, record.data(), 1);
    auto maker = KeyMaker::Create(std::move(*e), 0);
    if (!maker.ok()) continue;
    std::uint8_t key[kMaxKeyLength];
    ASSERT_TRUE(maker->MakeKey(record.data(), 1, key).ok());
  }
  EXPECT_GT(compiled, 500);
}

}  // namespace
}  // namespace pv::engine::expr
