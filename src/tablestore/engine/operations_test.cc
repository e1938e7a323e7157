// Sessions, creation, opening and their errors through the flat operations.
#include "tablestore/engine/engine_test_support.h"

namespace pv::engine {
namespace {

class OperationsTest : public EngineTest {};

TEST_F(OperationsTest, EveryCodeHasAText) {
  TestSession t;
  for (const std::int32_t code : {kErrFileMissing, kErrNotTable, kErrTooLarge, kErrUnexpected}) {
    const char* text = error4text(t.session(), code);
    ASSERT_NE(text, nullptr);
    EXPECT_GT(std::string(text).size(), 10U);
  }
  EXPECT_EQ(error4text(t.session(), -1), nullptr);
}

TEST_F(OperationsTest, StaleAndForeignHandlesAreRefused) {
  Handle table = 0;
  Handle field = 0;
  Handle session = 0;
  {
    TestSession t;
    ASSERT_TRUE(t.Create(kPath));
    session = t.session();
    table = t.table();
    field = t.Field("EMAIL");
    EXPECT_EQ(d4top(session), kErrBadHandle);
    EXPECT_EQ(d4top(field), kErrBadHandle);
    EXPECT_EQ(d4top(0), kErrBadHandle);
    EXPECT_EQ(d4fieldJ(table, 0), 0);
    EXPECT_EQ(d4fieldJ(table, 5), 0);
    EXPECT_EQ(d4tag(table, "NONE"), 0);
    ASSERT_TRUE(t.Create("/data/second.pvg"));
    EXPECT_EQ(d4tagSelect(t.table(), d4tag(table, "EMAIL")), kErrBadHandle);
  }
  EXPECT_EQ(d4top(table), kErrBadHandle);
  EXPECT_EQ(d4close(table), kErrBadHandle);
  EXPECT_EQ(f4ptr(field), nullptr);
  EXPECT_EQ(f4name(field), nullptr);
  EXPECT_EQ(d4open(session, kPath), 0);
  EXPECT_EQ(code4initUndo(session), kErrBadHandle);
}

TEST_F(OperationsTest, OpeningWhatIsNotThere) {
  TestSession t;
  EXPECT_FALSE(t.Open("/data/none.pvg"));
  EXPECT_EQ(code4errorCode(t.session(), 0), kErrFileMissing);
  EXPECT_EQ(code4errorCode(t.session(), 0), 0);  // taken
  EXPECT_NE(std::string(error4text(t.session(), kErrFileMissing)).find("none.pvg"),
            std::string::npos);
}

TEST_F(OperationsTest, SafetyKeepsWhatIsThere) {
  TestSession t;
  ASSERT_TRUE(t.Create(kPath));
  ASSERT_EQ(t.Append({"a@x.org", "A", 1, ""}), kSuccess);
  EXPECT_EQ(code4safety(t.session(), 1), 1);
  TestSession other;
  EXPECT_FALSE(other.Create(kPath));
  EXPECT_EQ(code4errorCode(other.session(), 0), kErrFileExists);
  EXPECT_EQ(code4safety(other.session(), 0), 1);
  EXPECT_FALSE(other.Create(kPath));  // in use
  EXPECT_EQ(code4errorCode(other.session(), 0), kErrFileBusy);
  ASSERT_EQ(t.Close(), kSuccess);
  ASSERT_TRUE(other.Create(kPath)) << other.Error();
  EXPECT_EQ(d4recCountDo(other.table()), 0);
  EXPECT_EQ(code4safety(other.session(), 1), 0);
}

TEST_F(OperationsTest, ATableWithTheOtherExtensionKeepsItsIndex) {
  TestSession t;
  ASSERT_TRUE(t.Create("/data/people.dbf"));
  EXPECT_FALSE(t.Create(kPath));
  EXPECT_EQ(code4errorCode(t.session(), 0), kErrFileExists);
}

TEST_F(OperationsTest, TagDefinitionsAreChecked) {
  TestSession t;
  const auto expect = [&](const TagRecord& tag, std::int32_t code, const std::string& text) {
    EXPECT_FALSE(t.Create(kPath, PeopleFields(), {tag})) << tag.name;
    EXPECT_EQ(code4errorCode(t.session(), 0), code) << tag.name;
    EXPECT_NE(std::string(error4text(t.session(), code)).find(text), std::string::npos)
        << error4text(t.session(), code);
    EXPECT_TRUE(files().Snapshot().files.empty());  // nothing was left behind
  };
  expect({"ELEVENCHARS", "EMAIL", "", 0, 0}, kErrTagLimit, "1 to 10 characters");
  expect({"", "EMAIL", "", 0, 0}, kErrTagLimit, "1 to 10 characters");
  expect({"T", "NOFIELD", "", 0, 0}, kErrExpression, "NOFIELD");
  expect({"T", "EMAIL +", "", 0, 0}, kErrExpression, "T");
  expect({"T", "EMAIL", "FIRST", 0, 0}, kErrExpression, "logical");
  expect({"T", "EMAIL+EMAIL+EMAIL+EMAIL+EMAIL+EMAIL+EMAIL", "", 0, 0}, kErrTagLimit, "240");
  expect({"T", "NOTE", "", 0, 0}, kErrExpression, "NOTE");
  expect({"T", "EMAIL" + std::string(600, ' '), "", 0, 0}, kErrTagLimit, "510");
}

TEST_F(OperationsTest, NamesAreFoundWhateverTheirLetterCase) {
  {
    TestSession t;
    ASSERT_TRUE(t.Create(kPath));
    ASSERT_EQ(t.Append({"a@x.org", "A", 1, "memo"}), kSuccess);
  }
  ASSERT_TRUE(files().Rename("/data/people.cdx", "/data/PEOPLE.CDX").ok());
  ASSERT_TRUE(files().Rename("/data/people.fpt", "/data/People.Fpt").ok());
  TestSession t;
  ASSERT_TRUE(t.Open("/data/People.PVG")) << t.Error();
  EXPECT_EQ(t.Walk("email").size(), 1U);
  EXPECT_EQ(t.Walk()[0].note, "memo");
}

TEST_F(OperationsTest, AMissingIndexOrMemoFileIsSaid) {
  {
    TestSession t;
    ASSERT_TRUE(t.Create(kPath));
    ASSERT_EQ(t.Append({"a@x.org", "A", 1, "memo"}), kSuccess);
  }
  ASSERT_TRUE(files().Remove("/data/people.cdx").ok());
  TestSession t;
  EXPECT_FALSE(t.Open(kPath));
  EXPECT_EQ(code4errorCode(t.session(), 0), kErrIndexDamaged);
  // The records can be had all the same.
  code4ignoreIndex(t.session(), 1);
  ASSERT_TRUE(t.Open(kPath)) << t.Error();
  EXPECT_EQ(t.Walk().size(), 1U);
  EXPECT_EQ(t.Append({"b@x.org", "B", 1, ""}), kErrReadOnly);
  ASSERT_EQ(t.Close(), kSuccess);
  ASSERT_TRUE(files().Remove("/data/people.fpt").ok());
  EXPECT_FALSE(t.Open(kPath));
  EXPECT_EQ(code4errorCode(t.session(), 0), kErrMemoMissing);
}

TEST_F(OperationsTest, AReadOnlyTableCanBeReadAndNotChanged) {
  {
    TestSession t;
    ASSERT_TRUE(t.Create(kPath));
    ASSERT_EQ(t.Append({"a@x.org", "A", 1, "memo"}), kSuccess);
  }
  files().SetReadOnly(true);
  TestSession t;
  ASSERT_TRUE(t.Open(kPath)) << t.Error();
  EXPECT_EQ(t.Walk("EMAIL").size(), 1U);
  EXPECT_EQ(t.Append({"b@x.org", "B", 1, ""}), kErrReadOnly);
  EXPECT_EQ(t.Delete("a@x.org"), kErrReadOnly);
  EXPECT_EQ(t.CheckFindings(), "");
}

TEST_F(OperationsTest, TheCodePageIsMarkedInTheTable) {
  auto greek = memory_.system().code_pages->Load(1253);
  ASSERT_TRUE(greek.ok()) << greek.status().message();
  {
    TestSession t;
    code4codePage(t.session(), *greek);
    ASSERT_TRUE(t.Create(kPath));
    EXPECT_EQ(d4codePage(t.table())->number(), 1253);
  }
  EXPECT_EQ(static_cast<unsigned char>(files().Get(kPath)[29]), 0xCB);
  TestSession t;
  ASSERT_TRUE(t.Open(kPath));
  EXPECT_EQ(d4codePage(t.table())->number(), 1253);
}

// Trailing zeros of a numeric key are not stored, nor are trailing blanks of a character key: other
// programs read the pages so, whether inserted, rebuilt or compacted.
TEST_F(OperationsTest, KeysOnDiskLeaveOutTheFillOfTheirKind) {
  const std::vector<FieldRecord> fields = {{"N", 'N', 8, 2, 0}, {"C", 'C', 8, 0, 0}};
  const std::vector<TagRecord> tags = {{"N", "N", "", 0, 0}, {"C", "C", "", 0, 0}};
  TestSession t;
  ASSERT_TRUE(t.Create("/data/fill.pvg", fields, tags)) << t.Error();
  d4appendStart(t.table(), 0);
  f4assignDouble(t.Field("N"), 1);
  f4assignCharVB(t.Field("C"), "ab");
  ASSERT_EQ(d4append(t.table()), kSuccess) << t.Error();
  ASSERT_EQ(t.Close(), kSuccess);
  const auto expect = [&](const char* when) {
    const std::string index = files().Get("/data/fill.cdx");
    int numeric = 0;
    int character = 0;
    for (std::size_t page = 1024; page + 512 <= index.size(); page += 512) {
      const auto byte = [&](std::size_t at) {
        return static_cast<unsigned char>(index[page + at]);
      };
      const unsigned free = byte(12) + 256U * byte(13);
      if ((byte(0) & 2) == 0 || byte(2) != 1 || free != 512U - 24 - byte(23) - 2) continue;
      const std::string key = index.substr(page + 510, 2);
      if (key == "\xBF\xF0") ++numeric;
      if (key == "ab") ++character;
    }
    EXPECT_EQ(numeric, 1) << when;
    EXPECT_EQ(character, 1) << when;
  };
  expect("inserted");
  ASSERT_TRUE(t.Open("/data/fill.pvg", 1));
  ASSERT_EQ(d4reindex(t.table()), kSuccess);
  ASSERT_EQ(t.Close(), kSuccess);
  expect("rebuilt");
  ASSERT_TRUE(t.Open("/data/fill.pvg", 1));
  ASSERT_EQ(d4pack(t.table()), kSuccess);
  ASSERT_EQ(t.Close(), kSuccess);
  expect("compacted");
}

TEST_F(OperationsTest, DatesBothWays) {
  EXPECT_EQ(date4long("20240229"), 2460370);
  EXPECT_EQ(date4long("        "), 0);
  EXPECT_EQ(date4long("20230229"), -1);
  char buffer[9];
  date4assignLow(buffer, 2460370, 0);
  EXPECT_STREQ(buffer, "20240229");
  date4assignLow(buffer, 0, 0);
  EXPECT_STREQ(buffer, "        ");
}

TEST_F(OperationsTest, ACountThatTheFileDoesNotBearOutIsReported) {
  {
    TestSession t;
    ASSERT_TRUE(t.Create(kPath));
    for (const char* n : {"a", "b", "c"}) ASSERT_EQ(t.Append({n, n, 1, ""}), kSuccess);
  }
  std::string data = files().Get(kPath);
  data[4] = 100;
  files().Put(kPath, data);
  TestSession t;
  ASSERT_TRUE(t.Open(kPath)) << t.Error();
  EXPECT_EQ(d4recCountDo(t.table()), 3);
  EXPECT_EQ(t.Walk().size(), 3U);
  EXPECT_NE(t.CheckFindings().find("counts 100 records, but the file holds 3"), std::string::npos);
  const auto notices = code4takeNotices(t.session());
  ASSERT_FALSE(notices.empty());
  // Appending goes on behind what is there.
  ASSERT_EQ(t.Append({"d", "d", 1, ""}), kSuccess);
  EXPECT_EQ(t.CheckFindings(), "");
}

}  // namespace
}  // namespace pv::engine
