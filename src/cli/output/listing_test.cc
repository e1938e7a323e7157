#include "cli/output/listing.h"

#include <gtest/gtest.h>

#include "cli/output/json_text.h"
#include "platform/memory/memory_system.h"

namespace pv::cli {
namespace {

const std::vector<Column> kColumns = {{"name"}, {"count", true}, {"on"}, {"day"}};
const std::vector<std::vector<Cell>> kRows = {
    {{CellKind::kText, "Ann, \"A\""},
     {CellKind::kNumber, "-7.5"},
     {CellKind::kBoolean, "true"},
     {CellKind::kText, "2024-02-29"}},
    {{CellKind::kText, "=1+1"},
     {CellKind::kNone, ""},
     {CellKind::kNone, ""},
     {CellKind::kNone, ""}},
};

class ListingTest : public testing::Test {
 protected:
  std::string Print(const ListOptions& options,
                    const std::vector<std::vector<Cell>>& rows = kRows) {
    const auto out = OutputStream::ToFile("/list", true);
    const auto listing = Listing::Make(out.get(), kColumns, options);
    for (const auto& row : rows) listing->Row(row);
    listing->End();
    out->Finish();
    return machine_.files.Get("/list");
  }
  std::string Print(ListForm form, const std::vector<std::vector<Cell>>& rows = kRows) {
    ListOptions options;
    options.form = form;
    return Print(options, rows);
  }

  platform::MemorySystem machine_;
  platform::ScopedSystem scope_{machine_.system()};
};

TEST_F(ListingTest, Plain) {
  EXPECT_EQ(Print(ListForm::kPlain),
            "name\tcount\ton\tday\nAnn, \"A\"\t-7.5\ttrue\t2024-02-29\n=1+1\t\t\t\n");
}

TEST_F(ListingTest, Csv) {
  EXPECT_EQ(Print(ListForm::kCsv),
            "name,count,on,day\n\"Ann, \"\"A\"\"\",-7.5,true,2024-02-29\n'=1+1,,,\n");
}

TEST_F(ListingTest, CsvRaw) {
  ListOptions options;
  options.form = ListForm::kCsv;
  options.raw = true;
  EXPECT_NE(Print(options).find("\n=1+1,,,\n"), std::string::npos);
}

TEST_F(ListingTest, Json) {
  EXPECT_EQ(Print(ListForm::kJson),
            "[\n"
            "  {\"name\":\"Ann, \\\"A\\\"\",\"count\":-7.5,\"on\":true,\"day\":\"2024-02-29\"},\n"
            "  {\"name\":\"=1+1\",\"count\":null,\"on\":null,\"day\":null}\n"
            "]\n");
  EXPECT_EQ(Print(ListForm::kJson, {}), "[]\n");
}

TEST_F(ListingTest, Ndjson) {
  EXPECT_EQ(Print(ListForm::kNdjson),
            "{\"name\":\"Ann, \\\"A\\\"\",\"count\":-7.5,\"on\":true,\"day\":\"2024-02-29\"}\n"
            "{\"name\":\"=1+1\",\"count\":null,\"on\":null,\"day\":null}\n");
}

TEST_F(ListingTest, TableIsAligned) {
  EXPECT_EQ(Print(ListForm::kTable),
            "name      count  on    day\n"
            "Ann, \"A\"   -7.5  true  2024-02-29\n"
            "=1+1\n");
}

TEST_F(ListingTest, TableFitsTheTerminal) {
  ListOptions options;
  options.form = ListForm::kTable;
  options.columns = 31;
  EXPECT_EQ(Print(options),
            "name      count  on    day\n"
            "Ann, \"A\"   -7.5  true  2024-02\xE2\x80\xA6\n"
            "=1+1\n");
}

TEST(AppendCsvField, NeutralisesFormulas) {
  const auto field = [](std::string_view text, CellKind kind = CellKind::kText, bool raw = false) {
    std::string out;
    AppendCsvField(&out, Cell{kind, std::string(text)}, raw);
    return out;
  };
  for (const char* text : {"=A1", "+49 30", "-x", "@here"}) {
    EXPECT_EQ(field(text), std::string("'") + text);
    EXPECT_EQ(field(text, CellKind::kText, true), text);
  }
  EXPECT_EQ(field("\tx"), "\"'\tx\"");
  EXPECT_EQ(field("\rx"), "\"'\rx\"");
  EXPECT_EQ(field("=a,b"), "\"'=a,b\"");
  EXPECT_EQ(field("-12.5", CellKind::kNumber), "-12.5");
  EXPECT_EQ(field("a=b"), "a=b");
  EXPECT_EQ(field(" x"), "\" x\"");
  EXPECT_EQ(field("a\nb"), "\"a\nb\"");
}

TEST(IsJsonNumber, KnowsTheGrammar) {
  for (const char* text : {"0", "-0", "12", "-12.50", "1e5", "1.5E-3"}) {
    EXPECT_TRUE(IsJsonNumber(text)) << text;
  }
  for (const char* text : {"", "-", "01", ".5", "1.", "+1", "1e", "****", "nan", "1 "}) {
    EXPECT_FALSE(IsJsonNumber(text)) << text;
  }
}

}  // namespace
}  // namespace pv::cli
