// The converter as a host uses it: late-bound, from the provider library.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "automation/provider.h"
#include "automation/test_support.h"
#include "platform/system.h"
#include "platform/test_folder.h"
#include "pvgroupman/automation/call.h"

namespace pv::converter {
namespace {

using automation::CallMember;
using automation::Error;
using automation::ErrorFrom;
using automation::GetDefault;
using automation::GetProperty;
using automation::Object;
using automation::PutProperty;
using automation::Ref;
using automation::Value;

constexpr const char* kBook =
    "dn: cn=Ann,mail=ann@example.org\nobjectclass: person\ncn: Ann\nmail: ann@example.org\n"
    "othermailbox: ann@home.example\nbirthyear: 1980\nbirthmonth: 2\nbirthday: 29\n\n"
    "dn: cn=Bob,mail=bob@example.org\nobjectclass: person\ncn: Bob\nmail: bob@example.org\n\n"
    "dn: cn=Crew\nobjectclass: groupOfNames\ncn: Crew\ndescription: all hands\n"
    "member: cn=Bob,mail=bob@example.org\nmember: cn=Zoe,mail=zoe@example.org\n";

class ConverterTest : public testing::Test {
 protected:
  void SetUp() override {
    std::ofstream(folder_ / "book.ldif", std::ios::binary) << kBook;
    const auto function = platform::OperatingSystem().process->LoadFunction(
        PV_CONVERTER_LIBRARY, automation::kProviderFunction);
    ASSERT_TRUE(function.ok()) << function.status().message();
    const automation::Provider* const provider =
        reinterpret_cast<automation::ProviderFunction>(*function)();
    ASSERT_EQ(provider->count, 1U);
    EXPECT_STREQ(provider->classes[0].prog_id, "Cardweave.Converter");
    converter_ = provider->classes[0].factory();
  }

  void OpenBook() {
    PutProperty(converter_, "TimeStamp", automation::Date{45000});
    PutProperty(converter_, "Format", "ldif");
    PutProperty(converter_, "Location", folder_ / "book.ldif");
    PutProperty(converter_, "SilentMode", -1);
  }

  Ref<Object> Contacts() { return GetProperty(converter_, "Contacts").ToObject(); }

