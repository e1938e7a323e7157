// The layout of pvgroup's help.
#ifndef PV_CLI_VERBS_HELP_TEXT_H_
#define PV_CLI_VERBS_HELP_TEXT_H_

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <string>
#include <vector>

namespace pv::cli {

// Plain names and wrapped descriptions; a verb's first sentence stands for it in lists of verbs.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_usage(const CLI::App* app, std::string name) const override;
  std::string make_description(const CLI::App* app) const override;
  std::string make_option(const CLI::Option* option, bool is_positional) const override;
  std::string make_subcommand(const CLI::App* sub) const override;
};

// `text` in lines of at most `width`, each word whole. An empty line parts paragraphs.
std::vector<std::string> Wrapped(const std::string& text, std::size_t width);

// The verbs of the program in help's order, for the reference page: "list", "table show", ….
std::vector<std::string> VerbNames(const CLI::App& app);

}  // namespace pv::cli

#endif  // PV_CLI_VERBS_HELP_TEXT_H_
