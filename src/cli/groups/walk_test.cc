#include "cli/groups/walk.h"

#include <gtest/gtest.h>

#include "cli/failure.h"
#include "cli/groups/address_tag.h"
#include "platform/memory/memory_system.h"

namespace pv::cli {
namespace {

class WalkTest : public testing::Test {
 protected:
  WalkTest() {
    EXPECT_TRUE(machine_.files.CreateFolders("/t").ok());
    table_ = Table::Create(session_, "/t/g.pvg", {{"EMAIL", 'C', 30, 0, 0}, {"N", 'N', 4, 0, 0}},
                           AddressTag("EMAIL"));
    for (const char* address : {"C@x", "a@x", "b@x"}) {
      engine::d4appendStart(table_->handle(), 0);
      engine::f4assignCharVB(engine::d4field(table_->handle(), "EMAIL"), address);
      table_->Checked(engine::d4append(table_->handle()));
    }
    table_->Checked(engine::d4go(table_->handle(), 3));
    table_->Checked(engine::d4delete(table_->handle()));
  }

  std::string Print(const WalkOptions& options) {
    const auto out = OutputStream::ToFile("/out", true);
    TableCursor cursor(table_.get());
    PrintRecords(&cursor, options, out.get());
    out->Finish();
    return machine_.files.Get("/out");
  }

  platform::MemorySystem machine_;
  platform::ScopedSystem scope_{machine_.system()};
  Session session_;
  std::unique_ptr<Table> table_;
};

TEST_F(WalkTest, PrintsLiveRecordsInOrder) {
  EXPECT_EQ(Print({}), "EMAIL\tN\nC@x\t\na@x\t\n");
  ASSERT_TRUE(table_->SelectTag(kAddressTag));
  EXPECT_EQ(Print({}), "EMAIL\tN\nC@x\t\na@x\t\n");
}

TEST_F(WalkTest, PrintsDeletedRecordsWhenAsked) {
  WalkOptions options;
  options.deleted = true;
  options.fields = {"email"};
  EXPECT_EQ(Print(options), "deleted\tEMAIL\nfalse\tC@x\nfalse\ta@x\ntrue\tb@x\n");
}

TEST_F(WalkTest, OffsetAndLimit) {
  WalkOptions options;
  options.offset = 1;
  options.limit = 5;
  EXPECT_EQ(Print(options), "EMAIL\tN\na@x\t\n");
  options.limit = 0;
  EXPECT_EQ(Print(options), "EMAIL\tN\n");
}

TEST_F(WalkTest, AnUnknownFieldIsRefused) {
  WalkOptions options;
  options.fields = {"NOPE"};
  EXPECT_THROW(Print(options), Failure);
}

TEST_F(WalkTest, FindsAddressesInAnyLetterCase) {
  EXPECT_EQ(FindAddress(table_.get(), "C@x"), 1);
  EXPECT_EQ(FindAddress(table_.get(), "c@X"), 1);
  EXPECT_EQ(FindAddress(table_.get(), " A@X "), 2);
  EXPECT_EQ(FindAddress(table_.get(), "b@x"), 0) << "it is deleted";
  EXPECT_EQ(FindAddress(table_.get(), "a@"), 0) << "a part is no match";
  EXPECT_EQ(FindAddress(table_.get(), "\xE6\x97\xA5@x"), 0);
}

TEST_F(WalkTest, CountsLiveRecords) { EXPECT_EQ(CountLive(table_.get()), 2); }

TEST_F(WalkTest, TheAddressFieldIsTheOneOfTheTag) {
  EXPECT_EQ(AddressFieldOf(table_->handle()), "EMAIL");
  const auto other =
      Table::Create(session_, "/t/o.pvg", {{"MAIL", 'C', 30, 0, 0}}, AddressTag("MAIL"));
  EXPECT_EQ(AddressFieldOf(other->handle()), "MAIL");
  const auto none = Table::Create(session_, "/t/n.pvg", {{"MAIL", 'C', 30, 0, 0}}, {});
  EXPECT_EQ(AddressFieldOf(none->handle()), "");
}

}  // namespace
}  // namespace pv::cli
