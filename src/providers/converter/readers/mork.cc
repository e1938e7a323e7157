// Parses the text database. Tested by mork_test.cc.
//
//   < <(a=c)> (80=scope)(81=column) >      aliases; a=c: of columns, scopes and kinds
//   < (90=text) >                          aliases of values
//   {1:^80 {(k^82:c)(s=9)} [1(^81^90)] 2}  a table: its kind, a row in full, a row by its number
//   [-1:^80(^81=text)]                     a row; "-": its old cells are forgotten
//   @$${5{@ ... @$$}5}@                    a transaction; skipped unless it ends as it should
//
// An alias may be given another text later on, so references are followed as they are read.
#include "providers/converter/readers/mork.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/text.h"
#include "providers/converter/text/decode.h"

namespace pv::converter {
namespace {

constexpr std::string_view kHeader = "// <!-- <mdb:mork:z v=\"1.";
constexpr std::string_view kBegin = "@$${";
constexpr std::string_view kEnd = "@$$}";
constexpr std::uint32_t kNone = UINT32_MAX;

// Rows can be put to a place in their table; nobody does it more often than this.
constexpr std::size_t kMostMoves = 1'000;

// Rows of no more cells are searched; longer ones, lists of many members, are put in order.
constexpr std::uint32_t kFewCells = 64;

// A value's end is looked for one by one up to here: most values are short.
constexpr std::size_t kShort = 40;

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

constexpr std::array<std::int8_t, 256> kHexDigits = [] {
  std::array<std::int8_t, 256> digits{};
  digits.fill(-1);
  for (int i = 0; i < 10; ++i) digits[static_cast<std::size_t>('0' + i)] = std::int8_t(i);
  for (int i = 0; i < 6; ++i) {
    digits[static_cast<std::size_t>('A' + i)] = std::int8_t(10 + i);
    digits[static_cast<std::size_t>('a' + i)] = std::int8_t(10 + i);
  }
  return digits;
}();

int HexDigit(char c) { return kHexDigits[static_cast<unsigned char>(c)]; }

}  // namespace

std::string_view MorkFile::Decode(Span span, std::string* memory) const {
  const std::string_view raw = std::string_view(text_).substr(span.offset, span.size);
  if (raw.find('$') == std::string_view::npos && raw.find('\\') == std::string_view::npos) {
    if (IsAscii(raw)) return raw;
    *memory = Utf8OrAnsi(raw);
    return *memory;
  }
  std::string bytes;
  bytes.reserve(raw.size());
  for (std::size_t i = 0; i < raw.size(); ++i) {
    if (raw[i] == '\\') {
      if (++i == raw.size()) break;
      if (raw[i] == '\r' && i + 1 < raw.size() && raw[i + 1] == '\n') ++i;
      if (raw[i] != '\n' && raw[i] != '\r') bytes += raw[i];
    } else if (raw[i] == '$' && i + 2 < raw.size() && HexDigit(raw[i + 1]) >= 0 &&
               HexDigit(raw[i + 2]) >= 0) {
      bytes += static_cast<char>(HexDigit(raw[i + 1]) * 16 + HexDigit(raw[i + 2]));
      i += 2;
    } else {
      bytes += raw[i];
    }
  }
  *memory = Utf8OrAnsi(bytes);
  return *memory;
}

class MorkParser {
 public:
  MorkParser(MorkFile* file, const std::string& name, const MorkFile::Wanted& wanted, Notes* notes)
      : file_(file),
        text_(file->text_),
        name_(name),
        wanted_(wanted),
        notes_(notes),
        // Numbers that a file of this size can hardly reach in order are kept otherwise.
        bound_(file->text_.size() / 16 + 1024),
        columns_(bound_),
        values_(bound_) {
    for (std::size_t i = 0; i < wanted.scopes.size(); ++i) rows_.emplace_back(bound_);
  }

  void Run();

