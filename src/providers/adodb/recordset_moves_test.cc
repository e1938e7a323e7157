#include "providers/adodb/database_test_support.h"
#include "providers/adodb/error_numbers.h"

namespace pv::adodb {
namespace {

using automation::Records;

class MovesTest : public DatabaseTest {
 protected:
  Ref<Recordset> Numbers(int count, std::int32_t cursor, std::int32_t location = kUseServer) {
    CreateNumbers("moved", count);
    auto rows = MakeObject<Recordset>();
    rows->SetCursorLocation(location);
    rows->Open(Value("select * from moved order by id"), Value(connection_), cursor, kReadOnly,
               kCommandText);
    return rows;
  }
  static std::string Ids(const Ref<Recordset>& rows) {
    std::string ids;
    for (; !rows->GetEof(); rows->MoveNext()) ids += At(rows, "id").ToText() + " ";
    return ids;
  }
};
PV_ON_ALL_DATABASES(MovesTest);

TEST_P(MovesTest, ForwardOnlyGoesForwards) {
  const auto rows = Numbers(600, kForwardOnly);
  EXPECT_EQ(rows->GetCursorType(), kForwardOnly);
  rows->MoveFirst();
  EXPECT_EQ(At(rows, "id").ToI4(), 1);
  rows->Move(299, {});
  EXPECT_EQ(At(rows, "id").ToI4(), 300);
  EXPECT_EQ(rows->GetAbsolutePosition(), 300);
  EXPECT_EQ(ErrorFrom([&] { rows->MovePrevious(); }).number(), kErrCannotFetchBackwards);
  EXPECT_EQ(ErrorFrom([&] { rows->MoveLast(); }).number(), kErrCannotFetchBackwards);
  EXPECT_EQ(ErrorFrom([&] { rows->SetAbsolutePosition(2); }).number(), kErrCannotFetchBackwards);
  EXPECT_EQ(ErrorFrom([&] { rows->GetBookmark(); }).number(), kErrNotSupported);
  EXPECT_EQ(ErrorFrom([&] { rows->SetSort("id"); }).number(), kErrNotSupported);
  EXPECT_EQ(At(rows, "id").ToI4(), 300);
  // The first row is reached by asking again.
  rows->MoveFirst();
  EXPECT_EQ(At(rows, "id").ToI4(), 1);
  rows->Move(1000, {});
  EXPECT_TRUE(rows->GetEof());
  EXPECT_FALSE(rows->GetBof());
  EXPECT_EQ(rows->GetAbsolutePosition(), -3);
  EXPECT_EQ(rows->GetRecordCount(), 600);
}

TEST_P(MovesTest, EmptyResults) {
  for (const std::int32_t location : {kUseServer, kUseClient}) {
    const auto rows = Numbers(0, kStatic, location);
    EXPECT_TRUE(rows->GetBof());
    EXPECT_TRUE(rows->GetEof());
    EXPECT_EQ(ErrorFrom([&] { rows->MoveFirst(); }).number(), kErrNoCurrentRecord);
    EXPECT_EQ(ErrorFrom([&] { rows->MoveNext(); }).number(), kErrNoCurrentRecord);
    EXPECT_EQ(ErrorFrom([&] { rows->MovePrevious(); }).number(), kErrNoCurrentRecord);
    EXPECT_EQ(ErrorFrom([&] { rows->MoveLast(); }).number(), kErrNoCurrentRecord);
    EXPECT_EQ(ErrorFrom([&] { rows->Find("id = 1", {}, {}, {}); }).number(), kErrNoCurrentRecord);
    EXPECT_EQ(ErrorFrom([&] { rows->GetRows({}, {}, {}); }).number(), kErrNoCurrentRecord);
    EXPECT_EQ(rows->GetRecordCount(), 0);
  }
}

TEST_P(MovesTest, StaticCursorsGoEverywhere) {
  for (const std::int32_t location : {kUseServer, kUseClient}) {
    const auto rows = Numbers(600, kDynamic, location);
    EXPECT_EQ(rows->GetCursorType(), kStatic);
    EXPECT_EQ(rows->GetRecordCount(), location == kUseClient ? 600 : -1);
    rows->Move(400, {});
    EXPECT_EQ(At(rows, "id").ToI4(), 401);
    rows->MovePrevious();
    EXPECT_EQ(At(rows, "id").ToI4(), 400);
    EXPECT_EQ(rows->GetRecordCount(), 600);
    const Value bookmark = rows->GetBookmark();
    rows->MoveLast();
    EXPECT_EQ(At(rows, "id").ToI4(), 600);
    rows->MoveNext();
    EXPECT_TRUE(rows->GetEof());
    rows->MovePrevious();
    EXPECT_EQ(At(rows, "id").ToI4(), 600);
    rows->SetBookmark(bookmark);
    EXPECT_EQ(At(rows, "id").ToI4(), 400);
    rows->Move(-10, {});
    EXPECT_EQ(rows->GetAbsolutePosition(), 390);
    rows->Move(2, bookmark);
    EXPECT_EQ(At(rows, "id").ToI4(), 402);
    rows->SetAbsolutePosition(7);
    EXPECT_EQ(At(rows, "id").ToI4(), 7);
    rows->MoveFirst();
    rows->MovePrevious();
    EXPECT_TRUE(rows->GetBof());
    EXPECT_EQ(rows->GetAbsolutePosition(), -2);
    EXPECT_EQ(ErrorFrom([&] { rows->MovePrevious(); }).number(), kErrNoCurrentRecord);
    rows->MoveNext();
    EXPECT_EQ(At(rows, "id").ToI4(), 1);
    EXPECT_EQ(ErrorFrom([&] { rows->SetBookmark(Value(601.0)); }).number(), kErrInvalidArgument);
  }
}

TEST_P(MovesTest, BackwardsFromTheEnd) {
  const auto rows = Numbers(5, kStatic);
  while (!rows->GetEof()) rows->MoveNext();
  rows->MovePrevious();
  EXPECT_EQ(At(rows, "id").ToI4(), 5);
}

TEST_P(MovesTest, Find) {
  const auto rows = Numbers(600, kForwardOnly);
  rows->Find("name = 'NAME 377'", {}, {}, {});
  EXPECT_EQ(At(rows, "id").ToI4(), 377);
  rows->Find("id >= 377", 1, {}, {});
  EXPECT_EQ(At(rows, "id").ToI4(), 378);
  rows->Find("id = 3", {}, {}, {});
  EXPECT_TRUE(rows->GetEof());
  EXPECT_EQ(ErrorFrom([&] { rows->Find("id = 1 and id = 2", {}, {}, {}); }).number(),
            kErrInvalidArgument);
  const auto scrolling = Numbers(10, kStatic);
  scrolling->MoveLast();
  scrolling->Find("id < 5", {}, -1, {});
  EXPECT_EQ(At(scrolling, "id").ToI4(), 4);
  scrolling->Find("name like '*8'", {}, 1, Value(1));
  EXPECT_EQ(At(scrolling, "id").ToI4(), 8);
  scrolling->Find("id = 99", {}, -1, {});
  EXPECT_TRUE(scrolling->GetBof());
}

TEST_P(MovesTest, Filter) {
  for (const std::int32_t location : {kUseServer, kUseClient}) {
    const auto rows = Numbers(600, kStatic, location);
    rows->MoveNext();
    rows->SetFilter("id > 3 and (name = 'name 7' or name like '%60') and id < 400");
    EXPECT_EQ(Ids(rows), "7 60 160 260 360 ");
    EXPECT_EQ(rows->GetRecordCount(), 5);
    rows->MoveFirst();
    EXPECT_EQ(At(rows, "id").ToI4(), 7);
    rows->MoveNext();
    EXPECT_EQ(rows->GetAbsolutePosition(), 2);
    rows->MoveLast();
    EXPECT_EQ(At(rows, "id").ToI4(), 360);
    rows->SetFilter("id = -1");
    EXPECT_TRUE(rows->GetEof());
    EXPECT_TRUE(rows->GetBof());
    rows->SetFilter(0);
    EXPECT_EQ(rows->GetFilter(), Value(0));
    EXPECT_EQ(At(rows, "id").ToI4(), 1);
    EXPECT_EQ(ErrorFrom([&] { rows->SetFilter("nobody = 1"); }).number(), kErrItemNotFound);
    EXPECT_EQ(ErrorFrom([&] { rows->SetFilter(2); }).number(), kErrNotSupported);
  }
  const auto forward = Numbers(50, kForwardOnly);
  forward->SetFilter("id > 48");
  EXPECT_EQ(Ids(forward), "49 50 ");
}

TEST_P(MovesTest, SortOnTheClientSide) {
  Create("sorted", "id integer primary key, name varchar(20)");
  Run("insert into sorted values (1, 'b'), (2, 'A'), (3, null), (4, 'a'), (5, 'C')");
  const auto rows = MakeObject<Recordset>();
  rows->SetCursorLocation(kUseClient);
  rows->Open(Value("select * from sorted order by id"), Value(connection_), {}, {}, {});
  rows->SetSort("name, id desc");
  EXPECT_EQ(Ids(rows), "3 4 2 1 5 ");
  rows->SetSort("id DESC");
  rows->MoveFirst();
  EXPECT_EQ(Ids(rows), "5 4 3 2 1 ");
  rows->SetSort("");
  rows->MoveFirst();
  EXPECT_EQ(Ids(rows), "1 2 3 4 5 ");
}

TEST_P(MovesTest, GetRowsGivesRecords) {
  const auto rows = Numbers(10, kForwardOnly);
  const Value two = rows->GetRows(2, {}, {});
  const auto* records = two.TryGet<std::shared_ptr<const Records>>();
  ASSERT_NE(records, nullptr);
  ASSERT_EQ((*records)->rows.size(), 2u);
  EXPECT_EQ((*records)->rows[1][1], Value("name 2"));
  EXPECT_STREQ((*records)->type->fields[1].name, "name");
  EXPECT_EQ(At(rows, "id").ToI4(), 3);
  const Value rest = rows->GetRows({}, {}, Value("NAME"));
  const auto& all = *rest.TryGet<std::shared_ptr<const Records>>();
  ASSERT_EQ(all->rows.size(), 8u);
  EXPECT_EQ(all->rows[7], std::vector<Value>{Value("name 10")});
  EXPECT_TRUE(rows->GetEof());
}

TEST_P(MovesTest, RequeryShowsWhatChanged) {
  const auto rows = Numbers(3, kForwardOnly);
  rows->MoveNext();
  Run("delete from moved where id = 1");
  rows->Requery({});
  EXPECT_EQ(Ids(rows), "2 3 ");
}

TEST_P(MovesTest, FieldsStayTheSameObjectsWhileItIsOpen) {
  const auto rows = Numbers(3, kStatic);
  const auto id = rows->GetFields()->Item(Value("id"));
  rows->MoveNext();
  EXPECT_EQ(id->GetValue().ToI4(), 2);
  rows->MovePrevious();
  EXPECT_EQ(id->GetValue().ToI4(), 1);
  rows->Requery({});
  EXPECT_EQ(id->GetValue().ToI4(), 1);
  rows->Close();
  EXPECT_EQ(ErrorFrom([&] { id->GetValue(); }).number(), kErrObjectClosed);
}

}  // namespace
}  // namespace pv::adodb
