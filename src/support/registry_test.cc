#include "pvgroupman/support/registry.h"

#include <gtest/gtest.h>

#include <functional>
#include <utility>
#include <vector>

#include "automation/test_support.h"
#include "platform/memory/memory_system.h"
#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/member_table.h"
#include "support/log.h"

namespace pv::support {
namespace {

using automation::Bytes;
using automation::ErrorFrom;
using automation::TextArray;
using automation::Value;

constexpr auto kRoot = static_cast<std::int32_t>(0x80000000U);
constexpr auto kUser = static_cast<std::int32_t>(0x80000001U);
constexpr auto kMachine = static_cast<std::int32_t>(0x80000002U);
constexpr const char* kFile = "/home/user/.config/pvgroup/registry.txt";

class RegistryClassTest : public testing::Test {
 protected:
  RegistryClassTest() {
    registry_->SetClassKey(kUser);
    registry_->SetSectionKey("Software\\Parvane");
    registry_->SetValueKey("Name");
  }
  ~RegistryClassTest() override {
    EXPECT_EQ(machine_.registry.OpenKeys(), 0U) << "every key is closed again";
    EXPECT_EQ(machine_.files.OpenFileCount(), 0);
  }

  // A value as another program stored it.
  void Store(std::uint32_t type, const std::string& data) {
    const auto key = machine_.registry.Create(platform::kCurrentUser, "Software\\Parvane",
                                              platform::kRegistryAll);
    ASSERT_TRUE(key.ok());
    ASSERT_TRUE(machine_.registry.SetValue(*key, "Name", {type, data}).ok());
    machine_.registry.Close(*key);
  }
  platform::RegistryValue Stored() {
    const auto key = machine_.registry.Open(platform::kCurrentUser, "Software\\Parvane",
                                            platform::kRegistryRead);
    if (!key.ok()) return {};
    const auto value = machine_.registry.QueryValue(*key, "Name");
    machine_.registry.Close(*key);
    return value.ok() ? *value : platform::RegistryValue{};
  }
  // The default value of a key.
  std::string At(std::int32_t root, const std::string& section) {
    return registry_->GetValueEx(root, section, "", std::nullopt).ToText();
  }
  // The same in both places of a document type.
  void ExpectAssociated(const std::string& section, const std::string& text) {
    EXPECT_EQ(At(kRoot, section), text);
    EXPECT_EQ(At(kMachine, "SOFTWARE\\Classes\\" + section), text);
  }
  void Expect(const automation::Error& error, std::int32_t number, const std::string& text) {
    EXPECT_EQ(error.number(), number);
    EXPECT_EQ(error.description(), text);
    EXPECT_EQ(error.source(), "pvgrpman.cRegistry");
  }
  void Damage() { machine_.files.Put(kFile, "no registry\n"); }

