// The tag by which a group finds its addresses.
#ifndef PV_CLI_GROUPS_ADDRESS_TAG_H_
#define PV_CLI_GROUPS_ADDRESS_TAG_H_

#include <string>
#include <vector>

#include "tablestore/engine/operations.h"

namespace pv::cli {

// Hosts select it by this name, and seek addresses as they are stored: its expression is the bare
// field.
constexpr const char kAddressTag[] = "EMAIL";

// The tag that every group has on its address field.
std::vector<engine::TagRecord> AddressTag(const std::string& address_field);

// The field that the tag EMAIL is made of, or the field EMAIL; "" when there is neither.
std::string AddressFieldOf(engine::Handle table);

}  // namespace pv::cli

#endif  // PV_CLI_GROUPS_ADDRESS_TAG_H_