 private:
  using Span = MorkFile::Span;
  using Row = MorkFile::Row;
  struct ColumnAlias {
    Span name;
    std::uint32_t column = kNone;
    std::uint32_t scope = kNone;
  };
  enum class CellUse : std::uint8_t { kSet, kRemove, kOfTable };
  struct Place {
    std::uint32_t row;
    bool in = true;
  };
  struct Table {
    bool wanted = false;
    std::vector<Place> order;
    // From a row to its place in `order`, when another table had the row first.
    std::unordered_map<std::uint32_t, std::uint32_t> place_of;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> moves;  // row to position
  };

  // The place of the first of `set` from here on, or the end.
  std::size_t FindAny(std::string_view set) const {
    return std::min(text_.substr(at_, end_ - at_).find_first_of(set), end_ - at_) + at_;
  }
  std::size_t Find(char c) const {
    return std::min(text_.substr(at_, end_ - at_).find(c), end_ - at_) + at_;
  }
  std::string_view Text(Span span) const { return text_.substr(span.offset, span.size); }
  bool AtEnd() const { return at_ >= end_; }
  char Here() const { return text_[at_]; }
  void Note(const char* what) {
    notes_->Add(name_ + ": byte " + std::to_string(at_) + ": " + what);
  }

  // Blanks and comments.
  void SkipBlank() {
    if (at_ < end_ && text_[at_] > ' ' && text_[at_] != '/') return;
    SkipMoreBlank();
  }
  void SkipMoreBlank();
  void Content();
  void Transaction();
  void Dictionary();
  void ReadTable();
  std::uint32_t ReadRow(std::uint32_t table_scope);
  void ReadCells(Row* row);
  void SkipNested(char open, char close);
  bool HexNumber(std::uint32_t* number);
  std::uint32_t Scope(std::uint32_t inherited);
  Span Value();
  void ReadCell(CellUse use, Row* row, Table* table);
  std::uint32_t ColumnOf(std::string_view name) const;
  std::uint32_t ScopeOf(std::string_view name) const;
  std::uint32_t RowOf(std::uint32_t scope, std::uint32_t id);
  static void Settle(Row* row);
  std::uint32_t* PlaceOf(std::uint32_t table, std::uint32_t row);
  void Put(std::uint32_t table, std::uint32_t row);
  void Empty(std::uint32_t table);
  void Order();

