// A small automation class that the tests of this folder call.
#ifndef PV_AUTOMATION_SAMPLE_CLASS_TEST_H_
#define PV_AUTOMATION_SAMPLE_CLASS_TEST_H_

#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "automation/test_support.h"
#include "pvgroupman/automation/collection.h"
#include "pvgroupman/automation/member_table.h"

namespace pv::automation {

enum class Colour : std::int32_t { kRed = 0, kBlue = 7 };
template <>
struct EnumerationOf<Colour> {
  static const Enumeration& Describe() {
    static const Enumeration e{"Colour", {{"C_RED", 0}, {"C_BLUE", 7}}};
    return e;
  }
};

struct Point {
  std::string Label;
  std::int16_t X = 0;
};
template <>
struct RecordOf<Point> {
  static const RecordType& Describe() {
    static const RecordType type{
        "Point", {{"Label", {.kind = TypeKind::kText}}, {"X", {.kind = TypeKind::kI2}}}};
    return type;
  }
  static Point FromRow(const std::vector<Value>& row) { return {row[0].ToText(), row[1].ToI2()}; }
  static std::vector<Value> ToRow(const Point& p) { return {p.Label, p.X}; }
};

class Thing : public Object {
 public:
  static constexpr const char* kClassName = "Thing";
  explicit Thing(std::string name = {}) : name_(std::move(name)) {}
  std::string GetName() const { return name_; }
  void SetName(const std::string& v) { name_ = v; }
  const MemberTable& Members() const override {
    static const MemberTable table =
        Class("Thing").Property("Name", &Thing::GetName, &Thing::SetName);
    return table;
  }

 private:
  std::string name_;
};

class Items : public CollectionOf<Thing> {
 public:
  static constexpr const char* kClassName = "Items";
  Ref<Thing> Add(const std::string& name) {
    Ref<Thing> item = MakeObject<Thing>(name);
    items_.Add(name, item);
    return item;
  }
  const MemberTable& Members() const override {
    static const MemberTable table = Class("Items")
                                         .Method("Add", &Items::Add, {"Name"})
                                         .Get("Count", &Items::Count)
                                         .Method("Delete", &Items::Delete, {"Index"})
                                         .Default("Item", &Items::Item, {"Index"})
                                         .Enumerator("NewEnum", &Items::NewEnum);
    return table;
  }
};

class Sample : public Object {
 public:
  static constexpr const char* kClassName = "Sample";
  Ref<Items> GetItems() const { return items_; }
  void SetItems(const Ref<Items>& v) { items_ = v; }
  std::int32_t GetSize() const { return size_; }
  void SetSize(std::int32_t v) { size_ = v; }
  void SetSecret(const std::string& v) { secret_ = v; }
  std::string Join(const std::string& a, const std::optional<std::string>& b,
                   const std::optional<std::int32_t>& times) {
    return a + "|" + b.value_or("-") + "|" + std::to_string(times.value_or(-1));
  }
  bool Double(std::int32_t& number) {
    number *= 2;
    return true;
  }
  void Count(std::optional<Value>& number) {
    if (number) number = Value(number->ToI4() + 1);
  }
  Colour Paint(Colour c) { return c == Colour::kRed ? Colour::kBlue : c; }
  std::vector<Point> Mirror(const std::vector<Point>& points) {
    return {points.rbegin(), points.rend()};
  }
  Value Echo(const Value& v) { return v; }
  void Fail(std::int32_t how) {
    if (how == 1) throw Error(2409, "Sample::Fail", "Gone.");
    if (how == 2) throw std::bad_alloc();
    if (how == 3) throw std::runtime_error("odd");
    throw 3;
  }
  const MemberTable& Members() const override {
    static const MemberTable table = Class("Sample")
                                         .Property("Items", &Sample::GetItems, &Sample::SetItems)
                                         .Property("Size", &Sample::GetSize, &Sample::SetSize)
                                         .Put("Secret", &Sample::SetSecret)
                                         .Method("Join", &Sample::Join, {"A", "B", "Times"})
                                         .Method("Double", &Sample::Double, {"Number"})
                                         .Method("Count", &Sample::Count, {"Number"})
                                         .Method("Paint", &Sample::Paint, {"Colour"})
                                         .Method("Mirror", &Sample::Mirror, {"Points"})
                                         .Method("Echo", &Sample::Echo, {"V"})
                                         .Method("Fail", &Sample::Fail, {"How"});
    return table;
  }

 private:
  Ref<Items> items_ = MakeObject<Items>();
  std::int32_t size_ = 3;
  std::string secret_;
};

}  // namespace pv::automation

#endif  // PV_AUTOMATION_SAMPLE_CLASS_TEST_H_
