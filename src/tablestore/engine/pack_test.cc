// Compaction: what is dropped, what is kept, what others see.
#include "tablestore/engine/engine_test_support.h"

namespace pv::engine {
namespace {

class PackTest : public EngineTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(t_.Create(kPath)) << t_.Error();
    for (int i = 0; i < 200; ++i) {
      const std::string n = std::to_string(i * 77 % 211);
      ASSERT_EQ(t_.Append({n + "@x.org", "f" + n, i * 1.0, std::string(i % 5 * 50U, 'm')}),
                kSuccess);
    }
    for (const std::string& email : t_.Emails()) {
      if (email.size() % 2 == 0) {
        ASSERT_EQ(t_.Delete(email), kSuccess);
      }
    }
    ASSERT_EQ(t_.Close(), kSuccess);
  }
  TestSession t_;
};

TEST_F(PackTest, DropsDeletedRecordsAndGivesBackSpace) {
  ASSERT_TRUE(t_.Open(kPath, 1));
  const auto before = t_.ByEmail();
  const std::int32_t records = d4recCountDo(t_.table());
  const auto check = d4check(t_.table());
  EXPECT_GT(check.deleted_records, 0);
  const std::uint64_t memo_size = d4info(t_.table()).memo_size;
  ASSERT_EQ(d4pack(t_.table()), kSuccess) << t_.Error();
  // The same handle goes on, and its tags and fields with it.
  EXPECT_EQ(t_.ByEmail(), before);
  EXPECT_EQ(t_.Emails("EMAIL").size(), before.size());
  EXPECT_EQ(d4recCountDo(t_.table()), records - check.deleted_records);
  EXPECT_EQ(d4check(t_.table()).memo_bytes_wasted, 0U);
  EXPECT_LT(d4info(t_.table()).memo_size, memo_size);
  EXPECT_EQ(t_.CheckFindings(), "");
  ASSERT_EQ(t_.Append({"new@x.org", "n", 1, "note"}), kSuccess);
  ASSERT_EQ(t_.Close(), kSuccess);
  ASSERT_TRUE(t_.Open(kPath));
  EXPECT_EQ(t_.ByEmail().size(), before.size() + 1);
  EXPECT_EQ(t_.CheckFindings(), "");
  for (const char* left : {".new", ".commit"}) {
    EXPECT_FALSE(files().Has(std::string(kPath) + left)) << left;
  }
}

TEST_F(PackTest, NeedsTheTableForItself) {
  ASSERT_TRUE(t_.Open(kPath, 0));
  EXPECT_EQ(d4pack(t_.table()), kErrExclusiveNeeded);
}

TEST_F(PackTest, RepeatedKeysAnswer20AndLeaveTheOldTable) {
  // Two live records with one key, as a program that ignores the tag would leave them.
  auto data = files().Open(kPath, {});
  ASSERT_TRUE(data.ok());
  std::string header(10, '\0');
  ASSERT_TRUE((*data)->Read(0, header.data(), header.size()).ok());
  const std::uint64_t first =
      static_cast<unsigned char>(header[8]) + 256U * static_cast<unsigned char>(header[9]);
  std::string records(65 * 200, '\0');
  ASSERT_TRUE((*data)->Read(first, records.data(), records.size()).ok());
  std::vector<std::size_t> live;
  for (std::size_t i = 0; i < 200; ++i) {
    if (records[i * 65] == ' ') live.push_back(i);
  }
  ASSERT_TRUE((*data)->Write(first + live[5] * 65 + 1, records.data() + live[3] * 65 + 1, 40).ok());
  data->reset();
  const auto before = files().Snapshot();
  ASSERT_TRUE(t_.Open(kPath, 1));
  EXPECT_EQ(d4pack(t_.table()), kUniqueKey);
  ASSERT_EQ(t_.Close(), kSuccess);
  for (const auto& [path, file] : before.files) EXPECT_EQ(files().Get(path), *file.content) << path;
  EXPECT_EQ(files().Snapshot().files.size(), before.files.size());
  ASSERT_TRUE(t_.Open(kPath));
  EXPECT_NE(t_.CheckFindings(), "");
}

TEST_F(PackTest, GeneralFieldsKeepTheirMemoFile) {
  TestSession s;
  ASSERT_TRUE(
      s.Create("/data/g.pvg", {{"A", 'C', 5, 0, 0}, {"G", 'G', 4, 0, 0}, {"M", 'M', 4, 0, 0}}, {}));
  d4appendStart(s.table(), 0);
  f4assignNVB(d4field(s.table(), "G"), std::string_view("\x09\0\0\0", 4), 4);
  f4memoAssign(d4field(s.table(), "M"), "memo");
  ASSERT_EQ(d4append(s.table()), kSuccess) << s.Error();
  ASSERT_EQ(s.Close(), kSuccess);
  const std::string memo = files().Get("/data/g.fpt");
  ASSERT_TRUE(s.Open("/data/g.pvg", 1));
  ASSERT_EQ(d4pack(s.table()), kSuccess) << s.Error();
  EXPECT_EQ(files().Get("/data/g.fpt"), memo);
}

TEST_F(PackTest, TriesAgainWhereOpenFilesCannotBeReplaced) {
  for (const platform::Fault refusal : {platform::Fault::kDenied, platform::Fault::kBusy}) {
    ASSERT_TRUE(t_.Open(kPath, 1));
    const auto expected = t_.ByEmail();
    files().FailCall(2, platform::Call::kRename, refusal);  // the first is of the note
    bool refused_while_open = false;
    int open_then = 0;
    files().SetHook(platform::Call::kRename, [&](platform::Call, const std::string&) {
      if (!files().FaultHit()) return;
      refused_while_open = true;
      open_then = files().OpenFileCount();
    });
    ASSERT_EQ(d4pack(t_.table()), kSuccess) << t_.Error();
    files().SetHook(platform::Call::kRename, {});
    files().ClearFault();
    EXPECT_TRUE(refused_while_open);
    EXPECT_EQ(open_then, 1) << "the note alone is held when it is tried again";
    EXPECT_EQ(t_.ByEmail(), expected);
    EXPECT_EQ(t_.CheckFindings(), "");
    ASSERT_EQ(t_.Close(), kSuccess);
    EXPECT_FALSE(files().Has(std::string(kPath) + ".commit"));
  }
}

TEST_F(PackTest, AnotherProgramMeetsTheOldTableOrTheNewOne) {
  ASSERT_TRUE(t_.Open(kPath, 1));
  const auto expected = t_.ByEmail();
  int opened = 0;
  int refused = 0;
  files().SetHook(platform::Call::kChange, [&](platform::Call, const std::string&) {
    TestSession other;
    if (!other.Open(kPath)) {
      ++refused;
      EXPECT_EQ(code4errorCode(other.session(), 0), kErrFileBusy);
      return;
    }
    ++opened;
    EXPECT_EQ(other.ByEmail(), expected);
    EXPECT_EQ(other.CheckFindings(), "");
  });
  ASSERT_EQ(d4pack(t_.table()), kSuccess) << t_.Error();
  files().SetHook(platform::Call::kChange, {});
  EXPECT_GT(refused, 3);
  EXPECT_EQ(t_.ByEmail(), expected);
}

}  // namespace
}  // namespace pv::engine
