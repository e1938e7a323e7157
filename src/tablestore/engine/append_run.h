// The entries of records that an exclusive session appends one after the other, kept back until
// somebody asks for the index. The mark stands meanwhile, and the records are in the data file:
// should the writer die, the tags are rebuilt from them (invariant 4 of table.h).
//
// A unique tag must refuse a key at once, so the keys of all records are known, as numbers that
// lead to the record to be looked at.
#ifndef PV_TABLESTORE_ENGINE_APPEND_RUN_H_
#define PV_TABLESTORE_ENGINE_APPEND_RUN_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/record_set.h"
#include "tablestore/engine/tag_entries.h"

namespace pv::engine {

class AppendRun {
 public:
  // `tags`, those of the index that the entries are for, must outlive it. `records` is how many
  // the table has.
  AppendRun(platform::FileSystem* files, const std::string& sort_path,
            const std::vector<TagState>& tags, std::uint32_t records);

  // Learns the keys that the tags have; first of all.
  Status Learn();

  // For each unique tag that the record to be appended is in, and before its AddKey: calls
  // `same(record)` for each record whose key may be this one, until it answers true; that record,
  // or 0.
  template <typename Same>
  std::uint32_t Find(std::size_t tag, const std::uint8_t* key, Same same) {
    Known& known = known_[tag];
    known.last_asked = HashOf(KeyText(tag, key));
    return known.records.Find(known.last_asked, same);
  }

  // The tag's entry of a record just appended.
  Status AddKey(std::size_t tag, const std::uint8_t* key, std::uint32_t record);

  // Bytes that the entries take up.
  std::size_t MemoryUsed() const { return entries_.MemoryUsed(); }

  // Puts the entries into the index, inside a bracket; once.
  Status PutInto(IndexFile* index);

 private:
  std::string_view KeyText(std::size_t tag, const std::uint8_t* key) const {
    return {reinterpret_cast<const char*>(key), tags_[tag].tag->definition().key_length};
  }

  const std::vector<TagState>& tags_;
  bool anew_;  // entries_ has those of the tags too
  TagEntries entries_;
  // By tag; of no meaning for those that are not unique.
  struct Known {
    bool unique = false;
    RecordSet records;
    std::uint64_t last_asked = 0;
  };
  std::vector<Known> known_;
};

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_APPEND_RUN_H_
