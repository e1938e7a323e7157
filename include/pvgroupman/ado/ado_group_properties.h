// What an ADO group is: a table with conditions, or an SQL statement.
#ifndef PVGROUPMAN_ADO_ADO_GROUP_PROPERTIES_H_
#define PVGROUPMAN_ADO_ADO_GROUP_PROPERTIES_H_

#include <cstdint>
#include <memory>
#include <string>

#include "pvgroupman/ado/filters.h"
#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/value.h"

namespace pv::support {
class DataFolder;
}

namespace pv::ado {

// Loads, saves and deletes the definition of an ADO group, by its ID: a row of the table
// GroupADO.pvg in the group data folder, and beside it the settings file "GroupADO" + ID + ".ini"
// with the conditions.
//
// Errors carry the operation as source ("CADOGroupProperties::OpenADOGroupProperties") and are
// logged: 2304, "Cannot save DSN details to file."; 2306, "DSN does not exist."; 2308, "The DSN ID
// specified was blank."; 5 for an ID that cannot be part of a file name and for text that its
// field cannot keep as it is; the table store's own.
class PV_API CADOGroupProperties : public automation::Object {
 public:
  static constexpr const char* kClassName = "CADOGroupProperties";

  CADOGroupProperties();

  // The definition's ID, at most 32 characters.
  std::string GetId() const { return id_; }
  void SetId(const std::string& NewValue) { id_ = NewValue; }

  // 0: Table and Filters define the group; any other number: SQL does.
  std::int16_t GetFilterMethod() const { return filter_method_; }
  void SetFilterMethod(std::int16_t NewValue) { filter_method_ = NewValue; }

  // The table's name without quotes.
  std::string GetTable() const { return table_; }
  void SetTable(const std::string& NewValue) { table_ = NewValue; }

  // The conditions. The object stays the same when a definition is opened, unless the host sets
  // another.
  automation::Ref<CFilters> GetFilters();
  void SetFilters(const automation::Ref<CFilters>& NewValue) { filters_ = NewValue; }

  // What stands before and behind the table's name in the statement.
  std::string GetLeftBrace() const { return left_brace_; }
  void SetLeftBrace(const std::string& NewValue) { left_brace_ = NewValue; }
  std::string GetRightBrace() const { return right_brace_; }
  void SetRightBrace(const std::string& NewValue) { right_brace_ = NewValue; }

  // The statement.
  std::string GetSql() const { return sql_; }
  void SetSql(const std::string& NewValue) { sql_ = NewValue; }

  // The host's own.
  std::string GetParameters() const { return parameters_; }
  void SetParameters(const std::string& NewValue) { parameters_ = NewValue; }

  // Resets the members and loads the definition with this ID; returns true. Errors: 2308 for a
  // blank ID and for conditions that cannot be loaded, 2306 when there is no such definition (its
  // conditions, if there are any, are loaded all the same).
  automation::Value OpenADOGroupProperties(const std::string& ID);

  // Writes the members under ID, in place of what is there, the conditions first; returns true.
  // Errors: 2308 for a blank ID, 2304 when the conditions cannot be written as they are.
  bool SaveADOGroupProperties();

  // Resets the members and deletes the definition with this ID, if there is one; returns true.
  // The row goes before the conditions: without them it would choose every row of its table.
  automation::Value DeleteADOGroupProperties(const std::string& sId);

  const automation::MemberTable& Members() const override;

 private:
  ~CADOGroupProperties() override;

  void Reset();
  const std::string& Folder();
  bool StoreExists();
  void CreateADOGroupStore();
  // The file with the conditions of a definition.
  std::string FilterFile(const std::string& id);
  bool LoadFilters(const std::string& id);
  bool SaveFilters();

  std::string id_;
  std::int16_t filter_method_ = 0;
  std::string table_;
  automation::Ref<CFilters> filters_;
  std::string left_brace_;
  std::string right_brace_;
  std::string sql_;
  std::string parameters_;
  std::unique_ptr<support::DataFolder> folder_;
};

}  // namespace pv::ado

#endif  // PVGROUPMAN_ADO_ADO_GROUP_PROPERTIES_H_
