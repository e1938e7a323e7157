// A verb of the command line, and what it takes.
#ifndef PV_CLI_VERBS_VERB_H_
#define PV_CLI_VERBS_VERB_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli/failure.h"

// The parser's headers take seconds to compile: only the frame and the help include them.
namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace pv::cli {

// What a parsed command line asks for.
using Action = std::function<ExitCode()>;

// An option or argument of a verb; each call says one more thing of it.
class VerbOption {
 public:
  explicit VerbOption(CLI::Option* option) : option_(option) {}

  VerbOption Required(bool required = true) const;
  // What stands for its value in the help; nothing does by default.
  VerbOption TypeName(const std::string& name) const;
  VerbOption OneOf(const std::vector<std::string>& words) const;
  VerbOption NotNegative() const;
  VerbOption Excludes(const std::string& other) const;  // an option added before
  VerbOption SplitAt(char delimiter) const;             // one value is a list
  VerbOption Repeats() const;                           // may be given again, a value each time

 private:
  CLI::Option* option_;
};

// A handle: copies are the same verb. Values that options name live as long as the command line.
class Verb {
 public:
  // `action` receives the work of the verb that is met.
  Verb(CLI::App* app, Action* action) : app_(app), action_(action) {}

  Verb AddVerb(const std::string& name, const std::string& description) const;
  void NeedsVerb() const;  // a family of verbs: one of them must follow
  void Footer(const std::string& text) const;

  // `name` is "--long", "--long,-l", or a word for an argument by position.
  VerbOption AddOption(const std::string& name, std::string* value,
                       const std::string& description) const;
  VerbOption AddOption(const std::string& name, std::optional<std::string>* value,
                       const std::string& description) const;
  VerbOption AddOption(const std::string& name, std::vector<std::string>* values,
                       const std::string& description) const;
  VerbOption AddOption(const std::string& name, std::int64_t* value,
                       const std::string& description) const;
  VerbOption AddOption(const std::string& name, std::uint64_t* value,
                       const std::string& description) const;
  VerbOption AddFlag(const std::string& name, bool* value, const std::string& description) const;
  void RemoveOption(const std::string& name) const;

  void Runs(Action work) const;

 private:
  CLI::App* app_;
  Action* action_;
};

}  // namespace pv::cli

#endif  // PV_CLI_VERBS_VERB_H_
