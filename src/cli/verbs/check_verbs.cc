// Verbs that look into groups: info and verify. Tested by tests/cli.
#include "cli/groups/catalogue.h"
#include "cli/groups/table_report.h"
#include "cli/verbs/sql_verbs.h"
#include "cli/verbs/verbs.h"

namespace pv::cli {
namespace {

ExitCode Info(const CommonOptions& common, const std::string& group) {
  const Catalogue catalogue;
  if (const GroupEntry& any = catalogue.Get(group); any.type == groups::GroupType::kAdoRecordset) {
    PrintProperties(DescribeSqlGroup(any), common.json);
    return kDone;
  }
  const GroupEntry& entry = catalogue.GetNative(group);
  const Session session;
  Table table(session, entry.table_path(), Access::kShared);
  return ReportTable(&table, {{"name", entry.name}, {"id", entry.id}, {"folder", entry.folder}},
                     common.json);
}

ExitCode Verify(const CommonOptions& common, const std::string& group) {
  const Catalogue catalogue;
  const GroupEntry& entry = catalogue.GetNative(group);
  const Session session;
  const Table table(session, entry.table_path(), Access::kShared);
  return VerifyTable(table, entry.name, common.json);
}

}  // namespace

void AddCheckVerbs(Verb app, CommonOptions* common) {
  auto group = std::make_shared<std::string>();
  const Verb info = AddVerb(
      app, common, "info", "Tell what a group is made of: files, fields, tags", {"info customers"});
  info.AddOption("GROUP", group.get(), "The group").Required();
  info.AddFlag("--json", &common->json, "Print JSON");
  info.Runs([=] { return Info(*common, *group); });

  const Verb verify = AddVerb(
      app, common, "verify",
      "Check a group and name each fault.\n\n"
      "The record count is held against the file, each tag must have every live record once, in\n"
      "the order of its keys, and every memo must be whole. Exits with 1 when there is a fault,\n"
      "with 5 when the group is too damaged to be opened.",
      {"verify customers"});
  verify.AddOption("GROUP", group.get(), "The group").Required();
  verify.AddFlag("--json", &common->json, "Print JSON");
  verify.Runs([=] { return Verify(*common, *group); });
}

}  // namespace pv::cli
