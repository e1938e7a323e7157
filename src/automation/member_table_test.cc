#include "pvgroupman/automation/member_table.h"

#include <gtest/gtest.h>

#include "automation/sample_class_test.h"

namespace pv::automation {
namespace {

const Member& MemberOf(const MemberTable& table, const std::string& name, MemberKind kind) {
  for (const Member& m : table.members()) {
    if (m.name == name && m.kind == kind) return m;
  }
  throw std::runtime_error(name);
}

TEST(MemberTable, KeepsInterfaceOrder) {
  const auto sample = MakeObject<Sample>();
  std::vector<std::string> names;
  for (const Member& m : sample->Members().members()) names.push_back(m.name);
  EXPECT_EQ(names,
            (std::vector<std::string>{"Items", "Items", "Size", "Size", "Secret", "Join", "Double",
                                      "Count", "Paint", "Mirror", "Echo", "Fail"}));
  EXPECT_EQ(sample->Members().class_name(), "Sample");
}

TEST(MemberTable, NumbersMembersFromOneAndSharesIdsWithinAProperty) {
  const auto sample = MakeObject<Sample>();
  const MemberTable& t = sample->Members();
  EXPECT_EQ(MemberOf(t, "Items", MemberKind::kGet).id, 1);
  EXPECT_EQ(MemberOf(t, "Items", MemberKind::kSet).id, 1);
  EXPECT_EQ(MemberOf(t, "Size", MemberKind::kLet).id, 2);
  EXPECT_EQ(MemberOf(t, "Secret", MemberKind::kLet).id, 3);
  EXPECT_EQ(MemberOf(t, "Join", MemberKind::kMethod).id, 4);
}

TEST(MemberTable, DefaultMemberIsZeroEnumeratorMinusFourAndOthersHaveNoGap) {
  const auto items = MakeObject<Items>();
  const MemberTable& t = items->Members();
  EXPECT_EQ(t.IdOfName("Add"), 1);
  EXPECT_EQ(t.IdOfName("Count"), 2);
  EXPECT_EQ(t.IdOfName("Delete"), 3);
  EXPECT_EQ(t.IdOfName("Item"), 0);
  EXPECT_EQ(t.IdOfName("NewEnum"), -4);
}

TEST(MemberTable, IdOfNameIgnoresLetterCase) {
  const auto sample = MakeObject<Sample>();
  EXPECT_EQ(sample->Members().IdOfName("jOIN"), sample->Members().IdOfName("Join"));
  EXPECT_EQ(sample->Members().IdOfName("Nothing"), Object::kNoSuchId);
}

TEST(MemberTable, DescribesArgumentsAndResults) {
  const auto sample = MakeObject<Sample>();
  const MemberTable& t = sample->Members();
  const Member& join = MemberOf(t, "Join", MemberKind::kMethod);
  ASSERT_EQ(join.arguments.size(), 3U);
  EXPECT_EQ(join.arguments[0].name, "A");
  EXPECT_FALSE(join.arguments[0].optional);
  EXPECT_TRUE(join.arguments[1].optional);
  EXPECT_EQ(join.arguments[2].type.kind, TypeKind::kI4);
  EXPECT_EQ(join.result.kind, TypeKind::kText);

  const Member& twice = MemberOf(t, "Double", MemberKind::kMethod);
  EXPECT_TRUE(twice.arguments[0].by_reference);
  EXPECT_EQ(twice.result.kind, TypeKind::kBoolean);

  const Member& paint = MemberOf(t, "Paint", MemberKind::kMethod);
  ASSERT_NE(paint.arguments[0].type.enumeration, nullptr);
  EXPECT_STREQ(paint.arguments[0].type.enumeration->name, "Colour");
  EXPECT_EQ(paint.arguments[0].type.enumeration->names[1].value, 7);

  const Member& mirror = MemberOf(t, "Mirror", MemberKind::kMethod);
  ASSERT_NE(mirror.result.record, nullptr);
  EXPECT_STREQ(mirror.result.record->fields[1].name, "X");

  const Member& items = MemberOf(t, "Items", MemberKind::kGet);
  EXPECT_STREQ(items.result.class_name, "Items");
  EXPECT_EQ(MemberOf(t, "Echo", MemberKind::kMethod).result.kind, TypeKind::kVariant);
  EXPECT_EQ(MemberOf(t, "Fail", MemberKind::kMethod).result.kind, TypeKind::kVoid);
}

TEST(MemberTable, FindTellsTheKindsOfAPropertyApart) {
  const auto sample = MakeObject<Sample>();
  const MemberTable& t = sample->Members();
  EXPECT_EQ(t.Find(2, kCallGet)->kind, MemberKind::kGet);
  EXPECT_EQ(t.Find(2, kCallLet)->kind, MemberKind::kLet);
  EXPECT_EQ(t.Find(2, kCallSet), nullptr);
  EXPECT_EQ(t.Find(1, kCallSet)->kind, MemberKind::kSet);
  EXPECT_EQ(t.Find(3, kCallGet), nullptr);
  EXPECT_EQ(t.Find(99, kCallMethod), nullptr);
}

}  // namespace
}  // namespace pv::automation
