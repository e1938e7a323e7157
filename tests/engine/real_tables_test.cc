// Tables that other programs made: read, searched, changed, compacted. They lie in the folder that
// PV_SAMPLE_DATA names, and are worked on as copies in memory.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tablestore/engine/engine_test_support.h"

namespace pv::engine {
namespace {

class RealTablesTest : public EngineTest {
 protected:
  void SetUp() override {
    const char* samples = std::getenv("PV_SAMPLE_DATA");
    if (samples == nullptr) GTEST_SKIP() << "PV_SAMPLE_DATA is not set";
    const std::filesystem::path folder = std::filesystem::path(samples) / "foxpro";
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      std::ifstream in(entry.path(), std::ios::binary);
      std::ostringstream bytes;
      bytes << in.rdbuf();
      const std::string name = entry.path().filename().string();
      files().Put("/data/" + name, bytes.str());
      if (entry.path().extension() == ".dbf") tables_.push_back("/data/" + name);
    }
    ASSERT_GE(tables_.size(), 5U);
  }

  // The key text of the current record for the expressions that these tables have.
  static std::string KeyText(Handle table, const std::string& expression) {
    if (expression.rfind("UPPER(", 0) == 0) {
      std::string inner = KeyText(table, expression.substr(6, expression.size() - 7));
      d4codePage(table)->UpperBytes(inner.data(), inner.size());
      return inner;
    }
    if (const auto plus = expression.find("+STR("); plus != std::string::npos) {
      const std::string number = expression.substr(plus + 5, expression.find(',') - plus - 5);
      char text[16];
      snprintf(text, sizeof text, "%5d", f4long(d4field(table, number)));
      return KeyText(table, expression.substr(0, plus)) + text;
    }
    // Long field names of a database container are cut to ten characters in a free table.
    const Handle field = d4field(table, expression.substr(0, 10));
    EXPECT_NE(field, 0) << expression;
    if (f4type(field) == 'I') return std::to_string(f4long(field));
    return {reinterpret_cast<const char*>(f4ptr(field)), static_cast<std::size_t>(f4len_v(field))};
  }

  std::vector<std::string> tables_;
};

TEST_F(RealTablesTest, EveryTagWalksInOrderAndEveryKeyIsFound) {
  int tags = 0;
  for (const std::string& path : tables_) {
    TestSession t;
    ASSERT_TRUE(t.Open(path)) << t.Error();
    EXPECT_EQ(t.CheckFindings(), "") << path;
    const std::int32_t records = d4recCountDo(t.table());
    EXPECT_GT(records, 0);
    for (const TagInfo& tag : d4info(t.table()).tags) {
      ++tags;
      EXPECT_EQ(tag.unusable, "") << path << " " << tag.name;
      d4tagSelect(t.table(), d4tag(t.table(), tag.name));
      std::vector<std::int32_t> order;
      std::vector<std::string> keys;
      for (std::int32_t c = d4top(t.table()); c == kSuccess; c = d4skip(t.table(), 1)) {
        order.push_back(d4recNoLow(t.table()));
        keys.push_back(KeyText(t.table(), tag.expression));
      }
      EXPECT_EQ(static_cast<std::int32_t>(order.size()), records) << path << " " << tag.name;
      const bool numeric =
          !keys.empty() && f4type(d4field(t.table(), tag.expression.substr(0, 10))) == 'I';
      for (std::size_t i = 1; i < keys.size() && !numeric; ++i) {
        ASSERT_LE(keys[i - 1], keys[i]) << path << " " << tag.name;
      }
      for (std::size_t i = 0; i < keys.size(); ++i) {
        ASSERT_EQ(d4seek(t.table(), keys[i]), kSuccess) << path << " " << tag.name << keys[i];
        ASSERT_EQ(KeyText(t.table(), tag.expression), keys[i]);
        if (i > 0 && keys[i] != keys[i - 1]) {
          ASSERT_EQ(d4recNoLow(t.table()), order[i]) << tag.name;
        }
      }
    }
  }
  EXPECT_GE(tags, 12);
}

TEST_F(RealTablesTest, MemoTextIsWhole) {
  std::size_t texts = 0;
  for (const std::string& path : tables_) {
    TestSession t;
    ASSERT_TRUE(t.Open(path)) << t.Error();
    const Handle notes = d4field(t.table(), "NOTES");
    if (notes == 0) continue;
    const std::string memo_file = files().Get(d4info(t.table()).memo_file);
    for (std::int32_t c = d4top(t.table()); c == kSuccess; c = d4skip(t.table(), 1)) {
      const auto* p = f4memoPtr(notes);
      ASSERT_NE(p, nullptr) << t.Error();
      const std::string text(reinterpret_cast<const char*>(p),
                             static_cast<std::size_t>(f4memoLen(notes)));
      if (text.empty()) continue;
      ++texts;
      EXPECT_NE(memo_file.find(text), std::string::npos);
    }
  }
  EXPECT_GE(texts, 5U);
}

TEST_F(RealTablesTest, TheyCanBeChangedAndCompacted) {
  for (const std::string& path : tables_) {
    TestSession t;
    ASSERT_TRUE(t.Open(path, 1)) << t.Error();
    const std::int32_t records = d4recCountDo(t.table());
    // Every second record gets another first field, every fifth is deleted.
    const Handle first = d4fieldJ(t.table(), 1);
    std::int32_t deleted = 0;
    for (std::int32_t r = 1; r <= records; ++r) {
      ASSERT_EQ(d4go(t.table(), r), kSuccess);
      if (r % 5 == 0) {
        ASSERT_EQ(d4delete(t.table()), kSuccess) << t.Error();
        ++deleted;
      } else if (r % 2 == 0) {
        if (f4type(first) == 'C') {
          f4assignCharVB(first, "z" + std::to_string(r));
        } else {
          f4assignLong(first, 10'000 + r);
        }
        ASSERT_EQ(d4writeVB(t.table(), r), kSuccess) << path << r << t.Error();
      }
    }
    EXPECT_EQ(t.CheckFindings(), "") << path;
    ASSERT_EQ(d4pack(t.table()), kSuccess) << path << t.Error();
    EXPECT_EQ(d4recCountDo(t.table()), records - deleted);
    EXPECT_EQ(t.CheckFindings(), "") << path;
    ASSERT_EQ(t.Close(), kSuccess);
    ASSERT_TRUE(t.Open(path)) << t.Error();
    EXPECT_EQ(t.CheckFindings(), "") << path;
  }
}

TEST_F(RealTablesTest, RebuiltTagsWalkAsTheOriginalOnes) {
  for (const std::string& path : tables_) {
    TestSession t;
    ASSERT_TRUE(t.Open(path, 1)) << t.Error();
    const auto walks = [&] {
      std::vector<std::vector<std::int32_t>> out;
      for (const TagInfo& tag : d4info(t.table()).tags) {
        d4tagSelect(t.table(), d4tag(t.table(), tag.name));
        out.emplace_back();
        for (std::int32_t c = d4top(t.table()); c == kSuccess; c = d4skip(t.table(), 1)) {
          out.back().push_back(d4recNoLow(t.table()));
        }
      }
      return out;
    };
    const auto before = walks();
    ASSERT_EQ(d4reindex(t.table()), kSuccess) << t.Error();
    EXPECT_EQ(walks(), before) << path;
  }
}

}  // namespace
}  // namespace pv::engine
