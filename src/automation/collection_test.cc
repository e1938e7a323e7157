#include "pvgroupman/automation/collection.h"

#include <gtest/gtest.h>

#include "automation/sample_class_test.h"

namespace pv::automation {
namespace {

class CollectionTest : public testing::Test {
 protected:
  CollectionTest() {
    for (const char* name : {"Alpha", "Beta", "Gamma"}) items_->Add(name);
  }
  std::string All() const {
    std::string all;
    for (Value v; const auto& e = enumerator_ = items_->NewEnum();) {
      while (e->Next(&v)) all += GetProperty(v.ToObject(), "Name").ToText() + " ";
      break;
    }
    return all;
  }
  Ref<Items> items_ = MakeObject<Items>();
  mutable Ref<Enumerator> enumerator_;
};

TEST_F(CollectionTest, PositionsAreOneBasedWhateverTheNumericSubtype) {
  for (const Value& two : {Value(2), Value(std::int16_t{2}), Value(2.0), Value(1.6),
                           Value(Currency{20'000}), Value(2.5)}) {
    EXPECT_EQ(items_->Item(two)->GetName(), "Beta") << static_cast<int>(two.type());
  }
}

TEST_F(CollectionTest, KeysIgnoreLetterCase) {
  EXPECT_EQ(items_->Item("bETA")->GetName(), "Beta");
  items_->Add("Österreich");
  EXPECT_EQ(items_->Item("ÖSTERREICH"), items_->Item("österreich"));
  items_->Add("Ελλάδα");
  EXPECT_EQ(items_->Item("ΕΛΛΆΔΑ")->GetName(), "Ελλάδα");
}

TEST_F(CollectionTest, TextIsAlwaysAKey) {
  items_->Add("1");
  EXPECT_EQ(items_->Item("1")->GetName(), "1");
  EXPECT_EQ(items_->Item(1)->GetName(), "Alpha");
}

TEST_F(CollectionTest, MissingKeyIs5) {
  const Error e = ErrorFrom([&] { items_->Item("Delta"); });
  EXPECT_EQ(e.number(), 5);
  EXPECT_EQ(e.description(), "Invalid procedure call or argument");
  EXPECT_EQ(ErrorFrom([&] { items_->Delete("Delta"); }).number(), 5);
}

TEST_F(CollectionTest, PositionOutsideIs9) {
  for (const Value& v : {Value(0), Value(4), Value(-1), Value(0.4), Value(1e300)}) {
    const Error e = ErrorFrom([&] { items_->Item(v); });
    EXPECT_EQ(e.number(), 9);
    EXPECT_EQ(e.description(), "Subscript out of range");
  }
  EXPECT_EQ(ErrorFrom([&] { items_->Delete(4); }).number(), 9);
}

TEST_F(CollectionTest, OtherSubtypesAre13) {
  for (const Value& v : {Value(), Value::Null(), Value(items_), Value(Bytes{1})}) {
    EXPECT_EQ(ErrorFrom([&] { items_->Item(v); }).number(), 13);
  }
}

TEST_F(CollectionTest, DuplicateKeyIs457AndAddsNothing) {
  const Error e = ErrorFrom([&] { items_->Add("BETA"); });
  EXPECT_EQ(e.number(), 457);
  EXPECT_EQ(e.description(), "This key is already associated with an element of this collection");
  EXPECT_EQ(items_->Count(), 3);
}

TEST_F(CollectionTest, DeleteByPositionAndByKeyMovesTheRestDown) {
  items_->Delete(1);
  EXPECT_EQ(items_->Item(1)->GetName(), "Beta");
  items_->Delete("GAMMA");
  EXPECT_EQ(items_->Count(), 1);
  EXPECT_EQ(ErrorFrom([&] { items_->Item("Alpha"); }).number(), 5);
  items_->Add("Alpha");
  EXPECT_EQ(items_->Item(2)->GetName(), "Alpha");
}

TEST_F(CollectionTest, EnumerationFollowsTheOrderOfAdding) {
  EXPECT_EQ(All(), "Alpha Beta Gamma ");
  items_->Delete("Beta");
  items_->Add("Beta");
  EXPECT_EQ(All(), "Alpha Gamma Beta ");
}

TEST_F(CollectionTest, EnumeratorKeepsTheItemsItBeganWith) {
  const auto e = items_->NewEnum();
  items_->Delete("Beta");
  Value v;
  EXPECT_TRUE(e->Skip(1));
  const auto clone = e->Clone();
  ASSERT_TRUE(e->Next(&v));
  EXPECT_EQ(GetProperty(v.ToObject(), "Name"), Value("Beta"));
  EXPECT_FALSE(e->Skip(2));
  EXPECT_FALSE(e->Next(&v));
  ASSERT_TRUE(clone->Next(&v));
  EXPECT_EQ(GetProperty(v.ToObject(), "Name"), Value("Beta"));
  e->Reset();
  ASSERT_TRUE(e->Next(&v));
  EXPECT_EQ(GetProperty(v.ToObject(), "Name"), Value("Alpha"));
}

TEST_F(CollectionTest, ItemStaysAliveAfterDeletion) {
  const Ref<Thing> beta = items_->Item("Beta");
  items_->Delete("Beta");
  EXPECT_EQ(beta->GetName(), "Beta");
  EXPECT_EQ(beta->reference_count(), 1);
}

TEST(KeyedCollection, HoldsThousandsOfEntries) {
  const auto items = MakeObject<Items>();
  for (int i = 0; i < 20'000; ++i) items->Add("key" + std::to_string(i));
  EXPECT_EQ(items->Item("KEY19999")->GetName(), "key19999");
  for (std::int32_t n = items->Count(); n > 0; --n) items->Delete(n);
  EXPECT_EQ(items->Count(), 0);
  EXPECT_EQ(ErrorFrom([&] { items->Item("key1"); }).number(), 5);
}

TEST(KeyedCollection, ClearRemovesEverything) {
  KeyedCollection c;
  c.Add("a", MakeObject<Thing>("a"));
  c.Clear();
  EXPECT_EQ(c.Count(), 0);
  EXPECT_EQ(c.Find("a"), nullptr);
  EXPECT_NO_THROW(c.Add("A", MakeObject<Thing>("A")));
}

TEST(TextKey, HashAgreesWithEquality) {
  const TextKeyHash hash;
  const TextKeyEqual equal;
  for (const auto& [a, b] : {std::pair{"EMAIL", "email"}, {"Straße", "STRAßE"}, {"ÄÖ", "äö"}}) {
    EXPECT_TRUE(equal(a, b));
    EXPECT_EQ(hash(a), hash(b));
  }
  EXPECT_FALSE(equal("a", "ab"));
}

}  // namespace
}  // namespace pv::automation
