#include "cli/output/output_stream.h"

#include <gtest/gtest.h>

#include "cli/failure.h"
#include "platform/memory/memory_system.h"

namespace pv::cli {
namespace {

class OutputStreamTest : public testing::Test {
 protected:
  platform::MemorySystem machine_;
  platform::ScopedSystem scope_{machine_.system()};
};

TEST_F(OutputStreamTest, AFileAppearsWhole) {
  const std::string big(1'000'000, 'x');
  const auto out = OutputStream::ToFile("/out.csv", false);
  out->Write(big);
  out->Put('\n');
  EXPECT_FALSE(machine_.files.Has("/out.csv"));
  EXPECT_EQ(out->written(), big.size() + 1);
  out->Finish();
  EXPECT_EQ(machine_.files.Get("/out.csv"), big + "\n");
  EXPECT_FALSE(machine_.files.Has("/out.csv.part"));
}

TEST_F(OutputStreamTest, WithoutFinishNothingIsLeft) {
  { OutputStream::ToFile("/out.csv", false)->Write("x"); }
  EXPECT_FALSE(machine_.files.Has("/out.csv"));
  EXPECT_FALSE(machine_.files.Has("/out.csv.part"));
}

TEST_F(OutputStreamTest, ReplacesOnlyWhenAllowed) {
  machine_.files.Put("/out.csv", "old");
  EXPECT_THROW(OutputStream::ToFile("/out.csv", false), Failure);
  const auto out = OutputStream::ToFile("/out.csv", true);
  out->Write("new");
  EXPECT_EQ(machine_.files.Get("/out.csv"), "old");
  out->Finish();
  EXPECT_EQ(machine_.files.Get("/out.csv"), "new");
}

TEST_F(OutputStreamTest, AFileThatAppearsMeanwhileIsKept) {
  const auto out = OutputStream::ToFile("/out.csv", false);
  out->Write("new");
  machine_.files.Put("/out.csv", "theirs");
  EXPECT_THROW(out->Finish(), Failure);
  EXPECT_EQ(machine_.files.Get("/out.csv"), "theirs");
}

TEST_F(OutputStreamTest, AFullDiskIsAFailure) {
  const auto out = OutputStream::ToFile("/out.csv", false);
  machine_.files.FailCall(1, platform::Call::kWrite, platform::Fault::kNoSpace);
  out->Write("x");
  EXPECT_THROW(out->Finish(), Failure);
}

}  // namespace
}  // namespace pv::cli
