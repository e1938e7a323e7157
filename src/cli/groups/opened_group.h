// A group of any kind, open for one walk.
#ifndef PV_CLI_GROUPS_OPENED_GROUP_H_
#define PV_CLI_GROUPS_OPENED_GROUP_H_

#include <memory>
#include <string>

#include "cli/groups/catalogue.h"
#include "cli/groups/group_cursor.h"
#include "cli/groups/sql_group.h"

namespace pv::cli {

// The group and the cursor over its rows.
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

#endif  // PV_CLI_GROUPS_OPENED_GROUP_H_
