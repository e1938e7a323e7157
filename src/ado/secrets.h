// Passwords in connection strings: finding them, and keeping them out of what people see.
#ifndef PV_ADO_SECRETS_H_
#define PV_ADO_SECRETS_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pv::ado {

// One "key=value" of a connection string. Values are without the braces or quotes around them.
struct ConnectionPart {
  std::string key;                 // without blanks around it
  std::string value;               // unquoted
  std::size_t begin = 0, end = 0;  // of the whole part in the string, without the ";"
};

// The parts of a connection string in order. A value may stand in braces ("}" doubled), in quotes
// or apostrophes (doubled likewise); what is left open ends with the string.
std::vector<ConnectionPart> ConnectionParts(std::string_view connection);

// True for the names under which drivers take a password.
bool IsPasswordKey(std::string_view key);

// The value of the first of these keys, letter case ignored.
std::optional<std::string> ConnectionValue(std::string_view connection,
                                           std::initializer_list<std::string_view> keys);

// The connection string with each password's value as "***".
std::string Redacted(std::string_view connection);

// Any text - a driver's message - without the passwords of the connection string, and with the
// password of every "PWD=..." that stands in it as "***".
std::string WithoutSecrets(std::string text, std::string_view connection);

// The connection string with its passwords taken out, or with this one in their place.
std::string WithPassword(std::string_view connection, std::string_view password);
std::string WithoutPassword(std::string_view connection);

}  // namespace pv::ado

#endif  // PV_ADO_SECRETS_H_
