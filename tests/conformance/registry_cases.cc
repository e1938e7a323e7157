// The registry's class. Keys of its own below the current user, so nothing of the machine is
// touched.
#include <random>

#include "conformance/door.h"

namespace pv::conformance {
namespace {

using automation::Bytes;
using automation::TextArray;
using Names = std::vector<std::string>;

constexpr auto kUser = static_cast<std::int32_t>(0x80000001U);

class RegistryCase : public Case {
 protected:
  RegistryCase() {
    PutProperty(registry_, "ClassKey", kUser);
    PutProperty(registry_, "SectionKey", section_);
    PutProperty(registry_, "ValueKey", "Name");
  }
  ~RegistryCase() override {
    PutProperty(registry_, "ClassKey", kUser);
    for (const char* below : {"\\b", "\\a", ""}) {
      PutProperty(registry_, "SectionKey", section_ + below);
      ErrorFrom([&] { CallMember(registry_, "DeleteKey"); });
    }
  }
  void Write(std::int32_t type, const Value& value) {
    PutProperty(registry_, "ValueType", type);
    PutProperty(registry_, "Value", value);
  }
  Value Read() { return GetProperty(registry_, "Value"); }

  const Ref<Object> registry_ = Create("cRegistry");
  const std::string section_ = "Software\\PvConformance" + std::to_string(std::random_device()());
};

TEST_F(RegistryCase, KeysComeAndGo) {
  EXPECT_EQ(GetProperty(registry_, "KeyExists"), Value(false));
  CallMember(registry_, "CreateKey");
  EXPECT_EQ(GetProperty(registry_, "KeyExists"), Value(true));
  CallMember(registry_, "DeleteKey");
  EXPECT_EQ(GetProperty(registry_, "KeyExists"), Value(false));
  ExpectError([&] { CallMember(registry_, "DeleteKey"); }, 26001, "pvgrpman.cRegistry",
              "Failed to delete registry Key: '-2147483647',Section: '" + section_);
}

TEST_F(RegistryCase, EveryTypeIsWrittenAndRead) {
  Write(1, "Grüße");
  EXPECT_EQ(Read(), Value("Grüße"));
  Write(2, "100% %NO_SUCH_VARIABLE%");
  EXPECT_EQ(Read(), Value("100% %NO_SUCH_VARIABLE%"));
  Write(3, Bytes{0, 1, 255});
  EXPECT_EQ(Read(), Value(Bytes{0, 1, 255}));
  Write(4, -2);
  EXPECT_EQ(Read(), Value(-2));
  Write(5, std::int16_t{258});
  EXPECT_EQ(Read(), Value(258));
  ExpectError([&] { Write(3, "text"); }, 26001, "pvgrpman.cRegistry",
              "Failed to set registry value Key: '-2147483647',Section: '" + section_ +
                  "',Key: 'Name' to value: 'text'");
  EXPECT_EQ(Read(), Value(258)) << "the old value stays";
}

TEST_F(RegistryCase, MissingValueIsTheDefault) {
  EXPECT_TRUE(Read().IsEmpty());
  for (const Value& value : {Value(std::int16_t{1}), Value(1), Value("x"), Value::Null()}) {
    PutProperty(registry_, "Default", value);
    EXPECT_TRUE(Read() == value);
  }
}

TEST_F(RegistryCase, ValuesAreDeleted) {
  ExpectError([&] { CallMember(registry_, "DeleteValue"); }, 26001, "pvgrpman.cRegistry",
              "Failed to open key '-2147483647',Section: '" + section_ + "' for delete access");
  Write(1, "x");
  CallMember(registry_, "DeleteValue");
  ExpectError(
      [&] { CallMember(registry_, "DeleteValue"); }, 26001, "pvgrpman.cRegistry",
      "Failed to delete registry Key: '-2147483647',Section: '" + section_ + "',Key: 'Name");
}

TEST_F(RegistryCase, ValueExSelectsReadsAndWrites) {
  automation::Call write{automation::kCallLet, {kUser, section_, "n", 4, 42}, {}};
  automation::Invoke(registry_, "ValueEx", write);
  EXPECT_EQ(GetProperty(registry_, "ValueKey"), Value("n"));
  EXPECT_EQ(GetProperty(registry_, "ValueType"), Value(4));
  EXPECT_EQ(CallMember(registry_, "ValueEx", {kUser, section_, "N"}), Value(42));
  automation::Call plain{automation::kCallLet, {kUser, section_, "n", 43}, {}};
  automation::Invoke(registry_, "ValueEx", plain);
  EXPECT_EQ(CallMember(registry_, "ValueEx", {kUser, section_, "N"}), Value(43));
}

TEST_F(RegistryCase, NamesAreListedIntoTheArgument) {
  Write(1, "1");
  PutProperty(registry_, "ValueKey", "");
  Write(1, "2");
  for (const char* below : {"\\b", "\\a"}) {
    PutProperty(registry_, "SectionKey", section_ + below);
    CallMember(registry_, "CreateKey");
  }
  PutProperty(registry_, "SectionKey", section_);
  automation::Call sections{automation::kCallMethodOrGet, {Value()}, {}};
  EXPECT_EQ(automation::Invoke(registry_, "EnumerateSections", sections), Value(2));
  EXPECT_EQ(sections.arguments[0], Value(TextArray{"a", "b"}));
  automation::Call values{automation::kCallMethodOrGet, {Value()}, {}};
  EXPECT_EQ(automation::Invoke(registry_, "EnumerateValues", values), Value(2));
  EXPECT_EQ(values.arguments[0].type(), automation::ValueType::kTextArray);
}

TEST_F(RegistryCase, AdditionalVerbsAreCheckedFirst) {
  ExpectError(
      [&] {
        CallMember(registry_, "CreateAdditionalEXEAssociations",
                   {"PvNoSuchClass", TextArray{"a", "b", "c", "d"}});
      },
      static_cast<std::int32_t>(0x80040000U) + 27052, "pvgrpman.cRegistry",
      "Invalid parameter list passed to CreateAdditionalEXEAssociations - expected "
      "Name/Text/Command");
  ExpectError(
      [&] {
        CallMember(registry_, "CreateAdditionalEXEAssociations",
                   {"PvNoSuchClass", TextArray{"a", "b", "c"}});
      },
      static_cast<std::int32_t>(0x80040000U) + 27053, "pvgrpman.cRegistry",
      "Error - attempt to create additional associations before class defined.");
}

}  // namespace
}  // namespace pv::conformance
