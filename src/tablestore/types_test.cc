#include "pvgroupman/tablestore/types.h"

#include <gtest/gtest.h>

#include "automation/test_support.h"

namespace pv::tablestore {
namespace {

using automation::EnumerationOf;
using automation::ErrorFrom;
using automation::RecordOf;
using automation::Value;

std::string NamesOf(const automation::Enumeration& e) {
  std::string all = e.name;
  for (const auto& n : e.names) all += std::string(" ") + n.name + "=" + std::to_string(n.value);
  return all;
}

TEST(Types, EnumerationsOfTheTypeLibrary) {
  EXPECT_EQ(NamesOf(EnumerationOf<AccessModeType>::Describe()),
            "AccessModeType AMT_SHARED=0 AMT_EXCLUSIVE=1 AMT_LOCKED=2");
  EXPECT_EQ(NamesOf(EnumerationOf<StateConstants>::Describe()),
            "StateConstants IsClosed=0 IsOpen=1");
  EXPECT_EQ(NamesOf(EnumerationOf<LogLevel>::Describe()),
            "LogLevel NoLog=0 ErrOnly=1 ErrBasicTrace=2 errfulltrace=3");
  EXPECT_EQ(NamesOf(EnumerationOf<FieldType>::Describe()),
            "FieldType CB_Binary=0 CB_Character=1 CB_CharacterBinary=2 CB_Currency=3 CB_Date=4 "
            "CB_DateTime=5 CB_Double=6 CB_Float=7 CB_General=8 CB_Integer=9 CB_Logical=10 "
            "CB_Memo=11 CB_MemoBinary=12 CB_Numeric=13 CB_Unicode=14");
  EXPECT_EQ(NamesOf(EnumerationOf<PVFieldType>::Describe()),
            "PVFieldType FT_TEXT=0 FT_UNICODE=1 FT_NUMBER=2 FT_DATE=3 FT_CURRENCY=4 FT_BOOLEAN=5");
}

TEST(Types, FieldStructHasItsMembersInOrder) {
  const auto& type = RecordOf<FieldStruct>::Describe();
  std::string names = type.name;
  for (const auto& f : type.fields) names += std::string(" ") + f.name;
  EXPECT_EQ(names, "FieldStruct Name Type Length Decimal NullsAllowed");
  EXPECT_EQ(type.fields[1].type.enumeration, &EnumerationOf<FieldType>::Describe());
  EXPECT_EQ(type.fields[2].type.kind, automation::TypeKind::kI2);
}

TEST(Types, IndexStructHasItsMembersInOrder) {
  const auto& type = RecordOf<IndexStruct>::Describe();
  std::string names = type.name;
  for (const auto& f : type.fields) names += std::string(" ") + f.name;
  EXPECT_EQ(names, "IndexStruct Name expression filter unique descending");
}

TEST(Types, RecordsGoThereAndBack) {
  const FieldStruct field{"EMAIL", FieldType::kCharacter, 100, 2, true};
  const FieldStruct back = RecordOf<FieldStruct>::FromRow(RecordOf<FieldStruct>::ToRow(field));
  EXPECT_EQ(back.Name, "EMAIL");
  EXPECT_EQ(back.Type, FieldType::kCharacter);
  EXPECT_EQ(back.Length, 100);
  EXPECT_EQ(back.Decimal, 2);
  EXPECT_TRUE(back.NullsAllowed);
  const IndexStruct index{"Email", "EMAIL", "f", true, true};
  const IndexStruct tag = RecordOf<IndexStruct>::FromRow(RecordOf<IndexStruct>::ToRow(index));
  EXPECT_EQ(tag.expression, "EMAIL");
  EXPECT_EQ(tag.filter, "f");
  EXPECT_TRUE(tag.unique);
  EXPECT_TRUE(tag.descending);
}

TEST(Types, LengthIsSixteenBits) {
  EXPECT_EQ(ErrorFrom([] {
              (void)RecordOf<FieldStruct>::FromRow({"A", 1, 70'000, 0, false});
            }).number(),
            6);
}

}  // namespace
}  // namespace pv::tablestore
