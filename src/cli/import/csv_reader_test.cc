#include "cli/import/csv_reader.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "cli/import/byte_source.h"

namespace pv::cli {
namespace {

using namespace std::string_literals;
using Fields = std::vector<std::string>;

struct Row {
  Fields fields;
  std::string original;
  std::uint64_t line, offset, size;
  RowFault fault;
};

// Gives its bytes in pieces of random size, so that rows lie across reads in every way.
class DribblingSource : public ByteSource {
 public:
  DribblingSource(std::string_view bytes, unsigned seed) : memory_(bytes), random_(seed) {}
  Result<std::size_t> Read(char* out, std::size_t size) override {
    return memory_.Read(out, std::min<std::size_t>(size, 1 + random_() % 9));
  }

 private:
  MemorySource memory_;
  std::mt19937 random_;
};

std::vector<Row> ReadRows(ByteSource* source, const CsvDialect& dialect,
                          std::uint64_t* blank_lines = nullptr) {
  CsvReader reader(source, dialect);
  std::vector<Row> rows;
  for (;;) {
    const Result<bool> more = reader.Next();
    EXPECT_TRUE(more.ok()) << more.status().message();
    if (!more.ok() || !*more) break;
    Row row{{},
            std::string(reader.original()),
            reader.line(),
            reader.offset(),
            reader.size(),
            reader.fault()};
    for (const std::string_view field : reader.fields()) row.fields.emplace_back(field);
    rows.push_back(std::move(row));
  }
  if (blank_lines != nullptr) *blank_lines = reader.blank_lines();
  return rows;
}

std::vector<Row> ReadRows(std::string_view text, const CsvDialect& dialect = {}) {
  MemorySource source(text);
  return ReadRows(&source, dialect);
}

std::vector<Fields> FieldsOf(const std::vector<Row>& rows) {
  std::vector<Fields> out;
  for (const Row& row : rows) out.push_back(row.fields);
  return out;
}

TEST(CsvReader, CutsPlainRowsWithEveryLineEnd) {
  const std::vector<Fields> expected = {{"a", "b", "c"}, {"1", "", "3"}, {"", "", ""}, {"x"}};
  EXPECT_EQ(FieldsOf(ReadRows("a,b,c\n1,,3\n,,\nx\n")), expected);
  EXPECT_EQ(FieldsOf(ReadRows("a,b,c\r\n1,,3\r\n,,\r\nx")), expected);
  EXPECT_EQ(FieldsOf(ReadRows("a,b,c\r1,,3\r,,\rx\r", {.cr_only = true})), expected);
  EXPECT_EQ(FieldsOf(ReadRows("a;b;c\n1;;3\n;;\nx", {.delimiter = ';'})), expected);
}

TEST(CsvReader, UnquotesFields) {
  const auto rows = ReadRows("\"a,b\",\"say \"\"hi\"\"\",\"\"\n\"\",x,\"y\"\r\n");
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0].fields, (Fields{"a,b", "say \"hi\"", ""}));
  EXPECT_EQ(rows[1].fields, (Fields{"", "x", "y"}));
}

TEST(CsvReader, KeepsBlanksUnlessTold) {
  EXPECT_EQ(ReadRows("  a , b\n")[0].fields, (Fields{"  a ", " b"}));
  EXPECT_EQ(ReadRows("\" a \",b \n")[0].fields, (Fields{" a ", "b "}));
  EXPECT_EQ(ReadRows("  a , \"b, c\" , d\nx , y\n", {.trim_blanks = true})[0].fields,
            (Fields{"a", "b, c", "d"}));
  EXPECT_EQ(ReadRows("x , y\n", {.trim_blanks = true})[0].fields, (Fields{"x", "y"}));
}