  MorkFile* file_;
  std::string_view text_;
  const std::string& name_;
  const MorkFile::Wanted& wanted_;
  Notes* notes_;
  std::size_t bound_;
  IdMap<ColumnAlias> columns_;
  IdMap<Span> values_;
  std::vector<IdMap<std::uint32_t>> rows_;  // by scope: from the number of a row to its place
  std::vector<Table> tables_;
  std::unordered_map<std::uint64_t, std::uint32_t> table_of_;
  std::size_t at_ = 0;
  std::size_t end_ = 0;
  std::string memory_;
  std::vector<MorkFile::Cell> spare_cells_;
};

Status MorkFile::Parse(std::string text, const std::string& name, const Wanted& wanted,
                       Notes* notes) {
  if (!std::string_view(text).starts_with(kHeader)) {
    return Status::Corrupt(name + ": this is no MAB file: its first line does not say so");
  }
  if (text.size() > kLargest) return Status::Limit(name + ": the file has more than 1 GiB");
  text_ = std::move(text);
  MorkParser(this, name, wanted, notes).Run();
  return Status::Ok();
}

std::uint32_t MorkParser::ColumnOf(std::string_view name) const {
  const auto found = std::find(wanted_.columns.begin(), wanted_.columns.end(), name);
  if (found != wanted_.columns.end()) {
    return static_cast<std::uint32_t>(found - wanted_.columns.begin());
  }
  if (wanted_.numbered.empty() || !name.starts_with(wanted_.numbered)) return kNone;
  const auto number = ParseHex(name.substr(wanted_.numbered.size()));
  const auto first = static_cast<std::uint32_t>(wanted_.columns.size());
  return number && *number < kNone - first ? first + *number : kNone;
}

std::uint32_t MorkParser::ScopeOf(std::string_view name) const {
  const auto found = std::find(wanted_.scopes.begin(), wanted_.scopes.end(), name);
  return found != wanted_.scopes.end() ? static_cast<std::uint32_t>(found - wanted_.scopes.begin())
                                       : kNone;
}

void MorkParser::SkipMoreBlank() {
  while (!AtEnd()) {
    if (IsSpace(Here())) {
      ++at_;
    } else if (Here() == '/' && at_ + 1 < end_ && text_[at_ + 1] == '/') {
      at_ = FindAny("\r\n");
    } else {
      return;
    }
  }
}

void MorkParser::Run() {
  end_ = text_.size();
  // The header is a comment.
  while (true) {
    Content();
    if (AtEnd()) break;
    Transaction();
  }
  Order();
}

// Dictionaries, rows and tables up to the end or to a transaction.
void MorkParser::Content() {
  bool told = false;
  while (true) {
    SkipBlank();
    if (AtEnd()) return;
    switch (Here()) {
      case '<':
        ++at_;
        Dictionary();
        break;
      case '{':
        ++at_;
        ReadTable();
        break;
      case '[':
        ++at_;
        ReadRow(kNone);
        break;
      case '@':
        if (text_.substr(at_, kBegin.size()) == kBegin) return;
        [[fallthrough]];
      default:
        if (!told) Note("passed over what belongs to nothing");
        told = true;
        ++at_;
    }
  }
}

void MorkParser::Transaction() {
  const std::size_t name = at_ + kBegin.size();
  const std::size_t body = text_.find("{@", name);
  const std::size_t finish = body == std::string_view::npos ? body : text_.find(kEnd, body);
  if (finish == std::string_view::npos) {
    Note("the last transaction was not finished and is left out");
    at_ = end_;
    return;
  }
  const std::size_t after = text_.find("}@", finish + kEnd.size());
  const std::size_t whole_end = end_;
  const std::string_view id = text_.substr(name, body - name);
  const bool kept = after != std::string_view::npos &&
                    text_.substr(finish + kEnd.size(), after - finish - kEnd.size()) == id;
  if (kept) {
    at_ = body + 2;
    end_ = finish;
    while (true) {
      Content();
      if (AtEnd()) break;
      ++at_;  // a transaction inside another one: its mark is passed over
    }
    end_ = whole_end;
  } else if (after == std::string_view::npos) {
    Note("the last transaction was not finished and is left out");
  }
  at_ = after == std::string_view::npos ? end_ : after + 2;
}

bool MorkParser::HexNumber(std::uint32_t* number) {
  std::uint64_t value = 0;
  std::size_t at = at_;
  for (int digit; at < end_ && (digit = HexDigit(text_[at])) >= 0; ++at) {
    value = value * 16 + static_cast<std::uint64_t>(digit);
    if (value > UINT32_MAX - 1) value = UINT32_MAX;  // no number of ours
  }
  *number = static_cast<std::uint32_t>(value);
  return std::exchange(at_, at) != at;
}

// From behind "=" to the ")" that ends the value, which is passed over.
MorkParser::Span MorkParser::Value() {
  const std::size_t start = at_;
  const std::size_t soon = std::min(end_, at_ + kShort);
  std::size_t close = at_;
  while (close < soon && text_[close] != ')' && text_[close] != '\\') ++close;
  if (close < soon && text_[close] == ')') {
    at_ = close + 1;
    return {static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(close - start)};
  }
  close = Find(')');
  while (true) {
    const std::size_t escape = text_.substr(at_, close - at_).find('\\');
    if (escape == std::string_view::npos) break;
    at_ = std::min(at_ + escape + 2, end_);
    if (at_ > close) close = Find(')');
  }
  at_ = std::min(close + 1, end_);
  if (close == end_) Note("a value does not end");
  return {static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(close - start)};
}

void MorkParser::Dictionary() {
  bool of_columns = false;
  while (true) {
    SkipBlank();
    if (AtEnd()) return Note("a dictionary does not end");
    const char c = Here();
    ++at_;
    if (c == '>') return;
    if (c == '<') {
      // What holds for the dictionary: only whose aliases they are matters.
      const std::size_t close = Find('>');
      of_columns = text_.substr(at_, close - at_).find("(a=c)") != std::string_view::npos;
      at_ = std::min(close + 1, end_);
      continue;
    }
    if (c != '(') continue;
    std::uint32_t id = 0;
    const bool numbered = HexNumber(&id);
    while (!AtEnd() && IsSpace(Here())) ++at_;
    if (AtEnd() || Here() != '=') {
      Note("an alias has no text");
      Value();
      continue;
    }
    ++at_;
    const Span value = Value();
    if (!numbered || id == UINT32_MAX) continue;
    if (of_columns) {
      const std::string_view name = file_->Decode(value, &memory_);
      columns_.At(id) = {value, ColumnOf(name), ScopeOf(name)};
    } else {
      values_.At(id) = value;
    }
  }
}

// Passes over what is between `open` (already read) and its `close`.
void MorkParser::SkipNested(char open, char close) {
  int depth = 1;
  while (!AtEnd() && depth > 0) {
    const char c = Here();
    ++at_;
    if (c == '(') {
      Value();
    } else if (c == open) {
      ++depth;
    } else if (c == close) {
      --depth;
    }
  }
}

// The ":scope" behind a number, or what is inherited.
std::uint32_t MorkParser::Scope(std::uint32_t inherited) {
  if (AtEnd() || Here() != ':') return inherited;
  ++at_;
  if (!AtEnd() && Here() == '^') {
    ++at_;
    std::uint32_t id = 0;
    if (!HexNumber(&id)) return kNone;
    const ColumnAlias* const alias = columns_.Find(id);
    return alias != nullptr ? alias->scope : kNone;
  }
  const std::size_t stop = FindAny(" \t\r\n([{}])!-");
  const std::string_view name = text_.substr(at_, stop - at_);
  at_ = stop;
  return ScopeOf(name);
}

// One cell from behind its "(" on. Of a table's own cells only its kind is of interest.
void MorkParser::ReadCell(CellUse use, Row* row, Table* table) {
  std::uint32_t column = kNone;
  bool is_kind = false;
  if (!AtEnd() && Here() == '^') {
    ++at_;
    std::uint32_t id = 0;
    if (HexNumber(&id)) {
      const ColumnAlias* const alias = columns_.Find(id);
      if (alias != nullptr) {
        column = alias->column;
        is_kind = use == CellUse::kOfTable && Text(alias->name) == "k";
      }
    }
    if (!AtEnd() && Here() == ':') {
      while (!AtEnd() && Here() != '=' && Here() != '^' && Here() != ')') ++at_;
    }
  } else {
    const std::size_t stop = FindAny("=^)\\");
    const std::string_view name = TrimSpace(text_.substr(at_, stop - at_));
    column = ColumnOf(name);
    is_kind = name == "k";
    at_ = stop;
  }
  while (!AtEnd() && IsSpace(Here())) ++at_;
  if (AtEnd()) return;
  Span value;
  if (Here() == '=') {
    ++at_;
    value = Value();
  } else if (Here() == '^') {
    ++at_;
    std::uint32_t id = 0;
    HexNumber(&id);
    const bool column_text = text_.substr(at_, 2) == ":c";
    const Span* found = nullptr;
    if (column_text) {
      const ColumnAlias* const alias = columns_.Find(id);
      if (alias != nullptr) found = &alias->name;
    } else {
      found = values_.Find(id);
    }
    if (found != nullptr) value = *found;
    Value();
  } else {
    Value();
  }
  if (use == CellUse::kOfTable) {
    if (is_kind) table->wanted = file_->Decode(value, &memory_).ends_with(wanted_.kind);
    return;
  }
  if (row == nullptr || column == kNone) return;
  if (use == CellUse::kRemove) value = {};
  if (row->cells.size() >= kFewCells) {
    row->cells.push_back({column, value});
    if (row->cells.size() >= 2 * std::size_t{row->settled}) Settle(row);
    return;
  }
  const auto there = std::find_if(row->cells.begin(), row->cells.end(),
                                  [&](const MorkFile::Cell& c) { return c.column == column; });
  if (there == row->cells.end()) {
    if (value.size > 0) row->cells.push_back({column, value});
  } else if (value.size > 0) {
    there->value = value;
  } else {
    row->cells.erase(there);
  }
}

// Leaves the last value of each column, in the order of the columns.
void MorkParser::Settle(Row* row) {
  std::vector<MorkFile::Cell>& cells = row->cells;
  std::stable_sort(cells.begin(), cells.end(),
                   [](const auto& x, const auto& y) { return x.column < y.column; });
  std::size_t kept = 0;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (i + 1 < cells.size() && cells[i + 1].column == cells[i].column) continue;
    if (cells[i].value.size > 0) cells[kept++] = cells[i];
  }
  cells.resize(kept);
  row->settled = std::max(static_cast<std::uint32_t>(kept), kFewCells);
}

