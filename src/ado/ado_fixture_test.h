// A machine in memory with a group data folder, for the tests of this layer.
#ifndef PV_ADO_ADO_FIXTURE_TEST_H_
#define PV_ADO_ADO_FIXTURE_TEST_H_

#include <gtest/gtest.h>

#include <string>

#include "automation/test_support.h"
#include "platform/memory/memory_system.h"
#include "pvgroupman/ado/ado_group_properties.h"
#include "pvgroupman/ado/data_source.h"
#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/member_table.h"
#include "pvgroupman/automation/progid.h"
#include "pvgroupman/support/settings.h"
#include "pvgroupman/tablestore/database.h"
#include "support/log.h"
#include "tablestore/table_layout_test.h"

namespace pv::ado {

using automation::CallMember;
using automation::Error;
using automation::ErrorFrom;
using automation::GetProperty;
using automation::MakeObject;
using automation::PutProperty;
using automation::Ref;
using automation::Value;
using tablestore::Database;
using tablestore::LayoutOf;

class AdoStoresTest : public testing::Test {
 protected:
  AdoStoresTest() {
    machine_.process.environment["PVGROUP_DATA"] = "/data";
    automation::RegisterClass<support::Settings>("PVGroupMan.Settings");
  }
  ~AdoStoresTest() override { support::StopLog(); }

  static void ExpectError(const Error& e, std::int32_t number, const std::string& source,
                          const std::string& description) {
    EXPECT_EQ(e.number(), number);
    EXPECT_EQ(e.source(), source);
    EXPECT_EQ(e.description(), description);
  }

  static Ref<CDataSource> Source(const std::string& id, const std::string& name) {
    const auto source = MakeObject<CDataSource>();
    source->SetId(id);
    source->SetName(name);
    source->SetConnectionString("Driver={X};Server=" + name);
    return source;
  }
  static void SaveSource(const std::string& id, const std::string& name) {
    Source(id, name)->SaveDataSource();
  }

  // A definition on the table "customers" with the conditions given by their values.
  static Ref<CADOGroupProperties> Definition(const std::string& id,
                                             std::initializer_list<const char*> values = {}) {
    const auto definition = MakeObject<CADOGroupProperties>();
    definition->SetId(id);
    definition->SetTable("customers");
    for (const char* value : values) {
      definition->GetFilters()->Add("country", "is", "=", value, "AND");
    }
    return definition;
  }

  static std::int32_t RecordsIn(const char* file) {
    const auto database = MakeObject<Database>();
    return database->OpenTable("/data", file)->GetRecordCount();
  }

  // The log of what `work` does, at the level of errors.
  template <typename Work>
  std::string LogOf(const Work& work) {
    support::OpenLog("/log.txt", support::kLogErrors);
    work();
    support::StopLog();
    return machine_.files.Get("/log.txt");
  }

  platform::MemorySystem machine_;
  platform::ScopedSystem scope_{machine_.system()};
};

}  // namespace pv::ado

#endif  // PV_ADO_ADO_FIXTURE_TEST_H_
