// Verbs about whole groups: list, create, rename, delete, compact, count. Tested by tests/cli.
#include <algorithm>
#include <cstdio>

#include "base/text.h"
#include "cli/fields/record.h"
#include "cli/groups/address_books.h"
#include "cli/groups/catalogue.h"
#include "cli/groups/sql_group.h"
#include "cli/groups/walk.h"
#include "cli/import/import_options.h"
#include "cli/output/output_stream.h"
#include "cli/output/terminal.h"
#include "cli/paths.h"
#include "cli/verbs/verbs.h"

namespace pv::cli {
namespace {

const char* KindText(groups::GroupType type) {
  switch (type) {
    case groups::GroupType::kPvFormat:
      return "table";
    case groups::GroupType::kAdoRecordset:
      return "database";
    case groups::GroupType::kAddressBook:
      return "address book";
  }
  return "unknown";
}

ExitCode List(const CommonOptions& common) {
  const Catalogue catalogue;
  const Session session;
  OutputStream out;
  const auto listing = Listing::Make(
      &out, {{"name"}, {"recipients", true}, {"kind"}, {"id"}, {"folder"}}, ListOptionsFor(common));
  ExitCode code = kDone;
  std::vector<Cell> cells(5);
  for (const GroupEntry& entry : catalogue.entries()) {
    cells[0].Set(CellKind::kText, entry.name);
    cells[1].Set(CellKind::kNone, "");
    if (entry.type == groups::GroupType::kPvFormat) {
      try {
        Table table(session, catalogue.GetNative(entry.id).table_path(), Access::kShared);
        cells[1].Set(CellKind::kNumber, std::to_string(CountLive(&table)));
      } catch (const Failure& failure) {
        if (Catalogue().Find(entry.id) == nullptr) continue;  // it was deleted meanwhile
        Tell(entry.name + ": " + failure.what());
        code = kFindings;
      }
    }
    cells[2].Set(CellKind::kText, KindText(entry.type));
    cells[3].Set(CellKind::kText, entry.id);
    cells[4].Set(CellKind::kText, entry.folder);
    listing->Row(cells);
  }
  listing->End();
  out.Finish();
  return code;
}

struct CreateArguments {
  std::string name;
  std::string folder;
  std::vector<std::string> fields;
};

ExitCode Create(const CreateArguments& arguments) {
  std::vector<engine::FieldRecord> fields;
  bool has_address = false;
  for (const std::string& text : arguments.fields) {
    const FieldDefinition definition = ParseFieldDefinition(text);
    engine::FieldRecord field;
    field.name = ToUpper(definition.name);
    field.type = static_cast<std::int16_t>(definition.shape.type);
    field.length = static_cast<std::uint16_t>(definition.shape.length);
    field.decimals = static_cast<std::uint16_t>(definition.shape.decimals);
    if (field.name == "EMAIL") {
      has_address = true;
      if (definition.shape.type != 'C' || definition.shape.length > kMaxKeyBytes) {
        throw Failure(kUsage, "the field Email must be text of at most " +
                                  std::to_string(kMaxKeyBytes) + " bytes");
      }
    }
    const bool twice = std::any_of(fields.begin(), fields.end(),
                                   [&](const auto& other) { return other.name == field.name; });
    if (twice) throw Failure(kUsage, "the field " + definition.name + " is named twice");
    fields.push_back(std::move(field));
  }
  if (!has_address) {
    engine::FieldRecord address;
    address.name = "EMAIL";
    address.type = 'C';
    address.length = 100;
    fields.insert(fields.begin(), address);
  }
  Catalogue catalogue;
  const Session session;
  const std::string folder = arguments.folder.empty() ? "" : AbsolutePath(arguments.folder);
  const GroupEntry entry = catalogue.Create(session, arguments.name, folder, fields, "EMAIL");
  std::printf("%s\n", entry.id.c_str());
  return kDone;
}

ExitCode Delete(const CommonOptions& common, const std::string& group) {
  Catalogue catalogue;
  const GroupEntry entry = catalogue.Get(group);
  Confirm(common,
          "Delete the group \"" + entry.name +
              (entry.type == groups::GroupType::kAdoRecordset ? "\"? Its database stays as it is."
                                                              : "\" and its files?"));
  catalogue.Delete(entry);
  return kDone;
}

ExitCode Compact(const std::string& group) {
  Catalogue catalogue;
  const GroupEntry& entry = catalogue.GetNative(group);
  const auto records = [&entry] {
    const Session session;
    const Table table(session, entry.table_path(), Access::kShared);
    return table.Checked(engine::d4recCountDo(table.handle()));
  };
  const std::int32_t before = records();
  catalogue.Compact(entry);
  const std::int32_t after = records();
  std::printf("%d records kept, %d deleted records removed\n", after, before - after);
  return kDone;
}

std::uint64_t CountOf(const Catalogue& catalogue, const GroupEntry& entry, bool all) {
  if (entry.type == groups::GroupType::kAdoRecordset) return SqlGroup(entry).Count();
  if (entry.type == groups::GroupType::kAddressBook) return CountContacts(entry);
  const Session session;
  Table table(session, catalogue.GetNative(entry.id).table_path(), Access::kShared);
  const std::int64_t count =
      all ? table.Checked(engine::d4recCountDo(table.handle())) : CountLive(&table);
  return static_cast<std::uint64_t>(count);
}

ExitCode Count(const CommonOptions& common, const std::string& group, bool all) {
  const Catalogue catalogue;
  const GroupEntry& entry = catalogue.Get(group);
  const std::uint64_t count = CountOf(catalogue, entry, all);
  if (common.json) {
    OutputStream out;
    ListOptions list;
    list.form = ListForm::kNdjson;
    const auto listing = Listing::Make(&out, {{"group"}, {"count"}}, list);
    listing->Row({{CellKind::kText, entry.name}, {CellKind::kNumber, std::to_string(count)}});
    listing->End();
    out.Finish();
  } else {
    std::printf("%llu\n", static_cast<unsigned long long>(count));
  }
  return kDone;
}

}  // namespace

void AddGroupVerbs(Verb app, CommonOptions* common) {
  const Verb list = AddVerb(app, common, "list", "List the groups", {"list", "list --json"});
  AddListFormOptions(list, common);
  list.Runs([=] { return List(*common); });

  auto create = std::make_shared<CreateArguments>();
  const Verb verb = AddVerb(
      app, common, "create",
      "Make an empty group and print its ID.\n\n"
      "Each FIELD is NAME:TYPE, NAME:TYPE(LENGTH) or NAME:TYPE(LENGTH,DECIMALS); a name has at\n"
      "most ten letters, digits and underscores. Types: text or C (bytes), unicode or W\n"
      "(characters), number or N, float or F, integer or I, double or B, currency or Y, date or "
      "D,\n"
      "datetime or T, logical or L, memo or M, binary or Z, memobinary or X. Without a type a\n"
      "field is text of 50 bytes. The field Email, text of 100 bytes, is added when it is "
      "missing;\n"
      "it has a tag of the same name, in which no address can be twice.",
      {"create customers First:text(40) Last:text(40) Joined:date 'Balance:number(10,2)'",
       "create vips --folder /srv/mailing"});
  verb.AddOption("NAME", &create->name, "The new group's name").Required();
  verb.AddOption("FIELD", &create->fields, "The fields");
  verb.AddOption("--folder", &create->folder,
                 "Folder for the group's files, if not the data folder")
      .TypeName("FOLDER");
  verb.Runs([=] { return Create(*create); });

  auto names = std::make_shared<std::vector<std::string>>(2);
  const auto group_argument = [names](Verb to) {
    to.AddOption("GROUP", &(*names)[0], "The group").Required();
  };

  const Verb rename = AddVerb(app, common, "rename", "Give a group another name",
                              {"rename customers 'Customers 2026'"});
  group_argument(rename);
  rename.AddOption("NAME", &(*names)[1], "The new name").Required();
  rename.Runs([=] {
    Catalogue catalogue;
    catalogue.Rename(catalogue.Get((*names)[0]), (*names)[1]);
    return kDone;
  });

  const Verb remove = AddVerb(app, common, "delete",
                              "Delete a group and its files. Asks first, unless --yes is given.",
                              {"delete customers --yes"});
  group_argument(remove);
  AddYesOption(remove, common);
  remove.Runs([=] { return Delete(*common, (*names)[0]); });

  const Verb compact =
      AddVerb(app, common, "compact",
              "Remove deleted records and wasted memo space for good. Nobody else\n"
              "may have the group open.",
              {"compact customers"});
  group_argument(compact);
  compact.Runs([=] { return Compact((*names)[0]); });

  auto all = std::make_shared<bool>(false);
  const Verb count = AddVerb(app, common, "count", "Print the number of recipients of a group",
                             {"count customers"});
  group_argument(count);
  count.AddFlag("--all", all.get(), "Count the records marked deleted too");
  count.AddFlag("--json", &common->json, "Print JSON");
  count.Runs([=] { return Count(*common, (*names)[0], *all); });
}

}  // namespace pv::cli
