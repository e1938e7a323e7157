#include "server/class_list.h"

#include <gtest/gtest.h>

#include <set>

#include "automation/test_support.h"
#include "platform/memory/memory_system.h"
#include "pvgroupman/automation/member_table.h"

namespace pv::server {
namespace {

class ClassListTest : public testing::Test {
 protected:
  ClassListTest() { RegisterPublicClasses(); }
  platform::MemorySystem machine_;
  platform::ScopedSystem scope_{machine_.system()};
};

TEST_F(ClassListTest, EveryClassIsCreatedByItsProgId) {
  for (const PublicClass& entry : PublicClasses()) {
    const auto object = automation::CreateObject(ProgIdOf(entry));
    EXPECT_EQ(object->Members().class_name(), entry.name);
    EXPECT_EQ(object->reference_count(), 1);
  }
}

TEST_F(ClassListTest, CreatingThemAllWritesNothing) {
  for (const PublicClass& entry : PublicClasses()) automation::CreateObject(ProgIdOf(entry));
  EXPECT_TRUE(machine_.files.Events().empty());
}

TEST_F(ClassListTest, NothingElseIsRegistered) {
  std::set<std::string> expected;
  for (const PublicClass& entry : PublicClasses()) expected.insert(ProgIdOf(entry));
  const auto names = automation::RegisteredClasses();
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()), expected);
}

TEST_F(ClassListTest, DispatchIdsAreSound) {
  for (const PublicClass& entry : PublicClasses()) {
    const auto object = automation::CreateObject(ProgIdOf(entry));
    std::set<std::int32_t> ids;
    std::set<std::pair<std::int32_t, automation::MemberKind>> reached;
    for (const automation::Member& m : object->Members().members()) {
      ids.insert(m.id);
      EXPECT_TRUE(reached.insert({m.id, m.kind}).second) << entry.name << "." << m.name;
      EXPECT_EQ(object->IdOfName(m.name), m.id) << entry.name << "." << m.name;
    }
    const auto plain = static_cast<std::int32_t>(ids.size()) -
                       static_cast<std::int32_t>(ids.count(0)) -
                       static_cast<std::int32_t>(ids.count(-4));
    EXPECT_EQ(*ids.rbegin(), plain) << entry.name << ": the numbers have gaps";
  }
}

TEST_F(ClassListTest, CollectionsHaveADefaultMemberAndAnEnumerator) {
  int collections = 0;
  for (const PublicClass& entry : PublicClasses()) {
    const auto object = automation::CreateObject(ProgIdOf(entry));
    if (object->IdOfName("NewEnum") == automation::Object::kNoSuchId) continue;
    ++collections;
    EXPECT_EQ(object->IdOfName("NewEnum"), automation::kEnumeratorId) << entry.name;
    EXPECT_EQ(object->IdOfName("Item"), automation::kDefaultId) << entry.name;
    automation::Value item;
    EXPECT_FALSE(automation::Enumerate(object)->Next(&item)) << entry.name;
  }
  EXPECT_EQ(collections, 8);
}

// Sees to it that arguments and results that are objects or enumerations name something.
TEST_F(ClassListTest, TypesOfMembersAreKnown) {
  std::set<std::string> names = {"Enumerator"};
  for (const PublicClass& entry : PublicClasses()) names.insert(entry.name);
  const auto check = [&](const automation::Type& type, const std::string& where) {
    if (type.kind == automation::TypeKind::kObject && type.class_name != nullptr) {
      EXPECT_TRUE(names.count(type.class_name) == 1) << where << ": " << type.class_name;
    }
    if (type.kind == automation::TypeKind::kEnumeration) {
      ASSERT_NE(type.enumeration, nullptr) << where;
      EXPECT_FALSE(type.enumeration->names.empty()) << where;
    }
    if (type.kind == automation::TypeKind::kRecords) {
      ASSERT_NE(type.record, nullptr) << where;
      EXPECT_FALSE(type.record->fields.empty()) << where;
    }
  };
  for (const PublicClass& entry : PublicClasses()) {
    const auto object = automation::CreateObject(ProgIdOf(entry));
    for (const automation::Member& m : object->Members().members()) {
      check(m.result, entry.name + ("." + m.name));
      for (const auto& a : m.arguments) {
        EXPECT_FALSE(a.name.empty());
        check(a.type, entry.name + ("." + m.name) + "(" + a.name + ")");
      }
    }
  }
}

}  // namespace
}  // namespace pv::server
