// Every truncation and every flipped bit of a small group's three files: a clean error or correct
// data, never a crash, never a wrong order in silence.
#include <algorithm>

#include "base/instrumented_test.h"
#include "tablestore/engine/engine_test_support.h"

namespace pv::engine {
namespace {

class DamageTest : public EngineTest {
 protected:
  void SetUp() override {
    TestSession t;
    ASSERT_TRUE(t.Create(kPath)) << t.Error();
    for (int i = 0; i < 16; ++i) {
      const std::string n = std::to_string(i * 5 % 16);
      ASSERT_EQ(
          t.Append({"person" + n + "@x.org", "Name" + n, i * 1.5, i % 3 == 0 ? "Note " + n : ""}),
          kSuccess);
    }
    people_ = t.Walk();
    for (const char* tag : kTags) orders_[tag] = t.Emails(tag);
    ASSERT_EQ(t.Close(), kSuccess);
    whole_ = files().Snapshot();
  }

  static constexpr const char* kTags[] = {"EMAIL", "FIRST", "SCORE"};

  // The current record by field position: a name may be what is damaged.
  static Person Current(Handle table) {
    const auto field = [table](std::int32_t j) { return d4fieldJ(table, j); };
    const auto text = [&](std::int32_t j) {
      const auto* p = f4ptr(field(j));
      return p == nullptr ? std::string() : Trimmed(p, f4len_v(field(j)));
    };
    Person p{text(1), text(2), f4double(field(3)), {}};
    if (const auto* memo = f4memoPtr(field(4))) {
      p.note.assign(reinterpret_cast<const char*>(memo),
                    static_cast<std::size_t>(f4memoLen(field(4))));
    }
    return p;
  }

  // Walks in every order. An order that differs from the original must be reported by the check.
  // `may_differ` is how many records may have another value.
  void ExpectErrorOrTruth(const std::string& where, std::size_t may_differ) {
    TestSession t;
    if (!t.Open(kPath)) {
      const std::int32_t code = code4errorCode(t.session(), 0);
      EXPECT_LT(code, 0) << where;
      const std::string text = error4text(t.session(), code);
      EXPECT_NE(text.find("people"), std::string::npos) << where << ": " << text;
      return;
    }
    const std::string findings = t.CheckFindings();
    std::vector<Person> found;
    bool failed = false;
    d4tagSelect(t.table(), 0);
    std::int32_t code = d4top(t.table());
    for (; code == kSuccess; code = d4skip(t.table(), 1)) {
      if (d4deleted(t.table()) == 0) found.push_back(Current(t.table()));
      if (code4errorCode(t.session(), 0) < 0) failed = true;  // a memo that cannot be read
    }
    failed = failed || code != kEndOfFile;
    if (found.size() == people_.size()) {
      std::size_t different = 0;
      for (std::size_t i = 0; i < found.size(); ++i) different += found[i] == people_[i] ? 0 : 1;
      // A field whose type is another now is another field, and reported.
      if (!failed && findings.empty()) {
        EXPECT_LE(different, may_differ) << where;
      }
    } else {
      // Records that are not there any more are never missing in silence.
      EXPECT_TRUE(failed || !findings.empty()) << where << ": " << found.size() << " records";
    }
    for (const char* tag : kTags) {
      std::vector<std::string> order;
      const Handle handle = d4tag(t.table(), tag);
      if (handle == 0) continue;  // the flip is in its name: it is another tag now
      d4tagSelect(t.table(), handle);
      std::int32_t c = d4top(t.table());
      for (std::size_t steps = 0; c == kSuccess; c = d4skip(t.table(), 1)) {
        order.push_back(Current(t.table()).email);
        ASSERT_LT(++steps, 100U) << where;
      }
      // Which way a tag runs is one bit that nothing else tells.
      const std::vector<std::string> reversed(order.rbegin(), order.rend());
      if (c == kEndOfFile && order != orders_[tag] && reversed != orders_[tag] &&
          findings.empty()) {
        ADD_FAILURE() << where << ": another order in " << tag << " in silence";
      }
    }
  }

  void Flip(const std::string& path, std::size_t bit) {
    files().Restore(whole_);
    std::string bytes = files().Get(path);
    bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << (bit % 8)));
    files().Put(path, bytes);
  }

  std::vector<Person> people_;
  std::map<std::string, std::vector<std::string>> orders_;
  platform::MemoryImage whole_;
};

TEST_F(DamageTest, EveryTruncationIsAnErrorOrTheTruth) {
  for (const char* path : {"/data/people.pvg", "/data/people.cdx", "/data/people.fpt"}) {
    const std::size_t size = whole_.Find(path)->size();
    for (std::size_t n = size; n-- > 0;) {
      files().Restore(whole_);
      files().Put(path, whole_.Find(path)->substr(0, n));
      ExpectErrorOrTruth(std::string(path) + " cut to " + std::to_string(n), 0);
      if (HasFatalFailure()) return;
    }
  }
}

TEST_F(DamageTest, EveryFlippedBitOfTheDataFile) {
  const std::string& data = *whole_.Find(kPath);
  for (std::size_t bit = 0; bit < data.size() * 8; bit += kBitStep) {
    Flip(kPath, bit);
    ExpectErrorOrTruth("data file, bit " + std::to_string(bit), 1);
    if (HasFatalFailure()) return;
  }
}

TEST_F(DamageTest, EveryFlippedBitOfTheIndex) {
  const std::size_t bits = whole_.Find("/data/people.cdx")->size() * 8;
  for (std::size_t bit = 0; bit < bits; bit += kBitStep) {
    Flip("/data/people.cdx", bit);
    ExpectErrorOrTruth("index, bit " + std::to_string(bit), 0);
    if (HasFatalFailure()) return;
  }
}

TEST_F(DamageTest, EveryFlippedBitOfTheMemoFile) {
  const std::size_t bits = whole_.Find("/data/people.fpt")->size() * 8;
  for (std::size_t bit = 0; bit < bits; bit += kBitStep) {
    Flip("/data/people.fpt", bit);
    ExpectErrorOrTruth("memo file, bit " + std::to_string(bit), 1);
    if (HasFatalFailure()) return;
  }
}

// A count that lies too low must not cost the records behind it: nothing is cut, written over or
// left out of a compaction.
TEST_F(DamageTest, ACountThatLiesTooLowLosesNothing) {
  for (const char count : {'\0', '\1', '\x0F'}) {
    files().Restore(whole_);
    std::string data = files().Get(kPath);
    data[4] = count;
    files().Put(kPath, data);
    for (const std::int32_t mode : {0, 1}) {
      TestSession t;
      ASSERT_TRUE(t.Open(kPath, mode)) << t.Error();
      EXPECT_NE(t.CheckFindings().find("more bytes follow"), std::string::npos);
      EXPECT_EQ(t.Append({"new@x.org", "N", 1, ""}), kErrDataDamaged) << int{count};
      if (mode == 1) {
        EXPECT_EQ(d4pack(t.table()), kErrDataDamaged);
        EXPECT_EQ(d4bulkStart(t.table()), kErrDataDamaged);
      }
      ASSERT_EQ(t.Close(), kSuccess) << t.Error();
      EXPECT_EQ(files().Get(kPath), data);
    }
  }
}

}  // namespace
}  // namespace pv::engine
