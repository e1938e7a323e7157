// Property values as the mail programs of Windows store them.
#ifndef PV_PROVIDERS_CONVERTER_MODEL_MAPI_VALUES_H_
#define PV_PROVIDERS_CONVERTER_MODEL_MAPI_VALUES_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "providers/converter/model/book.h"

namespace pv::converter {

// Adds a property by its tag: 001F and 101F (UTF-16) as 001E and 101E, moments (100 ns from 1601;
// of a birthday or anniversary the day), numbers, yes or no, and bytes; values of other types and
// damaged ones are left out.
void AddMapiValue(PropertyTag tag, const std::vector<std::string_view>& values, Contact* contact);

// 100-nanosecond steps from 1601-01-01 as a date; nothing when it is out of range.
std::optional<automation::Date> DateFromFileTime(std::uint64_t steps);

// The member of a list that an identifier spells out: from `names_at` on its name, address type and
// address, each ended by a zero. Nothing when it is none, or has no address.
std::optional<Member> OneOffMember(std::string_view identifier, std::size_t names_at, bool utf16);

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_MODEL_MAPI_VALUES_H_
