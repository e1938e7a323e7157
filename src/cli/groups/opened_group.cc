// Opens groups. Tested by tests/cli.
#include "cli/groups/opened_group.h"

#include <algorithm>

#include "base/text.h"
#include "cli/failure.h"
#include "cli/fields/conditions.h"
#include "cli/groups/address_books.h"
#include "cli/groups/address_tag.h"
#include "cli/groups/sql_definition.h"

namespace pv::cli {
namespace {

// At least the rows in which a field ("" for that of the addresses) is a text or begins with it,
// letter case ignored, as the database finds them; null when it cannot be asked for them: the rows
// are to be walked, then.
std::unique_ptr<GroupCursor> RowsLike(SqlGroup* group, const std::string& field,
                                      const std::string& text) {
  const std::string wanted(TrimBlanks(ToLower(text)));
  const std::string statement = group->InnerStatement();
  // Databases fold other letters each in its own way, a backslash may be an escape, and an order
  // within need not hold outside.
  if (wanted.empty() || !IsAscii(wanted) || wanted.find('\\') != wanted.npos ||
      ToLower(statement).find("order") != std::string::npos) {
    return nullptr;
  }
  try {
    const std::string from = "select * from (\n" + statement + "\n) pv_rows where ";
    const auto none = group->RowsOf(from + "1 = 0");
    const auto found = none->Find(field.empty() ? none->address_field() : field);
    if (!found) return nullptr;
    const CursorField& column = none->fields()[*found];
    if ((column.shape.type != 'C' && column.shape.type != 'M') || column.bytes) return nullptr;
    // "_" stands for any letter: in some languages the small "I" is not "i".
    std::string pattern = wanted;
    std::replace(pattern.begin(), pattern.end(), 'i', '_');
    const SqlDialect dialect = AskDialect(group);
    if (dialect.right.empty()) return nullptr;
    return group->RowsOf(from + "lower(" + dialect.Quoted(column.name) + ") like " +
                         SqlLiteral({"%" + pattern + "%", true}, ValueKind::kText,
                                    dialect.backslash_escapes, column.name));
  } catch (const Failure&) {
    // Not every statement can stand inside another, nor every type be compared so.
    return nullptr;
  }
}

}  // namespace

OpenedGroup::OpenedGroup(const Catalogue& catalogue, const GroupEntry& entry,
                         const Options& options) {
  switch (entry.type) {
    case groups::GroupType::kPvFormat:
      session_ = std::make_unique<Session>();
      table_ = std::make_unique<Table>(*session_, catalogue.GetNative(entry.id).table_path(),
                                       Access::kShared);
      // Deleted records are in no tag of a group.
      if (options.by_address && !options.deleted) table_->SelectTag(kAddressTag);
      cursor_ = std::make_unique<TableCursor>(table_.get());
      return;
    case groups::GroupType::kAdoRecordset:
      if (options.deleted) {
        throw Failure(kUsage, "group \"" + entry.name +
                                  "\" is a query on a database, where "
                                  "nothing is only marked deleted");
      }
      sql_ = std::make_unique<SqlGroup>(entry);
      if (options.find) cursor_ = RowsLike(sql_.get(), options.field, options.text);
      if (cursor_ == nullptr) cursor_ = sql_->Rows();
      return;
    case groups::GroupType::kAddressBook:
      if (options.deleted) {
        throw Failure(kUsage, "group \"" + entry.name +
                                  "\" is an address book, where nothing is only marked deleted");
      }
      cursor_ = OpenContacts(entry);
      return;
  }
  throw Failure(kUnavailable, "group \"" + entry.name + "\" is of an unknown kind");
}

OpenedGroup::~OpenedGroup() = default;

}  // namespace pv::cli
