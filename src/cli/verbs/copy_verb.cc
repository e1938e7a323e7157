// The verb copy: the recipients of one group into another, of whatever kinds. Tested by tests/cli.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <optional>

#include "base/text.h"
#include "cli/fields/field_names.h"
#include "cli/groups/address_tag.h"
#include "cli/groups/catalogue.h"
#include "cli/groups/opened_group.h"
#include "cli/groups/sql_definition.h"
#include "cli/groups/sql_group.h"
#include "cli/groups/walk.h"
#include "cli/import/import.h"
#include "cli/import/rejects.h"
#include "cli/import/row_sink.h"
#include "cli/output/output_stream.h"
#include "cli/output/terminal.h"
#include "cli/paths.h"
#include "cli/stop_signal.h"
#include "cli/verbs/sql_verbs.h"
#include "cli/verbs/verbs.h"

namespace pv::cli {
namespace {

struct CopyArguments {
  std::string from, to;
  std::string source, table;
  std::string on_duplicate = "skip";
  std::vector<std::string> mappings;
  ImportOptions options;
};

void TellRounded(const GroupCursor& cursor) {
  for (const std::string& name : cursor.rounded()) {
    Tell("note: moments of " + name + " were rounded to milliseconds");
  }
}

// Into a table of ours: the rows are kept in a private file and imported from there, so that a copy
// is planned, checked and accounted for as an import is.
class CopyIntoTable {
 public:
  CopyIntoTable(const GroupEntry& from, const GroupEntry* to, GroupCursor* cursor,
                ImportOptions options)
      : from_(from), to_(to), cursor_(cursor), options_(std::move(options)) {}

  ExitCode Run() {
    options_.spool = Take(SpooledInput::Empty());
    options_.file = "group " + from_.name;
    options_.encoding = "utf-8";
    options_.dialect.delimiter = ',';
    options_.dialect.quote = '"';
    options_.dialect.header = true;
    options_.inference.decimal = '.';
    WalkOptions walk;
    walk.list.form = ListForm::kCsv;
    walk.list.raw = true;
    const auto out = OutputStream::Into(options_.spool->file());
    PrintRecords(cursor_, walk, out.get());
    out->Finish();
    TellRounded(*cursor_);
    PlanFields();
    return RunImport(options_);
  }

 private:
  bool MappedByUser(std::size_t column) const {
    const std::string& name = cursor_->fields()[column].name;
    for (const ColumnMapping& mapping : options_.mappings) {
      if (EqualsIgnoreCase(mapping.column, TrimBlanks(name)) ||
          mapping.column == std::to_string(column + 1)) {
        return true;
      }
    }
    return false;
  }

  // What is known of the fields need not be guessed from their values.
  void PlanFields() {
    const std::vector<CursorField>& fields = cursor_->fields();
    const auto address = cursor_->Find(cursor_->address_field());
    std::string address_field = "EMAIL";
    if (to_ != nullptr) {
      const Session session;
      const Table table(session, to_->table_path(), Access::kShared);
      address_field = AddressFieldOf(table.handle());
    }
    std::vector<ColumnMapping> made;
    std::vector<std::string> headings;
    std::vector<std::string> taken = {address_field};
    for (const ColumnMapping& mapping : options_.mappings) {
      if (!mapping.field.empty()) taken.push_back(ToUpper(mapping.field));
    }
    for (const CursorField& field : fields) headings.push_back(field.name);
    const std::vector<std::string> names = FieldNamesOf(headings, taken);
    for (std::size_t i = 0; i < fields.size(); ++i) {
      if (MappedByUser(i)) continue;
      ColumnMapping mapping;
      mapping.column = std::to_string(i + 1);
      if (address && i == *address) {
        mapping.field = address_field;
        made.push_back(mapping);
        continue;
      }
      const FieldShape& shape = fields[i].shape;
      if (!FieldWriter::CanWrite(shape.type)) {
        Tell("note: the field " + fields[i].name + " cannot be copied");
        made.push_back(mapping);
        continue;
      }
      if (to_ != nullptr) continue;  // its fields are found by their names
      mapping.field = names[i];
      if (from_.type == groups::GroupType::kPvFormat || !NeedsItsValues(shape)) {
        mapping.shape = shape;
      } else {
        mapping.text = shape.type == 'C' || shape.type == 'M';
      }
      made.push_back(mapping);
    }
    options_.mappings.insert(options_.mappings.end(), made.begin(), made.end());
  }