  platform::TestFolder folder_;
  Ref<Object> converter_;
};

TEST_F(ConverterTest, ListsEveryFormatOnce) {
  const Ref<Object> formats = GetProperty(converter_, "Formats").ToObject();
  std::vector<std::string> codes;
  for (std::int32_t i = 0; i < GetProperty(formats, "Count").ToI4(); ++i) {
    const Ref<Object> format = GetDefault(formats, {i}).ToObject();
    codes.push_back(GetProperty(format, "ID").ToText());
    // What cannot be read says why, and what can be has nothing to say.
    EXPECT_EQ(GetProperty(format, "IsApplicationInstalled").ToBoolean(),
              GetProperty(format, "Reason").ToText().empty())
        << codes.back();
    EXPECT_FALSE(GetProperty(format, "Name").ToText().empty());
  }
  EXPECT_EQ(codes, (std::vector<std::string>{"PST", "PAB", "WAB", "PFC", "AOL", "EUD", "MAPI",
                                             "DEFM", "GAL", "GW", "LDIF", "NSF", "MAB", "NS4",
                                             "ADR", "PALM", "PINE", "TB"}));
  const Ref<Object> ldif = GetDefault(formats, {10}).ToObject();
  EXPECT_TRUE(GetProperty(ldif, "IsImportAvailable").ToBoolean());
  EXPECT_TRUE(GetProperty(ldif, "IsApplicationInstalled").ToBoolean());
  const Ref<Object> notes = GetDefault(formats, {11}).ToObject();
  EXPECT_FALSE(GetProperty(notes, "IsImportAvailable").ToBoolean());
  EXPECT_FALSE(GetProperty(notes, "IsApplicationInstalled").ToBoolean());
  EXPECT_EQ(ErrorFrom([&] { GetDefault(formats, {18}); }).number(), automation::kErrSubscript);
  EXPECT_EQ(ErrorFrom([&] { GetDefault(formats, {-1}); }).number(), automation::kErrSubscript);
}

TEST_F(ConverterTest, ContactsByPositionAndId) {
  OpenBook();
  const Ref<Object> contacts = Contacts();
  EXPECT_EQ(GetProperty(contacts, "Count").ToI4(), 2);
  const Ref<Object> ann = GetDefault(contacts, {1}).ToObject();
  EXPECT_EQ(GetProperty(ann, "ID").ToI4(), 1);
  EXPECT_EQ(CallMember(ann, "GetProperty", {0x3003001E}).ToText(), "ann@example.org");
  EXPECT_EQ(CallMember(ann, "GetProperty", {0x3A420040}), Value(automation::Date{29280}));
  EXPECT_EQ(CallMember(ann, "GetProperty", {0x3A56101E}).ToText(),
            "ann@example.org; ann@home.example");
  EXPECT_TRUE(CallMember(ann, "GetProperty", {0x3A16001E}).IsEmpty());
  EXPECT_EQ(CallMember(ann, "GetProperty", {"Categories"}), Value(automation::TextArray{}));
  const Ref<Object> bob = CallMember(contacts, "GetContactFromID", {2}).ToObject();
  EXPECT_EQ(CallMember(bob, "GetProperty", {"distributionlists"}),
            Value(automation::TextArray{"Crew"}));
  const Ref<Object> tags = GetProperty(ann, "Properties").ToObject();
  std::vector<std::int32_t> all;
  for (std::int32_t i = 1; i <= GetProperty(tags, "Count").ToI4(); ++i) {
    all.push_back(GetDefault(tags, {i}).ToI4());
    EXPECT_FALSE(CallMember(ann, "GetProperty", {all.back()}).IsEmpty()) << all.back();
  }
  EXPECT_NE(std::find(all.begin(), all.end(), 0x3001001E), all.end());
  EXPECT_EQ(ErrorFrom([&] { GetDefault(contacts, {3}); }).number(), automation::kErrSubscript);
  EXPECT_EQ(ErrorFrom([&] { GetDefault(contacts, {0}); }).number(), automation::kErrSubscript);
  EXPECT_EQ(ErrorFrom([&] { CallMember(contacts, "GetContactFromID", {4}); }).number(),
            automation::kErrSubscript);
}

// What was asked of a contact is read ahead of the next ones; whatever is asked of those, and
// however much, they have it.
TEST_F(ConverterTest, WhatIsAskedOfOneContactDoesNotMatterToTheNext) {
  OpenBook();
  const Ref<Object> contacts = Contacts();
  for (std::int32_t i = 0; i < 40; ++i) {
    const Ref<Object> ann = GetDefault(contacts, {1}).ToObject();
    const Ref<Object> bob = GetDefault(contacts, {2}).ToObject();
    EXPECT_TRUE(CallMember(ann, "GetProperty", {0x60000000 + i}).IsEmpty());
    EXPECT_EQ(CallMember(ann, "GetProperty", {0x3A420040}), Value(automation::Date{29280}));
    EXPECT_EQ(CallMember(bob, "GetProperty", {0x3001001E}).ToText(), "Bob");
    EXPECT_EQ(CallMember(bob, "GetProperty", {0x3002001E}).ToText(), "SMTP");
    EXPECT_EQ(GetProperty(GetProperty(ann, "Properties").ToObject(), "Count").ToI4(), 5);
  }
}

TEST_F(ConverterTest, MembersWithoutAContactAreContactsWhenListsAreIncluded) {
  OpenBook();
  const Ref<Object> contacts = Contacts();
  PutProperty(contacts, "IncludeDistributionLists", true);
  EXPECT_EQ(GetProperty(contacts, "Count").ToI4(), 3);
  const Ref<Object> zoe = GetDefault(contacts, {3}).ToObject();
  EXPECT_EQ(CallMember(zoe, "GetProperty", {0x3001001E}).ToText(), "Zoe");
  EXPECT_EQ(CallMember(zoe, "GetProperty", {0x3003001E}).ToText(), "zoe@example.org");
  EXPECT_EQ(CallMember(zoe, "GetProperty", {"DistributionLists"}),
            Value(automation::TextArray{"Crew"}));
  PutProperty(contacts, "IncludeDistributionLists", false);
  EXPECT_EQ(GetProperty(contacts, "Count").ToI4(), 2);

  const Ref<Object> lists = GetProperty(converter_, "DistributionLists").ToObject();
  EXPECT_EQ(GetProperty(lists, "Count").ToI4(), 1);
  const Ref<Object> crew = GetDefault(lists, {1}).ToObject();
  EXPECT_EQ(GetProperty(crew, "Name").ToText(), "Crew");
  EXPECT_EQ(GetProperty(crew, "Count").ToI4(), 2);
  EXPECT_EQ(GetProperty(crew, "Description").ToText(), "all hands");
  EXPECT_EQ(GetProperty(GetProperty(converter_, "Categories").ToObject(), "Count").ToI4(), 0);
  EXPECT_EQ(GetProperty(converter_, "Warnings"), Value(automation::TextArray{}));
}

TEST_F(ConverterTest, ErrorsNameWhatIsWrong) {
  const Error code = ErrorFrom([&] { PutProperty(converter_, "Format", "XYZ"); });
  EXPECT_EQ(code.number(), automation::kErrInvalidCall);
  EXPECT_NE(code.description().find("\"XYZ\""), std::string::npos);
  EXPECT_EQ(ErrorFrom([&] { GetProperty(Contacts(), "Count"); }).number(),
            automation::kErrInvalidCall);

  OpenBook();
  PutProperty(converter_, "Location", folder_ / "none.ldif");
  const Error missing = ErrorFrom([&] { GetProperty(Contacts(), "Count"); });
  EXPECT_EQ(missing.number(), 53);
  EXPECT_NE(missing.description().find("none.ldif"), std::string::npos) << missing.description();

  PutProperty(converter_, "Format", "MAB");
  PutProperty(converter_, "Location", folder_ / "book.ldif");
  const Error other = ErrorFrom([&] { GetProperty(Contacts(), "Count"); });
  EXPECT_EQ(other.number(), 321);
  EXPECT_NE(other.description().find("no MAB file"), std::string::npos) << other.description();

  PutProperty(converter_, "Format", "NSF");
  const Error absent = ErrorFrom([&] { GetProperty(Contacts(), "Count"); });
  EXPECT_EQ(absent.number(), 321);
  EXPECT_TRUE(absent.description().starts_with("NSF: ")) << absent.description();

  // A mended location is a new start.
  OpenBook();
  EXPECT_EQ(GetProperty(Contacts(), "Count").ToI4(), 2);
}

TEST_F(ConverterTest, ContactsOutliveTheirConverter) {
  OpenBook();
  const Ref<Object> bob = GetDefault(Contacts(), {2}).ToObject();
  converter_ = nullptr;
  EXPECT_EQ(CallMember(bob, "GetProperty", {"DistributionLists"}),
            Value(automation::TextArray{"Crew"}));
}

}  // namespace
}  // namespace pv::converter
