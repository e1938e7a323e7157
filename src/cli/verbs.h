// The verbs of the command line, by family.
#ifndef PV_CLI_VERBS_H_
#define PV_CLI_VERBS_H_

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "cli/failure.h"
#include "cli/listing.h"

namespace pv::cli {

// Options that most verbs take.
struct CommonOptions {
  std::string data_folder;
  bool json = false;
  bool csv = false;
  bool yes = false;
};

// What the parsed command line asks for: set by the callback of the verb.
using Action = std::function<ExitCode()>;

// Each adds its verbs to `app`; the verb that is met stores its work in *action.
void AddGroupVerbs(CLI::App* app, CommonOptions* common, Action* action);
void AddCheckVerbs(CLI::App* app, CommonOptions* common, Action* action);
void AddImportVerb(CLI::App* app, CommonOptions* common, Action* action);
void AddRecordVerbs(CLI::App* app, CommonOptions* common, Action* action);
void AddEditVerbs(CLI::App* app, CommonOptions* common, Action* action);
void AddExportVerb(CLI::App* app, CommonOptions* common, Action* action);
void AddRepairVerb(CLI::App* app, CommonOptions* common, Action* action);
void AddBookVerbs(CLI::App* app, CommonOptions* common, Action* action);
void AddSourceVerbs(CLI::App* app, CommonOptions* common, Action* action);
void AddSqlVerbs(CLI::App* app, CommonOptions* common, Action* action);
void AddCopyVerb(CLI::App* app, CommonOptions* common, Action* action);
void AddTableVerbs(CLI::App* app, CommonOptions* common, Action* action);
void AddTraceVerb(CLI::App* app, CommonOptions* common, Action* action);

// Adds a verb with --data; `examples` are lines of the help's end, without "pvgroup ".
CLI::App* AddVerb(CLI::App* app, CommonOptions* common, const std::string& name,
                  const std::string& description, const std::vector<std::string>& examples);
void AddListFormOptions(CLI::App* verb, CommonOptions* common);
void AddYesOption(CLI::App* verb, CommonOptions* common);

// The form that --json, --csv and the kind of standard output call for.
ListOptions ListOptionsFor(const CommonOptions& common);

// Goes on when --yes was given or the answer on the terminal is yes; kUsage otherwise.
void Confirm(const CommonOptions& common, const std::string& question);

// The path from the root, in the system's form.
std::string AbsolutePath(const std::string& path);

// Runs pvgroup; `arguments` without the program's name.
int RunCommandLine(int argc, char** argv);

}  // namespace pv::cli

#endif  // PV_CLI_VERBS_H_
