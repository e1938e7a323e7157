#include "pvgroupman/addressbook/address_book_source.h"

#include <map>

#include "addressbook/address_book_fixture_test.h"
#include "pvgroupman/tablestore/database.h"
#include "tablestore/table_layout_test.h"

namespace pv::addressbook {
namespace {

using tablestore::Database;
using tablestore::LayoutOf;

class AddressBookSourceTest : public AddressBookTest {
 protected:
  static Ref<CAddressBookSource> Opened(const std::string& id) {
    const auto source = MakeObject<CAddressBookSource>();
    source->OpenAddressBookSource(id);
    return source;
  }

  // The rows of a table in its own order: "a,b|".
  static std::string RowsOf(const char* file) {
    const auto database = MakeObject<Database>();
    const auto rows = database->OpenTable("/data", file);
    std::string all;
    if (rows->GetRecordCount() == 0) return all;
    for (rows->MoveFirst(); !rows->IsEof(); rows->MoveNext()) {
      const auto fields = rows->GetFields();
      for (std::int32_t i = 0; i < fields->Count(); ++i) {
        all += (i == 0 ? "" : ",") + fields->Item(i)->GetValue().ToText();
      }
      all += "|";
    }
    return all;
  }
};

TEST_F(AddressBookSourceTest, NewSourceIsEmptyAndAllowsNothing) {
  const auto source = MakeObject<CAddressBookSource>();
  EXPECT_EQ(source->GetId(), "");
  EXPECT_EQ(source->GetSourceFormat(), "");
  EXPECT_EQ(source->GetSourceLocation(), "");
  EXPECT_FALSE(source->GetWriteAccess());
  EXPECT_FALSE(source->GetUpdateAccess());
  EXPECT_FALSE(source->GetSilentMode());
  EXPECT_EQ(TextsIn(source->GetCategories()), "");
  EXPECT_EQ(TextsIn(source->GetDistributionLists()), "");
}

TEST_F(AddressBookSourceTest, IdCanBeSetOnce) {
  const auto source = MakeObject<CAddressBookSource>();
  source->SetId("A");
  for (const char* again : {"B", "A", ""}) {
    ExpectError(ErrorFrom([&] { source->SetId(again); }), 2410, "AddressBookSource",
                "ID already exists");
  }
  EXPECT_EQ(source->GetId(), "A");
}

TEST_F(AddressBookSourceTest, EmptyIdLeavesItToBeSet) {
  const auto source = MakeObject<CAddressBookSource>();
  source->SetId("");
  source->SetId("A");
  EXPECT_EQ(source->GetId(), "A");
}

struct FormatRow {
  const char* code;
  bool write;
  bool update;
  bool silent;
};

class SourceFormatTest : public testing::TestWithParam<FormatRow> {};

TEST_P(SourceFormatTest, SettlesTheFlags) {
  const FormatRow& row = GetParam();
  const auto source = MakeObject<CAddressBookSource>();
  // What another format left must not shine through.
  for (const char* before : {"PST", "AOL"}) {
    source->SetSourceFormat(before);
    PutProperty(source, "SourceFormat", Value(row.code));
    EXPECT_EQ(GetProperty(source, "SourceFormat"), Value(row.code));
    EXPECT_EQ(GetProperty(source, "WriteAccess"), Value(row.write));
    EXPECT_EQ(GetProperty(source, "UpdateAccess"), Value(row.update));
    EXPECT_EQ(GetProperty(source, "SilentMode"), Value(row.silent));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, SourceFormatTest,
    testing::Values(FormatRow{"PST", true, true, true}, FormatRow{"PAB", true, true, true},
                    FormatRow{"WAB", true, true, true}, FormatRow{"PFC", false, false, false},
                    FormatRow{"AOL", false, false, false}, FormatRow{"EUD", false, false, true},
                    FormatRow{"MAPI", false, false, true}, FormatRow{"DEFM", true, true, true},
                    FormatRow{"GAL", false, false, true}, FormatRow{"GW", true, true, true},
                    FormatRow{"LDIF", true, true, true}, FormatRow{"NSF", true, true, true},
                    FormatRow{"MAB", false, false, true}, FormatRow{"NS4", true, false, true},
                    FormatRow{"ADR", true, true, true}, FormatRow{"PALM", false, false, true},
                    FormatRow{"PINE", true, true, true}, FormatRow{"TB", false, false, true}),
    [](const auto& param) { return std::string(param.param.code); });

TEST_F(AddressBookSourceTest, FormatInLowerCaseAndBetweenBlanksIsAccepted) {
  for (const char* given : {"pst", "  PST ", "Pst", " pSt"}) {
    const auto source = MakeObject<CAddressBookSource>();
    source->SetSourceFormat(given);
    EXPECT_EQ(source->GetSourceFormat(), "PST") << given;
  }
}

TEST_F(AddressBookSourceTest, UnknownFormatLeavesTheOneThatIsSet) {
  const auto source = MakeObject<CAddressBookSource>();
  source->SetSourceFormat("NS4");
  for (const char* unknown : {"", "XYZ", "PST1", "PS", "P ST"}) {
    ExpectError(ErrorFrom([&] { source->SetSourceFormat(unknown); }), 2411,
                "AddressBookSource::SourceFormat", "SourceFormat not valid");
  }
  EXPECT_EQ(source->GetSourceFormat(), "NS4");
  EXPECT_TRUE(source->GetWriteAccess());
  EXPECT_FALSE(source->GetUpdateAccess());
  EXPECT_TRUE(source->GetSilentMode());
}

TEST_F(AddressBookSourceTest, FlagsCannotBeWritten) {
  const auto source = MakeObject<CAddressBookSource>();
  for (const char* flag : {"WriteAccess", "UpdateAccess", "SilentMode"}) {
    EXPECT_EQ(ErrorFrom([&] { PutProperty(source, flag, Value(true)); }).number(), 438) << flag;
  }
}

TEST_F(AddressBookSourceTest, StoresHaveTheirFieldsAndTags) {
  Save("S1", {"Friends"}, {"Team"});
  EXPECT_EQ(LayoutOf("AddrSrc.pvg"),
            "ID C32.0; NAME C240.0; SOURCEFMT C20.0; SOURCELOC C254.0; WRITEABLE L1.0; "
            "UPDATEABLE L1.0; SILENTMODE L1.0; OPTIONS1 C100.0; "
            "tag ID on ID for .NOT. DELETED() unique; ");
  EXPECT_EQ(LayoutOf("AddrCat.pvg"),
            "ID C32.0; CATEGORY C240.0; tag ID on ID for .NOT. DELETED(); ");
  EXPECT_EQ(LayoutOf("AddrDist.pvg"),
            "ID C32.0; DISTLIST C240.0; tag ID on ID for .NOT. DELETED(); ");
}

TEST_F(AddressBookSourceTest, SavingWritesFourColumnsOnly) {
  Save("S1");
  EXPECT_EQ(RowsOf("AddrSrc.pvg"), "S1,,LDIF,/book.ldif,False,False,False,|");
}

TEST_F(AddressBookSourceTest, SavedSourceIsOpenedAgain) {
  Save("S1", {"Friends", "Work"}, {"Team"});
  Save("S2", {"Others"}, {}, "NS4");
  const auto source = MakeObject<CAddressBookSource>();
  EXPECT_EQ(CallMember(source, "openaddressbooksource", {"S1"}), Value(true));
  EXPECT_EQ(source->GetId(), "S1");
  EXPECT_EQ(source->GetSourceFormat(), "LDIF");
  EXPECT_EQ(source->GetSourceLocation(), "/book.ldif");
  EXPECT_TRUE(source->GetUpdateAccess());
  EXPECT_EQ(TextsIn(source->GetCategories()), "Friends|Work|");
  EXPECT_EQ(TextsIn(source->GetDistributionLists()), "Team|");
  source->OpenAddressBookSource("S2");
  EXPECT_EQ(source->GetId(), "S2");
  EXPECT_FALSE(source->GetUpdateAccess());
  EXPECT_EQ(TextsIn(source->GetCategories()), "Others|");
  EXPECT_EQ(TextsIn(source->GetDistributionLists()), "");
}

TEST_F(AddressBookSourceTest, OpeningLeavesTheSameCollectionObjects) {
  Save("S1", {"Friends"});
  const auto source = MakeObject<CAddressBookSource>();
  const auto categories = source->GetCategories();
  AddTo(categories, {"left over"});
  source->OpenAddressBookSource("S1");
  EXPECT_EQ(source->GetCategories(), categories);
  EXPECT_EQ(TextsIn(categories), "Friends|");
}

TEST_F(AddressBookSourceTest, SavingTwiceLeavesOneRowAndTheCurrentNames) {
  Save("S0", {"Zero"}, {"Nobody"});
  Save("S1", {"Friends", "Work", "Old"}, {"Team", "Gone"});
  Save("S2", {"Two"}, {"Twice"});
  Save("S1", {"Work", "New"}, {"Team"});
  EXPECT_EQ(RowsOf("AddrSrc.pvg"),
            "S0,,LDIF,/book.ldif,False,False,False,|S1,,LDIF,/book.ldif,False,False,False,|"
            "S2,,LDIF,/book.ldif,False,False,False,|");
  EXPECT_EQ(RowsOf("AddrCat.pvg"), "S0,Zero|S2,Two|S1,Work|S1,New|");
  EXPECT_EQ(RowsOf("AddrDist.pvg"), "S0,Nobody|S2,Twice|S1,Team|");
}

TEST_F(AddressBookSourceTest, SavingWithoutNamesRemovesThemAll) {
  Save("S1", {"Friends", "Work"}, {"Team"});
  Save("S2", {"Two"});
  Save("S1");
  EXPECT_EQ(RowsOf("AddrCat.pvg"), "S2,Two|");
  EXPECT_EQ(RowsOf("AddrDist.pvg"), "");
}

TEST_F(AddressBookSourceTest, ManyNamesOfManySourcesAreKeptApart) {
  for (int i = 0; i < 40; ++i) {
    const std::string id = "S" + std::to_string(i);
    Save(id, {"a", "b", "c", "d", "e"});
  }
  Save("S17", {"x"});
  EXPECT_EQ(TextsIn(Opened("S16")->GetCategories()), "a|b|c|d|e|");
  EXPECT_EQ(TextsIn(Opened("S17")->GetCategories()), "x|");
  EXPECT_EQ(TextsIn(Opened("S18")->GetCategories()), "a|b|c|d|e|");
}

TEST_F(AddressBookSourceTest, IdThatBeginsLikeAnotherIsAnother) {
  Save("S1", {"One"});
  Save("S12", {"Twelve"});
  Save("S1", {"Uno"});
  EXPECT_EQ(TextsIn(Opened("S12")->GetCategories()), "Twelve|");
  EXPECT_EQ(TextsIn(Opened("S1")->GetCategories()), "Uno|");
  EXPECT_EQ(ErrorFrom([&] { Opened("S"); }).number(), 2306);
  EXPECT_EQ(ErrorFrom([&] { Opened("s1"); }).number(), 2306) << "letter case counts";
}

TEST_F(AddressBookSourceTest, SavingWithoutAnIdFails) {
  for (const char* id : {"", "   "}) {
    const auto source = MakeObject<CAddressBookSource>();
    source->SetId(id);
    source->SetSourceFormat("LDIF");
    ExpectError(ErrorFrom([&] { source->SaveAddressBookSource(); }), 2308,
                "CAddressBookSource::SaveAddressBookSource",
                "ID not specified for AddressBook Source");
  }
  EXPECT_FALSE(machine_.files.Has("/data/AddrSrc.pvg"));
}

TEST_F(AddressBookSourceTest, OpeningWithoutAnIdFails) {
  for (const char* id : {"", "   "}) {
    ExpectError(ErrorFrom([&] { Opened(id); }), 2308, "CAddressBookSource::OpenAddressBookSource",
                "ID not specified for AddressBook Source");
  }
}

TEST_F(AddressBookSourceTest, OpeningWithoutAStoreFailsAndMakesNone) {
  ExpectError(ErrorFrom([&] { Opened("S1"); }), 2306, "CAddressBookSource::OpenAddressBookSource",
              "Address Book details can not be located");
  EXPECT_TRUE(machine_.files.Events().empty());
}

TEST_F(AddressBookSourceTest, OpeningWhatWasNeverSavedFails) {
  Save("S1");
  ExpectError(ErrorFrom([&] { Opened("S2"); }), 2306, "CAddressBookSource::OpenAddressBookSource",
              "Address Book details can not be located");
  EXPECT_EQ(ErrorFrom([&] { Opened(std::string(40, 'x')); }).number(), 2306);
}

TEST_F(AddressBookSourceTest, FailedOpeningEmptiesTheNamesAndTakesTheId) {
  Save("S1", {"Friends"}, {"Team"});
  const auto source = Opened("S1");
  EXPECT_EQ(ErrorFrom([&] { source->OpenAddressBookSource("S2"); }).number(), 2306);
  EXPECT_EQ(source->GetId(), "S2");
  EXPECT_EQ(TextsIn(source->GetCategories()), "");
  EXPECT_EQ(TextsIn(source->GetDistributionLists()), "");
  EXPECT_EQ(ErrorFrom([&] { source->OpenAddressBookSource(""); }).number(), 2308);
  EXPECT_EQ(source->GetId(), "S2") << "a blank ID is not taken";
}

TEST_F(AddressBookSourceTest, OpeningWithoutTheTablesOfNamesLeavesThemEmpty) {
  Save("S1", {"Friends"}, {"Team"});
  for (const char* file : {"AddrCat.pvg", "AddrCat.cdx", "AddrDist.pvg", "AddrDist.cdx"}) {
    ASSERT_TRUE(machine_.files.Remove(std::string("/data/") + file).ok());
  }
  const auto source = Opened("S1");
  EXPECT_EQ(TextsIn(source->GetCategories()), "");
  EXPECT_EQ(TextsIn(source->GetDistributionLists()), "");
  EXPECT_FALSE(machine_.files.Has("/data/AddrCat.pvg"));
}

TEST_F(AddressBookSourceTest, OpeningDerivesTheFlagsWhateverTheRowSays) {
  Save("S1", {}, {}, "AOL");
  {
    const auto database = MakeObject<Database>();
    const auto rows = database->OpenTable("/data", "AddrSrc.pvg");
    rows->MoveFirst();
    for (const char* flag : {"Writeable", "Updateable", "SilentMode"}) {
      rows->GetFields()->Find(flag)->SetValue(Value(true));
    }
    rows->Update();
  }
  const auto source = Opened("S1");
  EXPECT_FALSE(source->GetWriteAccess());
  EXPECT_FALSE(source->GetUpdateAccess());
  EXPECT_FALSE(source->GetSilentMode());
  source->SaveAddressBookSource();
  EXPECT_EQ(RowsOf("AddrSrc.pvg"), "S1,,AOL,/book.ldif,True,True,True,|")
      << "what is never written stays as it is";
}

TEST_F(AddressBookSourceTest, StoredFormatThatIsNoneIsAnErrorOfOpening) {
  Save("S1");
  {
    const auto database = MakeObject<Database>();
    const auto rows = database->OpenTable("/data", "AddrSrc.pvg");
    rows->MoveFirst();
    rows->GetFields()->Find("SourceFmt")->SetValue(Value("XYZ"));
    rows->Update();
  }
  ExpectError(ErrorFrom([&] { Opened("S1"); }), 2411, "CAddressBookSource::OpenAddressBookSource",
              "SourceFormat not valid");
}

TEST_F(AddressBookSourceTest, DeletingWithoutAnArgumentTakesTheObjectsOwnId) {
  Save("S1", {"Friends"}, {"Team"});
  Save("S2", {"Two"}, {"Twice"});
  const auto source = Opened("S1");
  EXPECT_EQ(CallMember(source, "DeleteAddressBookSource"), Value(true));
  EXPECT_EQ(RowsOf("AddrSrc.pvg"), "S2,,LDIF,/book.ldif,False,False,False,|");
  EXPECT_EQ(RowsOf("AddrCat.pvg"), "S2,Two|");
  EXPECT_EQ(RowsOf("AddrDist.pvg"), "S2,Twice|");
  EXPECT_EQ(CallMember(Opened("S2"), "DeleteAddressBookSource", {""}), Value(true));
  EXPECT_EQ(RowsOf("AddrSrc.pvg"), "");
}

TEST_F(AddressBookSourceTest, DeletingAnotherSourceLeavesTheOwn) {
  Save("S1", {"Friends"});
  Save("S2", {"Two", "Too"});
  EXPECT_TRUE(Opened("S1")->DeleteAddressBookSource("S2"));
  EXPECT_EQ(RowsOf("AddrCat.pvg"), "S1,Friends|");
  EXPECT_EQ(ErrorFrom([&] { Opened("S2"); }).number(), 2306);
}

TEST_F(AddressBookSourceTest, DeletingAnUnknownIdSucceedsAndCompacts) {
  Save("S1", {"Friends"}, {"Team"});
  for (const char* file : {"AddrSrc.pvg", "AddrCat.pvg", "AddrDist.pvg"}) {
    const auto database = MakeObject<Database>();
    const auto rows = database->OpenTable("/data", file);
    rows->MoveFirst();
    rows->Delete();
  }
  EXPECT_NE(RowsOf("AddrSrc.pvg"), "") << "marked only";
  EXPECT_TRUE(MakeObject<CAddressBookSource>()->DeleteAddressBookSource("none"));
  for (const char* file : {"AddrSrc.pvg", "AddrCat.pvg", "AddrDist.pvg"}) {
    EXPECT_EQ(RowsOf(file), "") << file;
  }
}

TEST_F(AddressBookSourceTest, DeletingWithoutTablesSucceedsAndMakesNone) {
  EXPECT_TRUE(MakeObject<CAddressBookSource>()->DeleteAddressBookSource("S1"));
  EXPECT_TRUE(machine_.files.Events().empty());
}

TEST_F(AddressBookSourceTest, HostMaySetACollectionOfItsOwn) {
  const auto theirs = MakeObject<CAddressBookSource>()->GetCategories();
  AddTo(theirs, {"Mine"});
  const auto source = MakeObject<CAddressBookSource>();
  source->SetId("S1");
  source->SetSourceFormat("LDIF");
  PutProperty(source, "Categories", Value(theirs));
  PutProperty(source, "DistributionLists", Value(theirs));
  EXPECT_EQ(GetProperty(source, "Categories").ToObject(), theirs);
  source->SaveAddressBookSource();
  EXPECT_EQ(RowsOf("AddrCat.pvg"), "S1,Mine|");
  EXPECT_EQ(RowsOf("AddrDist.pvg"), "S1,Mine|");
}

TEST_F(AddressBookSourceTest, CollectionOfTexts) {
  const auto names = MakeObject<CAddressBookSource>()->GetCategories();
  AddTo(names, {"b", "a", "b"});
  EXPECT_EQ(TextsIn(names), "b|a|b|");
  EXPECT_EQ(automation::GetDefault(names, {Value(2)}), Value("a"));
  CallMember(names, "Remove", {1});
  EXPECT_EQ(TextsIn(names), "a|b|");
  for (const std::int32_t outside : {0, 3, -1}) {
    EXPECT_EQ(ErrorFrom([&] { CallMember(names, "Item", {outside}); }).number(), 9);
    EXPECT_EQ(ErrorFrom([&] { CallMember(names, "Remove", {outside}); }).number(), 9);
  }
  std::string all;
  const auto e = automation::Enumerate(names);
  for (Value v; e->Next(&v);) all += v.ToText();
  EXPECT_EQ(all, "ab");
}

TEST_F(AddressBookSourceTest, WhatAFieldCannotKeepIsRefusedBeforeAnythingIsWritten) {
  const auto save = [](const std::string& id, const std::string& location,
                       const std::string& name) {
    return ErrorFrom([&] {
      const auto source = MakeObject<CAddressBookSource>();
      source->SetId(id);
      source->SetSourceFormat("LDIF");
      source->SetSourceLocation(location);
      CallMember(source->GetDistributionLists(), "Add", {name});
      source->SaveAddressBookSource();
    });
  };
  EXPECT_EQ(save(std::string(33, 'x'), "/a", "n").number(), 5);
  EXPECT_EQ(save("S1", std::string(255, 'p'), "n").number(), 5);
  EXPECT_EQ(save("S1", "/a", std::string(241, 'n')).number(), 5);
  ExpectError(save("S1", "/książka", "n"), 5, "CAddressBookSource::SaveAddressBookSource",
              "The address book's location \"/książka\" has characters that code page 1252 lacks.");
  EXPECT_FALSE(machine_.files.Has("/data/AddrSrc.pvg"));
  EXPECT_EQ(save(std::string(32, 'x'), std::string(254, 'p'), std::string(240, 'n')).number(), 0);
  EXPECT_EQ(TextsIn(Opened(std::string(32, 'x'))->GetDistributionLists()),
            std::string(240, 'n') + "|");
}

TEST_F(AddressBookSourceTest, ErrorsCarryTheOuterLabelAndEveryLevelIsLogged) {
  Save("S1", {"Friends"});
  machine_.files.Put("/data/AddrCat.pvg", "no table");
  support::OpenLog("/log.txt", support::kLogErrors);
  const Error e = ErrorFrom([&] { Opened("S1"); });
  support::StopLog();
  EXPECT_EQ(e.number(), -210);
  EXPECT_EQ(e.source(), "CAddressBookSource::OpenAddressBookSource");
  const std::string log = machine_.files.Get("/log.txt");
  const auto inner = log.find("CAddressBookSource::OpenABCategories - Exit error -210 ");
  const auto outer = log.find("CAddressBookSource::OpenAddressBookSource - Exit error -210 ");
  ASSERT_NE(inner, std::string::npos) << log;
  ASSERT_NE(outer, std::string::npos) << log;
  EXPECT_LT(inner, outer);
}

TEST_F(AddressBookSourceTest, FailureHalfwayNeverLeavesASourceWithoutNames) {
  Save("S0", {"Other"});
  Save("S1", {"Old", "Older"}, {"Team"});
  const platform::MemoryImage start = machine_.files.Snapshot();
  int failures = 0;
  for (std::uint64_t n = 1;; ++n) {
    machine_.files.Restore(start);
    machine_.files.FailCall(n, platform::Call::kAny, platform::Fault::kIoError);
    const Error e = ErrorFrom([] { Save("S1", {"New"}, {"Staff", "Team"}); });
    const bool hit = machine_.files.FaultHit();
    machine_.files.ClearFault();
    if (!hit) break;
    if (e.number() != 0) ++failures;
    const auto source = Opened("S1");
    EXPECT_NE(TextsIn(source->GetCategories()), "") << "call " << n;
    EXPECT_NE(TextsIn(source->GetDistributionLists()), "") << "call " << n;
    EXPECT_EQ(TextsIn(Opened("S0")->GetCategories()), "Other|") << "call " << n;
  }
  EXPECT_GT(failures, 10);
}

TEST_F(AddressBookSourceTest, TableOfNamesThatCannotBeReachedIsNoEmptyOne) {
  Save("S1", {"Old"});
  int errors = 0;
  for (std::uint64_t n = 1; n < 30; ++n) {
    machine_.files.FailCall(n, platform::Call::kStat, platform::Fault::kDenied);
    std::string seen;
    const Error e = ErrorFrom([&] { seen = TextsIn(Opened("S1")->GetCategories()); });
    const bool hit = machine_.files.FaultHit();
    machine_.files.ClearFault();
    if (!hit) break;
    errors += e.number() != 0 ? 1 : 0;
    EXPECT_EQ(seen, e.number() == 0 ? "Old|" : "") << "call " << n;
  }
  EXPECT_GE(errors, 3) << "one for each table";
}

TEST_F(AddressBookSourceTest, NothingIsHeldOpenBetweenCalls) {
  Save("S1", {"Friends"}, {"Team"});
  EXPECT_EQ(machine_.files.OpenFileCount(), 0);
  const auto source = Opened("S1");
  EXPECT_EQ(machine_.files.OpenFileCount(), 0);
  source->DeleteAddressBookSource();
  EXPECT_EQ(machine_.files.OpenFileCount(), 0);
}

TEST_F(AddressBookSourceTest, DataFolderIsAskedForOnce) {
  const auto source = MakeObject<CAddressBookSource>();
  source->SetId("S1");
  source->SetSourceFormat("LDIF");
  source->SaveAddressBookSource();
  machine_.process.environment["PVGROUP_DATA"] = "/elsewhere";
  source->SaveAddressBookSource();
  EXPECT_FALSE(machine_.files.Has("/elsewhere/AddrSrc.pvg"));
  EXPECT_EQ(ErrorFrom([&] { Opened("S1"); }).number(), 2306);
}

TEST_F(AddressBookSourceTest, MembersAreInInterfaceOrder) {
  std::string names;
  const auto source = MakeObject<CAddressBookSource>();
  for (const automation::Member& m : source->Members().members()) {
    names += m.name + ":" + std::to_string(static_cast<int>(m.kind)) + " ";
  }
  EXPECT_EQ(names,
            "Categories:2 Categories:8 DistributionLists:2 DistributionLists:8 ID:2 ID:4 "
            "SourceFormat:2 SourceFormat:4 SourceLocation:2 SourceLocation:4 WriteAccess:2 "
            "UpdateAccess:2 SilentMode:2 SaveAddressBookSource:1 OpenAddressBookSource:1 "
            "DeleteAddressBookSource:1 ");
}

}  // namespace
}  // namespace pv::addressbook
