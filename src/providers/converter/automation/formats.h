// The list of formats as automation objects; converter.h shows their use.
#ifndef PV_PROVIDERS_CONVERTER_AUTOMATION_FORMATS_H_
#define PV_PROVIDERS_CONVERTER_AUTOMATION_FORMATS_H_

#include <cstdint>
#include <string>

#include "providers/converter/open_book.h"
#include "pvgroupman/automation/enumerator.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/value.h"

namespace pv::converter {

class ConverterFormat : public automation::Object {
 public:
  static constexpr const char* kClassName = "Format";
  explicit ConverterFormat(const Format& format) : format_(format) {}

  std::string GetId() const { return format_.code; }
  std::string GetName() const { return format_.name; }
  // There is a reader for the format.
  bool GetIsImportAvailable() const { return format_.open != nullptr; }
  // The reader has what it needs on this machine.
  bool GetIsApplicationInstalled() const { return format_.available().ok(); }
  // Why it has not; "" when it has.
  std::string GetReason() const { return format_.available().message(); }

  const automation::MemberTable& Members() const override;

 private:
  const Format& format_;
};

// Positions count from 0.
class ConverterFormats : public automation::Object {
 public:
  static constexpr const char* kClassName = "Formats";

  std::int32_t GetCount() const;
  automation::Ref<ConverterFormat> Item(std::int32_t Index) const;
  automation::Ref<automation::Enumerator> NewEnum() const;

  const automation::MemberTable& Members() const override;
};

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_AUTOMATION_FORMATS_H_
