#include "cli/import/import_rows.h"

#include <gtest/gtest.h>

#include "cli/failure.h"
#include "cli/groups/address_tag.h"
#include "cli/groups/walk.h"
#include "platform/memory/memory_system.h"

namespace pv::cli {
namespace {

class ImportRowsTest : public testing::Test {
 protected:
  ImportRowsTest() {
    EXPECT_TRUE(machine_.files.CreateFolders("/t").ok());
    Table::Create(session_, "/t/g.pvg", {{"EMAIL", 'C', 30, 0, 0}, {"NAME", 'C', 10, 0, 0}},
                  AddressTag("EMAIL"))
        ->Close();
  }

  // Imports rows "Email,Name" and returns the counts as "read=added+updated+skipped+rejected".
  std::string Import(const std::string& rows, OnDuplicate on_duplicate = OnDuplicate::kSkip,
                     bool bulk = false, bool dry_run = false) {
    machine_.files.Put("/in.csv", "Email,Name\n" + rows);
    ImportOptions options;
    options.file = "/in.csv";
    options.on_duplicate = on_duplicate;
    options.dry_run = dry_run;
    options.rejects = "/rejected.csv";
    const ImportSource source(options);
    Table table(session_, "/t/g.pvg", bulk ? Access::kExclusive : Access::kShared);
    GroupShape shape;
    shape.fields = FieldsOf(table.handle());
    std::vector<ColumnStats> stats(2);
    const PageEncoder encoder(session_.page());
    stats[0].Add("a@b", encoder);
    const ImportPlan plan = MakePlan({"Email", "Name"}, stats, options, shape);
    Rejects rejects(source, options.rejects, true);
    RowImporter importer(session_, &table, plan, options, bulk);
    importer.LoadAddresses();
    RowReader reader(source, 0);
    while (reader.Next()) importer.Take(reader, &rejects);
    importer.Finish();
    rejects.Finish();
    const ImportCounts& c = importer.counts();
    EXPECT_TRUE(c.AddUp());
    return std::to_string(c.read) + "=" + std::to_string(c.added) + "+" +
           std::to_string(c.updated) + "+" + std::to_string(c.skipped) + "+" +
           std::to_string(c.rejected);
  }

  // The group in address order: "address name;…".
  std::string Content() {
    Table table(session_, "/t/g.pvg", Access::kShared, "EMAIL");
    const auto out = OutputStream::ToFile("/out", true);
    WalkOptions walk;
    walk.list.heading = false;
    TableCursor cursor(&table);
    PrintRecords(&cursor, walk, out.get());
    out->Finish();
    return machine_.files.Get("/out");
  }

