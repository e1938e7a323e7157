// Gathers and sorts the entries of tags. Tested by recovery_test.cc and pack_test.cc.
#include "tablestore/engine/tag_entries.h"

#include <algorithm>
#include <cstring>

namespace pv::engine {
namespace {

constexpr std::size_t kSortMemory = std::size_t{256} << 20;  // of all tags together

}  // namespace

TagEntries::TagEntries(platform::FileSystem* files, const std::string& sort_path,
                       const std::vector<TagState>& tags)
    : tags_(tags) {
  for (std::size_t t = 0; t < tags.size(); ++t) {
    sorters_.push_back(
        std::make_unique<KeySorter>(files, t == 0 ? sort_path : sort_path + std::to_string(t),
                                    tags[t].tag->definition().key_length, kSortMemory / tags.size(),
                                    tags[t].keys->fill_byte()));
  }
}

Status TagEntries::Add(const std::uint8_t* record, std::uint32_t number) {
  ++records_;
  for (std::size_t t = 0; t < tags_.size(); ++t) {
    const TagState& state = tags_[t];
    if (state.filter) {
      PV_ASSIGN_OR_RETURN(const bool admitted, state.filter->EvaluateLogical(record, number));
      if (!admitted) continue;
    }
    PV_RETURN_IF_ERROR(state.keys->MakeKey(record, number, key_.data()));
    PV_RETURN_IF_ERROR(sorters_[t]->Add(key_.data(), number));
  }
  return {};
}

std::size_t TagEntries::MemoryUsed() const {
  std::size_t used = 0;
  for (const auto& sorter : sorters_) used += sorter->MemoryUsed();
  return used;
}

Status TagEntries::InsertInto(IndexFile* index) {
  for (std::size_t t = 0; t < tags_.size(); ++t) {
    Tag* const tag = index->tags()[t].get();
    PV_RETURN_IF_ERROR(sorters_[t]->Sort(
        [&](const std::uint8_t* key, std::uint32_t number) { return tag->Insert(key, number); }));
    sorters_[t] = nullptr;
  }
  return {};
}

Status TagEntries::BuildInto(IndexFile* index, std::uint64_t* duplicates) {
  PV_RETURN_IF_ERROR(index->BeginRebuild());
  for (std::size_t t = 0; t < tags_.size(); ++t) {
    const TagDefinition& definition = tags_[t].tag->definition();
    index->tags()[t]->SetFillByte(tags_[t].keys->fill_byte());
    PV_ASSIGN_OR_RETURN(auto builder, index->BuildTag(t));
    const bool unique = definition.unique || definition.candidate;
    std::vector<std::uint8_t> last;
    PV_RETURN_IF_ERROR(
        sorters_[t]->Sort([&](const std::uint8_t* key, std::uint32_t number) -> Status {
          if (unique) {
            if (!last.empty() && std::memcmp(last.data(), key, last.size()) == 0) {
              ++*duplicates;
              return {};
            }
            last.assign(key, key + definition.key_length);
          }
          return builder->Add(key, number);
        }));
    PV_RETURN_IF_ERROR(builder->Finish());
    sorters_[t] = nullptr;
  }
  return index->FinishRebuild();
}

}  // namespace pv::engine
