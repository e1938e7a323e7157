#include "cli/fields/field_names.h"

#include <gtest/gtest.h>

namespace pv::cli {
namespace {

using Names = std::vector<std::string>;

TEST(FieldNameOf, SpellsHeadings) {
  EXPECT_EQ(FieldNameOf("First Name"), "FIRST_NAME");
  EXPECT_EQ(FieldNameOf("  city  "), "CITY");
  EXPECT_EQ(FieldNameOf("E-Mail"), "E_MAIL");
  EXPECT_EQ(FieldNameOf("Stra\xC3\x9F"
                        "e"),
            "STRASSE");
  EXPECT_EQ(FieldNameOf("\xC3\x9C"
                        "bernahme"),
            "UEBERNAHME");
  EXPECT_EQ(FieldNameOf("Pr\xC3\xA9nom"), "PRENOM");
  EXPECT_EQ(FieldNameOf("\xD0\xB8\xD0\xBC\xD1\x8F"), "IMYA");
  EXPECT_EQ(FieldNameOf("\xCE\x8C\xCE\xBD\xCE\xBF\xCE\xBC\xCE\xB1"), "ONOMA");
  EXPECT_EQ(FieldNameOf("2nd line"), "F2ND_LINE");
  EXPECT_EQ(FieldNameOf("A very long heading"), "A_VERY_LON");
  EXPECT_EQ(FieldNameOf("nine_char x"), "NINE_CHAR");
  EXPECT_EQ(FieldNameOf("\xE5\x90\x8D\xE5\x89\x8D"), "");
  EXPECT_EQ(FieldNameOf("---"), "");
}

TEST(FieldNamesOf, MakesThemUnique) {
  EXPECT_EQ(FieldNamesOf({"Name", "name", "NAME!", "", "\xE5\x90\x8D"}, {}),
            (Names{"NAME", "NAME2", "NAME3", "FIELD4", "FIELD5"}));
  EXPECT_EQ(FieldNamesOf({"A very long heading", "A very long headline"}, {}),
            (Names{"A_VERY_LON", "A_VERY_LO2"}));
  EXPECT_EQ(FieldNamesOf({"email", "x"}, {"EMAIL"}), (Names{"EMAIL2", "X"}));
}

TEST(IsAddressHeading, KnowsSeveralLanguages) {
  bool certain = false;
  for (const char* heading :
       {"Email", "E-Mail", "e_mail", "E-Mail-Adresse", "EMAIL ADDRESS", "Courriel",
        "Correo electr\xC3\xB3nico", "S\xC3\xA4hk\xC3\xB6posti"}) {
    EXPECT_TRUE(IsAddressHeading(heading, &certain)) << heading;
  }
  EXPECT_TRUE(IsAddressHeading("E-mail", &certain));
  EXPECT_TRUE(certain);
  EXPECT_TRUE(IsAddressHeading("Adresse", &certain));
  EXPECT_FALSE(certain);
  EXPECT_FALSE(IsAddressHeading("First name", &certain));
}

TEST(IsCodeHeading, KnowsPostalCodesAndTelephones) {
  EXPECT_TRUE(IsCodeHeading("PLZ"));
  EXPECT_TRUE(IsCodeHeading("Postal Code"));
  EXPECT_TRUE(IsCodeHeading("Phone"));
  EXPECT_FALSE(IsCodeHeading("Balance"));
}

}  // namespace
}  // namespace pv::cli
