// Connection strings: the ODBC form (Driver={…};…, DSN=…) and the OLE DB forms that saved data
// sources carry (Provider=MSDASQL;Data Source=…;User ID=…, Extended Properties="…").
#ifndef PV_PROVIDERS_ADODB_CONNECTION_STRING_H_
#define PV_PROVIDERS_ADODB_CONNECTION_STRING_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"

namespace pv::adodb {

// A connection string taken apart. Messages of failures show keywords, never values.
class ConnectionString {
 public:
  // Reads a string: KEY=VALUE pairs divided by semicolons. A value may stand in braces ("}}" is a
  // brace inside) or in double or single quotes (doubled inside). A string without any "=" names a
  // DSN. Keywords of OLE DB become those of ODBC; what only OLE DB knows is dropped; another
  // provider than MSDASQL is kUnsupported with error number 3706 in detail.
  static Result<ConnectionString> Parse(std::string_view text);

  // The value of a keyword, letter case ignored; null when it is not there.
  const std::string* Find(std::string_view key) const;

  // Sets or adds a value.
  void Set(std::string_view key, std::string value);

  // Adds a value unless the keyword is there.
  void SetDefault(std::string_view key, std::string value);

  // The string in the ODBC form.
  std::string Text() const;

  // The same without passwords, for people and programs to read.
  std::string TextWithoutSecrets() const;

  // Puts "***" in place of every password of this string in a text.
  std::string Redacted(std::string text) const;

 private:
  struct Pair {
    std::string key;
    std::string value;
  };
  Status Add(std::string_view text, int depth);
  std::string Join(bool secrets) const;

  std::vector<Pair> pairs_;
};

}  // namespace pv::adodb

#endif  // PV_PROVIDERS_ADODB_CONNECTION_STRING_H_
