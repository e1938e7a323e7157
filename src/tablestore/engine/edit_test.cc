// Appending, writing, deleting, nulls and memos through the flat operations.
#include "tablestore/engine/engine_test_support.h"

namespace pv::engine {
namespace {

class EditTest : public EngineTest {
 protected:
  void SetUp() override { ASSERT_TRUE(t_.Create(kPath)) << t_.Error(); }
  void Reopen(std::int32_t mode = 0) {
    ASSERT_EQ(t_.Close(), kSuccess) << t_.Error();
    ASSERT_TRUE(t_.Open(kPath, mode)) << t_.Error();
  }
  TestSession t_;
};

TEST_F(EditTest, WhatIsAppendedIsReadBack) {
  const Person anna{"anna@x.org", "Anna", 12.25, "A note."};
  const Person bert{"bert@x.org", "Bert", -3, std::string(1000, 'x')};
  ASSERT_EQ(t_.Append(anna), kSuccess) << t_.Error();
  EXPECT_EQ(d4recNoLow(t_.table()), 1);
  ASSERT_EQ(t_.Append(bert), kSuccess);
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(t_.Walk(), (std::vector<Person>{anna, bert}));
    EXPECT_EQ(t_.CheckFindings(), "");
    Reopen();
  }
  const std::string data = files().Get(kPath);
  EXPECT_EQ(data.size(), 32 + 4 * 32 + 1 + 263 + 2 * (1 + 40 + 12 + 8 + 4) + 1U);
  EXPECT_EQ(data.back(), '\x1A');
}

TEST_F(EditTest, AUniqueTagRefusesTheSecondAndLeavesEverythingAsItWas) {
  ASSERT_EQ(t_.Append({"a@x.org", "Anna", 1, "one"}), kSuccess);
  ASSERT_EQ(t_.Append({"b@x.org", "Bert", 2, "two"}), kSuccess);
  const auto before = files().Snapshot();
  EXPECT_EQ(t_.Append({"a@x.org", "Again", 3, "three"}), kUniqueKey);
  EXPECT_EQ(code4errorCode(t_.session(), 0), 0);  // a refusal is no engine failure
  EXPECT_EQ(t_.Update("b@x.org", {"a@x.org", "Bert", 2, "changed"}), kUniqueKey);
  const auto after = files().Snapshot();
  for (const auto& [path, file] : before.files) EXPECT_EQ(*after.Find(path), *file.content) << path;
  EXPECT_EQ(t_.ByEmail().at("b@x.org").note, "two");
}

TEST_F(EditTest, ADeletedRecordFreesItsKeyUntilItIsRecalled) {
  ASSERT_EQ(t_.Append({"a@x.org", "First", 1, ""}), kSuccess);
  ASSERT_EQ(t_.Delete("a@x.org"), kSuccess);
  EXPECT_EQ(t_.Find("a@x.org"), kEndOfFile);
  ASSERT_EQ(t_.Append({"a@x.org", "Second", 2, ""}), kSuccess);
  d4tagSelect(t_.table(), 0);
  ASSERT_EQ(d4go(t_.table(), 1), kSuccess);
  EXPECT_EQ(d4deleted(t_.table()), 1);
  d4recall(t_.table());
  EXPECT_EQ(d4writeVB(t_.table(), 1), kUniqueKey);
  ASSERT_EQ(d4go(t_.table(), 1), kSuccess);
  EXPECT_EQ(d4deleted(t_.table()), 1);
  // With another key it can come back.
  d4recall(t_.table());
  f4assignCharVB(t_.Field("EMAIL"), "b@x.org");
  EXPECT_EQ(d4writeVB(t_.table(), 1), kSuccess);
  EXPECT_EQ(t_.Emails("EMAIL"), (std::vector<std::string>{"a@x.org", "b@x.org"}));
  EXPECT_EQ(t_.CheckFindings(), "");
}

TEST_F(EditTest, AMemoThatFitsIsRewrittenInPlace) {
  ASSERT_EQ(t_.Append({"a@x.org", "Anna", 1, std::string(100, 'a')}), kSuccess);
  ASSERT_EQ(t_.Append({"b@x.org", "Bert", 1, "behind it"}), kSuccess);
  Reopen();
  const std::size_t size = files().Get("/data/people.fpt").size();
  for (const std::size_t length : {110U, 1U, 56U, 120U}) {
    const std::string text(length, 'b');
    ASSERT_EQ(t_.Update("a@x.org", {"a@x.org", "Anna", 1, text}), kSuccess) << t_.Error();
    EXPECT_EQ(files().Get("/data/people.fpt").size(), size);
    EXPECT_EQ(t_.ByEmail().at("a@x.org").note, text);
    EXPECT_EQ(t_.ByEmail().at("b@x.org").note, "behind it");
    if (length == 1) break;  // from here on one block is all that it has
  }
  ASSERT_EQ(t_.Update("a@x.org", {"a@x.org", "Anna", 1, std::string(57, 'c')}), kSuccess);
  EXPECT_GT(files().Get("/data/people.fpt").size(), size);
  EXPECT_EQ(t_.CheckFindings(), "");
  EXPECT_GT(d4check(t_.table()).memo_bytes_wasted, 0U);
  ASSERT_EQ(t_.Update("a@x.org", {"a@x.org", "Anna", 1, ""}), kSuccess);
  EXPECT_EQ(t_.ByEmail().at("a@x.org").note, "");
}

TEST_F(EditTest, FieldsThatNobodyAssignedKeepWhatOthersWroteMeanwhile) {
  ASSERT_EQ(t_.Append({"a@x.org", "Anna", 1, "note"}), kSuccess);
  TestSession other;
  ASSERT_TRUE(other.Open(kPath)) << other.Error();
  ASSERT_EQ(t_.Find("a@x.org"), kSuccess);
  ASSERT_EQ(other.Find("a@x.org"), kSuccess);
  f4assignDouble(other.Field("SCORE"), 99);
  f4memoAssign(other.Field("NOTE"), "another note");
  ASSERT_EQ(d4writeVB(other.table(), 1), kSuccess) << other.Error();
  f4assignCharVB(t_.Field("FIRST"), "Annabel");
  ASSERT_EQ(d4writeVB(t_.table(), 1), kSuccess) << t_.Error();
  EXPECT_EQ(t_.Walk(), (std::vector<Person>{{"a@x.org", "Annabel", 99, "another note"}}));
  EXPECT_EQ(t_.CheckFindings(), "");
}

TEST_F(EditTest, ARecallHoldsAgainstADeletionByOthersMeanwhile) {
  ASSERT_EQ(t_.Append({"a@x.org", "Anna", 1, ""}), kSuccess);
  ASSERT_EQ(t_.Find("a@x.org"), kSuccess);
  TestSession other;
  ASSERT_TRUE(other.Open(kPath));
  ASSERT_EQ(other.Delete("a@x.org"), kSuccess);
  d4recall(t_.table());
  f4assignDouble(t_.Field("SCORE"), 5);
  ASSERT_EQ(d4writeVB(t_.table(), 1), kSuccess) << t_.Error();
  EXPECT_EQ(t_.Emails("EMAIL"), std::vector<std::string>{"a@x.org"});
  // Without it the deletion stands.
  ASSERT_EQ(t_.Find("a@x.org"), kSuccess);
  ASSERT_EQ(other.Delete("a@x.org"), kSuccess);
  f4assignDouble(t_.Field("SCORE"), 6);
  ASSERT_EQ(d4writeVB(t_.table(), 1), kSuccess) << t_.Error();
  EXPECT_TRUE(t_.Emails("EMAIL").empty());
  EXPECT_EQ(t_.CheckFindings(), "");
}

TEST_F(EditTest, WhatOthersAppendIsSeenAtTheNextMove) {
  TestSession other;
  ASSERT_TRUE(other.Open(kPath));
  EXPECT_EQ(d4top(other.table()), kEndOfFile);
  for (int i = 0; i < 300; ++i) {
    const std::string email = std::to_string(i * 37 % 301) + "@x.org";
    ASSERT_EQ(t_.Append({email, "n", 1, ""}), kSuccess);
    EXPECT_EQ(d4recCountDo(other.table()), i + 1);
    ASSERT_EQ(other.Find(email), kSuccess) << i;
    EXPECT_EQ(other.Current().email, email);
  }
  EXPECT_EQ(other.Emails("EMAIL"), t_.Emails("EMAIL"));
}

TEST_F(EditTest, ValuesThatDoNotFitAreRefused) {
  d4appendStart(t_.table(), 0);
  f4assignDouble(t_.Field("SCORE"), 1e9);
  EXPECT_EQ(code4errorCode(t_.session(), 0), kErrFieldValue);
  EXPECT_NE(std::string(error4text(t_.session(), kErrFieldValue)).find("SCORE"), std::string::npos);
}

TEST_F(EditTest, WithoutACurrentRecordThereIsNothingToWrite) {
  EXPECT_EQ(d4writeVB(t_.table(), 1), kErrNoRecord);
  EXPECT_EQ(d4delete(t_.table()), kErrNoRecord);
  EXPECT_EQ(d4append(t_.table()), kErrUnexpected);
  EXPECT_EQ(f4ptr(t_.Field("EMAIL")), nullptr);
}

TEST_F(EditTest, AllFourteenTypesWithNulls) {
  std::vector<FieldRecord> fields;
  const std::string letters = "CZWYDTBFGILMXN";
  for (const char letter : letters) {
    fields.push_back({std::string("F") + letter, letter, 12,
                      static_cast<std::uint16_t>(letter == 'N' || letter == 'F' ? 3 : 0), 1});
  }
  TestSession s;
  ASSERT_TRUE(s.Create("/data/types.pvg", fields, {})) << s.Error();
  ASSERT_EQ(d4numFields(s.table()), 14);
  const auto field = [&](char letter) { return d4field(s.table(), std::string("f") + letter); };
  const auto assign_all = [&] {
    f4assignCharVB(field('C'), "text");
    f4assignCharVB(field('Z'), "bin");
    f4assignUnicode(field('W'), u"\x8A9E");
    f4assignCurrency(field('Y'), "-12.3456");
    f4assignLong(field('D'), date4long("20240229"));
    f4assignDateTime(field('T'), "2024022913:45:06");
    f4assignDouble(field('B'), 0.1);
    f4assignDouble(field('F'), 2.5);
    f4assignNVB(field('G'), "gen!", 4);
    f4assignLong(field('I'), -7);
    f4assignCharVB(field('L'), "T");
    f4memoAssign(field('M'), "memo");
    f4memoAssign(field('X'), std::string_view("bi\0n", 4));
    f4assignDouble(field('N'), 1.125);
  };
  d4appendStart(s.table(), 0);
  assign_all();
  ASSERT_EQ(d4append(s.table()), kSuccess) << s.Error();
  d4appendStart(s.table(), 0);
  for (const char letter : letters) f4assignNull(field(letter));
  ASSERT_EQ(d4append(s.table()), kSuccess) << s.Error();
  ASSERT_EQ(s.Close(), kSuccess);
  ASSERT_TRUE(s.Open("/data/types.pvg"));
  ASSERT_EQ(d4go(s.table(), 1), kSuccess);
  const auto expect_values = [&] {
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(f4ptr(field('C'))), 12), "text        ");
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(f4ptr(field('Z'))), 12), "bin         ");
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(f4ptr(field('W'))), 3),
              std::string("\x9E\x8A\0", 3));
    EXPECT_EQ(f4currency(field('Y')), -123456);
    EXPECT_EQ(f4long(field('D')), 2460370);
    EXPECT_STREQ(f4dateTime(field('T')), "2024022913:45:06");
    EXPECT_EQ(f4double(field('B')), 0.1);
    EXPECT_EQ(f4double(field('F')), 2.5);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(f4ptr(field('G'))), 4), "gen!");
    EXPECT_EQ(f4long(field('I')), -7);
    EXPECT_NE(f4true(field('L')), 0);
    EXPECT_EQ(Trimmed(f4memoPtr(field('M')), f4memoLen(field('M'))), "memo");
    EXPECT_EQ(f4memoLen(field('X')), 4);
    EXPECT_EQ(f4double(field('N')), 1.125);
    for (const char letter : letters) EXPECT_EQ(f4null(field(letter)), 0) << letter;
  };
  expect_values();
  ASSERT_EQ(d4go(s.table(), 2), kSuccess);
  for (const char letter : letters) EXPECT_EQ(f4null(field(letter)), 1) << letter;
  assign_all();
  ASSERT_EQ(d4writeVB(s.table(), 2), kSuccess) << s.Error();
  ASSERT_EQ(d4go(s.table(), 2), kSuccess);
  expect_values();
  EXPECT_EQ(s.CheckFindings(), "");
}

