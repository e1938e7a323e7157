// After every recorded change of every operation the files are opened as a crash would have left
// them: everything acknowledged before is there, the interrupted operation is there whole or not
// at all, and the tags agree with the records.
#include <functional>

#include "platform/memory/crash_replay.h"
#include "platform/memory/every_death_test.h"
#include "tablestore/engine/engine_test_support.h"

namespace pv::engine {
namespace {

using People = std::map<std::string, Person>;

std::string Long(char c, std::size_t n) { return std::string(n, c); }

People Base() {
  People people;
  for (int i = 0; i < 8; ++i) {
    const std::string n = std::to_string(i);
    people["p" + n + "@x.org"] = {"p" + n + "@x.org", "First" + n, i * 1.5,
                                  i % 2 == 0 ? Long(static_cast<char>('a' + i), 100) : ""};
  }
  return people;
}

struct Case {
  const char* name;
  std::int32_t mode;  // access
  std::function<std::int32_t(TestSession&)> work;
  std::function<void(People&)> effect;
};

std::vector<Case> Cases() {
  std::vector<Case> cases;
  for (const std::int32_t mode : {0, 1}) {
    const Person added{"new@x.org", "New", 7, Long('n', 200)};
    cases.push_back({"append", mode, [=](TestSession& t) { return t.Append(added); },
                     [=](People& p) { p[added.email] = added; }});
    const Person moved{"zz@x.org", "Moved", -1, Long('a', 100)};
    cases.push_back({"update of every key", mode,
                     [=](TestSession& t) { return t.Update("p0@x.org", moved); },
                     [=](People& p) {
                       p.erase("p0@x.org");
                       p[moved.email] = moved;
                     }});
    const Person rewritten{"p2@x.org", "First2", 3, Long('Z', 90)};
    cases.push_back({"memo in place and a field", mode,
                     [=](TestSession& t) { return t.Update("p2@x.org", rewritten); },
                     [=](People& p) { p["p2@x.org"] = rewritten; }});
    const Person grown{"p4@x.org", "Grown", 6, Long('G', 500)};
    cases.push_back({"memo that grows", mode,
                     [=](TestSession& t) { return t.Update("p4@x.org", grown); },
                     [=](People& p) { p["p4@x.org"] = grown; }});
    cases.push_back({"delete", mode, [](TestSession& t) { return t.Delete("p3@x.org"); },
                     [](People& p) { p.erase("p3@x.org"); }});
    cases.push_back({"recall", mode,
                     [](TestSession& t) {
                       d4tagSelect(t.table(), 0);
                       d4go(t.table(), 9);
                       d4recall(t.table());
                       return d4writeVB(t.table(), 9);
                     },
                     [](People& p) {
                       p["gone@x.org"] = {"gone@x.org", "Gone", 1, "was here"};
                     }});
  }
  cases.push_back({"pack", 1, [](TestSession& t) { return d4pack(t.table()); }, [](People&) {}});
  cases.push_back(
      {"reindex", 1, [](TestSession& t) { return d4reindex(t.table()); }, [](People&) {}});
  return cases;
}

class RecoveryTest : public EngineTest {
 protected:
  // Eight live records and a deleted one.
  void Fill() {
    TestSession t;
    ASSERT_TRUE(t.Create(kPath)) << t.Error();
    for (const auto& [email, person] : Base()) ASSERT_EQ(t.Append(person), kSuccess) << t.Error();
    ASSERT_EQ(t.Append({"gone@x.org", "Gone", 1, "was here"}), kSuccess);
    ASSERT_EQ(t.Delete("gone@x.org"), kSuccess);
    ASSERT_EQ(t.Close(), kSuccess);
  }

