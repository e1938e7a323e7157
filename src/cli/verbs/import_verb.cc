// The command line of the verb import. Tested by tests/cli.
#include "cli/import/import.h"
#include "cli/paths.h"
#include "cli/verbs/verbs.h"

namespace pv::cli {
namespace {

// What the options say before they are understood.
struct ImportArguments {
  ImportOptions options;
  std::string delimiter, quote, header, decimal, date_order;
  std::string on_duplicate = "skip";
  std::vector<std::string> mappings;
};

char OneCharacter(const std::string& text, const char* option) {
  if (text == "tab" || text == "\\t") return '\t';
  if (text.size() != 1 || static_cast<unsigned char>(text[0]) >= 0x80 || text[0] == '\n' ||
      text[0] == '\r') {
    throw Failure(kUsage, std::string(option) + " takes one ASCII character, or \"tab\"");
  }
  return text[0];
}

ExitCode Run(const CommonOptions& common, const ImportArguments& arguments) {
  ImportOptions options = arguments.options;
  options.json = common.json;
  options.yes = common.yes;
  if (!options.folder.empty()) options.folder = AbsolutePath(options.folder);
  if (!arguments.delimiter.empty()) {
    options.dialect.delimiter = OneCharacter(arguments.delimiter, "--delimiter");
  }
  if (!arguments.quote.empty()) {
    options.dialect.quote =
        arguments.quote == "none" ? '\0' : OneCharacter(arguments.quote, "--quote");
  }
  if (options.dialect.delimiter && options.dialect.delimiter == options.dialect.quote) {
    throw Failure(kUsage, "--delimiter and --quote cannot be the same");
  }
  if (!arguments.header.empty()) options.dialect.header = arguments.header == "yes";
  if (!arguments.decimal.empty()) options.inference.decimal = arguments.decimal[0];
  if (!arguments.date_order.empty()) {
    options.inference.date_order = arguments.date_order == "dmy" ? kDmy : kMdy;
  }
  options.on_duplicate = arguments.on_duplicate == "update"   ? OnDuplicate::kUpdate
                         : arguments.on_duplicate == "reject" ? OnDuplicate::kReject
                                                              : OnDuplicate::kSkip;
  for (const std::string& mapping : arguments.mappings) {
    options.mappings.push_back(ParseMapping(mapping));
  }
  return RunImport(options);
}

}  // namespace

void AddImportVerb(Verb app, CommonOptions* common) {
  auto arguments = std::make_shared<ImportArguments>();
  ImportOptions& options = arguments->options;
  const Verb verb = AddVerb(
      app, common, "import",
      "Import a delimited file into a group, which is made when it is new.\n\n"
      "Delimiter, quotes, encoding and header row are found out and shown before anything is\n"
      "written. For a new group the types and widths of the fields are taken from the whole file:\n"
      "text (memo when longer than 254 bytes, Unicode when the code page lacks a character),\n"
      "numbers, dates, and yes/no values. Dates like 03/04/2020 stay text while nothing in the\n"
      "file tells day from month.\n\n"
      "Every row is accounted for: read = added + updated + skipped + rejected. Empty lines are "
      "no\n"
      "rows. A row is rejected when its address is missing or is none, when it has too many or "
      "too\n"
      "few columns or cannot be read, or when a value does not fit its field; nothing is ever "
      "cut.\n"
      "Rejected rows go, as they were, to FILE.rejected.csv, with line, offset and reason in\n"
      "FILE.rejected.reasons.csv; corrected, they can be imported again.\n\n"
      "An address that the group has already, letter case ignored, is a duplicate, and so is one\n"
      "that comes twice in the file.",
      {"import customers people.csv",
       "import customers people.csv --map 'Zip code=ZIP:text(10)' --map 'Notes='",
       "import customers export.txt --delimiter tab --encoding cp850 --dry-run",
       "import customers - --on-duplicate update <people.csv"});
  verb.AddOption("GROUP", &options.group, "The group").Required();
  verb.AddOption("FILE", &options.file, "The file; - is standard input").Required();
  verb.AddOption("--delimiter", &arguments->delimiter, "Character between columns, or \"tab\"")
      .TypeName("C");
  verb.AddOption("--quote", &arguments->quote, "Character around columns, or \"none\"")
      .TypeName("C");
  verb.AddOption("--encoding", &options.encoding,
                 "utf-8, utf-16, latin1, windows-1252 and other windows-125x, cp437, cp850")
      .TypeName("NAME");
  verb.AddOption("--header", &arguments->header, "Whether the first row names the columns")
      .OneOf({"yes", "no"})
      .TypeName("yes|no");
  verb.AddOption("--map", &arguments->mappings,
                 "COLUMN=FIELD puts a column (by heading or number) into a field; for a new "
                 "group COLUMN=FIELD:TYPE sets the type; COLUMN= leaves the column out")
      .TypeName("COLUMN=FIELD")
      .Repeats();
  verb.AddOption("--date-order", &arguments->date_order, "How dates like 03/04/2020 are meant")
      .OneOf({"dmy", "mdy"})
      .TypeName("dmy|mdy");
  verb.AddOption("--decimal", &arguments->decimal, "Decimal character of numbers: . or ,")
      .OneOf({".", ","})
      .TypeName("C");
  verb.AddOption("--on-duplicate", &arguments->on_duplicate,
                 "What to do with a row whose address is there: skip (default), update, reject")
      .OneOf({"skip", "update", "reject"})
      .TypeName("ACTION");
  verb.AddFlag("--dry-run", &options.dry_run, "Do the same work, but write nothing");
  verb.AddOption("--rejects", &options.rejects, "File for the rejected rows").TypeName("FILE");
  verb.AddOption("--folder", &options.folder, "Folder for a new group's files").TypeName("FOLDER");
  verb.AddFlag("--progress", &options.progress,
               "Tell the progress even when standard error is no terminal");
  verb.AddFlag("--json", &common->json, "Print the account as JSON");
  AddYesOption(verb, common);
  verb.Runs([=] { return Run(*common, *arguments); });
}

}  // namespace pv::cli
