// Groups that are queries on a database: their statements, their rows, their number.
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

  // The same as it can stand in brackets inside another one, where the database allows that.
  std::string InnerStatement() const;

  // The rows, read forward only and by blocks. The group must outlive the cursor.
  std::unique_ptr<GroupCursor> Rows();

  // The rows of another statement on the same connection.
  std::unique_ptr<GroupCursor> RowsOf(const std::string& statement);

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

}  // namespace pv::cli

#endif  // PV_CLI_GROUPS_SQL_GROUP_H_