  // Opens the files of `image` and compares them with what may be there.
  static void ExpectBeforeOrAfter(const platform::MemoryImage& image, const People& before,
                                  const People& after, const std::string& where) {
    platform::MemorySystem memory{image};
    platform::ScopedSystem scope(memory.system());
    People found;
    {
      TestSession t;
      ASSERT_TRUE(t.Open(kPath)) << where << ": " << t.Error();
      found = t.ByEmail();
      EXPECT_TRUE(found == before || found == after)
          << where << ": " << ::testing::PrintToString(found);
      EXPECT_EQ(t.CheckFindings(), "") << where;
      // The table goes on working.
      ASSERT_EQ(t.Append({"later@x.org", "Later", 1, "x"}), kSuccess) << where << t.Error();
      ASSERT_EQ(t.Close(), kSuccess) << where;
    }
    TestSession t;
    ASSERT_TRUE(t.Open(kPath, 1)) << where << ": " << t.Error();
    EXPECT_EQ(t.ByEmail().size(), found.size() + 1) << where;
    EXPECT_EQ(t.CheckFindings(), "") << where;
  }
};

TEST_F(RecoveryTest, EveryCrashLeavesTheChangeWholeOrNotAtAll) {
  Fill();
  const platform::MemoryImage start = files().Snapshot();
  for (const Case& c : Cases()) {
    files().Restore(start);
    const People before = Base();
    People after = before;
    c.effect(after);
    const std::string name = std::string(c.name) + ", mode " + std::to_string(c.mode);
    TestSession t;
    ASSERT_TRUE(t.Open(kPath, c.mode)) << t.Error();
    platform::MemoryImage last;
    const std::size_t changes = platform::ForEveryDeath(
        &files(), name, [&] { ASSERT_EQ(c.work(t), kSuccess) << name << ": " << t.Error(); },
        [&](const platform::MemoryImage& image, const std::string& where) {
          ExpectBeforeOrAfter(image, before, after, where);
          last = image;
        });
    if (HasFatalFailure()) return;
    ASSERT_GT(changes, 3U) << name;
    // Once the operation has answered, it is there.
    platform::MemorySystem memory{last};
    platform::ScopedSystem scope(memory.system());
    TestSession later;
    ASSERT_TRUE(later.Open(kPath));
    EXPECT_EQ(later.ByEmail(), after) << c.name;
  }
}

TEST_F(RecoveryTest, AnInterruptedCreationLeavesNoTableOrAWholeOne) {
  files().StartRecording();
  {
    TestSession t;
    ASSERT_TRUE(t.Create(kPath)) << t.Error();
  }
  platform::CrashReplay replay(files());
  int whole = 0;
  for (std::size_t n = 0; n <= replay.size(); ++n) {
    replay.StepTo(n);
    platform::MemorySystem memory{replay.Image()};
    platform::ScopedSystem scope(memory.system());
    TestSession t;
    if (t.Open(kPath)) {
      ++whole;
      EXPECT_EQ(t.CheckFindings(), "");
      continue;
    }
    EXPECT_EQ(code4errorCode(t.session(), 0), kErrFileMissing) << n;
    // What was left behind is in nobody's way.
    ASSERT_TRUE(t.Create(kPath)) << n << ": " << t.Error();
    EXPECT_EQ(t.Append({"a@x.org", "A", 1, "m"}), kSuccess);
    EXPECT_EQ(t.CheckFindings(), "");
  }
  EXPECT_GT(whole, 0);
}

TEST_F(RecoveryTest, AnInterruptedBulkLoadKeepsEveryRecord) {
  Fill();
  {
    TestSession t;
    ASSERT_TRUE(t.Open(kPath, 1));
    files().StartRecording();
    ASSERT_EQ(d4bulkStart(t.table()), kSuccess);
    for (int i = 0; i < 20; ++i) {
      ASSERT_EQ(t.Append({"b" + std::to_string(i) + "@x.org", "B", 1, "m"}), kSuccess);
    }
    ASSERT_EQ(d4bulkEnd(t.table()), kSuccess);
    files().StopRecording();
  }
  platform::CrashReplay replay(files());
  std::size_t most = 0;
  for (std::size_t n = 0; n <= replay.size(); ++n) {
    replay.StepTo(n);
    platform::MemorySystem memory{replay.Image()};
    platform::ScopedSystem scope(memory.system());
    TestSession t;
    ASSERT_TRUE(t.Open(kPath)) << n << ": " << t.Error();
    const std::size_t now = t.Emails("EMAIL").size();
    EXPECT_EQ(now, t.ByEmail().size());
    EXPECT_EQ(t.CheckFindings(), "") << n;
    EXPECT_GE(now, most) << n;
    most = std::max(most, now);
  }
  EXPECT_EQ(most, 28U);
}

TEST_F(RecoveryTest, ARebuildIsReported) {
  Fill();
  files().StartRecording();
  {
    TestSession t;
    ASSERT_TRUE(t.Open(kPath));
    ASSERT_EQ(t.Append({"n@x.org", "N", 1, ""}), kSuccess);
  }
  platform::CrashReplay replay(files());
  bool reported = false;
  for (std::size_t n = 0; n <= replay.size(); ++n) {
    replay.StepTo(n);
    platform::MemorySystem memory{replay.Image()};
    platform::ScopedSystem scope(memory.system());
    TestSession t;
    ASSERT_TRUE(t.Open(kPath));
    for (const std::string& notice : code4takeNotices(t.session())) {
      reported = reported || notice.find("3 tags were rebuilt") != std::string::npos;
    }
  }
  EXPECT_TRUE(reported);
}

// A reader that has the table open all the while meets the mark at its next lock.
TEST_F(RecoveryTest, AnOpenReaderRepairsWhatADeadWriterLeft) {
  Fill();
  TestSession reader;
  ASSERT_TRUE(reader.Open(kPath));
  ASSERT_EQ(reader.Find("p1@x.org"), kSuccess);
  // The mark as a writer that died just after setting it would leave it.
  auto index = files().Open("/data/people.cdx", {});
  ASSERT_TRUE(index.ok());
  ASSERT_TRUE((*index)->Write(24, "PVW1", 4).ok());
  ASSERT_EQ(reader.Find("p2@x.org"), kSuccess) << reader.Error();
  const auto notices = code4takeNotices(reader.session());
  ASSERT_EQ(notices.size(), 1U);
  EXPECT_NE(notices[0].find("rebuilt"), std::string::npos);
  EXPECT_EQ(reader.CheckFindings(), "");
}

// Every call of every operation fails once with every error: an error comes out, and after it the
// table is sound, with the change or without.
TEST_F(RecoveryTest, EveryFaultGivesAnErrorAndASoundTable) {
  Fill();
  const platform::MemoryImage start = files().Snapshot();
  for (const Case& c : Cases()) {
    People after = Base();
    c.effect(after);
    for (const platform::Fault fault :
         {platform::Fault::kNoSpace, platform::Fault::kIoError, platform::Fault::kShortWrite,
          platform::Fault::kBusy, platform::Fault::kDenied}) {
      for (int n = 1;; ++n) {
        files().Restore(start);
        bool hit = false;
        std::int32_t code = kSuccess;
        {
          TestSession t;
          ASSERT_TRUE(t.Open(kPath, c.mode)) << t.Error();
          code4lockWait(t.session(), 20);
          files().FailCall(static_cast<std::uint64_t>(n), platform::Call::kAny, fault);
          code = c.work(t);
          hit = files().FaultHit();
          files().ClearFault();
          if (code < 0) {
            EXPECT_LT(code4errorCode(t.session(), 0), 0) << c.name << " call " << n;
          }
        }
        const std::string where = std::string(c.name) + ", mode " + std::to_string(c.mode) +
                                  ", call " + std::to_string(n) + ", fault " +
                                  std::to_string(static_cast<int>(fault));
        if (code == kSuccess) {
          // A failure that the operation could do without.
          ExpectBeforeOrAfter(files().Snapshot(), after, after, where);
        } else {
          ExpectBeforeOrAfter(files().Snapshot(), Base(), after, where);
        }
        if (HasFailure()) return;
        if (!hit) break;
        ASSERT_LT(n, 2000);
      }
    }
  }
}

}  // namespace
}  // namespace pv::engine
