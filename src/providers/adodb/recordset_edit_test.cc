#include "providers/adodb/database_test_support.h"
#include "providers/adodb/error_numbers.h"

namespace pv::adodb {
namespace {

class EditTest : public DatabaseTest {
 protected:
  std::string Names(const std::string& table) {
    std::string names;
    const auto rows = Opened("select name from " + table + " order by id");
    for (; !rows->GetEof(); rows->MoveNext()) names += At(rows, "name").ToText() + ";";
    return names;
  }
};
PV_ON_ALL_DATABASES(EditTest);

TEST_P(EditTest, ARowIsAddedFromLists) {
  Create("pv_lists", "id integer primary key, name varchar(20), born date");
  const auto rows = Opened("pv_lists", kForwardOnly, kOptimistic, kCommandTable);
  const Value names(automation::TextArray{"id", "NAME", "born"});
  CallMember(rows, "AddNew", {names, Value(automation::TextArray{"1", "Anna", "2024-02-29"})});
  EXPECT_EQ(rows->GetEditMode(), 0) << "it is written at once";
  CallMember(rows, "AddNew", {Value("id"), Value(2)});
  EXPECT_EQ(One("select count(*) from pv_lists where name = 'Anna' or name is null").ToI4(), 2);
  // What cannot be added leaves nothing behind.
  const Value too_few(automation::TextArray{"3"});
  EXPECT_EQ(ErrorFrom([&] {
              CallMember(rows, "AddNew", {names, too_few});
            }).number(),
            kErrInvalidArgument);
  EXPECT_EQ(ErrorFrom([&] { CallMember(rows, "AddNew", {names}); }).number(), kErrInvalidArgument);
  EXPECT_EQ(ErrorFrom([&] {
              CallMember(rows, "AddNew", {Value("nofield"), Value(3)});
            }).number(),
            kErrItemNotFound);
  EXPECT_NE(ErrorFrom([&] { CallMember(rows, "AddNew", {Value("id"), Value(1)}); }).number(), 0);
  EXPECT_EQ(rows->GetEditMode(), 0);
  EXPECT_EQ(One("select count(*) from pv_lists").ToI4(), 2);
}

TEST_P(EditTest, ChangesDuringAWalkAreKeptAtOnce) {
  CreateNumbers("edited", 700);
  const auto other = Connected();
  const auto rows = Opened("select * from edited order by id", kForwardOnly, kOptimistic);
  ASSERT_EQ(rows->GetLockType(), kOptimistic);
  int seen = 0;
  for (; !rows->GetEof(); rows->MoveNext()) {
    ++seen;
    if (At(rows, "id").ToI4() % 100 != 0) continue;
    Put(rows, "name", "changed");
    EXPECT_EQ(rows->GetEditMode(), 1);
    EXPECT_EQ(At(rows, "name").ToText(), "changed");
    rows->Update();
    EXPECT_EQ(rows->GetEditMode(), 0);
    EXPECT_EQ(At(rows, "name").ToText(), "changed");
    // Others see it before the walk ends.
    std::optional<Value> none;
    const auto check = other->Execute(
        "select name from edited where id = " + At(rows, "id").ToText(), none, kCommandText);
    EXPECT_EQ(At(check, "name").ToText(), "changed");
  }
  EXPECT_EQ(seen, 700);
  EXPECT_EQ(One("select count(*) from edited where name = 'changed'").ToI4(), 7);
}

TEST_P(EditTest, MovingWritesWhatIsPending) {
  CreateNumbers("pending", 3);
  const auto rows = Opened("pending", kForwardOnly, kOptimistic, kCommandTable);
  Put(rows, "name", "first");
  rows->MoveNext();
  Put(rows, "name", "second");
  rows->CancelUpdate();
  EXPECT_EQ(At(rows, "name").ToText(), "name 2");
  rows->MoveNext();
  EXPECT_EQ(Names("pending"), "first;name 2;name 3;");
  Put(rows, "name", "third");
  EXPECT_EQ(ErrorFrom([&] { rows->Close(); }).number(), kErrIllegalOperation);
  rows->CancelUpdate();
  rows->Close();
}

TEST_P(EditTest, NewRowsAreCountedByTheDatabase) {
  Create("counted", std::string(By("id integer primary key autoincrement", "id serial primary key",
                                   "id int primary key auto_increment")) +
                        ", name varchar(40)");
  const auto rows = Opened("counted", kForwardOnly, kOptimistic, kCommandTable);
  EXPECT_TRUE(rows->GetEof());
  rows->AddNew();
  EXPECT_EQ(rows->GetEditMode(), 2);
  EXPECT_FALSE(rows->GetEof());
  EXPECT_TRUE(At(rows, "name").IsEmpty());
  Put(rows, "name", "Ümläut €😀");
  rows->Update();
  EXPECT_EQ(At(rows, "id").ToI4(), 1);
  EXPECT_EQ(At(rows, "name").ToText(), "Ümläut €😀");
  // The new row can be changed at once.
  Put(rows, "name", Value::Null());
  rows->Update();
  EXPECT_TRUE(One("select name from counted where id = 1").IsNull());
  rows->AddNew();
  rows->Update();
  EXPECT_EQ(At(rows, "id").ToI4(), 2);
  rows->AddNew();
  rows->CancelUpdate();
  EXPECT_EQ(One("select count(*) from counted").ToI4(), 2);
  rows->MoveNext();
  EXPECT_TRUE(rows->GetEof());
}

TEST_P(EditTest, AddingDuringAWalkGoesOnWithTheWalk) {
  CreateNumbers("between_rows", 3);
  const auto rows = Opened("select * from between_rows order by id", kForwardOnly, kOptimistic);
  rows->AddNew();
  Put(rows, "id", 100);
  rows->Update();
  EXPECT_EQ(At(rows, "id").ToI4(), 100);
  EXPECT_TRUE(At(rows, "name").IsNull());
  rows->MoveNext();
  EXPECT_EQ(At(rows, "id").ToI4(), 2);
}

TEST_P(EditTest, InMemoryToo) {
  CreateNumbers("memory_rows", 4);
  const auto rows = MakeObject<Recordset>();
  rows->SetCursorLocation(kUseClient);
  rows->Open(Value("select * from memory_rows order by id"), Value(connection_), kStatic,
             kOptimistic, kCommandText);
  rows->MoveNext();
  Put(rows, "name", "two");
  rows->Update();
  rows->MoveNext();
  rows->Delete({});
  EXPECT_EQ(ErrorFrom([&] { At(rows, "id"); }).number(), kErrNoCurrentRecord);
  EXPECT_EQ(rows->GetRecordCount(), 3);
  rows->MovePrevious();
  EXPECT_EQ(At(rows, "name").ToText(), "two");
  rows->MoveNext();
  EXPECT_EQ(At(rows, "id").ToI4(), 4);
  rows->AddNew();
  Put(rows, "id", 9);
  Put(rows, "name", "nine");
  rows->Update();
  EXPECT_EQ(rows->GetRecordCount(), 4);
  EXPECT_EQ(rows->GetAbsolutePosition(), 4);
  rows->MoveNext();
  EXPECT_TRUE(rows->GetEof());
  EXPECT_EQ(Names("memory_rows"), "name 1;two;name 4;nine;");
}

TEST_P(EditTest, DeletingDuringAWalk) {
  CreateNumbers("deleted", 400);
  const auto rows = Opened("select * from deleted order by id", kForwardOnly, kOptimistic);
  int seen = 0;
  for (; !rows->GetEof(); rows->MoveNext()) {
    ++seen;
    if (At(rows, "id").ToI4() % 2 == 0) continue;
    rows->Delete({});
    EXPECT_EQ(ErrorFrom([&] { At(rows, "id"); }).number(), kErrNoCurrentRecord);
    EXPECT_EQ(ErrorFrom([&] { rows->Delete({}); }).number(), kErrNoCurrentRecord);
  }
  EXPECT_EQ(seen, 400);
  EXPECT_EQ(One("select count(*) from deleted").ToI4(), 200);
}

TEST_P(EditTest, ARowThatIsGoneOrChangedIsNotChangedSilently) {
  CreateNumbers("gone", 2);
  const auto rows = Opened("gone", kForwardOnly, kOptimistic, kCommandTable);
  Run("delete from gone where id = 1");
  Put(rows, "name", "x");
  EXPECT_EQ(ErrorFrom([&] { rows->Update(); }).number(), kErrRowChanged);
  // The edit is still there to be corrected or given up.
  EXPECT_EQ(rows->GetEditMode(), 1);
  rows->CancelUpdate();
  EXPECT_EQ(ErrorFrom([&] { rows->Delete({}); }).number(), kErrRowChanged);
}

TEST_P(EditTest, WithoutAKeyEqualRowsAreLeftAlone) {
  Create("keyless", "id integer, name varchar(40)");
  Run("insert into keyless values (1, 'one'), (2, null), (2, null)");
  const auto rows = Opened("select * from keyless order by id", kStatic, kOptimistic);
  Put(rows, "name", "uno");
  rows->Update();
  rows->MoveNext();
  Put(rows, "name", "due");
  EXPECT_EQ(ErrorFrom([&] { rows->Update(); }).number(), kErrDatabase);
  rows->CancelUpdate();
  EXPECT_EQ(One("select count(*) from keyless where name is null").ToI4(), 2);
  EXPECT_EQ(One("select name from keyless where id = 1").ToText(), "uno");
}

TEST_P(EditTest, ViolatedConstraintsAreErrors) {
  CreateNumbers("unique_rows", 2);
  const auto rows = Opened("unique_rows", kForwardOnly, kOptimistic, kCommandTable);
  rows->AddNew();
  Put(rows, "id", 2);
  const Error e = ErrorFrom([&] { rows->Update(); });
  EXPECT_TRUE(e.number() == kErrIntegrity || Is(Database::kSqlite)) << e.number();
  EXPECT_EQ(e.source(), "Recordset::Update");
  Put(rows, "id", 3);
  rows->Update();
  EXPECT_EQ(One("select count(*) from unique_rows").ToI4(), 3);
}

TEST_P(EditTest, ValuesThatDoNotFitTheirColumnAreRefusedWhenSet) {
  CreateNumbers("fitting", 1);
  const auto rows = Opened("fitting", kForwardOnly, kOptimistic, kCommandTable);
  EXPECT_EQ(ErrorFrom([&] { Put(rows, "id", "many"); }).number(), automation::kErrTypeMismatch);
  EXPECT_EQ(ErrorFrom([&] { Put(rows, "id", 1e12); }).number(), automation::kErrOverflow);
  Put(rows, "id", "7");
  rows->Update();
  EXPECT_EQ(One("select id from fitting").ToI4(), 7);
  const auto read_only = Opened("fitting");
  EXPECT_EQ(ErrorFrom([&] { Put(read_only, "id", 1); }).number(), kErrNotSupported);
}

TEST_P(EditTest, InsideATransactionOfTheHost) {
  CreateNumbers("within", 3);
  connection_->BeginTrans();
  const auto rows = Opened("within", kForwardOnly, kOptimistic, kCommandTable);
  Put(rows, "name", "x");
  rows->Update();
  rows->Close();
  connection_->RollbackTrans();
  EXPECT_EQ(Names("within"), "name 1;name 2;name 3;");
}

TEST_P(EditTest, JoinsCannotBeChangedAndAliasesCan) {
  CreateNumbers("left_rows", 2);
  CreateNumbers("right_rows", 2);
  const auto joined =
      Opened("select a.id, b.name from left_rows a join right_rows b on a.id = b.id", kForwardOnly,
             kOptimistic);
  EXPECT_EQ(joined->GetLockType(), kReadOnly);
  const auto aliased = Opened("select id as number, name as label from left_rows order by id",
                              kForwardOnly, kOptimistic);
  if (Is(Database::kSqlite)) {
    // Its driver does not tell which columns stand behind other names.
    EXPECT_EQ(aliased->GetLockType(), kReadOnly);
    return;
  }
  ASSERT_EQ(aliased->GetLockType(), kOptimistic);
  Put(aliased, "label", "x");
  aliased->Update();
  EXPECT_EQ(Names("left_rows"), "x;name 2;");
}

TEST_P(EditTest, BatchesAreWrittenTogetherOrNotAtAll) {
  Create("batched", "id integer primary key, name varchar(40), score double precision");
  const auto rows = Opened("batched", kForwardOnly, kBatchOptimistic, kCommandTable);
  ASSERT_EQ(rows->GetLockType(), kBatchOptimistic);
  for (int i = 1; i <= 1234; ++i) {
    rows->AddNew();
    Put(rows, "id", i);
    if (i % 3 != 0) Put(rows, "name", "näme " + std::to_string(i));
    Put(rows, "score", i % 5 == 0 ? Value::Null() : Value(i / 2.0));
    rows->Update();
  }
  EXPECT_EQ(One("select count(*) from batched").ToI4(), 0);
  rows->UpdateBatch({});
  EXPECT_EQ(One("select count(*) from batched").ToI4(), 1234);
  EXPECT_EQ(One("select count(*) from batched where name is null").ToI4(), 411);
  EXPECT_EQ(One("select count(*) from batched where score is null").ToI4(), 246);
  EXPECT_EQ(One("select name from batched where id = 1234").ToText(), "näme 1234");
  EXPECT_EQ(One("select score from batched where id = 1233").ToR8(), 616.5);

  for (int i = 1; i <= 800; ++i) {
    rows->AddNew();
    Put(rows, "id", i == 700 ? 5 : 2000 + i);
    rows->Update();
  }
  const Error e = ErrorFrom([&] { rows->UpdateBatch({}); });
  EXPECT_NE(e.number(), 0);
  EXPECT_EQ(One("select count(*) from batched").ToI4(), 1234);
  rows->CancelBatch({});
  rows->UpdateBatch({});
  EXPECT_EQ(One("select count(*) from batched").ToI4(), 1234);
}

}  // namespace
}  // namespace pv::adodb
