// The session in which tables are made, opened and compacted.
#ifndef PVGROUPMAN_TABLESTORE_DATABASE_H_
#define PVGROUPMAN_TABLESTORE_DATABASE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/tablestore/fields.h"
#include "pvgroupman/tablestore/recipients.h"
#include "pvgroupman/tablestore/types.h"

namespace pv::tablestore {

// One session of the table engine. All tables opened through it end with it: keep the Database as
// long as its cursors are used.
//
// A table is named by a folder (with or without the final separator; "" is the folder of the
// running program) and the full name of its data file; the index (.cdx) and memo (.fpt) files lie
// beside it under the same base name. Failures of the engine carry its negative code and its
// message; the source of an error is the member's name.
class PV_API Database : public automation::Object {
 public:
  static constexpr const char* kClassName = "Database";

  // Starts a session in the code page that the settings name; error 2403 when it cannot start.
  Database();

  // A reference that the class keeps for its host and does not use.
  automation::Ref<Fields> GetFields() const { return fields_; }
  void SetFields(const automation::Ref<Fields>& NewValue) { fields_ = NewValue; }

  // Makes a table of the fields and tags and opens it; a file that exists is never overwritten
  // (code -120). Date fields are 8 and logical fields 1 wide whatever they say. `AccessMode` left
  // out is AMT_SHARED; a number that is no mode leaves the session's last one in force. `Index`
  // names the tag to walk and search in; natural order without it or when there is no such tag.
  // The cursor stands on the first record; its Fields is filled by a Move... member.
  automation::Ref<Recipients> CreateTable(
      const std::string& Path, const std::string& Name, const std::vector<FieldStruct>& audtFields,
      const std::vector<IndexStruct>& audtIndex,
      const std::optional<AccessModeType>& AccessMode = std::nullopt,
      const std::optional<std::string>& Index = std::nullopt);

  // Whether the session is there.
  StateConstants GetState() const;

  // Writes a log from now on, for the whole apartment, at a level; kNoLog ends it. Without a file
  // name it is the program's folder and name with ".log".
  void SetLogging(LogLevel enumLogLevel, const std::string& sLogFile);

  // Opens a table; arguments as for CreateTable. Error 2401, "OpenTable failed.", when the engine
  // gives no reason.
  automation::Ref<Recipients> OpenTable(
      const std::string& Path, const std::string& Name,
      const std::optional<AccessModeType>& AccessMode = std::nullopt,
      const std::optional<std::string>& Index = std::nullopt);

  // Removes deleted records and wasted memo space for good and returns true. Nobody else may have
  // the table open. Errors: 20 a unique key would be there twice; 50 a lock was not obtained;
  // "CompactTable failed." under the engine's code, or 2402, when the table cannot be opened.
  bool CompactTable(const std::string& Path, const std::string& Name);

  const automation::MemberTable& Members() const override;

 private:
  ~Database() override;

  // The file that a folder and a name mean.
  std::string FileName(const std::string& path, const std::string& name) const;

  std::int32_t session_ = 0;
  automation::Ref<Fields> fields_;
};

}  // namespace pv::tablestore

#endif  // PVGROUPMAN_TABLESTORE_DATABASE_H_
