#include "cli/fields/infer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace pv::cli {
namespace {

using Values = std::vector<std::string>;

std::vector<ColumnStats> Stats(const std::vector<Values>& columns) {
  const PageEncoder encoder(CodePage::Windows1252());
  std::vector<ColumnStats> stats(columns.size());
  for (std::size_t c = 0; c < columns.size(); ++c) {
    for (const std::string& value : columns[c]) stats[c].Add(value, encoder);
  }
  return stats;
}

std::string ShapeOf(const Values& values, const InferenceHints& hints = {}, bool is_code = false) {
  const auto stats = Stats({values});
  return DescribeShape(Inference(stats, hints).ShapeOf(0, is_code));
}

TEST(Inference, TextIsAsWideAsItsWidestValueAndALittle) {
  EXPECT_EQ(ShapeOf({"a", "bcd", ""}), "C(10)");
  EXPECT_EQ(ShapeOf({std::string(11, 'x')}), "C(20)");
  EXPECT_EQ(ShapeOf({std::string(254, 'x')}), "C(254)");
  EXPECT_EQ(ShapeOf({"J\xC3\xBCrgen\xC3\xA4\xC3\xB6\xC3\xBC_"}), "C(10)");
  EXPECT_EQ(ShapeOf({}), "C(10)");
  EXPECT_EQ(ShapeOf({"", " "}), "C(10)");
}

TEST(Inference, LongTextIsAMemo) { EXPECT_EQ(ShapeOf({std::string(255, 'x')}), "M"); }

TEST(Inference, TextOutsideTheCodePageIsUnicode) {
  EXPECT_EQ(ShapeOf({"\xE6\x97\xA5\xE6\x9C\xAC"}), "W(20)");
  EXPECT_EQ(ShapeOf({"\xE6\x97\xA5", std::string(120, 'x')}), "W(240)");
  EXPECT_EQ(ShapeOf({"\xE6\x97\xA5", std::string(127, 'x')}), "W(254)");
  // One value too long for a Unicode field against one outside the page.
  EXPECT_EQ(ShapeOf({"\xE6\x97\xA5", std::string(128, 'x')}), "W(254)");
  EXPECT_EQ(ShapeOf({"\xE6\x97\xA5", std::string(300, 'x'), std::string(128, 'x')}), "M");
}

TEST(Inference, Numbers) {
  EXPECT_EQ(ShapeOf({"1", "-20", "300", ""}), "N(5,0)");
  EXPECT_EQ(ShapeOf({"44.89", "390.4", "7"}), "N(8,2)");
  EXPECT_EQ(ShapeOf({"111,47", "1,5"}), "N(8,2)");
  EXPECT_EQ(ShapeOf({"12", "x"}), "C(10)");
}

TEST(Inference, CodesAreNoNumbers) {
  EXPECT_EQ(ShapeOf({"01234", "99999"}), "C(10)");
  EXPECT_EQ(ShapeOf({"12345"}, {}, true), "C(10)");
  EXPECT_EQ(ShapeOf({"+4930123456"}), "C(20)");
  EXPECT_EQ(ShapeOf({"1234567890123456"}), "C(20)");
}

TEST(Inference, ThousandsAreNoDecimals) {
  EXPECT_EQ(ShapeOf({"1,234", "12,500"}), "C(10)");
  EXPECT_EQ(ShapeOf({"1.234"}), "C(10)");
  EXPECT_EQ(ShapeOf({"1.234"}, {.decimal = '.'}), "N(7,3)");
  EXPECT_EQ(ShapeOf({"1,234", "12,5"}), "N(8,3)");
}

TEST(Inference, OneDecimalCharacterForTheWholeSource) {
  const auto stats = Stats({{"1,5", "2,25"}, {"1.234", "5.678"}, {"10", "20"}});
  const Inference inference(stats, {});
  EXPECT_EQ(inference.decimal(), ',');
  EXPECT_EQ(inference.ShapeOf(1, false).type, 'C');
  EXPECT_EQ(inference.ShapeOf(2, false).type, 'N');
}

TEST(Inference, Dates) {
  EXPECT_EQ(ShapeOf({"2020-01-31", ""}), "D");
  EXPECT_EQ(ShapeOf({"01.02.2020", "03.04.2021"}), "D");
  EXPECT_EQ(ShapeOf({"2020-01-31 10:30", "2020-01-31"}), "T");
  EXPECT_EQ(ShapeOf({"2020-01-31", "soon"}), "C(10)");
  EXPECT_EQ(ShapeOf({"2020-01-31", "31.01.2020"}), "C(10)");
}

TEST(Inference, DayAndMonthAreDecidedOverTheWholeSource) {
  EXPECT_EQ(ShapeOf({"01/02/2020", "13/02/2020"}), "D");
  EXPECT_EQ(ShapeOf({"01/02/2020", "03/04/2020"}), "C(10)");
  EXPECT_EQ(ShapeOf({"01/02/2020", "03/04/2020"}, {.date_order = kMdy}), "D");
  EXPECT_EQ(ShapeOf({"13/02/2020", "02/13/2020"}), "C(10)");
  const auto stats = Stats({{"01/02/2020"}, {"02/13/2020"}});
  const Inference inference(stats, {});
  EXPECT_EQ(inference.ReadingOf(0).order, kMdy);
  EXPECT_EQ(inference.ShapeOf(0, false).type, 'D');
}

TEST(Inference, PointedDatesAreDayFirstUnlessTold) {
  const auto stats = Stats({{"01.02.2020"}, {"02/13/2020"}});
  EXPECT_EQ(Inference(stats, {}).ReadingOf(0).order, kDmy);
  EXPECT_EQ(Inference(stats, {.date_order = kMdy}).ReadingOf(0).order, kMdy);
}

TEST(Inference, AColumnOfAnExistingFieldIsReadAsMostOfItsValuesAre) {
  const auto stats = Stats({{"1,5", "2,5", "1.5", "oops"}, {"13/01/2020", "14/01/2020", "oops"}});
  const Inference inference(stats, {});
  EXPECT_EQ(inference.ReadingOf(0).decimal, ',');
  EXPECT_EQ(inference.ReadingOf(1).order, kDmy);
  const auto unclear = Stats({{"01/02/2020", "oops"}});
  EXPECT_TRUE(Inference(unclear, {}).ReadingOf(0).order_unknown);
}

TEST(Inference, BooleansNeedBothWordsOfAPair) {
  EXPECT_EQ(ShapeOf({"true", "false", ""}), "L");
  EXPECT_EQ(ShapeOf({"ja", "nein"}), "L");
  EXPECT_EQ(ShapeOf({"Y", "n"}), "L");
  EXPECT_EQ(ShapeOf({"NO", "NO"}), "C(10)");
  EXPECT_EQ(ShapeOf({"yes", "nein"}), "C(10)");
  EXPECT_EQ(ShapeOf({"NO", "SE", "DK"}), "C(10)");
  EXPECT_EQ(ShapeOf({"1", "0"}), "N(3,0)");
}

TEST(Inference, CountsAddresses) {
  const auto stats = Stats({{"a@example.org", " b@example.org ", "none", ""}});
  EXPECT_EQ(stats[0].addresses(), 2U);
  EXPECT_EQ(stats[0].filled(), 3U);
}

TEST(PageEncoder, EncodesOrRefuses) {
  const PageEncoder encoder(CodePage::Windows1252());
  std::string scratch;
  std::string_view out;
  EXPECT_TRUE(encoder.Encode("plain", &scratch, &out));
  EXPECT_EQ(out, "plain");
  EXPECT_TRUE(encoder.Encode("K\xC3\xB6ln \xE2\x82\xAC", &scratch, &out));
  EXPECT_EQ(out, "K\xF6ln \x80");
  EXPECT_FALSE(encoder.Encode("\xE6\x97\xA5", &scratch, &out));
  EXPECT_FALSE(encoder.Encode("\xF0\x9F\x98\x80", &scratch, &out));
}

}  // namespace
}  // namespace pv::cli
