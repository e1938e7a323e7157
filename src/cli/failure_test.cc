#include "cli/failure.h"

#include <gtest/gtest.h>

#include "tablestore/engine/error_codes.h"

namespace pv::cli {
namespace {

TEST(ExitCodeOf, SortsStatuses) {
  EXPECT_EQ(ExitCodeOf(Status::Ok()), kDone);
  EXPECT_EQ(ExitCodeOf(Status::NotFound("x")), kUnavailable);
  EXPECT_EQ(ExitCodeOf(Status::NoSpace("x")), kUnavailable);
  EXPECT_EQ(ExitCodeOf(Status::Busy("x")), kLocked);
  EXPECT_EQ(ExitCodeOf(Status::Corrupt("x")), kDamaged);
  EXPECT_EQ(ExitCodeOf(Status::Invalid("x")), kUsage);
  EXPECT_EQ(ExitCodeOf(Status(StatusCode::kIoError, "x", engine::kErrMemoDamaged)), kDamaged);
}

TEST(ExitCodeOf, SortsNumbers) {
  EXPECT_EQ(ExitCodeOf(engine::kErrFileMissing), kUnavailable);
  EXPECT_EQ(ExitCodeOf(engine::kErrFileBusy), kLocked);
  EXPECT_EQ(ExitCodeOf(50), kLocked);
  EXPECT_EQ(ExitCodeOf(20), kFindings);
  EXPECT_EQ(ExitCodeOf(engine::kErrNotTable), kDamaged);
  EXPECT_EQ(ExitCodeOf(engine::kErrIndexDamaged), kDamaged);
  EXPECT_EQ(ExitCodeOf(2409), kUnavailable);
  EXPECT_EQ(ExitCodeOf(2407), kLocked);
  EXPECT_EQ(ExitCodeOf(321), kDamaged);
}

TEST(Check, ThrowsTheMessage) {
  EXPECT_NO_THROW(Check(Status::Ok()));
  try {
    Check(Status::Busy("people.pvg is in use"));
    FAIL() << "nothing was thrown";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code(), kLocked);
    EXPECT_STREQ(failure.what(), "people.pvg is in use");
  }
  EXPECT_EQ(Take(Result<int>(7)), 7);
  EXPECT_THROW(Take(Result<int>(Status::NotFound("x"))), Failure);
}

}  // namespace
}  // namespace pv::cli
