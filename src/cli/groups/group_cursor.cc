// Walks groups. Tested by walk_test.cc and tests/cli.
#include "cli/groups/group_cursor.h"

#include "base/text.h"
#include "cli/failure.h"
#include "cli/groups/address_tag.h"
#include "cli/groups/walk.h"

namespace pv::cli {

std::optional<std::size_t> GroupCursor::Find(std::string_view name) const {
  for (std::size_t i = 0; i < fields().size(); ++i) {
    if (EqualsIgnoreCase(fields()[i].name, name)) return i;
  }
  return std::nullopt;
}

std::size_t GroupCursor::Get(std::string_view name) const {
  if (const auto found = Find(name)) return *found;
  std::string names;
  for (const CursorField& f : fields()) names += (names.empty() ? "" : ", ") + f.name;
  throw Failure(kUsage, "there is no field " + std::string(name) + "; there are " + names);
}

bool GroupCursor::FindAddress(std::string_view address) {
  const auto field = Find(address_field());
  if (!field) throw Failure(kUsage, "the group has no address field");
  Cell cell;
  while (Next()) {
    Read(*field, &cell);
    if (EqualsIgnoreCase(TrimBlanks(cell.text), TrimBlanks(address))) return true;
  }
  return false;
}

TableCursor::TableCursor(Table* table) : table_(table), reader_(table->handle()) {
  for (const RecordField& field : reader_.fields()) fields_.push_back({field.name, field.shape});
}

std::string TableCursor::address_field() const { return AddressFieldOf(table_->handle()); }

bool TableCursor::Next() {
  const engine::Handle handle = table_->handle();
  const std::int32_t code =
      table_->Checked(started_ ? engine::d4skip(handle, 1) : engine::d4top(handle));
  started_ = true;
  return code == engine::kSuccess;
}

void TableCursor::Read(std::size_t field, Cell* cell) {
  const RecordField& from = reader_.fields()[field];
  reader_.Read(from, cell);
  // A memo that is damaged reads as empty and leaves its error behind.
  if (from.shape.type == 'M' || from.shape.type == 'X') table_->CheckPending();
}

bool TableCursor::deleted() const { return engine::d4deleted(table_->handle()) != 0; }

bool TableCursor::FindAddress(std::string_view address) {
  return cli::FindAddress(table_, address) != 0;
}

}  // namespace pv::cli
