// Definitions of the index tags of a group to be created.
#ifndef PVGROUPMAN_TABLESTORE_INDEX_DEFS_H_
#define PVGROUPMAN_TABLESTORE_INDEX_DEFS_H_

#include <string>

#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/collection.h"
#include "pvgroupman/automation/object.h"

namespace pv::tablestore {

// One tag. A plain holder: nothing is checked before a table is made from it.
class PV_API IndexDef : public automation::Object {
 public:
  static constexpr const char* kClassName = "IndexDef";

  // The tag's name, at most 10 characters when a table is made.
  std::string GetName() const { return name_; }
  void SetName(const std::string& NewValue) { name_ = NewValue; }

  // The key expression, often just a field's name.
  std::string GetExpression() const { return expression_; }
  void SetExpression(const std::string& NewValue) { expression_ = NewValue; }

  // Only records for which this expression is true are in the tag; "" for all.
  std::string GetFilter() const { return filter_; }
  void SetFilter(const std::string& NewValue) { filter_ = NewValue; }

  // Whether two records in the tag may not have the same key.
  bool GetUnique() const { return unique_; }
  void SetUnique(bool NewValue) { unique_ = NewValue; }

  // Whether the greatest key comes first.
  bool GetDescending() const { return descending_; }
  void SetDescending(bool NewValue) { descending_ = NewValue; }

  const automation::MemberTable& Members() const override;

 private:
  std::string name_;
  std::string expression_;
  std::string filter_;
  bool unique_ = false;
  bool descending_ = false;
};

// The tags of a group, in order, keyed by name (letter case ignored). Item of a name or position
// that is not there fails with error 5 or 9.
class PV_API IndexDefs : public automation::CollectionOf<IndexDef> {
 public:
  static constexpr const char* kClassName = "IndexDefs";

  // Appends a definition and returns it; error 457, adding nothing, when the name is taken.
  automation::Ref<IndexDef> Add(const std::string& Name, const std::string& expression,
                                const std::string& filter, bool unique, bool descending);

  const automation::MemberTable& Members() const override;
};

}  // namespace pv::tablestore

#endif  // PVGROUPMAN_TABLESTORE_INDEX_DEFS_H_
