// Type-library names of the groups' enumerations. Tested by collections_test.cc.
#include "pvgroupman/groups/types.h"

namespace pv::automation {

const Enumeration& EnumerationOf<groups::GroupType>::Describe() {
  static const Enumeration e{"GroupType",
                             {{"PV_FORMAT_GROUP", 0}, {"ADO_RECORDSET", 1}, {"ADDRESS_BOOK", 2}}};
  return e;
}

const Enumeration& EnumerationOf<groups::PVGroupFieldType>::Describe() {
  static const Enumeration e{"PVGroupFieldType",
                             {{"GF_TEXT", 0},
                              {"GF_NUMBER", 1},
                              {"GF_CURRENCY", 2},
                              {"GF_DATE", 3},
                              {"GF_DateTIME", 4},
                              {"GF_BOOLEAN", 5},
                              {"GF_NOUPDATE", 6}}};
  return e;
}

}  // namespace pv::automation
