// Groups that are queries on a database: opening them, counting them, looking at definitions.
#ifndef PV_CLI_GROUPS_SQL_GROUP_H_
#define PV_CLI_GROUPS_SQL_GROUP_H_

#include <cstdint>
#include <memory>
#include <string>

#include "cli/groups/catalogue.h"
#include "cli/groups/group_cursor.h"
#include "pvgroupman/ado/ado_group_properties.h"
#include "pvgroupman/ado/data_source.h"

namespace pv::cli {

// One definition on one data source. Nothing is connected before it is needed; every failure is a
// Failure.
class SqlGroup {
 public:
  // The group of a catalogue entry, as it is saved.
  explicit SqlGroup(const GroupEntry& entry);

  // A definition that may not be saved yet.
  SqlGroup(automation::Ref<ado::CDataSource> source,
           automation::Ref<ado::CADOGroupProperties> properties)
      : source_(std::move(source)), properties_(std::move(properties)) {}

  ~SqlGroup();
  SqlGroup(const SqlGroup&) = delete;
  SqlGroup& operator=(const SqlGroup&) = delete;

  // The statement that gives the rows.
  std::string Statement() const;

  // The rows, read forward only and by blocks. The group must outlive the cursor.
  std::unique_ptr<GroupCursor> Rows();

  // The rows of another statement on the same connection.
  std::unique_ptr<GroupCursor> RowsOf(const std::string& statement);

  // At least the rows in which a field ("" for that of the addresses) is a text or begins with it,
  // letter case ignored, as the database finds them; null when it cannot be asked for them: the
  // rows are to be walked, then.
  std::unique_ptr<GroupCursor> RowsLike(const std::string& field, const std::string& text);

  // The number of rows: the database counts them, or, where it cannot, they are walked.
  std::uint64_t Count();

  // Connected with the password from outside where the source has none of its own.
  const automation::Ref<automation::Object>& Connection();

  // The string that it was connected with, to be kept out of messages.
  std::string connection_text() const { return opened_ ? opened_->GetConnectionString() : ""; }

  const automation::Ref<ado::CDataSource>& source() const { return source_; }
  const automation::Ref<ado::CADOGroupProperties>& properties() const { return properties_; }

 private:
  automation::Ref<ado::CDataSource> source_;
  automation::Ref<ado::CADOGroupProperties> properties_;
  automation::Ref<ado::CDataSource> opened_;  // the source as it was connected
  automation::Ref<automation::Object> connection_;
};

// A group of any kind, open for one walk.
class OpenedGroup {
 public:
  struct Options {
    bool by_address = false;  // in the order of the addresses, where the group has one
    bool deleted = false;     // records marked deleted are wanted too; kUsage where there are none
    bool find = false;        // only rows in which `field` is `text` or begins with it are needed
    std::string field = {};   // "" for that of the addresses
    std::string text = {};
  };
  OpenedGroup(const Catalogue& catalogue, const GroupEntry& entry, const Options& options);
  ~OpenedGroup();

  GroupCursor* cursor() { return cursor_.get(); }

  // The table of a native group, else null.
  Table* table() { return table_.get(); }

  // The query of a group on a database, else null.
  SqlGroup* sql() { return sql_.get(); }

 private:
  std::unique_ptr<Session> session_;
  std::unique_ptr<Table> table_;
  std::unique_ptr<SqlGroup> sql_;
  std::unique_ptr<GroupCursor> cursor_;
};

}  // namespace pv::cli

#endif  // PV_CLI_GROUPS_SQL_GROUP_H_
