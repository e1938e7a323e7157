// Helpers of the index tests: files in memory, keys, and a walk that is compared with a model.
#ifndef PV_TABLESTORE_ENGINE_INDEX_INDEX_TEST_SUPPORT_H_
#define PV_TABLESTORE_ENGINE_INDEX_INDEX_TEST_SUPPORT_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/memory/memory_file_system.h"
#include "tablestore/engine/index/index_file.h"

namespace pv::engine {

// Key bytes as text, and a record.
using Entry = std::pair<std::string, std::uint32_t>;
using Model = std::set<Entry>;

constexpr const char* kIndexPath = "/t.cdx";

inline void PrintTo(const Status& status, std::ostream* out) {
  *out << (status.ok() ? "OK" : status.message());
}

#define PV_ASSERT_OK(expression)                                    \
  do {                                                              \
    const ::pv::Status pv_test_status_ = (expression);              \
    ASSERT_TRUE(pv_test_status_.ok()) << pv_test_status_.message(); \
  } while (false)
#define PV_EXPECT_OK(expression)                                    \
  do {                                                              \
    const ::pv::Status pv_test_status_ = (expression);              \
    EXPECT_TRUE(pv_test_status_.ok()) << pv_test_status_.message(); \
  } while (false)

inline const std::uint8_t* Bytes(const std::string& text) {
  return reinterpret_cast<const std::uint8_t*>(text.data());
}

inline std::string Padded(std::string text, std::size_t length, char fill = ' ') {
  text.resize(length, fill);
  return text;
}

inline TagDefinition MakeTag(const std::string& name, std::size_t key_length,
                             std::uint8_t fill = 0x20, bool descending = false) {
  TagDefinition tag;
  tag.name = name;
  tag.expression = "EXPR_" + name;
  tag.key_length = static_cast<std::uint16_t>(key_length);
  tag.fill_byte = fill;
  tag.descending = descending;
  return tag;
}

inline std::unique_ptr<platform::File> OpenFile(platform::FileSystem* files,
                                                const std::string& path = kIndexPath) {
  platform::OpenOptions options;
  options.create = platform::CreateMode::kOpenOrCreate;
  auto file = files->Open(path, options);
  EXPECT_TRUE(file.ok()) << file.status().message();
  return file.ok() ? std::move(*file) : nullptr;
}

// An open index with its file.
struct OpenIndex {
  std::unique_ptr<platform::File> file;
  std::unique_ptr<IndexFile> index;

  Tag* tag(std::size_t i = 0) const { return index->tags()[i].get(); }
};

// Opens what is there; the tags get the fill bytes of `tags` when given.
inline OpenIndex OpenAt(platform::FileSystem* files, const std::vector<TagDefinition>& tags = {},
                        const std::string& path = kIndexPath) {
  OpenIndex open;
  open.file = OpenFile(files, path);
  auto index = IndexFile::Open(open.file.get());
  EXPECT_TRUE(index.ok()) << index.status().message();
  if (!index.ok()) return open;
  open.index = std::move(*index);
  for (std::size_t i = 0; i < tags.size(); ++i) open.tag(i)->SetFillByte(tags[i].fill_byte);
  return open;
}

inline OpenIndex CreateAt(platform::FileSystem* files, const std::vector<TagDefinition>& tags,
                          const std::string& path = kIndexPath) {
  {
    const auto file = OpenFile(files, path);
    PV_EXPECT_OK(IndexFile::Create(file.get(), tags));
  }
  return OpenAt(files, tags, path);
}

inline std::string KeyAt(const Tag& tag, const TagPosition& position) {
  return std::string(reinterpret_cast<const char*>(position.key()), tag.definition().key_length);
}

// The entries in the tag's direction.
inline std::vector<Entry> Walk(Tag* tag, bool forward = true) {
  std::vector<Entry> entries;
  TagPosition position;
  Status status = forward ? tag->First(&position) : tag->Last(&position);
  while (status.ok() && position.on_entry()) {
    entries.emplace_back(KeyAt(*tag, position), position.record());
    status = forward ? tag->Next(&position) : tag->Previous(&position);
  }
  PV_EXPECT_OK(status);
  return entries;
}

inline std::vector<Entry> InOrder(const Model& model, const TagDefinition& tag, bool forward) {
  std::vector<Entry> entries(model.begin(), model.end());
  if (tag.descending == forward) std::reverse(entries.begin(), entries.end());
  return entries;
}

// Walks both ways, counts and verifies.
inline void ExpectHolds(Tag* tag, const Model& model) {
  EXPECT_THAT(tag->Verify(), ::testing::IsEmpty());
  EXPECT_EQ(Walk(tag, true), InOrder(model, tag->definition(), true));
  EXPECT_EQ(Walk(tag, false), InOrder(model, tag->definition(), false));
  const auto count = tag->CountEntries();
  ASSERT_TRUE(count.ok()) << count.status().message();
  EXPECT_EQ(*count, model.size());
}

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_INDEX_INDEX_TEST_SUPPORT_H_
