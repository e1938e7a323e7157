// JSON through rapidjson, with its narrow string interface spelled once.
#ifndef PV_CLI_OUTPUT_JSON_TEXT_H_
#define PV_CLI_OUTPUT_JSON_TEXT_H_

#include <rapidjson/rapidjson.h>

#include <string_view>

#include "cli/output/listing.h"

namespace pv::cli {

// Whether `text` is a number as JSON writes numbers.
bool IsJsonNumber(std::string_view text);

template <typename Writer>
void JsonKey(Writer* writer, std::string_view name) {
  writer->Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
}

template <typename Writer>
void JsonText(Writer* writer, std::string_view text) {
  writer->String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

template <typename Writer>
void JsonCell(Writer* writer, const Cell& cell) {
  switch (cell.kind) {
    case CellKind::kNone:
      writer->Null();
      return;
    case CellKind::kBoolean:
      writer->Bool(cell.text == "true");
      return;
    case CellKind::kNumber:
      if (IsJsonNumber(cell.text)) {
        writer->RawValue(cell.text.data(), cell.text.size(), rapidjson::kNumberType);
        return;
      }
      break;
    case CellKind::kText:
      break;
  }
  JsonText(writer, cell.text);
}

}  // namespace pv::cli

#endif  // PV_CLI_OUTPUT_JSON_TEXT_H_
