// Values as automation variants, both ways.
#ifndef PV_SERVER_COM_VARIANTS_H_
#define PV_SERVER_COM_VARIANTS_H_

#include "pvgroupman/automation/type_description.h"
#include "pvgroupman/automation/value.h"
#include "server/com/com_api.h"

namespace pv::server::com {

// The value that a variant holds or, by reference, leads to. Integers that have no subtype of
// ours become the next larger one; an array without elements that was never given a size is
// Empty; an argument left out is Missing. Arrays of records are taken when they are of `record`'s
// type only, which may be null. Error 13 for all that a Value cannot hold.
automation::Value FromVariant(const VARIANT& variant, const automation::RecordType* record);

// The variant of a value, which the caller clears. `out` must be empty.
void ToVariant(const automation::Value& value, VARIANT* out);

// Writes the new value of an argument that was given by reference to where it leads, in the type
// that the caller has there; nothing happens when it was given by value.
void WriteBack(const automation::Value& value, const VARIANT& argument);

}  // namespace pv::server::com

#endif  // PV_SERVER_COM_VARIANTS_H_
