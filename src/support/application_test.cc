#include "support/application.h"

#include <gtest/gtest.h>

#include "automation/test_support.h"
#include "platform/memory/memory_system.h"
#include "pvgroupman/automation/collection.h"
#include "pvgroupman/automation/member_table.h"

namespace pv::support {
namespace {

using automation::ErrorFrom;
using automation::Value;

class ApplicationTest : public testing::Test {
 protected:
  ApplicationTest() { EXPECT_TRUE(machine_.files.CreateFolders("/d").ok()); }

  platform::MemorySystem machine_;
  platform::ScopedSystem scope_{machine_.system()};
};

// A collection of plain values; Item fails where a text says so.
class Values : public automation::Object {
 public:
  static constexpr const char* kClassName = "Values";
  explicit Values(std::vector<Value> values) : values_(std::move(values)) {}
  std::int32_t Count() const { return static_cast<std::int32_t>(values_.size()); }
  Value Item(std::int32_t index) {
    ++reads;
    return values_[static_cast<std::size_t>(index - 1)];
  }
  const automation::MemberTable& Members() const override {
    static const automation::MemberTable table = automation::Class("Values")
                                                     .Get("Count", &Values::Count)
                                                     .Default("Item", &Values::Item, {"Index"});
    return table;
  }
  int reads = 0;

