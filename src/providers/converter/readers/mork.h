// The text database that the mail programs of one family keep their address books in: aliases for
// texts, rows of cells, tables of rows, and transactions that change them.
#ifndef PV_PROVIDERS_CONVERTER_READERS_MORK_H_
#define PV_PROVIDERS_CONVERTER_READERS_MORK_H_

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/status.h"
#include "providers/converter/model/book.h"

namespace pv::converter {

// A table of small numbers. Those up to a bound (by the size of the file) are found by position.
template <typename T>
class IdMap {
 public:
  explicit IdMap(std::size_t bound) : bound_(bound) {}

  T* Find(std::uint32_t id) {
    if (id < dense_.size() && dense_[id].first) return &dense_[id].second;
    const auto found = sparse_.find(id);
    return found != sparse_.end() ? &found->second : nullptr;
  }
  T& At(std::uint32_t id) {
    if (id >= bound_) return sparse_[id];
    if (id >= dense_.size()) dense_.resize(std::min(bound_, std::size_t{id} * 3 / 2 + 64));
    dense_[id].first = true;
    return dense_[id].second;
  }

 private:
  std::size_t bound_;
  std::vector<std::pair<bool, T>> dense_;
  std::unordered_map<std::uint32_t, T> sparse_;
};

// One parsed file. Cells keep places in the text; what they hold is decoded on demand.
class MorkFile {
 public:
  // A part of the text, as it is written.
  struct Span {
    std::uint32_t offset = 0;
    std::uint32_t size = 0;
  };
  struct Cell {
    std::uint32_t column;  // position in the names given to Parse
    Span value;
  };
  struct Row {
    std::uint32_t scope = 0;  // position in the scopes given to Parse
    std::uint32_t id = 0;
    std::vector<Cell> cells;  // each column once, none with an empty value
    // Used while parsing.
    std::uint32_t settled = 0;
    std::uint32_t table = UINT32_MAX;  // the first table that has the row, and where
    std::uint32_t place = 0;
  };

  // Files beyond this are refused.
  static constexpr std::uint64_t kLargest = std::uint64_t{1} << 30;

  // Keeps the rows of `scopes` in the tables whose kind ends in `kind`, and of their cells those
  // in `columns`; the order of the three is that of the numbers in Row and Cell. kCorrupt when the
  // text is of another format. Damage inside is noted and passed over.
  struct Wanted {
    std::string_view kind;
    std::vector<std::string_view> scopes;
    std::vector<std::string_view> columns;
    // Columns of this name with a hexadecimal number behind it are kept too: their numbers follow
    // those of `columns`.
    std::string_view numbered;
  };
  Status Parse(std::string text, const std::string& name, const Wanted& wanted, Notes* notes);

  // The rows of the tables, in their order.
  const std::vector<const Row*>& rows() const { return ordered_; }

  // What a cell holds, as UTF-8: a part of the text itself, or `memory` where it had to be made.
  std::string_view Decode(Span span, std::string* memory) const;

 private:
  friend class MorkParser;
  std::string text_;
  std::vector<Row> rows_;
  std::vector<const Row*> ordered_;
};

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_READERS_MORK_H_