  platform::MemorySystem machine_;
  platform::ScopedSystem scope_{machine_.system()};
  Session session_;
};

TEST_F(ImportRowsTest, AddsRows) {
  EXPECT_EQ(Import("b@x,Bob\n a@x ,Ann\n"), "2=2+0+0+0");
  EXPECT_EQ(Content(), "a@x\tAnn\nb@x\tBob\n");
}

TEST_F(ImportRowsTest, InBulkTheResultIsTheSame) {
  EXPECT_EQ(Import("b@x,Bob\na@x,Ann\nB@X,again\n", OnDuplicate::kSkip, true), "3=2+0+1+0");
  EXPECT_EQ(Content(), "a@x\tAnn\nb@x\tBob\n");
  EXPECT_EQ(Import("c@x,Carl\nA@x,new\n", OnDuplicate::kUpdate, true), "2=1+1+0+0");
  EXPECT_EQ(Content(), "a@x\tnew\nb@x\tBob\nc@x\tCarl\n");
}

TEST_F(ImportRowsTest, DuplicatesIgnoreLetterCase) {
  for (const bool bulk : {false, true}) {
    EXPECT_EQ(Import("\xC3\x84@x,1\n\xC3\xA4@X,2\n", OnDuplicate::kReject, bulk),
              bulk ? "2=0+0+0+2" : "2=1+0+0+1");
  }
}

TEST_F(ImportRowsTest, UpdateKeepsTheAddressAsItWas) {
  Import("Ann@x,Ann\n");
  EXPECT_EQ(Import("ANN@X,Anna\n", OnDuplicate::kUpdate), "1=0+1+0+0");
  EXPECT_EQ(Content(), "Ann@x\tAnna\n");
  EXPECT_EQ(Import("ann@x,\n", OnDuplicate::kUpdate), "1=0+1+0+0");
  EXPECT_EQ(Content(), "Ann@x\t\n");
}

TEST_F(ImportRowsTest, RejectsNameTheReason) {
  EXPECT_EQ(Import("a@x,Ann\na@x,Two\nnone,x\nb@x,a name too long\n\xE6\x97\xA5@x,y\nc@x\n",
                   OnDuplicate::kReject),
            "6=1+0+0+5");
  EXPECT_EQ(machine_.files.Get("/rejected.csv"),
            "Email,Name\na@x,Two\nnone,x\nb@x,a name too long\n\xE6\x97\xA5@x,y\nc@x\n");
  EXPECT_EQ(machine_.files.Get("/rejected.reasons.csv"),
            "line,offset,reason\n"
            "3,19,\"the address is there already, in record 1\"\n"
            "4,27,the address has no @\n"
            "5,34,\"NAME: the text has 15 bytes, the field 10\"\n"
            "6,54,EMAIL: a character is not in code page 1252\n"
            "7,62,1 column instead of 2\n");
}

TEST_F(ImportRowsTest, ARejectedUpdateChangesNothing) {
  Import("a@x,Ann\n");
  EXPECT_EQ(Import("a@x,far too long for it\n", OnDuplicate::kUpdate), "1=0+0+0+1");
  EXPECT_EQ(Import("b@x,Bob\n"), "1=1+0+0+0");
  EXPECT_EQ(Content(), "a@x\tAnn\nb@x\tBob\n");
}

TEST_F(ImportRowsTest, ADeletedAddressCanComeBack) {
  Import("a@x,Ann\n");
  {
    Table table(session_, "/t/g.pvg", Access::kShared);
    ASSERT_NE(FindAddress(&table, "A@X"), 0);
    table.Checked(engine::d4delete(table.handle()));
  }
  EXPECT_EQ(Import("a@x,Anna\n"), "1=1+0+0+0");
  EXPECT_EQ(Content(), "a@x\tAnna\n");
}

TEST_F(ImportRowsTest, ADryRunCountsTheSameAndWritesNothing) {
  Import("a@x,Ann\n");
  const std::string before = machine_.files.Get("/t/g.pvg");
  for (const OnDuplicate policy :
       {OnDuplicate::kSkip, OnDuplicate::kUpdate, OnDuplicate::kReject}) {
    const std::string rows = "A@X,1\nb@x,2\nB@x,3\nbad,4\nb@x,a name too long\n";
    const std::string dry = Import(rows, policy, false, true);
    EXPECT_EQ(machine_.files.Get("/t/g.pvg"), before);
    const platform::MemoryImage image = machine_.files.Snapshot();
    EXPECT_EQ(Import(rows, policy), dry);
    machine_.files.Restore(image);
  }
}

TEST_F(ImportRowsTest, AnAddressAddedBySomebodyElseMeanwhileIsADuplicate) {
  machine_.files.Put("/in.csv", "Email,Name\na@x,Mine\n");
  ImportOptions options;
  options.file = "/in.csv";
  const ImportSource source(options);
  Table table(session_, "/t/g.pvg", Access::kShared);
  GroupShape shape;
  shape.fields = FieldsOf(table.handle());
  std::vector<ColumnStats> stats(2);
  const ImportPlan plan = MakePlan({"Email", "Name"}, stats, options, shape);
  RowImporter importer(session_, &table, plan, options, false);
  importer.LoadAddresses();
  Import("a@x,Theirs\n");
  machine_.files.Put("/in.csv", "Email,Name\na@x,Mine\n");
  const ImportSource again(options);
  RowReader reader(again, 0);
  ASSERT_TRUE(reader.Next());
  importer.Take(reader, nullptr);
  EXPECT_EQ(importer.counts().skipped, 1U);
  importer.Finish();
  EXPECT_EQ(Content(), "a@x\tTheirs\n");
}

TEST_F(ImportRowsTest, AFullDiskEndsTheImportWithEveryRowAccountedFor) {
  machine_.files.Put("/in.csv", "Email,Name\na@x,1\nb@x,2\nc@x,3\n");
  ImportOptions options;
  options.file = "/in.csv";
  const ImportSource source(options);
  Table table(session_, "/t/g.pvg", Access::kShared);
  GroupShape shape;
  shape.fields = FieldsOf(table.handle());
  std::vector<ColumnStats> stats(2);
  const ImportPlan plan = MakePlan({"Email", "Name"}, stats, options, shape);
  RowImporter importer(session_, &table, plan, options, false);
  RowReader reader(source, 0);
  ASSERT_TRUE(reader.Next());
  importer.Take(reader, nullptr);
  machine_.files.FailCall(1, platform::Call::kWrite | platform::Call::kTruncate,
                          platform::Fault::kNoSpace);
  ASSERT_TRUE(reader.Next());
  EXPECT_THROW(importer.Take(reader, nullptr), Failure);
  EXPECT_TRUE(importer.counts().AddUp());
  EXPECT_EQ(importer.counts().read, 1U);
  importer.Finish();
  EXPECT_EQ(Content(), "a@x\t1\n");
}

}  // namespace
}  // namespace pv::cli
