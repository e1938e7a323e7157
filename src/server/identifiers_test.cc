#include "server/identifiers.h"

#include <gtest/gtest.h>

#include <set>

#include "server/class_list.h"

namespace pv::server {
namespace {

TEST(Identifiers, EveryClassHasSome) {
  for (const PublicClass& entry : PublicClasses()) {
    EXPECT_NE(FindClassIdentifiers(entry.name), nullptr)
        << entry.name << " needs a line in identifiers.cc";
  }
}

TEST(Identifiers, NoneIsUsedTwice) {
  std::set<std::string> seen = {ToText(kTypeLibraryId)};
  for (const char* record : {"FieldStruct", "IndexStruct"}) {
    ASSERT_NE(FindRecordIdentifier(record), nullptr);
    EXPECT_TRUE(seen.insert(ToText(*FindRecordIdentifier(record))).second) << record;
  }
  std::set<std::string_view> names;
  for (const ClassIdentifiers& entry : AllClassIdentifiers()) {
    EXPECT_TRUE(names.insert(entry.name).second) << entry.name;
    EXPECT_TRUE(seen.insert(ToText(entry.class_id)).second) << entry.name;
    EXPECT_TRUE(seen.insert(ToText(entry.interface_id)).second) << entry.name;
  }
}

// Programs out there know them.
TEST(Identifiers, StayWhatTheyWere) {
  EXPECT_EQ(ToText(kTypeLibraryId), "640218EA-4135-4687-BFF6-45ACD1155DA4");
  EXPECT_EQ(ToText(FindClassIdentifiers("Groups")->class_id),
            "25A317FB-CA5E-4149-A9E0-FEA356668D79");
  EXPECT_EQ(ToText(FindClassIdentifiers("Groups")->interface_id),
            "51823763-FF83-4FCE-BCEC-3F362D07F510");
  EXPECT_EQ(ToText(FindClassIdentifiers("Recipients")->class_id),
            "28A38B16-F485-4090-AC3F-067D433718A6");
  EXPECT_EQ(ToText(*FindRecordIdentifier("FieldStruct")), "CB31A6EE-3719-4017-AE70-B322ABB72EEA");
}

TEST(Identifiers, UnknownNamesHaveNone) {
  EXPECT_EQ(FindClassIdentifiers("groups"), nullptr);
  EXPECT_EQ(FindRecordIdentifier("Groups"), nullptr);
}

}  // namespace
}  // namespace pv::server
