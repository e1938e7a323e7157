// One walk over the recipients of a group, whatever its kind.
#ifndef PV_CLI_GROUPS_GROUP_CURSOR_H_
#define PV_CLI_GROUPS_GROUP_CURSOR_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/fields/record.h"
#include "cli/groups/table.h"
#include "cli/output/listing.h"

namespace pv::cli {

struct CursorField {
  std::string name;
  // As a field of a table of ours would be: the same letters, a length of 0 where none is known.
  FieldShape shape;
  bool bytes = false;  // its text is the hexadecimal digits of bytes
  bool numeric() const { return IsNumeric(shape.type); }
};

// Forward only, in constant memory. Failures are Failures; a walk that breaks is one, never an end.
class GroupCursor {
 public:
  virtual ~GroupCursor() = default;

  virtual const std::vector<CursorField>& fields() const = 0;

  // The name of the field of addresses; "" when there is none.
  virtual std::string address_field() const = 0;

  // Goes to the next row, the first time to the first; false when there is none.
  virtual bool Next() = 0;

  // A value of the current row.
  virtual void Read(std::size_t field, Cell* cell) = 0;

  // Whether the current row is marked deleted, where rows can be.
  virtual bool deleted() const { return false; }

  // The names of fields with moments that were read and are finer than the millisecond to which
  // they were rounded.
  virtual std::vector<std::string> rounded() const { return {}; }

  // Goes to a row with this address, letter case ignored; false when there is none. Not to be
  // mixed with Next.
  virtual bool FindAddress(std::string_view address);

  // The position of a field, letter case ignored.
  std::optional<std::size_t> Find(std::string_view name) const;

  // The same; kUsage, naming the fields there are, when there is none.
  std::size_t Get(std::string_view name) const;
};

// Over a table, in the order of its selected tag.
class TableCursor : public GroupCursor {
 public:
  // The table must outlive it.
  explicit TableCursor(Table* table);

  const std::vector<CursorField>& fields() const override { return fields_; }
  std::string address_field() const override;
  bool Next() override;
  void Read(std::size_t field, Cell* cell) override;
  bool deleted() const override;
  bool FindAddress(std::string_view address) override;

 private:
  Table* table_;
  RecordReader reader_;
  std::vector<CursorField> fields_;
  bool started_ = false;
};

}  // namespace pv::cli

#endif  // PV_CLI_GROUPS_GROUP_CURSOR_H_
