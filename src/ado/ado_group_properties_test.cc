#include "ado/ado_fixture_test.h"

namespace pv::ado {
namespace {

class AdoGroupPropertiesTest : public AdoStoresTest {
 protected:
  static Ref<CADOGroupProperties> Open(const std::string& id) {
    const auto definition = MakeObject<CADOGroupProperties>();
    EXPECT_EQ(definition->OpenADOGroupProperties(id), Value(true));
    return definition;
  }
  std::string FileOf(const std::string& id) {
    return machine_.files.Get("/data/GroupADO" + id + ".ini");
  }
  void PutFile(const std::string& id, const std::string& content) {
    machine_.files.Put("/data/GroupADO" + id + ".ini", content);
  }
  static std::string ValuesOf(const Ref<CADOGroupProperties>& definition) {
    std::string values;
    const auto filters = definition->GetFilters();
    for (std::int32_t i = 1; i <= filters->Count(); ++i) {
      values += filters->Item(i)->GetValue() + "|";
    }
    return values;
  }
};

TEST_F(AdoGroupPropertiesTest, NewObjectIsEmpty) {
  const auto definition = MakeObject<CADOGroupProperties>();
  for (const char* text : {"ID", "Table", "LeftBrace", "RightBrace", "SQL", "Parameters"}) {
    EXPECT_EQ(GetProperty(definition, text), Value("")) << text;
  }
  EXPECT_EQ(GetProperty(definition, "FilterMethod"), Value(std::int16_t{0}));
  EXPECT_EQ(GetProperty(GetProperty(definition, "Filters").ToObject(), "Count"), Value(0));
  EXPECT_TRUE(machine_.files.Events().empty());
}

TEST_F(AdoGroupPropertiesTest, SaveMakesTheStoreWithItsFieldsAndTag) {
  Definition("P1")->SaveADOGroupProperties();
  EXPECT_EQ(LayoutOf("GroupADO.pvg"),
            "ID C32.0; FILTERMETH I4.0; TABLE C100.0; LEFTBRACE C20.0; RIGHTBRACE C20.0; "
            "SQL M4.0; PARAMETERS C254.0; tag ID on ID for .NOT. DELETED() unique; ");
}

TEST_F(AdoGroupPropertiesTest, EveryMemberIsKept) {
  const auto definition = MakeObject<CADOGroupProperties>();
  PutProperty(definition, "ID", Value("P1"));
  PutProperty(definition, "FilterMethod", Value(std::int16_t{-1}));
  PutProperty(definition, "Table", Value("order lines"));
  PutProperty(definition, "LeftBrace", Value("["));
  PutProperty(definition, "RightBrace", Value("]"));
  PutProperty(definition, "SQL", Value("select *\r\nfrom t where n = 'ü'"));
  PutProperty(definition, "Parameters", Value("p"));
  EXPECT_EQ(CallMember(definition, "SaveADOGroupProperties"), Value(true));
  const auto read = Open("P1");
  EXPECT_EQ(read->GetId(), "P1");
  EXPECT_EQ(read->GetFilterMethod(), -1);
  EXPECT_EQ(read->GetTable(), "order lines");
  EXPECT_EQ(read->GetLeftBrace(), "[");
  EXPECT_EQ(read->GetRightBrace(), "]");
  EXPECT_EQ(read->GetSql(), "select *\r\nfrom t where n = 'ü'");
  EXPECT_EQ(read->GetParameters(), "p");
  EXPECT_EQ(read->GetFilters()->Count(), 0);
}

TEST_F(AdoGroupPropertiesTest, TheFilterFileHasItsKeys) {
  const auto definition = Definition("P1");
  definition->GetFilters()->Add("country", "is", "=", "'DE'", "AND");
  definition->GetFilters()->Add("first name", "begins with", "like", "'A%'", "OR");
  definition->SaveADOGroupProperties();
  EXPECT_EQ(FileOf("P1"),
            "[Filters]\r\n"
            "FilterCount=2\r\n"
            "Filter1Field=country\r\n"
            "Filter1OpDisplay=is\r\n"
            "Filter1OpSQL==\r\n"
            "Filter1Value=<singlequote>DE<singlequote>\r\n"
            "Filter1LogicalOp=AND\r\n"
            "Filter2Field=first name\r\n"
            "Filter2OpDisplay=begins with\r\n"
            "Filter2OpSQL=like\r\n"
            "Filter2Value=<singlequote>A%<singlequote>\r\n"
            "Filter2LogicalOp=OR\r\n");
  const auto read = Open("P1");
  ASSERT_EQ(read->GetFilters()->Count(), 2);
  const auto second = read->GetFilters()->Item(2);
  EXPECT_EQ(second->GetFieldName(), "first name");
  EXPECT_EQ(second->GetOpDisplay(), "begins with");
  EXPECT_EQ(second->GetOpSql(), "like");
  EXPECT_EQ(second->GetValue(), "'A%'");
  EXPECT_EQ(second->GetLogicalOp(), "OR");
}

TEST_F(AdoGroupPropertiesTest, ApostrophesAndHashSignsAreEscaped) {
  Definition("P1", {"O'Brien #2"})->SaveADOGroupProperties();
  EXPECT_NE(FileOf("P1").find("Filter1Value=O<singlequote>Brien <hash>2\r\n"), std::string::npos);
  EXPECT_EQ(ValuesOf(Open("P1")), "O'Brien #2|");
}

TEST_F(AdoGroupPropertiesTest, AValueWithTheTextOfAnEscapeReadsAsWhatItStandsFor) {
  Definition("P1", {"a<hash>b"})->SaveADOGroupProperties();
  EXPECT_EQ(ValuesOf(Open("P1")), "a#b|");
  PutFile("P1", "[Filters]\nFilterCount=1\nFilter1Value=<SingleQuote>x\n");
  EXPECT_EQ(ValuesOf(Open("P1")), "<SingleQuote>x|") << "letter case counts";
}

TEST_F(AdoGroupPropertiesTest, TextsWithBlanksOrQuotesAroundThemComeBackWhole) {
  const auto definition = Definition("P1", {"  x ", "\"y\"", "=z;"});
  definition->GetFilters()->Add("\"first name\"", " d ", "'='", "1", "\"AND\"");
  definition->SaveADOGroupProperties();
  const auto read = Open("P1");
  EXPECT_EQ(ValuesOf(read), "  x |\"y\"|=z;|1|");
  EXPECT_EQ(read->GetFilters()->Item(4)->GetFieldName(), "\"first name\"");
  EXPECT_EQ(read->GetFilters()->Item(4)->GetOpDisplay(), " d ");
  EXPECT_EQ(read->GetFilters()->Item(4)->GetOpSql(), "'='");
  EXPECT_EQ(read->GetFilters()->Item(4)->GetLogicalOp(), "\"AND\"");
}

TEST_F(AdoGroupPropertiesTest, WithoutACountOrAFileThereAreNoConditions) {
  Definition("P1", {"1"})->SaveADOGroupProperties();
  PutFile("P1", "[Filters]\nFilter1Field=country\n");
  EXPECT_EQ(Open("P1")->GetFilters()->Count(), 0);
  ASSERT_TRUE(machine_.files.Remove("/data/GroupADOP1.ini").ok());
  EXPECT_EQ(Open("P1")->GetFilters()->Count(), 0);
  EXPECT_EQ(Open("P1")->GetTable(), "customers");
}

TEST_F(AdoGroupPropertiesTest, TheCountIsTheLeadingNumberOfItsText) {
  Definition("P1", {"1", "2"})->SaveADOGroupProperties();
  const std::string file = FileOf("P1");
  const std::pair<const char*, int> cases[] = {{"1 of 2", 1}, {"+2x", 2}, {"many", 0}, {"-3", 0},
                                               {"inf", 0},    {"nan", 0}, {" 2 ", 2},  {"1.5", 2},
                                               {".", 0},      {"", 0},    {"2e0", 2}};
  for (const auto& [text, expected] : cases) {
    std::string changed = file;
    changed.replace(changed.find("FilterCount=2") + 12, 1, text);
    PutFile("P1", changed);
    EXPECT_EQ(Open("P1")->GetFilters()->Count(), expected) << text;
  }
}

TEST_F(AdoGroupPropertiesTest, NoConditionsAreWrittenAsACountOfNothing) {
  Definition("P1")->SaveADOGroupProperties();
  EXPECT_EQ(FileOf("P1"), "[Filters]\r\nFilterCount=0\r\n");
}

TEST_F(AdoGroupPropertiesTest, KeysOfALongerListStayAndAreNotRead) {
  Definition("P1", {"1", "2"})->SaveADOGroupProperties();
  Definition("P1", {"3"})->SaveADOGroupProperties();
  EXPECT_NE(FileOf("P1").find("Filter2Value=2"), std::string::npos);
  EXPECT_EQ(ValuesOf(Open("P1")), "3|");
}

TEST_F(AdoGroupPropertiesTest, OtherLinesOfTheFileStay) {
  PutFile("P1", "; mine\n[Other]\nk=v\n");
  Definition("P1", {"3"})->SaveADOGroupProperties();
  EXPECT_EQ(FileOf("P1").find("; mine\n[Other]\nk=v\n[Filters]\n"), 0u);
}

TEST_F(AdoGroupPropertiesTest, ABlankIdIs2308) {
  for (const char* id : {"", "  "}) {
    const auto definition = Definition("P1", {"1"});
    ExpectError(ErrorFrom([&] { definition->OpenADOGroupProperties(id); }), 2308,
                "CADOGroupProperties::OpenADOGroupProperties", "The DSN ID specified was blank.");
    EXPECT_EQ(definition->GetTable(), "") << "the members are reset first";
    EXPECT_EQ(definition->GetFilters()->Count(), 0);
    definition->SetId(id);
    ExpectError(ErrorFrom([&] { definition->SaveADOGroupProperties(); }), 2308,
                "CADOGroupProperties::SaveADOGroupProperties", "The DSN ID specified was blank.");
    ExpectError(ErrorFrom([&] { definition->DeleteADOGroupProperties(id); }), 2308,
                "CADOGroupProperties::DeleteADOGroupProperties", "The DSN ID specified was blank.");
  }
  EXPECT_TRUE(machine_.files.Events().empty());
}

TEST_F(AdoGroupPropertiesTest, OpeningWithoutAStoreIs2306) {
  PutFile("P1", "[Filters]\nFilterCount=1\nFilter1Value=1\n");
  const auto definition = MakeObject<CADOGroupProperties>();
  ExpectError(ErrorFrom([&] { definition->OpenADOGroupProperties("P1"); }), 2306,
              "CADOGroupProperties::OpenADOGroupProperties", "DSN does not exist.");
  EXPECT_EQ(definition->GetFilters()->Count(), 0);
  EXPECT_FALSE(machine_.files.Has("/data/GroupADO.pvg"));
}

TEST_F(AdoGroupPropertiesTest, OpeningAnUnknownIdIs2306BehindItsConditions) {
  Definition("P1")->SaveADOGroupProperties();
  PutFile("P2", "[Filters]\nFilterCount=1\nFilter1Value=1\n");
  const auto definition = MakeObject<CADOGroupProperties>();
  ExpectError(ErrorFrom([&] { definition->OpenADOGroupProperties("P2"); }), 2306,
              "CADOGroupProperties::OpenADOGroupProperties", "DSN does not exist.");
  EXPECT_EQ(definition->GetFilters()->Count(), 1);
  EXPECT_EQ(machine_.files.OpenFileCount(), 0);
}

TEST_F(AdoGroupPropertiesTest, ConditionsThatCannotBeLoadedAre2308) {
  Definition("P1")->SaveADOGroupProperties();
  for (const char* content :
       {"[Filters]\nFilterCount=2\nFilter1Value=1\nFilter2Value=1\n",
        "[Filters]\nFilterCount=2000000000\n", "[Filters]\nFilterCount=1e300\n"}) {
    PutFile("P1", content);
    const auto definition = MakeObject<CADOGroupProperties>();
    ExpectError(ErrorFrom([&] { definition->OpenADOGroupProperties("P1"); }), 2308,
                "CADOGroupProperties::OpenADOGroupProperties", "The DSN ID specified was blank.");
    EXPECT_EQ(definition->GetId(), "");
  }
  const std::string log = LogOf([&] { ErrorFrom([&] { Open("P1"); }); });
  EXPECT_NE(log.find("GroupADOP1.ini: "), std::string::npos) << "the log tells why";
}

TEST_F(AdoGroupPropertiesTest, ConditionsThatCannotBeWrittenAre2304) {
  Definition("P1", {"old"})->SaveADOGroupProperties();
  const std::string before = FileOf("P1");
  const std::string long_value(2048, 'x');
  for (const char* value : {"two\nlines", "Łódź", long_value.c_str()}) {
    const auto definition = Definition("P1", {"new", value});
    definition->SetTable("other");
    ExpectError(ErrorFrom([&] { definition->SaveADOGroupProperties(); }), 2304,
                "CADOGroupProperties::SaveADOGroupProperties", "Cannot save DSN details to file.");
    EXPECT_EQ(FileOf("P1"), before) << "all conditions are written or none";
    EXPECT_EQ(Open("P1")->GetTable(), "customers");
  }
}

TEST_F(AdoGroupPropertiesTest, AFullDiskIs2304) {
  Definition("P1")->SaveADOGroupProperties();
  machine_.files.SetHook(platform::Call::kOpen, [&](platform::Call, const std::string& path) {
    if (path.find(".ini") != std::string::npos && !machine_.files.FaultHit()) {
      machine_.files.FailCall(1, platform::Call::kWrite, platform::Fault::kNoSpace, true);
    }
  });
  const Error e = ErrorFrom([&] { Definition("P1", {"1"})->SaveADOGroupProperties(); });
  machine_.files.SetHook(platform::Call::kOpen, {});
  machine_.files.ClearFault();
  EXPECT_EQ(e.number(), 2304);
  EXPECT_EQ(ValuesOf(Open("P1")), "");
}

TEST_F(AdoGroupPropertiesTest, TextThatAFieldCannotKeepIsRefused) {
  const std::pair<void (CADOGroupProperties::*)(const std::string&), std::string> cases[] = {
      {&CADOGroupProperties::SetId, std::string(33, 'A')},
      {&CADOGroupProperties::SetTable, std::string(101, 'A')},
      {&CADOGroupProperties::SetLeftBrace, std::string(21, '[')},
      {&CADOGroupProperties::SetRightBrace, std::string(21, ']')},
      {&CADOGroupProperties::SetParameters, std::string(255, 'A')},
      {&CADOGroupProperties::SetSql, "select * from t where city = 'Łódź'"}};
  for (const auto& [set, text] : cases) {
    const auto definition = Definition("P1");
    ((*definition).*set)(text);
    EXPECT_EQ(ErrorFrom([&] { definition->SaveADOGroupProperties(); }).number(), 5) << text;
  }
  EXPECT_TRUE(machine_.files.Events().empty());
}

TEST_F(AdoGroupPropertiesTest, IdsThatLeadElsewhereAreRefused) {
  Definition("P1")->SaveADOGroupProperties();
  for (const char* id : {"/../x", "..\\x", "a:b", "a*", "a\nb"}) {
    EXPECT_EQ(ErrorFrom([&] { Definition(id)->SaveADOGroupProperties(); }).number(), 5) << id;
    EXPECT_EQ(ErrorFrom([&] { Open(id); }).number(), 5) << id;
    const auto definition = MakeObject<CADOGroupProperties>();
    EXPECT_EQ(ErrorFrom([&] { definition->DeleteADOGroupProperties(id); }).number(), 5) << id;
  }
  EXPECT_EQ(ErrorFrom([&] { Open("a/b"); }).description(),
            "The definition ID \"a/b\" contains a path separator.");
}

TEST_F(AdoGroupPropertiesTest, AResetKeepsTheFiltersObject) {
  Definition("P1", {"1"})->SaveADOGroupProperties();
  const auto definition = Definition("P2", {"x", "y"});
  const auto filters = definition->GetFilters();
  definition->OpenADOGroupProperties("P1");
  EXPECT_EQ(definition->GetFilters(), filters);
  EXPECT_EQ(ValuesOf(definition), "1|");
  const auto own = MakeObject<CFilters>();
  PutProperty(definition, "Filters", Value(own));
  EXPECT_EQ(definition->GetFilters(), own);
}

TEST_F(AdoGroupPropertiesTest, DeleteRemovesRowAndFile) {
  Definition("P1", {"1"})->SaveADOGroupProperties();
  Definition("P2", {"2"})->SaveADOGroupProperties();
  const auto definition = Open("P1");
  EXPECT_EQ(CallMember(definition, "DeleteADOGroupProperties", {"P1"}), Value(true));
  EXPECT_EQ(definition->GetId(), "");
  EXPECT_FALSE(machine_.files.Has("/data/GroupADOP1.ini"));
  EXPECT_EQ(RecordsIn("GroupADO.pvg"), 1);
  EXPECT_EQ(ErrorFrom([&] { Open("P1"); }).number(), 2306);
  EXPECT_EQ(ValuesOf(Open("P2")), "2|");
}

TEST_F(AdoGroupPropertiesTest, DeletingWhatIsNotThereIsTrue) {
  EXPECT_EQ(MakeObject<CADOGroupProperties>()->DeleteADOGroupProperties("P1"), Value(true));
  PutFile("P1", "[Filters]\n");
  EXPECT_EQ(MakeObject<CADOGroupProperties>()->DeleteADOGroupProperties("P1"), Value(true));
  EXPECT_FALSE(machine_.files.Has("/data/GroupADOP1.ini")) << "conditions without a row go too";
}

TEST_F(AdoGroupPropertiesTest, ErrorsAreLoggedUnderTheProceduresLabel) {
  Definition("P1")->SaveADOGroupProperties();
  const std::string log = LogOf([&] {
    ErrorFrom([&] { Open("none"); });
    ErrorFrom([&] { Definition("")->SaveADOGroupProperties(); });
    ErrorFrom([&] { MakeObject<CADOGroupProperties>()->DeleteADOGroupProperties(""); });
  });
  for (const char* label :
       {"CADOGroupProperties::OpenADOGroupProperties - Exit error 2306 DSN does not exist.",
        "CADOGroupProperties::SaveADOGroupProperties - Exit error 2308",
        "CADOGroupProperties::DeleteADOGroupProperties - Exit error 2308"}) {
    EXPECT_NE(log.find(label), std::string::npos) << label << "\n" << log;
  }
}

TEST_F(AdoGroupPropertiesTest, AFailedCreationIsLoggedUnderItsOwnLabel) {
  const std::string log = LogOf([&] {
    machine_.files.FailCall(1, platform::Call::kCreateFolder, platform::Fault::kDenied);
    EXPECT_EQ(ErrorFrom([&] { Definition("P1")->SaveADOGroupProperties(); }).number(), 75);
  });
  EXPECT_NE(log.find("CADOGroupProperties::CreateADOGroupStore - Exit error 75"), std::string::npos)
      << log;
}

TEST_F(AdoGroupPropertiesTest, AMissingSettingsClassIsLoggedAsTheFoldersError) {
  automation::UnregisterClass("PVGroupMan.Settings");
  const std::string log = LogOf([&] {
    const Error e = ErrorFrom([&] { Open("P1"); });
    EXPECT_EQ(e.number(), 429);
    EXPECT_EQ(e.source(), "CADOGroupProperties::OpenADOGroupProperties");
  });
  EXPECT_NE(log.find("CDataSource::GetGroupDataFolder - Exit error 429"), std::string::npos) << log;
}

}  // namespace
}  // namespace pv::ado
