// What all verbs share, and the program's frame. Tested by tests/cli.
#include "cli/verbs/verbs.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Error.hpp>
#include <cstdio>
#include <exception>

#include "cli/output/terminal.h"
#include "cli/paths.h"
#include "cli/verbs/help_text.h"
#include "platform/system.h"
#include "pvgroupman/automation/error.h"
#include "pvgroupman/groups/groups.h"
#include "pvgroupman/support/settings.h"
#include "server/class_list.h"

namespace pv::cli {
namespace {

constexpr const char kDescription[] =
    "Keeps groups of mail recipients: tables of addresses with personal fields,\n"
    "compatible with the FoxPro file family, and queries on databases.";

constexpr const char kFooter[] =
    "GROUP is a group's name (letter case ignored) or its ID.\n"
    "Groups lie in the folder given by --data, else PVGROUP_DATA, else the\n"
    "configuration file, else the user's data folder.\n"
    "\n"
    "Exit codes: 0 done; 1 done, with rejected rows or findings; 2 the command line is\n"
    "wrong; 3 a group, file or folder is not available; 4 locked by somebody else;\n"
    "5 a file is damaged; 130 interrupted.\n"
    "\n"
    "NO_COLOR set to anything switches colours off.\n"
    "\n"
    "Examples:\n"
    "  pvgroup import customers people.csv\n"
    "  pvgroup show customers --limit 10\n"
    "  pvgroup VERB --help";

int RunAction(const CommonOptions& common, const Action& action) {
  if (!common.data_folder.empty()) {
    automation::MakeObject<support::Settings>()->SetGroupDataFolder(
        AbsolutePath(common.data_folder));
  }
  return action();
}

}  // namespace

Verb AddVerb(Verb app, CommonOptions* common, const std::string& name,
             const std::string& description, const std::vector<std::string>& examples) {
  const Verb verb = app.AddVerb(name, description);
  verb.AddOption("--data", &common->data_folder, "Folder that holds the groups").TypeName("FOLDER");
  std::string footer = examples.size() == 1 ? "Example:" : "Examples:";
  for (const std::string& example : examples) footer += "\n  pvgroup " + example;
  if (!examples.empty()) verb.Footer(footer);
  return verb;
}

void AddListFormOptions(Verb verb, CommonOptions* common) {
  verb.AddFlag("--json", &common->json, "Print JSON");
  verb.AddFlag("--csv", &common->csv, "Print CSV").Excludes("--json");
}

void AddYesOption(Verb verb, CommonOptions* common) {
  verb.AddFlag("--yes,-y", &common->yes, "Do not ask; replace what is there");
}

ListOptions ListOptionsFor(const CommonOptions& common) {
  ListOptions list;
  if (common.json) {
    list.form = ListForm::kJson;
  } else if (common.csv) {
    list.form = ListForm::kCsv;
  } else if (OutputIsTerminal()) {
    list.form = ListForm::kTable;
    list.columns = TerminalColumns();
    list.colors = ColorsWanted();
  }
  return list;
}

void Confirm(const CommonOptions& common, const std::string& question) {
  if (common.yes) return;
  if (!InputIsTerminal() || !ErrorsAreTerminal()) {
    throw Failure(kUsage, "this needs --yes when there is nobody to ask: " + question);
  }
  if (!AskYesNo(question)) throw Failure(kUsage, "nothing was done");
}

int RunCommandLine(int argc, char** argv) {
  server::RegisterPublicClasses();
  CommonOptions common;
  Action action;
  CLI::App app(kDescription, "pvgroup");
  app.footer(kFooter);
  app.formatter(std::make_shared<HelpFormatter>());
  app.set_help_flag("--help,-h", "Print this help");
  app.require_subcommand(1);
  app.set_version_flag(
      "--version",
      [] { return "pvgroup " + automation::MakeObject<groups::Groups>()->GetVersion(); },
      "Print the version");

  const Verb root(&app, &action);
  root.AddOption("--data", &common.data_folder, "Folder that holds the groups").TypeName("FOLDER");
  AddGroupVerbs(root, &common);
  AddImportVerb(root, &common);
  AddRecordVerbs(root, &common);
  AddEditVerbs(root, &common);
  AddExportVerb(root, &common);
  AddCheckVerbs(root, &common);
  AddRepairVerb(root, &common);
  AddBookVerbs(root, &common);
  AddCopyVerb(root, &common);
  AddSourceVerbs(root, &common);
  AddSqlVerbs(root, &common);
  AddTableVerbs(root, &common);
  AddTraceVerb(root, &common);
  // For tools/make-cli-reference; shown in no help.
  app.add_subcommand("list-verbs", "")->group("")->callback([&] {
    for (const std::string& name : VerbNames(app)) std::printf("%s\n", name.c_str());
    action = [] { return kDone; };
  });
  try {
    app.parse(argc, argv);
    return RunAction(common, action);
  } catch (const CLI::CallForHelp&) {
    std::printf("%s", app.help().c_str());
    return kDone;
  } catch (const CLI::CallForVersion& version) {
    std::printf("%s\n", version.what());
    return kDone;
  } catch (const CLI::ParseError& error) {
    Tell(std::string(error.what()) + " (see --help)");
    return kUsage;
  } catch (const Failure& failure) {
    Tell(failure.what());
    return failure.code();
  } catch (const automation::Error& error) {
    Tell(error.description());
    return ExitCodeOf(error.number());
  } catch (const std::exception& error) {
    Tell(error.what());
    return kUnavailable;
  }
}

}  // namespace pv::cli
