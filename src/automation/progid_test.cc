#include "pvgroupman/automation/progid.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "automation/sample_class_test.h"

namespace pv::automation {
namespace {

class Unborn : public Thing {
 public:
  Unborn() { throw Error(2403, "Unborn::Class_Initialize", "No engine."); }
};

TEST(ProgId, CreatesARegisteredClassInAnyLetterCase) {
  RegisterClass<Sample>("PVTest.Sample");
  const Ref<Object> object = CreateObject("pvtest.SAMPLE");
  EXPECT_EQ(object->Members().class_name(), "Sample");
  EXPECT_EQ(object->reference_count(), 1);
  const auto names = RegisteredClasses();
  EXPECT_NE(std::find(names.begin(), names.end(), "PVTest.Sample"), names.end());
  UnregisterClass("PVTEST.sample");
  EXPECT_EQ(ErrorFrom([] { CreateObject("PVTest.Sample"); }).number(), 429);
}

TEST(ProgId, UnknownClassIs429WithTheReason) {
  const Error e = ErrorFrom([] { CreateObject("ADODB.Connection"); });
  EXPECT_EQ(e.number(), 429);
  EXPECT_EQ(e.description(),
            "ActiveX component can't create object: no class is known as \"ADODB.Connection\"");
}

TEST(ProgId, TheFinderIsAskedForWhatIsNotEntered) {
  RegisterClass<Sample>("PVTest.Sample");
  SetClassFinder([](std::string_view prog_id, std::string* reason) -> Ref<Object> {
    if (prog_id == "PVTest.Far") return MakeObject<Thing>();
    if (prog_id == "PVTest.Unborn") return MakeObject<Unborn>();
    *reason = "the library is gone";
    return nullptr;
  });
  EXPECT_EQ(CreateObject("PVTest.Sample")->Members().class_name(), "Sample");
  EXPECT_EQ(CreateObject("PVTest.Far")->Members().class_name(), "Thing");
  EXPECT_EQ(ErrorFrom([] { CreateObject("PVTest.Unborn"); }).number(), 2403);
  const Error e = ErrorFrom([] { CreateObject("PVTest.Near"); });
  EXPECT_EQ(e.number(), 429);
  EXPECT_EQ(e.description(),
            "ActiveX component can't create object: no class is known as \"PVTest.Near\" "
            "(the library is gone)");
  SetClassFinder(nullptr);
  EXPECT_EQ(ErrorFrom([] { CreateObject("PVTest.Far"); }).number(), 429);
  UnregisterClass("PVTest.Sample");
}

TEST(ProgId, ConstructorsErrorReachesTheCaller) {
  RegisterClass<Unborn>("PVTest.Unborn");
  const Error e = ErrorFrom([] { CreateObject("PVTest.Unborn"); });
  EXPECT_EQ(e.number(), 2403);
  EXPECT_EQ(e.source(), "Unborn::Class_Initialize");
  UnregisterClass("PVTest.Unborn");
}

}  // namespace
}  // namespace pv::automation
