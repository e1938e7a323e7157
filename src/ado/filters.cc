// CFilter and CFilters. Tested by filters_test.cc.
#include "pvgroupman/ado/filters.h"

#include "pvgroupman/automation/member_table.h"

namespace pv::ado {

const automation::MemberTable& CFilter::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Property("LogicalOp", &CFilter::GetLogicalOp, &CFilter::SetLogicalOp)
          .Property("FieldName", &CFilter::GetFieldName, &CFilter::SetFieldName)
          .Property("OpDisplay", &CFilter::GetOpDisplay, &CFilter::SetOpDisplay)
          .Property("OpSQL", &CFilter::GetOpSql, &CFilter::SetOpSql)
          .Property("Value", &CFilter::GetValue, &CFilter::SetValue);
  return table;
}

automation::Ref<CFilter> CFilters::Add(const std::string& FieldName, const std::string& OpDisplay,
                                       const std::string& OpSQL, const std::string& Value,
                                       const std::string& LogicalOp) {
  const automation::Ref<CFilter> filter = automation::MakeObject<CFilter>();
  filter->SetFieldName(FieldName);
  filter->SetOpDisplay(OpDisplay);
  filter->SetOpSql(OpSQL);
  filter->SetValue(Value);
  filter->SetLogicalOp(LogicalOp);
  // The separator keeps "a" and "bc" apart from "ab" and "c".
  constexpr char kBetween = '\x1F';
  items_.Add(LogicalOp + kBetween + FieldName + kBetween + OpDisplay + kBetween + Value, filter);
  return filter;
}

const automation::MemberTable& CFilters::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Method("Add", &CFilters::Add, {"FieldName", "OpDisplay", "OpSQL", "Value", "LogicalOp"})
          .Get("Count", &CFilters::Count)
          .Method("Delete", &CFilters::Delete, {"Index"})
          .Default("Item", &CFilters::Item, {"Index"})
          .Enumerator("NewEnum", &CFilters::NewEnum);
  return table;
}

}  // namespace pv::ado
