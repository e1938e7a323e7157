// Walks that are long enough to fetch records ahead, and what happens to the table meanwhile.
#include <algorithm>

#include "tablestore/engine/engine_test_support.h"

namespace pv::engine {
namespace {

constexpr int kPeople = 3000;

class WalkTest : public EngineTest {
 protected:
  void SetUp() override {
    TestSession maker;
    code4accessMode(maker.session(), 1);
    ASSERT_TRUE(maker.Create(kPath)) << maker.Error();
    for (int i = 0; i < kPeople; ++i) ASSERT_EQ(maker.Append(Nth(i)), kSuccess) << maker.Error();
    ASSERT_EQ(maker.Close(), kSuccess);
  }

  // Added in an order that is not that of their addresses.
  static Person Nth(int i) {
    const std::string number = std::to_string(10'000 + i * 77 % kPeople);
    return {"p" + number + "@x.org", "first", static_cast<double>(i % 100), ""};
  }
  static std::string EmailAt(int place) { return "p" + std::to_string(10'000 + place) + "@x.org"; }

  // Goes to the first entry of the tag and `steps` further.
  static void Walk(TestSession* t, int steps) {
    d4tagSelect(t->table(), d4tag(t->table(), "EMAIL"));
    ASSERT_EQ(d4top(t->table()), kSuccess);
    for (int i = 0; i < steps; ++i) ASSERT_EQ(d4skip(t->table(), 1), kSuccess);
    ASSERT_EQ(t->Current().email, EmailAt(steps));
  }
  static std::string Next(TestSession* t) {
    const std::int32_t code = d4skip(t->table(), 1);
    return code == kSuccess ? t->Current().email : "code " + std::to_string(code);
  }
};

TEST_F(WalkTest, EveryEntryOnceInBothDirectionsAndModes) {
  std::vector<std::string> expected;
  for (int i = 0; i < kPeople; ++i) expected.push_back(EmailAt(i));
  for (const int mode : {0, 1}) {
    TestSession t;
    ASSERT_TRUE(t.Open(kPath, mode)) << t.Error();
    EXPECT_EQ(t.Emails("EMAIL"), expected);
    std::vector<std::string> back;
    std::int32_t code = d4bottom(t.table());
    for (; code == kSuccess; code = d4skip(t.table(), -1)) back.push_back(t.Current().email);
    EXPECT_EQ(code, kBeginOfFile);
    std::reverse(back.begin(), back.end());
    EXPECT_EQ(back, expected);
    // A descending tag, whose keys many records share.
    const std::vector<Person> by_score = t.Walk("SCORE");
    EXPECT_EQ(by_score.size(), static_cast<std::size_t>(kPeople));
    EXPECT_TRUE(std::is_sorted(by_score.begin(), by_score.end(),
                               [](const auto& a, const auto& b) { return a.score > b.score; }));
  }
}

TEST_F(WalkTest, AnotherDirectionStartsFromTheCurrentRecord) {
  TestSession t;
  ASSERT_TRUE(t.Open(kPath)) << t.Error();
  for (const int steps : {70, 128, 129, 500}) {
    Walk(&t, steps);
    EXPECT_EQ(d4skip(t.table(), -1), kSuccess);
    EXPECT_EQ(t.Current().email, EmailAt(steps - 1));
    Walk(&t, steps);
    EXPECT_EQ(d4skip(t.table(), 5), kSuccess);
    EXPECT_EQ(t.Current().email, EmailAt(steps + 5));
    Walk(&t, steps);
    EXPECT_EQ(d4skip(t.table(), 0), kSuccess);
    EXPECT_EQ(Next(&t), EmailAt(steps + 1));
    Walk(&t, steps);
    const std::int32_t here = d4recNoLow(t.table());
    d4tagSelect(t.table(), 0);
    EXPECT_EQ(d4skip(t.table(), 1), kSuccess);
    EXPECT_EQ(d4recNoLow(t.table()), here + 1);
  }
}

TEST_F(WalkTest, WhatAnotherSessionChangesIsSeenAtOnce) {
  TestSession walker;
  TestSession other;
  ASSERT_TRUE(walker.Open(kPath)) << walker.Error();
  ASSERT_TRUE(other.Open(kPath)) << other.Error();
  Walk(&walker, 200);

  // A field that no tag has, of a record that was fetched ahead.
  ASSERT_EQ(other.Update(EmailAt(201), {EmailAt(201), "first", 1, "a note"}), kSuccess);
  EXPECT_EQ(Next(&walker), EmailAt(201));
  EXPECT_EQ(walker.Current().note, "a note");

  Walk(&walker, 300);
  ASSERT_EQ(other.Delete(EmailAt(301)), kSuccess);
  ASSERT_EQ(other.Append({EmailAt(302) + "a", "first", 1, ""}), kSuccess);
  EXPECT_EQ(Next(&walker), EmailAt(302));
  EXPECT_EQ(Next(&walker), EmailAt(302) + "a");
  EXPECT_EQ(Next(&walker), EmailAt(303));

  // The record that the walk stands on goes elsewhere in the tag: it goes on from the old place.
  Walk(&walker, 400);
  ASSERT_EQ(other.Update(EmailAt(400), {"zzz@x.org", "first", 1, ""}), kSuccess);
  EXPECT_EQ(Next(&walker), EmailAt(401));
}

TEST_F(WalkTest, WhatTheSessionItselfChangesIsSeenAtOnce) {
  for (const int mode : {0, 1}) {
    TestSession t;
    ASSERT_TRUE(t.Open(kPath, mode)) << t.Error();
    Walk(&t, 200);
    const std::int32_t here = d4recNoLow(t.table());
    f4assignCharVB(t.Field("FIRST"), "changed");
    ASSERT_EQ(d4writeVB(t.table(), here), kSuccess) << t.Error();
    EXPECT_EQ(t.Current().first, "changed");
    EXPECT_EQ(Next(&t), EmailAt(201));
    EXPECT_EQ(t.Current().first, "first");

    // Changing every record of a walk.
    Walk(&t, 0);
    int seen = 1;
    do {
      f4assignDouble(t.Field("SCORE"), 7);
      ASSERT_EQ(d4writeVB(t.table(), d4recNoLow(t.table())), kSuccess) << t.Error();
      ++seen;
    } while (seen <= 300 && d4skip(t.table(), 1) == kSuccess);
    EXPECT_EQ(t.Current().email, EmailAt(299));
  }
}

// A program of the family that changes no key may leave the index as it is.
TEST_F(WalkTest, WhatIsWrittenPastTheIndexIsSeenSoon) {
  TestSession t;
  ASSERT_TRUE(t.Open(kPath)) << t.Error();
  Walk(&t, 200);
  TestSession other;
  ASSERT_TRUE(other.Open(kPath)) << other.Error();
  ASSERT_EQ(other.Find(EmailAt(202)), kSuccess);
  const std::int32_t number = d4recNoLow(other.table());
  const TableInfo info = d4info(other.table());
  auto file = files().Open(kPath, {});
  ASSERT_TRUE(file.ok());
  const std::uint64_t record =
      static_cast<std::uint64_t>(info.header_length) +
      static_cast<std::uint64_t>(number - 1) * static_cast<std::uint64_t>(info.record_length);
  ASSERT_TRUE((*file)->Write(record + 1 + 40, "FIRST", 5).ok());

  files().SleepMicroseconds(1'100'000);
  EXPECT_EQ(Next(&t), EmailAt(201));
  EXPECT_EQ(Next(&t), EmailAt(202));
  EXPECT_EQ(t.Current().first, "FIRST");
}

TEST_F(WalkTest, ALockedIndexKeepsNoStepWaiting) {
  TestSession t;
  ASSERT_TRUE(t.Open(kPath)) << t.Error();
  const std::string index = std::string(kPath).replace(std::string(kPath).size() - 3, 3, "cdx");
  auto file = files().Open(index, {});
  ASSERT_TRUE(file.ok());
  d4tagSelect(t.table(), d4tag(t.table(), "EMAIL"));
  ASSERT_EQ(d4top(t.table()), kSuccess);
  code4lockWait(t.session(), 0);
  int steps = 0;
  bool locked = false;
  for (; steps < 1000; ++steps) {
    // Only the steps from leaf to leaf need the lock.
    if (d4skip(t.table(), 1) != kSuccess) break;
    if (steps == 60) {
      locked = (*file)->TryLock(0x7FFFFFFE, 1, platform::LockKind::kExclusive).ok();
    }
  }
  EXPECT_TRUE(locked);
  EXPECT_GT(steps, 61);
  ASSERT_TRUE((*file)->Unlock(0x7FFFFFFE, 1).ok());
}

TEST_F(WalkTest, ATableCutShortUnderAWalkIsAnError) {
  TestSession t;
  ASSERT_TRUE(t.Open(kPath)) << t.Error();
  Walk(&t, 2);
  auto file = files().Open(kPath, {});
  ASSERT_TRUE(file.ok());
  auto size = (*file)->Size();
  ASSERT_TRUE(size.ok());
  ASSERT_TRUE((*file)->Truncate(*size / 2).ok());
  std::int32_t code = kSuccess;
  int steps = 0;
  while (code == kSuccess && steps < kPeople) {
    code = d4skip(t.table(), 1);
    ++steps;
  }
  EXPECT_EQ(code, kErrDataDamaged);
}

}  // namespace
}  // namespace pv::engine
