// The data file's header: version, record count, field descriptors. Parsed with every number
// checked, and built for new tables. The format is described in docs/data-file.md.
#ifndef PV_TABLESTORE_ENGINE_DATA_DATA_HEADER_H_
#define PV_TABLESTORE_ENGINE_DATA_DATA_HEADER_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/date.h"
#include "base/status.h"
#include "tablestore/engine/record_layout.h"

namespace pv::engine {

// First byte of the file. On disk: never change.
enum class TableVersion : std::uint8_t {
  kFoxBasePlus = 0x03,
  kVisual = 0x30,
  kVisualAutoIncrement = 0x31,
  kVisualVarchar = 0x32,
  kFoxPro2Memo = 0xF5,
};

// Offsets in the first 32 bytes. On disk: never change.
constexpr std::size_t kHeaderFixedSize = 32;
constexpr std::uint64_t kHeaderDateOffset = 1;
constexpr std::uint64_t kHeaderCountOffset = 4;
constexpr std::size_t kDescriptorSize = 32;
constexpr std::size_t kBacklinkSize = 263;
constexpr std::uint8_t kHeaderTerminator = 0x0D;
constexpr std::uint8_t kEndOfFileMark = 0x1A;

constexpr std::uint8_t kFlagStructuralIndex = 0x01;
constexpr std::uint8_t kFlagMemo = 0x02;

// Limits of the tables that we create and open.
constexpr std::size_t kMaxFields = 255;
constexpr std::size_t kMaxNameLength = 10;
constexpr std::size_t kMaxCharacterLength = 254;
constexpr std::size_t kMaxNumericLength = 20;
constexpr std::uint32_t kMaxRecordLength = 65'500;

struct DataHeader {
  TableVersion version = TableVersion::kVisual;
  std::uint32_t record_count = 0;  // as the header says
  std::uint32_t header_length = 0;
  std::uint8_t flags = 0;
  std::uint8_t code_page_mark = 0;
  RecordLayout layout;
  bool has_null_flags = false;
  bool has_auto_increment = false;

  std::uint64_t RecordOffset(std::uint32_t record_number) const {
    return header_length + std::uint64_t{record_number - 1} * layout.record_length;
  }
};

// How many bytes of the file Parse needs, from its first 32: the header length. kCorrupt with
// detail kErrNotTable when the first bytes are no table's.
Result<std::uint32_t> HeaderLengthOf(std::string_view first_bytes, const std::string& path);

// Parses a whole header. `page` is used when the mark names no page. The record count is taken as
// it stands: the file's size is the caller's to compare.
Result<DataHeader> ParseDataHeader(std::string_view bytes, const std::string& path,
                                   const std::shared_ptr<const CodePage>& page);

// A field of a table to be created. Names and lengths are checked by BuildDataHeader.
struct NewField {
  std::string name;
  char letter = 'C';
  std::uint16_t length = 0;
  std::uint16_t decimals = 0;
  bool nullable = false;
};

// The header bytes of a new, empty table of version 0x30, end-of-file mark included. kLimit (with
// detail kErrFieldLimit) names the field and the limit; kInvalid (kErrFieldType) the letter.
Result<std::string> BuildDataHeader(const std::vector<NewField>& fields, bool structural_index,
                                    int code_page, const CivilDate& today);

// The width that a letter has whatever is asked for; 0 when the width is the caller's.
std::uint16_t FixedWidthOf(char letter);

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_DATA_DATA_HEADER_H_
