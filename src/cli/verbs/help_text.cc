// Lays out help. Tested by help_text_test.cc.
#include "cli/verbs/help_text.h"

#include <algorithm>
#include <sstream>

namespace pv::cli {
namespace {

constexpr std::size_t kWidth = 80;
constexpr std::size_t kColumn = 26;

// A name, and beside or below it its description.
std::string Entry(const std::string& name, const std::string& description) {
  std::string out = "  " + name;
  const std::string indent(kColumn, ' ');
  out += out.size() + 2 > kColumn ? "\n" + indent : std::string(kColumn - out.size(), ' ');
  bool first = true;
  for (const std::string& line : Wrapped(description, kWidth - kColumn)) {
    out += (first ? "" : "\n" + indent) + line;
    first = false;
  }
  return out + "\n";
}

}  // namespace

std::vector<std::string> Wrapped(const std::string& text, std::size_t width) {
  std::vector<std::string> lines;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find("\n\n", start), text.size());
    if (!lines.empty()) lines.emplace_back();
    std::istringstream words(text.substr(start, end - start));
    std::string line;
    for (std::string word; words >> word;) {
      if (!line.empty() && line.size() + 1 + word.size() > width) {
        lines.push_back(line);
        line.clear();
      }
      line += (line.empty() ? "" : " ") + word;
    }
    lines.push_back(line);
    start = end + 2;
  }
  return lines;
}

std::string HelpFormatter::make_usage(const CLI::App* app, std::string name) const {
  return "\n" + CLI::Formatter::make_usage(app, name);
}

std::string HelpFormatter::make_description(const CLI::App* app) const {
  std::string out;
  for (const std::string& line : Wrapped(app->get_description(), kWidth)) out += line + "\n";
  return out;
}

std::string HelpFormatter::make_option(const CLI::Option* option, bool is_positional) const {
  std::string name = is_positional ? option->get_name(true) : option->get_name(false, true);
  for (std::size_t comma = name.find(','); comma != name.npos; comma = name.find(',', comma + 2)) {
    name.insert(comma + 1, " ");
  }
  const std::string type = option->get_type_name();
  if (!is_positional && option->get_type_size() != 0 && !type.empty()) name += " " + type;
  return Entry(name, option->get_description());
}

std::string HelpFormatter::make_subcommand(const CLI::App* sub) const {
  const std::string description = sub->get_description();
  const std::size_t end = description.find(". ");
  const std::size_t line = description.find('\n');
  std::string summary = description.substr(0, std::min(end, line));
  if (!summary.empty() && summary.back() == '.') summary.pop_back();
  return Entry(sub->get_name(), summary);
}

std::vector<std::string> VerbNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* sub : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (sub->get_group().empty()) continue;
    names.push_back(sub->get_name());
    for (const std::string& inner : VerbNames(*sub)) names.push_back(sub->get_name() + " " + inner);
  }
  return names;
}

}  // namespace pv::cli
