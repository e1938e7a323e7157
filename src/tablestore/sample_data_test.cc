// Tables that other programs of the family wrote, seen through the classes. They are only read.
#include <gtest/gtest.h>

#include <cstdlib>

#include "automation/test_support.h"
#include "base/text.h"
#include "pvgroupman/tablestore/database.h"

namespace pv::tablestore {
namespace {

using automation::Ref;
using automation::Value;

class SampleDataTest : public testing::Test {
 protected:
  void SetUp() override {
    const char* const folder = std::getenv("PV_SAMPLE_DATA");
    if (folder == nullptr) GTEST_SKIP() << "PV_SAMPLE_DATA names no folder of sample data";
    folder_ = std::string(folder) + "/foxpro";
  }
  Ref<Recipients> Open(const std::string& name, const std::string& tag = "") {
    return database_->OpenTable(folder_, name, AccessModeType::kShared, tag);
  }
  static std::string Text(const Ref<Recipients>& cursor, const char* field) {
    return cursor->GetFields()->Find(field)->GetValue().ToText();
  }

  std::string folder_;
  Ref<Database> database_ = automation::MakeObject<Database>();
};

TEST_F(SampleDataTest, EveryValueOfEveryTableCanBeRead) {
  const std::pair<const char*, std::int32_t> tables[] = {{"contacts.dbf", 5},
                                                         {"customer.dbf", 92},
                                                         {"calls.dbf", 16},
                                                         {"orders.dbf", 1078},
                                                         {"orditems.dbf", 2820}};
  for (const auto& [name, records] : tables) {
    const auto cursor = Open(name);
    EXPECT_EQ(cursor->GetRecordCount(), records) << name;
    std::int32_t walked = 0;
    for (bool more = cursor->MoveFirst(); more; more = cursor->MoveNext()) {
      ++walked;
      const auto fields = cursor->GetFields();
      for (std::int32_t i = 0; i < fields->Count(); ++i) {
        EXPECT_FALSE(fields->Item(i)->Current().IsEmpty()) << name << " " << walked << " " << i;
      }
    }
    EXPECT_EQ(walked, records) << name;
  }
}

TEST_F(SampleDataTest, ValuesHaveTheirSubtypes) {
  const auto contacts = Open("contacts.dbf");
  contacts->MoveFirst();
  const auto fields = contacts->GetFields();
  EXPECT_EQ(fields->Find("contact_id")->GetValue(), Value(1));
  EXPECT_EQ(Text(contacts, "email_name"), "nancyd@anywhere.com");
  EXPECT_EQ(Text(contacts, "birthdate"), "1963-04-08");
  EXPECT_EQ(fields->Find("last_meeti")->GetValue(), Value("")) << "an empty date-time";
  EXPECT_EQ(Text(contacts, "notes").substr(0, 36), "Education includes a B.A. in Psychol");

  const auto calls = Open("calls.dbf");
  calls->MoveFirst();
  EXPECT_EQ(Text(calls, "call_date"), "1994-11-21 13:35:39");

  const auto orders = Open("orders.dbf");
  orders->MoveFirst();
  EXPECT_EQ(orders->GetFields()->Find("order_net")->GetValue(),
            Value(automation::Currency{1'070'500}));
  EXPECT_EQ(orders->GetFields()->Find("order_dsc")->GetValue(), Value(5.0));
}

TEST_F(SampleDataTest, TagsOrderAndFind) {
  const auto customers = Open("customer.dbf", "country");
  int walked = 0;
  std::string previous;
  for (bool more = customers->MoveFirst(); more; more = customers->MoveNext()) {
    const std::string country = ToUpper(Text(customers, "country"));
    EXPECT_LE(previous, country);
    previous = country;
    ++walked;
  }
  EXPECT_EQ(walked, 92);
  EXPECT_EQ(previous, "VENEZUELA");

  const auto by_id = Open("customer.dbf", "CUST_ID");
  EXPECT_EQ(by_id->Find("cust_id = 'MEREP'"), Value(true));
  EXPECT_EQ(Text(by_id, "company"), "Mère Paillarde");
  EXPECT_FALSE(by_id->SeekFirst("NOBODY", ""));

  const auto items = Open("orditems.dbf", "ORDER_ID");
  EXPECT_TRUE(items->SeekFirst(" 10001    1", ""));
  EXPECT_EQ(items->GetFields()->Find("quantity")->GetValue(), Value(42.0));
}

}  // namespace
}  // namespace pv::tablestore