  platform::MemorySystem machine_;
  platform::ScopedSystem scope_{machine_.system()};
  automation::Ref<cRegistry> registry_ = automation::MakeObject<cRegistry>();
};

TEST_F(RegistryClassTest, PropertiesAreKept) {
  const auto fresh = automation::MakeObject<cRegistry>();
  EXPECT_EQ(fresh->GetMachine(), "");
  EXPECT_EQ(fresh->GetClassKey(), 0);
  EXPECT_EQ(fresh->GetSectionKey(), "");
  EXPECT_EQ(fresh->GetValueKey(), "");
  EXPECT_EQ(fresh->GetValueType(), 1);
  EXPECT_TRUE(fresh->GetDefault().IsEmpty());
  const automation::Ref<automation::Object> late(fresh);
  for (const auto& [name, value] :
       std::initializer_list<std::pair<const char*, Value>>{{"Machine", "other"},
                                                            {"ClassKey", kUser},
                                                            {"SectionKey", "a\\b"},
                                                            {"ValueKey", "n"},
                                                            {"ValueType", 4},
                                                            {"Default", std::int16_t{7}}}) {
    automation::PutProperty(late, name, value);
    EXPECT_EQ(automation::GetProperty(late, name), value) << name;
  }
}

TEST_F(RegistryClassTest, KeyExistsOnceItIsCreated) {
  EXPECT_FALSE(registry_->GetKeyExists());
  registry_->CreateKey();
  EXPECT_TRUE(registry_->GetKeyExists());
  registry_->CreateKey();
  registry_->SetSectionKey("software");
  EXPECT_TRUE(registry_->GetKeyExists()) << "the keys above it too, in any letter case";
  registry_->SetClassKey(0);
  EXPECT_FALSE(registry_->GetKeyExists());
}

TEST_F(RegistryClassTest, CreateKeyFails) {
  registry_->SetSectionKey("a\\\\b");
  Expect(ErrorFrom([&] { registry_->CreateKey(); }), 26001,
         "Failed to create registry Key: 'a\\\\b");
}

TEST_F(RegistryClassTest, DeleteKey) {
  registry_->CreateKey();
  registry_->DeleteKey();
  EXPECT_FALSE(registry_->GetKeyExists());
  Expect(ErrorFrom([&] { registry_->DeleteKey(); }), 26001,
         "Failed to delete registry Key: '-2147483647',Section: 'Software\\Parvane");
}

TEST_F(RegistryClassTest, KeyWithKeysBelowItIsNotDeleted) {
  registry_->CreateKey();
  registry_->SetSectionKey("Software");
  Expect(ErrorFrom([&] { registry_->DeleteKey(); }), 26001,
         "Failed to delete registry Key: '-2147483647',Section: 'Software");
  EXPECT_TRUE(registry_->GetKeyExists());
}

TEST_F(RegistryClassTest, DeleteValue) {
  registry_->SetValue("text");
  registry_->DeleteValue();
  EXPECT_TRUE(registry_->GetValue().IsEmpty());
  Expect(ErrorFrom([&] { registry_->DeleteValue(); }), 26001,
         "Failed to delete registry Key: '-2147483647',Section: 'Software\\Parvane',Key: 'Name");
}

TEST_F(RegistryClassTest, DeleteValueCannotOpenTheKey) {
  Expect(ErrorFrom([&] { registry_->DeleteValue(); }), 26001,
         "Failed to open key '-2147483647',Section: 'Software\\Parvane' for delete access");
  EXPECT_FALSE(registry_->GetKeyExists()) << "deleting creates nothing";
}

TEST_F(RegistryClassTest, MissingValueReadsAsTheDefaultUnchanged) {
  EXPECT_TRUE(registry_->GetValue().IsEmpty());
  for (const Value& value : {Value(std::int16_t{1}), Value(1), Value("x"), Value::Null(),
                             Value(Bytes{1, 2}), Value(automation::Date{1.5})}) {
    registry_->SetDefault(value);
    EXPECT_EQ(registry_->GetValue().type(), value.type());
    EXPECT_TRUE(registry_->GetValue() == value);
  }
  registry_->CreateKey();
  EXPECT_TRUE(registry_->GetValue() == registry_->GetDefault());
  EXPECT_EQ(registry_->GetDefault().type(), automation::ValueType::kDate);
}

TEST_F(RegistryClassTest, TextIsReadUpToItsFirstZero) {
  Store(1, std::string("a\0b\0", 4));
  EXPECT_EQ(registry_->GetValue(), Value("a"));
  Store(1, "no zero");
  EXPECT_EQ(registry_->GetValue(), Value("no zero"));
  Store(1, "");
  EXPECT_EQ(registry_->GetValue(), Value(""));
  Store(7, std::string("one\0two\0\0", 9));
  EXPECT_EQ(registry_->GetValue(), Value("one"));
}

TEST_F(RegistryClassTest, ExpandableTextIsExpanded) {
  machine_.process.environment["HOME"] = "/home/user";
  Store(2, std::string("%HOME%/x %NONE%\0", 16));
  EXPECT_EQ(registry_->GetValue(), Value("/home/user/x %NONE%"));
}

TEST_F(RegistryClassTest, NumbersAreReadAs32BitIntegers) {
  Store(4, std::string("\x01\x02\x00\x00", 4));
  EXPECT_EQ(registry_->GetValue(), Value(0x0201));
  Store(4, "\xFF\xFF\xFF\xFF");
  EXPECT_EQ(registry_->GetValue(), Value(-1));
  Store(5, std::string("\x00\x00\x02\x01", 4));
  EXPECT_EQ(registry_->GetValue(), Value(0x0201)) << "big-endian";
  Store(4, "\x07");
  EXPECT_EQ(registry_->GetValue(), Value(7)) << "missing bytes are zeros";
  registry_->SetDefault("none");
  Store(4, "12345");
  EXPECT_EQ(registry_->GetValue(), Value("none")) << "more than a number holds";
}

TEST_F(RegistryClassTest, OtherTypesAreReadAsBytes) {
  for (const std::uint32_t type : {0U, 3U, 6U, 8U, 11U, 4711U}) {
    Store(type, std::string("\0\x01\xFF", 3));
    EXPECT_EQ(registry_->GetValue(), Value(Bytes{0, 1, 255})) << type;
  }
  Store(3, "");
  EXPECT_EQ(registry_->GetValue(), Value(Bytes{}));
}

TEST_F(RegistryClassTest, TextIsWrittenWithItsZero) {
  for (const std::int32_t type : {1, 2}) {
    registry_->SetValueType(type);
    registry_->SetValue("text");
    EXPECT_EQ(Stored(), (platform::RegistryValue{static_cast<std::uint32_t>(type),
                                                 std::string("text\0", 5)}));
    registry_->SetValue("");
    EXPECT_EQ(Stored().data, std::string(1, '\0'));
    registry_->SetValue(12);
    EXPECT_EQ(Stored().data, std::string("12\0", 3)) << "numbers become text";
  }
  EXPECT_EQ(ErrorFrom([&] { registry_->SetValue(Value::Null()); }).number(), 94);
  EXPECT_EQ(ErrorFrom([&] { registry_->SetValue(Bytes{1}); }).number(), 13);
}

TEST_F(RegistryClassTest, BinaryTakesAnArrayOfBytes) {
  registry_->SetValueType(3);
  registry_->SetValue(Bytes{0, 1, 255});
  EXPECT_EQ(Stored(), (platform::RegistryValue{3, std::string("\0\x01\xFF", 3)}));
  Expect(ErrorFrom([&] { registry_->SetValue("text"); }), 26001,
         "Failed to set registry value Key: '-2147483647',Section: 'Software\\Parvane',Key: "
         "'Name' to value: 'text'");
  EXPECT_EQ(Stored().data.size(), 3U) << "the old value stays";
}

TEST_F(RegistryClassTest, NumbersAreWrittenAsTypeFour) {
  for (const std::int32_t type : {4, 5}) {
    registry_->SetValueType(type);
    registry_->SetValue(0x01020304);
    EXPECT_EQ(Stored(), (platform::RegistryValue{4, "\x04\x03\x02\x01"})) << type;
    registry_->SetValue(std::int16_t{-1});
    EXPECT_EQ(Stored(), (platform::RegistryValue{4, "\xFF\xFF\xFF\xFF"})) << type;
    for (const Value& value : {Value("7"), Value(7.0), Value(true), Value()}) {
      EXPECT_EQ(ErrorFrom([&] { registry_->SetValue(value); }).number(), 26001)
          << static_cast<int>(value.type());
    }
  }
}

TEST_F(RegistryClassTest, OtherTypesAreNotWritten) {
  for (const std::int32_t type : {0, 6, 7, 11, -1}) {
    registry_->SetValueType(type);
    EXPECT_EQ(ErrorFrom([&] { registry_->SetValue("x"); }).number(), 26001) << type;
  }
  registry_->SetValueType(4);
  Expect(ErrorFrom([&] {
           registry_->SetValue(Bytes{1, 2});
         }),
         26001,
         "Failed to set registry value Key: '-2147483647',Section: 'Software\\Parvane',Key: "
         "'Name' to value: '2 bytes'");
}

TEST_F(RegistryClassTest, WriteCannotCreateTheKey) {
  registry_->SetSectionKey("\\x");
  Expect(ErrorFrom([&] { registry_->SetValue("v"); }), 26001,
         "Failed to set registry value Key: '-2147483647',Section: '\\x',Key: 'Name' to value: "
         "'v'");
}

TEST_F(RegistryClassTest, WriteOfTheValueFails) {
  registry_->SetValueKey(std::string("a\0b", 3));
  const auto error = ErrorFrom([&] { registry_->SetValue("v"); });
  EXPECT_EQ(error.number(), static_cast<std::int32_t>(0x80040000U) + 27049);
  EXPECT_EQ(error.source(), "pvgrpman.cRegistry");
  EXPECT_TRUE(error.description().ends_with("' to value: 'v'"));
}

TEST_F(RegistryClassTest, ValueExSetsWhatSelectsTheValue) {
  const automation::Ref<automation::Object> late(registry_);
  automation::Call write{automation::kCallLet, {kUser, "S", "n", 4, 42}, {}};
  automation::Invoke(late, "ValueEx", write);
  EXPECT_EQ(registry_->GetClassKey(), kUser);
  EXPECT_EQ(registry_->GetSectionKey(), "S");
  EXPECT_EQ(registry_->GetValueKey(), "n");
  EXPECT_EQ(registry_->GetValueType(), 4);
  registry_->SetSectionKey("");
  EXPECT_EQ(automation::CallMember(late, "ValueEx", {kUser, "S", "N"}), Value(42));
  EXPECT_EQ(registry_->GetSectionKey(), "S");
  EXPECT_EQ(registry_->GetValueKey(), "N");
  // Without a type, the new value still comes last.
  automation::Call plain{automation::kCallLet, {kUser, "S", "n", 43}, {}};
  automation::Invoke(late, "ValueEx", plain);
  EXPECT_EQ(registry_->GetValueType(), 4);
  EXPECT_EQ(automation::CallMember(late, "ValueEx", {kUser, "S", "n", 1}), Value(43));
  EXPECT_EQ(registry_->GetValueType(), 4) << "a read leaves the type alone";
  automation::Call named{automation::kCallLet, {kUser, "S", "n", "x"}, {{"ValueType", 1}}};
  automation::Invoke(late, "ValueEx", named);
  EXPECT_EQ(automation::CallMember(late, "ValueEx", {kUser, "S", "n"}), Value("x"));
  automation::Call few{automation::kCallLet, {kUser, "S", 43}, {}};
  EXPECT_EQ(ErrorFrom([&] { automation::Invoke(late, "ValueEx", few); }).number(), 449);
  automation::Call twice{automation::kCallLet, {kUser, "S", "n", "x"}, {{"NewValue", 1}}};
  EXPECT_EQ(ErrorFrom([&] { automation::Invoke(late, "ValueEx", twice); }).number(), 448);
}

TEST_F(RegistryClassTest, EnumerateValues) {
  Value names("untouched");
  EXPECT_EQ(registry_->EnumerateValues(names), 0) << "no such key";
  EXPECT_EQ(names, Value(TextArray{}));
  registry_->SetValue("1");
  registry_->SetValueKey("");
  registry_->SetValue("2");
  registry_->SetValueKey("Grüße");
  registry_->SetValue("3");
  EXPECT_EQ(registry_->EnumerateValues(names), 3);
  EXPECT_EQ(names, Value(TextArray{"Name", "", "Grüße"}));
}

TEST_F(RegistryClassTest, EnumerateSections) {
  Value names;
  EXPECT_EQ(registry_->EnumerateSections(names), 0);
  EXPECT_EQ(names, Value(TextArray{}));
  for (const char* section : {"S\\b", "S\\a\\x", "S\\C"}) {
    registry_->SetSectionKey(section);
    registry_->CreateKey();
  }
  registry_->SetSectionKey("S");
  EXPECT_EQ(registry_->EnumerateSections(names), 3);
  EXPECT_EQ(names, Value(TextArray{"a", "b", "C"}));
  EXPECT_EQ(registry_->EnumerateValues(names), 0);
}

TEST_F(RegistryClassTest, ManyValuesAreListedOnce) {
  registry_->CreateKey();
  const auto key =
      machine_.registry.Open(platform::kCurrentUser, "Software\\Parvane", platform::kRegistryAll);
  ASSERT_TRUE(key.ok());
  for (int i = 0; i < 300; ++i) {
    ASSERT_TRUE(machine_.registry.SetValue(*key, "v" + std::to_string(i), {4, "abcd"}).ok());
  }
  machine_.registry.Close(*key);
  Value names;
  EXPECT_EQ(registry_->EnumerateValues(names), 300);
  EXPECT_EQ((*names.TryGet<TextArray>())[299], "v299");
}

TEST_F(RegistryClassTest, AnotherMachineIsUnavailable) {
  registry_->SetValue("here");
  registry_->SetMachine("\\\\other");
  registry_->SetDefault("default");
  EXPECT_EQ(registry_->GetValue(), Value("default"));
  EXPECT_FALSE(registry_->GetKeyExists());
  Value names;
  EXPECT_EQ(registry_->EnumerateValues(names), 0);
  EXPECT_EQ(registry_->EnumerateSections(names), 0);
  for (const auto& operation : std::initializer_list<std::function<void()>>{
           [&] { registry_->SetValue("x"); }, [&] { registry_->CreateKey(); },
           [&] { registry_->DeleteKey(); }, [&] { registry_->DeleteValue(); }}) {
    EXPECT_EQ(ErrorFrom(operation).number(), 26001);
  }
  registry_->SetMachine("");
  EXPECT_EQ(registry_->GetValue(), Value("here"));
}

TEST_F(RegistryClassTest, AssociationIsWrittenTwice) {
  registry_->CreateEXEAssociation(" C:\\Parvane\\pv.exe ", "pvg", "Parvane.Group", "A group",
                                  "&Edit", true, "P&rint", true, "Ad&d", true, "Ne&w", 3);
  ExpectAssociated(".pvg", "Parvane.Group");
  ExpectAssociated("Parvane.Group", "A group");
  ExpectAssociated("Parvane.Group\\shell\\open", "&Edit");
  ExpectAssociated("Parvane.Group\\shell\\open\\command", "\"C:\\Parvane\\pv.exe\" \"%1\"");
  ExpectAssociated("Parvane.Group\\shell\\print", "P&rint");
  ExpectAssociated("Parvane.Group\\shell\\print\\command", "\"C:\\Parvane\\pv.exe\" /p \"%1\"");
  ExpectAssociated("Parvane.Group\\shell\\add", "Ad&d");
  ExpectAssociated("Parvane.Group\\shell\\add\\command", "\"C:\\Parvane\\pv.exe\" /a \"%1\"");
  ExpectAssociated("Parvane.Group\\shell\\new", "Ne&w");
  ExpectAssociated("Parvane.Group\\shell\\new\\command", "\"C:\\Parvane\\pv.exe\" /n \"%1\"");
  ExpectAssociated("Parvane.Group\\DefaultIcon", "\"C:\\Parvane\\pv.exe\",3");
}

TEST_F(RegistryClassTest, AssociationHasDefaultTextsAndOnlyTheVerbsThatAreWanted) {
  registry_->CreateEXEAssociation("pv.exe", "pvg", "P", "", std::nullopt, std::nullopt,
                                  std::nullopt, std::nullopt, std::nullopt, std::nullopt,
                                  std::nullopt, std::nullopt);
  ExpectAssociated("P\\shell\\open", "&Open");
  ExpectAssociated("P\\DefaultIcon", "\"pv.exe\",0");
  Value names;
  registry_->SetClassKey(kRoot);
  registry_->SetSectionKey("P\\shell");
  EXPECT_EQ(registry_->EnumerateSections(names), 1);
  registry_->CreateEXEAssociation("pv.exe", "pvg", "P", "", "", true, "", true, std::nullopt, true,
                                  "", std::nullopt);
  ExpectAssociated("P\\shell\\open", "&Open");
  ExpectAssociated("P\\shell\\print", "&Print");
  ExpectAssociated("P\\shell\\add", "&Install pvg");
  ExpectAssociated("P\\shell\\new", "&New");
}

TEST_F(RegistryClassTest, QuotedPathIsNotQuotedAgain) {
  registry_->CreateEXEAssociation("  \"C:\\My Files\\pv.exe\"  ", ".pvg", "P", "", std::nullopt,
                                  false, std::nullopt, false, std::nullopt, false, std::nullopt,
                                  -1);
  ExpectAssociated("P\\shell\\open\\command", "\"C:\\My Files\\pv.exe\" \"%1\"");
  ExpectAssociated("P\\DefaultIcon", "\"C:\\My Files\\pv.exe\",-1");
  ExpectAssociated("..pvg", "P");  // the point is always put in front
}

TEST_F(RegistryClassTest, AssociationRestoresSectionKeyAlsoWhenItFails) {
  registry_->SetValueType(4);
  registry_->CreateEXEAssociation("pv.exe", "pvg", "P", "", std::nullopt, false, std::nullopt,
                                  false, std::nullopt, false, std::nullopt, 0);
  EXPECT_EQ(registry_->GetSectionKey(), "Software\\Parvane");
  EXPECT_EQ(registry_->GetClassKey(), kMachine);
  EXPECT_EQ(registry_->GetValueKey(), "");
  EXPECT_EQ(registry_->GetValueType(), 1);
  const auto error = ErrorFrom([&] {
    registry_->CreateEXEAssociation("pv.exe", "\n", "P", "", std::nullopt, false, std::nullopt,
                                    false, std::nullopt, false, std::nullopt, 0);
  });
  Expect(error, 26001,
         "Failed to set registry value Key: '-2147483648',Section: '.\n',Key: '' to value: 'P'");
  EXPECT_EQ(registry_->GetSectionKey(), "Software\\Parvane");
}

TEST_F(RegistryClassTest, AdditionalVerbs) {
  registry_->CreateEXEAssociation("pv.exe", "pvg", "P", "", std::nullopt, false, std::nullopt,
                                  false, std::nullopt, false, std::nullopt, 0);
  registry_->SetSectionKey("kept");
  registry_->CreateAdditionalEXEAssociations(
      "P", TextArray{"check", "&Check", "pv.exe /c", "send", "&Send", "pv.exe /s"});
  ExpectAssociated("P\\shell\\check", "&Check");
  ExpectAssociated("P\\shell\\check\\command", "pv.exe /c");
  ExpectAssociated("P\\shell\\send", "&Send");
  ExpectAssociated("P\\shell\\send\\command", "pv.exe /s");
  registry_->SetSectionKey("kept");
  registry_->CreateAdditionalEXEAssociations("P", TextArray{});
  EXPECT_EQ(registry_->GetSectionKey(), "kept");
}

TEST_F(RegistryClassTest, AdditionalVerbsComeInThrees) {
  registry_->CreateEXEAssociation("pv.exe", "pvg", "P", "", std::nullopt, false, std::nullopt,
                                  false, std::nullopt, false, std::nullopt, 0);
  const std::string before = machine_.files.Get(kFile);
  for (const Value& items :
       {Value(TextArray{"a", "b", "c", "d"}), Value(TextArray{"a"}), Value("a"), Value(3)}) {
    Expect(ErrorFrom([&] { registry_->CreateAdditionalEXEAssociations("P", items); }),
           static_cast<std::int32_t>(0x80040000U) + 27052,
           "Invalid parameter list passed to CreateAdditionalEXEAssociations - expected "
           "Name/Text/Command");
  }
  EXPECT_EQ(machine_.files.Get(kFile), before);
}

TEST_F(RegistryClassTest, AdditionalVerbsNeedTheClass) {
  Expect(ErrorFrom([&] {
           registry_->CreateAdditionalEXEAssociations("P", TextArray{"a", "b", "c"});
         }),
         static_cast<std::int32_t>(0x80040000U) + 27053,
         "Error - attempt to create additional associations before class defined.");
  EXPECT_FALSE(machine_.files.Has(kFile));
  EXPECT_EQ(registry_->GetSectionKey(), "Software\\Parvane");
}

TEST_F(RegistryClassTest, DamagedStoreReadsAsDefaultAndIsNotWrittenOver) {
  Damage();
  registry_->SetDefault("default");
  EXPECT_EQ(registry_->GetValue(), Value("default"));
  EXPECT_FALSE(registry_->GetKeyExists());
  EXPECT_EQ(ErrorFrom([&] { registry_->SetValue("x"); }).number(), 26001);
  EXPECT_EQ(machine_.files.Get(kFile), "no registry\n");
}

TEST_F(RegistryClassTest, LogSaysWhyAnOperationFailed) {
  ASSERT_TRUE(machine_.files.CreateFolders("/log").ok());
  OpenLog("/log/a.log", kLogErrors);
  registry_->GetValue();
  Damage();
  registry_->GetValue();
  EXPECT_EQ(ErrorFrom([&] { registry_->CreateKey(); }).number(), 26001);
  StopLog();
  const std::string log = machine_.files.Get("/log/a.log");
  const std::string reason =
      std::string(kFile) + ": line 1: the heading is not \"pvgroup registry 1\"";
  EXPECT_NE(log.find("cRegistry::Value - " + reason), std::string::npos) << log;
  EXPECT_NE(log.find("cRegistry::CreateKey - " + reason), std::string::npos) << log;
  EXPECT_EQ(log.find("is not in the registry"), std::string::npos) << "what is merely not there";
}

TEST_F(RegistryClassTest, EveryKeyIsClosedWhateverFails) {
  registry_->SetValue("old");
  const platform::MemoryImage start = machine_.files.Snapshot();
  int failures = 0;
  for (std::uint64_t n = 1;; ++n) {
    machine_.files.Restore(start);
    machine_.files.FailCall(n, platform::Call::kAny, platform::Fault::kIoError);
    const auto error = ErrorFrom([&] { registry_->SetValue("new"); });
    const bool hit = machine_.files.FaultHit();
    machine_.files.ClearFault();
    EXPECT_EQ(error.number() == 0, !hit) << n;
    EXPECT_EQ(machine_.registry.OpenKeys(), 0U) << n;
    const Value value = registry_->GetValue();
    EXPECT_TRUE(value == Value("old") || value == Value("new")) << n;
    if (!hit) break;
    ++failures;
  }
  EXPECT_GE(failures, 6);
}

TEST_F(RegistryClassTest, MembersInInterfaceOrder) {
  std::vector<std::string> names;
  for (const automation::Member& member : registry_->Members().members()) {
    if (names.empty() || names.back() != member.name) names.push_back(member.name);
  }
  EXPECT_EQ(names, (std::vector<std::string>{
                       "Machine", "ClassKey", "SectionKey", "ValueKey", "ValueType", "Default",
                       "KeyExists", "CreateKey", "DeleteKey", "DeleteValue", "Value", "ValueEx",
                       "EnumerateValues", "EnumerateSections", "CreateEXEAssociation",
                       "CreateAdditionalEXEAssociations"}));
}

}  // namespace
}  // namespace pv::support