TEST(CsvReader, KnowsEachRowsPlaceAndBytes) {
  const std::string text = "h1,h2\r\n\r\n\"a\r\nb\",c\r\n   \nlast,row";
  MemorySource source(text);
  std::uint64_t blank_lines = 0;
  const auto rows = ReadRows(&source, {}, &blank_lines);
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(blank_lines, 2U);
  EXPECT_EQ(rows[1].fields, (Fields{"a\r\nb", "c"}));
  EXPECT_EQ(rows[1].line, 3U);
  EXPECT_EQ(rows[1].offset, 9U);
  EXPECT_EQ(rows[1].original, "\"a\r\nb\",c\r\n");
  EXPECT_EQ(rows[2].line, 6U);
  EXPECT_EQ(rows[2].original, "last,row");
  for (const Row& row : rows) EXPECT_EQ(row.original, text.substr(row.offset, row.size));
}

TEST(CsvReader, AQuoteInsideAnUnquotedFieldIsText) {
  const auto rows = ReadRows("5\" nails,\"a,b\"\nJoe \"Jo\" Doe,x\nnext,row\n");
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(rows[0].fields, (Fields{"5\" nails", "a,b"}));
  EXPECT_EQ(rows[1].fields, (Fields{"Joe \"Jo\" Doe", "x"}));
  EXPECT_EQ(rows[2].fields, (Fields{"next", "row"}));
}

TEST(CsvReader, TextAfterAClosingQuoteCostsOneLineOnly) {
  const auto rows = ReadRows("\"a\"b,c\n\"d\",e\n");
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0].fault, RowFault::kAfterQuote);
  EXPECT_TRUE(rows[0].fields.empty());
  EXPECT_EQ(rows[0].original, "\"a\"b,c\n");
  EXPECT_EQ(rows[1].fields, (Fields{"d", "e"}));
}

TEST(CsvReader, AQuoteThatNeverClosesCostsOneLineOnly) {
  std::string text = "a,\"open\n";
  for (int i = 0; i < 3000; ++i) text += "x" + std::to_string(i) + ",y\n";
  const auto rows = ReadRows(text);
  ASSERT_EQ(rows.size(), 3001U);
  EXPECT_EQ(rows[0].fault, RowFault::kOpenQuote);
  EXPECT_EQ(rows[0].original, "a,\"open\n");
  EXPECT_EQ(rows[1].fields, (Fields{"x0", "y"}));
  EXPECT_EQ(rows[1].line, 2U);
  EXPECT_EQ(rows[3000].line, 3001U);
}

TEST(CsvReader, AQuoteThatMeetsTheNextQuotedFieldIsTakenForOpen) {
  const auto rows = ReadRows("a,\"open,b\nc,\"d\",e\n");
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0].fault, RowFault::kOpenQuote);
  EXPECT_EQ(rows[1].fields, (Fields{"c", "d", "e"}));
}

TEST(CsvReader, AQuoteOpenAtTheEndIsAFault) {
  const auto rows = ReadRows("a,b\nlast,\"never closed,\nend");
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(rows[1].fault, RowFault::kOpenQuote);
  EXPECT_EQ(rows[1].original, "last,\"never closed,\n");
  EXPECT_EQ(rows[2].fields, (Fields{"end"}));
}

TEST(CsvReader, AQuotedFieldMayHoldManyLines) {
  std::string value = "first";
  for (int i = 0; i < 900; ++i) value += "\nline " + std::to_string(i);
  const auto rows = ReadRows("k,\"" + value + "\"\nnext,x\n");
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0].fields, (Fields{"k", value}));
  EXPECT_EQ(rows[1].line, 902U);
}

TEST(CsvReader, ACarriageReturnInsideALineIsText) {
  EXPECT_EQ(FieldsOf(ReadRows("a\rb,\"c\rd\"\nx,y\n")),
            (std::vector<Fields>{{"a\rb", "c\rd"}, {"x", "y"}}));
}

TEST(CsvReader, NulBytesAreKept) {
  EXPECT_EQ(ReadRows("a\0b,c\n"s)[0].fields, (Fields{"a\0b"s, "c"}));
  EXPECT_EQ(ReadRows("\"a\0b\",c\n"s)[0].fields, (Fields{"a\0b"s, "c"}));
}

