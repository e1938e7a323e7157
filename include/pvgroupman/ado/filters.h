// The conditions that choose the rows of an ADO group's table.
#ifndef PVGROUPMAN_ADO_FILTERS_H_
#define PVGROUPMAN_ADO_FILTERS_H_

#include <string>

#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/collection.h"
#include "pvgroupman/automation/object.h"

namespace pv::ado {

// One condition. A plain holder: nothing is checked, and the value goes into the statement as it
// is, so it must be quoted as the database wants it.
class PV_API CFilter : public automation::Object {
 public:
  static constexpr const char* kClassName = "CFilter";

  // What joins the condition to the one before it, "AND" or "OR"; not used of the first.
  std::string GetLogicalOp() const { return logical_op_; }
  void SetLogicalOp(const std::string& NewValue) { logical_op_ = NewValue; }

  // The field compared.
  std::string GetFieldName() const { return field_name_; }
  void SetFieldName(const std::string& NewValue) { field_name_ = NewValue; }

  // The operator as hosts show it.
  std::string GetOpDisplay() const { return op_display_; }
  void SetOpDisplay(const std::string& NewValue) { op_display_ = NewValue; }

  // The operator as the statement has it.
  std::string GetOpSql() const { return op_sql_; }
  void SetOpSql(const std::string& NewValue) { op_sql_ = NewValue; }

  // What the field is compared with.
  std::string GetValue() const { return value_; }
  void SetValue(const std::string& NewValue) { value_ = NewValue; }

  const automation::MemberTable& Members() const override;

 private:
  std::string logical_op_;
  std::string field_name_;
  std::string op_display_;
  std::string op_sql_;
  std::string value_;
};

// Conditions in the order in which the statement has them. A condition is keyed by its LogicalOp,
// FieldName, OpDisplay and Value together (letter case ignored), so that a field can have several.
// Item and Delete fail with error 5 or 9 for what is not there.
class PV_API CFilters : public automation::CollectionOf<CFilter> {
 public:
  static constexpr const char* kClassName = "CFilters";

  // Appends a condition and returns it; error 457, adding nothing, when there is one with the same
  // four texts.
  automation::Ref<CFilter> Add(const std::string& FieldName, const std::string& OpDisplay,
                               const std::string& OpSQL, const std::string& Value,
                               const std::string& LogicalOp);

  const automation::MemberTable& Members() const override;
};

}  // namespace pv::ado

#endif  // PVGROUPMAN_ADO_FILTERS_H_
