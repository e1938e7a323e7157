// The verbs of the command line, by family.
#ifndef PV_CLI_VERBS_VERBS_H_
#define PV_CLI_VERBS_VERBS_H_

#include <memory>
#include <string>
#include <vector>

#include "cli/failure.h"
#include "cli/output/listing.h"
#include "cli/verbs/verb.h"

namespace pv::cli {

// Options that most verbs take.
struct CommonOptions {
  std::string data_folder;
  bool json = false;
  bool csv = false;
  bool yes = false;
};

// Each adds its verbs to `app`.
void AddGroupVerbs(Verb app, CommonOptions* common);
void AddCheckVerbs(Verb app, CommonOptions* common);
void AddImportVerb(Verb app, CommonOptions* common);
void AddRecordVerbs(Verb app, CommonOptions* common);
void AddEditVerbs(Verb app, CommonOptions* common);
void AddExportVerb(Verb app, CommonOptions* common);
void AddRepairVerb(Verb app, CommonOptions* common);
void AddBookVerbs(Verb app, CommonOptions* common);
void AddSourceVerbs(Verb app, CommonOptions* common);
void AddSqlVerbs(Verb app, CommonOptions* common);
void AddCopyVerb(Verb app, CommonOptions* common);
void AddTableVerbs(Verb app, CommonOptions* common);
void AddTraceVerb(Verb app, CommonOptions* common);

// Adds a verb with --data; `examples` are lines of the help's end, without "pvgroup ".
Verb AddVerb(Verb app, CommonOptions* common, const std::string& name,
             const std::string& description, const std::vector<std::string>& examples);
void AddListFormOptions(Verb verb, CommonOptions* common);
void AddYesOption(Verb verb, CommonOptions* common);

// The form that --json, --csv and the kind of standard output call for.
ListOptions ListOptionsFor(const CommonOptions& common);

// Goes on when --yes was given or the answer on the terminal is yes; kUsage otherwise.
void Confirm(const CommonOptions& common, const std::string& question);

// Runs pvgroup; `arguments` without the program's name.
int RunCommandLine(int argc, char** argv);

}  // namespace pv::cli

#endif  // PV_CLI_VERBS_VERBS_H_