std::uint32_t MorkParser::RowOf(std::uint32_t scope, std::uint32_t id) {
  if (scope == kNone || id == UINT32_MAX) return kNone;
  if (const std::uint32_t* const found = rows_[scope].Find(id)) return *found;
  const auto place = static_cast<std::uint32_t>(file_->rows_.size());
  file_->rows_.push_back({scope, id, {}, kFewCells, kNone, 0});
  rows_[scope].At(id) = place;
  return place;
}

// One row from behind its "[" on.
std::uint32_t MorkParser::ReadRow(std::uint32_t table_scope) {
  SkipBlank();
  bool anew = false;
  if (!AtEnd() && Here() == '-') {
    anew = true;
    ++at_;
  }
  std::uint32_t id = 0;
  const bool numbered = HexNumber(&id);
  const std::uint32_t scope = Scope(table_scope);
  const std::uint32_t place = numbered ? RowOf(scope, id) : kNone;
  Row* const row = place != kNone ? &file_->rows_[place] : nullptr;
  if (anew && row != nullptr) row->cells.clear();
  // The cells of a new row grow in memory that is there already.
  const bool fresh = row != nullptr && row->cells.empty();
  if (fresh) {
    spare_cells_.clear();
    row->cells.swap(spare_cells_);
  }
  ReadCells(row);
  if (fresh) {
    row->cells.swap(spare_cells_);
    row->cells.assign(spare_cells_.begin(), spare_cells_.end());
  }
  return place;
}

