// The attributes of one LDIF entry, and distinguished names.
#ifndef PV_PROVIDERS_CONVERTER_READERS_LDIF_ENTRY_H_
#define PV_PROVIDERS_CONVERTER_READERS_LDIF_ENTRY_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/status.h"
#include "providers/converter/readers/ldif_names.h"
#include "providers/converter/text/line_reader.h"

namespace pv::converter {

struct LdifAttribute {
  std::string name;      // in lower case, without options
  LdifMeaning meaning;   // as a property of a contact
  bool options = false;  // it had some, as in "cn;lang-ja"
  bool base64 = false;   // the value is to be decoded
  bool usable = true;    // false for a URL, damaged base64, or a value that is too long
  std::string value;     // any bytes once it is decoded

  // Decodes the value where that is to be done. Few of an entry's attributes are wanted, so the
  // reader leaves it to those who want one.
  void Decode();
};

// Goes through the attributes of the entry at which `lines` stands. Folded lines are put together,
// comments left out. An entry ends at a blank line, the end of the file, or a second dn.
class LdifEntryReader {
 public:
  enum class Which : std::uint8_t { kAll, kMeaningful };

  // With kMeaningful, attributes that are no property of a contact are passed over.
  LdifEntryReader(LineReader* lines, LdifProfile profile, Which which)
      : lines_(lines), profile_(profile), which_(which) {}

  // False after the last attribute.
  Result<bool> Next(LdifAttribute* attribute);

 private:
  LineReader* lines_;
  LdifProfile profile_;
  Which which_;
  bool had_dn_ = false;
};

// Splits "attribute: value", "attribute:: base64", "attribute:< url" at the colon; false for a
// line that is none of them. `mark` is ':' or '<', or ' ' for a plain value.
bool SplitLdifLine(std::string_view line, std::string_view* name, char* mark,
                   std::string_view* value);

// The parts of a distinguished name, outermost last; attribute names in lower case, values
// unescaped.
using Dn = std::vector<std::pair<std::string, std::string>>;
Dn ParseDn(std::string_view text);

// The value of the first part with the attribute, or "".
std::string_view DnPart(const Dn& dn, std::string_view attribute);

// The name in one form, for comparison: without blanks at the separators, in lower case.
std::string NormalDn(std::string_view text);

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_READERS_LDIF_ENTRY_H_
