// What the verbs about databases share.
#ifndef PV_CLI_VERBS_SQL_VERBS_H_
#define PV_CLI_VERBS_SQL_VERBS_H_

#include <string>
#include <utility>
#include <vector>

#include "cli/groups/catalogue.h"
#include "pvgroupman/ado/ado_group_properties.h"
#include "pvgroupman/ado/data_source.h"

namespace pv::cli {

// Saves a source under a new ID.
void SaveNewSource(const automation::Ref<ado::CDataSource>& source);

// The source that --source means: a saved one by name or ID, or a connection string; that is looked
// for among the saved ones, or makes a new source called `name`, which is not saved yet.
automation::Ref<ado::CDataSource> SourceFor(const std::string& source, const std::string& name);

// Saves source (where that is new) and definition and enters the group into the catalogue; returns
// its ID. Nothing is left of it when that fails.
std::string SaveSqlGroup(Catalogue* catalogue, const std::string& name,
                         const automation::Ref<ado::CDataSource>& source,
                         const automation::Ref<ado::CADOGroupProperties>& definition);

// What a group is a query on, by name, for people: without passwords.
std::vector<std::pair<std::string, std::string>> DescribeSqlGroup(const GroupEntry& entry);

// The table of a definition as the database calls it, without the signs around its name.
std::string UnquotedTable(const ado::CADOGroupProperties& definition);

// Prints "name: value" lines, or one JSON object.
void PrintProperties(const std::vector<std::pair<std::string, std::string>>& lines, bool json);

}  // namespace pv::cli

#endif  // PV_CLI_VERBS_SQL_VERBS_H_
