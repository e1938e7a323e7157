// The verb export. Tested by tests/cli.
#include <cstdio>

#include "cli/groups/catalogue.h"
#include "cli/groups/opened_group.h"
#include "cli/groups/walk.h"
#include "cli/output/output_stream.h"
#include "cli/verbs/verbs.h"

namespace pv::cli {
namespace {

struct ExportArguments {
  std::string group;
  std::string file = "-";
  std::string format = "csv";
  std::vector<std::string> fields;
  bool raw = false;
};

ExitCode Export(const CommonOptions& common, const ExportArguments& arguments) {
  const Catalogue catalogue;
  OpenedGroup group(catalogue, catalogue.Get(arguments.group), {});
  WalkOptions options;
  options.list.form = arguments.format == "json"     ? ListForm::kJson
                      : arguments.format == "ndjson" ? ListForm::kNdjson
                                                     : ListForm::kCsv;
  options.list.raw = arguments.raw;
  options.fields = arguments.fields;
  std::unique_ptr<OutputStream> out;
  if (arguments.file == "-") {
    out = std::make_unique<OutputStream>();
  } else {
    const bool replaces = OutputStream::WouldReplace(arguments.file);
    if (replaces) Confirm(common, "Replace " + arguments.file + "?");
    out = OutputStream::ToFile(arguments.file, replaces);
  }
  const std::uint64_t count = PrintRecords(group.cursor(), options, out.get());
  out->Finish();
  if (arguments.file != "-") {
    std::printf("%llu recipients exported to %s\n", static_cast<unsigned long long>(count),
                arguments.file.c_str());
  }
  return kDone;
}

}  // namespace

void AddExportVerb(Verb app, CommonOptions* common) {
  auto arguments = std::make_shared<ExportArguments>();
  const Verb verb = AddVerb(
      app, common, "export",
      "Write a whole group, in the order of its file, as CSV, JSON or NDJSON in UTF-8.\n\n"
      "In CSV, text that a spreadsheet would run as a formula (it begins with = + - @, a tab or a\n"
      "carriage return) gets an apostrophe before it, unless --raw is given; numbers stay as they\n"
      "are. An export with --raw can be imported again without a difference. A file appears whole\n"
      "or not at all.",
      {"export customers customers.csv", "export customers --format ndjson | head -n 3"});
  verb.AddOption("GROUP", &arguments->group, "The group").Required();
  verb.AddOption("FILE", &arguments->file, "The file to write; - or nothing: standard output");
  verb.AddOption("--format", &arguments->format, "csv, json or ndjson (default csv)")
      .OneOf({"csv", "json", "ndjson"})
      .TypeName("FORMAT");
  verb.AddOption("--fields", &arguments->fields, "Only these fields, in this order")
      .SplitAt(',')
      .TypeName("FIELD,...");
  verb.AddFlag("--raw", &arguments->raw, "Leave formulas in CSV as they are");
  AddYesOption(verb, common);
  verb.Runs([=] { return Export(*common, *arguments); });
}

}  // namespace pv::cli