  // Whether the width of a field, or whether a table's field can hold its values at all, is known
  // only when they have been looked at. Not every database keeps to the types that it declares.
  static bool NeedsItsValues(const FieldShape& shape) {
    return std::string_view("BYLD").find(shape.type) == std::string_view::npos;
  }

  const GroupEntry& from_;
  const GroupEntry* to_;
  GroupCursor* cursor_;
  ImportOptions options_;
};

// Rows that a database did not take, and why, in two files; made with the first of them.
class CopyRejects {
 public:
  CopyRejects(const std::vector<CursorField>& fields, std::string path, const std::string& stem,
              bool replace)
      : fields_(fields), replace_(replace && !path.empty()) {
    path_ = path.empty() ? FreeRejectsPath(stem) : std::move(path);
    if (!replace_ && (PathExists(path_) || PathExists(ReasonsPathFor(path_)))) {
      throw Failure(kUsage, path_ + " or its reasons exist already; --yes replaces them");
    }
  }

  void Add(const std::vector<Cell>& cells, const std::string& reason) {
    if (rows_ == nullptr) {
      rows_ = OutputStream::ToFile(path_, replace_);
      reasons_ = OutputStream::ToFile(ReasonsPathFor(path_), replace_);
      std::vector<Cell> names;
      for (const CursorField& field : fields_) names.push_back({CellKind::kText, field.name});
      Write(names);
      reasons_->Write("row,reason\n");
    }
    Write(cells);
    std::string line = std::to_string(++count_) + ",";
    AppendCsvField(&line, {CellKind::kText, reason}, false);
    reasons_->Write(line + "\n");
  }

  void Finish() {
    if (rows_ == nullptr) return;
    rows_->Finish();
    reasons_->Finish();
  }

  const std::string& path() const { return path_; }

 private:
  void Write(const std::vector<Cell>& cells) {
    std::string line;
    for (const Cell& cell : cells) {
      if (&cell != &cells.front()) line += ',';
      AppendCsvField(&line, cell, true);
    }
    rows_->Write(line + "\n");
  }

