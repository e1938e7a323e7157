#include "ado/secrets.h"

#include <gtest/gtest.h>

namespace pv::ado {
namespace {

TEST(Secrets, PartsOfAConnectionString) {
  const auto parts = ConnectionParts(" Driver={A;B}}C} ; PWD = a b ;Uid=\"x\"\"y;\";junk;=;E=");
  ASSERT_EQ(parts.size(), 5u);
  EXPECT_EQ(parts[0].key, "Driver");
  EXPECT_EQ(parts[0].value, "A;B}C");
  EXPECT_EQ(parts[1].key, "PWD");
  EXPECT_EQ(parts[1].value, "a b");
  EXPECT_EQ(parts[2].value, "x\"y;");
  EXPECT_EQ(parts[3].key, "");
  EXPECT_EQ(parts[4].key, "E");
  EXPECT_EQ(parts[4].value, "");
}

TEST(Secrets, StringsThatAreLeftOpenEndWithTheString) {
  EXPECT_EQ(ConnectionParts("PWD={abc")[0].value, "abc");
  EXPECT_EQ(Redacted("Driver=x;PWD={abc"), "Driver=x;PWD=***");
  EXPECT_TRUE(ConnectionParts("").empty());
  EXPECT_TRUE(ConnectionParts(";;;").empty());
}

TEST(Secrets, RedactedHidesEveryPassword) {
  EXPECT_EQ(Redacted("Driver={X};PWD=geheim;Server=a"), "Driver={X};PWD=***;Server=a");
  EXPECT_EQ(Redacted("password = {a;b}}c} ;Server=a"), "password =***;Server=a");
  EXPECT_EQ(Redacted("Pwd=;SSLPassword='x;y'"), "Pwd=***;SSLPassword=***");
  EXPECT_EQ(Redacted("DSN=x"), "DSN=x");
}

TEST(Secrets, MessagesLoseThePasswordHoweverItIsWritten) {
  const char* connection = "Driver={X};UID=me;PWD={ge}}heim}";
  EXPECT_EQ(WithoutSecrets("no way in with ge}heim (PWD={ge}}heim})", connection),
            "no way in with *** (PWD=***)");
  EXPECT_EQ(WithoutSecrets("plain", connection), "plain");
  EXPECT_EQ(WithoutSecrets("plain", "DSN=x;PWD="), "plain");
}

TEST(Secrets, APasswordIsPutInAndTakenOut) {
  EXPECT_EQ(WithPassword("Driver={X};Server=a", "p;}q"), "Driver={X};Server=a;PWD={p;}}q};");
  EXPECT_EQ(WithPassword("Driver={X};pwd=old;Server=a;", "new"), "Driver={X};Server=a;PWD={new};");
  EXPECT_EQ(WithPassword("Provider=SQLOLEDB;Server=a", "p\"q"),
            "Provider=SQLOLEDB;Server=a;Password=\"p\"\"q\";");
  EXPECT_EQ(WithPassword("Provider=MSDASQL;DSN=a", "p"), "Provider=MSDASQL;DSN=a;PWD={p};");
  EXPECT_EQ(WithoutPassword("PWD=a;Server=b;Password=c"), "Server=b;");
  for (const char* password : {"", "a", "{", "}", "}}", ";", "\"", "'", " lead", "ü=;"}) {
    for (const char* base : {"Driver={X}", "Provider=SQLOLEDB;Server=a"}) {
      EXPECT_EQ(ConnectionValue(WithPassword(base, password), {"PWD", "Password"}), password);
    }
  }
}

}  // namespace
}  // namespace pv::ado
