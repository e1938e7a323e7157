// Field, Fields, Property and Properties: the columns of a recordset as its hosts see them.
#ifndef PV_PROVIDERS_ADODB_FIELDS_H_
#define PV_PROVIDERS_ADODB_FIELDS_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "providers/adodb/columns.h"
#include "providers/adodb/named_list.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/value.h"

namespace pv::adodb {

// Where a field's value is.
class FieldSource {
 public:
  virtual automation::Value FieldValue(std::size_t column) = 0;
  virtual void SetFieldValue(std::size_t column, const automation::Value& value) = 0;

 protected:
  ~FieldSource() = default;
};

// A named value that can be read only.
class Property : public automation::Object {
 public:
  static constexpr const char* kClassName = "Property";
  Property(std::string name, automation::Value value)
      : name_(std::move(name)), value_(std::move(value)) {}
  std::string GetName() const { return name_; }
  automation::Value GetValue() const { return value_; }
  std::int32_t GetType() const;
  std::int32_t GetAttributes() const { return 0x200; }  // can be read
  const automation::MemberTable& Members() const override;

 private:
  std::string name_;
  automation::Value value_;
};

class Properties : public NamedList<Property> {
 public:
  static constexpr const char* kClassName = "Properties";
  explicit Properties(const Column& column);
  const automation::MemberTable& Members() const override;
};

// One column. Its value is that of the current row, whichever that is; once its recordset is
// closed it has none (error 3704).
class Field : public automation::Object {
 public:
  static constexpr const char* kClassName = "Field";
  Field(FieldSource* source, Column column, std::size_t position)
      : source_(source), column_(std::move(column)), position_(position) {}

  automation::Value GetValue() const;
  void SetValue(const automation::Value& value);
  std::string GetName() const { return column_.name; }
  std::int32_t GetType() const { return column_.ado_type; }
  std::int32_t GetDefinedSize() const { return column_.defined_size; }
  // Bytes of the current value as ADO counts them: two for each unit of text.
  std::int32_t GetActualSize() const;
  std::int16_t GetNumericScale() const { return column_.scale; }
  std::int16_t GetPrecision() const { return column_.precision; }
  std::int32_t GetAttributes() const { return column_.Attributes(); }
  automation::Ref<Properties> GetProperties();
  const automation::MemberTable& Members() const override;

  void Detach() { source_ = nullptr; }

 private:
  FieldSource* Source() const;

  FieldSource* source_;
  Column column_;
  std::size_t position_;
  automation::Ref<Properties> properties_;
};

class Fields : public NamedList<Field> {
 public:
  static constexpr const char* kClassName = "Fields";
  Fields() = default;
  void Fill(FieldSource* source, const std::vector<Column>& columns);
  void Clear();
  const automation::MemberTable& Members() const override;
};

}  // namespace pv::adodb

#endif  // PV_PROVIDERS_ADODB_FIELDS_H_