  const std::vector<CursorField>& fields_;
  bool replace_;
  std::string path_;
  std::uint64_t count_ = 0;
  std::unique_ptr<OutputStream> rows_, reasons_;
};

// Whether a connection string is that of a database in a file.
bool IsFileDatabase(const std::string& connection) {
  return ToLower(connection).find("sqlite") != std::string::npos;
}

// A table's name in the form in which two of them can be compared.
std::string ComparableName(const WrittenTable& table, const DatabaseTarget& target) {
  std::string name = table.name;
  // What is not quoted may be written in any letter case, but for MariaDB; SQLite never minds.
  const bool keeps_case =
      table.left.empty() ? target.dialect.left == "`" : !IsFileDatabase(target.secrets);
  if (!keeps_case) name = ToLower(name);
  for (const std::string_view schema : {"public.", "main."}) {
    if (name.compare(0, schema.size(), schema) == 0) return name.substr(schema.size());
  }
  return name;
}

bool HasWord(const std::string& text, const std::string& word) {
  const auto is_word = [&](std::size_t at) {
    return at < text.size() && (std::isalnum(static_cast<unsigned char>(text[at])) != 0 ||
                                text[at] == '_' || static_cast<unsigned char>(text[at]) >= 0x80);
  };
  for (std::size_t at = 0; (at = text.find(word, at)) != text.npos; ++at) {
    if (!is_word(at - 1) && !is_word(at + word.size())) return true;
  }
  return false;
}

// Whether a group reads the table that is to be filled. Its rows would be copied until the disk is
// full where a walk meets what was added to its table.
bool ReadsTable(const SqlGroup& from, const DatabaseTarget& target) {
  if (from.connection_text() != target.secrets) return false;
  const ado::CADOGroupProperties& definition = *from.properties();
  for (const WrittenTable& way : target.tables) {
    const std::string name = ComparableName(way, target);
    if (definition.GetFilterMethod() == 0) {
      const WrittenTable read = {definition.GetTable(), definition.GetLeftBrace(),
                                 definition.GetRightBrace()};
      if (ComparableName(read, target) == name) return true;
    } else if (target.address_field.empty() &&
               HasWord(ToLower(definition.GetSql()), ToLower(name))) {
      return true;  // with addresses nothing would be added twice
    }
  }
  return false;
}

void PrintAccount(const CommonOptions& common, const ImportCounts& counts,
                  const CopyRejects& rejects) {
  const auto n = [](std::uint64_t value) { return static_cast<unsigned long long>(value); };
  if (common.json) {
    OutputStream out;
    ListOptions list;
    list.form = ListForm::kNdjson;
    const std::pair<const char*, std::uint64_t> numbers[] = {{"read", counts.read},
                                                             {"added", counts.added},
                                                             {"updated", counts.updated},
                                                             {"skipped", counts.skipped},
                                                             {"rejected", counts.rejected}};
    std::vector<Column> columns;
    std::vector<Cell> cells;
    for (const auto& [name, value] : numbers) {
      columns.push_back({name});
      cells.push_back({CellKind::kNumber, std::to_string(value)});
    }
    const auto listing = Listing::Make(&out, columns, list);
    listing->Row(cells);
    listing->End();
    out.Finish();
    return;
  }
  std::printf("read %llu = added %llu + updated %llu + skipped %llu + rejected %llu\n",
              n(counts.read), n(counts.added), n(counts.updated), n(counts.skipped),
              n(counts.rejected));
  if (counts.rejected > 0) {
    std::printf("rejected rows are in %s, the reasons in %s\n", Harmless(rejects.path()).c_str(),
                Harmless(ReasonsPathFor(rejects.path())).c_str());
  }
  std::fflush(stdout);
}

// The fields of a group as --map puts them into a table: under which names, and from where.
struct MappedFields {
  std::vector<CursorField> fields;
  std::vector<std::size_t> sources;  // positions of the cursor's fields
  std::string address_field;         // as it is mapped
};

MappedFields MapFields(const GroupCursor& cursor, const std::vector<std::string>& mappings) {
  std::vector<std::optional<std::string>> names;
  for (const CursorField& field : cursor.fields()) names.emplace_back(field.name);
  for (const std::string& mapping : mappings) {
    const std::size_t equals = mapping.rfind('=');
    if (equals == mapping.npos) {
      throw Failure(kUsage, "--map \"" + mapping + "\": it must read FIELD=COLUMN");
    }
    const std::size_t field = cursor.Get(TrimBlanks(std::string_view(mapping).substr(0, equals)));
    const std::string name(TrimBlanks(std::string_view(mapping).substr(equals + 1)));
    names[field] = name.empty() ? std::nullopt : std::optional(name);
  }
  const auto address = cursor.Find(cursor.address_field());
  MappedFields mapped;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (!names[i]) continue;
    if (i == address) mapped.address_field = *names[i];
    mapped.fields.push_back(cursor.fields()[i]);
    mapped.fields.back().name = *names[i];
    mapped.sources.push_back(i);
  }
  return mapped;
}

// A group in a database that rows are copied into.
struct CopyTarget {
  automation::Ref<ado::CDataSource> source;
  std::string table;                  // as the user calls it
  std::optional<WrittenTable> known;  // as the definition of an existing group writes it
};

ExitCode CopyIntoDatabase(const CommonOptions& common, const GroupEntry& from, OpenedGroup* opened,
                          const CopyArguments& arguments, const CopyTarget& to,
                          Catalogue* catalogue) {
  GroupCursor* const cursor = opened->cursor();
  const MappedFields mapped = MapFields(*cursor, arguments.mappings);
  SqlGroup into(to.source, automation::MakeObject<ado::CADOGroupProperties>());
  DatabaseTarget target;
  target.dialect = AskDialect(to.source);
  target.connection = into.Connection();
  target.secrets = into.connection_text();
  if (opened->sql() != nullptr && opened->sql()->connection_text() == target.secrets &&
      IsFileDatabase(target.secrets)) {
    // Whoever writes such a database waits for all that read it.
    target.connection = opened->sql()->Connection();
  }
  std::optional<SqlGroup> again;
  target.reconnect = [&] {
    again.emplace(to.source, automation::MakeObject<ado::CADOGroupProperties>());
    return again->Connection();
  };
  target.tables = to.known ? std::vector{*to.known} : WaysToWrite(target.dialect, to.table);
  target.may_create = !to.known;
  if (target.tables.empty()) {
    throw Failure(kUsage, "the database cannot be asked for a table \"" + to.table + "\"");
  }
  target.address_field = mapped.address_field;
  if (opened->sql() != nullptr && ReadsTable(*opened->sql(), target)) {
    throw Failure(kUsage, "group \"" + from.name + "\" reads table " + to.table +
                              ": it cannot be copied onto itself");
  }
  target.on_duplicate = arguments.options.on_duplicate;
  const std::unique_ptr<RowSink> sink = MakeDatabaseSink(target);
  std::string stem = "group " + from.name;
  std::replace(stem.begin(), stem.end(), '/', '_');
  CopyRejects rejects(mapped.fields, arguments.options.rejects, stem, common.yes);
  std::optional<Failure> failure;
  const StopOnInterrupt stop;
  bool stopped = false;
  sink->Begin(mapped.fields, [&](const std::vector<Cell>& cells, const std::string& reason) {
    rejects.Add(cells, reason);
  });
  for (const std::string& note : sink->notes()) {
    if (common.json) {
      Tell(note);
    } else {
      std::printf("%s\n", Harmless(note).c_str());
    }
  }
  try {
    std::vector<Cell> cells(mapped.fields.size());
    while (!stopped && cursor->Next()) {
      if (cursor->deleted()) continue;
      for (std::size_t i = 0; i < cells.size(); ++i) cursor->Read(mapped.sources[i], &cells[i]);
      sink->Put(cells);
      stopped = stop.asked();
    }
  } catch (const Failure& f) {
    failure = f;
  }
  // Whatever stopped the rows, those that were taken are kept and accounted for.
  try {
    sink->Finish();
    rejects.Finish();
  } catch (const Failure& f) {
    if (!failure) failure = f;
  }
  TellRounded(*cursor);
  const ImportCounts& counts = sink->counts();
  PrintAccount(common, counts, rejects);
  if (catalogue != nullptr && (!failure || counts.added > 0)) {
    try {
      SaveSqlGroup(catalogue, arguments.to, to.source, DefineTable(to.source, {to.table, {}}));
    } catch (const Failure& f) {
      if (!failure) failure = f;
    }
  }
  if (failure) throw *failure;
  if (stopped) {
    Tell("interrupted; " + std::to_string(counts.added) + " rows were added and are in");
    return kInterrupted;
  }
  return counts.rejected > 0 ? kFindings : kDone;
}

ExitCode Copy(const CommonOptions& common, CopyArguments arguments) {
  Catalogue catalogue;
  const GroupEntry from = catalogue.Get(arguments.from);
  const GroupEntry* to = catalogue.Find(arguments.to);
  if (to != nullptr && to->id == from.id) throw Failure(kUsage, "a group cannot be its own copy");
  if (to == nullptr) catalogue.CheckName(arguments.to, nullptr);
  ImportOptions& options = arguments.options;
  options.json = common.json;
  options.yes = common.yes;
  options.group = arguments.to;
  options.on_duplicate = arguments.on_duplicate == "update"   ? OnDuplicate::kUpdate
                         : arguments.on_duplicate == "reject" ? OnDuplicate::kReject
                                                              : OnDuplicate::kSkip;
  const bool database = to != nullptr ? to->type == groups::GroupType::kAdoRecordset
                                      : !arguments.table.empty() || !arguments.source.empty();
  if (to != nullptr && !(arguments.source.empty() && arguments.table.empty())) {
    throw Failure(kUsage, "--source and --table are for new groups; \"" + to->name + "\" is there");
  }
  OpenedGroup opened(catalogue, from, {});
  if (database) {
    if (options.dry_run || !options.folder.empty()) {
      throw Failure(kUsage, "--dry-run and --folder are for copies into tables of ours");
    }
    if (to == nullptr) {
      if (arguments.table.empty() || arguments.source.empty()) {
        throw Failure(kUsage, "a new group in a database needs --source and --table");
      }
      const CopyTarget target = {SourceFor(arguments.source, arguments.to), arguments.table, {}};
      return CopyIntoDatabase(common, from, &opened, arguments, target, &catalogue);
    }
    const SqlGroup group(*to);
    const ado::CADOGroupProperties& definition = *group.properties();
    if (definition.GetFilterMethod() != 0) {
      throw Failure(kUsage,
                    "group \"" + to->name + "\" is a statement: there is no table to copy into");
    }
    const CopyTarget target = {
        group.source(), UnquotedTable(definition),
        WrittenTable{definition.GetTable(), definition.GetLeftBrace(), definition.GetRightBrace()}};
    return CopyIntoDatabase(common, from, &opened, arguments, target, nullptr);
  }
  for (const std::string& mapping : arguments.mappings) {
    options.mappings.push_back(ParseMapping(mapping));
  }
  if (!options.folder.empty()) options.folder = AbsolutePath(options.folder);
  if (to != nullptr) to = &catalogue.GetNative(to->id);
  return CopyIntoTable(from, to, opened.cursor(), options).Run();
}

}  // namespace

