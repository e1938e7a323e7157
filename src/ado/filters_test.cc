#include "pvgroupman/ado/filters.h"

#include "ado/ado_fixture_test.h"

namespace pv::ado {
namespace {

TEST(Filters, AConditionHoldsFiveTexts) {
  const auto filter = MakeObject<CFilter>();
  for (const char* member : {"LogicalOp", "FieldName", "OpDisplay", "OpSQL", "Value"}) {
    EXPECT_EQ(GetProperty(filter, member), Value(""));
    PutProperty(filter, member, Value(std::string("x") + member));
    EXPECT_EQ(GetProperty(filter, member), Value(std::string("x") + member));
  }
}

TEST(Filters, AddTakesItsArgumentsInOrderAndAppends) {
  const auto filters = MakeObject<CFilters>();
  const auto added = CallMember(filters, "Add", {"F", "is", "=", "'x'", "AND"}).ToObject();
  EXPECT_EQ(GetProperty(added, "FieldName"), Value("F"));
  EXPECT_EQ(GetProperty(added, "OpDisplay"), Value("is"));
  EXPECT_EQ(GetProperty(added, "OpSQL"), Value("="));
  EXPECT_EQ(GetProperty(added, "Value"), Value("'x'"));
  EXPECT_EQ(GetProperty(added, "LogicalOp"), Value("AND"));
  filters->Add("A", "is", "=", "1", "OR");
  EXPECT_EQ(filters->Count(), 2);
  EXPECT_EQ(filters->Item(2)->GetFieldName(), "A") << "the order is that of adding";
}

TEST(Filters, SeveralConditionsOnOneFieldAreKept) {
  const auto filters = MakeObject<CFilters>();
  filters->Add("Age", "at least", ">=", "18", "AND");
  filters->Add("Age", "at most", "<=", "18", "AND");
  filters->Add("Age", "at most", "<=", "80", "AND");
  filters->Add("Age", "at most", "<=", "80", "OR");
  EXPECT_EQ(filters->Count(), 4);
}

TEST(Filters, ConditionsEqualInFourTextsCollide) {
  const auto filters = MakeObject<CFilters>();
  filters->Add("Age", "is", "=", "18", "AND");
  EXPECT_EQ(ErrorFrom([&] { filters->Add("Age", "is", "<>", "18", "AND"); }).number(), 457)
      << "the operator of the statement has no part in the key";
  EXPECT_EQ(filters->Count(), 1);
}

TEST(Filters, TextsThatAreJoinedAlikeAreKeptApart) {
  const auto filters = MakeObject<CFilters>();
  filters->Add("Age", "is", "=", "1", "");
  filters->Add("Ag", "eis", "=", "1", "");
  EXPECT_EQ(filters->Count(), 2);
}

TEST(Filters, DeleteAndEnumerate) {
  const auto filters = MakeObject<CFilters>();
  filters->Add("A", "", "=", "1", "");
  filters->Add("B", "", "=", "2", "");
  filters->Delete(1);
  EXPECT_EQ(ErrorFrom([&] { filters->Item(2); }).number(), 9);
  const auto items = automation::Enumerate(filters);
  Value item;
  ASSERT_TRUE(items->Next(&item));
  EXPECT_EQ(GetProperty(item.ToObject(), "FieldName"), Value("B"));
  EXPECT_FALSE(items->Next(&item));
}

}  // namespace
}  // namespace pv::ado
