// The keys that this evaluator makes against the keys that FoxPro programs stored, for every tag
// of the tables in the foxpro folder of PV_SAMPLE_DATA. The reader of tables and indexes here is
// as small as it can be and trusts the files.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "tablestore/engine/expression/expression.h"
#include "tablestore/engine/expression/test_table.h"

namespace pv::engine::expr {
namespace {

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::uint8_t Byte(const std::string& s, std::size_t at) {
  return static_cast<std::uint8_t>(s.at(at));
}

struct RealTable {
  RecordLayout layout;
  std::vector<std::vector<std::uint8_t>> records;
};

RealTable ReadTable(const std::string& file) {
  RealTable table;
  const std::uint32_t count = LoadLe32(file.data() + 4);
  const std::size_t header = LoadLe16(file.data() + 8);
  table.layout.record_length = LoadLe16(file.data() + 10);
  table.layout.page = CodePage::Windows1252();
  for (std::size_t at = 32; Byte(file, at) != 0x0D; at += 32) {
    FieldLayout f;
    f.name = std::string(file, at, 11).c_str();
    f.type = static_cast<FieldLetter>(file.at(at + 11));
    f.offset = LoadLe32(file.data() + at + 12);
    f.length = Byte(file, at + 16);
    f.decimals = Byte(file, at + 17);
    table.layout.fields.push_back(f);
  }
  for (std::uint32_t r = 0; r < count; ++r) {
    const std::string bytes = file.substr(header + r * std::size_t{table.layout.record_length},
                                          table.layout.record_length);
    table.records.emplace_back(bytes.begin(), bytes.end());
    table.records.back().resize(table.layout.record_length);
  }
  return table;
}

struct RealTag {
  std::string name;
  std::size_t key_length = 0;
  std::string expression;
  std::string filter;
  std::uint32_t root = 0;
};

struct Entry {
  std::string key;
  std::uint32_t record;
};

// All entries below the page, in order: down the first children, then along the leaves.
std::vector<Entry> ReadEntries(const std::string& file, std::size_t page, std::size_t key_length,
                               std::uint8_t fill) {
  while ((LoadLe16(file.data() + page) & 2) == 0) {
    page = LoadBe32(file.data() + page + 12 + key_length + 4);
  }
  std::vector<Entry> entries;
  while (true) {
    const std::uint32_t record_mask = LoadLe32(file.data() + page + 14);
    const unsigned duplicate_mask = Byte(file, page + 18);
    const unsigned trailing_mask = Byte(file, page + 19);
    const unsigned record_bits = Byte(file, page + 20);
    const unsigned duplicate_bits = Byte(file, page + 21);
    const std::size_t entry_bytes = Byte(file, page + 23);
    std::size_t end = page + 512;
    std::string key;
    for (std::size_t i = 0; i < LoadLe16(file.data() + page + 2); ++i) {
      std::uint64_t packed = 0;
      for (std::size_t b = entry_bytes; b-- > 0;) {
        packed = packed << 8 | Byte(file, page + 24 + i * entry_bytes + b);
      }
      const auto duplicate = static_cast<std::size_t>(packed >> record_bits & duplicate_mask);
      const auto trailing =
          static_cast<std::size_t>(packed >> (record_bits + duplicate_bits) & trailing_mask);
      const std::size_t stored = key_length - duplicate - trailing;
      end -= stored;
      key = key.substr(0, duplicate) + file.substr(end, stored) +
            std::string(trailing, static_cast<char>(fill));
      entries.push_back({key, static_cast<std::uint32_t>(packed) & record_mask});
    }
    const std::uint32_t right = LoadLe32(file.data() + page + 8);
    if (right == 0xFFFFFFFF) return entries;
    page = right;
  }
}

RealTag ReadTagHeader(const std::string& file, std::size_t at) {
  RealTag tag;
  tag.root = LoadLe32(file.data() + at);
  tag.key_length = LoadLe16(file.data() + at + 12);
  const char* const pool = file.data() + at + 512;
  tag.expression = pool + LoadLe16(file.data() + at + 508);
  if (LoadLe16(file.data() + at + 506) > 1) tag.filter = pool + LoadLe16(file.data() + at + 504);
  return tag;
}

std::vector<RealTag> ReadTags(const std::string& file) {
  const RealTag directory = ReadTagHeader(file, 0);
  std::vector<RealTag> tags;
  for (const Entry& e : ReadEntries(file, directory.root, directory.key_length, ' ')) {
    tags.push_back(ReadTagHeader(file, e.record));
    tags.back().name = e.key.substr(0, e.key.find(' '));
  }
  return tags;
}

TEST(RealTablesTest, KeysAreThoseThatWereStored) {
  const char* const samples = std::getenv("PV_SAMPLE_DATA");
  if (samples == nullptr) GTEST_SKIP() << "PV_SAMPLE_DATA names no folder of sample tables";
  std::map<std::string, std::filesystem::path> files;  // by lower-case name
  for (const auto& entry :
       std::filesystem::directory_iterator(std::filesystem::path(samples) / "foxpro")) {
    std::string name = entry.path().filename().string();
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    files[name] = entry.path();
  }
  int tags = 0;
  std::size_t keys = 0;
  std::map<KeyKind, int> kinds;
  for (const auto& [name, path] : files) {
    const auto index = files.find(name.substr(0, name.size() - 4) + ".cdx");
    if (!name.ends_with(".dbf") || index == files.end()) continue;
    const RealTable table = ReadTable(ReadFile(path));
    const std::string index_bytes = ReadFile(index->second);
    for (const RealTag& tag : ReadTags(index_bytes)) {
      SCOPED_TRACE(name + " tag " + tag.name + ": " + tag.expression);
      auto e = Expression::Compile(tag.expression, table.layout);
      ASSERT_TRUE(e.ok()) << e.status().message();
      const auto maker = KeyMaker::Create(std::move(*e), tag.key_length);
      ASSERT_TRUE(maker.ok()) << maker.status().message();
      ASSERT_EQ(maker->key_length(), tag.key_length);
      ++tags;
      ++kinds[maker->kind()];
      std::vector<bool> seen(table.records.size());
      for (const Entry& entry :
           ReadEntries(index_bytes, tag.root, tag.key_length, maker->fill_byte())) {
        ASSERT_GE(entry.record, 1u);
        ASSERT_LE(entry.record, table.records.size());
        const auto& record = table.records[entry.record - 1];
        std::vector<std::uint8_t> key(tag.key_length);
        ASSERT_TRUE(maker->MakeKey(record.data(), entry.record, key.data()).ok());
        ASSERT_EQ(Hex(key.data(), key.size()),
                  Hex(reinterpret_cast<const std::uint8_t*>(entry.key.data()), entry.key.size()))
            << "record " << entry.record;
        EXPECT_FALSE(seen[entry.record - 1]);
        seen[entry.record - 1] = true;
        ++keys;
      }
      EXPECT_TRUE(tag.filter.empty());
      EXPECT_EQ(std::count(seen.begin(), seen.end(), true),
                static_cast<std::ptrdiff_t>(table.records.size()));
    }
  }
  EXPECT_EQ(tags, 14);
  EXPECT_GT(keys, 9'000u);
  EXPECT_GT(kinds[KeyKind::kCharacter], 0);
  EXPECT_GT(kinds[KeyKind::kInteger], 0);
}

}  // namespace
}  // namespace pv::engine::expr
