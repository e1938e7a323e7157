// Whole tables out of damaged ones.
#include <algorithm>

#include "base/instrumented_test.h"
#include "tablestore/engine/engine_test_support.h"

namespace pv::engine {
namespace {

constexpr const char* kRepaired = "/data/repaired.pvg";

class RepairTest : public EngineTest {
 protected:
  void SetUp() override {
    TestSession t;
    ASSERT_TRUE(t.Create(kPath)) << t.Error();
    for (int i = 0; i < 60; ++i) {
      const std::string n = std::to_string(i * 7 % 61);
      ASSERT_EQ(t.Append({"person" + n + "@x.org", "Name" + n, i * 1.5,
                          i % 3 == 0 ? "Note " + n + std::string(i * 3U, '.') : ""}),
                kSuccess);
    }
    ASSERT_EQ(t.Delete("person7@x.org"), kSuccess);
    people_ = t.ByEmail();
    ASSERT_EQ(t.Close(), kSuccess);
    whole_ = files().Snapshot();
  }

  RepairReport Repair() {
    RepairReport report;
    TestSession t;
    EXPECT_EQ(d4repair(t.session(), kPath, kRepaired, &report), kSuccess) << t.Error();
    return report;
  }
  std::map<std::string, Person> Repaired(std::size_t tags = 3) {
    TestSession t;
    EXPECT_TRUE(t.Open(kRepaired)) << t.Error();
    EXPECT_EQ(t.CheckFindings(), "");
    EXPECT_EQ(d4info(t.table()).tags.size(), tags);
    return t.ByEmail();
  }
  void Damage(const std::string& path, std::size_t at, std::size_t size) {
    files().Restore(whole_);
    std::string bytes = files().Get(path);
    for (std::size_t i = at; i < at + size && i < bytes.size(); ++i) bytes[i] = '\0';
    files().Put(path, bytes);
  }

