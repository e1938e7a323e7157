// Verbs that change recipients: add, set and remove. Tested by tests/cli.
#include <cstdio>

#include "base/text.h"
#include "cli/fields/address.h"
#include "cli/fields/record.h"
#include "cli/groups/address_tag.h"
#include "cli/groups/catalogue.h"
#include "cli/groups/walk.h"
#include "cli/output/terminal.h"
#include "cli/verbs/verbs.h"

namespace pv::cli {
namespace {

struct EditArguments {
  std::string group;
  std::string address;
  std::vector<std::string> values;  // FIELD=TEXT, or addresses
};

// The group's table, open for editing beside others.
struct OpenGroup {
  explicit OpenGroup(const std::string& group)
      : entry(catalogue.GetNative(group)),
        table(session, entry.table_path(), Access::kShared),
        fields(FieldsOf(table.handle())),
        address_field(AddressFieldOf(table.handle())) {
    if (address_field.empty()) throw Failure(kUsage, "the group has no address field");
  }

  Catalogue catalogue;
  GroupEntry entry;
  Session session;
  Table table;
  std::vector<RecordField> fields;
  std::string address_field;
};

struct Assignment {
  const RecordField* field;
  std::string text;
};

std::vector<Assignment> ParseAssignments(const OpenGroup& group,
                                         const std::vector<std::string>& values) {
  std::vector<Assignment> assignments;
  for (const std::string& value : values) {
    const std::size_t equals = value.find('=');
    if (equals == std::string::npos) {
      throw Failure(kUsage, "\"" + value + "\" does not read FIELD=VALUE");
    }
    const std::string name = value.substr(0, equals);
    const RecordField* field = FindField(group.fields, name);
    if (field == nullptr) throw Failure(kUsage, "the group has no field " + name);
    if (!FieldWriter::CanWrite(field->shape.type)) {
      throw Failure(kUsage, "field " + field->name + " cannot be written");
    }
    if (!IsValidUtf8(value)) throw Failure(kUsage, name + ": the value is not valid UTF-8");
    assignments.push_back({field, value.substr(equals + 1)});
  }
  return assignments;
}

// Writes the values into the record buffer; a refused one is the command line's fault.
void Assign(const OpenGroup& group, const std::vector<Assignment>& assignments) {
  const auto encoder =
      std::make_shared<const PageEncoder>(engine::d4codePage(group.table.handle()));
  for (const Assignment& assignment : assignments) {
    FieldWriter writer(*assignment.field, ColumnReading{}, encoder);
    std::string reason;
    if (!writer.Write(assignment.text, &reason)) throw Failure(kUsage, reason);
  }
  group.table.CheckPending();
}

// Puts a new address into the form in which it is stored, or refuses it.
void CheckAddress(OpenGroup* group, std::string* address, std::int32_t own_record) {
  *address = std::string(TrimBlanks(*address));
  if (const char* fault = AddressFault(*address)) {
    throw Failure(kUsage, "\"" + *address + "\": " + fault);
  }
  const std::int32_t record = FindAddress(&group->table, *address);
  if (record != 0 && record != own_record) {
    throw Failure(kFindings, *address + " is in group \"" + group->entry.name + "\" already");
  }
}

void RefuseDuplicate(const OpenGroup& group, std::int32_t code, const std::string& address) {
  if (group.table.Checked(code) == engine::kUniqueKey) {
    throw Failure(kFindings, address + " is in group \"" + group.entry.name + "\" already");
  }
}

ExitCode Add(const EditArguments& arguments) {
  OpenGroup group(arguments.group);
  std::vector<std::string> values = arguments.values;
  // An address alone stands for Email=ADDRESS.
  if (values.front().find('=') == std::string::npos) {
    values.front() = group.address_field + "=" + values.front();
  }
  std::vector<Assignment> assignments = ParseAssignments(group, values);
  Assignment* address = nullptr;
  for (Assignment& assignment : assignments) {
    if (assignment.field->name == group.address_field) address = &assignment;
  }
  if (address == nullptr) {
    throw Failure(kUsage, "the address is missing: " + group.address_field + "=…");
  }
  CheckAddress(&group, &address->text, 0);
  engine::d4appendStart(group.table.handle(), 0);
  Assign(group, assignments);
  RefuseDuplicate(group, engine::d4append(group.table.handle()), address->text);
  group.table.Close();
  return kDone;
}

std::int32_t GoToAddress(OpenGroup* group, const std::string& address) {
  const std::int32_t record = FindAddress(&group->table, address);
  if (record == 0) {
    throw Failure(kFindings, address + " is not in group \"" + group->entry.name + "\"");
  }
  return record;
}

ExitCode Set(const EditArguments& arguments) {
  OpenGroup group(arguments.group);
  std::vector<Assignment> assignments = ParseAssignments(group, arguments.values);
  const std::int32_t record = GoToAddress(&group, arguments.address);
  std::string new_address = arguments.address;
  for (Assignment& assignment : assignments) {
    if (assignment.field->name != group.address_field) continue;
    CheckAddress(&group, &assignment.text, record);
    new_address = assignment.text;
  }
  group.table.Checked(engine::d4go(group.table.handle(), record));
  Assign(group, assignments);
  RefuseDuplicate(group, engine::d4writeVB(group.table.handle(), record), new_address);
  group.table.Close();
  return kDone;
}

ExitCode Remove(const EditArguments& arguments) {
  OpenGroup group(arguments.group);
  std::size_t missing = 0;
  for (const std::string& address : arguments.values) {
    if (FindAddress(&group.table, address) == 0) {
      Tell(address + " is not in group \"" + group.entry.name + "\"");
      ++missing;
      continue;
    }
    group.table.Checked(engine::d4delete(group.table.handle()));
  }
  group.table.Close();
  return missing > 0 ? kFindings : kDone;
}

}  // namespace

void AddEditVerbs(Verb app, CommonOptions* common) {
  auto arguments = std::make_shared<EditArguments>();
  const auto group_argument = [arguments](Verb verb) {
    verb.AddOption("GROUP", &arguments->group, "The group").Required();
  };

  const Verb add = AddVerb(
      app, common, "add",
      "Add a recipient. The first value may be the address alone. Dates are written 2024-02-29,\n"
      "numbers with a point, logical values yes or no. A value that does not fit its field is\n"
      "refused, and so is an address that the group has already, in whatever letter case.",
      {"add customers ann@example.org First=Ann Joined=2026-11-21",
       "add customers Email=bob@example.org City=Zürich"});
  group_argument(add);
  add.AddOption("VALUE", &arguments->values, "FIELD=VALUE, or the address").Required();
  add.Runs([=] { return Add(*arguments); });

  const Verb set =
      AddVerb(app, common, "set", "Change fields of a recipient. An empty value empties the field.",
              {"set customers ann@example.org City=Köln Balance=12.50",
               "set customers ann@example.org Email=ann@example.net"});
  group_argument(set);
  set.AddOption("ADDRESS", &arguments->address, "The recipient").Required();
  set.AddOption("VALUE", &arguments->values, "FIELD=VALUE").Required();
  set.Runs([=] { return Set(*arguments); });

  const Verb remove = AddVerb(
      app, common, "remove",
      "Mark recipients deleted. Their records stay in the file until the group is compacted.",
      {"remove customers ann@example.org bob@example.org"});
  group_argument(remove);
  remove.AddOption("ADDRESS", &arguments->values, "The recipients").Required();
  remove.Runs([=] { return Remove(*arguments); });
}

}  // namespace pv::cli
