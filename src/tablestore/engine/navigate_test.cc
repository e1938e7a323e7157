// Moving and seeking through the flat operations.
#include "tablestore/engine/engine_test_support.h"

namespace pv::engine {
namespace {

class NavigateTest : public EngineTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(t_.Create(kPath)) << t_.Error();
    for (const char* name : {"dora", "anna", "carl", "bert"}) {
      ASSERT_EQ(t_.Append({std::string(name) + "@x.org", name, 1, ""}), kSuccess) << t_.Error();
    }
  }
  void Select(const char* tag) { d4tagSelect(t_.table(), d4tag(t_.table(), tag)); }
  std::string At() { return t_.Current().first; }

  TestSession t_;
};

TEST_F(NavigateTest, NaturalOrderVisitsEveryRecordDeletedOnesToo) {
  ASSERT_EQ(t_.Delete("carl@x.org"), kSuccess);
  d4tagSelect(t_.table(), 0);
  EXPECT_EQ(d4top(t_.table()), kSuccess);
  EXPECT_EQ(At(), "dora");
  EXPECT_EQ(d4skip(t_.table(), 2), kSuccess);
  EXPECT_EQ(At(), "carl");
  EXPECT_EQ(d4deleted(t_.table()), 1);
  EXPECT_EQ(d4skip(t_.table(), 2), kEndOfFile);
  EXPECT_NE(d4eof(t_.table()), 0);
  EXPECT_EQ(d4recNoLow(t_.table()), -1);
  EXPECT_EQ(d4recCountDo(t_.table()), 4);
}

TEST_F(NavigateTest, ATagVisitsWhatItsFilterAdmits) {
  ASSERT_EQ(t_.Delete("bert@x.org"), kSuccess);
  EXPECT_EQ(t_.Emails("EMAIL"),
            (std::vector<std::string>{"anna@x.org", "carl@x.org", "dora@x.org"}));
  EXPECT_EQ(t_.Emails("SCORE").size(), 3U);  // four entries, one of them deleted
}

TEST_F(NavigateTest, TheEndsCanBeLeftAgain) {
  Select("EMAIL");
  EXPECT_EQ(d4top(t_.table()), kSuccess);
  EXPECT_EQ(d4bof(t_.table()), 0);
  EXPECT_EQ(d4skip(t_.table(), -1), kBeginOfFile);
  EXPECT_NE(d4bof(t_.table()), 0);
  EXPECT_EQ(d4skip(t_.table(), 1), kSuccess);
  EXPECT_EQ(At(), "anna");
  EXPECT_EQ(d4bottom(t_.table()), kSuccess);
  EXPECT_EQ(At(), "dora");
  EXPECT_EQ(d4skip(t_.table(), 1), kEndOfFile);
  EXPECT_EQ(d4skip(t_.table(), 1), kEndOfFile);
  EXPECT_EQ(d4skip(t_.table(), -1), kSuccess);
  EXPECT_EQ(At(), "dora");
  EXPECT_EQ(d4skip(t_.table(), -3), kSuccess);
  EXPECT_EQ(At(), "anna");
  EXPECT_EQ(d4skip(t_.table(), 100), kEndOfFile);
  EXPECT_EQ(d4skip(t_.table(), -100), kBeginOfFile);
}

TEST_F(NavigateTest, AnEmptyTableIsAtBothEnds) {
  TestSession empty;
  ASSERT_TRUE(empty.Create("/data/empty.pvg")) << empty.Error();
  for (const char* tag : {"", "EMAIL"}) {
    d4tagSelect(empty.table(), *tag == 0 ? 0 : d4tag(empty.table(), tag));
    EXPECT_EQ(d4top(empty.table()), kEndOfFile);
    EXPECT_NE(d4bof(empty.table()), 0);
    EXPECT_NE(d4eof(empty.table()), 0);
    EXPECT_EQ(d4bottom(empty.table()), kEndOfFile);
    EXPECT_EQ(d4skip(empty.table(), 1), kEndOfFile);
    EXPECT_EQ(d4skip(empty.table(), -1), kBeginOfFile);
  }
  EXPECT_EQ(d4recCountDo(empty.table()), 0);
}

TEST_F(NavigateTest, SeekAnswersByHowItMissed) {
  Select("EMAIL");
  EXPECT_EQ(d4seek(t_.table(), "bert@x.org"), kSuccess);
  EXPECT_EQ(At(), "bert");
  EXPECT_EQ(d4seek(t_.table(), "bert@x.org      "), kSuccess);
  EXPECT_EQ(d4seek(t_.table(), "ber"), kNearMiss);
  EXPECT_EQ(At(), "bert");
  EXPECT_EQ(d4seek(t_.table(), "bes"), kAfter);
  EXPECT_EQ(At(), "carl");
  EXPECT_EQ(d4seek(t_.table(), "zoe"), kEndOfFile);
  EXPECT_NE(d4eof(t_.table()), 0);
  EXPECT_EQ(d4seek(t_.table(), "bert@x.org" + std::string(40, ' ') + "and more"), kAfter);
  EXPECT_EQ(At(), "carl");
  d4tagSelect(t_.table(), 0);
  EXPECT_EQ(d4seek(t_.table(), "bert@x.org"), kNoEntry);
}

