#include "providers/adodb/recordset.h"

#include "providers/adodb/database_test_support.h"
#include "providers/adodb/error_numbers.h"

namespace pv::adodb {
namespace {

class RecordsetTest : public DatabaseTest {};
PV_ON_ALL_DATABASES(RecordsetTest);

TEST_P(RecordsetTest, WalksEveryRowOnce) {
  for (const int count : {0, 1, 255, 256, 257, 1000, 1001, 2600}) {
    CreateNumbers("walked", count);
    const auto rows = Opened("select id, name from walked order by id");
    EXPECT_EQ(rows->GetEof(), count == 0);
    EXPECT_EQ(rows->GetBof(), count == 0);
    EXPECT_EQ(rows->GetRecordCount(), count == 0 ? 0 : -1);
    int seen = 0;
    for (; !rows->GetEof(); rows->MoveNext()) {
      ++seen;
      ASSERT_EQ(At(rows, "id").ToI4(), seen);
      ASSERT_EQ(At(rows, "name").ToText(), "name " + std::to_string(seen));
    }
    EXPECT_EQ(seen, count);
    EXPECT_EQ(rows->GetRecordCount(), count);
    EXPECT_EQ(ErrorFrom([&] { rows->MoveNext(); }).number(), kErrNoCurrentRecord);
    EXPECT_EQ(ErrorFrom([&] { At(rows, "id"); }).number(), kErrNoCurrentRecord);
  }
}

TEST_P(RecordsetTest, LongTextAndBytesComeWhole) {
  Create("longs", std::string("id integer primary key, t ") + By("text", "text", "longtext") +
                      ", b " + By("blob", "bytea", "longblob") + ", v varchar(20)");
  const auto rows = Opened("longs", kForwardOnly, kOptimistic, kCommandTable);
  const std::vector<std::size_t> sizes = {0,    1,    10,    254,   255,     256,      510,  511,
                                          512,  513,  1023,  1024,  1025,    4095,     4096, 8190,
                                          8191, 9000, 65535, 65536, 100'000, 1'000'000};
  const auto text_of = [](std::size_t size) {
    std::string text;
    while (text.size() < size) text += "añ€😀" + std::to_string(text.size());
    return text;
  };
  const auto bytes_of = [](std::size_t size) {
    automation::Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7);
    return bytes;
  };
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    rows->AddNew();
    Put(rows, "id", static_cast<std::int32_t>(i));
    Put(rows, "t", text_of(sizes[i]));
    Put(rows, "b", bytes_of(sizes[i]));
    Put(rows, "v", "v" + std::to_string(i));
    rows->Update();
  }
  const auto read = Opened("select * from longs order by id");
  for (std::size_t i = 0; i < sizes.size(); ++i, read->MoveNext()) {
    ASSERT_FALSE(read->GetEof()) << i;
    EXPECT_EQ(At(read, "id").ToI4(), static_cast<std::int32_t>(i));
    // In any order, and again.
    EXPECT_EQ(At(read, "v").ToText(), "v" + std::to_string(i));
    ASSERT_TRUE(At(read, "b") == Value(bytes_of(sizes[i]))) << sizes[i];
    ASSERT_TRUE(At(read, "t") == Value(text_of(sizes[i]))) << sizes[i];
    EXPECT_EQ(read->GetFields()->Item(Value("b"))->GetActualSize(),
              static_cast<std::int32_t>(sizes[i]));
  }
  EXPECT_TRUE(read->GetEof());
}

TEST_P(RecordsetTest, FieldsDescribeTheColumns) {
  Create("described",
         std::string(By("id integer primary key autoincrement", "id serial primary key",
                        "id int primary key auto_increment")) +
             ", name varchar(40) not null, price decimal(10,2)");
  const auto rows = Opened("described", kForwardOnly, kReadOnly, kCommandTable);
  const auto fields = rows->GetFields();
  ASSERT_EQ(fields->Count(), 3);
  const auto id = fields->Item(Value(0));
  EXPECT_EQ(id->GetName(), "id");
  EXPECT_EQ(id->GetType(), 3);
  EXPECT_EQ(id->GetDefinedSize(), 4);
  EXPECT_EQ(id->GetProperties()->Item(Value("isautoincrement"))->GetValue(), Value(true));
  const auto name = fields->Item(Value("NAME"));
  EXPECT_TRUE(name->GetType() == 200 || name->GetType() == 202) << name->GetType();
  EXPECT_EQ(name->GetDefinedSize(), 40);
  EXPECT_EQ(name->GetProperties()->Item(Value("IsAutoIncrement"))->GetValue(), Value(false));
  const auto price = fields->Item(Value(2));
  EXPECT_EQ(price->GetType(), 131);
  if (!Is(Database::kSqlite)) {
    EXPECT_EQ(price->GetPrecision(), 10);
    EXPECT_EQ(price->GetNumericScale(), 2);
    EXPECT_EQ(name->GetAttributes() & kFieldIsNullable, 0);
  }
  EXPECT_NE(price->GetAttributes() & kFieldFixed, 0);
  EXPECT_EQ(ErrorFrom([&] { fields->Item(Value(3)); }).number(), kErrItemNotFound);
  EXPECT_EQ(ErrorFrom([&] { fields->Item(Value(-1)); }).number(), kErrItemNotFound);
  EXPECT_EQ(ErrorFrom([&] { fields->Item(Value("other")); }).number(), kErrItemNotFound);
  const auto walk = automation::Enumerate(fields);
  Value item;
  std::string names;
  while (walk->Next(&item)) names += GetProperty(item.ToObject(), "Name").ToText() + " ";
  EXPECT_EQ(names, "id name price ");
}

TEST_P(RecordsetTest, NamesWithBlanksAndQuotes) {
  const std::string table = Quoted("my \"odd\" `table`");
  Create(table, "id integer primary key, " + Quoted("First Name") + " varchar(40), " +
                    Quoted("O'Brien \"x\"") + " varchar(40)");
  const auto rows = Opened(table, kForwardOnly, kOptimistic, kCommandTable);
  rows->AddNew();
  Put(rows, "id", 1);
  Put(rows, "first name", "Anna");
  Put(rows, "O'Brien \"x\"", "y");
  rows->Update();
  Put(rows, "First Name", "Berta");
  rows->Update();
  EXPECT_EQ(One("select " + Quoted("First Name") + " from " + table).ToText(), "Berta");
  // A name without quotes is quoted, and back-quotes do everywhere.
  const auto unquoted = Opened("my \"odd\" `table`", kForwardOnly, kReadOnly, kCommandTable);
  EXPECT_EQ(At(unquoted, "First Name").ToText(), "Berta");
  Create(Quoted("plain blank"), "id integer primary key, " + Quoted("First Name") + " varchar(9)");
  Run("insert into " + Quoted("plain blank") + " values (1, 'x')");
  EXPECT_EQ(One("select id from `plain blank` where `First Name` = 'x'").ToI4(), 1);
}

TEST_P(RecordsetTest, ObtainedTypesCanBeRead) {
  CreateNumbers("typed", 3);
  const auto rows = MakeObject<Recordset>();
  EXPECT_EQ(rows->GetCursorType(), kForwardOnly);
  rows->SetCursorType(kDynamic);
  EXPECT_EQ(rows->GetCursorType(), kDynamic);
  rows->SetLockType(kPessimistic);
  rows->SetSource("typed");
  rows->SetActiveConnection(Value(connection_));
  rows->Open({}, {}, {}, {}, {});
  EXPECT_EQ(rows->GetCursorType(), kStatic);
  EXPECT_EQ(rows->GetLockType(), kOptimistic);
  EXPECT_EQ(ErrorFrom([&] { rows->Open({}, {}, {}, {}, {}); }).number(), kErrObjectOpen);
  EXPECT_EQ(ErrorFrom([&] { rows->SetCursorType(0); }).number(), kErrObjectOpen);
  rows->Close();
  EXPECT_EQ(ErrorFrom([&] { rows->Close(); }).number(), kErrObjectClosed);
  EXPECT_EQ(rows->GetCursorType(), kDynamic);

  // What cannot be changed is read.
  const auto counted = Opened("select count(*) as n from typed", kForwardOnly, kOptimistic);
  EXPECT_EQ(counted->GetLockType(), kReadOnly);
  EXPECT_EQ(ErrorFrom([&] { counted->AddNew(); }).number(), kErrNotSupported);
  EXPECT_EQ(ErrorFrom([&] { Put(counted, "n", 1); }).number(), kErrNotSupported);
  EXPECT_EQ(ErrorFrom([&] { counted->Delete({}); }).number(), kErrNotSupported);
}

TEST_P(RecordsetTest, WhatCannotBeOpened) {
  const auto rows = MakeObject<Recordset>();
  EXPECT_EQ(ErrorFrom([&] { rows->Open(Value("x"), {}, {}, {}, {}); }).number(),
            kErrInvalidConnection);
  EXPECT_EQ(ErrorFrom([&] { rows->MoveNext(); }).number(), kErrObjectClosed);
  EXPECT_EQ(ErrorFrom([&] { rows->GetEof(); }).number(), kErrObjectClosed);
  EXPECT_EQ(ErrorFrom([&] { Opened("", 0, 1, 1); }).number(), kErrInvalidArgument);
  EXPECT_EQ(ErrorFrom([&] { Opened("select 1", 0, 1, 4); }).number(), kErrInvalidArgument);
  EXPECT_EQ(ErrorFrom([&] { Opened("select 1", 9, 1, 1); }).number(), kErrInvalidArgument);
  EXPECT_EQ(ErrorFrom([&] { Opened("select nothing from nowhere"); }).source(), "Recordset::Open");
  // A failed recordset can be opened again.
  CreateNumbers("again", 1);
  EXPECT_NE(ErrorFrom([&] { rows->Open(Value("nowhere"), Value(connection_), 0, 1, 2); }).number(),
            0);
  EXPECT_EQ(rows->GetState(), kStateClosed);
  rows->Open(Value("again"), Value(connection_), 0, 1, 2);
  EXPECT_EQ(At(rows, "id").ToI4(), 1);
}

TEST_P(RecordsetTest, AConnectionOfItsOwnByString) {
  CreateNumbers("own", 2);
  const auto rows = MakeObject<Recordset>();
  rows->Open(Value("own"), Value(string_), kForwardOnly, kReadOnly, kCommandTable);
  EXPECT_EQ(At(rows, "id").ToI4(), 1);
  EXPECT_TRUE(rows->GetActiveConnection().IsObject());
}

TEST_P(RecordsetTest, SeveralWalksOnOneConnection) {
  CreateNumbers("both_rows", 1500);
  const auto a = Opened("select * from both_rows order by id");
  const auto b = Opened("select * from both_rows order by id desc");
  for (int i = 1; i <= 1500; ++i) {
    ASSERT_EQ(At(a, "id").ToI4(), i);
    ASSERT_EQ(At(b, "id").ToI4(), 1501 - i);
    if (i % 500 == 0) {
      EXPECT_EQ(One("select count(*) from both_rows").ToI4(), 1500);
    }
    a->MoveNext();
    b->MoveNext();
  }
  EXPECT_TRUE(a->GetEof());
  EXPECT_TRUE(b->GetEof());
}

}  // namespace
}  // namespace pv::adodb
