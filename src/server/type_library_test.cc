#include "server/type_library.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/memory/memory_system.h"
#include "pvgroupman/automation/member_table.h"
#include "server/class_list.h"
#include "server/identifiers.h"

namespace pv::server {
namespace {

using testing::HasSubstr;

class TypeLibraryTest : public testing::Test {
 protected:
  TypeLibraryTest() {
    RegisterPublicClasses();
    text_ = TypeLibraryText().value();
  }
  platform::MemorySystem machine_;
  platform::ScopedSystem scope_{machine_.system()};
  std::string text_;
};

TEST_F(TypeLibraryTest, HasAnInterfaceAndAClassForEveryPublicClass) {
  for (const PublicClass& entry : PublicClasses()) {
    const ClassIdentifiers* ids = FindClassIdentifiers(entry.name);
    const std::string name = entry.name;
    EXPECT_THAT(text_, HasSubstr("uuid(" + ToText(ids->interface_id) + ")"));
    EXPECT_THAT(text_, HasSubstr("\n  dispinterface _" + name + " {\n"));
    EXPECT_THAT(text_, HasSubstr("[uuid(" + ToText(ids->class_id) + ")]\n  coclass " + name +
                                 " {\n    [default] dispinterface _" + name + ";"));
  }
}

TEST_F(TypeLibraryTest, MembersSayHowTheyAreReached) {
  EXPECT_THAT(text_,
              HasSubstr("[id(1), propget] _GroupLinks* Groups();\n"
                        "      [id(1), propputref] void Groups([in] _GroupLinks* NewValue)"));
  EXPECT_THAT(text_, HasSubstr("[id(1), propput] void Name([in] BSTR NewValue);"));
  EXPECT_THAT(text_, HasSubstr("[id(0)] _GroupLink* Item([in] VARIANT Index);"));
  EXPECT_THAT(text_, HasSubstr("[id(-4), restricted, hidden] IUnknown* NewEnum();"));
  EXPECT_THAT(text_, HasSubstr("VARIANT_BOOL Move([in, out] long* NumRecords);"));
  EXPECT_THAT(text_, HasSubstr("CreateTable([in] BSTR Path, [in] BSTR Name, "
                               "[in, out] SAFEARRAY(FieldStruct)* audtFields, "
                               "[in, out] SAFEARRAY(IndexStruct)* audtIndex, "
                               "[in, optional] AccessModeType AccessMode, "
                               "[in, optional] BSTR Index);"));
}

TEST_F(TypeLibraryTest, HasEveryEnumerationOnceWithItsValues) {
  for (const char* name : {"GroupType", "StateConstants", "AccessModeType", "LogLevel",
                           "PVFieldType", "PVGroupFieldType", "FieldType"}) {
    const std::string head = std::string("typedef enum ") + name + " {";
    const std::size_t at = text_.find(head);
    ASSERT_NE(at, std::string::npos) << name;
    EXPECT_EQ(text_.find(head, at + 1), std::string::npos) << name;
  }
  EXPECT_THAT(text_, HasSubstr("errfulltrace = 3\n"));
  EXPECT_THAT(text_, HasSubstr("GF_NOUPDATE = 6\n"));
  EXPECT_THAT(text_, HasSubstr("CB_Unicode = 14\n"));
}

TEST_F(TypeLibraryTest, HasTheRecords) {
  EXPECT_THAT(text_, HasSubstr("struct FieldStruct {\n    BSTR Name;\n    FieldType Type;\n"
                               "    short Length;\n    short Decimal;\n"
                               "    VARIANT_BOOL NullsAllowed;\n  } FieldStruct;"));
  EXPECT_THAT(text_, HasSubstr("struct IndexStruct {\n    BSTR Name;\n    BSTR expression;\n"
                               "    BSTR filter;\n    VARIANT_BOOL unique;\n"
                               "    VARIANT_BOOL descending;\n  } IndexStruct;"));
}

}  // namespace
}  // namespace pv::server
