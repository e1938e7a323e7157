// Verbs about groups that are address books: book add, list, show, edit, delete. Tested by
// tests/cli.
#include "cli/verbs/book_verbs.h"

#include <rapidjson/prettywriter.h>

#include <cstdio>
#include <optional>

#include "cli/groups/address_books.h"
#include "cli/output/json_text.h"
#include "cli/output/output_stream.h"
#include "cli/output/terminal.h"
#include "pvgroupman/addressbook/address_book_source.h"
#include "support/application.h"

namespace pv::cli {
namespace {

using automation::MakeObject;

struct BookArguments {
  std::string group;
  std::optional<std::string> format;
  std::optional<std::string> location;
  std::vector<std::string> categories;
  std::vector<std::string> lists;
  bool no_categories = false;
  bool no_lists = false;
  bool unchecked = false;
};

// Refuses settings under which the address book cannot be read.
void CheckSettings(const BookSettings& settings) {
  const addressbook::ConverterLink link = LinkTo(settings.format, settings.location);
  link.Count();
  CheckNames(link, settings);
  TellWarnings(link.Warnings());
}

ExitCode Add(const BookArguments& arguments) {
  const Catalogue catalogue;
  catalogue.CheckName(arguments.group, nullptr);
  const BookSettings settings = {FormatCode(*arguments.format), KeptLocation(*arguments.location),
                                 arguments.categories, arguments.lists};
  if (!arguments.unchecked) CheckSettings(settings);
  const std::string id = support::NewIdentifier();
  const std::string source = support::NewIdentifier();
  if (id.empty() || source.empty()) throw Failure(kUnavailable, "no new identifier can be made");
  SaveSettings(source, settings);
  try {
    MakeObject<groups::Groups>()->AddGroup(id, arguments.group, groups::GroupType::kAddressBook,
                                           source, source, "");
  } catch (...) {
    MakeObject<addressbook::CAddressBookSource>()->DeleteAddressBookSource(source);
    throw;
  }
  std::printf("%s\n", id.c_str());
  return kDone;
}

ExitCode List(const CommonOptions& common) {
  const Catalogue catalogue;
  OutputStream out;
  const auto listing =
      Listing::Make(&out, {{"name"}, {"format"}, {"location"}, {"categories"}, {"lists"}, {"id"}},
                    ListOptionsFor(common));
  ExitCode code = kDone;
  std::vector<Cell> cells(6);
  for (const GroupEntry& entry : catalogue.entries()) {
    if (entry.type != groups::GroupType::kAddressBook) continue;
    for (Cell& cell : cells) cell.Set(CellKind::kNone, "");
    cells[0].Set(CellKind::kText, entry.name);
    cells[5].Set(CellKind::kText, entry.id);
    try {
      const BookSettings settings = SettingsOf(entry);
      cells[1].Set(CellKind::kText, settings.format);
      cells[2].Set(CellKind::kText, settings.location);
      if (!settings.categories.empty()) cells[3].Set(CellKind::kText, Joined(settings.categories));
      if (!settings.lists.empty()) cells[4].Set(CellKind::kText, Joined(settings.lists));
    } catch (const automation::Error& error) {
      Tell(entry.name + ": " + error.description());
      code = kFindings;
    }
    listing->Row(cells);
  }
  listing->End();
  out.Finish();
  return code;
}

void PrintLine(const char* name, const std::string& value) {
  std::printf("%-12s %s\n", name, Harmless(value).c_str());
}

template <typename Json>
void NamedText(Json* json, const char* name, const std::string& value) {
  JsonKey(json, name);
  JsonText(json, value);
}

template <typename Json>
void NamedTexts(Json* json, const char* name, const std::vector<std::string>& texts) {
  JsonKey(json, name);
  json->StartArray();
  for (const std::string& text : texts) JsonText(json, text);
  json->EndArray();
}

ExitCode Show(const CommonOptions& common, const std::string& group) {
  const Catalogue catalogue;
  const GroupEntry& entry = GetBook(catalogue, group);
  const BookSettings settings = SettingsOf(entry);
  std::optional<std::int32_t> contacts;
  std::vector<std::string> notes;
  try {
    const auto cursor = OpenCursor(entry);
    contacts = cursor->GetRecordCount();
    notes = cursor->Warnings();
  } catch (const automation::Error& error) {
    notes.push_back(error.description());
  }
  if (common.json) {
    OutputStream out;
    rapidjson::PrettyWriter<OutputStream> json(out);
    json.SetIndent(' ', 2);
    json.StartObject();
    NamedText(&json, "name", entry.name);
    NamedText(&json, "id", entry.id);
    NamedText(&json, "format", settings.format);
    NamedText(&json, "location", settings.location);
    NamedTexts(&json, "categories", settings.categories);
    NamedTexts(&json, "lists", settings.lists);
    JsonKey(&json, "contacts");
    contacts ? json.Int(*contacts) : json.Null();
    NamedTexts(&json, "notes", notes);
    json.EndObject();
    out.Write("\n");
    out.Finish();
  } else {
    PrintLine("name", entry.name);
    PrintLine("id", entry.id);
    PrintLine("format", settings.format);
    PrintLine("location", settings.location);
    const bool all = settings.categories.empty() && settings.lists.empty();
    if (all) PrintLine("takes", "all contacts");
    if (!settings.categories.empty()) PrintLine("categories", Joined(settings.categories));
    if (!settings.lists.empty()) PrintLine("lists", Joined(settings.lists));
    PrintLine("contacts", contacts ? std::to_string(*contacts) : "cannot be read");
    for (const std::string& note : notes) PrintLine("note", note);
  }
  return contacts ? kDone : kFindings;
}

ExitCode Edit(const BookArguments& arguments) {
  const Catalogue catalogue;
  const GroupEntry& entry = GetBook(catalogue, arguments.group);
  BookSettings settings = SettingsOf(entry);
  if (arguments.format) settings.format = FormatCode(*arguments.format);
  if (arguments.location) settings.location = KeptLocation(*arguments.location);
  if (arguments.no_categories || !arguments.categories.empty()) {
    settings.categories = arguments.categories;
  }
  if (arguments.no_lists || !arguments.lists.empty()) settings.lists = arguments.lists;
  if (!arguments.unchecked) CheckSettings(settings);
  SaveSettings(SourceIdOf(entry), settings);
  return kDone;
}

ExitCode Delete(const CommonOptions& common, const std::string& group) {
  Catalogue catalogue;
  const GroupEntry entry = GetBook(catalogue, group);
  Confirm(common, "Delete the group \"" + entry.name + "\"? The address book itself stays.");
  catalogue.Delete(entry);
  return kDone;
}

void AddSettingsOptions(Verb verb, BookArguments* arguments, bool required) {
  verb.AddOption("--format", &arguments->format, "The format's code, as book formats lists them")
      .Required(required)
      .TypeName("CODE");
  verb.AddOption("--location", &arguments->location,
                 "The address book: a file, its folder, or an LDAP address")
      .Required(required)
      .TypeName("PLACE");
  verb.AddOption("--category", &arguments->categories,
                 "Only contacts of this category; may be given several times")
      .TypeName("NAME")
      .Repeats();
  verb.AddOption("--list", &arguments->lists,
                 "Only members of this distribution list; may be given several times")
      .TypeName("NAME")
      .Repeats();
  verb.AddFlag("--unchecked", &arguments->unchecked,
               "Save it even if the address book cannot be read now");
}

}  // namespace

void AddBookVerbs(Verb app, CommonOptions* common) {
  const Verb books = app.AddVerb(
      "book",
      "Groups that are address books of other programs: look for them, add and change them");
  books.NeedsVerb();
  books.Footer(
      "Example:\n  pvgroup book add Friends --format MAB --location ~/.thunderbird/x/abook.mab");
  AddBookLookVerbs(books, common);

  auto add_arguments = std::make_shared<BookArguments>();
  const Verb add = AddVerb(
      books, common, "add",
      "Make a group of an address book, which is read in place, and print the group's ID.\n\n"
      "Without --category and --list the group has all contacts; with them those that have one of\n"
      "the categories or are members of one of the lists. Members of a list that have no contact\n"
      "of their own are in it too, with their address and name. The address book is never "
      "changed.",
      {"book add Friends --format MAB --location ~/.thunderbird/x/abook.mab",
       "book add Team --format LDIF --location people.ldif --list Team --list Staff"});
  add.AddOption("NAME", &add_arguments->group, "The new group's name").Required();
  AddSettingsOptions(add, add_arguments.get(), true);
  add.Runs([=] { return Add(*add_arguments); });

  const Verb list = AddVerb(books, common, "list", "List the groups that are address books",
                            {"book list", "book list --json"});
  AddListFormOptions(list, common);
  list.Runs([=] { return List(*common); });

  auto group = std::make_shared<std::string>();
  const auto group_argument = [](Verb verb, std::string* to) {
    verb.AddOption("GROUP", to, "The group").Required();
  };
  const Verb show = AddVerb(
      books, common, "show",
      "Tell what a group reads, and how many contacts that are now. Exits with 1 when the address\n"
      "book cannot be read.",
      {"book show Friends"});
  group_argument(show, group.get());
  show.AddFlag("--json", &common->json, "Print JSON");
  show.Runs([=] { return Show(*common, *group); });

  auto edit_arguments = std::make_shared<BookArguments>();
  const Verb edit =
      AddVerb(books, common, "edit",
              "Change what a group reads. Names that are given replace those there are.",
              {"book edit Friends --category Work --category Family",
               "book edit Friends --all-categories --location /srv/books/abook.mab"});
  group_argument(edit, &edit_arguments->group);
  AddSettingsOptions(edit, edit_arguments.get(), false);
  edit.AddFlag("--all-categories", &edit_arguments->no_categories, "Choose no categories")
      .Excludes("--category");
  edit.AddFlag("--all-lists", &edit_arguments->no_lists, "Choose no distribution lists")
      .Excludes("--list");
  edit.Runs([=] { return Edit(*edit_arguments); });

  const Verb remove = AddVerb(
      books, common, "delete",
      "Delete a group and what it keeps of its address book, which itself stays as it is. Asks\n"
      "first, unless --yes is given.",
      {"book delete Friends --yes"});
  group_argument(remove, group.get());
  AddYesOption(remove, common);
  remove.Runs([=] { return Delete(*common, *group); });
}

}  // namespace pv::cli
