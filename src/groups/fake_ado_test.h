// Stand-ins for ADO's classes: they write down every call that reaches them, in order, and answer
// as a test has set.
#ifndef PV_GROUPS_FAKE_ADO_TEST_H_
#define PV_GROUPS_FAKE_ADO_TEST_H_

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/member_table.h"
#include "pvgroupman/automation/progid.h"

namespace pv::groups {

// A column of the fake database.
struct FakeColumn {
  std::string name;
  std::int32_t type = 200;
  std::int32_t size = 50;
  std::optional<automation::Value> auto_increment = automation::Value(false);
  automation::Value value = {};
};

// What the fakes share; one for each test.
struct FakeAdoWorld {
  std::vector<std::string> calls;
  std::vector<FakeColumn> columns;
  std::map<std::string, automation::Error> fail;  // by call: "Connection.Open"

  void Note(const std::string& call, const std::string& arguments) {
    calls.push_back(call + "(" + arguments + ")");
    const auto failure = fail.find(call);
    if (failure != fail.end()) throw failure->second;
  }
  std::string Calls() const {
    std::string all;
    for (const std::string& call : calls) all += call + "\n";
    return all;
  }
};

inline FakeAdoWorld*& TheWorld() {
  static FakeAdoWorld* world = nullptr;
  return world;
}

class FakeProperty : public automation::Object {
 public:
  static constexpr const char* kClassName = "Property";
  explicit FakeProperty(automation::Value value = {}) : value_(std::move(value)) {}
  automation::Value GetValue() const { return value_; }
  const automation::MemberTable& Members() const override {
    static const automation::MemberTable table =
        automation::Class(kClassName).Get("Value", &FakeProperty::GetValue);
    return table;
  }

 private:
  automation::Value value_;
};

class FakeProperties : public automation::Object {
 public:
  static constexpr const char* kClassName = "Properties";
  explicit FakeProperties(FakeColumn column) : column_(std::move(column)) {}
  automation::Ref<FakeProperty> Item(const automation::Value& index) const {
    if (index.ToText() != "IsAutoIncrement" || !column_.auto_increment) {
      throw automation::Error(3265, "ADODB.Properties", "Item cannot be found.");
    }
    return automation::MakeObject<FakeProperty>(*column_.auto_increment);
  }
  const automation::MemberTable& Members() const override {
    static const automation::MemberTable table =
        automation::Class(kClassName).Default("Item", &FakeProperties::Item, {"Index"});
    return table;
  }

 private:
  FakeColumn column_;
};

class FakeField : public automation::Object {
 public:
  static constexpr const char* kClassName = "Field";
  explicit FakeField(FakeColumn column) : column_(std::move(column)) {}
  std::string GetName() const { return column_.name; }
  automation::Value GetValue() const { return column_.value; }
  std::int32_t GetType() const { return column_.type; }
  std::int32_t GetSize() const { return column_.size; }
  automation::Ref<FakeProperties> GetProperties() const {
    return automation::MakeObject<FakeProperties>(column_);
  }
  const automation::MemberTable& Members() const override {
    static const automation::MemberTable table = automation::Class(kClassName)
                                                     .Get("Name", &FakeField::GetName)
                                                     .Get("Value", &FakeField::GetValue)
                                                     .Get("Type", &FakeField::GetType)
                                                     .Get("DefinedSize", &FakeField::GetSize)
                                                     .Get("Properties", &FakeField::GetProperties);
    return table;
  }