TEST_F(EditTest, ExclusiveAndSharedOpenersKeepEachOtherOut) {
  TestSession other;
  EXPECT_FALSE(other.Open(kPath, 1));
  EXPECT_EQ(code4errorCode(other.session(), 0), kErrFileBusy);
  ASSERT_TRUE(other.Open(kPath, 0)) << other.Error();
  ASSERT_EQ(other.Close(), kSuccess);
  Reopen(2);
  EXPECT_FALSE(other.Open(kPath, 0));
  EXPECT_EQ(code4errorCode(other.session(), 0), kErrFileBusy);
}

TEST_F(EditTest, ALockThatIsNotGivenUpAnswers50) {
  ASSERT_EQ(t_.Append({"a@x.org", "Anna", 1, ""}), kSuccess);
  TestSession other;
  ASSERT_TRUE(other.Open(kPath));
  code4lockWait(other.session(), 100);
  // Another program holds the append lock.
  platform::OpenOptions options;
  auto foreign = files().Open(kPath, options);
  ASSERT_TRUE(foreign.ok());
  ASSERT_TRUE((*foreign)->TryLock(0x7FFFFFFE, 1, platform::LockKind::kExclusive).ok());
  const std::uint64_t start = files().MonotonicMicroseconds();
  EXPECT_EQ(other.Append({"b@x.org", "Bert", 1, ""}), kLocked);
  EXPECT_GE(files().MonotonicMicroseconds() - start, 90'000U);
  EXPECT_LE(files().MonotonicMicroseconds() - start, 200'000U);
  ASSERT_TRUE((*foreign)->Unlock(0x7FFFFFFE, 1).ok());
  EXPECT_EQ(d4append(other.table()), kSuccess);  // the buffer was kept
  // And a record's own lock.
  ASSERT_TRUE((*foreign)->TryLock(0x7FFFFFFE - 1, 1, platform::LockKind::kExclusive).ok());
  EXPECT_EQ(other.Update("a@x.org", {"a@x.org", "New", 1, ""}), kLocked);
  EXPECT_EQ(other.Update("b@x.org", {"b@x.org", "New", 1, ""}), kSuccess);
  // A lock on the whole table covers them all.
  ASSERT_TRUE((*foreign)->Unlock(0x7FFFFFFE - 1, 1).ok());
  ASSERT_TRUE((*foreign)->TryLock(0x77FFFFFF, 0x07FFFFFF, platform::LockKind::kExclusive).ok());
  EXPECT_EQ(other.Append({"c@x.org", "Carl", 1, ""}), kLocked);
  EXPECT_EQ(other.Delete("b@x.org"), kLocked);
}

TEST_F(EditTest, BulkRecordsAreIndexedAtTheEnd) {
  Reopen(1);
  ASSERT_EQ(d4bulkStart(t_.table()), kSuccess);
  for (int i = 0; i < 2000; ++i) {
    ASSERT_EQ(t_.Append({std::to_string(i * 7 % 2003) + "@x.org", "n", 1, i % 9 == 0 ? "m" : ""}),
              kSuccess);
  }
  ASSERT_EQ(d4bulkEnd(t_.table()), kSuccess) << t_.Error();
  EXPECT_EQ(t_.CheckFindings(), "");
  EXPECT_EQ(t_.Emails("EMAIL").size(), 2000U);
  Reopen();
  EXPECT_EQ(t_.CheckFindings(), "");
  EXPECT_EQ(d4bulkStart(t_.table()), kErrExclusiveNeeded);
}

}  // namespace
}  // namespace pv::engine
