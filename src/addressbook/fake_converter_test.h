// A converter that serves contacts from a script and writes down what is asked of it.
#ifndef PV_ADDRESSBOOK_FAKE_CONVERTER_TEST_H_
#define PV_ADDRESSBOOK_FAKE_CONVERTER_TEST_H_

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/member_table.h"
#include "pvgroupman/automation/progid.h"

namespace pv::addressbook {

struct FakeContact {
  std::vector<std::pair<std::int32_t, automation::Value>> properties;
  automation::TextArray categories;
  automation::TextArray lists;
  bool only_in_lists = false;  // a member of a list that has no contact of its own
};

struct FakeFormat {
  std::string code;
  bool readable = true;
  bool installed = true;
};

// What the converter is and what was asked of it; shared by its objects.
struct FakeScript {
  std::vector<FakeFormat> formats = {{"LDIF"}, {"MAB"}};
  std::vector<FakeContact> contacts;
  std::vector<std::string> calls;
  int converters = 0;            // that are alive
  int fetches = 0;               // contacts given out, by position or identifier
  std::int32_t first_id = 1001;  // the first contact's
  std::int32_t failing = 0;      // number of the contact that cannot be read, from 1
  std::string failure;           // what setting the location fails with, if anything
  automation::Date time_stamp;

  static FakeScript& Get() {
    static FakeScript script;
    return script;
  }
};

class FakeFormatObject : public automation::Object {
 public:
  static constexpr const char* kClassName = "Format";
  explicit FakeFormatObject(FakeFormat format) : format_(std::move(format)) {}
  std::string GetId() const {
    FakeScript::Get().calls.push_back("format " + format_.code);
    return format_.code;
  }
  bool GetReadable() const { return format_.readable; }
  bool GetInstalled() const { return format_.installed; }
  const automation::MemberTable& Members() const override {
    static const automation::MemberTable table =
        automation::Class(kClassName)
            .Get("ID", &FakeFormatObject::GetId)
            .Get("IsImportAvailable", &FakeFormatObject::GetReadable)
            .Get("IsApplicationInstalled", &FakeFormatObject::GetInstalled);
    return table;
  }

 private:
  FakeFormat format_;
};

class FakeFormats : public automation::Object {
 public:
  static constexpr const char* kClassName = "Formats";
  std::int32_t GetCount() const {
    return static_cast<std::int32_t>(FakeScript::Get().formats.size());
  }
  automation::Ref<FakeFormatObject> Item(std::int32_t index) const {
    return automation::MakeObject<FakeFormatObject>(
        FakeScript::Get().formats.at(static_cast<std::size_t>(index)));
  }
  const automation::MemberTable& Members() const override {
    static const automation::MemberTable table =
        automation::Class(kClassName)
            .Get("Count", &FakeFormats::GetCount)
            .Default("Item", &FakeFormats::Item, {"Index"});
    return table;
  }
};

class FakeTags : public automation::Object {
 public:
  static constexpr const char* kClassName = "Properties";
  explicit FakeTags(const FakeContact& contact) : contact_(contact) {}
  std::int32_t GetCount() const { return static_cast<std::int32_t>(contact_.properties.size()); }
  std::int32_t Item(std::int32_t index) const {
    return contact_.properties.at(static_cast<std::size_t>(index) - 1).first;
  }
  const automation::MemberTable& Members() const override {
    static const automation::MemberTable table = automation::Class(kClassName)
                                                     .Get("Count", &FakeTags::GetCount)
                                                     .Default("Item", &FakeTags::Item, {"Index"});
    return table;
  }

 private:
  const FakeContact& contact_;
};

class FakeContactObject : public automation::Object {
 public:
  static constexpr const char* kClassName = "Contact";
  explicit FakeContactObject(std::int32_t position) : position_(position) {}
  std::int32_t GetId() const { return FakeScript::Get().first_id + position_ - 1; }
  automation::Ref<FakeTags> GetProperties() const {
    return automation::MakeObject<FakeTags>(Contact());
  }
  automation::Value GetProperty(const automation::Value& property) const {
    FakeScript::Get().calls.push_back("property " + property.ToText());
    if (property.IsText()) {
      const auto& texts =
          property.ToText() == "Categories" ? Contact().categories : Contact().lists;
      return texts.empty() ? automation::Value() : automation::Value(texts);
    }
    for (const auto& [tag, value] : Contact().properties) {
      if (tag == property.ToI4()) return value;
    }
    return {};
  }
  const automation::MemberTable& Members() const override {
    static const automation::MemberTable table =
        automation::Class(kClassName)
            .Get("ID", &FakeContactObject::GetId)
            .Get("Properties", &FakeContactObject::GetProperties)
            .Method("GetProperty", &FakeContactObject::GetProperty, {"PropertyID"});
    return table;
  }

