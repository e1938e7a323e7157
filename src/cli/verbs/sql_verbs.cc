// Verbs about groups that are queries: sql add, show, edit and delete. Tested by tests/cli.
#include "cli/verbs/sql_verbs.h"

#include <cstdio>
#include <exception>
#include <optional>

#include "ado/secrets.h"
#include "base/text.h"
#include "cli/groups/data_sources.h"
#include "cli/groups/sql_definition.h"
#include "cli/groups/sql_group.h"
#include "cli/groups/walk.h"
#include "cli/output/output_stream.h"
#include "cli/output/terminal.h"
#include "cli/verbs/verbs.h"
#include "groups/ado_group.h"
#include "platform/system.h"
#include "support/application.h"

namespace pv::cli {

using ado::CADOGroupProperties;
using ado::CDataSource;
using automation::MakeObject;
using automation::Ref;

namespace {

constexpr std::int64_t kPreviewRows = 5;

struct SqlArguments {
  std::string group;
  std::string source;
  std::string table;
  std::vector<std::string> where;
  std::string sql_file;
  bool no_where = false;
  bool no_check = false;
  bool dry_run = false;
};

std::string ReadStatement(const std::string& file) {
  constexpr std::uint64_t kLargest = 1 << 20;
  std::string text;
  if (file == "-") {
    for (int c = std::getc(stdin); c != EOF; c = std::getc(stdin)) {
      text += static_cast<char>(c);
      if (text.size() > kLargest) throw Failure(kUsage, "the statement is too long");
    }
  } else {
    text = Take(platform::ReadWholeFile(platform::CurrentSystem().files, file, kLargest));
  }
  if (text.compare(0, 3, "\xEF\xBB\xBF") == 0) text.erase(0, 3);
  while (!text.empty() &&
         (text.back() == '\n' || text.back() == '\r' || text.back() == ' ' || text.back() == ';')) {
    text.pop_back();
  }
  if (text.empty()) throw Failure(kUsage, file + " holds no statement");
  if (!IsValidUtf8(text)) throw Failure(kUsage, file + " is not UTF-8");
  return text;
}

// A definition with conditions that nobody checks: names and values are written as they stand.
Ref<CADOGroupProperties> DefineUnchecked(const SqlArguments& arguments) {
  const auto definition = MakeObject<CADOGroupProperties>();
  definition->SetTable(arguments.table);
  if (!arguments.where.empty()) {
    throw Failure(kUsage, "--where needs the database, to know its fields; leave --no-check out");
  }
  return definition;
}

Ref<CADOGroupProperties> DefinitionFor(const Ref<CDataSource>& source,
                                       const SqlArguments& arguments) {
  // What could not be saved need not be tried.
  support::RequireFits("table name", arguments.table, 0);
  for (const std::string& text : arguments.where) support::RequireFits("condition", text, 0);
  if (!arguments.sql_file.empty()) {
    const std::string sql = ReadStatement(arguments.sql_file);
    support::RequireFitsUnseen("statement", sql, 0);
    return DefineStatement(sql);
  }
  if (arguments.no_check) return DefineUnchecked(arguments);
  return DefineTable(source, {arguments.table, arguments.where});
}

// What the group would give: its statement, its first rows and how many there are.
void Preview(const CommonOptions& common, const Ref<CDataSource>& source,
             const Ref<CADOGroupProperties>& definition) {
  SqlGroup group(source, definition);
  const std::uint64_t count = group.Count();
  std::printf("%s\n", Harmless(group.Statement()).c_str());
  OutputStream out;
  WalkOptions options;
  options.list = ListOptionsFor(common);
  options.limit = kPreviewRows;
  const auto rows = group.Rows();
  PrintRecords(rows.get(), options, &out);
  out.Finish();
  std::printf("%llu rows\n", static_cast<unsigned long long>(count));
  if (rows->address_field().empty()) {
    Tell("warning: no field looks like an e-mail address");
  }
}

void ConfirmSave(const CommonOptions& common, const std::string& name) {
  if (common.yes || !InputIsTerminal() || !ErrorsAreTerminal()) return;
  if (!AskYesNo("Save the group \"" + name + "\"?")) throw Failure(kUsage, "nothing was saved");
}

ExitCode Add(const CommonOptions& common, const SqlArguments& arguments) {
  Catalogue catalogue;
  catalogue.CheckName(arguments.group, nullptr);
  if (arguments.table.empty() == arguments.sql_file.empty()) {
    throw Failure(kUsage, "give --table, perhaps with --where, or --sql");
  }
  if (!arguments.sql_file.empty() && !arguments.where.empty()) {
    throw Failure(kUsage, "--where is for --table; a statement has conditions of its own");
  }
  const Ref<CDataSource> source = SourceFor(arguments.source, arguments.group);
  const Ref<CADOGroupProperties> definition = DefinitionFor(source, arguments);
  if (!arguments.no_check) Preview(common, source, definition);
  if (arguments.dry_run) return kDone;
  ConfirmSave(common, arguments.group);
  const std::string id = SaveSqlGroup(&catalogue, arguments.group, source, definition);
  std::printf("saved as %s\n", id.c_str());
  return kDone;
}

const GroupEntry& GetSql(const Catalogue& catalogue, const std::string& group) {
  const GroupEntry& entry = catalogue.Get(group);
  if (entry.type != groups::GroupType::kAdoRecordset) {
    throw Failure(kUsage, "group \"" + entry.name + "\" is no query on a database");
  }
  return entry;
}

ExitCode Show(const CommonOptions& common, const std::string& name) {
  const Catalogue catalogue;
  const GroupEntry& entry = GetSql(catalogue, name);
  PrintProperties(DescribeSqlGroup(entry), common.json);
  return kDone;
}

ExitCode Edit(const CommonOptions& common, SqlArguments arguments) {
  Catalogue catalogue;
  const GroupEntry entry = GetSql(catalogue, arguments.group);
  SqlGroup old(entry);
  const Ref<CADOGroupProperties>& was = old.properties();
  Ref<CDataSource> source = old.source();
  if (!arguments.source.empty()) source = SourceFor(arguments.source, entry.name);
  Ref<CADOGroupProperties> definition = was;
  const bool redefine = !arguments.table.empty() || !arguments.sql_file.empty() ||
                        !arguments.where.empty() || arguments.no_where;
  if (!redefine && arguments.source.empty()) {
    throw Failure(kUsage,
                  "nothing to change: give --source, --table, --where, --no-where or --sql");
  }
  if (redefine) {
    if (!arguments.table.empty() && !arguments.sql_file.empty()) {
      throw Failure(kUsage, "--table and --sql exclude each other");
    }
    if (!arguments.sql_file.empty() && (!arguments.where.empty() || arguments.no_where)) {
      throw Failure(kUsage, "--where is for --table; a statement has conditions of its own");
    }
    if (arguments.table.empty() && arguments.sql_file.empty()) {
      if (was->GetFilterMethod() != 0) {
        throw Failure(kUsage, "the group is a statement; give --table with the conditions");
      }
      arguments.table = UnquotedTable(*was);
    }
    definition = DefinitionFor(source, arguments);
  }
  if (!arguments.no_check) Preview(common, source, definition);
  if (arguments.dry_run) return kDone;
  ConfirmSave(common, entry.name);
  if (source->GetId().empty()) SaveNewSource(source);
  definition->SetId(entry.properties_id);
  definition->SetParameters(was->GetParameters());
  definition->SaveADOGroupProperties();
  if (source->GetId() != entry.data_source_id) catalogue.SetSource(entry, source->GetId());
  std::printf("saved\n");
  return kDone;
}

ExitCode Delete(const CommonOptions& common, const std::string& group) {
  Catalogue catalogue;
  const GroupEntry entry = GetSql(catalogue, group);
  Confirm(common, "Delete the group \"" + entry.name + "\"? Its database stays as it is.");
  catalogue.Delete(entry);
  return kDone;
}

void AddDefinitionOptions(Verb verb, CommonOptions* common, SqlArguments* arguments) {
  verb.AddOption("--table", &arguments->table, "The table, as the database calls it")
      .TypeName("TABLE");
  verb.AddOption("--where", &arguments->where,
                 "Only rows for which this holds: FIELD OPERATOR VALUE, joined by and / or; "
                 "given again, all must hold")
      .TypeName("CONDITION")
      .Repeats();
  verb.AddOption("--sql", &arguments->sql_file,
                 "File that holds a SELECT statement; - is standard input")
      .TypeName("FILE");
  verb.AddFlag("--no-check", &arguments->no_check, "Save without connecting and without preview");
  verb.AddFlag("--dry-run", &arguments->dry_run, "Show the preview only");
  AddYesOption(verb, common);
}

}  // namespace

std::string UnquotedTable(const CADOGroupProperties& definition) {
  std::string table(TrimBlanks(definition.GetTable()));
  const std::string right = definition.GetRightBrace();
  if (right.empty()) return table;
  const std::string between = right + "." + definition.GetLeftBrace();
  for (std::size_t at = 0; (at = table.find(between, at)) != table.npos; ++at) {
    table.replace(at, between.size(), ".");
  }
  for (std::size_t at = 0; (at = table.find(right + right, at)) != table.npos; at += right.size()) {
    table.erase(at, right.size());
  }
  return table;
}

std::vector<std::pair<std::string, std::string>> DescribeSqlGroup(const GroupEntry& entry) {
  const SqlGroup group(entry);
  const Ref<CADOGroupProperties>& definition = group.properties();
  std::vector<std::pair<std::string, std::string>> lines = {
      {"name", entry.name},
      {"id", entry.id},
      {"kind", "database"},
      {"source", group.source()->GetName()},
      {"connection", ado::Redacted(group.source()->GetConnectionString())}};
  if (definition->GetFilterMethod() == 0) {
    lines.push_back({"table", UnquotedTable(*definition)});
    std::string conditions;
    const auto filters = definition->GetFilters();
    for (std::int32_t i = 1; i <= filters->Count(); ++i) {
      const auto filter = filters->Item(i);
      if (i > 1) conditions += " " + filter->GetLogicalOp() + " ";
      // As --where takes it back.
      std::string name = filter->GetFieldName();
      if (name.find(' ') != name.npos && name[0] != '"') name = '"' + Doubled(name, "\"") + '"';
      conditions += name + " " + filter->GetOpSql() + " " + filter->GetValue();
    }
    lines.push_back({"where", conditions});
  }
  lines.push_back({"statement", group.Statement()});
  return lines;
}

Ref<CDataSource> SourceFor(const std::string& source, const std::string& name) {
  const DataSources sources;
  if (const auto found = sources.Find(source)) return found;
  if (!IsConnectionString(source)) return sources.Get(source);
  RefusePassword(source);
  if (const auto found = sources.WithConnection(source)) return found;
  const auto made = MakeObject<CDataSource>();
  made->SetName(sources.FreeName(name));
  made->SetConnectionString(source);
  return made;
}

std::string SaveSqlGroup(Catalogue* catalogue, const std::string& name,
                         const Ref<CDataSource>& source,
                         const Ref<CADOGroupProperties>& definition) {
  const bool new_source = source->GetId().empty();
  if (new_source) SaveNewSource(source);
  const std::string source_id = source->GetId();
  std::string definition_id;
  try {
    definition_id = support::NewIdentifier();
    const std::string id = support::NewIdentifier();
    if (id.empty() || definition_id.empty()) {
      throw Failure(kUnavailable, "no new identifier can be made");
    }
    definition->SetId(definition_id);
    definition->SaveADOGroupProperties();
    catalogue->AddSql(id, name, source_id, definition_id);
    return id;
  } catch (...) {
    const std::exception_ptr failure = std::current_exception();
    try {
      if (!definition_id.empty()) {
        MakeObject<CADOGroupProperties>()->DeleteADOGroupProperties(definition_id);
      }
      if (new_source) MakeObject<CDataSource>()->DeleteDataSource(source_id);
    } catch (const std::exception&) {
      // What is left is used by no group.
    }
    std::rethrow_exception(failure);
  }
}

void AddSqlVerbs(Verb app, CommonOptions* common) {
  const Verb sql =
      app.AddVerb("sql", "Groups that are queries on a database: add, show, edit, delete");
  sql.NeedsVerb();
  sql.Footer("Example:\n  pvgroup sql add customers --source shop --table customers");

  auto added = std::make_shared<SqlArguments>();
  const Verb add = AddVerb(
      sql, common, "add",
      "Make a group of a table or a query, after showing its statement, first rows and count.\n\n"
      "Field names of --where must be fields of the table; values are quoted for you, by what the\n"
      "field holds. Names with blanks or signs stand between quotes, a value with \"and\" or "
      "\"or\"\n"
      "in it between apostrophes. Operators: = <> < <= > >= like, in (...), between X and Y, is\n"
      "null, and the last four with not. For anything else there is --sql.",
      {"sql add customers --source shop --table customers",
       "sql add 'Customers DE' --source shop --table customers --where \"country = DE and age >= "
       "18\"",
       "sql add buyers --source shop --sql buyers.sql"});
  add.AddOption("GROUP", &added->group, "The new group's name").Required();
  add.AddOption("--source", &added->source,
                "A saved data source, or a connection string, which is saved under the group's "
                "name")
      .Required()
      .TypeName("SOURCE");
  AddDefinitionOptions(add, common, added.get());
  add.Runs([=] { return Add(*common, *added); });

  auto shown = std::make_shared<std::string>();
  const Verb show = AddVerb(sql, common, "show",
                            "Tell what a group is a query on: source, table, conditions, statement",
                            {"sql show customers"});
  show.AddOption("GROUP", shown.get(), "The group").Required();
  show.AddFlag("--json", &common->json, "Print JSON");
  show.Runs([=] { return Show(*common, *shown); });

  auto edited = std::make_shared<SqlArguments>();
  const Verb edit = AddVerb(sql, common, "edit",
                            "Change what a group is a query on, after showing what it will give. "
                            "What is not named stays;\n"
                            "--where replaces all conditions.",
                            {"sql edit customers --where \"country in ('DE', 'AT')\"",
                             "sql edit customers --no-where --source newshop"});
  edit.AddOption("GROUP", &edited->group, "The group").Required();
  edit.AddOption("--source", &edited->source, "Another data source, or a connection string")
      .TypeName("SOURCE");
  AddDefinitionOptions(edit, common, edited.get());
  edit.AddFlag("--no-where", &edited->no_where, "Without conditions");
  edit.Runs([=] { return Edit(*common, *edited); });

  auto deleted = std::make_shared<std::string>();
  const Verb remove = AddVerb(sql, common, "delete",
                              "Delete a group that is a query; its database and data source stay.\n"
                              "Asks first, unless --yes is given.",
                              {"sql delete customers --yes"});
  remove.AddOption("GROUP", deleted.get(), "The group").Required();
  AddYesOption(remove, common);
  remove.Runs([=] { return Delete(*common, *deleted); });
}

}  // namespace pv::cli
