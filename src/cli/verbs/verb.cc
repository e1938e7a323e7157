// Verbs and options, by the parser. Tested by help_text_test.cc and tests/cli.
#include "cli/verbs/verb.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <utility>

namespace pv::cli {
namespace {

template <typename Value>
VerbOption Add(CLI::App* app, const std::string& name, Value* value,
               const std::string& description) {
  return VerbOption(app->add_option(name, *value, description)->type_name(""));
}

}  // namespace

VerbOption VerbOption::Required(bool required) const {
  option_->required(required);
  return *this;
}

VerbOption VerbOption::TypeName(const std::string& name) const {
  option_->type_name(name);
  return *this;
}

VerbOption VerbOption::OneOf(const std::vector<std::string>& words) const {
  option_->check(CLI::IsMember(words).description(""));
  return *this;
}

VerbOption VerbOption::NotNegative() const {
  option_->check(CLI::Validator(CLI::NonNegativeNumber).description(""));
  return *this;
}

VerbOption VerbOption::Excludes(const std::string& other) const {
  option_->excludes(other);
  return *this;
}

VerbOption VerbOption::SplitAt(char delimiter) const {
  option_->delimiter(delimiter);
  return *this;
}

VerbOption VerbOption::Repeats() const {
  option_->expected(1)->take_all();
  return *this;
}

Verb Verb::AddVerb(const std::string& name, const std::string& description) const {
  return Verb(app_->add_subcommand(name, description), action_);
}

void Verb::NeedsVerb() const { app_->require_subcommand(1); }

void Verb::Footer(const std::string& text) const { app_->footer(text); }

VerbOption Verb::AddOption(const std::string& name, std::string* value,
                           const std::string& description) const {
  return Add(app_, name, value, description);
}

VerbOption Verb::AddOption(const std::string& name, std::optional<std::string>* value,
                           const std::string& description) const {
  return Add(app_, name, value, description);
}

VerbOption Verb::AddOption(const std::string& name, std::vector<std::string>* values,
                           const std::string& description) const {
  return Add(app_, name, values, description);
}

VerbOption Verb::AddOption(const std::string& name, std::int64_t* value,
                           const std::string& description) const {
  return Add(app_, name, value, description);
}

VerbOption Verb::AddOption(const std::string& name, std::uint64_t* value,
                           const std::string& description) const {
  return Add(app_, name, value, description);
}

VerbOption Verb::AddFlag(const std::string& name, bool* value,
                         const std::string& description) const {
  return VerbOption(app_->add_flag(name, *value, description));
}

void Verb::RemoveOption(const std::string& name) const {
  app_->remove_option(app_->get_option(name));
}

void Verb::Runs(Action work) const {
  app_->callback([action = action_, work = std::move(work)] { *action = work; });
}

}  // namespace pv::cli
