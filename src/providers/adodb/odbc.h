// ODBC's headers, and text as ODBC takes it: UTF-16 through the functions that end in W.
#ifndef PV_PROVIDERS_ADODB_ODBC_H_
#define PV_PROVIDERS_ADODB_ODBC_H_

#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

#include <string>
#include <string_view>

#include "base/text.h"

namespace pv::adodb {

static_assert(sizeof(SQLWCHAR) == sizeof(char16_t));

// Text for a W function; it is not changed.
class WideText {
 public:
  explicit WideText(std::string_view utf8) : text_(Utf16FromUtf8(utf8)) {}
  SQLWCHAR* data() { return reinterpret_cast<SQLWCHAR*>(text_.data()); }
  SQLINTEGER size() const { return static_cast<SQLINTEGER>(text_.size()); }
  SQLSMALLINT short_size() const { return static_cast<SQLSMALLINT>(text_.size()); }

 private:
  std::u16string text_;
};

// UTF-16 that a W function wrote, `units` long.
inline std::string FromWide(const SQLWCHAR* text, std::size_t units) {
  return Utf8FromUtf16({reinterpret_cast<const char16_t*>(text), units});
}

inline SQLPOINTER AsPointer(SQLULEN number) { return reinterpret_cast<SQLPOINTER>(number); }

}  // namespace pv::adodb

#endif  // PV_PROVIDERS_ADODB_ODBC_H_
