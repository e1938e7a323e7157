// Runs an import from opening the source to the account of its rows. Tested by tests/cli.
#include "cli/import/import.h"

#include <rapidjson/prettywriter.h>

#include <algorithm>
#include <cstdio>
#include <optional>

#include "base/text.h"
#include "cli/fields/field_names.h"
#include "cli/groups/address_tag.h"
#include "cli/groups/catalogue.h"
#include "cli/groups/table.h"
#include "cli/groups/table_report.h"
#include "cli/import/import_plan.h"
#include "cli/import/import_rows.h"
#include "cli/import/import_source.h"
#include "cli/import/rejects.h"
#include "cli/import/row_reader.h"
#include "cli/output/json_text.h"
#include "cli/output/output_stream.h"
#include "cli/output/progress.h"
#include "cli/output/terminal.h"
#include "cli/stop_signal.h"
#include "platform/memory/memory_file_system.h"
#include "platform/system.h"

namespace pv::cli {
namespace {

// Above this many rows, a source that is large beside its group is put in with the tags made at
// the end rather than row by row.
constexpr std::uint64_t kBulkRows = 1000;

std::string DelimiterText(char c) { return c == '\t' ? "tab" : std::string(1, c); }
std::string QuoteText(char c) { return c == 0 ? "none" : std::string(1, c); }
// The same within a sentence.
std::string InQuotes(const std::string& text) { return text.size() == 1 ? "'" + text + "'" : text; }

std::string ShellQuoted(const std::string& text) {
  if (!text.empty() && text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                              "0123456789_-./@:") == text.npos) {
    return text;
  }
  std::string out = "'";
  for (const char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

// How a column will be read, for people: nothing for text.
std::string ReadingText(const PlannedColumn& column) {
  switch (column.shape.type) {
    case 'N':
    case 'F':
    case 'B':
    case 'Y':
      return column.reading.decimal == ',' ? "decimal comma" : "";
    case 'D':
    case 'T':
      return column.reading.order == kDmy   ? "day first"
             : column.reading.order == kMdy ? "month first"
                                            : "";
    default:
      return "";
  }
}

class Import {
 public:
  explicit Import(const ImportOptions& options)
      : options_(options),
        source_(options),
        rejects_(source_, options.rejects, options.yes),
        entry_(catalogue_.Find(options.group)) {}

  ExitCode Run() {
    if (entry_ != nullptr) {
      if (!options_.folder.empty()) {
        throw Failure(kUsage, "--folder is for new groups; \"" + entry_->name + "\" is there");
      }
      catalogue_.GetNative(entry_->name);
    } else {
      catalogue_.CheckName(options_.group, nullptr);
    }
    LookAtRows();
    if (options_.dry_run && entry_ == nullptr) {
      // The same work on files in memory; the source stays on the real file system.
      platform::System system = platform::CurrentSystem();
      platform::MemoryFileSystem memory;
      memory.StopRecording();
      system.files = &memory;
      const platform::ScopedSystem scope(system);
      const Session session;
      MakePlanFor(GroupShape{});
      Check(memory.CreateFolders(kDryFolder));
      Table::Create(session, kDryTable, plan_.NewFields(), AddressTag(AddressField()))->Close();
      PrintPlan();
      return PutRows(session, kDryTable);
    }
    const Session session;
    if (entry_ == nullptr) {
      MakePlanFor(GroupShape{});
      PrintPlan();
      created_ = catalogue_.Create(session, options_.group, options_.folder, plan_.NewFields(),
                                   AddressField());
      return PutRows(session, created_->table_path());
    }
    {
      const Table table(session, entry_->table_path(), Access::kShared);
      GroupShape shape;
      shape.fields = FieldsOf(table.handle());
      shape.address_field = AddressFieldOf(table.handle());
      if (shape.address_field.empty()) {
        throw Failure(kUsage, "group \"" + entry_->name + "\" has no address field");
      }
      records_ = static_cast<std::uint64_t>(table.Checked(engine::d4recCountDo(table.handle())));
      MakePlanFor(shape);
    }
    PrintPlan();
    return PutRows(session, entry_->table_path());
  }

 private:
  static constexpr const char kDryFolder[] = "/dry";
  static constexpr const char kDryTable[] = "/dry/run.pvg";

  std::string AddressField() const { return plan_.columns[plan_.address_column].field; }

  // The first pass: what the columns hold, over every row that can be read.
  void LookAtRows() {
    const Session session;
    const PageEncoder encoder(session.page());
    // Every fourth column is looked at by the thread that reads, which has the lesser part to do.
    constexpr std::size_t kTurns = 4;
    const auto is_readers = [](std::size_t column) { return column % kTurns == 1; };
    std::vector<ColumnStats> readers_stats;
    RowReader rows(source_, std::nullopt, [&](RowReader::Columns columns) {
      readers_stats.resize(columns.size());
      for (std::size_t i = 0; i < columns.size(); ++i) {
        if (is_readers(i)) readers_stats[i].Add(columns[i], encoder);
      }
    });
    headings_ = rows.headings();
    stats_.resize(headings_.size());
    Progress progress("looking", source_.size(), false);
    while (rows.Next()) {
      ++row_count_;
      if (rows.fault().empty()) {
        const RowReader::Columns columns = rows.fields();
        for (std::size_t i = 0; i < columns.size(); ++i) {
          if (!is_readers(i)) stats_[i].Add(columns[i], encoder);
        }
      }
      progress.Update(rows.consumed(), row_count_);
    }
    for (std::size_t i = 0; i < readers_stats.size(); ++i) {
      if (is_readers(i)) stats_[i] = readers_stats[i];
    }
    blank_lines_ = rows.blank_lines();
    if (headings_.empty()) throw Failure(kUsage, source_.name() + " holds no rows");
  }

  void MakePlanFor(const GroupShape& shape) {
    plan_ = MakePlan(headings_, stats_, options_, shape);
  }

  void PrintPlan() {
    if (options_.json) return;
    std::printf("%s: %llu rows", Harmless(source_.name()).c_str(),
                static_cast<unsigned long long>(row_count_));
    if (options_.spool != nullptr) {
      std::printf("\n");
    } else {
      std::printf(", %s, delimiter %s, quote %s, %s\n", source_.encoding().name.c_str(),
                  InQuotes(DelimiterText(source_.dialect().delimiter)).c_str(),
                  InQuotes(QuoteText(source_.dialect().quote)).c_str(),
                  source_.has_header() ? "header row" : "no header row");
    }
    std::printf("%s group \"%s\"%s:\n", entry_ == nullptr ? "new" : "into",
                Harmless(entry_ == nullptr ? options_.group : entry_->name).c_str(),
                options_.dry_run ? " (dry run: nothing is written)" : "");
    OutputStream out;
    ListOptions list;
    list.form = ListForm::kTable;
    const auto listing = Listing::Make(&out, {{"  column"}, {"field"}, {"type"}, {"note"}}, list);
    std::vector<Cell> cells(4);
    for (std::size_t i = 0; i < plan_.columns.size(); ++i) {
      const PlannedColumn& column = plan_.columns[i];
      cells[0].text = "  " + column.heading;
      cells[1].text = column.field.empty() ? "(left out)" : column.field;
      cells[2].text = column.field.empty() ? "" : DescribeShape(column.shape);
      cells[3].text = i == plan_.address_column ? "address" : ReadingText(column);
      listing->Row(cells);
    }
    listing->End();
    out.Finish();
    for (const PlannedColumn& column : plan_.columns) {
      if (!column.note.empty()) {
        std::printf("note: %s: %s\n", Harmless(column.heading).c_str(), column.note.c_str());
      }
    }
    std::fflush(stdout);
  }

  // The second pass.
  ExitCode PutRows(const Session& session, const std::string& path) {
    const bool fresh = entry_ == nullptr;
    bool bulk = fresh || (row_count_ >= kBulkRows && row_count_ * 4 >= records_);
    std::unique_ptr<Table> table;
    if (bulk && !(options_.dry_run && !fresh)) {
      try {
        table = std::make_unique<Table>(session, path, Access::kExclusive);
      } catch (const Failure& failure) {
        // Others have it open: row by row beside them, then.
        if (failure.code() != kLocked || fresh) throw;
      }
    }
    bulk = table != nullptr && !options_.dry_run;
    if (table == nullptr) table = std::make_unique<Table>(session, path, Access::kShared);
    RowImporter importer(session, table.get(), plan_, options_, bulk);
    if (records_ > 0) importer.LoadAddresses();
    importer.Reserve(records_ + row_count_);

    RowReader rows(source_, plan_.address_column);
    std::optional<Failure> failure;
    bool stopped = false;
    {
      const StopOnInterrupt guard;
      Progress progress("importing", source_.size(), options_.progress);
      try {
        while (!stopped && rows.Next()) {
          importer.Take(rows, options_.dry_run ? nullptr : &rejects_);
          progress.Update(rows.consumed(), importer.counts().read);
          stopped = guard.asked();
        }
      } catch (const Failure& f) {
        failure = f;
      }
      progress.Clear();
    }
    const bool nearly_full = !options_.dry_run && NearlyFull(engine::d4info(table->handle()));
    // Whatever stopped the rows, those that were taken are kept and accounted for.
    try {
      importer.Finish();
      rejects_.Finish();
    } catch (const Failure& f) {
      if (!failure) failure = f;
    }
    const ImportCounts& counts = importer.counts();
    PrintAccount(counts, rows.blank_lines(), stopped);
    if (nearly_full) {
      Tell("warning: the group's data file is over 90% of the largest size that it can have");
    }
    if (failure) throw *failure;
    if (stopped) {
      Tell("interrupted behind line " + std::to_string(rows.line()));
      return kInterrupted;
    }
    return counts.rejected > 0 ? kFindings : kDone;
  }

  void PrintAccount(const ImportCounts& counts, std::uint64_t blank_lines, bool stopped) {
    if (options_.json) {
      PrintJson(counts, blank_lines, stopped);
      return;
    }
    const auto n = [](std::uint64_t value) { return static_cast<unsigned long long>(value); };
    std::printf("read %llu = added %llu + updated %llu + skipped %llu + rejected %llu\n",
                n(counts.read), n(counts.added), n(counts.updated), n(counts.skipped),
                n(counts.rejected));
    if (blank_lines > 0) std::printf("blank lines, which are no rows: %llu\n", n(blank_lines));
    if (counts.rejected > 0 && !options_.dry_run) {
      std::printf("rejected rows are in %s, the reasons in %s\n",
                  Harmless(rejects_.rows_path()).c_str(),
                  Harmless(rejects_.reasons_path()).c_str());
      std::printf("corrected, they can be imported with:\n  %s\n",
                  Harmless(AgainCommand()).c_str());
    }
    std::fflush(stdout);
  }

  // What --map calls a column: its heading, or its number where that is no sound name.
  std::string ColumnName(std::size_t column) const {
    const std::string& heading = headings_[column];
    const auto same = std::count_if(headings_.begin(), headings_.end(), [&](const std::string& h) {
      return EqualsIgnoreCase(TrimBlanks(h), TrimBlanks(heading));
    });
    const bool sound = same == 1 && !TrimBlanks(heading).empty() && Harmless(heading) == heading;
    return sound ? heading : std::to_string(column + 1);
  }

  // The command that imports the corrected rows as they were read now. What was sniffed is said,
  // because the few rejected rows may not show it.
  std::string AgainCommand() const {
    const CsvDialect& dialect = source_.dialect();
    std::string command = "pvgroup import " + ShellQuoted(options_.group) + " " +
                          ShellQuoted(rejects_.rows_path()) + " --encoding " +
                          source_.encoding().name + " --delimiter " +
                          ShellQuoted(DelimiterText(dialect.delimiter));
    if (dialect.quote != '"') command += " --quote " + ShellQuoted(QuoteText(dialect.quote));
    command += std::string(" --header ") + (source_.has_header() ? "yes" : "no");
    bool comma = false;
    DateOrder order = kNoOrder;
    for (std::size_t i = 0; i < plan_.columns.size(); ++i) {
      const PlannedColumn& column = plan_.columns[i];
      if (column.field.empty()) {
        command += " --map " + ShellQuoted(ColumnName(i) + "=");
        continue;
      }
      bool certain = false;
      const bool found_by_content =
          i == plan_.address_column && !(IsAddressHeading(column.heading, &certain) && certain);
      if (column.mapped || found_by_content || !source_.has_header()) {
        command += " --map " + ShellQuoted(ColumnName(i) + "=" + column.field);
      }
      if (!ReadingText(column).empty()) {
        comma = comma || column.reading.decimal == ',';
        if (column.shape.type == 'D' || column.shape.type == 'T') order = column.reading.order;
      }
    }
    if (comma) command += " --decimal ,";
    if (order != kNoOrder) command += order == kDmy ? " --date-order dmy" : " --date-order mdy";
    return command;
  }

  void PrintJson(const ImportCounts& counts, std::uint64_t blank_lines, bool stopped) {
    OutputStream out;
    rapidjson::PrettyWriter<OutputStream> json(out);
    json.SetIndent(' ', 2);
    json.StartObject();
    JsonKey(&json, "source");
    json.StartObject();
    JsonKey(&json, "name");
    JsonText(&json, source_.name());
    JsonKey(&json, "encoding");
    JsonText(&json, source_.encoding().name);
    JsonKey(&json, "delimiter");
    JsonText(&json, DelimiterText(source_.dialect().delimiter));
    JsonKey(&json, "quote");
    JsonText(&json, QuoteText(source_.dialect().quote));
    JsonKey(&json, "header");
    json.Bool(source_.has_header());
    json.EndObject();
    JsonKey(&json, "group");
    JsonText(&json, entry_ != nullptr ? entry_->name : options_.group);
    JsonKey(&json, "id");
    JsonText(&json, entry_ != nullptr ? entry_->id : created_ ? created_->id : "");
    JsonKey(&json, "new");
    json.Bool(entry_ == nullptr);
    JsonKey(&json, "dry_run");
    json.Bool(options_.dry_run);
    JsonKey(&json, "columns");
    json.StartArray();
    for (const PlannedColumn& column : plan_.columns) {
      json.StartObject();
      JsonKey(&json, "column");
      JsonText(&json, column.heading);
      JsonKey(&json, "field");
      if (column.field.empty()) {
        json.Null();
      } else {
        JsonText(&json, column.field);
      }
      JsonKey(&json, "type");
      JsonText(&json, column.field.empty() ? "" : DescribeShape(column.shape));
      json.EndObject();
    }
    json.EndArray();
    const std::pair<const char*, std::uint64_t> numbers[] = {
        {"read", counts.read},       {"added", counts.added},       {"updated", counts.updated},
        {"skipped", counts.skipped}, {"rejected", counts.rejected}, {"blank_lines", blank_lines},
    };
    for (const auto& [name, value] : numbers) {
      JsonKey(&json, name);
      json.Uint64(value);
    }
    JsonKey(&json, "interrupted");
    json.Bool(stopped);
    if (counts.rejected > 0 && !options_.dry_run) {
      JsonKey(&json, "rejected_rows");
      JsonText(&json, rejects_.rows_path());
      JsonKey(&json, "rejected_reasons");
      JsonText(&json, rejects_.reasons_path());
    }
    json.EndObject();
    out.Put('\n');
    out.Finish();
  }

  const ImportOptions& options_;
  ImportSource source_;
  Rejects rejects_;
  Catalogue catalogue_;
  const GroupEntry* entry_;            // null: the group is new
  std::optional<GroupEntry> created_;  // the new group
  std::vector<std::string> headings_;
  std::vector<ColumnStats> stats_;
  std::uint64_t row_count_ = 0;
  std::uint64_t blank_lines_ = 0;
  std::uint64_t records_ = 0;  // in the group before
  ImportPlan plan_;
};

}  // namespace

ExitCode RunImport(const ImportOptions& options) { return Import(options).Run(); }

}  // namespace pv::cli
