// Prints lists. Tested by listing_test.cc.
#include "cli/output/listing.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <utility>

#include "base/text.h"
#include "cli/output/json_text.h"
#include "cli/output/terminal.h"

namespace pv::cli {
namespace {

constexpr std::size_t kTableSample = 500;
constexpr std::size_t kWidestCell = 60;

class TableListing : public Listing {
 public:
  TableListing(OutputStream* out, std::vector<Column> columns, const ListOptions& options)
      : out_(out), columns_(std::move(columns)), options_(options) {}

  void Row(const std::vector<Cell>& cells) override {
    std::vector<std::string> row;
    row.reserve(cells.size());
    for (const Cell& cell : cells) {
      std::string text;
      AppendVisible(&text, cell.text);
      row.push_back(Shortened(text, kWidestCell));
    }
    if (widths_.empty()) {
      held_.push_back(std::move(row));
      if (held_.size() == kTableSample) Start();
    } else {
      Print(row);
    }
  }

  void End() override {
    if (widths_.empty()) Start();
  }

 private:
  void Start() {
    for (const Column& column : columns_) widths_.push_back(DisplayWidth(column.name));
    for (const auto& row : held_) {
      for (std::size_t i = 0; i < row.size(); ++i) {
        widths_[i] = std::max(widths_[i], DisplayWidth(row[i]));
      }
    }
    Narrow();
    if (options_.colors) out_->Write("\x1B[1m");
    std::vector<std::string> names;
    for (const Column& column : columns_) names.push_back(column.name);
    Print(names);
    if (options_.colors) out_->Write("\x1B[0m");
    for (const auto& row : held_) Print(row);
    held_.clear();
  }

  // Takes cells from the widest columns until a line fits the terminal.
  void Narrow() {
    constexpr std::size_t kLeast = 8;
    if (options_.columns == 0) return;
    for (;;) {
      std::size_t total = 2 * (widths_.size() - 1);
      for (const std::size_t w : widths_) total += w;
      auto widest = std::max_element(widths_.begin(), widths_.end());
      if (total <= options_.columns || *widest <= kLeast) return;
      --*widest;
    }
  }

  void Print(const std::vector<std::string>& row) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string cell = options_.columns == 0 ? row[i] : Shortened(row[i], widths_[i]);
      const std::size_t width = DisplayWidth(cell);
      const std::string blanks(widths_[i] > width ? widths_[i] - width : 0, ' ');
      if (i > 0) line += "  ";
      line += columns_[i].right ? blanks + cell : cell + blanks;
    }
    out_->Write(TrimRight(line));
    out_->Put('\n');
  }

  OutputStream* out_;
  std::vector<Column> columns_;
  ListOptions options_;
  std::vector<std::size_t> widths_;  // empty until the sample is complete
  std::vector<std::vector<std::string>> held_;
};

class PlainListing : public Listing {
 public:
  PlainListing(OutputStream* out, const std::vector<Column>& columns, const ListOptions& options)
      : out_(out) {
    if (!options.heading) return;
    for (const Column& column : columns) Append(column.name);
    EndLine();
  }

  void Row(const std::vector<Cell>& cells) override {
    for (const Cell& cell : cells) Append(cell.text);
    EndLine();
  }

  void End() override {}

 private:
  void Append(std::string_view text) {
    if (!first_) line_.push_back('\t');
    first_ = false;
    AppendVisible(&line_, text);
  }
  void EndLine() {
    line_.push_back('\n');
    out_->Write(line_);
    line_.clear();
    first_ = true;
  }

  OutputStream* out_;
  std::string line_;
  bool first_ = true;
};

class CsvListing : public Listing {
 public:
  CsvListing(OutputStream* out, const std::vector<Column>& columns, const ListOptions& options)
      : out_(out), raw_(options.raw) {
    std::vector<Cell> names(columns.size());
    for (std::size_t i = 0; i < names.size(); ++i) names[i].text = columns[i].name;
    Row(names);
  }

  void Row(const std::vector<Cell>& cells) override {
    line_.clear();
    for (std::size_t i = 0; i < cells.size(); ++i) {
      if (i > 0) line_.push_back(',');
      AppendCsvField(&line_, cells[i], raw_);
    }
    // A row of one empty cell would be an empty line, which readers pass over.
    if (line_.empty()) line_ = "\"\"";
    line_.push_back('\n');
    out_->Write(line_);
  }

  void End() override {}

 private:
  OutputStream* out_;
  bool raw_;
  std::string line_;
};

class JsonListing : public Listing {
 public:
  JsonListing(OutputStream* out, std::vector<Column> columns, bool lines)
      : out_(out), writer_(*out), columns_(std::move(columns)), lines_(lines) {
    if (!lines_) out_->Put('[');
  }

  void Row(const std::vector<Cell>& cells) override {
    if (!lines_) out_->Write(first_ ? "\n  " : ",\n  ");
    first_ = false;
    writer_.Reset(*out_);
    writer_.StartObject();
    for (std::size_t i = 0; i < cells.size(); ++i) {
      JsonKey(&writer_, columns_[i].name);
      JsonCell(&writer_, cells[i]);
    }
    writer_.EndObject();
    if (lines_) out_->Put('\n');
  }

  void End() override {
    if (!lines_) out_->Write(first_ ? "]\n" : "\n]\n");
  }

 private:
  OutputStream* out_;
  rapidjson::Writer<OutputStream> writer_;
  std::vector<Column> columns_;
  bool lines_;
  bool first_ = true;
};

}  // namespace

void AppendCsvField(std::string* out, const Cell& cell, bool raw) {
  const std::string& text = cell.text;
  const bool formula = !raw && cell.kind == CellKind::kText && !text.empty() &&
                       std::string_view("=+-@\t\r").find(text.front()) != std::string_view::npos;
  const bool blank_ends = !text.empty() && (text.front() == ' ' || text.back() == ' ');
  if (!blank_ends && text.find_first_of(",\"\n\r\t;") == text.npos) {
    if (formula) out->push_back('\'');
    *out += text;
    return;
  }
  out->push_back('"');
  if (formula) out->push_back('\'');
  for (const char c : text) {
    if (c == '"') out->push_back('"');
    out->push_back(c);
  }
  out->push_back('"');
}

std::unique_ptr<Listing> Listing::Make(OutputStream* out, std::vector<Column> columns,
                                       const ListOptions& options) {
  switch (options.form) {
    case ListForm::kTable:
      return std::make_unique<TableListing>(out, std::move(columns), options);
    case ListForm::kCsv:
      return std::make_unique<CsvListing>(out, columns, options);
    case ListForm::kJson:
      return std::make_unique<JsonListing>(out, std::move(columns), false);
    case ListForm::kNdjson:
      return std::make_unique<JsonListing>(out, std::move(columns), true);
    case ListForm::kPlain:
      break;
  }
  return std::make_unique<PlainListing>(out, columns, options);
}

}  // namespace pv::cli