 private:
  const FakeContact& Contact() const {
    return FakeScript::Get().contacts[static_cast<std::size_t>(position_) - 1];
  }
  std::int32_t position_;
};

class FakeContacts : public automation::Object {
 public:
  static constexpr const char* kClassName = "Contacts";
  bool GetInclude() const { return include_; }
  void SetInclude(bool include) {
    FakeScript::Get().calls.push_back(std::string("lists ") + (include ? "on" : "off"));
    include_ = include;
  }
  std::int32_t GetCount() const { return static_cast<std::int32_t>(Visible().size()); }
  automation::Ref<FakeContactObject> Item(std::int32_t index) const {
    FakeScript::Get().calls.push_back("item " + std::to_string(index));
    return Give(Visible().at(static_cast<std::size_t>(index) - 1));
  }
  automation::Ref<FakeContactObject> FromId(std::int32_t id) const {
    FakeScript::Get().calls.push_back("id " + std::to_string(id));
    return Give(id - FakeScript::Get().first_id + 1);
  }
  const automation::MemberTable& Members() const override {
    static const automation::MemberTable table =
        automation::Class(kClassName)
            .Property("IncludeDistributionLists", &FakeContacts::GetInclude,
                      &FakeContacts::SetInclude)
            .Get("Count", &FakeContacts::GetCount)
            .Default("Item", &FakeContacts::Item, {"Index"})
            .Method("GetContactFromID", &FakeContacts::FromId, {"ID"});
    return table;
  }

 private:
  static automation::Ref<FakeContactObject> Give(std::int32_t position) {
    ++FakeScript::Get().fetches;
    if (position == FakeScript::Get().failing) {
      throw automation::Error(321, "Contact",
                              "book.ldif: contact " + std::to_string(position) + " is damaged");
    }
    return automation::MakeObject<FakeContactObject>(position);
  }
  // Numbers, from 1, of the contacts that can be seen.
  std::vector<std::int32_t> Visible() const {
    std::vector<std::int32_t> visible;
    std::int32_t n = 0;
    for (const FakeContact& contact : FakeScript::Get().contacts) {
      ++n;
      if (include_ || !contact.only_in_lists) visible.push_back(n);
    }
    return visible;
  }
  bool include_ = false;
};

class FakeConverter : public automation::Object {
 public:
  static constexpr const char* kClassName = "Converter";
  FakeConverter() { ++FakeScript::Get().converters; }
  ~FakeConverter() override { --FakeScript::Get().converters; }

  automation::Ref<FakeFormats> GetFormats() const { return automation::MakeObject<FakeFormats>(); }
  automation::Ref<FakeContacts> GetContacts() const { return contacts_; }
  automation::Value Nothing() const { return {}; }
  void SetTimeStamp(automation::Date date) {
    FakeScript::Get().time_stamp = date;
    FakeScript::Get().calls.emplace_back("time");
  }
  void SetFormat(const std::string& format) {
    FakeScript::Get().calls.push_back("format=" + format);
  }
  void SetLocation(const std::string& location) {
    FakeScript::Get().calls.push_back("location=" + location);
    if (!FakeScript::Get().failure.empty()) {
      throw automation::Error(53, "Converter", FakeScript::Get().failure);
    }
  }
  void SetSilent(std::int32_t silent) {
    FakeScript::Get().calls.push_back("silent=" + std::to_string(silent));
  }
  const automation::MemberTable& Members() const override {
    static const automation::MemberTable table =
        automation::Class(kClassName)
            .Get("Formats", &FakeConverter::GetFormats)
            .Property("TimeStamp", &FakeConverter::Nothing, &FakeConverter::SetTimeStamp)
            .Property("Format", &FakeConverter::Nothing, &FakeConverter::SetFormat)
            .Property("Location", &FakeConverter::Nothing, &FakeConverter::SetLocation)
            .Property("SilentMode", &FakeConverter::Nothing, &FakeConverter::SetSilent)
            .Get("Contacts", &FakeConverter::GetContacts);
    return table;
  }

 private:
  automation::Ref<FakeContacts> contacts_ = automation::MakeObject<FakeContacts>();
};

// Registers the converter with a new script; takes it away again.
class ScopedFakeConverter {
 public:
  ScopedFakeConverter() {
    FakeScript::Get() = {};
    automation::RegisterClass<FakeConverter>("Cardweave.Converter");
  }
  ~ScopedFakeConverter() { automation::UnregisterClass("Cardweave.Converter"); }
  ScopedFakeConverter(const ScopedFakeConverter&) = delete;
  ScopedFakeConverter& operator=(const ScopedFakeConverter&) = delete;
};

}  // namespace pv::addressbook

#endif  // PV_ADDRESSBOOK_FAKE_CONVERTER_TEST_H_
