// Tables of the older and newer versions that are opened, but not created: built here byte by byte.
#include "base/bytes.h"
#include "tablestore/engine/engine_test_support.h"

namespace pv::engine {
namespace {

struct Column {
  std::string name;
  char letter;
  std::uint8_t length;
  std::uint8_t decimals = 0;
  std::uint8_t flags = 0;
  std::uint32_t next = 0;  // of an auto-increment column
  std::uint8_t step = 0;
};

std::string BuildTable(std::uint8_t version, const std::vector<Column>& columns,
                       const std::vector<std::string>& records, std::uint8_t flags = 0) {
  const bool visual = version >= 0x30 && version <= 0x32;
  std::string out(32, '\0');
  std::uint32_t offset = 1;
  for (const Column& c : columns) {
    std::string d(32, '\0');
    d.replace(0, c.name.size(), c.name);
    d[11] = c.letter;
    if (visual) StoreLe32(d.data() + 12, offset);
    d[16] = static_cast<char>(c.length);
    d[17] = static_cast<char>(c.decimals);
    d[18] = static_cast<char>(c.flags);
    StoreLe32(d.data() + 19, c.next);
    d[23] = static_cast<char>(c.step);
    out += d;
    offset += c.length;
  }
  out += '\x0D';
  if (visual) out.append(263, '\0');
  out[0] = static_cast<char>(version);
  StoreLe32(out.data() + 4, static_cast<std::uint32_t>(records.size()));
  StoreLe16(out.data() + 8, static_cast<std::uint16_t>(out.size()));
  StoreLe16(out.data() + 10, static_cast<std::uint16_t>(offset));
  out[28] = static_cast<char>(flags);
  out[29] = 0x03;
  for (const std::string& r : records) {
    EXPECT_EQ(r.size(), offset);
    out += r;
  }
  return out + '\x1A';
}

class OldVersionsTest : public EngineTest {
 protected:
  std::string Text(const char* name) {
    const Handle f = t_.Field(name);
    return Trimmed(f4ptr(f), f4len_v(f));
  }
  TestSession t_;
};

TEST_F(OldVersionsTest, Version03IsReadChangedAndCompacted) {
  files().Put("/data/old.dbf", BuildTable(0x03, {{"NAME", 'C', 5}, {"N", 'N', 4, 1}},
                                          {" Anna  1.5", "*Bert  2.5", " Carl  3.5"}));
  ASSERT_TRUE(t_.Open("/data/old.dbf", 1)) << t_.Error();
  EXPECT_EQ(d4info(t_.table()).version, 0x03);
  ASSERT_EQ(d4go(t_.table(), 3), kSuccess);
  EXPECT_EQ(Text("NAME"), "Carl");
  EXPECT_EQ(f4double(t_.Field("N")), 3.5);
  f4assignCharVB(t_.Field("NAME"), "Carla");
  ASSERT_EQ(d4writeVB(t_.table(), 3), kSuccess) << t_.Error();
  d4appendStart(t_.table(), 0);
  f4assignCharVB(t_.Field("NAME"), "Dora");
  f4assignDouble(t_.Field("N"), 4);
  ASSERT_EQ(d4append(t_.table()), kSuccess) << t_.Error();
  ASSERT_EQ(d4pack(t_.table()), kSuccess) << t_.Error();
  EXPECT_EQ(t_.CheckFindings(), "");
  ASSERT_EQ(t_.Close(), kSuccess);
  const std::string bytes = files().Get("/data/old.dbf");
  EXPECT_EQ(bytes.substr(bytes.size() - 31), " Anna  1.5 Carla 3.5 Dora  4.0\x1A");
}

TEST_F(OldVersionsTest, VersionF5KeepsMemoPointersAsDigits) {
  std::string memo(512, '\0');
  StoreBe32(memo.data(), 9);
  StoreBe16(memo.data() + 6, 64);
  memo += std::string("\0\0\0\1\0\0\0\5hello", 13) + std::string(51, '\0');
  files().Put("/data/f5.dbf", BuildTable(0xF5, {{"A", 'C', 2}, {"M", 'M', 10}},
                                         {" a          8", " b           "}));
  files().Put("/data/f5.fpt", memo);
  ASSERT_TRUE(t_.Open("/data/f5.dbf", 1)) << t_.Error();
  const auto note = [&](std::int32_t r) {
    EXPECT_EQ(d4go(t_.table(), r), kSuccess);
    return Trimmed(f4memoPtr(t_.Field("M")), f4memoLen(t_.Field("M")));
  };
  EXPECT_EQ(note(1), "hello");
  EXPECT_EQ(note(2), "");
  f4memoAssign(t_.Field("M"), "a longer memo, in blocks of its own");
  ASSERT_EQ(d4writeVB(t_.table(), 2), kSuccess) << t_.Error();
  ASSERT_EQ(d4go(t_.table(), 1), kSuccess);
  ASSERT_EQ(d4delete(t_.table()), kSuccess);
  ASSERT_EQ(d4pack(t_.table()), kSuccess) << t_.Error();
  EXPECT_EQ(note(1), "a longer memo, in blocks of its own");
  EXPECT_EQ(t_.CheckFindings(), "");
  const std::string bytes = files().Get("/data/f5.dbf");
  EXPECT_EQ(bytes.substr(bytes.size() - 14), " b          8\x1A");
}

TEST_F(OldVersionsTest, Version31CountsItsAutoIncrementFieldOn) {
  files().Put("/data/auto.dbf",
              BuildTable(0x31, {{"ID", 'I', 4, 0, 0x0C, 7, 2}, {"A", 'C', 2, 0}}, {}));
  for (int round = 0; round < 2; ++round) {
    ASSERT_TRUE(t_.Open("/data/auto.dbf")) << t_.Error();
    d4appendStart(t_.table(), 0);
    f4assignCharVB(t_.Field("A"), "x");
    ASSERT_EQ(d4append(t_.table()), kSuccess) << t_.Error();
    EXPECT_EQ(f4long(t_.Field("ID")), 7 + 2 * round);
    ASSERT_EQ(t_.Close(), kSuccess);
  }
  ASSERT_TRUE(t_.Open("/data/auto.dbf"));
  ASSERT_EQ(d4go(t_.table(), 2), kSuccess);
  EXPECT_EQ(f4long(t_.Field("ID")), 9);
}

TEST_F(OldVersionsTest, Version32ReadsVarLengthFieldsAndWritesNone) {
  // Bits of the null flags: length of V, null of V, length of Q.
  using std::string;
  const string full = " " + string("ABCDE") + "qrst" + "z" + string(1, '\0');
  const string part = " " + string("AB\0\0\2", 5) + string("q\0\0\1", 4) + "z" + "\5";
  const string null = " " + string("\0\0\0\0\0", 5) + string("\0\0\0\0", 4) + "z" + "\7";
  files().Put("/data/var.dbf", BuildTable(0x32,
                                          {{"V", 'V', 5, 0, 0x02},
                                           {"Q", 'Q', 4, 0, 0x04},
                                           {"C", 'C', 1},
                                           {"_NullFlags", '0', 1, 0, 0x05}},
                                          {full, part, null}));
  ASSERT_TRUE(t_.Open("/data/var.dbf")) << t_.Error();
  EXPECT_EQ(d4numFields(t_.table()), 3);
  EXPECT_EQ(f4type(t_.Field("V")), 'C');
  EXPECT_EQ(f4type(t_.Field("Q")), 'Z');
  ASSERT_EQ(d4go(t_.table(), 1), kSuccess);
  EXPECT_EQ(Text("V"), "ABCDE");
  EXPECT_EQ(Text("Q"), "qrst");
  ASSERT_EQ(d4go(t_.table(), 2), kSuccess);
  EXPECT_EQ(Text("V"), "AB");
  EXPECT_EQ(Text("Q"), "q");
  EXPECT_EQ(f4null(t_.Field("V")), 0);
  f4assignCharVB(t_.Field("V"), "other");
  EXPECT_EQ(code4errorCode(t_.session(), 0), kErrFieldReadOnly);
  // Its other fields can be changed, and it stays as it is.
  f4assignCharVB(t_.Field("C"), "y");
  ASSERT_EQ(d4writeVB(t_.table(), 2), kSuccess) << t_.Error();
  ASSERT_EQ(d4go(t_.table(), 3), kSuccess);
  EXPECT_EQ(Text("V"), "");
  EXPECT_EQ(f4null(t_.Field("V")), 1);
  const string bytes = files().Get("/data/var.dbf");
  string changed = part;
  changed[10] = 'y';
  EXPECT_EQ(bytes.substr(bytes.size() - 25), changed + null + "\x1A");
  // A new record has them empty.
  d4appendStart(t_.table(), 0);
  f4assignCharVB(t_.Field("C"), "n");
  ASSERT_EQ(d4append(t_.table()), kSuccess) << t_.Error();
  EXPECT_EQ(Text("V"), "");
  EXPECT_EQ(Text("Q"), "");
}

}  // namespace
}  // namespace pv::engine