void AddCopyVerb(Verb app, CommonOptions* common) {
  auto arguments = std::make_shared<CopyArguments>();
  const Verb verb = AddVerb(
      app, common, "copy",
      "Copy the recipients of one group into another, whatever their kinds.\n\n"
      "A group TO that is not there is made: in a table of a database with --source and --table\n"
      "(the table too is made when it is missing), otherwise as a table of our own, with the "
      "fields\n"
      "of FROM. Every row is accounted for as by import, and rows that cannot be kept as they are\n"
      "are rejected, with their reasons.",
      {"copy customers archive", "copy customers crm --source shop --table customers",
       "copy crm customers --on-duplicate update"});
  verb.AddOption("FROM", &arguments->from, "The group to read").Required();
  verb.AddOption("TO", &arguments->to, "The group to put its recipients into").Required();
  verb.AddOption("--source", &arguments->source,
                 "For a new group: a saved data source, or a connection string")
      .TypeName("SOURCE");
  verb.AddOption("--table", &arguments->table, "For a new group: the database's table")
      .TypeName("TABLE");
  verb.AddOption("--map", &arguments->mappings,
                 "COLUMN=FIELD puts a field of FROM into another; for a new table of ours "
                 "COLUMN=FIELD:TYPE sets the type; COLUMN= leaves it out")
      .TypeName("COLUMN=FIELD")
      .Repeats();
  verb.AddOption("--on-duplicate", &arguments->on_duplicate,
                 "What to do with a row whose address is there: skip (default), update, reject")
      .OneOf({"skip", "update", "reject"})
      .TypeName("ACTION");
  verb.AddFlag("--dry-run", &arguments->options.dry_run, "Do the same work, but write nothing");
  verb.AddOption("--rejects", &arguments->options.rejects, "File for the rejected rows")
      .TypeName("FILE");
  verb.AddOption("--folder", &arguments->options.folder, "Folder for a new group's files")
      .TypeName("FOLDER");
  verb.AddFlag("--json", &common->json, "Print the account as JSON");
  AddYesOption(verb, common);
  verb.Runs([=] { return Copy(*common, *arguments); });
}

}  // namespace pv::cli