  std::map<std::string, Person> people_;
  platform::MemoryImage whole_;
};

TEST_F(RepairTest, ASoundTableComesOutAsItIs) {
  const RepairReport report = Repair();
  EXPECT_TRUE(report.losses.empty());
  EXPECT_TRUE(report.notes.empty());
  EXPECT_TRUE(report.remaining.empty());
  EXPECT_EQ(report.live_records, 59);
  EXPECT_EQ(report.deleted_records, 1);
  EXPECT_EQ(report.tags_rebuilt, 3);
  EXPECT_EQ(Repaired(), people_);
  for (const auto& [path, file] : whole_.files) EXPECT_EQ(files().Get(path), *file.content) << path;
}

TEST_F(RepairTest, AnyPageOfTheIndexMayBeZeroed) {
  const std::size_t size = whole_.Find("/data/people.cdx")->size();
  int all_tags = 0;
  for (std::size_t at = 0; at < size; at += 512) {
    Damage("/data/people.cdx", at, 512);
    const RepairReport report = Repair();
    EXPECT_EQ(report.live_records, 59) << at;
    TestSession t;
    ASSERT_TRUE(t.Open(kRepaired)) << at << ": " << t.Error();
    EXPECT_EQ(t.CheckFindings(), "") << at;
    EXPECT_EQ(t.ByEmail(), people_) << at;
    const auto tags = d4info(t.table()).tags;
    // Of a tag whose own header is gone nothing is left; the others are all there.
    EXPECT_GE(tags.size(), 2U) << at;
    if (tags.size() == 3) ++all_tags;
    ASSERT_NE(std::find_if(tags.begin(), tags.end(),
                           [](const TagInfo& tag) {
                             return tag.expression == "EMAIL" || tag.expression == "SCORE";
                           }),
              tags.end());
  }
  EXPECT_GE(all_tags, static_cast<int>(size / 512) - 6);
}

TEST_F(RepairTest, AnyByteOfTheDirectoryMayBeAnother) {
  const std::string index = *whole_.Find("/data/people.cdx");
  for (std::size_t at = 0; at < 1536; at += kBitStep) {
    for (const char byte : {'\0', ' ', 'E', '\xFF'}) {
      files().Restore(whole_);
      std::string damaged = index;
      damaged[at] = byte;
      files().Put("/data/people.cdx", damaged);
      const RepairReport report = Repair();
      ASSERT_EQ(report.live_records, 59) << at;
      ASSERT_TRUE(report.remaining.empty()) << at << ": " << report.remaining.front();
      // A count that is too low hides tags that nothing else tells of.
      if (at == 1026) continue;
      ASSERT_EQ(report.tags_rebuilt + static_cast<int>(report.losses.size()), 3) << at;
    }
  }
}

TEST_F(RepairTest, TwoTagsOfOneName) {
  std::string index = *whole_.Find("/data/people.cdx");
  const std::size_t names = index.find("SCOREFIRSTEMAIL");
  ASSERT_NE(names, index.npos);
  index.replace(names, 15, "EMAILFIRSTEMAIL");
  files().Put("/data/people.cdx", index);
  const RepairReport report = Repair();
  EXPECT_EQ(report.tags_rebuilt, 3);
  EXPECT_TRUE(report.losses.empty());
  EXPECT_EQ(Repaired(), people_);
  TestSession t;
  ASSERT_TRUE(t.Open(kRepaired));
  EXPECT_NE(d4tag(t.table(), "SCORE"), 0);
}

TEST_F(RepairTest, TheDirectoryMayBeLost) {
  Damage("/data/people.cdx", 0, 1536);
  const RepairReport report = Repair();
  EXPECT_TRUE(report.losses.empty());
  EXPECT_GE(report.notes.size(), 4U);  // the damage, and three names
  EXPECT_EQ(Repaired(), people_);
  TestSession t;
  ASSERT_TRUE(t.Open(kRepaired));
  EXPECT_NE(d4tag(t.table(), "EMAIL"), 0);
  EXPECT_NE(d4tag(t.table(), "SCORE"), 0);
}

TEST_F(RepairTest, TheRecordCountIsCorrected) {
  for (const char count : {'\0', '\1', '\x3B', '\x50'}) {
    files().Restore(whole_);
    std::string data = files().Get(kPath);
    data[4] = count;
    files().Put(kPath, data);
    const RepairReport report = Repair();
    EXPECT_FALSE(report.notes.empty());
    EXPECT_EQ(report.losses.empty(), count <= 60);
    EXPECT_EQ(Repaired(), people_);
  }
}

TEST_F(RepairTest, ACutDataFileKeepsEveryWholeRecord) {
  const std::string data = *whole_.Find(kPath);
  const std::size_t record = 1 + 40 + 12 + 8 + 4;
  files().Put(kPath, data.substr(0, data.size() - 1 - 10 * record - 20));
  const RepairReport report = Repair();
  EXPECT_EQ(report.live_records + report.deleted_records, 49);
  ASSERT_FALSE(report.losses.empty());
  EXPECT_NE(report.losses[0].find("11 records"), std::string::npos) << report.losses[0];
  for (const auto& [email, person] : Repaired()) EXPECT_EQ(person, people_.at(email));
}

TEST_F(RepairTest, AnyBlockOfTheMemoFileMayBeZeroed) {
  const std::size_t size = whole_.Find("/data/people.fpt")->size();
  for (std::size_t at = 0; at < size; at += 512) {
    Damage("/data/people.fpt", at, 512);
    const RepairReport report = Repair();
    EXPECT_EQ(report.memos_lost, static_cast<std::int64_t>(report.losses.size()));
    const auto found = Repaired();
    ASSERT_EQ(found.size(), people_.size());
    std::int64_t different = 0;
    for (const auto& [email, person] : found) {
      Person expected = people_.at(email);
      if (person.note != expected.note) ++different;
      expected.note = person.note;
      EXPECT_EQ(person, expected);
    }
    // A memo of whose bytes some became zero is one that differs; nothing else does.
    EXPECT_LE(different, 9) << at;
    if (at == 0) {
      EXPECT_EQ(different, 0);
    }
  }
}

TEST_F(RepairTest, MissingFilesAreLosses) {
  ASSERT_TRUE(files().Remove("/data/people.cdx").ok());
  ASSERT_TRUE(files().Remove("/data/people.fpt").ok());
  const RepairReport report = Repair();
  EXPECT_EQ(report.memos_lost, 20);
  EXPECT_EQ(report.tags_rebuilt, 0);
  EXPECT_EQ(Repaired(0).size(), people_.size());
}

TEST_F(RepairTest, ExpectedTagsAreMadeWhereTheirDefinitionsAreLost) {
  const std::vector<TagRecord> expected = {{"Email", "EMAIL", ".NOT. DELETED()", kUniqueKey, 0}};
  const std::size_t size = whole_.Find("/data/people.cdx")->size();
  int made = 0;
  for (std::size_t at = 0; at <= size; at += 512) {
    Damage("/data/people.cdx", at, 512);
    if (at == size) {
      ASSERT_TRUE(files().Remove("/data/people.cdx").ok());
    }
    RepairReport report;
    TestSession t;
    ASSERT_EQ(d4repair(t.session(), kPath, kRepaired, &report, expected), kSuccess) << t.Error();
    for (const std::string& note : report.notes) {
      if (note.find("made anew") != std::string::npos) ++made;
    }
    ASSERT_TRUE(t.Open(kRepaired)) << at << ": " << t.Error();
    EXPECT_EQ(t.CheckFindings(), "") << at;
    EXPECT_NE(d4tag(t.table(), "EMAIL"), 0) << at;
    EXPECT_EQ(t.ByEmail(), people_) << at;
    EXPECT_EQ(t.Close(), kSuccess);
  }
  EXPECT_GE(made, 2);
}

TEST_F(RepairTest, NothingIsOverwrittenOrTakenFromItsUser) {
  TestSession t;
  RepairReport report;
  EXPECT_EQ(d4repair(t.session(), kPath, kPath, &report), kErrFileExists);
  ASSERT_TRUE(t.Open(kPath));
  EXPECT_EQ(d4repair(t.session(), kPath, kRepaired, &report), kErrFileBusy);
  EXPECT_EQ(d4repair(t.session(), "/data/none.pvg", kRepaired, &report), kErrFileMissing);
  files().Put("/data/text.pvg", "no table");
  EXPECT_EQ(d4repair(t.session(), "/data/text.pvg", kRepaired, &report), kErrNotTable);
  EXPECT_FALSE(files().Has(kRepaired));
}

TEST_F(RepairTest, AFullDiskLeavesNothingBehind) {
  for (int n = 1;; ++n) {
    files().Restore(whole_);
    files().FailCall(static_cast<std::uint64_t>(n), platform::Call::kChange,
                     platform::Fault::kNoSpace, true);
    RepairReport report;
    std::int32_t code = kSuccess;
    {
      TestSession t;
      code = d4repair(t.session(), kPath, kRepaired, &report);
    }
    const bool hit = files().FaultHit();
    files().ClearFault();
    for (const auto& [path, file] : whole_.files) ASSERT_EQ(files().Get(path), *file.content);
    if (!hit) {
      EXPECT_EQ(code, kSuccess);
      break;
    }
    EXPECT_LT(code, 0) << n;
    ASSERT_LT(n, 2000);
  }
}

}  // namespace
}  // namespace pv::engine
