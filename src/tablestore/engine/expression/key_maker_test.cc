// Key bytes, and the keys that seeking texts stand for.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "base/date.h"
#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/expression/test_table.h"

namespace pv::engine::expr {
namespace {

class KeyMakerTest : public testing::Test {
 protected:
  KeyMakerTest() {
    table_.Add("NAME", FieldLetter::kCharacter, 8)
        .Add("LONG", FieldLetter::kCharacter, 240)
        .Add("LONGER", FieldLetter::kCharacter, 241)
        .Add("AMT", FieldLetter::kNumeric, 10, false, 2)
        .Add("ID", FieldLetter::kInteger, 4)
        .Add("RATE", FieldLetter::kDouble, 8)
        .Add("PRICE", FieldLetter::kCurrency, 8)
        .Add("BORN", FieldLetter::kDate, 8)
        .Add("SEEN", FieldLetter::kDateTime, 8)
        .Add("OK", FieldLetter::kLogical, 1)
        .Add("WIDE", FieldLetter::kUnicode, 8)
        .Add("VAR", FieldLetter::kVarchar, 6)
        .Add("NNAME", FieldLetter::kCharacter, 4, true)
        .Add("NLONG", FieldLetter::kCharacter, 240, true)
        .Add("NID", FieldLetter::kInteger, 4, true)
        .Add("NPRICE", FieldLetter::kCurrency, 8, true)
        .Add("NBORN", FieldLetter::kDate, 8, true)
        .Add("NOK", FieldLetter::kLogical, 1, true);
    record_ = table_.NewRecord();
  }

  Result<KeyMaker> Make(const std::string& text, std::size_t stored_length = 0) {
    auto e = Expression::Compile(text, table_.layout());
    if (!e.ok()) return e.status();
    return KeyMaker::Create(std::move(*e), stored_length);
  }

  // The key of the record, with guards on both sides of it.
  std::string Key(const std::string& text, std::size_t stored_length = 0) {
    const auto maker = Make(text, stored_length);
    if (!maker.ok()) return maker.status().message();
    std::vector<std::uint8_t> buffer(maker->key_length() + 2, 0xAA);
    EXPECT_TRUE(maker->MakeKey(record_.data(), 1, buffer.data() + 1).ok());
    EXPECT_EQ(buffer.front(), 0xAA) << text;
    EXPECT_EQ(buffer.back(), 0xAA) << text;
    return Hex(buffer.data() + 1, maker->key_length());
  }

  // The key of a seeking text and its exact length, "-" before it when the text is no value.
  std::string Seek(const std::string& text, std::string_view sought,
                   std::size_t stored_length = 0) {
    const auto maker = Make(text, stored_length);
    if (!maker.ok()) return maker.status().message();
    std::vector<std::uint8_t> buffer(maker->key_length() + 2, 0xAA);
    std::size_t exact = 999;
    const bool read = maker->KeyFromText(sought, buffer.data() + 1, &exact);
    EXPECT_EQ(buffer.front(), 0xAA) << text;
    EXPECT_EQ(buffer.back(), 0xAA) << text;
    EXPECT_LE(exact, maker->key_length());
    return (read ? "" : "-") + Hex(buffer.data() + 1, maker->key_length()) + "/" +
           std::to_string(exact);
  }

