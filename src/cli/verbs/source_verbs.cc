// Verbs about saved data sources: source add, list, show, test and delete. Tested by tests/cli.
#include <algorithm>
#include <cstdio>
#include <map>

#include "ado/secrets.h"
#include "base/text.h"
#include "cli/groups/catalogue.h"
#include "cli/groups/data_sources.h"
#include "cli/groups/sql_group.h"
#include "cli/output/output_stream.h"
#include "cli/output/terminal.h"
#include "cli/verbs/sql_verbs.h"
#include "cli/verbs/verbs.h"
#include "platform/system.h"
#include "support/application.h"

namespace pv::cli {

using ado::CDataSource;
using automation::Ref;

namespace {

struct SourceArguments {
  std::string name;
  std::string connection;
  std::string connection_file;
  std::string password_from;
  std::string cursor;
  std::string lock;
  std::string location;
};

const std::map<std::string, std::int32_t> kCursors = {
    {"forward", 0}, {"keyset", 1}, {"dynamic", 2}, {"static", 3}};
const std::map<std::string, std::int32_t> kLocks = {
    {"read-only", 1}, {"pessimistic", 2}, {"optimistic", 3}, {"batch", 4}};
const std::map<std::string, std::int32_t> kLocations = {{"server", 2}, {"client", 3}};

std::string WordOf(const std::map<std::string, std::int32_t>& words, std::int32_t number) {
  for (const auto& [word, value] : words) {
    if (value == number) return word;
  }
  return std::to_string(number);
}

// Groups of the catalogue that use a source.
std::vector<std::string> GroupsOf(const Catalogue& catalogue, const CDataSource& source) {
  std::vector<std::string> names;
  for (const GroupEntry& entry : catalogue.entries()) {
    if (entry.type == groups::GroupType::kAdoRecordset && entry.data_source_id == source.GetId()) {
      names.push_back(entry.name);
    }
  }
  return names;
}

void Connect(const Ref<CDataSource>& source) {
  SqlGroup(source, automation::MakeObject<ado::CADOGroupProperties>()).Connection();
}

std::string ConnectionOf(const SourceArguments& arguments) {
  if (arguments.connection_file.empty()) {
    RefusePassword(arguments.connection);
    return arguments.connection;
  }
  constexpr std::uint64_t kLargest = 64 * 1024;
  std::string text = Take(platform::ReadWholeFile(platform::CurrentSystem().files,
                                                  arguments.connection_file, kLargest));
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  return text;
}

ExitCode Add(const SourceArguments& arguments, bool check) {
  if (TrimBlanks(arguments.name).empty()) {
    throw Failure(kUsage, "a data source's name cannot be blank");
  }
  if (arguments.connection.empty() == arguments.connection_file.empty()) {
    throw Failure(kUsage, "give a connection string, or --connection-file");
  }
  const DataSources sources;
  if (sources.Find(arguments.name)) {
    throw Failure(kUsage, "there is a data source \"" + arguments.name + "\" already");
  }
  std::string connection = ConnectionOf(arguments);
  if (!IsConnectionString(connection)) {
    throw Failure(kUsage, "a connection string is made of KEY=VALUE; pairs");
  }
  if (!arguments.password_from.empty()) {
    connection = ado::WithPassword(connection, PasswordFrom(arguments.password_from));
  }
  const auto source = automation::MakeObject<CDataSource>();
  source->SetName(arguments.name);
  source->SetConnectionString(connection);
  if (!arguments.cursor.empty()) source->SetCursorType(kCursors.at(arguments.cursor));
  if (!arguments.lock.empty()) source->SetLockType(kLocks.at(arguments.lock));
  if (!arguments.location.empty()) source->SetCursorLocation(kLocations.at(arguments.location));
  if (check) Connect(source);
  SaveNewSource(source);
  std::printf("%s\n", source->GetId().c_str());
  return kDone;
}

ExitCode List(const CommonOptions& common) {
  const DataSources sources;
  const Catalogue catalogue;
  OutputStream out;
  const auto listing = Listing::Make(&out, {{"name"}, {"groups", true}, {"connection"}, {"id"}},
                                     ListOptionsFor(common));
  std::vector<Cell> cells(4);
  for (const auto& source : sources.entries()) {
    cells[0].Set(CellKind::kText, source->GetName());
    cells[1].Set(CellKind::kNumber, std::to_string(GroupsOf(catalogue, *source).size()));
    cells[2].Set(CellKind::kText, ado::Redacted(source->GetConnectionString()));
    cells[3].Set(CellKind::kText, source->GetId());
    listing->Row(cells);
  }
  listing->End();
  out.Finish();
  return kDone;
}

ExitCode Show(const CommonOptions& common, const std::string& name) {
  const auto source = DataSources().Get(name);
  const Catalogue catalogue;
  std::string users;
  for (const std::string& group : GroupsOf(catalogue, *source)) {
    users += (users.empty() ? "" : ", ") + group;
  }
  const std::vector<std::pair<std::string, std::string>> lines = {
      {"name", source->GetName()},
      {"id", source->GetId()},
      {"connection", ado::Redacted(source->GetConnectionString())},
      {"cursor", WordOf(kCursors, source->GetCursorType())},
      {"lock", WordOf(kLocks, source->GetLockType())},
      {"location", WordOf(kLocations, source->GetCursorLocation())},
      {"connect_options", std::to_string(source->GetConnectOptions())},
      {"recordset_options", std::to_string(source->GetRecordSetOptions())},
      {"parameters", source->GetParameters()},
      {"groups", users}};
  PrintProperties(lines, common.json);
  return kDone;
}

ExitCode Delete(const CommonOptions& common, const std::string& name) {
  const auto source = DataSources().Get(name);
  const auto users = GroupsOf(Catalogue(), *source);
  if (!users.empty()) {
    throw Failure(kLocked, "the data source \"" + source->GetName() + "\" is used by group \"" +
                               users.front() + "\"");
  }
  Confirm(common, "Delete the data source \"" + source->GetName() + "\"?");
  const std::string id = source->GetId();
  source->DeleteDataSource(id);
  return kDone;
}

std::vector<std::string> WordsOf(const std::map<std::string, std::int32_t>& words) {
  std::vector<std::string> names;
  for (const auto& word : words) names.push_back(word.first);
  return names;
}

}  // namespace

void SaveNewSource(const Ref<CDataSource>& source) {
  const std::string id = support::NewIdentifier();
  if (id.empty()) throw Failure(kUnavailable, "no new identifier can be made");
  source->SetId(id);
  source->SaveDataSource();
}

void PrintProperties(const std::vector<std::pair<std::string, std::string>>& lines, bool json) {
  OutputStream out;
  if (json) {
    ListOptions list;
    list.form = ListForm::kNdjson;
    std::vector<Column> columns;
    std::vector<Cell> cells;
    for (const auto& [name, value] : lines) {
      columns.push_back({name});
      cells.push_back({CellKind::kText, value});
    }
    const auto listing = Listing::Make(&out, columns, list);
    listing->Row(cells);
    listing->End();
  } else {
    for (const auto& [name, value] : lines) {
      std::string line = name + ":";
      line.resize(std::max<std::size_t>(line.size() + 1, 12), ' ');
      out.Write(line + Harmless(value) + "\n");
    }
  }
  out.Finish();
}

void AddSourceVerbs(Verb app, CommonOptions* common) {
  const Verb sources =
      app.AddVerb("source", "Saved connections to databases: add, list, show, test, delete");
  sources.NeedsVerb();
  sources.Footer("Example:\n  pvgroup source add shop 'Driver=SQLite3;Database=/srv/shop.db'");
  auto arguments = std::make_shared<SourceArguments>();
  auto no_check = std::make_shared<bool>(false);

  const Verb add = AddVerb(
      sources, common, "add",
      "Save a connection to a database, after trying it, and print its ID.\n\n"
      "CONNECTION is what the database's ODBC driver wants, as KEY=VALUE pairs; a value with a\n"
      "semicolon stands in braces. A password does not belong on a command line, where other "
      "users\n"
      "can see it: --password-from says where it comes from, and it is saved with the connection,\n"
      "readable by you alone. A source that is saved without one is opened with the password in\n"
      "PVGROUP_PASSWORD, or in the first line of the file that PVGROUP_PASSWORD_FILE names.",
      {"source add shop 'Driver=SQLite3;Database=/srv/shop.db'",
       "source add crm 'Driver={PostgreSQL Unicode};Server=db;Database=crm;UID=mail' "
       "--password-from prompt"});
  add.AddOption("NAME", &arguments->name, "The new source's name").Required();
  add.AddOption("CONNECTION", &arguments->connection, "The connection string");
  add.AddOption("--connection-file", &arguments->connection_file,
                "File that holds the connection string, perhaps with a password")
      .TypeName("FILE");
  add.AddOption("--password-from", &arguments->password_from,
                "prompt, env:NAME or a file whose first line is the password")
      .TypeName("WHERE");
  add.AddOption("--cursor", &arguments->cursor,
                "For programs: forward, keyset, dynamic (default) or static")
      .OneOf(WordsOf(kCursors))
      .TypeName("KIND");
  add.AddOption("--lock", &arguments->lock,
                "For programs: read-only (default), pessimistic, optimistic or batch")
      .OneOf(WordsOf(kLocks))
      .TypeName("KIND");
  add.AddOption("--location", &arguments->location, "For programs: server (default) or client")
      .OneOf(WordsOf(kLocations))
      .TypeName("WHERE");
  add.AddFlag("--no-check", no_check.get(), "Save without connecting");
  add.Runs([=] { return Add(*arguments, !*no_check); });

  const Verb list =
      AddVerb(sources, common, "list", "List the data sources, without passwords", {"source list"});
  AddListFormOptions(list, common);
  list.Runs([=] { return List(*common); });

  const auto source_argument = [arguments](Verb verb) {
    verb.AddOption("SOURCE", &arguments->name, "The source's name or ID").Required();
  };
  const Verb show = AddVerb(sources, common, "show",
                            "Tell what a data source is made of, without its password, and which\n"
                            "groups use it",
                            {"source show shop"});
  source_argument(show);
  show.AddFlag("--json", &common->json, "Print JSON");
  show.Runs([=] { return Show(*common, arguments->name); });

  const Verb test =
      AddVerb(sources, common, "test",
              "Connect to a data source and say whether that worked. Exits with 3 when not.",
              {"source test shop"});
  source_argument(test);
  test.Runs([=] {
    const auto source = DataSources().Get(arguments->name);
    Connect(source);
    std::printf("connected to %s\n", Harmless(source->GetName()).c_str());
    return kDone;
  });

  const Verb remove =
      AddVerb(sources, common, "delete",
              "Delete a data source that no group uses. Asks first, unless --yes is\n"
              "given.",
              {"source delete shop --yes"});
  source_argument(remove);
  AddYesOption(remove, common);
  remove.Runs([=] { return Delete(*common, arguments->name); });
}

}  // namespace pv::cli
