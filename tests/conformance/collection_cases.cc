// Classes by ProgID, and the collections.
#include "conformance/door.h"
#include "server/class_list.h"

namespace pv::conformance {
namespace {

using Names = std::vector<std::string>;

class CollectionCase : public Case {};

TEST_F(CollectionCase, EveryClassIsCreatedByItsProgId) {
  for (const server::PublicClass& entry : server::PublicClasses()) {
    EXPECT_EQ(ErrorFrom([&] { EXPECT_TRUE(Create(entry.name)) << entry.name; }).number(), 0)
        << entry.name;
  }
  ExpectError([] { Create("NoSuchClass"); }, 429, "*", "*");
}

TEST_F(CollectionCase, ItemsAreFoundByKeyAndPosition) {
  const Ref<Object> fields = FieldDefs();
  EXPECT_EQ(GetProperty(fields, "Count"), Value(6));
  EXPECT_EQ(Walk(fields), (Names{"Email", "Name", "Points", "Joined", "Paid", "Active"}));
  EXPECT_EQ(GetProperty(Item(fields, "POINTS"), "Length"), Value(std::int16_t{10}));
  EXPECT_EQ(GetProperty(Item(fields, 3), "Name"), Value("Points"));
  EXPECT_EQ(GetProperty(Item(fields, 2.6), "Name"), Value("Points")) << "rounded";
  EXPECT_FALSE(Item(fields, 0));
  EXPECT_FALSE(Item(fields, "none"));
  ExpectError(
      [&] {
        CallMember(fields, "Add", {"EMAIL", 0, 5, 0, false});
      },
      457, "*", "This key is already associated with an element of this collection");
  ExpectError([&] { CallMember(fields, "Delete", {"none"}); }, 5, "*",
              "Invalid procedure call or argument");
  ExpectError([&] { CallMember(fields, "Delete", {99}); }, 9, "*", "Subscript out of range");
  CallMember(fields, "Delete", {"joined"});
  CallMember(fields, "Delete", {1});
  EXPECT_EQ(Walk(fields), (Names{"Name", "Points", "Paid", "Active"}));
  ExpectError([&] { Item(IndexDefs(), "none"); }, 5, "*", "*");
  ExpectError([&] { Item(IndexDefs(), 99); }, 9, "*", "*");
}

TEST_F(CollectionCase, FieldsTellA16BitFromA32BitIndex) {
  const Ref<Object> fields = Create("Fields");
  CallMember(fields, "Add", {"One", 1});
  CallMember(fields, "Add", {"Two", "zwei"});
  CallMember(fields, "Add", {"Three", Value::Null()});
  EXPECT_EQ(GetProperty(Item(fields, std::int16_t{1}), "Name"), Value("One"));
  EXPECT_EQ(GetProperty(Item(fields, std::int32_t{1}), "Name"), Value("Two"));
  EXPECT_EQ(GetProperty(Item(fields, std::int32_t{0}), "Name"), Value("One"));
  EXPECT_EQ(GetProperty(Item(fields, 1.0), "Name"), Value("One"));
  EXPECT_EQ(GetProperty(Item(fields, "TWO"), "Value"), Value("zwei"));
  EXPECT_TRUE(GetProperty(Item(fields, "three"), "Value").IsNull());
  EXPECT_FALSE(Item(fields, std::int16_t{0}));
  EXPECT_FALSE(Item(fields, std::int32_t{3}));
  CallMember(fields, "Delete", {std::int32_t{0}});
  CallMember(fields, "Delete", {std::int16_t{2}});
  EXPECT_EQ(Walk(fields), Names{"Two"});
}

TEST_F(CollectionCase, WalkIsNotDisturbedByChanges) {
  const Ref<Object> indexes = IndexDefs();
  const auto items = automation::Enumerate(indexes);
  CallMember(indexes, "Delete", {1});
  CallMember(indexes, "Add", {"More", "Name", "", false, false});
  Names seen;
  for (Value item; items->Next(&item);) {
    seen.push_back(GetProperty(item.ToObject(), "Name").ToText());
  }
  EXPECT_EQ(seen, (Names{"Email", "Points"}));
  EXPECT_EQ(Walk(indexes), (Names{"Points", "More"}));
  EXPECT_EQ(Walk(Create("GroupLinks")), Names{});
}

TEST_F(CollectionCase, ValuesKeepTheirSubtype) {
  const Ref<Object> field = Create("Field");
  for (const Value& value :
       {Value(), Value::Null(), Value(std::int16_t{7}), Value(7), Value(7.5), Value(true),
        Value("Text \xE2\x82\xAC \xF0\x9F\x98\x80"), Value(""),
        Value(automation::Currency{-12'345}), Value(automation::Date{1.25}),
        Value(automation::Bytes{0, 1, 255}), Value(automation::TextArray{"a", "", "ü"})}) {
    PutProperty(field, "Value", value);
    const Value back = GetProperty(field, "Value");
    EXPECT_EQ(back.type(), value.type());
    EXPECT_TRUE(back == value) << static_cast<int>(value.type());
  }
}

}  // namespace
}  // namespace pv::conformance
