// What each operator and function gives.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <string_view>

#include "base/date.h"
#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/expression/test_table.h"

namespace pv::engine::expr {
namespace {

constexpr std::uint32_t kRecordNumber = 17;
constexpr double kLeapDay = 2460370;  // 2024-02-29

class ExpressionValueTest : public testing::Test {
 protected:
  ExpressionValueTest() {
    table_.Add("NAME", FieldLetter::kCharacter, 10)
        .Add("CITY", FieldLetter::kCharacter, 8)
        .Add("BIN", FieldLetter::kCharacterBinary, 4)
        .Add("EMPTY_C", FieldLetter::kCharacter, 3)
        .Add("AMT", FieldLetter::kNumeric, 10, false, 2)
        .Add("STARS", FieldLetter::kNumeric, 5)
        .Add("BLANK_N", FieldLetter::kFloat, 5)
        .Add("HUGE_N", FieldLetter::kNumeric, 10)
        .Add("ID", FieldLetter::kInteger, 4)
        .Add("RATE", FieldLetter::kDouble, 8)
        .Add("BAD_B", FieldLetter::kDouble, 8)
        .Add("PRICE", FieldLetter::kCurrency, 8)
        .Add("BORN", FieldLetter::kDate, 8)
        .Add("NODATE", FieldLetter::kDate, 8)
        .Add("BAD_D", FieldLetter::kDate, 8)
        .Add("SEEN", FieldLetter::kDateTime, 8)
        .Add("NOTIME", FieldLetter::kDateTime, 8)
        .Add("YES", FieldLetter::kLogical, 1)
        .Add("NO", FieldLetter::kLogical, 1)
        .Add("UNSET", FieldLetter::kLogical, 1)
        .Add("WIDE", FieldLetter::kUnicode, 8)
        .Add("VAR", FieldLetter::kVarchar, 8)
        .Add("FULL", FieldLetter::kVarbinary, 4)
        .Add("NULLC", FieldLetter::kCharacter, 5, true)
        .Add("NULLN", FieldLetter::kInteger, 4, true)
        .Add("NULLL", FieldLetter::kLogical, 1, true)
        .Add("NULLD", FieldLetter::kDate, 8, true)
        .Add("SOMEC", FieldLetter::kCharacter, 5, true);
    record_ = table_.NewRecord();
    table_.Put(&record_, "NAME", "Jos\xE9 Abe");
    table_.Put(&record_, "CITY", "  Ulm");
    table_.Put(&record_, "BIN",
               std::string_view("\0\xFF"
                                "ab",
                                4));
    table_.Put(&record_, "AMT", "    -12.50");
    table_.Put(&record_, "STARS", "*****");
    table_.Put(&record_, "HUGE_N", "     1e400");
    table_.PutInteger(&record_, "ID", -7);
    table_.PutDouble(&record_, "RATE", 2.5);
    table_.PutDouble(&record_, "BAD_B", std::numeric_limits<double>::quiet_NaN());
    table_.PutCurrency(&record_, "PRICE", 199900);
    table_.Put(&record_, "BORN", "20240229");
    table_.Put(&record_, "BAD_D", "20240231");
    table_.PutDateTime(&record_, "SEEN", 2460370, 49'500'000);  // 13:45:00
    table_.PutDateTime(&record_, "NOTIME", 0, 0);
    table_.Put(&record_, "YES", "T");
    table_.Put(&record_, "NO", "n");
    table_.Put(&record_, "UNSET", "?");
    table_.Put(&record_, "WIDE", std::string_view("a\0b\0\0\0\0\0", 8));
    table_.Put(&record_, "VAR", "short");
    table_.PutLength(&record_, "VAR", 5);
    table_.Put(&record_, "FULL", "abcd");
    table_.PutNull(&record_, "NULLC");
    table_.PutNull(&record_, "NULLN");
    table_.PutNull(&record_, "NULLL");
    table_.PutNull(&record_, "NULLD");
    table_.Put(&record_, "SOMEC", "some");
  }

