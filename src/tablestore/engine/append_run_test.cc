// Appending under exclusive access, where entries are kept back: whoever asks for the index finds
// them, and the death of the process loses none.
#include "tablestore/engine/append_run.h"

#include <functional>

#include "platform/memory/every_death_test.h"
#include "tablestore/engine/engine_test_support.h"
#include "tablestore/engine/handles.h"
#include "tablestore/engine/session.h"

namespace pv::engine {
namespace {

// More appends in a row than there need to be before entries are kept back.
constexpr int kRun = 70;
// More records than a table may have for its tags to be made anew.
constexpr int kMany = 600;

Person Numbered(int i) {
  const std::string n = std::to_string((i + 1) * 7919 % 100'003);
  return {"p" + n + "@x.org", "First" + std::to_string(i % 10), i * 0.5, i % 3 == 0 ? "m" + n : ""};
}

std::map<std::string, Person> People(int count) {
  std::map<std::string, Person> people;
  for (int i = 0; i < count; ++i) people[Numbered(i).email] = Numbered(i);
  return people;
}

class AppendRunTest : public EngineTest {
 protected:
  static void Append(TestSession* t, int first, int count) {
    for (int i = first; i < first + count; ++i) {
      ASSERT_EQ(t->Append(Numbered(i)), kSuccess) << i << ": " << t->Error();
    }
  }
  // A table with that many records.
  void Fill(int count) {
    TestSession t;
    ASSERT_TRUE(t.Create(kPath)) << t.Error();
    Append(&t, 0, count);
    ASSERT_EQ(t.Close(), kSuccess);
  }
  // The mark stands exactly while entries are kept back.
  bool Marked() {
    auto index = files().Open("/data/people.cdx", {.share = platform::ShareMode::kUnclaimed});
    char mark[4] = {};
    EXPECT_TRUE(index.ok() && (*index)->Read(24, mark, sizeof mark).ok());
    return std::string(mark, sizeof mark) == "PVW1";
  }
  // What is in the files, which must be sound; the last append must be possible again.
  static std::map<std::string, Person> Read(const platform::MemoryImage& image,
                                            const std::string& where) {
    platform::MemorySystem memory{image};
    platform::ScopedSystem scope(memory.system());
    TestSession t;
    EXPECT_TRUE(t.Open(kPath, 1)) << where << ": " << t.Error();
    EXPECT_EQ(t.CheckFindings(), "") << where;
    EXPECT_EQ(t.Append({"later@x.org", "Later", 1, "x"}), kSuccess) << where << t.Error();
    EXPECT_EQ(t.Delete("later@x.org"), kSuccess) << where << t.Error();
    return t.ByEmail();
  }
};

TEST_F(AppendRunTest, WhoAsksForTheIndexFindsEveryRecord) {
  struct Asker {
    const char* name;
    std::function<void(TestSession&)> ask;
  };
  const Asker askers[] = {
      {"seek", [](TestSession& t) { EXPECT_EQ(t.Find(Numbered(0).email), kSuccess); }},
      {"top",
       [](TestSession& t) {
         d4tagSelect(t.table(), d4tag(t.table(), "EMAIL"));
         EXPECT_EQ(d4top(t.table()), kSuccess);
       }},
      {"bottom",
       [](TestSession& t) {
         d4tagSelect(t.table(), d4tag(t.table(), "SCORE"));
         EXPECT_EQ(d4bottom(t.table()), kSuccess);
       }},
      {"skip",
       [](TestSession& t) {
         d4tagSelect(t.table(), d4tag(t.table(), "SCORE"));
         EXPECT_EQ(d4skip(t.table(), 1), kSuccess) << "from the record appended last";
         EXPECT_EQ(t.Current().score, Numbered(0).score + (d4recCountDo(t.table()) - 2) * 0.5);
       }},
      {"check", [](TestSession& t) { EXPECT_EQ(t.CheckFindings(), ""); }},
      {"update",
       [](TestSession& t) {
         EXPECT_EQ(d4go(t.table(), 1), kSuccess);
         f4assignDouble(t.Field("SCORE"), Numbered(0).score);
         EXPECT_EQ(d4writeVB(t.table(), 1), kSuccess) << t.Error();
       }},
      {"delete and recall",
       [](TestSession& t) {
         EXPECT_EQ(d4go(t.table(), 1), kSuccess);
         EXPECT_EQ(d4delete(t.table()), kSuccess) << t.Error();
         d4recall(t.table());
         EXPECT_EQ(d4writeVB(t.table(), 1), kSuccess) << t.Error();
       }},
      {"reindex", [](TestSession& t) { EXPECT_EQ(d4reindex(t.table()), kSuccess); }},
      {"pack", [](TestSession& t) { EXPECT_EQ(d4pack(t.table()), kSuccess) << t.Error(); }},
      {"flush", [](TestSession& t) { EXPECT_EQ(d4flush(t.table()), kSuccess) << t.Error(); }},
      {"bulk",
       [](TestSession& t) {
         EXPECT_EQ(d4bulkStart(t.table()), kSuccess) << t.Error();
         EXPECT_EQ(d4bulkEnd(t.table()), kSuccess) << t.Error();
       }},
      {"close",
       [](TestSession& t) {
         EXPECT_EQ(t.Close(), kSuccess);
         EXPECT_TRUE(t.Open(kPath, 1)) << t.Error();
         EXPECT_TRUE(code4takeNotices(t.session()).empty());
       }},
  };
  for (const int before : {0, kMany}) {
    files().Restore(platform::MemoryImage());
    ASSERT_TRUE(files().CreateFolders("/data").ok());
    Fill(before);
    const platform::MemoryImage start = files().Snapshot();
    for (const Asker& asker : askers) {
      const std::string where = std::string(asker.name) + " after " + std::to_string(before);
      files().Restore(start);
      TestSession t;
      ASSERT_TRUE(t.Open(kPath, 1)) << where << t.Error();
      Append(&t, before, kRun);
      EXPECT_TRUE(Marked()) << where;
      asker.ask(t);
      EXPECT_FALSE(Marked()) << where;
      EXPECT_EQ(t.CheckFindings(), "") << where;
      EXPECT_EQ(t.Emails("EMAIL").size(), static_cast<std::size_t>(before + kRun)) << where;
      // And once more in the same session.
      Append(&t, before + kRun, kRun);
      EXPECT_TRUE(Marked()) << where;
      EXPECT_EQ(t.ByEmail(), People(before + 2 * kRun)) << where;
      EXPECT_EQ(t.Emails("EMAIL").size(), static_cast<std::size_t>(before + 2 * kRun)) << where;
      EXPECT_EQ(t.CheckFindings(), "") << where;
      if (HasFailure()) return;
    }
  }
}

TEST_F(AppendRunTest, AKeyThatIsThereIsRefusedAtOnce) {
  for (const int before : {0, kMany}) {
    files().Restore(platform::MemoryImage());
    ASSERT_TRUE(files().CreateFolders("/data").ok());
    Fill(before);
    TestSession t;
    ASSERT_TRUE(t.Open(kPath, 1)) << t.Error();
    Append(&t, before, kRun);
    // Of a record from before, one whose entry went into the index, and one that is kept back.
    for (const int there : {0, before, before + kRun - 1}) {
      Person p = Numbered(there);
      p.first = "Second";
      EXPECT_EQ(t.Append(p), kUniqueKey) << there;
      EXPECT_TRUE(Marked());
    }
    EXPECT_EQ(d4recCountDo(t.table()), before + kRun);
    Append(&t, before + kRun, 1);
    EXPECT_EQ(t.ByEmail(), People(before + kRun + 1));
    EXPECT_EQ(t.CheckFindings(), "");
    // What was deleted is nobody's key.
    ASSERT_EQ(t.Delete(Numbered(1).email), kSuccess) << t.Error();
    Append(&t, before + kRun + 1, kRun);
    EXPECT_TRUE(Marked());
    EXPECT_EQ(t.Append(Numbered(1)), kSuccess) << t.Error();
    EXPECT_EQ(t.CheckFindings(), "");
  }
}

TEST_F(AppendRunTest, EntriesGoIntoTheIndexWhenTheyTakeUpTooMuch) {
  Fill(0);
  TestSession t;
  ASSERT_TRUE(t.Open(kPath, 1)) << t.Error();
  static_cast<Session*>(
      HandleRegistry::OfThisThread().Find(t.session(), HandleKind::kSession)->object)
      ->kept_back_bytes = 20'000;
  Append(&t, 0, 3000);
  EXPECT_TRUE(Marked());
  EXPECT_EQ(t.Append(Numbered(0)), kUniqueKey);
  auto index = files().Open("/data/people.cdx", {.share = platform::ShareMode::kUnclaimed});
  ASSERT_TRUE(index.ok());
  EXPECT_GT((*index)->Size().value(), 80'000U) << "most of them are there";
  EXPECT_EQ(t.CheckFindings(), "");
  EXPECT_EQ(t.ByEmail(), People(3000));
}

TEST_F(AppendRunTest, DeathLosesNoRecordThatWasAppended) {
  for (const int before : {0, kMany}) {
    files().Restore(platform::MemoryImage());
    ASSERT_TRUE(files().CreateFolders("/data").ok());
    Fill(before);
    TestSession t;
    ASSERT_TRUE(t.Open(kPath, 1)) << t.Error();
    Append(&t, before, kRun);
    int appended = before + kRun;
    for (const auto& work : std::vector<std::function<void()>>{
             [&] { Append(&t, appended, 1); }, [&] { Append(&t, appended, 1); },
             [&] { EXPECT_EQ(t.Find(Numbered(0).email), kSuccess); }}) {
      ASSERT_TRUE(Marked());
      const auto earlier = People(appended);
      const auto later = People(appended + 1);
      std::size_t most = 0;
      platform::ForEveryDeath(&files(), std::to_string(before), work,
                              [&](const platform::MemoryImage& image, const std::string& where) {
                                const auto found = Read(image, where);
                                EXPECT_TRUE(found == earlier || found == later)
                                    << where << ": " << found.size();
                                EXPECT_GE(found.size(), most) << where;
                                most = found.size();
                                ASSERT_FALSE(HasFailure()) << where;
                              });
      if (HasFailure()) return;
      appended = static_cast<int>(most);
    }
    EXPECT_EQ(appended, before + kRun + 2);
    EXPECT_FALSE(Marked());
  }
}

TEST_F(AppendRunTest, EveryFaultGivesAnErrorAndLosesNothing) {
  for (const int before : {0, kMany}) {
    files().Restore(platform::MemoryImage());
    ASSERT_TRUE(files().CreateFolders("/data").ok());
    Fill(before);
    int acknowledged = 0;
    bool done = false;
    int failed = 0;
    // Two appends, and somebody who asks for the index.
    const int met = platform::ForEveryFault(
        &files(), std::to_string(before),
        [&](const std::string& where, const auto& arm) {
          TestSession t;
          EXPECT_TRUE(t.Open(kPath, 1)) << where << t.Error();
          Append(&t, before, kRun);
          acknowledged = before + kRun;
          done = true;
          arm();
          for (int i = 0; i < 2; ++i) {
            if (t.Append(Numbered(acknowledged)) == kSuccess) {
              ++acknowledged;
            } else {
              done = false;
            }
          }
          if (t.Find(Numbered(0).email) != kSuccess) done = false;
          if (t.Close() != kSuccess) done = false;
        },
        [&](const std::string& where) {
          if (!done) ++failed;
          EXPECT_EQ(Read(files().Snapshot(), where), People(acknowledged)) << where;
        });
    EXPECT_GT(met, 20) << before;
    EXPECT_GT(failed, met / 2) << before;
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace pv::engine
