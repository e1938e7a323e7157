// A walk over the rows of a database, through a recordset.
#ifndef PV_CLI_GROUPS_RECORDSET_CURSOR_H_
#define PV_CLI_GROUPS_RECORDSET_CURSOR_H_

#include <cstdint>
#include <string>
#include <vector>

#include "cli/groups/group_cursor.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/value.h"

namespace pv::cli {

// A value of a field of an ADO type as a cell: dates as 2024-02-29, moments as
// 2024-02-29T13:45:10 with milliseconds where there are any, times of day as 13:45:10, bytes as
// hexadecimal digits.
void SetCell(const automation::Value& value, std::int32_t ado_type, Cell* cell);

// The field of a table of ours that is closest to an ADO type. `size` is ADO's DefinedSize.
FieldShape ShapeOfAdo(std::int32_t ado_type, std::int32_t size, std::int32_t precision,
                      std::int32_t scale);

class RecordsetCursor : public GroupCursor {
 public:
  // An open recordset that stands on its first row.
  explicit RecordsetCursor(const automation::Ref<automation::Object>& recordset);

  const std::vector<CursorField>& fields() const override { return fields_; }
  std::string address_field() const override;
  bool Next() override;
  void Read(std::size_t field, Cell* cell) override;
  std::vector<std::string> rounded() const override;

  // The ADO type of a field.
  std::int32_t type_of(std::size_t field) const { return types_[field]; }

 private:
  // Members are looked up by name once, not for every row.
  struct Source {
    automation::Ref<automation::Object> field;
    std::int32_t value_id = 0;
  };

  automation::Ref<automation::Object> recordset_;
  std::int32_t eof_id_;
  std::int32_t move_next_id_;
  std::vector<Source> sources_;
  std::vector<std::int32_t> types_;
  std::vector<bool> rounded_;
  std::vector<CursorField> fields_;
  bool started_ = false;
};

}  // namespace pv::cli

#endif  // PV_CLI_GROUPS_RECORDSET_CURSOR_H_
