#include "cli/verbs/help_text.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "cli/verbs/verb.h"

namespace pv::cli {
namespace {

TEST(Wrapped, BreaksBetweenWords) {
  using Lines = std::vector<std::string>;
  EXPECT_EQ(Wrapped("one two three", 7), (Lines{"one two", "three"}));
  EXPECT_EQ(Wrapped("one\ntwo", 7), (Lines{"one two"}));
  EXPECT_EQ(Wrapped("one\n\ntwo", 7), (Lines{"one", "", "two"}));
  EXPECT_EQ(Wrapped("averylongword x", 7), (Lines{"averylongword", "x"}));
  EXPECT_EQ(Wrapped("", 7), Lines{});
}

TEST(HelpFormatter, ShowsPlainNamesAndSummaries) {
  CLI::App app("About.", "prog");
  app.formatter(std::make_shared<HelpFormatter>());
  Action action;
  const Verb sub = Verb(&app, &action).AddVerb("verb", "Do it well. And more of it.\n\nMuch more.");
  std::string value;
  sub.AddOption("--mode,-m", &value, "How").OneOf({"a", "b"}).TypeName("a|b");
  sub.AddOption("THING", &value, "What").Required();
  const std::string help = app.help();
  EXPECT_NE(help.find("  verb                    Do it well\n"), std::string::npos) << help;
  EXPECT_EQ(help.find("And more"), std::string::npos);
  const std::string inner = app.get_subcommand("verb")->help();
  EXPECT_NE(inner.find("  -m, --mode a|b          How\n"), std::string::npos) << inner;
  EXPECT_NE(inner.find("  THING                   What\n"), std::string::npos) << inner;
}

TEST(VerbNames, ListsVerbsAndTheirVerbs) {
  CLI::App app;
  app.add_subcommand("one");
  app.add_subcommand("two")->add_subcommand("inner");
  EXPECT_EQ(VerbNames(app), (std::vector<std::string>{"one", "two", "two inner"}));
}

}  // namespace
}  // namespace pv::cli
