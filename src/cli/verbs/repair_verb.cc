// The verb repair. Tested by tests/cli.
#include <rapidjson/prettywriter.h>

#include <cstdio>
#include <optional>

#include "cli/groups/address_tag.h"
#include "cli/groups/catalogue.h"
#include "cli/output/json_text.h"
#include "cli/output/output_stream.h"
#include "cli/output/terminal.h"
#include "cli/verbs/verbs.h"
#include "platform/system.h"

namespace pv::cli {
namespace {

struct RepairArguments {
  std::string what;
  std::string to;
};

std::string Stem(const std::string& path) { return std::string(platform::WithoutExtension(path)); }

// Puts repaired files in the place of a group's own, which are kept under the name `kept`. The
// data file leaves first and comes last: whoever is stopped in between finds no table rather than
// one of old and new files, and a second run goes on from there.
void ChangePlaces(const std::string& own, const std::string& repaired, const std::string& kept) {
  platform::FileSystem* files = platform::CurrentSystem().files;
  const auto move = [files](const std::string& from, const std::string& to) {
    Check(files->Rename(from, to));
  };
  if (PathExists(own + ".pvg")) move(own + ".pvg", kept + ".pvg");
  for (const char* extension : {".cdx", ".fpt"}) {
    if (!PathExists(repaired + extension)) continue;
    if (PathExists(own + extension)) move(own + extension, kept + extension);
    move(repaired + extension, own + extension);
  }
  move(repaired + ".pvg", own + ".pvg");
  Check(files->SyncFolder(std::string(platform::FolderOf(own))));
}

void RemoveTable(const std::string& stem, const char* data_extension) {
  platform::FileSystem* files = platform::CurrentSystem().files;
  for (const char* extension : {data_extension, ".cdx", ".fpt"}) {
    if (PathExists(stem + extension)) Check(files->Remove(stem + extension));
  }
}

void PrintSentences(const char* heading, const std::vector<std::string>& sentences) {
  for (const std::string& sentence : sentences) {
    std::printf("%s: %s\n", heading, Harmless(sentence).c_str());
  }
}

void PrintJson(const engine::RepairReport& report, const std::string& result,
               const std::string& kept) {
  OutputStream out;
  rapidjson::PrettyWriter<OutputStream> json(out);
  json.SetIndent(' ', 2);
  json.StartObject();
  JsonKey(&json, "table");
  JsonText(&json, result);
  if (!kept.empty()) {
    JsonKey(&json, "damaged_table_kept");
    JsonText(&json, kept);
  }
  const std::pair<const char*, std::int64_t> numbers[] = {
      {"live", report.live_records},         {"deleted", report.deleted_records},
      {"memos_saved", report.memos_saved},   {"memos_lost", report.memos_lost},
      {"tags_rebuilt", report.tags_rebuilt},
  };
  for (const auto& [name, value] : numbers) {
    JsonKey(&json, name);
    json.Int64(value);
  }
  const std::pair<const char*, const std::vector<std::string>*> lists[] = {
      {"losses", &report.losses}, {"notes", &report.notes}, {"remaining", &report.remaining}};
  for (const auto& [name, sentences] : lists) {
    JsonKey(&json, name);
    json.StartArray();
    for (const std::string& sentence : *sentences) JsonText(&json, sentence);
    json.EndArray();
  }
  json.EndObject();
  out.Put('\n');
  out.Finish();
}

ExitCode Report(const CommonOptions& common, const engine::RepairReport& report,
                const std::string& result, const std::string& kept) {
  const bool whole = report.losses.empty() && report.remaining.empty();
  if (common.json) {
    PrintJson(report, result, kept);
    return whole ? kDone : kFindings;
  }
  PrintSentences("put right", report.notes);
  PrintSentences("lost", report.losses);
  PrintSentences("remains", report.remaining);
  std::printf(
      "%s: %lld live and %lld deleted records, %lld memos saved and %lld lost, %d tags built\n",
      Harmless(result).c_str(), static_cast<long long>(report.live_records),
      static_cast<long long>(report.deleted_records), static_cast<long long>(report.memos_saved),
      static_cast<long long>(report.memos_lost), report.tags_rebuilt);
  if (!kept.empty()) std::printf("the damaged table is kept as %s\n", kept.c_str());
  return whole ? kDone : kFindings;
}

void Repair(const std::string& from, const std::string& to,
            const std::vector<engine::TagRecord>& expected, engine::RepairReport* report) {
  const Session session;
  const std::int32_t code = WaitingForOthers(
      [&] { return engine::d4repair(session.handle(), from, to, report, expected); });
  if (code != engine::kSuccess) session.Check(code);
}

// The tag that every group has, should its definition be lost: with the index out of the way, the
// fields tell what it is made of.
std::vector<engine::TagRecord> ExpectedTags(const std::string& path) {
  try {
    const Session session;
    session.IgnoreIndexes();
    const Table table(session, path, Access::kShared);
    const std::string field = AddressFieldOf(table.handle());
    return field.empty() ? std::vector<engine::TagRecord>() : AddressTag(field);
  } catch (const Failure&) {
    return {};
  }
}

ExitCode RepairFile(const CommonOptions& common, const RepairArguments& arguments) {
  const std::string to =
      arguments.to.empty()
          ? Stem(arguments.what) + ".repaired" + std::string(platform::ExtensionOf(arguments.what))
          : arguments.to;
  if (PathExists(to)) throw Failure(kUsage, to + " exists already");
  engine::RepairReport report;
  Repair(arguments.what, to, {}, &report);
  return Report(common, report, to, "");
}

ExitCode RepairGroup(const CommonOptions& common, const GroupEntry& entry) {
  const std::string own = Stem(entry.table_path());
  const std::string repaired = own + ".repaired";
  std::string latest = own + ".damaged";
  std::string kept = latest;
  for (int n = 2; PathExists(kept + ".pvg"); ++n) {
    latest = kept;
    kept = own + ".damaged" + std::to_string(n);
  }
  if (!PathExists(own + ".pvg") && PathExists(repaired + ".pvg")) {
    // An earlier repair was stopped while files changed places.
    ChangePlaces(own, repaired, latest);
    Tell("note: an interrupted repair was brought to its end");
  }
  RemoveTable(repaired, ".pvg");
  engine::RepairReport report;
  Repair(entry.table_path(), repaired + ".pvg", ExpectedTags(entry.table_path()), &report);
  ChangePlaces(own, repaired, kept);
  return Report(common, report, entry.table_path(), kept + ".pvg");
}

ExitCode Run(const CommonOptions& common, const RepairArguments& arguments) {
  // The catalogue may be the very table that is damaged.
  std::optional<Catalogue> catalogue;
  try {
    catalogue.emplace();
  } catch (const Failure&) {
    if (!PathExists(arguments.what)) throw;
  }
  const GroupEntry* entry = catalogue ? catalogue->Find(arguments.what) : nullptr;
  if (entry == nullptr && PathExists(arguments.what)) return RepairFile(common, arguments);
  if (entry == nullptr) {
    throw Failure(kUnavailable, "there is neither a group nor a file \"" + arguments.what + "\"");
  }
  if (!arguments.to.empty())
    throw Failure(kUsage, "--to is for files; a group is repaired in place");
  return RepairGroup(common, catalogue->GetNative(entry->id));
}

}  // namespace

void AddRepairVerb(Verb app, CommonOptions* common) {
  auto arguments = std::make_shared<RepairArguments>();
  const Verb verb = AddVerb(
      app, common, "repair",
      "Make a whole table out of a damaged one.\n\n"
      "Every record that the file holds is saved, memos are checked, and the tags are built anew\n"
      "from their expressions. A group is repaired in place and its damaged files are kept beside\n"
      "it; of a table file the repaired copy is FILE.repaired, or what --to names. Says what was\n"
      "put right and what was lost, and exits with 1 when something was lost.",
      {"repair customers", "repair contacts.dbf --to whole.dbf"});
  verb.AddOption("WHAT", &arguments->what, "A group, or a table file").Required();
  verb.AddOption("--to", &arguments->to, "The repaired table of a file").TypeName("FILE");
  verb.AddFlag("--json", &common->json, "Print JSON");
  verb.Runs([=] { return Run(*common, *arguments); });
}

}  // namespace pv::cli
