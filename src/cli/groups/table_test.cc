// Tables and groups that others hold for a moment.
#include "cli/groups/table.h"

#include <gtest/gtest.h>

#include "cli/failure.h"
#include "cli/groups/address_tag.h"
#include "cli/groups/catalogue.h"
#include "platform/memory/memory_system.h"
#include "server/class_list.h"

namespace pv::cli {
namespace {

class HeldTableTest : public testing::Test {
 protected:
  HeldTableTest() {
    server::RegisterPublicClasses();
    machine_.process.environment["PVGROUP_DATA"] = "/data";
    const Session session;
    Catalogue catalogue;
    entry_ = catalogue.Create(session, "group", "", {{"EMAIL", 'C', 30, 0, 0}}, "EMAIL");
  }

  // Does `work` while somebody has the group in a way that does not go with it, and leaves at our
  // third pause. The number of pauses.
  template <typename Work>
  int WhileHeld(Access access, const Work& work) {
    const Session others;
    Table holder(others, entry_.table_path(), access);
    int pauses = 0;
    machine_.files.SetHook(platform::Call::kSleep, [&](platform::Call, const std::string&) {
      if (++pauses == 3) holder.Close();
    });
    EXPECT_NO_THROW(work());
    machine_.files.SetHook(platform::Call::kSleep, {});
    return pauses;
  }

  platform::MemorySystem machine_;
  platform::ScopedSystem scope_{machine_.system()};
  GroupEntry entry_;
};

TEST_F(HeldTableTest, OpeningWaitsForThem) {
  const Session session;
  EXPECT_EQ(WhileHeld(Access::kExclusive,
                      [&] { Table(session, entry_.table_path(), Access::kShared).Close(); }),
            3);
}

TEST_F(HeldTableTest, CompactingWaitsForThem) {
  EXPECT_EQ(WhileHeld(Access::kShared, [&] { Catalogue().Compact(entry_); }), 3);
}

TEST_F(HeldTableTest, DeletingWaitsForThem) {
  EXPECT_EQ(WhileHeld(Access::kShared, [&] { Catalogue().Delete(entry_); }), 3);
  EXPECT_EQ(Catalogue().Find("group"), nullptr);
  EXPECT_FALSE(machine_.files.Has(entry_.table_path()));
}

TEST_F(HeldTableTest, TheWaitIsASecondAtMost) {
  const Session others;
  const Table holder(others, entry_.table_path(), Access::kShared);
  const auto expect_locked = [&](const std::function<void()>& work) {
    const std::uint64_t start = machine_.files.MonotonicMicroseconds();
    try {
      work();
      ADD_FAILURE() << "not refused";
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.code(), kLocked);
      EXPECT_NE(*failure.what(), 0);
    }
    const std::uint64_t waited = machine_.files.MonotonicMicroseconds() - start;
    EXPECT_GE(waited, 1'000'000U);
    EXPECT_LT(waited, 1'100'000U);
  };
  const Session session;
  expect_locked([&] { Table(session, entry_.table_path(), Access::kExclusive).Close(); });
  expect_locked([&] { Catalogue().Compact(entry_); });
  expect_locked([&] { Catalogue().Delete(entry_); });
  EXPECT_NE(Catalogue().Find("group"), nullptr);
}

}  // namespace
}  // namespace pv::cli
