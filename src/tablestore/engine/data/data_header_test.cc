#include "tablestore/engine/data/data_header.h"

#include <gtest/gtest.h>

#include "base/bytes.h"
#include "tablestore/engine/error_codes.h"

namespace pv::engine {
namespace {

const CivilDate kToday{2026, 11, 21};

std::vector<NewField> Fields() {
  return {{"Email", 'C', 100}, {"First", 'C', 40, 0, true}, {"Note", 'M'},     {"Wide", 'W', 20},
          {"Bin", 'Z', 10},    {"Score", 'N', 10, 2, true}, {"Price", 'Y', 0}, {"Joined", 'D', 99},
          {"Seen", 'T'},       {"Ratio", 'B', 0, 3},        {"Rank", 'I'},     {"Active", 'L', 7},
          {"Raw", 'X'},        {"Float", 'F', 12, 4},       {"Gen", 'G'}};
}

std::string Build(const std::vector<NewField>& fields) {
  auto header = BuildDataHeader(fields, true, 1252, kToday);
  EXPECT_TRUE(header.ok()) << header.status().message();
  return header.ok() ? *header : std::string();
}

Result<DataHeader> Parse(const std::string& bytes) {
  return ParseDataHeader(bytes, "t.dbf", CodePage::Windows1252());
}

TEST(DataHeader, BuiltHeadersAreReadBack) {
  const std::string bytes = Build(Fields());
  EXPECT_EQ(bytes.size(), 32 + 16 * 32 + 1 + 263 + 1U);
  auto h = Parse(bytes);
  ASSERT_TRUE(h.ok()) << h.status().message();
  EXPECT_EQ(h->version, TableVersion::kVisual);
  EXPECT_EQ(h->record_count, 0U);
  EXPECT_EQ(h->flags, kFlagStructuralIndex | kFlagMemo);
  EXPECT_EQ(h->code_page_mark, 0x03);
  EXPECT_TRUE(h->has_null_flags);
  ASSERT_EQ(h->layout.fields.size(), 15U);  // _NullFlags is not among them
  EXPECT_EQ(h->layout.record_length,
            1 + 100 + 40 + 4 + 20 + 10 + 10 + 8 + 8 + 8 + 8 + 4 + 1 + 4 + 12 + 4 + 1U);
  std::string letters;
  for (const FieldLayout& f : h->layout.fields) letters += static_cast<char>(f.type);
  EXPECT_EQ(letters, "CCMWZNYDTBILXFG");
  EXPECT_EQ(h->layout.fields[7].length, 8);   // a date, whatever was asked for
  EXPECT_EQ(h->layout.fields[11].length, 1);  // a logical
  EXPECT_EQ(h->layout.fields[1].null_bit, 0);
  EXPECT_EQ(h->layout.fields[5].null_bit, 1);
}

TEST(DataHeader, LimitsNameTheFieldAndTheLimit) {
  const auto expect = [](const std::vector<NewField>& fields, std::int32_t code,
                         const std::string& text) {
    auto header = BuildDataHeader(fields, false, 1252, kToday);
    ASSERT_FALSE(header.ok()) << text;
    EXPECT_EQ(header.status().detail(), code);
    EXPECT_NE(header.status().message().find(text), std::string::npos) << header.status().message();
  };
  expect({}, kErrFieldLimit, "at least one field");
  expect({{"A", 'C', 255}}, kErrFieldLimit, "field A: the length is 1 to 254, not 255");
  expect({{"A", 'C', 0}}, kErrFieldLimit, "not 0");
  expect({{"ELEVENCHARS", 'C', 1}}, kErrFieldLimit, "1 to 10 characters");
  expect({{"A B", 'C', 1}}, kErrFieldLimit, "only letters");
  expect({{"1A", 'C', 1}}, kErrFieldLimit, "begins with a letter");
  expect({{"A", 'C', 1}, {"a", 'C', 1}}, kErrFieldLimit, "taken");
  expect({{"A", 'N', 21}}, kErrFieldLimit, "1 to 20");
  expect({{"A", 'N', 5, 4}}, kErrFieldLimit, "4 decimals");
  expect({{"A", 'Q', 5}}, kErrFieldType, "no such field type");
  expect({{"A", '\0', 5}}, kErrFieldType, "no such field type");
  std::vector<NewField> many;
  for (int i = 0; i < 256; ++i) many.push_back({"F" + std::to_string(i), 'L'});
  expect(many, kErrFieldLimit, "255 fields, not 256");
  many.pop_back();
  for (NewField& f : many) f = {f.name, 'C', 254};
  EXPECT_TRUE(BuildDataHeader(many, false, 1252, kToday).ok());  // 64,771 bytes a record
  for (NewField& f : many) f.nullable = true;
  EXPECT_TRUE(BuildDataHeader(many, false, 1252, kToday).ok());
}

TEST(DataHeader, OldVersionsMayHaveNoOffsets) {
  // dBASE III layout: no back-link, field offsets zero, memo pointers of ten digits.
  std::string bytes(32 + 2 * 32 + 1, '\0');
  bytes[0] = '\xF5';
  StoreLe32(bytes.data() + 4, 7);
  StoreLe16(bytes.data() + 8, static_cast<std::uint16_t>(bytes.size()));
  StoreLe16(bytes.data() + 10, 1 + 20 + 10);
  bytes.replace(32, 4, "NAME");
  bytes[32 + 11] = 'C';
  bytes[32 + 16] = 20;
  bytes.replace(64, 4, "MEMO");
  bytes[64 + 11] = 'M';
  bytes[64 + 16] = 10;
  bytes[96] = 0x0D;
  auto h = Parse(bytes);
  ASSERT_TRUE(h.ok()) << h.status().message();
  EXPECT_EQ(h->record_count, 7U);
  EXPECT_EQ(h->layout.fields[1].offset, 21U);
}

TEST(DataHeader, OtherFilesAreNotTables) {
  for (const std::string& bytes : {std::string(), std::string("\x8B") + std::string(100, '\0'),
                                   std::string("PK\3\4 some archive, not a table at all.....")}) {
    auto h = Parse(bytes);
    ASSERT_FALSE(h.ok());
    EXPECT_EQ(h.status().detail(), kErrNotTable) << h.status().message();
  }
}

TEST(DataHeader, EveryCutIsAnError) {
  const std::string bytes = Build(Fields());
  for (std::size_t n = 0; n + 1 < bytes.size(); ++n) {
    EXPECT_FALSE(Parse(bytes.substr(0, n)).ok()) << n;
  }
}

// A flipped bit gives an error or a layout that stays inside its record.
TEST(DataHeader, EveryFlippedBitIsSafe) {
  const std::string bytes = Build(Fields());
  for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit) {
    std::string flipped = bytes;
    flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << (bit % 8)));
    auto h = Parse(flipped);
    if (!h.ok()) {
      EXPECT_FALSE(h.status().message().empty());
      continue;
    }
    for (const FieldLayout& f : h->layout.fields) {
      ASSERT_LE(f.offset + f.length, h->layout.record_length);
      if (f.nullable) {
        ASSERT_LT(f.null_bit / 8, h->layout.null_flags_length);
      }
    }
    ASSERT_LE(h->layout.null_flags_offset + h->layout.null_flags_length, h->layout.record_length);
  }
}

}  // namespace
}  // namespace pv::engine