  PlainValue Value(const std::string& text, ValueType type) {
    const auto e = Expression::Compile(text, table_.layout());
    if (!e.ok()) {
      ADD_FAILURE() << e.status().message();
      return {};
    }
    EXPECT_EQ((*e)->type(), type) << text;
    const PlainValue v = ValueOf(**e, record_.data(), kRecordNumber);
    if (type == ValueType::kCharacter) {
      EXPECT_LE(v.text.size(), (*e)->width()) << text;
    }
    if (type == ValueType::kLogical) {
      const auto truth = (*e)->EvaluateLogical(record_.data(), kRecordNumber);
      EXPECT_TRUE(truth.ok());
      EXPECT_EQ(truth.value(), !v.null && v.number != 0) << text;
    }
    return v;
  }

  struct TextCase {
    const char* expression;
    std::string_view value;
  };
  void ExpectTexts(std::initializer_list<TextCase> cases) {
    for (const auto& c : cases) {
      const PlainValue v = Value(c.expression, ValueType::kCharacter);
      EXPECT_FALSE(v.null) << c.expression;
      EXPECT_EQ(v.text, c.value) << c.expression;
    }
  }
  struct NumberCase {
    const char* expression;
    double value;
  };
  void ExpectNumbers(std::initializer_list<NumberCase> cases,
                     ValueType type = ValueType::kNumeric) {
    for (const auto& c : cases) {
      const PlainValue v = Value(c.expression, type);
      EXPECT_FALSE(v.null) << c.expression;
      EXPECT_EQ(v.number, c.value) << c.expression;
    }
  }
  void ExpectTrue(std::initializer_list<const char*> cases) {
    for (const char* text : cases) {
      const PlainValue v = Value(text, ValueType::kLogical);
      EXPECT_TRUE(!v.null && v.number == 1) << text;
    }
  }
  void ExpectFalse(std::initializer_list<const char*> cases) {
    for (const char* text : cases) {
      const PlainValue v = Value(text, ValueType::kLogical);
      EXPECT_TRUE(!v.null && v.number == 0) << text;
    }
  }
  void ExpectNull(std::initializer_list<const char*> cases, ValueType type) {
    for (const char* text : cases) EXPECT_TRUE(Value(text, type).null) << text;
  }