  TestTable table_;
  std::vector<std::uint8_t> record_;
};

TEST_F(KeyMakerTest, Kinds) {
  const struct {
    const char* text;
    std::size_t stored_length;
    KeyKind kind;
    std::size_t length;
    bool nullable;
  } cases[] = {
      {"name", 0, KeyKind::kCharacter, 8, false},
      {"name", 8, KeyKind::kCharacter, 8, false},
      {"upper(name)+dtos(born)", 16, KeyKind::kCharacter, 16, false},
      {"trim(name)", 8, KeyKind::kCharacter, 8, false},
      {"long", 0, KeyKind::kCharacter, 240, false},
      {"amt", 0, KeyKind::kNumeric, 8, false},
      {"rate", 8, KeyKind::kNumeric, 8, false},
      {"id", 0, KeyKind::kInteger, 4, false},
      {"id", 4, KeyKind::kInteger, 4, false},
      {"id", 8, KeyKind::kNumeric, 8, false},
      {"(id)", 0, KeyKind::kInteger, 4, false},
      {"id+1", 0, KeyKind::kNumeric, 8, false},
      {"-id", 8, KeyKind::kNumeric, 8, false},
      {"price", 0, KeyKind::kCurrency, 8, false},
      {"price+0", 0, KeyKind::kNumeric, 8, false},
      {"born", 0, KeyKind::kDate, 8, false},
      {"seen", 0, KeyKind::kDateTime, 8, false},
      {"ok", 0, KeyKind::kLogical, 1, false},
      {"deleted()", 1, KeyKind::kLogical, 1, false},
      {"nname", 0, KeyKind::kCharacter, 5, true},
      {"nname", 5, KeyKind::kCharacter, 5, true},
      {"nname", 4, KeyKind::kCharacter, 4, false},
      {"upper(nname)", 0, KeyKind::kCharacter, 5, true},
      {"nid", 0, KeyKind::kInteger, 5, true},
      {"nid", 5, KeyKind::kInteger, 5, true},
      {"nid", 4, KeyKind::kInteger, 4, false},
      {"nid", 9, KeyKind::kNumeric, 9, true},
      {"nid", 8, KeyKind::kNumeric, 8, false},
      {"nprice", 9, KeyKind::kCurrency, 9, true},
      {"nborn", 0, KeyKind::kDate, 9, true},
      {"nok", 2, KeyKind::kLogical, 2, true},
      {"isnull(nid)", 2, KeyKind::kLogical, 2, true},
      {"isnull(nid)", 1, KeyKind::kLogical, 1, false},
      // Where a count is computed the width is a guess, and the tag's own length counts.
      {"padl(name,id)", 12, KeyKind::kCharacter, 12, false},
      {"left(name,id)", 0, KeyKind::kCharacter, 8, false},
      {"left(name,id)", 5, KeyKind::kCharacter, 5, false},
      {"iif(ok,name,'x')", 3, KeyKind::kCharacter, 3, false},
  };
  for (const auto& c : cases) {
    const auto maker = Make(c.text, c.stored_length);
    ASSERT_TRUE(maker.ok()) << maker.status().message();
    EXPECT_EQ(maker->kind(), c.kind) << c.text << " " << c.stored_length;
    EXPECT_EQ(maker->key_length(), c.length) << c.text << " " << c.stored_length;
    EXPECT_EQ(maker->nullable(), c.nullable) << c.text << " " << c.stored_length;
    EXPECT_EQ(maker->fill_byte(), c.kind == KeyKind::kCharacter ? 0x20 : 0x00);
  }
}

TEST_F(KeyMakerTest, Refusals) {
  const struct {
    const char* text;
    std::size_t stored_length;
    StatusCode code;
    std::int32_t detail;
  } cases[] = {
      {"longer", 0, StatusCode::kLimit, kErrTagLimit},
      {"long+name", 0, StatusCode::kLimit, kErrTagLimit},
      {"nlong", 0, StatusCode::kLimit, kErrTagLimit},  // the null byte is the 241st
      {"padl(name,id)", 0, StatusCode::kLimit, kErrTagLimit},
      {"longer", 241, StatusCode::kLimit, kErrTagLimit},
      {"''", 0, StatusCode::kInvalid, kErrExpression},
      {"left(name,0)", 0, StatusCode::kInvalid, kErrExpression},
      {"name", 9, StatusCode::kCorrupt, kErrIndexDamaged},
      {"name", 7, StatusCode::kCorrupt, kErrIndexDamaged},
      {"nname", 6, StatusCode::kCorrupt, kErrIndexDamaged},
      {"nname", 3, StatusCode::kCorrupt, kErrIndexDamaged},
      {"id", 5, StatusCode::kCorrupt, kErrIndexDamaged},
      {"id+1", 4, StatusCode::kCorrupt, kErrIndexDamaged},
      {"amt", 4, StatusCode::kCorrupt, kErrIndexDamaged},
      {"amt", 9, StatusCode::kCorrupt, kErrIndexDamaged},
      {"nid", 6, StatusCode::kCorrupt, kErrIndexDamaged},
      {"ok", 2, StatusCode::kCorrupt, kErrIndexDamaged},
      {"born", 1, StatusCode::kCorrupt, kErrIndexDamaged},
      {"left(name,id)", 241, StatusCode::kLimit, kErrTagLimit},
  };
  for (const auto& c : cases) {
    const auto maker = Make(c.text, c.stored_length);
    ASSERT_FALSE(maker.ok()) << c.text;
    EXPECT_EQ(maker.status().code(), c.code) << c.text << ": " << maker.status().message();
    EXPECT_EQ(maker.status().detail(), c.detail) << c.text;
    EXPECT_NE(maker.status().message().find(c.text), std::string::npos) << maker.status().message();
  }
}

TEST_F(KeyMakerTest, NumbersAsBytes) {
  table_.Put(&record_, "AMT", "    -12.50");
  EXPECT_EQ(Key("amt"), "3FD6FFFFFFFFFFFF");
  table_.Put(&record_, "AMT", "         0");
  EXPECT_EQ(Key("amt"), "8000000000000000");
  table_.Put(&record_, "AMT", "");
  EXPECT_EQ(Key("amt"), "8000000000000000");
  table_.Put(&record_, "AMT", "  99999.99");
  EXPECT_EQ(Key("amt"), "C0F869FFD70A3D71");
  table_.Put(&record_, "AMT", "     -0.00");
  EXPECT_EQ(Key("amt"), "8000000000000000");
  EXPECT_EQ(Key("amt*-1"), "8000000000000000");
  table_.PutDouble(&record_, "RATE", -12.5);
  EXPECT_EQ(Key("rate"), "3FD6FFFFFFFFFFFF");
  table_.PutDouble(&record_, "RATE", -0.0);
  EXPECT_EQ(Key("rate"), "8000000000000000");
  table_.PutDouble(&record_, "RATE", std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(Key("rate"), "8000000000000000");
  table_.PutDouble(&record_, "RATE", -std::numeric_limits<double>::infinity());
  EXPECT_EQ(Key("rate"), "8000000000000000");
  EXPECT_EQ(Key("1/0"), "8000000000000000");
  EXPECT_EQ(Key("nid/0", 8), "8000000000000000");
  EXPECT_EQ(Key("nid/0", 9), "000000000000000000");
}

TEST_F(KeyMakerTest, IntegersAndCurrency) {
  table_.PutInteger(&record_, "ID", 1);
  EXPECT_EQ(Key("id"), "80000001");
  EXPECT_EQ(Key("id", 8), "BFF0000000000000");
  table_.PutInteger(&record_, "ID", -1);
  EXPECT_EQ(Key("id"), "7FFFFFFF");
  table_.PutInteger(&record_, "ID", std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(Key("id"), "00000000");
  table_.PutInteger(&record_, "NID", 1);
  EXPECT_EQ(Key("nid"), "8080000001");
  EXPECT_EQ(Key("nid", 9), "80BFF0000000000000");
  table_.PutNull(&record_, "NID");
  EXPECT_EQ(Key("nid"), "0000000000");
  EXPECT_EQ(Key("nid", 9), "000000000000000000");
  EXPECT_EQ(Key("nid", 4), "80000000");
  EXPECT_EQ(Key("nid", 8), "8000000000000000");

  table_.PutCurrency(&record_, "PRICE", 12'345);
  EXPECT_EQ(Key("price"), "8000000000003039");
  table_.PutCurrency(&record_, "PRICE", -1);
  EXPECT_EQ(Key("price"), "7FFFFFFFFFFFFFFF");
  table_.PutCurrency(&record_, "NPRICE", 12'345);
  EXPECT_EQ(Key("nprice"), "808000000000003039");
  table_.PutNull(&record_, "NPRICE");
  EXPECT_EQ(Key("nprice"), "000000000000000000");
  EXPECT_EQ(Key("nprice", 8), "8000000000000000");
}

TEST_F(KeyMakerTest, DatesAndLogicals) {
  table_.Put(&record_, "BORN", "20240229");
  EXPECT_EQ(Key("born"), "C142C56900000000");
  table_.Put(&record_, "BORN", "");
  EXPECT_EQ(Key("born"), "8000000000000000");
  table_.Put(&record_, "NBORN", "20240229");
  EXPECT_EQ(Key("nborn"), "80C142C56900000000");
  table_.PutNull(&record_, "NBORN");
  EXPECT_EQ(Key("nborn"), "000000000000000000");

  table_.PutDateTime(&record_, "SEEN", 0, 0);
  EXPECT_EQ(Key("seen"), "8000000000000000");
  table_.PutDateTime(&record_, "SEEN", 2460370, 43'200'000);  // noon: half a day
  EXPECT_EQ(Key("seen"), "C142C56940000000");
  table_.PutDateTime(&record_, "SEEN", 2460370, 0);
  EXPECT_EQ(Key("seen"), "C142C56900000000");

  EXPECT_EQ(Key("ok"), "46");
  table_.Put(&record_, "OK", "y");
  EXPECT_EQ(Key("ok"), "54");
  table_.Put(&record_, "NOK", "T");
  EXPECT_EQ(Key("nok"), "8054");
  table_.PutNull(&record_, "NOK");
  EXPECT_EQ(Key("nok"), "0000");
  EXPECT_EQ(Key("nok", 1), "46");
  EXPECT_EQ(Key("deleted()"), "46");
}

TEST_F(KeyMakerTest, Texts) {
  table_.Put(&record_, "NAME",
             "Kn\xF6"
             "del");
  EXPECT_EQ(Key("name"), "4B6EF664656C2020");
  EXPECT_EQ(Key("upper(name)"), "4B4ED644454C2020");
  EXPECT_EQ(Key("lower(name)"), "6B6EF664656C2020");
  EXPECT_EQ(Key("trim(name)"), "4B6EF664656C2020");
  EXPECT_EQ(Key("trim(name)+'x'"), "4B6EF664656C782020");
  EXPECT_EQ(Key("left(name,2)"), "4B6E");
  EXPECT_EQ(Key("left(name,len(name)-6)", 3), "4B6E20");
  EXPECT_EQ(Key("padr(name,recno()+9)", 4), "4B6EF664");  // cut to what the tag has
  table_.Put(&record_, "VAR", "ab");
  table_.PutLength(&record_, "VAR", 2);
  EXPECT_EQ(Key("var"), "616220202020");
  EXPECT_EQ(Key("upper(var)"), "414220202020");
  table_.Put(&record_, "WIDE", std::string_view("a\0b\0\0\0\0\0", 8));
  EXPECT_EQ(Key("wide"), "6100620000000000");

  table_.Put(&record_, "NNAME", "ab");
  EXPECT_EQ(Key("nname"), "8061622020");
  EXPECT_EQ(Key("upper(nname)"), "8041422020");
  EXPECT_EQ(Key("nname+'!'"), "806162202021");
  table_.PutNull(&record_, "NNAME");
  EXPECT_EQ(Key("nname"), "0000000000");
  EXPECT_EQ(Key("upper(nname)"), "0000000000");
  EXPECT_EQ(Key("nname+'!'"), "000000000000");
  EXPECT_EQ(Key("nname", 4), "20202020");
  EXPECT_EQ(Key("upper(nname)", 4), "20202020");
  EXPECT_EQ(Key("nname+'!'", 5), "2020202020");
}

TEST_F(KeyMakerTest, SeekingTexts) {
  EXPECT_EQ(Seek("name", "ab"), "6162202020202020/2");
  EXPECT_EQ(Seek("name", ""), "2020202020202020/0");
  EXPECT_EQ(Seek("name", "abcdefgh"), "6162636465666768/8");
  EXPECT_EQ(Seek("name", "abcdefghij"), "6162636465666768/8");
  EXPECT_EQ(Seek("name", "ab  "), "6162202020202020/4");
  EXPECT_EQ(Seek("nname", "ab"), "8061622020/3");
  EXPECT_EQ(Seek("nname", ""), "8020202020/1");
  EXPECT_EQ(Seek("nname", "ab", 4), "61622020/2");
  EXPECT_EQ(Seek("wide", "a\xF6"), "6100F60000000000/4");
  EXPECT_EQ(Seek("wide", "abcdef"), "6100620063006400/8");
}

TEST_F(KeyMakerTest, SeekingNumbers) {
  EXPECT_EQ(Seek("amt", "-12.5"), "3FD6FFFFFFFFFFFF/8");
  EXPECT_EQ(Seek("amt", "  -12.50 "), "3FD6FFFFFFFFFFFF/8");
  EXPECT_EQ(Seek("amt", "0"), "8000000000000000/8");
  EXPECT_EQ(Seek("amt", "-0"), "8000000000000000/8");
  EXPECT_EQ(Seek("amt", "99999.99"), "C0F869FFD70A3D71/8");
  for (const char* bad : {"", " ", "abc", "1e3", "12x", "1,5"}) {
    EXPECT_EQ(Seek("amt", bad), "-8000000000000000/8") << bad;
    EXPECT_EQ(Seek("id", bad), "-80000000/4") << bad;
    EXPECT_EQ(Seek("price", bad), "-8000000000000000/8") << bad;
    EXPECT_EQ(Seek("nid", bad), "-8080000000/5") << bad;
    EXPECT_EQ(Seek("nid", bad, 9), "-808000000000000000/9") << bad;
  }
  EXPECT_EQ(Seek("id", "1"), "80000001/4");
  EXPECT_EQ(Seek("id", "1", 8), "BFF0000000000000/8");
  EXPECT_EQ(Seek("id", "1.00"), "80000001/4");
  EXPECT_EQ(Seek("id", "1.5"), "-80000000/4");
  EXPECT_EQ(Seek("id", "1.5", 8), "BFF8000000000000/8");
  EXPECT_EQ(Seek("id", "-2147483648"), "00000000/4");
  EXPECT_EQ(Seek("id", "2147483648"), "-80000000/4");
  EXPECT_EQ(Seek("nid", "1"), "8080000001/5");
  EXPECT_EQ(Seek("price", "1.2345"), "8000000000003039/8");
  EXPECT_EQ(Seek("price", "-0.0001"), "7FFFFFFFFFFFFFFF/8");
  EXPECT_EQ(Seek("price", "1.23456"), "-8000000000000000/8");
}

TEST_F(KeyMakerTest, SeekingDatesAndLogicals) {
  EXPECT_EQ(Seek("born", "20240229"), "C142C56900000000/8");
  EXPECT_EQ(Seek("born", " 20240229 "), "C142C56900000000/8");
  EXPECT_EQ(Seek("born", ""), "8000000000000000/8");
  EXPECT_EQ(Seek("born", "        "), "8000000000000000/8");
  EXPECT_EQ(Seek("nborn", "20240229"), "80C142C56900000000/9");
  for (const char* bad : {"2024022", "20230229", "2024-02-29", "2024022913:45:00", "x"}) {
    EXPECT_EQ(Seek("born", bad), "-8000000000000000/8") << bad;
  }
  EXPECT_EQ(Seek("seen", "2024022912:00:00"), "C142C56940000000/8");
  EXPECT_EQ(Seek("seen", "20240229"), "C142C56900000000/8");
  EXPECT_EQ(Seek("seen", ""), "8000000000000000/8");
  for (const char* bad : {"2024022924:00:00", "2024022912:60:00", "2024022912:00:60",
                          "2024022912:00", "20240229 12:00:00", "2024022912.00.00"}) {
    EXPECT_EQ(Seek("seen", bad), "-8000000000000000/8") << bad;
  }
  for (const char* yes : {"T", "t", "Y", "y", ".T.", ".y.", " T "}) {
    EXPECT_EQ(Seek("ok", yes), "54/1") << yes;
  }
  for (const char* no : {"F", "f", "N", "n", ".F.", ".n."}) EXPECT_EQ(Seek("ok", no), "46/1") << no;
  for (const char* bad : {"", "x", "TT", ".T", "..", "1", "..."}) {
    EXPECT_EQ(Seek("ok", bad), "-46/1") << bad;
  }
  EXPECT_EQ(Seek("nok", "T"), "8054/2");
}

// A text that names a stored value finds exactly its key.
TEST_F(KeyMakerTest, SeekingTextsMeetTheKeysOfRecords) {
  std::mt19937 random(3);
  const auto seen = Make("seen");
  ASSERT_TRUE(seen.ok());
  for (int n = 0; n < 20'000; ++n) {
    const auto julian = static_cast<std::int32_t>(1721426 + random() % (5373484 - 1721426));
    const auto seconds = static_cast<std::int32_t>(random() % 86400);
    // Stored times can be off by part of a second.
    const auto off = static_cast<std::int32_t>(random() % 900) - 450;
    table_.PutDateTime(&record_, "SEEN", julian, std::clamp(seconds * 1000 + off, 0, 86'399'499));
    const std::string date = FormatDigits(*DateFromJulian(julian));
    char text[32];
    std::snprintf(text, sizeof text, "%s%02d:%02d:%02d", date.c_str(), seconds / 3600,
                  seconds / 60 % 60, seconds % 60);
    EXPECT_EQ(Seek("seen", text), Key("seen") + "/8") << text;
  }
}

// Bytes order as values do.
TEST_F(KeyMakerTest, KeysOrderAsValues) {
  std::mt19937_64 random(5);
  const auto ordered = [](const std::string& a, const std::string& b, auto x, auto y) {
    return (a < b) == (x < y) && (a == b) == (x == y);
  };
  for (int n = 0; n < 20'000; ++n) {
    const double scale = std::pow(10.0, static_cast<double>(random() % 40) - 20);
    double numbers[2];
    std::string keys[2];
    for (int k = 0; k < 2; ++k) {
      numbers[k] = static_cast<double>(static_cast<std::int64_t>(random() % 2001) - 1000) * scale;
      table_.PutDouble(&record_, "RATE", numbers[k]);
      keys[k] = Key("rate");
    }
    ASSERT_TRUE(ordered(keys[0], keys[1], numbers[0], numbers[1])) << numbers[0] << numbers[1];

    std::int32_t integers[2];
    for (int k = 0; k < 2; ++k) {
      integers[k] = static_cast<std::int32_t>(random() >> (random() % 32));
      table_.PutInteger(&record_, "ID", integers[k]);
      keys[k] = Key("id");
    }
    ASSERT_TRUE(ordered(keys[0], keys[1], integers[0], integers[1]));

    std::int64_t units[2];
    for (int k = 0; k < 2; ++k) {
      units[k] = static_cast<std::int64_t>(random());
      table_.PutCurrency(&record_, "PRICE", units[k]);
      keys[k] = Key("price");
    }
    ASSERT_TRUE(ordered(keys[0], keys[1], units[0], units[1]));

    std::int64_t moments[2];
    for (int k = 0; k < 2; ++k) {
      const auto julian = static_cast<std::int32_t>(2460370 + random() % 3);
      const auto seconds = static_cast<std::int32_t>(random() % 86400);
      moments[k] = julian * std::int64_t{86400} + seconds;
      table_.PutDateTime(&record_, "SEEN", julian, seconds * 1000);
      keys[k] = Key("seen");
    }
    ASSERT_TRUE(ordered(keys[0], keys[1], moments[0], moments[1]));
  }
}

TEST_F(KeyMakerTest, SortableBinaryTextsOrderAsNumbers) {
  std::mt19937 random(9);
  for (int n = 0; n < 2'000; ++n) {
    std::string keys[2];
    std::int32_t integers[2];
    for (int k = 0; k < 2; ++k) {
      integers[k] = static_cast<std::int32_t>(random()) >> (random() % 32);
      table_.PutInteger(&record_, "ID", integers[k]);
      keys[k] = Key("bintoc(id)");
    }
    ASSERT_EQ(keys[0] < keys[1], integers[0] < integers[1]);
  }
}

TEST_F(KeyMakerTest, CopiesShareTheExpression) {
  auto maker = Make("name");
  ASSERT_TRUE(maker.ok());
  const KeyMaker copy = *maker;
  maker = Make("id");
  table_.Put(&record_, "NAME", "abc");
  std::uint8_t key[8];
  ASSERT_TRUE(copy.MakeKey(record_.data(), 1, key).ok());
  EXPECT_EQ(Hex(key, 8), "6162632020202020");
}

}  // namespace
}  // namespace pv::engine::expr
