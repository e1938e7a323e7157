#include "cli/paths.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace pv::cli {
namespace {

TEST(SystemPath, HasTheSystemsSeparators) {
  EXPECT_EQ(SystemPath("a\\b/c"), "a/b/c");
  EXPECT_EQ(SystemPath(""), "");
}

TEST(AbsolutePath, BeginsAtTheRoot) {
  EXPECT_EQ(AbsolutePath("/a\\b/../c"), "/a/c");
  EXPECT_EQ(AbsolutePath("x.csv"), (std::filesystem::current_path() / "x.csv").string());
}

}  // namespace
}  // namespace pv::cli
