// The attributes of one LDIF entry, and distinguished names.
#ifndef PV_PROVIDERS_CONVERTER_READERS_LDIF_ENTRY_H_
#define PV_PROVIDERS_CONVERTER_READERS_LDIF_ENTRY_H_

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/bytes.h"
#include "base/status.h"
#include "providers/converter/readers/ldif_names.h"
#include "providers/converter/text/line_reader.h"

namespace pv::converter {

// Name and value are those of the file's own bytes, and gone with the next attribute.
struct LdifAttribute {
  std::string_view name;   // as it is written, without options
  LdifMeaning meaning;     // as a property of a contact
  bool options = false;    // it had some, as in "cn;lang-ja"
  bool base64 = false;     // the value is to be decoded
  bool usable = true;      // false for a URL, damaged base64, or a value that is too long
  std::string_view value;  // any bytes once it is decoded

  // Decodes the value where that is to be done. Few of an entry's attributes are wanted, so the
  // reader leaves it to those who want one.
  void Decode();

  std::string memory;  // for values that do not stand in one piece in the file
};

// Goes through the attributes of the entry at which `lines` stands. Folded lines are put together,
// comments left out. An entry ends at a blank line, the end of the file, or a second dn.
class LdifEntryReader {
 public:
  // With a filter, all attributes but those of the properties that it wants are passed over.
  LdifEntryReader(LineReader* lines, LdifProfile profile, const LdifFilter* filter = nullptr)
      : lines_(lines), profile_(profile), filter_(filter) {}

  // False after the last attribute.
  Result<bool> Next(LdifAttribute* attribute);

 private:
  Status Unfold(LdifAttribute* attribute);

  LineReader* lines_;
  LdifProfile profile_;
  const LdifFilter* filter_;
  bool had_dn_ = false;
  std::string folded_name_;
};

// The place of the first ':' or ';' of a line, eight characters at a time, or npos.
inline std::size_t FindNameEnd(std::string_view line) {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  std::size_t at = 0;
  for (; at + 8 <= line.size(); at += 8) {
    // The two differ in the lowest bit only: without it, both become zero here and no other does.
    const std::uint64_t rest = (LoadLe64(line.data() + at) & kOnes * 0xFE) ^ kOnes * ':';
    const std::uint64_t zero = (rest - kOnes) & ~rest & kOnes * 0x80;
    if (zero != 0) return at + static_cast<std::size_t>(std::countr_zero(zero)) / 8;
  }
  for (; at < line.size(); ++at) {
    if (line[at] == ':' || line[at] == ';') return at;
  }
  return std::string_view::npos;
}

// Splits "attribute: value", "attribute:: base64", "attribute:< url" at the colon; false for a
// line that is none of them. `mark` is ':' or '<', or ' ' for a plain value; the name comes without
// options, as in "cn;lang-ja".
inline bool SplitLdifLine(std::string_view line, std::string_view* name, bool* options, char* mark,
                          std::string_view* value) {
  const std::size_t end = FindNameEnd(line);
  if (end == std::string_view::npos || end == 0) return false;
  *options = line[end] == ';';
  const std::size_t colon = *options ? line.find(':', end) : end;
  if (colon == std::string_view::npos) return false;
  *name = line.substr(0, end);
  line.remove_prefix(colon + 1);
  *mark = ' ';
  if (!line.empty() && (line.front() == ':' || line.front() == '<')) {
    *mark = line.front();
    line.remove_prefix(1);
  }
  while (!line.empty() && line.front() == ' ') line.remove_prefix(1);
  *value = line;
  return true;
}

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
