#include "server/providers.h"

#include <gtest/gtest.h>

#include <fstream>

#include "automation/sample_class_test.h"
#include "platform/system.h"
#include "platform/test_folder.h"
#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/progid.h"

namespace pv::server {
namespace {

using automation::CreateObject;
using automation::Error;
using automation::ErrorFrom;
using automation::Object;
using automation::Ref;
using automation::Value;

// The operating system with a variable of its own.
class ProvidersTest : public testing::Test {
 protected:
  ProvidersTest() { UseProviders(); }
  ~ProvidersTest() override {
    automation::SetClassFinder(nullptr);
    automation::UnregisterClass("ADODB.Sample");
    automation::UnregisterClass("ADODB.Broken");
    ::unsetenv("PVGROUP_PROVIDERS");
  }
  static void LookIn(const std::string& folder) {
    ::setenv("PVGROUP_PROVIDERS", folder.c_str(), 1);
  }
};

#ifndef _WIN32
constexpr const char* kSamples = PV_SAMPLE_PROVIDERS;

TEST_F(ProvidersTest, LoadsTheLibraryOfAPrefixWhenItIsAskedFor) {
  LookIn(std::string(kSamples) + "sound");
  for (const std::string& name : automation::RegisteredClasses()) EXPECT_NE(name, "ADODB.Sample");
  const Ref<Object> object = CreateObject("adodb.sample");
  EXPECT_EQ(object->Members().class_name(), "Sample");
  EXPECT_EQ(object->reference_count(), 1);
  // From now on it is a class like any other.
  ::unsetenv("PVGROUP_PROVIDERS");
  EXPECT_TRUE(CreateObject("ADODB.Sample"));
}

TEST_F(ProvidersTest, ObjectsErrorsAndEnumeratorsCrossTheBorder) {
  LookIn(std::string(kSamples) + "sound");
  const Ref<Object> sample = CreateObject("ADODB.Sample");
  EXPECT_EQ(automation::CallMember(sample, "Join", {"a", "b"}).ToText(), "a|b|-1");
  const Error own = ErrorFrom([&] { automation::CallMember(sample, "Fail", {1}); });
  EXPECT_EQ(own.number(), 2409);
  EXPECT_EQ(own.source(), "Sample::Fail");
  EXPECT_EQ(ErrorFrom([&] { automation::CallMember(sample, "Fail", {2}); }).number(), 7);
  EXPECT_EQ(ErrorFrom([&] { automation::CallMember(sample, "Fail", {3}); }).number(), 51);
  EXPECT_EQ(ErrorFrom([&] { CreateObject("ADODB.Broken"); }).description(),
            "Internal error (no driver)");
  const Ref<Object> items = automation::GetProperty(sample, "Items").ToObject();
  automation::CallMember(items, "Add", {"one"});
  const auto walk = automation::Enumerate(items);
  Value item;
  ASSERT_TRUE(walk->Next(&item));
  EXPECT_EQ(automation::GetProperty(item.ToObject(), "Name").ToText(), "one");
  EXPECT_FALSE(walk->Next(&item));
}

TEST_F(ProvidersTest, AClassThatTheLibraryLacksIs429) {
  LookIn(std::string(kSamples) + "sound");
  const Error e = ErrorFrom([] { CreateObject("ADODB.Nothing"); });
  EXPECT_EQ(e.number(), 429);
  EXPECT_EQ(e.description(),
            "ActiveX component can't create object: no class is known as \"ADODB.Nothing\" "
            "(libpv-adodb.so has no such class)");
}

TEST_F(ProvidersTest, AProviderOfAnotherVersionIs429) {
  LookIn(std::string(kSamples) + "stale");
  const Error e = ErrorFrom([] { CreateObject("ADODB.Sample"); });
  EXPECT_EQ(e.number(), 429);
  EXPECT_NE(e.description().find("libpv-adodb.so belongs to version 0.9"), std::string::npos)
      << e.description();
}

TEST_F(ProvidersTest, ALibraryThatIsNoProviderIs429) {
  LookIn(std::string(kSamples) + "alien");
  const Error alien = ErrorFrom([] { CreateObject("ADODB.Sample"); });
  EXPECT_EQ(alien.number(), 429);
  EXPECT_NE(alien.description().find("no function pv_provider"), std::string::npos)
      << alien.description();

  const platform::TestFolder folder;
  std::ofstream(folder / "libpv-adodb.so") << "no library";
  LookIn(folder.path());
  const Error text = ErrorFrom([] { CreateObject("ADODB.Sample"); });
  EXPECT_EQ(text.number(), 429);
  EXPECT_NE(text.description().find("libpv-adodb.so"), std::string::npos) << text.description();
}

TEST_F(ProvidersTest, AProviderThatComesLaterIsFound) {
  const platform::TestFolder folder;
  LookIn(folder.path());
  const Error e = ErrorFrom([] { CreateObject("ADODB.Sample"); });
  EXPECT_EQ(e.number(), 429);
  EXPECT_EQ(e.description(),
            "ActiveX component can't create object: no class is known as \"ADODB.Sample\" "
            "(libpv-adodb.so is not installed)");
  LookIn(std::string(kSamples) + "sound");
  EXPECT_TRUE(CreateObject("ADODB.Sample"));
}

TEST_F(ProvidersTest, OtherPrefixesAreNoProviders) {
  LookIn(std::string(kSamples) + "sound");
  EXPECT_EQ(ErrorFrom([] { CreateObject("ADODBX.Sample"); }).description(),
            "ActiveX component can't create object: no class is known as \"ADODBX.Sample\"");
}
#endif

}  // namespace
}  // namespace pv::server
