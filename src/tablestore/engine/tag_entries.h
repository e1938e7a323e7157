// The entries of all tags of a table, gathered as its records go by, for building the tags anew.
#ifndef PV_TABLESTORE_ENGINE_TAG_ENTRIES_H_
#define PV_TABLESTORE_ENGINE_TAG_ENTRIES_H_

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tablestore/engine/key_sorter.h"
#include "tablestore/engine/table.h"

namespace pv::engine {

class TagEntries {
 public:
  // `tags` must outlive it. `sort_path` is where sort files are made when memory does not do.
  TagEntries(platform::FileSystem* files, const std::string& sort_path,
             const std::vector<TagState>& tags, std::uint32_t expected_records);

  // Records come in any order, each once.
  Status Add(const std::uint8_t* record, std::uint32_t number);
  std::uint32_t records() const { return records_; }

  // Fills the tags of `index`, inside a bracket; once. `duplicates` counts the entries that were
  // left out of unique tags.
  Status BuildInto(IndexFile* index, std::uint64_t* duplicates);

 private:
  const std::vector<TagState>& tags_;
  std::vector<std::unique_ptr<KeySorter>> sorters_;
  std::array<std::uint8_t, kMaxKeyLength + 1> key_{};
  std::uint32_t records_ = 0;
};

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_TAG_ENTRIES_H_
