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
             const std::vector<TagState>& tags);

  // Records come in any order, each once.
  Status Add(const std::uint8_t* record, std::uint32_t number);
  // The same for who has made a key already.
  Status AddKey(std::size_t tag, const std::uint8_t* key, std::uint32_t number) {
    return sorters_[tag]->Add(key, number);
  }
  std::uint32_t records() const { return records_; }

  // Bytes that the entries take up.
  std::size_t MemoryUsed() const;

  // Fills the tags of `index`, inside a bracket; once. `duplicates` counts the entries that were
  // left out of unique tags.
  Status BuildInto(IndexFile* index, std::uint64_t* duplicates);

  // Adds the entries to those that the tags have, inside a bracket; once.
  Status InsertInto(IndexFile* index);

 private:
  const std::vector<TagState>& tags_;
  std::vector<std::unique_ptr<KeySorter>> sorters_;
  std::array<std::uint8_t, kMaxKeyLength + 1> key_{};
  std::uint32_t records_ = 0;
};

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_TAG_ENTRIES_H_
