// Verbs about any table file of the family: table info, show and verify. Tested by tests/cli.
#include "cli/groups/table_report.h"
#include "cli/groups/walk.h"
#include "cli/output/output_stream.h"
#include "cli/verbs/verbs.h"

namespace pv::cli {
namespace {

struct TableArguments {
  std::string file;
  std::string tag;
  std::string format;
  std::vector<std::string> fields;
  std::int64_t limit = -1;
  bool deleted = false;
};

// The numbers of the visited records, one a line.
void PrintRecordNumbers(const Table& table, std::int64_t limit, OutputStream* out) {
  if (limit == 0) return;
  std::int64_t printed = 0;
  ForEachRecord(table, [&] {
    out->Write(std::to_string(engine::d4recNoLow(table.handle())) + "\n");
    return ++printed != limit;
  });
}

ExitCode Show(const CommonOptions& common, const TableArguments& arguments) {
  const Session session;
  Table table(session, arguments.file, Access::kShared, arguments.tag);
  OutputStream out;
  if (arguments.format == "recno") {
    PrintRecordNumbers(table, arguments.limit, &out);
  } else {
    WalkOptions options;
    options.list = ListOptionsFor(common);
    if (arguments.format == "csv") options.list.form = ListForm::kCsv;
    if (arguments.format == "json") options.list.form = ListForm::kJson;
    options.fields = arguments.fields;
    options.limit = arguments.limit;
    options.deleted = arguments.deleted;
    TableCursor cursor(&table);
    PrintRecords(&cursor, options, &out);
  }
  out.Finish();
  return kDone;
}

}  // namespace

void AddTableVerbs(Verb app, CommonOptions* common) {
  const Verb tables =
      app.AddVerb("table", "Look into any table file of the FoxPro family: info, show, verify");
  tables.NeedsVerb();
  tables.Footer("Example:\n  pvgroup table show contacts.dbf --tag NAME");
  auto arguments = std::make_shared<TableArguments>();
  const auto file_argument = [arguments](Verb verb) {
    verb.AddOption("FILE", &arguments->file, "The data file (.dbf or .pvg)").Required();
  };

  const Verb info =
      AddVerb(tables, common, "info", "Tell what a table is made of", {"table info contacts.dbf"});
  file_argument(info);
  info.AddFlag("--json", &common->json, "Print JSON");
  info.Runs([=] {
    const Session session;
    Table table(session, arguments->file, Access::kShared);
    return ReportTable(&table, {}, common->json);
  });

  const Verb show = AddVerb(
      tables, common, "show",
      "Print the records of a table, in natural order or in that of a tag.\n\n"
      "The format recno prints the number of every record visited, deleted ones included, one a\n"
      "line, so that the order of a tag can be compared with what other programs make of it.",
      {"table show contacts.dbf", "table show contacts.dbf --tag NAME --format recno"});
  file_argument(show);
  show.AddOption("--tag", &arguments->tag, "Walk in the order of this tag").TypeName("TAG");
  show.AddOption("--format", &arguments->format, "recno, csv or json")
      .OneOf({"recno", "csv", "json"})
      .TypeName("FORMAT");
  show.AddOption("--fields", &arguments->fields, "Only these fields, in this order")
      .SplitAt(',')
      .TypeName("FIELD,...");
  show.AddOption("--limit", &arguments->limit, "Print at most this many")
      .NotNegative()
      .TypeName("N");
  show.AddFlag("--deleted", &arguments->deleted, "Show deleted records too");
  AddListFormOptions(show, common);
  show.Runs([=] { return Show(*common, *arguments); });

  const Verb verify = AddVerb(tables, common, "verify", "Check a table and name each fault",
                              {"table verify contacts.dbf"});
  file_argument(verify);
  verify.AddFlag("--json", &common->json, "Print JSON");
  verify.Runs([=] {
    const Session session;
    const Table table(session, arguments->file, Access::kShared);
    return VerifyTable(table, arguments->file, common->json);
  });
}

}  // namespace pv::cli