// The cells of a row (null when it is not wanted), and the "]" behind them.
void MorkParser::ReadCells(Row* row) {
  bool remove = false;
  while (true) {
    SkipBlank();
    if (AtEnd()) return Note("a row does not end");
    const char c = Here();
    ++at_;
    if (c == ']') return;
    if (c == '(') {
      ReadCell(remove ? CellUse::kRemove : CellUse::kSet, row, nullptr);
      remove = false;
    } else if (c == '-') {
      remove = true;
    } else if (c == '[') {
      SkipNested('[', ']');
    }
  }
}

// Where a table keeps the place of one of its rows; null when it has not got the row.
std::uint32_t* MorkParser::PlaceOf(std::uint32_t table, std::uint32_t row) {
  if (row == kNone) return nullptr;
  if (file_->rows_[row].table == table) return &file_->rows_[row].place;
  const auto found = tables_[table].place_of.find(row);
  return found != tables_[table].place_of.end() ? &found->second : nullptr;
}

void MorkParser::Put(std::uint32_t table, std::uint32_t row) {
  if (row == kNone || PlaceOf(table, row) != nullptr) return;
  std::vector<Place>& order = tables_[table].order;
  const auto place = static_cast<std::uint32_t>(order.size());
  if (file_->rows_[row].table == kNone) {
    file_->rows_[row].table = table;
    file_->rows_[row].place = place;
  } else {
    tables_[table].place_of.emplace(row, place);
  }
  order.push_back({row});
}

