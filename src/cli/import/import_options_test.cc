#include "cli/import/import_options.h"

#include <gtest/gtest.h>

#include "cli/failure.h"

namespace pv::cli {
namespace {

std::string Shape(const std::string& text) {
  const FieldDefinition field = ParseFieldDefinition(text);
  return field.name + " " + DescribeShape(field.shape);
}

TEST(ParseFieldDefinition, KnowsLettersAndWords) {
  EXPECT_EQ(Shape("Email"), "Email C(50)");
  EXPECT_EQ(Shape("First:text(40)"), "First C(40)");
  EXPECT_EQ(Shape("First:C(254)"), "First C(254)");
  EXPECT_EQ(Shape("Name:unicode(40)"), "Name W(80)");
  EXPECT_EQ(Shape("Balance:Number(10,2)"), "Balance N(10,2)");
  EXPECT_EQ(Shape("Balance:n(10.2)"), "Balance N(10,2)");
  EXPECT_EQ(Shape("Age:number"), "Age N(10,0)");
  EXPECT_EQ(Shape("Joined:date"), "Joined D");
  EXPECT_EQ(Shape("Seen:T"), "Seen T");
  EXPECT_EQ(Shape("Active:bool"), "Active L");
  EXPECT_EQ(Shape("Notes:memo"), "Notes M");
  EXPECT_EQ(Shape("Price:currency"), "Price Y");
  EXPECT_EQ(Shape("N_2:integer"), "N_2 I");
}

TEST(ParseFieldDefinition, RefusesWhatCannotBe) {
  for (const char* text :
       {"", ":C", "Much_too_long", "2nd", "a-b", "x:", "x:foo", "x:C(255)", "x:C(0)", "x:C(a)",
        "x:C(10", "x:W(128)", "x:N(21)", "x:N(4,3)", "x:D(8)", "x:C(10,2)", "x:C(-1)"}) {
    EXPECT_THROW(ParseFieldDefinition(text), Failure) << text;
  }
}

TEST(ParseMapping, SplitsAtTheLastEqualsSign) {
  const ColumnMapping plain = ParseMapping("Zip code=ZIP");
  EXPECT_EQ(plain.column, "Zip code");
  EXPECT_EQ(plain.field, "ZIP");
  EXPECT_FALSE(plain.shape);
  EXPECT_EQ(ParseMapping("a=b=C").column, "a=b");
  EXPECT_EQ(ParseMapping("3=Zip:text(10)").shape, (FieldShape{'C', 10, 0}));
  EXPECT_TRUE(ParseMapping("Notes=").field.empty());
  EXPECT_THROW(ParseMapping("Notes"), Failure);
  EXPECT_THROW(ParseMapping("=X"), Failure);
  EXPECT_THROW(ParseMapping("a=not a name"), Failure);
}

}  // namespace
}  // namespace pv::cli
