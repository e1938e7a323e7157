// Verbs that print recipients: show and find. Tested by tests/cli.
#include "base/text.h"
#include "cli/groups/address_tag.h"
#include "cli/groups/catalogue.h"
#include "cli/groups/opened_group.h"
#include "cli/groups/walk.h"
#include "cli/output/output_stream.h"
#include "cli/verbs/verbs.h"

namespace pv::cli {
namespace {

struct ShowArguments {
  std::string group;
  std::vector<std::string> fields;
  std::int64_t limit = -1;
  std::int64_t offset = 0;
  bool deleted = false;
  bool natural = false;
};

WalkOptions WalkOptionsFor(const CommonOptions& common, const ShowArguments& arguments) {
  WalkOptions options;
  options.list = ListOptionsFor(common);
  options.fields = arguments.fields;
  options.limit = arguments.limit;
  options.offset = arguments.offset;
  options.deleted = arguments.deleted;
  return options;
}

ExitCode Show(const CommonOptions& common, const ShowArguments& arguments) {
  const Catalogue catalogue;
  OpenedGroup group(catalogue, catalogue.Get(arguments.group),
                    {.by_address = !arguments.natural, .deleted = arguments.deleted});
  OutputStream out;
  PrintRecords(group.cursor(), WalkOptionsFor(common, arguments), &out);
  out.Finish();
  return kDone;
}

struct FindArguments : ShowArguments {
  std::string what;
  bool prefix = false;
};

bool BeginsWith(std::string_view text, const std::string& lower_prefix) {
  return ToLower(text).compare(0, lower_prefix.size(), lower_prefix) == 0;
}

ExitCode Find(const CommonOptions& common, const FindArguments& arguments) {
  const Catalogue catalogue;
  const std::size_t equals = arguments.what.find('=');
  OpenedGroup::Options wanted_rows;
  wanted_rows.deleted = arguments.deleted;
  if (equals == std::string::npos) {
    wanted_rows.find = true;
    wanted_rows.text = arguments.what;
  } else if (!arguments.prefix && arguments.what.find('@') == std::string::npos) {
    // With both signs it may be an address.
    wanted_rows.find = true;
    wanted_rows.field = arguments.what.substr(0, equals);
    wanted_rows.text = arguments.what.substr(equals + 1);
  }
  OpenedGroup group(catalogue, catalogue.Get(arguments.group), wanted_rows);
  GroupCursor* cursor = group.cursor();
  std::optional<std::size_t> field;
  if (equals != std::string::npos) field = cursor->Find(arguments.what.substr(0, equals));
  const WalkOptions options = WalkOptionsFor(common, arguments);
  OutputStream out;
  std::uint64_t found = 0;
  if (!field && !arguments.prefix) {
    if (cursor->FindAddress(arguments.what)) {
      PrintCurrentRecord(cursor, options, &out);
      found = 1;
    }
  } else {
    const std::string wanted = field ? arguments.what.substr(equals + 1) : arguments.what;
    if (!field) field = cursor->Find(cursor->address_field());
    if (!field) throw Failure(kUsage, "the group has no address field");
    const std::string lower(TrimBlanks(ToLower(wanted)));
    if (!arguments.deleted && group.table() != nullptr) group.table()->SelectTag(kAddressTag);
    Cell cell;
    found = PrintRecords(cursor, options, &out, [&] {
      cursor->Read(*field, &cell);
      return arguments.prefix ? BeginsWith(TrimBlanks(cell.text), lower)
                              : EqualsIgnoreCase(TrimBlanks(cell.text), lower);
    });
  }
  // Without a match a list still has its heading in the forms for programs, nothing otherwise.
  if (found > 0 || common.json || common.csv) out.Finish();
  if (found == 0 && !common.json && !common.csv) {
    throw Failure(kFindings, "nothing found for \"" + arguments.what + "\"");
  }
  return found > 0 ? kDone : kFindings;
}

void AddShowOptions(Verb verb, CommonOptions* common, ShowArguments* arguments) {
  verb.AddOption("GROUP", &arguments->group, "The group").Required();
  verb.AddOption("--fields", &arguments->fields, "Only these fields, in this order")
      .SplitAt(',')
      .TypeName("FIELD,...");
  verb.AddOption("--limit", &arguments->limit, "Print at most this many")
      .NotNegative()
      .TypeName("N");
  verb.AddOption("--offset", &arguments->offset, "Pass over this many first")
      .NotNegative()
      .TypeName("N");
  verb.AddFlag("--deleted", &arguments->deleted,
               "Show deleted records too, in the order of the file");
  AddListFormOptions(verb, common);
}

}  // namespace

void AddRecordVerbs(Verb app, CommonOptions* common) {
  auto show = std::make_shared<ShowArguments>();
  const Verb verb = AddVerb(
      app, common, "show",
      "Print the recipients of a group in the order of their addresses; those of a query in the\n"
      "order in which the database gives them.\n\n"
      "On a terminal this is an aligned table; elsewhere one line a recipient, with tabs between\n"
      "the fields and control characters as escapes.",
      {"show customers --limit 10", "show customers --fields Email,City --csv"});
  AddShowOptions(verb, common, show.get());
  verb.AddFlag("--natural", &show->natural, "In the order of the file");
  verb.Runs([=] { return Show(*common, *show); });

  auto find = std::make_shared<FindArguments>();
  const Verb finder =
      AddVerb(app, common, "find",
              "Print the recipients that match. WHAT is an address, or FIELD=TEXT; letter case is\n"
              "ignored. Exits with 1 when there are none.",
              {"find customers ann@example.org", "find customers City=Zürich",
               "find customers --prefix ann"});
  AddShowOptions(finder, common, find.get());
  finder.AddOption("WHAT", &find->what, "An address, or FIELD=TEXT").Required();
  finder.AddFlag("--prefix", &find->prefix, "Find what begins with the text");
  finder.Runs([=] { return Find(*common, *find); });
}

}  // namespace pv::cli
