// What the conformance cases share. A case reaches the component late-bound only, by ProgID and
// member name, so the same cases run through every door: `conformance_test` in its own process,
// `conformance_test --door=com` through the registered server of Windows.
#ifndef PV_TESTS_CONFORMANCE_DOOR_H_
#define PV_TESTS_CONFORMANCE_DOOR_H_

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "automation/test_support.h"
#include "platform/test_folder.h"
#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/progid.h"
#include "pvgroupman/automation/value.h"

namespace pv::conformance {

using automation::CallMember;
using automation::ErrorFrom;
using automation::GetDefault;
using automation::GetProperty;
using automation::Object;
using automation::PutProperty;
using automation::Ref;
using automation::Value;

inline Ref<Object> Create(const std::string& name) {
  return automation::CreateObject("PVGroupMan." + name);
}

// A property that holds an object, and an item of a collection.
inline Ref<Object> Part(const Ref<Object>& of, const char* name) {
  return GetProperty(of, name).ToObject();
}
inline Ref<Object> Item(const Ref<Object>& collection, const Value& index) {
  return GetDefault(collection, {index}).ToObject();
}

// A property of every item, in the enumerator's order.
std::vector<std::string> Walk(const Ref<Object>& collection, const char* property = "Name");

// Expects the error; "*" stands for any text.
template <typename F>
void ExpectError(F&& f, std::int32_t number, const std::string& source,
                 const std::string& description) {
  const automation::Error error = ErrorFrom(f);
  EXPECT_EQ(error.number(), number) << error.source() << ": " << error.description();
  if (source != "*") {
    EXPECT_EQ(error.source(), source);
  }
  if (description != "*") {
    EXPECT_EQ(error.description(), description);
  }
}

// Groups lie in a folder of the case's own.
class Case : public testing::Test {
 protected:
  Case();
  ~Case() override;

  // Definitions of a group with text, number, date, currency and boolean fields.
  static Ref<Object> FieldDefs();
  static Ref<Object> IndexDefs();
  // A new group in the catalogue; returns its ID.
  static std::string Make(const Ref<Object>& groups, const std::string& name);
  // Adds a record to an open cursor.
  static void Append(const Ref<Object>& cursor, const std::string& email, const Value& name,
                     const Value& points);
  static Value Field(const Ref<Object>& cursor, const char* name) {
    return GetProperty(Item(Part(cursor, "Fields"), name), "Value");
  }
  static void SetField(const Ref<Object>& cursor, const char* name, const Value& value) {
    PutProperty(Item(Part(cursor, "Fields"), name), "Value", value);
  }

  const platform::TestFolder folder_;
};

}  // namespace pv::conformance

#endif  // PV_TESTS_CONFORMANCE_DOOR_H_