 private:
  std::vector<Value> values_;
};

TEST_F(ApplicationTest, SettingIsReadBackWhateverTheLetterCase) {
  WriteSetting("/d/g.dat", "Properties", "Name", "Café");
  EXPECT_EQ(ReadSetting("/d/g.dat", "PROPERTIES", "name", "-"), "Café");
}

TEST_F(ApplicationTest, MissingSettingYieldsTheDefault) {
  EXPECT_EQ(ReadSetting("/d/none.ini", "S", "K", "-"), "-");
  WriteSetting("/d/g.ini", "S", "K", "v");
  EXPECT_EQ(ReadSetting("/d/g.ini", "S", "Other", "-"), "-");
  EXPECT_EQ(ReadSetting("/d/g.ini", "Other", "K", "-"), "-");
}

TEST_F(ApplicationTest, EmptySettingYieldsTheDefault) {
  machine_.files.Put("/d/g.ini", "[S]\r\nK=\r\n");
  EXPECT_EQ(ReadSetting("/d/g.ini", "S", "K", "given"), "given");
}

TEST_F(ApplicationTest, LongSettingIsCutAtTheBuffer) {
  WriteSetting("/d/g.ini", "S", "K", std::string(2047, 'a'));
  EXPECT_EQ(ReadSetting("/d/g.ini", "S", "K", "").size(), 2047U);
  WriteSetting("/d/g.ini", "S", "K", std::string(2047, 'a') + "bc");
  EXPECT_TRUE(ReadSetting("/d/g.ini", "S", "K", "") == std::string(2047, 'a'));
}

TEST_F(ApplicationTest, WritingASettingReportsNoFailure) {
  machine_.files.SetReadOnly(true);
  EXPECT_NO_THROW(WriteSetting("/d/g.ini", "S", "K", "v"));
  EXPECT_EQ(ReadSetting("/d/g.ini", "S", "K", "-"), "-");
}

TEST_F(ApplicationTest, FileExistsForFilesOnly) {
  machine_.files.Put("/d/g.ini", "");
  EXPECT_TRUE(FileExists("/d/g.ini"));
  EXPECT_TRUE(FileExists("/d\\g.ini"));
  EXPECT_FALSE(FileExists("/d"));
  EXPECT_FALSE(FileExists("/d/none"));
  EXPECT_FALSE(FileExists(""));
}

TEST_F(ApplicationTest, IsFolderForFoldersOnly) {
  machine_.files.Put("/d/g.ini", "");
  EXPECT_TRUE(IsFolder("/d"));
  EXPECT_TRUE(IsFolder("/d\\"));
  EXPECT_FALSE(IsFolder("/d/g.ini"));
  EXPECT_FALSE(IsFolder("/none"));
}

TEST_F(ApplicationTest, EnsureFolderMakesParentsAndSaysWhyNot) {
  EnsureFolder("/x/y/z\\");
  EXPECT_TRUE(IsFolder("/x/y/z"));
  EXPECT_NO_THROW(EnsureFolder("/x/y/z"));
  machine_.files.SetReadOnly(true);
  EXPECT_EQ(ErrorFrom([] { EnsureFolder("/q"); }).number(), 75);
}

TEST_F(ApplicationTest, WriteSettingsComeBackUnchanged) {
  const std::vector<std::string> texts = {"plain", " blanks ", "\"quoted\"", "'single'", "\"",
                                          "",      "=;[x]",    "\ttab",      "Größe",    "'\""};
  std::vector<platform::ProfileEntry> entries;
  for (const std::string& text : texts) {
    entries.push_back({"k" + std::to_string(entries.size()), text});
  }
  ASSERT_TRUE(WriteSettings("/a.ini", "S", entries));
  for (const platform::ProfileEntry& entry : entries) {
    EXPECT_EQ(ReadSetting("/a.ini", "S", entry.key, ""), entry.value);
  }
}

TEST_F(ApplicationTest, WriteSettingsWritesAllOrNothing) {
  WriteSetting("/a.ini", "S", "k", "old");
  const std::string before = machine_.files.Get("/a.ini");
  for (const std::string& bad : {std::string("two\nlines"), std::string("z\0", 2),
                                 std::string("Łódź"), std::string(kLongestSetting + 1, 'x')}) {
    EXPECT_FALSE(WriteSettings("/a.ini", "S", {{"k", "new"}, {"l", bad}}));
    EXPECT_EQ(machine_.files.Get("/a.ini"), before);
  }
  machine_.files.SetReadOnly(true);
  EXPECT_FALSE(WriteSettings("/a.ini", "S", {{"k", "new"}}));
}

TEST_F(ApplicationTest, IdsThatLeadElsewhereAreNoPartsOfFileNames) {
  for (const char* id : {"A1", "", " x ", "CON", "..", "Größe"}) {
    EXPECT_EQ(WhyNotPartOfFileName(id), "") << id;
  }
  for (const char* id : {"a/b", "a\\b", "a:b", "a*", "a\n", "a\x7F", "a\xFF"}) {
    EXPECT_NE(WhyNotPartOfFileName(id), "") << id;
  }
}

TEST_F(ApplicationTest, TextThatDoesNotFitIsRefusedWithOrWithoutBeingShown) {
  EXPECT_NO_THROW(RequireFits("name", "Größe", 5));
  EXPECT_NO_THROW(RequireFits("name", std::string(9999, 'x'), 0));
  EXPECT_EQ(automation::ErrorFrom([] { RequireFits("name", "Größe", 4); }).description(),
            "The name \"Größe\" has more than 4 characters.");
  EXPECT_EQ(automation::ErrorFrom([] { RequireFitsUnseen("word", "geheim", 4); }).description(),
            "The word has more than 4 characters.");
  EXPECT_EQ(automation::ErrorFrom([] { RequireFitsUnseen("word", "Ł", 0); }).description(),
            "The word has characters that code page 1252 lacks.");
}

TEST_F(ApplicationTest, UpperBoundCountsFromOne) {
  EXPECT_EQ(UpperBound(Value(automation::TextArray{"a", "b"})), 2);
  EXPECT_EQ(UpperBound(Value(automation::Bytes{1})), 1);
}

TEST_F(ApplicationTest, UpperBoundOfAnArrayNeverDimensionedIsZero) {
  EXPECT_EQ(UpperBound(Value()), 0);
  EXPECT_EQ(UpperBound(Value(3)), 0);
}

TEST_F(ApplicationTest, IdentifierKeepsLeadingZerosOfEveryPart) {
  EXPECT_EQ(IdentifierText({0, 0, 0, 1, 0, 2, 0x40, 3, 0x80, 0, 0, 0, 0, 0, 0, 0x0F}),
            "0000000100024003800000000000000F");
  EXPECT_EQ(IdentifierText({0xAB, 0xCD, 0xEF, 1, 0, 2, 0x40, 3, 0x80, 0, 0, 0, 0, 0, 0, 0}).size(),
            32U);
}

TEST_F(ApplicationTest, NewIdentifiersDiffer) {
  const std::string a = NewIdentifier();
  const std::string b = NewIdentifier();
  EXPECT_EQ(a.size(), 32U);
  EXPECT_EQ(a.find_first_not_of("0123456789ABCDEF"), std::string::npos);
  EXPECT_NE(a, b);
}

TEST_F(ApplicationTest, NoIdentifierFromTheSystemIsEmptyText) {
  machine_.process.has_identifiers = false;
  EXPECT_EQ(NewIdentifier(), "");
}

TEST_F(ApplicationTest, ContainsTextStopsAtTheFirstMatch) {
  const auto values =
      automation::MakeObject<Values>(std::vector<Value>{"a", "b", "b", automation::Bytes{1}});
  EXPECT_TRUE(ContainsText(values, "b"));
  EXPECT_EQ(values->reads, 2);
  EXPECT_FALSE(ContainsText(values, "B")) << "letter case counts";
}

TEST_F(ApplicationTest, ContainsTextIsFalseOnError) {
  const auto values = automation::MakeObject<Values>(std::vector<Value>{automation::Bytes{1}, "b"});
  EXPECT_FALSE(ContainsText(values, "b"));
  EXPECT_FALSE(ContainsText(nullptr, "b"));
}

TEST_F(ApplicationTest, ContainsValueComparesVariants) {
  const auto values = automation::MakeObject<Values>(std::vector<Value>{"1", 2.0});
  EXPECT_TRUE(ContainsValue(values, Value(2)));
  EXPECT_FALSE(ContainsValue(values, Value(1)));
  EXPECT_TRUE(ContainsValue(values, Value("1")));
}

TEST_F(ApplicationTest, EmptyCollectionContainsNothing) {
  const auto values = automation::MakeObject<Values>(std::vector<Value>{});
  EXPECT_FALSE(ContainsText(values, ""));
  EXPECT_FALSE(ContainsValue(values, Value()));
}

TEST_F(ApplicationTest, WithSeparatorAddsOneBackslash) {
  EXPECT_EQ(WithSeparator("/d"), "/d\\");
  EXPECT_EQ(WithSeparator("/d\\"), "/d\\");
  EXPECT_EQ(WithSeparator(""), "\\");
}

}  // namespace
}  // namespace pv::support