  TestTable table_;
  std::vector<std::uint8_t> record_;
};

TEST_F(ExpressionValueTest, Fields) {
  ExpectTexts({{"name", "Jos\xE9 Abe  "},
               {"bin", std::string_view("\0\xFF"
                                        "ab",
                                        4)},
               {"wide", std::string_view("a\0b\0\0\0\0\0", 8)},
               {"var", "short"},
               {"full", "abcd"}});
  ExpectNumbers({{"amt", -12.5},
                 {"stars", 0},
                 {"blank_n", 0},
                 {"id", -7},
                 {"rate", 2.5},
                 {"price", 19.99},
                 {"recno()", 17}});
  ExpectNumbers({{"born", kLeapDay}, {"nodate", 0}, {"bad_d", 0}}, ValueType::kDate);
  ExpectNumbers({{"seen", kLeapDay * 86400 + 49500}, {"notime", 0}}, ValueType::kDateTime);
  ExpectTrue({"yes"});
  ExpectFalse({"no", "unset", "deleted()"});
  ExpectNull({"huge_n", "bad_b"}, ValueType::kNumeric);
  record_[0] = kDeletedMark;
  ExpectTrue({"deleted()", "deleted() = .t."});
  ExpectFalse({".not. deleted()", "!deleted()"});
}

TEST_F(ExpressionValueTest, DamagedFields) {
  table_.PutLength(&record_, "VAR", 200);
  EXPECT_EQ(Value("var", ValueType::kCharacter).text, "short  ");
  table_.PutDateTime(&record_, "SEEN", -1, 0);
  EXPECT_EQ(Value("seen", ValueType::kDateTime).number, 0);
  table_.PutDateTime(&record_, "SEEN", 99'999'999, 0);
  EXPECT_EQ(Value("seen", ValueType::kDateTime).number, 0);
  table_.PutDateTime(&record_, "SEEN", 2460370, -1);
  EXPECT_EQ(Value("seen", ValueType::kDateTime).number, 0);
  table_.PutDateTime(&record_, "SEEN", 2460370, 86'400'000);
  EXPECT_EQ(Value("seen", ValueType::kDateTime).number, 0);
  table_.PutDateTime(&record_, "SEEN", 5'373'484, 86'399'999);  // the last moment of all
  EXPECT_EQ(Value("dtos(seen)", ValueType::kCharacter).text, "        ");
  table_.PutDouble(&record_, "RATE", std::numeric_limits<double>::infinity());
  EXPECT_TRUE(Value("rate", ValueType::kNumeric).null);
}

TEST_F(ExpressionValueTest, DateTimesRoundToSeconds) {
  const double midnight = kLeapDay * 86400;
  const struct {
    std::int32_t milliseconds;
    double seconds;
  } cases[] = {
      {0, 0}, {499, 0}, {500, 1}, {1499, 1}, {1500, 2}, {86'399'499, 86399}, {86'399'500, 86400}};
  for (const auto& c : cases) {
    table_.PutDateTime(&record_, "SEEN", 2460370, c.milliseconds);
    EXPECT_EQ(Value("seen", ValueType::kDateTime).number, midnight + c.seconds);
  }
}

TEST_F(ExpressionValueTest, CurrencyKeepsFourDecimals) {
  const struct {
    std::int64_t units;
    double value;
  } cases[] = {{1, 0.0001},
               {-1, -0.0001},
               {123456789, 12345.6789},
               {std::numeric_limits<std::int64_t>::max(), 922337203685477.5807},
               {std::numeric_limits<std::int64_t>::min(), -922337203685477.5808},
               {(std::int64_t{1} << 53) + 1, 900719925474.0993}};
  for (const auto& c : cases) {
    table_.PutCurrency(&record_, "PRICE", c.units);
    EXPECT_EQ(Value("price", ValueType::kNumeric).number, c.value) << c.units;
  }
}

TEST_F(ExpressionValueTest, Arithmetic) {
  ExpectNumbers({{"1+2*3", 7},        {"(1+2)*3", 9}, {"7-2-1", 4},   {"8/4/2", 1},
                 {"2^3", 8},          {"2**3", 8},    {"2^3^2", 64},  {"-2^2", 4},
                 {"2^-1", 0.5},       {"2*-3", -6},   {"-id", 7},     {"1--1", 2},
                 {"amt*2", -25},      {"10/4", 2.5},  {"1.5e2", 150}, {".5+.5", 1},
                 {"id + rate", -4.5}, {"4 ^ 0.5", 2}, {"0 ^ 0", 1},   {"- 5 + 3", -2}});
}

TEST_F(ExpressionValueTest, WhatCannotBeComputedIsNull) {
  ExpectNull({"1/0", "id/0", "0/0", "1/(id+7)", "1e308*10", "id*1e308*1e308", "(-8)^0.5", "10^400",
              "0^-1", "val('1e999')", "round(1.7e308,-308)", "1/0+1", "abs(1/0)", "1e308+1e308"},
             ValueType::kNumeric);
  ExpectNull({"born+1e9", "born-1e9", "{^9999-12-31}+1", "{^0001-01-01}-1"}, ValueType::kDate);
  ExpectNull({"seen+1e18", "seen-1e18"}, ValueType::kDateTime);
  ExpectNull({"str(1/0)", "chr(256)", "chr(-1)", "chr(id)", "bintoc(1e10)", "bintoc(128,1)",
              "bintoc(-32769,2)", "name+chr(id)", "left(name,1/0)"},
             ValueType::kCharacter);
  ExpectNull({"1/0 = 1/0", "1/0 > 0", "not (1/0 > 0)"}, ValueType::kLogical);
  ExpectTrue({"isnull(1/0)", "isnull(bad_b)"});
}

TEST_F(ExpressionValueTest, Dates) {
  ExpectNumbers({{"{^2024-02-29}", kLeapDay},
                 {"{02/29/2024}", kLeapDay},
                 {"{^2024/2/29}", kLeapDay},
                 {"{2-29-2024}", kLeapDay},
                 {"{}", 0},
                 {"{  /  /    }", 0},
                 {"born + 1", kLeapDay + 1},
                 {"1 + born", kLeapDay + 1},
                 {"born - 60", kLeapDay - 60},
                 {"born + 1.9", kLeapDay + 1},
                 {"born - 1.9", kLeapDay - 1},
                 {"nodate + 5", 0},
                 {"{^9999-12-31}", 5373484},
                 {"{^0001-01-01}", 1721426},
                 {"ctod('02/29/2024')", kLeapDay},
                 {"ctod(' 2.29.2024 ')", kLeapDay},
                 {"ctod('^2024-02-29')", kLeapDay},
                 {"ctod('02/30/2024')", 0},
                 {"ctod('02/29/24')", 0},
                 {"ctod('nonsense')", 0},
                 {"ctod('')", 0},
                 {"stod('20240229')", kLeapDay},
                 {"stod('20230229')", 0},
                 {"stod(' 20240229')", 0},
                 {"stod(dtos(born))", kLeapDay},
                 {"iif(yes, born, {})", kLeapDay}},
                ValueType::kDate);
  ExpectNumbers({{"born - {^2024-02-01}", 28},
                 {"{^2024-02-01} - born", -28},
                 {"nodate - nodate", 0},
                 {"seen - seen", 0},
                 {"seen + 90 - seen", 90},
                 {"year(born)", 2024},
                 {"month(born)", 2},
                 {"day(born)", 29},
                 {"year(seen)", 2024},
                 {"day(seen + 10*3600 + 15*60)", 1},
                 {"year(nodate)", 0},
                 {"month(nodate)", 0},
                 {"day(notime)", 0}});
  ExpectNumbers({{"seen + 60", kLeapDay * 86400 + 49560}, {"notime + 60", 0}},
                ValueType::kDateTime);
  ExpectTexts({{"dtos(born)", "20240229"},
               {"dtos(nodate)", "        "},
               {"dtos(seen)", "20240229"},
               {"dtos(notime)", "        "},
               {"dtos({^0033-04-03})", "00330403"},
               {"dtoc(born)", "02/29/2024"},
               {"dtoc(nodate)", "  /  /    "},
               {"dtoc(born, 1)", "20240229"},
               {"dtoc(seen)", "02/29/2024"}});
}

TEST_F(ExpressionValueTest, TextOperators) {
  ExpectTexts({{"'a'+\"b\"+[c]", "abc"},
               {"name+city", "Jos\xE9 Abe    Ulm   "},
               {"name-city", "Jos\xE9 Abe  Ulm     "},
               {"'ab  '-'c '+'d'", "abc   d"},
               {"'a '-'b '-'c '", "abc   "},
               {"'  '-'x'", "x  "},
               {"''-''", ""},
               {"trim(name)+'|'", "Jos\xE9 Abe|"},
               {"(name-'x')-('y '-'z')", "Jos\xE9 Abexyz   "},
               {"'a'+('b'+('c'+'d'))+'e'", "abcde"},
               {"city+(city-name)+city", "  Ulm     UlmJos\xE9 Abe       Ulm   "}});
  ExpectTrue({"'bc' $ 'abcd'", "'' $ ''", "'' $ 'abc'", "'Abe' $ name", "yes = ('a' $ 'a')"});
  ExpectFalse({"'abcd' $ 'bc'", "'B' $ 'abc'", "name $ 'Abe'"});
}

TEST_F(ExpressionValueTest, TextComparisons) {
  // As many bytes count as the right text has.
  ExpectTrue({"'abc' = 'ab'", "'abc' = 'abc'", "'abc' = ''", "name = 'Jos'", "'' = ''",
              "'ab ' = 'ab'", "'abc' <= 'ab'", "'abc' >= 'ab'", "'ab' < 'abc'", "'ab' <> 'abc'",
              "'ab' # 'abc'", "'ab' != 'ab '", "'b' > 'a'", "'B' < 'a'", "'\xE9' > 'z'",
              "'a' >= 'a'", "'ab' < 'b'"});
  ExpectFalse({"'ab' = 'abc'", "'ab' = 'ab '", "'abc' <> 'ab'", "'abc' > 'ab'", "'abc' < 'ab'",
               "'a' = 'A'", "'' = 'a'", "'b' <= 'a'"});
  // == pads with blanks.
  ExpectTrue({"'ab' == 'ab'", "'ab' == 'ab   '", "'ab   ' == 'ab'", "'' == '   '",
              "name == 'Jos\xE9 Abe'"});
  ExpectFalse({"'abc' == 'ab'", "'ab' == 'abc'", "'ab' == ' ab'", "'' == 'x'"});
}

TEST_F(ExpressionValueTest, OtherComparisons) {
  ExpectTrue({"1 = 1",
              "1 == 1",
              "1 <> 2",
              "1 # 2",
              "1 != 2",
              "1 < 2",
              "1 <= 1",
              "2 > 1",
              "2 >= 2",
              "-1 < 1",
              "born = {^2024-02-29}",
              "born > {}",
              "nodate = {}",
              "nodate < born",
              "seen > born",
              "born < seen",
              "born + 1 > seen",
              "notime = {}",
              "{} = notime",
              "yes = .T.",
              "no = .F.",
              "no < yes",
              "yes > no",
              "yes == yes",
              ".Y. = .T.",
              ".N. = .F.",
              "1 < 2 = yes"});
  ExpectFalse({"1 = 2", "1 > 1", "1 < 1", "2 <= 1", "1 >= 2", "1 # 1", "seen = born", "yes = no",
               "yes <> .T."});
}

TEST_F(ExpressionValueTest, LogicalOperators) {
  ExpectTrue({".T.", "yes .and. yes", "yes AND NOT no", "no or yes", "no .or. yes", "!no",
              ".not. no", "not no", "not not yes", "!.f.", "yes or no and no", "not no and yes",
              "not 1 = 2", "! 1 > 2 .and. ! 2 > 3", "(yes or no) and yes", "yes.and.yes"});
  ExpectFalse({".f.", "no and yes", "no .or. no", "!yes", "(yes or no) and no", "not yes or no",
               "not (no or yes)"});
}

TEST_F(ExpressionValueTest, TextFunctions) {
  ExpectTexts({
      {"upper(name)", "JOS\xC9 ABE  "},
      {"lower(name)", "jos\xE9 abe  "},
      {"upper('abcdefghijklmnopqrstuvwxyz')", "ABCDEFGHIJKLMNOPQRSTUVWXYZ"},
      {"lower('ABCDEFGHIJKLMNOPQRSTUVWXYZ')", "abcdefghijklmnopqrstuvwxyz"},
      {"upper('`az{@AZ[09')", "`AZ{@AZ[09"},
      {"lower('`az{@AZ[09')", "`az{@az[09"},
      {"upper('Semmelkn\xF6"
       "del')",
       "SEMMELKN\xD6"
       "DEL"},
      {"trim(name)", "Jos\xE9 Abe"},
      {"rtrim('  a  ')", "  a"},
      {"ltrim(city)", "Ulm   "},
      {"alltrim(city)", "Ulm"},
      {"alltrim('   ')", ""},
      {"trim(empty_c)", ""},
      {"ltrim(empty_c)", ""},
      {"left(name,4)", "Jos\xE9"},
      {"left(name,0)", ""},
      {"left(name,-3)", ""},
      {"left(name,3.9)", "Jos"},
      {"left('abc',10)", "abc"},
      {"left(name, recno()-14)", "Jos"},
      {"right('abc',2)", "bc"},
      {"right('abc',5)", "abc"},
      {"right('abc',0)", ""},
      {"right(trim(name),3)", "Abe"},
      {"substr('abcdef',3)", "cdef"},
      {"substr('abcdef',3,2)", "cd"},
      {"substr('abcdef',6,9)", "f"},
      {"substr('abcdef',7)", ""},
      {"substr('abcdef',99,1)", ""},
      {"substr('abcdef',0,2)", ""},
      {"substr('abcdef',-1)", ""},
      {"substr('abcdef',2,0)", ""},
      {"substr('abcdef',2,-1)", ""},
      {"substr(name, recno()-12, recno()-14)", " Ab"},
      {"substr(trim(name),7,99)", "be"},
      {"padl('abc',5)", "  abc"},
      {"padl('abc',5,'*')", "**abc"},
      {"padl('abcdef',3)", "abc"},
      {"padr('abc',5)", "abc  "},
      {"padr('abc',5,'xy')", "abcxx"},
      {"padr('abcdef',3)", "abc"},
      {"padr('abc',4,'')", "abc "},
      {"padl('',0)", ""},
      {"padr('a', recno()-14)", "a  "},
      {"padr('a', -recno())", ""},
      {"space(3)", "   "},
      {"space(0)", ""},
      {"space(recno()-15)", "  "},
      {"space(id)", ""},
      {"chr(65)", "A"},
      {"chr(0)", std::string_view("\0", 1)},
      {"chr(255)", "\xFF"},
      {"chr(65.9)", "A"},
      {"iif(yes,'a','bcd')", "a"},
      {"iif(no,'a','bcd')", "bcd"},
      {"iif(id<0,'neg',iif(id=0,'zero','pos'))", "neg"},
      {"'<'+iif(yes,trim(name),city)+'>'", "<Jos\xE9 Abe>"},
      {"subs('abc',2)", "bc"},
      {"allt(city)", "Ulm"},
  });
  EXPECT_EQ(Value("space(recno()*1000)", ValueType::kCharacter).text, std::string(254, ' '));
  EXPECT_EQ(Value("padr(name,65500)", ValueType::kCharacter).text.size(), 65500u);
}

TEST_F(ExpressionValueTest, NumberFunctions) {
  ExpectNumbers({{"len(name)", 10},       {"len(trim(name))", 8},   {"len('')", 0},
                 {"len(var)", 5},         {"len(wide)", 8},         {"at('b','abc')", 2},
                 {"at('x','abc')", 0},    {"at('','abc')", 0},      {"at('abc','abc')", 1},
                 {"at('abcd','abc')", 0}, {"asc('A')", 65},         {"asc('\xE9')", 233},
                 {"asc('')", 0},          {"val('12.5kg')", 12.5},  {"val('  -3')", -3},
                 {"val('abc')", 0},       {"int(2.9)", 2},          {"int(-2.9)", -2},
                 {"abs(-2.5)", 2.5},      {"abs(id)", 7},           {"round(2.5,0)", 3},
                 {"round(-2.5,0)", -3},   {"round(1.005,2)", 1.01}, {"round(1234,-2)", 1200},
                 {"iif(yes,1,2)", 1},     {"iif(no,1,2)", 2}});
}

TEST_F(ExpressionValueTest, NumbersAsText) {
  ExpectTexts({{"str(5)", "         5"},
               {"str(5,3)", "  5"},
               {"str(-12.5,6,1)", " -12.5"},
               {"str(amt,8,2)", "  -12.50"},
               {"str(price,6,2)", " 19.99"},
               {"str(2.5,3)", "  3"},
               {"str(-2.5,3)", " -3"},
               {"str(1.005,6,2)", "  1.01"},
               {"str(123456,5)", "*****"},
               {"str(1234.56,6,2)", "1234.6"},
               {"str(0,1)", "0"},
               {"str(12,1)", "*"},
               {"str(id,recno()-12)", "   -7"},
               {"str(id,recno()-17)", ""},
               {"str(5,3,-2)", "  5"},
               {"str(1,254,0)",
                "                                                              "
                "                                                              "
                "                                                              "
                "                                                              "
                "     1"},
               {"bintoc(1)", std::string_view("\x80\0\0\x01", 4)},
               {"bintoc(-1)", "\x7F\xFF\xFF\xFF"},
               {"bintoc(id)", "\x7F\xFF\xFF\xF9"},
               {"bintoc(2147483647,4)", "\xFF\xFF\xFF\xFF"},
               {"bintoc(-2147483648,4)", std::string_view("\0\0\0\0", 4)},
               {"bintoc(258,2)", "\x81\x02"},
               {"bintoc(-128,1)", std::string_view("\0", 1)},
               {"bintoc(127,1)", "\xFF"},
               {"bintoc(1.9,1)", "\x81"}});
}

TEST_F(ExpressionValueTest, Empty) {
  ExpectTrue({"empty('')", "empty('   ')", "empty(empty_c)", "empty(chr(9)+chr(10)+chr(13))",
              "empty(chr(0))", "empty(0)", "empty(blank_n)", "empty({})", "empty(nodate)",
              "empty(notime)", "empty(no)", "empty(unset)"});
  ExpectFalse({"empty('x')", "empty(name)", "empty(1)", "empty(id)", "empty(born)", "empty(seen)",
               "empty(yes)"});
}

TEST_F(ExpressionValueTest, Nulls) {
  ExpectNull({"nullc", "nullc+name", "name-nullc", "upper(nullc)", "trim(nullc)",
              "left(name,nulln)", "str(nulln)", "dtos(nulld)", "dtoc(nulld)", "padl(name,nulln)",
              "padl(name,5,nullc)", "substr(name,1,nulln)", "iif(yes,nullc,name)", "space(nulln)"},
             ValueType::kCharacter);
  ExpectNull({"nulln", "nulln+1", "-nulln", "abs(nulln)", "len(nullc)", "at(nullc,name)",
              "year(nulld)", "born-nulld", "round(1,nulln)", "val(nullc)"},
             ValueType::kNumeric);
  ExpectNull({"nulld", "nulld+1", "born+nulln", "ctod(nullc)"}, ValueType::kDate);
  ExpectNull({"nulll", "not nulll", "nulln=1", "nulln<>1", "nullc=nullc", "nullc=='x'",
              "nullc $ name", "nulll and yes", "yes and nulll", "nulll or no", "no or nulll",
              "nulll and nulll", "nulll or nulll", "nulld<born"},
             ValueType::kLogical);
  ExpectFalse({"nulll and no", "no and nulll", "isnull(name)", "isnull(somec)", "empty(nullc)",
               "empty(nulln)", "empty(nulll)"});
  ExpectTrue({"nulll or yes", "yes or nulll", "isnull(nullc)", "isnull(nulln)", "isnull(nulll)",
              "isnull(nullc+name)", "isnull(nulln+1)", "not isnull(somec)", "not empty(nullc)"});
  ExpectTexts({{"iif(nulll,'a','b')", "b"},
               {"iif(isnull(nullc),'none',nullc)", "none"},
               {"iif(no,nullc,'x')", "x"},
               {"somec", "some "},
               {"somec+'.'", "some ."}});
}

TEST_F(ExpressionValueTest, DoubleByteLetterCase) {
  // A page where 0x81 begins a pair: its second byte keeps its case.
  std::array<char32_t, 256> single{};
  for (std::size_t b = 0; b < 256; ++b)
    single[b] = b < 0x80 ? static_cast<char32_t>(b) : CodePage::kUndefined;
  single[0x81] = CodePage::kLeadByte;
  const auto page = std::make_shared<const CodePage>(
      932, single, std::unordered_map<std::uint16_t, char32_t>{{0x8161, 0x2016}});
  TestTable t(page);
  t.Add("C", FieldLetter::kCharacter, 10);
  auto record = t.NewRecord();
  t.Put(&record, "C",
        "ab\x81\x61"
        "cd");
  const auto e = Expression::Compile("upper(c)", t.layout());
  ASSERT_TRUE(e.ok());
  EXPECT_EQ(ValueOf(**e, record.data(), 1).text,
            "AB\x81\x61"
            "CD    ");
}

TEST_F(ExpressionValueTest, FiltersMustBeLogical) {
  const auto e = Expression::Compile("name", table_.layout());
  ASSERT_TRUE(e.ok());
  const auto truth = (*e)->EvaluateLogical(record_.data(), 1);
  ASSERT_FALSE(truth.ok());
  EXPECT_EQ(truth.status().code(), StatusCode::kInvalid);
  EXPECT_EQ(truth.status().detail(), kErrExpression);
  EXPECT_NE(truth.status().message().find("logical"), std::string::npos);
}

TEST_F(ExpressionValueTest, ManyOperands) {
  std::string text = "name";
  while (text.size() + 5 <= 1000) text += "+city";
  EXPECT_EQ(Value(text, ValueType::kCharacter).text.size(), 10 + 8 * ((text.size() - 4) / 5));
  std::string sum = "id";
  int n = 1;
  for (; sum.size() + 3 <= 1000; ++n) sum += "+id";
  EXPECT_EQ(Value(sum, ValueType::kNumeric).number, -7 * n);
  // Right operands keep the left ones waiting on the stack.
  std::string deep = "1";
  for (int i = 0; i < 60; ++i) deep = "(id*0+1)*(2-" + deep + ")";
  EXPECT_EQ(Value(deep, ValueType::kNumeric).number, 1);
}

}  // namespace
}  // namespace pv::engine::expr
