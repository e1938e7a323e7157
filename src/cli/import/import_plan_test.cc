#include "cli/import/import_plan.h"

#include <gtest/gtest.h>

#include "cli/failure.h"

namespace pv::cli {
namespace {

using Strings = std::vector<std::string>;

class ImportPlanTest : public testing::Test {
 protected:
  // Plans for columns that hold the given values; "FIELD TYPE" of each column.
  Strings Plan(const Strings& headings, const std::vector<Strings>& values) {
    const PageEncoder encoder(CodePage::Windows1252());
    std::vector<ColumnStats> stats(headings.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
      for (const std::string& value : values[i]) stats[i].Add(value, encoder);
    }
    plan_ = MakePlan(headings, stats, options_, group_);
    Strings out;
    for (const PlannedColumn& column : plan_.columns) {
      out.push_back(column.field.empty() ? "-" : column.field + " " + DescribeShape(column.shape));
    }
    return out;
  }
  void Map(const std::string& text) { options_.mappings.push_back(ParseMapping(text)); }
  void GroupHas(const std::string& name, const FieldShape& shape) {
    group_.fields.push_back({0, name, shape});
  }

  ImportOptions options_;
  GroupShape group_;
  ImportPlan plan_;
};

TEST_F(ImportPlanTest, NewGroup) {
  EXPECT_EQ(
      Plan({"Name", "E-Mail", "Joined", "Zip"}, {{"Ann"}, {"a@b"}, {"2020-01-02"}, {"12345"}}),
      (Strings{"NAME C(10)", "EMAIL C(100)", "JOINED D", "ZIP C(10)"}));
  EXPECT_EQ(plan_.address_column, 1U);
  const auto fields = plan_.NewFields();
  ASSERT_EQ(fields.size(), 4U);
  EXPECT_EQ(fields[0].name, "EMAIL");
  EXPECT_EQ(fields[0].length, 100U);
  EXPECT_EQ(fields[1].name, "NAME");
}

TEST_F(ImportPlanTest, TheAddressIsFoundByContent) {
  Plan({"Customer", "Login", "Where"}, {{"Ann", "Bob"}, {"a@b", "c@d"}, {"x", "y@z"}});
  EXPECT_EQ(plan_.address_column, 1U);
  Plan({"1", "2"}, {{"Ann", "Bob"}, {"a@b", "c@d"}});
  EXPECT_EQ(plan_.address_column, 1U);
}

TEST_F(ImportPlanTest, AHeadingWithoutAddressesBelowItDoesNotCount) {
  Plan({"Adresse", "Kontakt"}, {{"Hauptstr. 1", "Ring 2"}, {"a@b", "c@d"}});
  EXPECT_EQ(plan_.address_column, 1U);
}

TEST_F(ImportPlanTest, ACertainHeadingIsEnoughWhereNoColumnHoldsAddresses) {
  Plan({"Name", "E-mail"}, {{"Ann"}, {"not one"}});
  EXPECT_EQ(plan_.address_column, 1U);
  Plan({"Contact", "E-mail"}, {{"a@b"}, {"not one"}});
  EXPECT_EQ(plan_.address_column, 0U);
}

TEST_F(ImportPlanTest, WithoutAddressesThereIsNoPlan) {
  EXPECT_THROW(Plan({"Name", "City"}, {{"Ann"}, {"Rome"}}), Failure);
}

TEST_F(ImportPlanTest, ASecondAddressColumnIsAFieldLikeOthers) {
  EXPECT_EQ(Plan({"Email", "Email 2"}, {{"a@b"}, {"c@d"}}),
            (Strings{"EMAIL C(100)", "EMAIL_2 C(10)"}));
}

TEST_F(ImportPlanTest, Mappings) {
  Map("Name=FULLNAME:text(80)");
  Map("Notes=");
  Map("4=Email");
  EXPECT_EQ(Plan({"Name", "Notes", "Email", "Other"}, {{"Ann"}, {"x"}, {"a@b"}, {"c@d"}}),
            (Strings{"FULLNAME C(80)", "-", "EMAIL2 C(10)", "EMAIL C(100)"}));
  EXPECT_EQ(plan_.NewFields().size(), 3U);
}

TEST_F(ImportPlanTest, MappingsThatNameNothingAreRefused) {
  Map("Nme=X");
  EXPECT_THROW(Plan({"Name", "Email"}, {{"Ann"}, {"a@b"}}), Failure);
}

TEST_F(ImportPlanTest, TwoColumnsCannotShareAField) {
  Map("A=X");
  Map("B=X");
  EXPECT_THROW(Plan({"A", "B", "Email"}, {{"1"}, {"2"}, {"a@b"}}), Failure);
}

TEST_F(ImportPlanTest, TheAddressFieldIsTextThatCanBeAKey) {
  Map("Email=Email:memo");
  EXPECT_THROW(Plan({"Email"}, {{"a@b"}}), Failure);
  options_.mappings.clear();
  Map("Email=Email:text(250)");
  EXPECT_THROW(Plan({"Email"}, {{"a@b"}}), Failure);
  options_.mappings.clear();
  EXPECT_EQ(Plan({"Email"}, {{std::string(300, 'x') + "@b"}}), (Strings{"EMAIL C(240)"}));
}

TEST_F(ImportPlanTest, ExistingGroup) {
  GroupHas("EMAIL", {'C', 100, 0});
  GroupHas("FIRST_NAME", {'C', 20, 0});
  GroupHas("BALANCE", {'N', 8, 2});
  EXPECT_EQ(Plan({"E-mail", "First Name", "balance"}, {{"a@b"}, {"Ann"}, {"1,5"}}),
            (Strings{"EMAIL C(100)", "FIRST_NAME C(20)", "BALANCE N(8,2)"}));
  EXPECT_EQ(plan_.columns[2].reading.decimal, ',');
}

TEST_F(ImportPlanTest, AColumnWithoutAFieldIsRefused) {
  GroupHas("EMAIL", {'C', 100, 0});
  EXPECT_THROW(Plan({"Email", "City"}, {{"a@b"}, {"Rome"}}), Failure);
  Map("City=");
  EXPECT_EQ(Plan({"Email", "City"}, {{"a@b"}, {"Rome"}}), (Strings{"EMAIL C(100)", "-"}));
}

TEST_F(ImportPlanTest, DatesThatCanBeReadTwoWays) {
  EXPECT_EQ(Plan({"Email", "On"}, {{"a@b"}, {"01/02/2020"}})[1], "ON C(10)");
  EXPECT_FALSE(plan_.columns[1].note.empty());
  GroupHas("EMAIL", {'C', 100, 0});
  GroupHas("ON", {'D', 8, 0});
  EXPECT_THROW(Plan({"Email", "On"}, {{"a@b"}, {"01/02/2020"}}), Failure);
  options_.inference.date_order = kMdy;
  Plan({"Email", "On"}, {{"a@b"}, {"01/02/2020"}});
  EXPECT_EQ(plan_.columns[1].reading.order, kMdy);
}

TEST_F(ImportPlanTest, FieldsThatCannotBeWrittenAreRefused) {
  GroupHas("EMAIL", {'C', 100, 0});
  GroupHas("OBJECT", {'G', 4, 0});
  EXPECT_THROW(Plan({"Email", "Object"}, {{"a@b"}, {"x"}}), Failure);
}

}  // namespace
}  // namespace pv::cli