TEST_F(NavigateTest, SeekReadsTextAsTheTagsKindOfValue) {
  ASSERT_EQ(t_.Append({"eve@x.org", "eve", -12.5, ""}), kSuccess);
  Select("SCORE");
  EXPECT_EQ(d4seek(t_.table(), "-12.5"), kSuccess);
  EXPECT_EQ(At(), "eve");
  EXPECT_EQ(d4seek(t_.table(), "1"), kSuccess);
  // Descending: the greatest first, so 0 is followed by what is smaller.
  EXPECT_EQ(d4seek(t_.table(), "0"), kAfter);
  EXPECT_EQ(At(), "eve");
  EXPECT_EQ(d4seek(t_.table(), "-99"), kEndOfFile);
  const std::int32_t code = d4seek(t_.table(), "no number");
  EXPECT_TRUE(code == kAfter || code == kEndOfFile) << code;
}

TEST_F(NavigateTest, SeekNextGoesThroughEqualKeys) {
  ASSERT_EQ(t_.Append({"anna2@x.org", "Anna", 1, ""}), kSuccess);
  ASSERT_EQ(t_.Append({"anna3@x.org", "ANNA", 1, ""}), kSuccess);
  Select("FIRST");
  EXPECT_EQ(d4seek(t_.table(), "ANNA"), kSuccess);
  EXPECT_EQ(d4recNoLow(t_.table()), 2);
  EXPECT_EQ(d4seekNext(t_.table(), "ANNA"), kSuccess);
  EXPECT_EQ(d4recNoLow(t_.table()), 5);
  EXPECT_EQ(d4seekNext(t_.table(), "ANNA"), kSuccess);
  EXPECT_EQ(d4recNoLow(t_.table()), 6);
  EXPECT_EQ(d4seekNext(t_.table(), "ANNA"), kAfter);
  EXPECT_EQ(At(), "bert");
  // Standing elsewhere it starts afresh.
  EXPECT_EQ(d4seekNext(t_.table(), "ANNA"), kSuccess);
  EXPECT_EQ(d4recNoLow(t_.table()), 2);
}

TEST_F(NavigateTest, ATagSelectedMidwayIsEnteredAtTheCurrentRecord) {
  EXPECT_EQ(d4go(t_.table(), 4), kSuccess);
  EXPECT_EQ(At(), "bert");
  Select("EMAIL");
  EXPECT_EQ(d4skip(t_.table(), 1), kSuccess);
  EXPECT_EQ(At(), "carl");
  EXPECT_EQ(d4go(t_.table(), 5), kErrNoRecord);
  EXPECT_EQ(d4go(t_.table(), 0), kErrNoRecord);
  EXPECT_EQ(d4go(t_.table(), -1), kErrNoRecord);
}

TEST_F(NavigateTest, ARecordDeletedUnderTheCursorKeepsItsPlace) {
  Select("EMAIL");
  ASSERT_EQ(d4seek(t_.table(), "bert@x.org"), kSuccess);
  ASSERT_EQ(d4delete(t_.table()), kSuccess);
  EXPECT_EQ(d4skip(t_.table(), 1), kSuccess);
  EXPECT_EQ(At(), "carl");
  EXPECT_EQ(d4skip(t_.table(), -1), kSuccess);
  EXPECT_EQ(At(), "anna");
}

TEST_F(NavigateTest, AKeyChangedUnderTheCursorTakesItAlong) {
  Select("EMAIL");
  ASSERT_EQ(d4seek(t_.table(), "anna@x.org"), kSuccess);
  f4assignCharVB(t_.Field("EMAIL"), "carla@x.org");
  ASSERT_EQ(d4writeVB(t_.table(), d4recNoLow(t_.table())), kSuccess);
  EXPECT_EQ(d4skip(t_.table(), 1), kSuccess);
  EXPECT_EQ(At(), "dora");
}

TEST_F(NavigateTest, ALongWalkMatchesInBothDirections) {
  for (int i = 0; i < 3000; ++i) {
    const std::string n = std::to_string(i * 7919 % 10007);
    ASSERT_EQ(t_.Append({n + "@walk.org", n, i % 17 * 1.0, ""}), kSuccess) << t_.Error();
  }
  for (const char* tag : {"EMAIL", "FIRST", "SCORE"}) {
    Select(tag);
    std::vector<std::int32_t> forward;
    std::vector<std::int32_t> backward;
    for (std::int32_t c = d4top(t_.table()); c == kSuccess; c = d4skip(t_.table(), 1)) {
      forward.push_back(d4recNoLow(t_.table()));
    }
    for (std::int32_t c = d4bottom(t_.table()); c == kSuccess; c = d4skip(t_.table(), -1)) {
      backward.push_back(d4recNoLow(t_.table()));
    }
    std::reverse(backward.begin(), backward.end());
    EXPECT_EQ(forward.size(), 3004U) << tag;
    EXPECT_EQ(forward, backward) << tag;
    // A long skip lands where single ones do.
    ASSERT_EQ(d4top(t_.table()), kSuccess);
    ASSERT_EQ(d4skip(t_.table(), 1234), kSuccess);
    EXPECT_EQ(d4recNoLow(t_.table()), forward[1234]);
  }
  EXPECT_EQ(t_.CheckFindings(), "");
}

}  // namespace
}  // namespace pv::engine
