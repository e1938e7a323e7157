// The collection of saved data sources.
#ifndef PVGROUPMAN_ADO_DATA_SOURCES_H_
#define PVGROUPMAN_ADO_DATA_SOURCES_H_

#include <cstdint>
#include <optional>
#include <string>

#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/collection.h"
#include "pvgroupman/automation/enumerator.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/value.h"

namespace pv::ado {

class CDataSource;

// Data sources in order, keyed by ID (letter case ignored). Item and Delete fail with error 5 or 9
// for what is not there.
class PV_API CDataSources : public automation::Object {
 public:
  static constexpr const char* kClassName = "CDataSources";

  // Appends a source and returns it; error 457, adding nothing, when the ID is taken. Numbers left
  // out are 0, Parameters left out is "".
  automation::Ref<CDataSource> Add(
      const std::string& ID, const std::string& Name, const std::string& ConnectionString,
      const std::optional<std::int32_t>& CursorLocation = std::nullopt,
      const std::optional<std::int32_t>& ConnectOptions = std::nullopt,
      const std::optional<std::int32_t>& CursorType = std::nullopt,
      const std::optional<std::int32_t>& LockType = std::nullopt,
      const std::optional<std::int32_t>& RecordSetOptions = std::nullopt,
      const std::optional<std::string>& Parameters = std::nullopt);

  // Number of sources.
  std::int32_t Count() const { return items_.Count(); }

  // Removes one source, by 1-based position or by ID.
  void Delete(const automation::Value& Index) { items_.Delete(Index); }

  // One source, by 1-based position or by ID.
  automation::Ref<CDataSource> Item(const automation::Value& Index) const;

  // The sources in the order in which they were added.
  automation::Ref<automation::Enumerator> NewEnum() const { return items_.NewEnum(); }

  const automation::MemberTable& Members() const override;

 private:
  automation::KeyedCollection items_;
};

}  // namespace pv::ado

#endif  // PVGROUPMAN_ADO_DATA_SOURCES_H_
