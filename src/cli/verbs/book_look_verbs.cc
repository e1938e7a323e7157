// Verbs that look into address books before anything is saved: book formats, scan, fields, lists.
// Tested by tests/cli.
#include <cstdio>
#include <map>
#include <optional>

#include "cli/groups/address_books.h"
#include "cli/groups/book_places.h"
#include "cli/output/output_stream.h"
#include "cli/output/terminal.h"
#include "cli/paths.h"
#include "cli/verbs/book_verbs.h"
#include "platform/system.h"
#include "pvgroupman/addressbook/ab_fields.h"

namespace pv::cli {
namespace {

using addressbook::ConverterLink;
using automation::MakeObject;

// The record's columns are those of the contacts up to this one.
constexpr std::int32_t kSampled = 21;

// Which address book is meant: that of a group, or one that is nobody's yet.
struct LookArguments {
  std::string group;
  std::string format;
  std::string location;
};

ConverterLink LinkFor(const LookArguments& arguments) {
  if (!arguments.group.empty()) {
    const Catalogue catalogue;
    const BookSettings settings = SettingsOf(GetBook(catalogue, arguments.group));
    return LinkTo(settings.format, settings.location);
  }
  if (arguments.format.empty() || arguments.location.empty()) {
    throw Failure(kUsage, "name a group, or give --format and --location");
  }
  return LinkTo(FormatCode(arguments.format), KeptLocation(arguments.location));
}

ExitCode Formats(const CommonOptions& common) {
  const ConverterLink link;
  OutputStream out;
  const auto listing =
      Listing::Make(&out, {{"code"}, {"readable"}, {"name"}, {"reason"}}, ListOptionsFor(common));
  const std::int32_t count = link.FormatCount();
  std::vector<Cell> cells(4);
  for (std::int32_t i = 0; i < count; ++i) {
    const addressbook::ConverterFormat format = link.FormatAt(i);
    const bool readable = format.readable && format.installed;
    cells[0].Set(CellKind::kText, format.code);
    cells[1].Set(CellKind::kBoolean, readable ? "true" : "false");
    cells[2].Set(CellKind::kText, link.FormatName(i));
    cells[3].Set(CellKind::kText, readable ? "" : link.FormatReason(i));
    if (cells[3].text.empty()) cells[3].Set(CellKind::kNone, "");
    listing->Row(cells);
  }
  listing->End();
  out.Finish();
  return kDone;
}

// Opens what lies in one place and counts what is in it.
void LookAt(const BookPlace& place, std::vector<Cell>* cells) {
  for (Cell& cell : *cells) cell.Set(CellKind::kNone, "");
  (*cells)[0].Set(CellKind::kText, place.format);
  (*cells)[1].Set(CellKind::kText, place.path);
  try {
    const ConverterLink link = LinkTo(place.format, place.path);
    const auto number = [](std::size_t n) { return std::to_string(n); };
    (*cells)[2].Set(CellKind::kNumber, std::to_string(link.Count()));
    (*cells)[3].Set(CellKind::kNumber, number(link.Categories().size()));
    (*cells)[4].Set(CellKind::kNumber, number(link.DistributionLists().size()));
    const std::vector<std::string> warnings = link.Warnings();
    if (!warnings.empty()) (*cells)[5].Set(CellKind::kText, Joined(warnings));
  } catch (const Failure& failure) {
    (*cells)[5].Set(CellKind::kText, failure.what());
  } catch (const automation::Error& error) {
    (*cells)[5].Set(CellKind::kText, error.description());
  }
}

ExitCode Scan(const CommonOptions& common, const std::string& folder) {
  std::string home = folder;
  if (home.empty()) {
    home = platform::CurrentSystem().process->Environment("HOME").value_or("");
    if (home.empty()) throw Failure(kUsage, "HOME is not set: name the folder to look in");
  }
  const std::vector<BookPlace> places = FindBookPlaces(AbsolutePath(home));
  OutputStream out;
  const auto listing = Listing::Make(&out,
                                     {{"format"},
                                      {"location"},
                                      {"contacts", true},
                                      {"categories", true},
                                      {"lists", true},
                                      {"note"}},
                                     ListOptionsFor(common));
  std::vector<Cell> cells(6);
  for (const BookPlace& place : places) {
    LookAt(place, &cells);
    listing->Row(cells);
  }
  listing->End();
  if (!places.empty() || common.json || common.csv) out.Finish();
  if (places.empty() && !common.json && !common.csv) {
    throw Failure(kFindings, "no address books were found in the usual places below " + home);
  }
  return places.empty() ? kFindings : kDone;
}

ExitCode Fields(const CommonOptions& common, const LookArguments& arguments) {
  const ConverterLink link = LinkFor(arguments);
  const auto columns = MakeObject<addressbook::ABFields>();
  std::map<std::int32_t, std::int32_t> contacts_with;
  std::int32_t sampled = 0;
  const std::int32_t count = link.Count();
  for (std::int32_t i = 1; i <= count; ++i) {
    for (const std::int32_t tag : addressbook::TagsOf(link.ContactAt(i))) {
      columns->Add(tag);
      ++contacts_with[tag];
    }
    if (i <= kSampled) sampled = columns->Count();
  }
  OutputStream out;
  const auto listing =
      Listing::Make(&out, {{"field"}, {"name"}, {"property"}, {"contacts", true}, {"column"}},
                    ListOptionsFor(common));
  std::vector<Cell> cells(5);
  for (std::int32_t i = 1; i <= columns->Count(); ++i) {
    const auto column = columns->Item(automation::Value(i));
    char property[16];
    std::snprintf(property, sizeof property, "0x%08X",
                  static_cast<unsigned>(column->GetPropertyId()));
    cells[0].Set(CellKind::kText, column->GetName());
    cells[1].Set(CellKind::kText, column->display_name());
    cells[2].Set(CellKind::kText, property);
    cells[3].Set(CellKind::kNumber, std::to_string(contacts_with[column->GetPropertyId()]));
    cells[4].Set(CellKind::kBoolean, i <= sampled ? "true" : "false");
    listing->Row(cells);
  }
  listing->End();
  out.Finish();
  TellWarnings(link.Warnings());
  return kDone;
}

ExitCode Lists(const CommonOptions& common, const LookArguments& arguments) {
  const ConverterLink link = LinkFor(arguments);
  OutputStream out;
  const auto listing =
      Listing::Make(&out, {{"kind"}, {"name"}, {"contacts", true}}, ListOptionsFor(common));
  const auto print = [&](const char* kind, const std::vector<addressbook::CountedName>& names) {
    for (const addressbook::CountedName& name : names) {
      listing->Row({{CellKind::kText, kind},
                    {CellKind::kText, name.name},
                    {CellKind::kNumber, std::to_string(name.contacts)}});
    }
  };
  print("category", link.Categories());
  print("list", link.DistributionLists());
  listing->End();
  out.Finish();
  TellWarnings(link.Warnings());
  return kDone;
}

void AddLookOptions(Verb verb, CommonOptions* common, LookArguments* arguments) {
  verb.AddOption("GROUP", &arguments->group, "A group that is an address book");
  verb.AddOption("--format", &arguments->format, "Instead of a group: the format's code")
      .TypeName("CODE")
      .Excludes("GROUP");
  verb.AddOption("--location", &arguments->location,
                 "and the address book: a file, its folder, or an LDAP address")
      .TypeName("PLACE")
      .Excludes("GROUP");
  AddListFormOptions(verb, common);
}

}  // namespace

void AddBookLookVerbs(Verb books, CommonOptions* common) {
  const Verb formats = AddVerb(
      books, common, "formats",
      "List the formats of address books, and why some cannot be read here", {"book formats"});
  AddListFormOptions(formats, common);
  formats.Runs([=] { return Formats(*common); });

  auto folder = std::make_shared<std::string>();
  const Verb scan = AddVerb(
      books, common, "scan",
      "Look for address books in the usual places of your home folder, and tell what is in them.\n"
      "Exits with 1 when there are none.",
      {"book scan", "book scan /mnt/old-disk/home/ann"});
  scan.AddOption("FOLDER", folder.get(), "Another folder to take for the home folder");
  AddListFormOptions(scan, common);
  scan.Runs([=] { return Scan(*common, *folder); });

  auto arguments = std::make_shared<LookArguments>();
  const Verb fields = AddVerb(
      books, common, "fields",
      "List what the contacts of an address book hold: field, name, property, and how many\n"
      "contacts have it. A group's columns are the properties of the first 21 contacts; others "
      "are\n"
      "marked.",
      {"book fields --format MAB --location abook.mab", "book fields Friends"});
  AddLookOptions(fields, common, arguments.get());
  fields.Runs([=] { return Fields(*common, *arguments); });

  const Verb lists = AddVerb(
      books, common, "lists",
      "List the categories and distribution lists of an address book, with the number of contacts\n"
      "in each",
      {"book lists --format MAB --location abook.mab", "book lists Friends"});
  AddLookOptions(lists, common, arguments.get());
  lists.Runs([=] { return Lists(*common, *arguments); });
}

}  // namespace pv::cli
