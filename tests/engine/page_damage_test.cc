// Pages of a larger group damaged at random: clean errors or correct data, within bounds of memory
// and of work; and what a repair brings back. Damage byte by byte is in engine/damage_test.cc.
//
// PV_SOAK=1 damages it far more often.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>
#include <random>
#include <set>

#include "base/bytes.h"
#include "base/text.h"
#include "tablestore/engine/engine_test_support.h"

namespace {

// Bytes that operator new has given out, and the most that it ever had.
std::atomic<std::size_t> allocated{0};
std::atomic<std::size_t> peak{0};

}  // namespace

void* operator new(std::size_t size) {
  void* const p = std::malloc(size);
  if (p == nullptr) std::abort();
  const std::size_t now = allocated += malloc_usable_size(p);
  if (now > peak) peak = now;
  return p;
}

void operator delete(void* p) noexcept {
  if (p != nullptr) allocated -= malloc_usable_size(p);
  std::free(p);
}

void operator delete(void* p, std::size_t) noexcept { operator delete(p); }

namespace pv::engine {
namespace {

constexpr int kRecords = 2000;
constexpr std::size_t kPage = 512;
// What any session takes, whatever the size of its files.
constexpr std::size_t kFixedMemory = std::size_t{1} << 20;
constexpr const char* kIndex = "/data/people.cdx";
constexpr const char* kMemo = "/data/people.fpt";
constexpr const char* kWhole = "/data/whole.pvg";

class PageDamageTest : public EngineTest {
 protected:
  void SetUp() override {
    TestSession t;
    ASSERT_TRUE(t.Create(kPath)) << t.Error();
    for (int i = 0; i < kRecords; ++i) {
      const std::string n = std::to_string(i * 7919 % 100'003);
      people_.push_back({"person" + n + "@x.org", "Name" + std::to_string(i % 300), i % 97 * 1.5,
                         i % 3 == 0 ? std::string(static_cast<std::size_t>(i % 150), 'n') : ""});
      ASSERT_EQ(t.Append(people_.back()), kSuccess);
    }
    const TableInfo info = d4info(t.table());
    header_length_ = static_cast<std::size_t>(info.header_length);
    record_length_ = static_cast<std::size_t>(info.record_length);
    ASSERT_EQ(t.Close(), kSuccess);
    files().StopRecording();
    whole_ = files().Snapshot();
    for (const char* path : {kPath, kIndex, kMemo}) total_bytes_ += whole_.Find(path)->size();
  }

  struct Damage {
    std::string path;
    std::size_t page;
    std::string text;  // for messages
  };

  Damage DamageOnePage(std::mt19937* random) {
    Damage d;
    d.path = std::array{kPath, kIndex, kIndex, kMemo}[(*random)() % 4];
    std::string bytes = files().Get(d.path);
    d.page = (*random)() % ((bytes.size() + kPage - 1) / kPage);
    const std::size_t begin = d.page * kPage;
    const std::size_t size = std::min(kPage, bytes.size() - begin);
    const auto how = (*random)() % 5;
    for (std::size_t i = 0; i < size; ++i) {
      char& c = bytes[begin + i];
      if (how == 0) c = '\0';
      if (how == 1) c = '\xFF';
      if (how == 2) c = static_cast<char>((*random)());
    }
    if (how == 3) bytes[begin + (*random)() % size] ^= static_cast<char>(1U << (*random)() % 8);
    if (how == 4) {
      std::string other = bytes.substr((*random)() % (bytes.size() / kPage) * kPage, size);
      other.resize(size);
      bytes.replace(begin, size, other);
    }
    files().Put(d.path, bytes);
    d.text = d.path + " page " + std::to_string(d.page) + " way " + std::to_string(how) + "; ";
    return d;
  }

  static bool Touches(const std::vector<Damage>& damages, const char* path, std::size_t begin,
                      std::size_t end) {
    return std::any_of(damages.begin(), damages.end(), [&](const Damage& d) {
      return d.path == path && d.page * kPage < end && begin < (d.page + 1) * kPage;
    });
  }
  // Whether the damage leaves a record's bytes alone, and whether its memo's too.
  bool RecordIsWhole(const std::vector<Damage>& damages, std::size_t index) const {
    const std::size_t begin = header_length_ + index * record_length_;
    return !Touches(damages, kPath, begin, begin + record_length_);
  }
  bool MemoIsWhole(const std::vector<Damage>& damages, std::size_t index) const {
    const std::string& data = *whole_.Find(kPath);
    const std::string& memo = *whole_.Find(kMemo);
    const auto bytes = [](const std::string& s, std::size_t at) {
      return reinterpret_cast<const std::uint8_t*>(s.data()) + at;
    };
    // The pointer is the record's last field; block sizes and lengths are big-endian.
    const std::size_t block =
        LoadLe32(bytes(data, header_length_ + index * record_length_ + record_length_ - 4));
    if (block == 0) return true;
    const std::size_t begin = block * LoadBe16(bytes(memo, 6));
    return !Touches(damages, kMemo, 0, kPage) &&
           !Touches(damages, kMemo, begin, begin + 8 + LoadBe32(bytes(memo, begin + 4)));
  }

  // The records in the order of a tag as their keys; nothing when the walk fails.
  static std::optional<std::vector<std::string>> Keys(TestSession* t, const char* tag,
                                                      const std::string& where) {
    std::vector<std::string> keys;
    if (d4tagSelect(t->table(), d4tag(t->table(), tag)) != kSuccess) return std::nullopt;
    std::int32_t code = d4top(t->table());
    for (; code == kSuccess; code = d4skip(t->table(), 1)) {
      keys.push_back(Trimmed(f4ptr(d4fieldJ(t->table(), 1)), f4len_v(d4fieldJ(t->table(), 1))));
      EXPECT_LE(keys.size(), 4U * kRecords) << where;
      if (keys.size() > 4U * kRecords) return std::nullopt;
    }
    code4errorCode(t->session(), 0);
    if (code != kEndOfFile) return std::nullopt;
    return keys;
  }

  void ExpectErrorOrTruth(const std::vector<Damage>& damages, const std::string& where) {
    TestSession t;
    if (!t.Open(kPath)) {
      const std::int32_t code = code4errorCode(t.session(), 0);
      EXPECT_LT(code, 0) << where;
      EXPECT_NE(std::string(error4text(t.session(), code)).find("people"), std::string::npos);
      return;
    }
    ++opened_;
    const std::string findings = t.CheckFindings();
    if (!findings.empty()) ++reported_;
    code4errorCode(t.session(), 0);
    if (!Touches(damages, kPath, 0, header_length_)) {
      d4tagSelect(t.table(), 0);
      std::size_t n = 0;
      std::int32_t code = d4top(t.table());
      for (; code == kSuccess && n < people_.size(); code = d4skip(t.table(), 1), ++n) {
        if (!RecordIsWhole(damages, n)) continue;
        Person now = t.Current();
        Person then = people_[n];
        if (code4errorCode(t.session(), 0) < 0 || !MemoIsWhole(damages, n)) {
          EXPECT_FALSE(MemoIsWhole(damages, n)) << where << ": record " << n + 1;
          now.note = then.note = "";
        }
        ASSERT_EQ(now, then) << where << ": record " << n + 1;
      }
      EXPECT_EQ(n, people_.size()) << where;
    }
    for (const char* tag : {"EMAIL", "FIRST", "SCORE"}) {
      const auto keys = Keys(&t, tag, where);
      const bool data_is_whole = std::none_of(damages.begin(), damages.end(),
                                              [](const Damage& d) { return d.path == kPath; });
      if (keys && findings.empty() && data_is_whole) {
        EXPECT_EQ(*keys, orders_[tag]) << where << ": another order in " << tag << " in silence";
      }
    }
  }

  void ExpectRepaired(const std::vector<Damage>& damages, const std::string& where) {
    TestSession t;
    RepairReport report;
    const std::int32_t code = d4repair(t.session(), kPath, kWhole, &report);
    const bool header_is_whole = !Touches(damages, kPath, 0, header_length_);
    if (code != kSuccess) {
      EXPECT_LT(code, 0) << where;
      EXPECT_FALSE(header_is_whole) << where << ": " << t.Error();
      return;
    }
    ++repaired_;
    ASSERT_TRUE(t.Open(kWhole)) << where << ": " << t.Error();
    EXPECT_EQ(d4check(t.table()).findings.size(), report.remaining.size()) << where;
    if (!header_is_whole) return;
    // A damaged record can have taken another's address.
    std::multimap<std::string, Person> found;
    d4tagSelect(t.table(), 0);
    for (std::int32_t c = d4top(t.table()); c == kSuccess; c = d4skip(t.table(), 1)) {
      const Person p = t.Current();
      found.emplace(p.email, p);
    }
    bool lost = false;
    for (std::size_t i = 0; i < people_.size(); ++i) {
      if (!RecordIsWhole(damages, i)) continue;
      const auto [first, last] = found.equal_range(people_[i].email);
      ASSERT_NE(first, last) << where << ": record " << i + 1;
      if (MemoIsWhole(damages, i)) {
        ASSERT_TRUE(std::any_of(first, last, [&](const auto& p) { return p.second == people_[i]; }))
            << where << ": record " << i + 1;
      }
      // Another page's blocks in a memo's place are a sound memo of another text.
      lost = lost || (first->second.note.empty() && !people_[i].note.empty());
    }
    EXPECT_TRUE(!lost || !report.losses.empty() || report.memos_lost > 0 || !report.notes.empty())
        << where << ": memos were lost in silence";
  }

  std::vector<Person> people_;
  std::map<std::string, std::vector<std::string>> orders_;
  platform::MemoryImage whole_;
  std::size_t header_length_ = 0, record_length_ = 0, total_bytes_ = 0;
  int opened_ = 0, reported_ = 0, repaired_ = 0;
};

TEST_F(PageDamageTest, ErrorsOrTheTruthWithinBounds) {
  {
    TestSession t;
    ASSERT_TRUE(t.Open(kPath)) << t.Error();
    for (const char* tag : {"EMAIL", "FIRST", "SCORE"}) orders_[tag] = *Keys(&t, tag, "whole");
  }
  files().ClearFault();
  ExpectErrorOrTruth({}, "whole");
  ASSERT_FALSE(HasFailure());
  const std::uint64_t usual_calls = files().CallCount();

  std::mt19937 random(20261121);
  const int rounds = std::getenv("PV_SOAK") != nullptr ? 20'000 : 120;
  for (int round = 0; round < rounds; ++round) {
    files().Restore(whole_);
    files().StopRecording();
    std::vector<Damage> damages;
    std::string where = "round " + std::to_string(round) + ": ";
    for (int n = 1 + round % 3; n > 0; --n) {
      damages.push_back(DamageOnePage(&random));
      where += damages.back().text;
    }
    const std::size_t before = allocated;
    peak = before;
    files().ClearFault();
    ExpectErrorOrTruth(damages, where);
    EXPECT_LE(peak - before, 4 * total_bytes_ + kFixedMemory) << where;
    // The clock of a busy machine proves nothing; calls of the file system do.
    EXPECT_LE(files().CallCount(), 10 * usual_calls) << where;
    ExpectRepaired(damages, where);
    if (HasFailure()) return;
  }
  // Each kind of outcome was there, or this test proves little.
  EXPECT_GT(opened_, rounds / 2);
  EXPECT_GT(reported_, rounds / 2);
  EXPECT_GT(repaired_, rounds / 2);
}

}  // namespace
}  // namespace pv::engine