 private:
  FakeColumn column_;
};

class FakeFields : public automation::Object {
 public:
  static constexpr const char* kClassName = "Fields";
  std::int32_t GetCount() const { return static_cast<std::int32_t>(TheWorld()->columns.size()); }
  automation::Ref<FakeField> Item(const automation::Value& index) const {
    return automation::MakeObject<FakeField>(
        TheWorld()->columns.at(static_cast<std::size_t>(index.ToI4())));
  }
  const automation::MemberTable& Members() const override {
    static const automation::MemberTable table = automation::Class(kClassName)
                                                     .Get("Count", &FakeFields::GetCount)
                                                     .Default("Item", &FakeFields::Item, {"Index"});
    return table;
  }
};

class FakeConnection : public automation::Object {
 public:
  static constexpr const char* kClassName = "Connection";
  std::int32_t GetLocation() const { return location_; }
  void SetLocation(std::int32_t location) {
    TheWorld()->Note("Connection.CursorLocation", std::to_string(location));
    location_ = location;
  }
  void Open(const std::string& connection, const std::string& user, const std::string& password,
            std::int32_t options) {
    TheWorld()->Note("Connection.Open",
                     connection + "|" + user + "|" + password + "|" + std::to_string(options));
    state_ = 1;
  }
  void Close() {
    TheWorld()->Note("Connection.Close", "");
    state_ = 0;
  }
  std::int32_t GetState() const { return state_; }
  const automation::MemberTable& Members() const override {
    static const automation::MemberTable table =
        automation::Class(kClassName)
            .Property("CursorLocation", &FakeConnection::GetLocation, &FakeConnection::SetLocation)
            .Method("Open", &FakeConnection::Open,
                    {"ConnectionString", "UserID", "Password", "Options"})
            .Method("Close", &FakeConnection::Close)
            .Get("State", &FakeConnection::GetState);
    return table;
  }

 private:
  std::int32_t location_ = 0;
  std::int32_t state_ = 0;
};

class FakeRecordset : public automation::Object {
 public:
  static constexpr const char* kClassName = "Recordset";
  void Open(const std::string& source, const automation::Ref<FakeConnection>& connection,
            std::int32_t cursor_type, std::int32_t lock_type, std::int32_t options) {
    const bool open = connection && connection->GetState() == 1;
    TheWorld()->Note("Recordset.Open",
                     source + "|" + (open ? "open" : "closed") + "|" + std::to_string(cursor_type) +
                         "|" + std::to_string(lock_type) + "|" + std::to_string(options));
    state_ = 1;
  }
  void Close() {
    TheWorld()->Note("Recordset.Close", "");
    state_ = 0;
  }
  void MoveFirst() { TheWorld()->Note("Recordset.MoveFirst", ""); }
  std::int32_t GetState() const { return state_; }
  automation::Ref<FakeFields> GetFields() const { return automation::MakeObject<FakeFields>(); }
  const automation::MemberTable& Members() const override {
    static const automation::MemberTable table =
        automation::Class(kClassName)
            .Method("Open", &FakeRecordset::Open,
                    {"Source", "ActiveConnection", "CursorType", "LockType", "Options"})
            .Method("Close", &FakeRecordset::Close)
            .Method("MoveFirst", &FakeRecordset::MoveFirst)
            .Get("State", &FakeRecordset::GetState)
            .Get("Fields", &FakeRecordset::GetFields);
    return table;
  }

 private:
  std::int32_t state_ = 0;
};

// Registers the fakes under ADO's ProgIDs while it lives.
class ScopedFakeAdo {
 public:
  ScopedFakeAdo() {
    TheWorld() = &world_;
    automation::RegisterClass<FakeConnection>("ADODB.Connection");
    automation::RegisterClass<FakeRecordset>("ADODB.Recordset");
  }
  ~ScopedFakeAdo() {
    automation::UnregisterClass("ADODB.Connection");
    automation::UnregisterClass("ADODB.Recordset");
    TheWorld() = nullptr;
  }
  ScopedFakeAdo(const ScopedFakeAdo&) = delete;
  ScopedFakeAdo& operator=(const ScopedFakeAdo&) = delete;

  FakeAdoWorld* operator->() { return &world_; }

 private:
  FakeAdoWorld world_;
};

}  // namespace pv::groups

#endif  // PV_GROUPS_FAKE_ADO_TEST_H_