TEST(CsvReader, WithoutAQuoteCharacterQuotesAreText) {
  EXPECT_EQ(ReadRows("\"a,b\"\n", {.quote = 0})[0].fields, (Fields{"\"a", "b\""}));
  EXPECT_EQ(ReadRows("'a,b',c\n", {.quote = '\''})[0].fields, (Fields{"a,b", "c"}));
}

TEST(CsvReader, ALineThatIsTooLongIsPassedOver) {
  const std::string text = "a,b\n" + std::string(kMaxRowBytes + 5'000'000, 'x') + "\nc,\"d\"\n";
  const auto rows = ReadRows(text);
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(rows[1].fault, RowFault::kTooLong);
  EXPECT_EQ(rows[1].offset, 4U);
  EXPECT_EQ(rows[1].size, kMaxRowBytes + 5'000'001);
  EXPECT_TRUE(rows[1].original.empty());
  EXPECT_EQ(rows[2].fields, (Fields{"c", "d"}));
  EXPECT_EQ(rows[2].line, 3U);
}

TEST(CsvReader, ALongRowWithinTheLimitIsWhole) {
  const std::string value(kMaxRowBytes - 100, 'y');
  EXPECT_EQ(ReadRows("k," + value + "\n")[0].fields, (Fields{"k", value}));
  EXPECT_EQ(ReadRows("k,\"" + value + "\"\nz\n")[0].fields, (Fields{"k", value}));
}

TEST(CsvReader, CountsOffsetsOfUtf16InItsOwnBytes) {
  const std::string units = "a\0,\0\xE4\0\n\0b\0,\0c\0\n\0"s;
  Utf16Source source(std::make_unique<MemorySource>(units), false);
  const auto rows = ReadRows(&source, {.utf16 = true});
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0].fields, (Fields{"a", "\xC3\xA4"}));
  EXPECT_EQ(rows[1].offset, 8U);
  EXPECT_EQ(rows[1].size, 8U);
}

TEST(CsvReader, GivesTheSameHoweverTheBytesArrive) {
  std::mt19937 random(11);
  constexpr char kLetters[] = "ab,\"\n\r ";
  for (unsigned round = 0; round < 400; ++round) {
    std::string text(random() % 200, 'a');
    for (char& c : text) c = kLetters[random() % 7];
    const auto whole = ReadRows(text);
    DribblingSource source(text, round);
    const auto dribbled = ReadRows(&source, {});
    ASSERT_EQ(whole.size(), dribbled.size()) << "round " << round;
    for (std::size_t i = 0; i < whole.size(); ++i) {
      EXPECT_EQ(whole[i].fields, dribbled[i].fields) << "round " << round;
      EXPECT_EQ(whole[i].original, dribbled[i].original) << "round " << round;
      EXPECT_EQ(text.substr(whole[i].offset, whole[i].size), whole[i].original);
    }
  }
}

TEST(CsvReader, WellFormedTextComesBackWhole) {
  std::mt19937 random(5);
  constexpr char kLetters[] = "ab,;\"\n\r '";
  for (int round = 0; round < 300; ++round) {
    std::vector<Fields> rows(1 + random() % 5, Fields(3));
    std::string text;
    for (Fields& row : rows) {
      for (std::size_t f = 0; f < row.size(); ++f) {
        row[f].resize(random() % 6);
        for (char& c : row[f]) c = kLetters[random() % 9];
        text += f == 0 ? "\"" : ",\"";
        for (const char c : row[f]) text += c == '"' ? std::string("\"\"") : std::string(1, c);
        text += '"';
      }
      text += round % 2 == 0 ? "\r\n" : "\n";
    }
    EXPECT_EQ(FieldsOf(ReadRows(text)), rows) << "round " << round << ": " << text;
  }
}

}  // namespace
}  // namespace pv::cli
