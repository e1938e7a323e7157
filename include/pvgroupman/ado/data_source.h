// A saved data source: how to connect to a database through ADO.
#ifndef PVGROUPMAN_ADO_DATA_SOURCE_H_
#define PVGROUPMAN_ADO_DATA_SOURCE_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "pvgroupman/ado/data_sources.h"
#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/object.h"

namespace pv::support {
class DataFolder;
}

namespace pv::ado {

// Loads, saves and deletes one data source in the table DataSrc.pvg of the group data folder, by
// its ID, and lists them all. The numbers are ADO's own and are never checked.
//
// The table holds connection string and password as plain text; like every file of the component
// it is readable by its owner alone. A group is opened with the connection string by itself, so a
// password that the database asks for belongs into that.
//
// Errors carry the operation as source ("CDataSource::OpenDataSource") and are logged: 2306, "DSN
// does not exist."; 2308, "The DSN ID specified was blank."; 2406 when a group uses the source; 5
// for text that its field cannot keep as it is; the table store's own.
class PV_API CDataSource : public automation::Object {
 public:
  static constexpr const char* kClassName = "CDataSource";

  // The values of a reset.
  CDataSource();

  // At most 32 characters, letter case and blanks at its front included.
  std::string GetId() const { return id_; }
  void SetId(const std::string& NewValue) { id_ = NewValue; }

  // No two saved sources have the same name.
  std::string GetName() const { return name_; }
  void SetName(const std::string& NewValue) { name_ = NewValue; }

  // What the connection is opened with.
  std::string GetConnectionString() const { return connection_string_; }
  void SetConnectionString(const std::string& NewValue) { connection_string_ = NewValue; }

  // Kept for hosts that ask for it themselves; cannot be read.
  void SetPassword(const std::string& NewValue) { password_ = NewValue; }

  // ADO's CursorLocationEnum; after a reset 2, server-side.
  std::int32_t GetCursorLocation() const { return cursor_location_; }
  void SetCursorLocation(std::int32_t NewValue) { cursor_location_ = NewValue; }

  // ADO's ConnectOptionEnum; after a reset -1, unspecified.
  std::int32_t GetConnectOptions() const { return connect_options_; }
  void SetConnectOptions(std::int32_t NewValue) { connect_options_ = NewValue; }

  // ADO's CursorTypeEnum; after a reset 2, dynamic.
  std::int32_t GetCursorType() const { return cursor_type_; }
  void SetCursorType(std::int32_t NewValue) { cursor_type_ = NewValue; }

  // ADO's LockTypeEnum; after a reset 1, read-only.
  std::int32_t GetLockType() const { return lock_type_; }
  void SetLockType(std::int32_t NewValue) { lock_type_ = NewValue; }

  // ADO's CommandTypeEnum; after a reset 1, command text.
  std::int32_t GetRecordSetOptions() const { return recordset_options_; }
  void SetRecordSetOptions(std::int32_t NewValue) { recordset_options_ = NewValue; }

  // The host's own; a reset leaves it.
  std::string GetParameters() const { return parameters_; }
  void SetParameters(const std::string& NewValue) { parameters_ = NewValue; }

  // Resets the members and loads the source with this ID; returns true. `password` is not used.
  // Errors: 2308 for a blank ID, 2306 when there is none. After an error the members hold what
  // the reset gave them and ID what was asked for.
  bool OpenDataSource(const std::string& ID, const std::optional<std::string>& password);

  // Writes the members under ID, in place of what is there; returns true. The table is made when
  // missing. Errors: 2308 for a blank ID, 20 when another source has the name.
  bool SaveDataSource();

  // Resets the members and deletes the source with this ID, if there is one; returns true.
  // Errors: 2308 for a blank ID, 2406 when a group of the catalogue uses it.
  bool DeleteDataSource(const std::string& ID);

  // Adds every saved source to a collection, in the order of their IDs and without their
  // passwords; returns true.
  bool GetDataSources(automation::Ref<CDataSources>& colDataSources);

  const automation::MemberTable& Members() const override;

 private:
  ~CDataSource() override;

  void Reset();
  const std::string& Folder();
  bool StoreExists();
  void CreateDataSourceStore();
  bool DataSourceInUse(const std::string& id);

  std::string id_;
  std::string name_;
  std::string connection_string_;
  std::string password_;
  std::int32_t cursor_location_ = 0;
  std::int32_t connect_options_ = 0;
  std::int32_t cursor_type_ = 0;
  std::int32_t lock_type_ = 0;
  std::int32_t recordset_options_ = 0;
  std::string parameters_;
  std::unique_ptr<support::DataFolder> folder_;
};

}  // namespace pv::ado

#endif  // PVGROUPMAN_ADO_DATA_SOURCE_H_
