// Arrays of bytes, texts and records, both ways.
#ifndef PV_SERVER_COM_ARRAYS_H_
#define PV_SERVER_COM_ARRAYS_H_

#include "pvgroupman/automation/type_description.h"
#include "pvgroupman/automation/value.h"
#include "server/com/com_api.h"

namespace pv::server::com {

// The value of an array with one dimension, whatever its lower bound: bytes, texts, or records of
// the type `record`. Empty when there is no array. Error 13 for every other.
automation::Value FromArray(SAFEARRAY* array, const automation::RecordType* record);

// The array of a value that holds bytes, or texts as variants; its lower bound is 0. Error 13 for
// every other.
void ToArray(const automation::Value& value, VARIANT* out);

// Puts the array of a value into a host's variable that has arrays of these elements, in place of
// what is there: bytes, texts or variants. Error 10 when that is of a fixed size or locked, 13 when
// it cannot have the value.
void StoreArray(const automation::Value& value, VARTYPE element, SAFEARRAY** to);

}  // namespace pv::server::com

#endif  // PV_SERVER_COM_ARRAYS_H_
