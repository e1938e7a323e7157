#include "tablestore/engine/handles.h"

#include <gtest/gtest.h>

#include <set>

namespace pv::engine {
namespace {

TEST(Handles, StaleAndForeignHandlesAreRefused) {
  HandleRegistry registry;
  int object = 0;
  const std::int32_t h = registry.Add(HandleKind::kTable, &object, 7);
  ASSERT_GT(h, 0);
  ASSERT_NE(registry.Find(h, HandleKind::kTable), nullptr);
  EXPECT_EQ(registry.Find(h, HandleKind::kTable)->index, 7U);
  EXPECT_EQ(registry.Find(h, HandleKind::kSession), nullptr);
  EXPECT_EQ(registry.Find(0, HandleKind::kTable), nullptr);
  EXPECT_EQ(registry.Find(-5, HandleKind::kTable), nullptr);
  EXPECT_EQ(registry.Find(h + 1, HandleKind::kTable), nullptr);
  registry.Remove(h);
  EXPECT_EQ(registry.Find(h, HandleKind::kTable), nullptr);
  registry.Remove(h);  // once more does no harm
}

TEST(Handles, AreNotReusedSoon) {
  HandleRegistry registry;
  int object = 0;
  std::set<std::int32_t> seen;
  for (int i = 0; i < 100'000; ++i) {
    const std::int32_t h = registry.Add(HandleKind::kField, &object);
    ASSERT_GT(h, 0);
    ASSERT_TRUE(seen.insert(h).second) << i;
    registry.Remove(h);
  }
}

TEST(Handles, AFullRegistryGivesZero) {
  HandleRegistry registry;
  int object = 0;
  int n = 0;
  std::int32_t last = 0;
  for (;; ++n) {
    const std::int32_t h = registry.Add(HandleKind::kField, &object);
    if (h == 0) break;
    last = h;
  }
  EXPECT_EQ(n, 65536);
  registry.Remove(last);
  EXPECT_GT(registry.Add(HandleKind::kField, &object), 0);
}

}  // namespace
}  // namespace pv::engine
