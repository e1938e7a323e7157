// A machine in memory with a session, for the tests of this layer.
#ifndef PV_TABLESTORE_TABLE_FIXTURE_TEST_H_
#define PV_TABLESTORE_TABLE_FIXTURE_TEST_H_

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "automation/test_support.h"
#include "platform/memory/memory_system.h"
#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/member_table.h"
#include "pvgroupman/tablestore/database.h"
#include "support/log.h"
#include "tablestore/engine/operations.h"

namespace pv::tablestore {

using automation::CallMember;
using automation::Error;
using automation::ErrorFrom;
using automation::GetProperty;
using automation::Ref;
using automation::Value;

class TableTest : public testing::Test {
 protected:
  TableTest() { EXPECT_TRUE(machine_.files.CreateFolders("/data").ok()); }
  ~TableTest() override { support::StopLog(); }

  // EMAIL C 30, NAME C 20, AGE N 5; tag Email (unique) on EMAIL, both filtered on live records.
  Ref<Recipients> MakePeople(const std::string& name = "people.pvg",
                             const std::string& index = "Email") {
    return database_->CreateTable("/data", name,
                                  {{"EMAIL", FieldType::kCharacter, 30, 0, false},
                                   {"NAME", FieldType::kCharacter, 20, 0, false},
                                   {"AGE", FieldType::kNumeric, 5, 0, false}},
                                  {{"Email", "EMAIL", ".NOT. DELETED()", true, false},
                                   {"Name", "NAME", ".NOT. DELETED()", false, false}},
                                  std::nullopt, index);
  }

  static void AddPerson(const Ref<Recipients>& cursor, const std::string& email,
                        const std::string& name = "", int age = 0) {
    cursor->AddNew();
    Set(cursor, "Email", email);
    Set(cursor, "Name", name);
    Set(cursor, "Age", age);
    cursor->Update();
  }

  // One table with one field F of a type, and its cursor on a new record.
  Ref<Recipients> MakeOne(FieldType type, std::int16_t length = 10, std::int16_t decimals = 0,
                          bool nulls = false) {
    const std::string name = "one" + std::to_string(++tables_) + ".pvg";
    Ref<Recipients> cursor =
        database_->CreateTable("/data", name, {{"F", type, length, decimals, nulls}}, {});
    cursor->AddNew();
    return cursor;
  }

  // Writes a value through field F, moves away and back, and returns what F then holds.
  static Value Through(const Ref<Recipients>& cursor, const Value& value) {
    Set(cursor, "F", value);
    cursor->Update();
    cursor->MoveLast();
    return Get(cursor, "F");
  }

  static Value Get(const Ref<Recipients>& cursor, const std::string& name) {
    return cursor->GetFields()->Find(name)->GetValue();
  }
  static void Set(const Ref<Recipients>& cursor, const std::string& name, const Value& value) {
    cursor->GetFields()->Find(name)->SetValue(value);
  }

  // Expects an error with all its parts.
  static void ExpectError(const Error& e, std::int32_t number, const std::string& source,
                          const std::string& description) {
    EXPECT_EQ(e.number(), number);
    EXPECT_EQ(e.source(), source);
    EXPECT_EQ(e.description(), description);
  }

  platform::MemorySystem machine_;
  platform::ScopedSystem scope_{machine_.system()};
  Ref<Database> database_ = automation::MakeObject<Database>();
  int tables_ = 0;
};

}  // namespace pv::tablestore

#endif  // PV_TABLESTORE_TABLE_FIXTURE_TEST_H_
