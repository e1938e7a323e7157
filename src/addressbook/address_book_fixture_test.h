// A machine in memory with a group data folder and a scripted converter, for the tests of this
// layer.
#ifndef PV_ADDRESSBOOK_ADDRESS_BOOK_FIXTURE_TEST_H_
#define PV_ADDRESSBOOK_ADDRESS_BOOK_FIXTURE_TEST_H_

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "addressbook/fake_converter_test.h"
#include "automation/test_support.h"
#include "platform/memory/memory_system.h"
#include "pvgroupman/addressbook/address_book.h"
#include "pvgroupman/addressbook/address_book_contacts.h"
#include "pvgroupman/addressbook/address_book_source.h"
#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/member_table.h"
#include "pvgroupman/automation/progid.h"
#include "pvgroupman/support/settings.h"
#include "support/log.h"
#include "support/trace.h"

namespace pv::addressbook {

using automation::CallMember;
using automation::Error;
using automation::ErrorFrom;
using automation::GetProperty;
using automation::MakeObject;
using automation::Object;
using automation::PutProperty;
using automation::Ref;
using automation::TextArray;
using automation::Value;

constexpr std::int32_t kEmail = 0x3003001E;
constexpr std::int32_t kGivenName = 0x3A06001E;
constexpr std::int32_t kBirthday = 0x3A420040;
constexpr std::int32_t kChildren = 0x3A58101E;
constexpr std::int32_t kEntryId = 0x0FFF0102;

class AddressBookTest : public testing::Test {
 protected:
  AddressBookTest() {
    machine_.process.environment["PVGROUP_DATA"] = "/data";
    automation::RegisterClass<support::Settings>("PVGroupMan.Settings");
    support::ForgetTraceViewer();
  }
  ~AddressBookTest() override {
    support::StopLog();
    support::ForgetTraceViewer();
  }

  static void ExpectError(const Error& e, std::int32_t number, const std::string& source,
                          const std::string& description) {
    EXPECT_EQ(e.number(), number);
    EXPECT_EQ(e.source(), source);
    EXPECT_EQ(e.description(), description);
  }

  static void AddTo(const Ref<Object>& collection, std::initializer_list<const char*> texts) {
    for (const char* text : texts) CallMember(collection, "Add", {text});
  }

  // "a|b|" of any collection of texts.
  static std::string TextsIn(const Ref<Object>& collection) {
    std::string texts;
    const std::int32_t count = GetProperty(collection, "Count").ToI4();
    for (std::int32_t i = 1; i <= count; ++i) {
      texts += CallMember(collection, "Item", {Value(i)}).ToText() + "|";
    }
    return texts;
  }

  // Saves a source of LDIF at /book.ldif.
  static void Save(const std::string& id, std::initializer_list<const char*> categories = {},
                   std::initializer_list<const char*> lists = {},
                   const std::string& format = "LDIF") {
    const auto source = MakeObject<CAddressBookSource>();
    source->SetId(id);
    source->SetSourceFormat(format);
    source->SetSourceLocation("/book.ldif");
    AddTo(source->GetCategories(), categories);
    AddTo(source->GetDistributionLists(), lists);
    source->SaveAddressBookSource();
  }

  // A contact with an address.
  static void AddContact(const std::string& email, TextArray categories = {}, TextArray lists = {},
                         bool only_in_lists = false) {
    FakeScript::Get().contacts.push_back(
        {{{kEmail, Value(email)}}, std::move(categories), std::move(lists), only_in_lists});
  }

  static Ref<AddressBookContacts> Open(const std::string& id = "S1") {
    return MakeObject<AddressBook>()->OpenAddressBook(id);
  }

  static Value FieldOf(const Ref<AddressBookContacts>& cursor, const char* name) {
    const auto field = cursor->GetFields()->Find(name);
    return field ? field->GetValue() : Value("no such field");
  }

  // The addresses from the cursor's first contact on.
  static std::string Walk(const Ref<AddressBookContacts>& cursor) {
    std::string addresses;
    for (cursor->MoveFirst(); !cursor->IsEof(); cursor->MoveNext()) {
      addresses += FieldOf(cursor, "Email").ToText() + " ";
    }
    return addresses;
  }

  // Opens a trace window; Traces gives what was sent to it since.
  void OpenTraceWindow() {
    machine_.trace_windows.open[support::kTraceTitle] = 7;
    support::ForgetTraceViewer();
  }
  std::vector<std::string> Traces() {
    std::vector<std::string> lines;
    for (const auto& [window, message] : machine_.trace_windows.sent) {
      lines.push_back(message.bytes.substr(0, message.bytes.size() - 1));
    }
    machine_.trace_windows.sent.clear();
    return lines;
  }

  platform::MemorySystem machine_;
  platform::ScopedSystem scope_{machine_.system()};
  ScopedFakeConverter converter_;
};

}  // namespace pv::addressbook

#endif  // PV_ADDRESSBOOK_ADDRESS_BOOK_FIXTURE_TEST_H_