void MorkParser::Empty(std::uint32_t table) {
  for (const Place& place : tables_[table].order) {
    if (file_->rows_[place.row].table == table) file_->rows_[place.row].table = kNone;
  }
  tables_[table].order.clear();
  tables_[table].place_of.clear();
  tables_[table].moves.clear();
}

// One table from behind its "{" on.
void MorkParser::ReadTable() {
  SkipBlank();
  bool anew = false;
  if (!AtEnd() && Here() == '-') {
    anew = true;
    ++at_;
  }
  std::uint32_t id = 0;
  HexNumber(&id);
  const std::uint32_t scope = Scope(kNone);
  const auto [known, fresh] = table_of_.emplace(std::uint64_t{scope} << 32 | id,
                                                static_cast<std::uint32_t>(tables_.size()));
  if (fresh) tables_.emplace_back();
  const std::uint32_t number = known->second;
  Table* const table = &tables_[number];
  if (anew) Empty(number);
  bool remove = false;
  while (true) {
    SkipBlank();
    if (AtEnd()) return Note("a table does not end");
    const char c = Here();
    if (c == '}') {
      ++at_;
      return;
    }
    if (c == '{') {
      // The table's own cells, perhaps with a row of them.
      ++at_;
      while (true) {
        SkipBlank();
        if (AtEnd()) return Note("a table does not end");
        const char inner = Here();
        ++at_;
        if (inner == '}') break;
        if (inner == '(') ReadCell(CellUse::kOfTable, nullptr, table);
        if (inner == '[') SkipNested('[', ']');
        if (inner == '{') SkipNested('{', '}');
      }
      continue;
    }
    if (c == '-') {
      remove = true;
      ++at_;
      continue;
    }
    std::uint32_t row = kNone;
    if (c == '[') {
      ++at_;
      row = ReadRow(scope);
    } else {
      std::uint32_t row_id = 0;
      if (!HexNumber(&row_id)) {
        ++at_;  // belongs to nothing
        continue;
      }
      row = RowOf(Scope(scope), row_id);
    }
    if (remove) {
      if (const std::uint32_t* const there = PlaceOf(number, row)) {
        table->order[*there].in = false;
        if (file_->rows_[row].table == number) {
          file_->rows_[row].table = kNone;
        } else {
          table->place_of.erase(row);
        }
      }
      remove = false;
      continue;
    }
    Put(number, row);
    if (!AtEnd() && Here() == '!') {
      ++at_;
      std::uint32_t position = 0;
      if (HexNumber(&position) && row != kNone && table->moves.size() < kMostMoves) {
        table->moves.emplace_back(row, position);
      }
    }
  }
}

// Gathers the rows of the wanted tables, each once.
void MorkParser::Order() {
  for (Row& row : file_->rows_) {
    if (row.cells.size() >= kFewCells) Settle(&row);
  }
  std::vector<bool> taken(file_->rows_.size());
  for (Table& table : tables_) {
    if (!table.wanted) continue;
    std::erase_if(table.order, [](const Place& place) { return !place.in; });
    for (const auto& [row, position] : table.moves) {
      const auto from = std::find_if(table.order.begin(), table.order.end(),
                                     [row = row](const Place& p) { return p.row == row; });
      if (from == table.order.end()) continue;
      const Place moved = *from;
      table.order.erase(from);
      const std::size_t to = std::min<std::size_t>(position, table.order.size());
      table.order.insert(table.order.begin() + static_cast<std::ptrdiff_t>(to), moved);
    }
    for (const Place& place : table.order) {
      if (taken[place.row]) continue;
      taken[place.row] = true;
      file_->ordered_.push_back(&file_->rows_[place.row]);
    }
  }
}

}  // namespace pv::converter
