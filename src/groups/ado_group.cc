// ADO groups. Tested by ado_group_test.cc.
#include "groups/ado_group.h"

#include <exception>

#include "ado/secrets.h"
#include "base/text.h"
#include "groups/labelled.h"
#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/progid.h"

namespace pv::groups {

using automation::CallMember;
using automation::GetProperty;
using automation::Object;
using automation::Ref;
using automation::Value;

namespace {

// Where an ASCII word begins in a text, letter case ignored.
std::size_t FindWord(const std::string& text, const char* lower_word) {
  std::string lower = text;
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower.find(lower_word);
}

// The first seven characters of a statement, "select ".
constexpr std::size_t kSelectLength = 7;

std::string Condition(const ado::CFilter& filter) {
  const std::string name(TrimBlanks(filter.GetFieldName()));
  const std::string written = name.find(' ') == std::string::npos ? name : "`" + name + "` ";
  return written + " " + filter.GetOpSql() + " " + filter.GetValue();
}

std::string TableOf(const ado::CADOGroupProperties& properties, const std::string& table) {
  return properties.GetLeftBrace() + table + properties.GetRightBrace();
}

}  // namespace

std::string CountRewrite(const std::string& sql) {
  const std::size_t from = FindWord(sql, "from");
  if (from == std::string::npos || FindWord(sql, "select") == std::string::npos) return {};
  // What stands between "select " and the blank before "from".
  std::string column;
  if (from > kSelectLength) column = sql.substr(kSelectLength, from - 1 - kSelectLength);
  column = TrimBlanks(column.substr(0, column.find(',')));
  return sql.substr(0, kSelectLength) + " count(" + column + ") " + sql.substr(from);
}

std::string BuildSql(ado::CADOGroupProperties* properties, bool count_only) {
  return Labelled("Groups::BuildSQL - ", [&]() -> std::string {
    if (properties == nullptr) automation::RaiseObjectNotSet();
    if (properties->GetFilterMethod() != 0) {
      return count_only ? CountRewrite(properties->GetSql()) : properties->GetSql();
    }
    const std::string table(TrimBlanks(properties->GetTable()));
    if (table.empty()) return {};
    std::string conditions;
    const Ref<ado::CFilters> filters = properties->GetFilters();
    for (std::int32_t i = 1; i <= filters->Count(); ++i) {
      const Ref<ado::CFilter> filter = filters->Item(i);
      if (!conditions.empty()) conditions += " " + filter->GetLogicalOp() + " ";
      conditions += Condition(*filter);
    }
    return std::string("select ") + (count_only ? "count(*)" : "*") + " from " +
           TableOf(*properties, table) + (conditions.empty() ? "" : " where " + conditions);
  });
}

void ConnectAdo(const Ref<Object>& connection, const ado::CDataSource& source) {
  try {
    automation::PutProperty(connection, "CursorLocation", source.GetCursorLocation());
    CallMember(connection, "Open",
               {source.GetConnectionString(), "", "", source.GetConnectOptions()});
  } catch (...) {
    const automation::Error error = automation::CurrentError();
    throw automation::Error(error.number(), error.source(),
                            ado::WithoutSecrets(error.description(), source.GetConnectionString()));
  }
}

void OpenAdoRecordset(const Ref<Object>& recordset, const Ref<Object>& connection,
                      const ado::CDataSource& source, ado::CADOGroupProperties* properties) {
  std::string what;
  std::int32_t options = kAdoCommandText;
  if (properties->GetFilterMethod() != 0) {
    what = properties->GetSql();
    options = source.GetRecordSetOptions();
  } else if (properties->GetFilters()->Count() > 0) {
    what = BuildSql(properties, false);
  } else {
    what = TableOf(*properties, properties->GetTable());
    options = kAdoTable;
  }
  CallMember(recordset, "Open",
             {what, connection, source.GetCursorType(), source.GetLockType(), options});
}

Value CountAdo(const Ref<Object>& connection, const std::string& count_sql) {
  const Ref<Object> counter = automation::CreateObject("ADODB.Recordset");
  CallMember(counter, "Open",
             {count_sql, connection, kAdoForwardOnly, kAdoReadOnly, kAdoCommandText});
  CallMember(counter, "MoveFirst");
  const Ref<Object> fields = GetProperty(counter, "Fields").ToObject();
  const Value count =
      GetProperty(CallMember(fields, "Item", {std::int32_t{0}}).ToObject(), "Value");
  CallMember(counter, "Close");
  return count;
}

void CloseAdo(const Ref<Object>& object) {
  if (!object) return;
  if ((GetProperty(object, "State").ToI4() & kAdoStateOpen) != 0) CallMember(object, "Close");
}

PVGroupFieldType TypeOfAdo(std::int32_t type) {
  switch (type) {
    case 2:    // adSmallInt
    case 3:    // adInteger
    case 4:    // adSingle
    case 5:    // adDouble
    case 9:    // adIDispatch
    case 14:   // adDecimal
    case 16:   // adTinyInt
    case 17:   // adUnsignedTinyInt
    case 18:   // adUnsignedSmallInt
    case 19:   // adUnsignedInt
    case 20:   // adBigInt
    case 21:   // adUnsignedBigInt
    case 131:  // adNumeric
      return PVGroupFieldType::kNumber;
    case 6:  // adCurrency
      return PVGroupFieldType::kCurrency;
    case 7:    // adDate
    case 133:  // adDBDate
      return PVGroupFieldType::kDate;
    case 134:  // adDBTime
    case 135:  // adDBTimeStamp
      return PVGroupFieldType::kDateTime;
    case 11:  // adBoolean
      return PVGroupFieldType::kBoolean;
    default:
      return PVGroupFieldType::kText;
  }
}

bool IsAutoIncrement(const Ref<Object>& field) {
  const Ref<Object> properties = GetProperty(field, "Properties").ToObject();
  Ref<Object> property;
  try {
    property = CallMember(properties, "Item", {"IsAutoIncrement"}).ToObject();
  } catch (const automation::Error& error) {
    // A provider that does not know the property has no such columns.
    if (error.number() != kAdoNoSuchItem) throw;
    return false;
  }
  const Value value = GetProperty(property, "Value");
  return !value.IsNull() && value.ToBoolean();
}

}  // namespace pv::groups
