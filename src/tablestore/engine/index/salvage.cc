// Finds tag headers without the directory. Tested by index_salvage_test.cc.
#include "tablestore/engine/index/salvage.h"

#include <algorithm>
#include <map>
#include <optional>

#include "tablestore/engine/index/leaf_page.h"
#include "tablestore/engine/index/page_format.h"

namespace pv::engine {
namespace {

using tree::kHeaderSize;
using tree::kPoolSize;

// Text of the pool: printable, with its closing zero just behind it.
std::optional<std::string> PoolText(const std::uint8_t* pool, std::size_t position,
                                    std::size_t length) {
  if (length < 1 || position + length > kPoolSize || pool[position + length - 1] != 0) {
    return std::nullopt;
  }
  std::string text(reinterpret_cast<const char*>(pool + position), length - 1);
  const bool printable = std::all_of(text.begin(), text.end(),
                                     [](char c) { return static_cast<unsigned char>(c) >= 0x20; });
  if (!printable) return std::nullopt;
  return text;
}

std::optional<TagDefinition> HeaderAt(const std::uint8_t* h) {
  const std::uint8_t options = h[14];
  constexpr std::uint8_t kTag = tree::kCompactOption | tree::kCompoundOption;
  if ((options & kTag) != kTag || (options & tree::kDirectoryOption) != 0 || h[15] != 1) {
    return std::nullopt;
  }
  TagDefinition d;
  d.key_length = LoadLe16(h + 12);
  if (d.key_length < 1 || d.key_length > tree::kMaxKey) return std::nullopt;
  if (LoadLe16(h + 502) > 1 || LoadLe16(h + 508) != 0) return std::nullopt;
  const std::uint8_t* const pool = h + kHeaderSize - kPoolSize;
  const auto expression = PoolText(pool, 0, LoadLe16(h + 510));
  if (!expression || expression->empty()) return std::nullopt;
  const auto filter = PoolText(pool, LoadLe16(h + 504), LoadLe16(h + 506));
  if (!filter) return std::nullopt;
  d.expression = *expression;
  d.filter = *filter;
  d.unique = (options & tree::kUniqueOption) != 0;
  d.candidate = (options & tree::kCandidateOption) != 0;
  d.nullable = (options & tree::kNullableOption) != 0;
  d.descending = LoadLe16(h + 502) == 1;
  return d;
}

// Adds the names that a page gives to tags, if it is a leaf of the directory: one whose every entry
// leads to a tag's header.
void AddNames(const std::uint8_t* page, const std::map<std::uint32_t, std::size_t>& headers,
              std::vector<TagDefinition>* tags) {
  tree::LeafHead head;
  std::uint32_t bottom = 0;
  if (!tree::IsLeaf(page) || tree::ReadLeafHead(page, &head) != nullptr || head.count == 0 ||
      tree::CheckLeaf(page, head, tree::kNameLength, &bottom) != nullptr) {
    return;
  }
  std::map<std::size_t, std::string> names;
  std::uint8_t key[tree::kNameLength];
  std::size_t offset = kPageSize;
  for (std::uint32_t i = 0; i < head.count; ++i) {
    const tree::LeafEntry e = tree::EntryAt(page, head.layout, tree::kNameLength, i);
    const auto header = headers.find(e.record);
    if (header == headers.end()) return;
    offset -= e.stored();
    std::fill(std::begin(key) + e.dup, std::end(key), std::uint8_t{' '});
    std::copy_n(page + offset, e.stored(), std::begin(key) + e.dup);
    std::string name = tree::NameOfKey(key);
    if (name.find('\0') == name.npos) names[header->second] = std::move(name);
  }
  for (const auto& [tag, name] : names) (*tags)[tag].name = name;
}

}  // namespace

Result<std::vector<TagDefinition>> SalvageTags(platform::File* file) {
  PV_ASSIGN_OR_RETURN(const std::uint64_t size, file->Size());
  std::vector<TagDefinition> tags;
  std::map<std::uint32_t, std::size_t> headers;
  std::uint8_t bytes[kHeaderSize];
  for (std::uint64_t at = kHeaderSize; at + kHeaderSize <= size; at += kPageSize) {
    PV_ASSIGN_OR_RETURN(const std::size_t got, file->Read(at, bytes, sizeof bytes));
    if (got < sizeof bytes) break;
    if (auto tag = HeaderAt(bytes)) {
      headers[static_cast<std::uint32_t>(at)] = tags.size();
      tags.push_back(std::move(*tag));
    }
  }
  tree::PageBuffer page{};
  for (std::uint64_t at = kHeaderSize; at + kPageSize <= size; at += kPageSize) {
    PV_ASSIGN_OR_RETURN(const std::size_t got, file->Read(at, page.bytes, kPageSize));
    if (got < kPageSize) break;
    AddNames(page.bytes, headers, &tags);
  }
  return tags;
}

}  // namespace pv::engine
