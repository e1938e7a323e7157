// Reads and builds data file headers. Tested by data_header_test.cc.
#include "tablestore/engine/data/data_header.h"

#include <algorithm>
#include <set>

#include "base/bytes.h"
#include "base/text.h"
#include "tablestore/engine/error_codes.h"

namespace pv::engine {
namespace {

constexpr std::uint8_t kFieldHidden = 0x01;
constexpr std::uint8_t kFieldNullable = 0x02;
constexpr std::uint8_t kFieldBinary = 0x04;
constexpr std::uint8_t kFieldAutoIncrement = 0x08;

Status NotATable(const std::string& path, const std::string& why) {
  return {StatusCode::kCorrupt, path + " is not a table: " + why, kErrNotTable};
}

Status Damaged(const std::string& path, const std::string& why) {
  return {StatusCode::kCorrupt, path + ": " + why, kErrDataDamaged};
}

bool IsKnownVersion(std::uint8_t v) {
  return v == 0x03 || v == 0x30 || v == 0x31 || v == 0x32 || v == 0xF5;
}

bool IsVisual(std::uint8_t v) { return v >= 0x30 && v <= 0x32; }

std::string Hex(unsigned value) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  return std::string("0x") + kDigits[value >> 4 & 15] + kDigits[value & 15];
}

// Checks one field's width against its type; an empty string when they go together.
std::string WidthFault(const FieldLayout& f, bool visual) {
  const auto letter = static_cast<char>(f.type);
  std::size_t least = 1;
  std::size_t most = 65'535;
  switch (f.type) {
    case FieldLetter::kInteger:
      least = most = 4;
      break;
    case FieldLetter::kDouble:
    case FieldLetter::kCurrency:
    case FieldLetter::kDate:
    case FieldLetter::kDateTime:
      least = most = 8;
      break;
    case FieldLetter::kLogical:
      least = most = 1;
      break;
    case FieldLetter::kMemo:
    case FieldLetter::kMemoBinary:
    case FieldLetter::kGeneral:
    case FieldLetter::kPicture:
      least = most = visual ? 4 : 10;
      break;
    case FieldLetter::kNumeric:
    case FieldLetter::kFloat:
      most = 255;
      break;
    default:
      break;
  }
  if (f.length >= least && f.length <= most) return {};
  return "field " + f.name + " of type " + letter + " has the length " + std::to_string(f.length);
}

}  // namespace

std::uint16_t FixedWidthOf(char letter) {
  switch (letter) {
    case 'I':
    case 'M':
    case 'X':
    case 'G':
      return 4;
    case 'B':
    case 'Y':
    case 'D':
    case 'T':
      return 8;
    case 'L':
      return 1;
    default:
      return 0;
  }
}

Result<std::uint32_t> HeaderLengthOf(std::string_view first, const std::string& path) {
  if (first.empty()) return NotATable(path, "the file is empty");
  const auto version = static_cast<std::uint8_t>(first[0]);
  if (!IsKnownVersion(version)) return NotATable(path, "its first byte is " + Hex(version));
  if (first.size() < kHeaderFixedSize) return Damaged(path, "the header is cut short");
  const std::uint32_t length = LoadLe16(first.data() + 8);
  const std::uint32_t least = kHeaderFixedSize + kDescriptorSize + 1;
  if (length < least) {
    return Damaged(path, "the header length is " + std::to_string(length));
  }
  return length;
}

Result<DataHeader> ParseDataHeader(std::string_view bytes, const std::string& path,
                                   const std::shared_ptr<const CodePage>& page) {
  PV_ASSIGN_OR_RETURN(const std::uint32_t header_length, HeaderLengthOf(bytes, path));
  if (bytes.size() < header_length) return Damaged(path, "the header is cut short");
  DataHeader h;
  const auto version = static_cast<std::uint8_t>(bytes[0]);
  const bool visual = IsVisual(version);
  h.version = static_cast<TableVersion>(version);
  h.record_count = LoadLe32(bytes.data() + kHeaderCountOffset);
  h.header_length = header_length;
  h.flags = static_cast<std::uint8_t>(bytes[28]);
  h.code_page_mark = static_cast<std::uint8_t>(bytes[29]);
  h.layout.record_length = LoadLe16(bytes.data() + 10);
  h.layout.page = page;

  std::uint32_t next_offset = 1;
  std::uint16_t next_bit = 0;
  std::set<std::string> names;
  std::size_t at = kHeaderFixedSize;
  for (;; at += kDescriptorSize) {
    if (at >= header_length) return Damaged(path, "the field list has no end");
    if (static_cast<std::uint8_t>(bytes[at]) == kHeaderTerminator) break;
    if (at + kDescriptorSize > header_length) return Damaged(path, "the field list has no end");
    const std::string_view d = bytes.substr(at, kDescriptorSize);
    FieldLayout f;
    f.descriptor_offset = static_cast<std::uint32_t>(at);
    const std::string_view raw_name = d.substr(0, 11);
    f.name =
        ToUpper(std::string(raw_name.substr(0, std::min(raw_name.find('\0'), raw_name.size()))));
    f.name = std::string(TrimRight(f.name));
    if (f.name.empty()) {
      return Damaged(path, "field " + std::to_string(at / kDescriptorSize) + " has no name");
    }
    const char letter = d[11];
    const auto flags = static_cast<std::uint8_t>(visual ? d[18] : 0);
    const std::uint32_t stored_offset = LoadLe32(d.data() + 12);
    f.length = static_cast<std::uint8_t>(d[16]);
    f.decimals = static_cast<std::uint8_t>(d[17]);
    // Old programs keep the high byte of a long character field's length in the decimals.
    if (!visual && letter == 'C') {
      f.length = static_cast<std::uint16_t>(f.length + f.decimals * 256);
      f.decimals = 0;
    }
    f.offset = next_offset;
    if (visual && stored_offset != 0 && stored_offset != next_offset) {
      return Damaged(path, "field " + f.name + " stands at offset " +
                               std::to_string(stored_offset) + " instead of " +
                               std::to_string(next_offset));
    }
    next_offset += f.length;
    if (next_offset > h.layout.record_length) {
      return Damaged(path, "the fields are longer than the record length of " +
                               std::to_string(h.layout.record_length));
    }
    if (letter == '0') {
      if ((flags & kFieldHidden) == 0) return Damaged(path, "field " + f.name + " has the type 0");
      h.has_null_flags = true;
      h.layout.null_flags_offset = f.offset;
      h.layout.null_flags_length = f.length;
      continue;
    }
    if ((flags & kFieldHidden) != 0) {
      return Damaged(path, "field " + f.name + " is marked as hidden, but is no system field");
    }
    const bool binary = (flags & kFieldBinary) != 0;
    if (letter == 'C' && binary) {
      f.type = FieldLetter::kCharacterBinary;
    } else if (letter == 'M' && binary) {
      f.type = FieldLetter::kMemoBinary;
    } else if (std::string_view("CNFDLIYBTMGPWVQ").find(letter) != std::string_view::npos) {
      f.type = static_cast<FieldLetter>(letter);
    } else {
      const auto code = static_cast<std::uint8_t>(letter);
      return Damaged(path, "field " + f.name + " has the unknown type " + Hex(code));
    }
    if (f.type == FieldLetter::kVarchar || f.type == FieldLetter::kVarbinary) {
      f.length_bit = next_bit++;
    }
    f.nullable = (flags & kFieldNullable) != 0;
    if (f.nullable) f.null_bit = next_bit++;
    f.auto_increment = (flags & kFieldAutoIncrement) != 0;
    h.has_auto_increment = h.has_auto_increment || f.auto_increment;
    if (std::string fault = WidthFault(f, visual); !fault.empty()) return Damaged(path, fault);
    if (!names.insert(f.name).second) {
      return Damaged(path, "field " + f.name + " is there twice");
    }
    h.layout.fields.push_back(std::move(f));
  }
  if (h.layout.fields.empty()) return Damaged(path, "there are no fields");
  if (next_offset != h.layout.record_length) {
    return Damaged(path, "the record length is " + std::to_string(h.layout.record_length) +
                             ", but the fields add up to " + std::to_string(next_offset));
  }
  const std::size_t descriptors_end = at + 1 + (visual ? kBacklinkSize : 0);
  if (header_length < descriptors_end) {
    return Damaged(path, "the header length of " + std::to_string(header_length) +
                             " is too short for the fields");
  }
  if (next_bit > h.layout.null_flags_length * 8) {
    return Damaged(path, "the null flags are too short for the fields that accept nulls");
  }
  return h;
}

Result<std::string> BuildDataHeader(const std::vector<NewField>& fields, bool structural_index,
                                    int code_page, const CivilDate& today) {
  const auto limit = [](const NewField& f, const std::string& what) {
    return Status(StatusCode::kLimit, "field " + f.name + ": " + what, kErrFieldLimit);
  };
  if (fields.empty()) {
    return Status(StatusCode::kLimit, "a table needs at least one field", kErrFieldLimit);
  }
  if (fields.size() > kMaxFields) {
    return Status(StatusCode::kLimit,
                  "a table can have " + std::to_string(kMaxFields) + " fields, not " +
                      std::to_string(fields.size()),
                  kErrFieldLimit);
  }
  std::set<std::string> names;
  std::string descriptors;
  std::uint32_t offset = 1;
  std::size_t nullable_count = 0;
  bool memo = false;
  const auto add = [&](const std::string& name, char letter, std::uint16_t length,
                       std::uint16_t decimals, std::uint8_t flags) {
    std::string d(kDescriptorSize, '\0');
    std::copy(name.begin(), name.end(), d.begin());
    d[11] = letter;
    StoreLe32(d.data() + 12, offset);
    d[16] = static_cast<char>(length);
    d[17] = static_cast<char>(decimals);
    d[18] = static_cast<char>(flags);
    descriptors += d;
    offset += length;
  };
  for (const NewField& f : fields) {
    const std::string name = ToUpper(f.name);
    if (name.empty() || name.size() > kMaxNameLength) {
      return limit(f, "a name has 1 to " + std::to_string(kMaxNameLength) + " characters");
    }
    const auto is_letter = [](char c) {
      return (c >= 'A' && c <= 'Z') || static_cast<unsigned char>(c) >= 0x80;
    };
    const auto is_name = [&](char c) { return is_letter(c) || c == '_' || (c >= '0' && c <= '9'); };
    if (!(is_letter(name[0]) || name[0] == '_') ||
        !std::all_of(name.begin(), name.end(), is_name)) {
      return limit(f, "a name begins with a letter and has only letters, digits and underscores");
    }
    if (name == "_NULLFLAGS" || !names.insert(name).second) {
      return limit(f, "the name is taken");
    }
    if (std::string_view("CZWNFDLIYBTMXG").find(f.letter) == std::string_view::npos) {
      return Status(StatusCode::kInvalid, "field " + f.name + ": there is no such field type",
                    kErrFieldType);
    }
    std::uint16_t length = FixedWidthOf(f.letter);
    std::uint16_t decimals = f.decimals;
    if (length == 0) {
      length = f.length;
      const bool numeric = f.letter == 'N' || f.letter == 'F';
      const std::size_t most = numeric ? kMaxNumericLength : kMaxCharacterLength;
      if (length < 1 || length > most) {
        return limit(
            f, "the length is 1 to " + std::to_string(most) + ", not " + std::to_string(length));
      }
      if (!numeric) decimals = 0;
      if (numeric && decimals > 0 && decimals + 2 > length) {
        return limit(f, std::to_string(decimals) + " decimals do not fit a length of " +
                            std::to_string(length));
      }
    } else if (f.letter == 'Y') {
      decimals = 4;
    } else if (f.letter != 'B') {
      decimals = 0;
    }
    if (decimals > 18) return limit(f, "there are at most 18 decimals");
    std::uint8_t flags = f.nullable ? kFieldNullable : 0;
    char letter = f.letter;
    if (letter == 'Z') letter = 'C', flags |= kFieldBinary;
    if (letter == 'X') letter = 'M', flags |= kFieldBinary;
    if (f.letter == 'I' || f.letter == 'Y' || f.letter == 'B' || f.letter == 'T' ||
        f.letter == 'W') {
      flags |= kFieldBinary;
    }
    memo = memo || f.letter == 'M' || f.letter == 'X' || f.letter == 'G';
    if (f.nullable) ++nullable_count;
    add(name, letter, length, decimals, flags);
  }
  if (nullable_count > 0) {
    add("_NullFlags", '0', static_cast<std::uint16_t>((nullable_count + 7) / 8), 0,
        kFieldHidden | kFieldBinary);
  }
  if (offset > kMaxRecordLength) {
    return Status(StatusCode::kLimit,
                  "a record can have " + std::to_string(kMaxRecordLength) + " bytes, not " +
                      std::to_string(offset),
                  kErrFieldLimit);
  }
  const std::size_t header_length = kHeaderFixedSize + descriptors.size() + 1 + kBacklinkSize;
  std::string out(kHeaderFixedSize, '\0');
  out[0] = static_cast<char>(TableVersion::kVisual);
  out[1] = static_cast<char>(today.year % 100);
  out[2] = static_cast<char>(today.month);
  out[3] = static_cast<char>(today.day);
  StoreLe16(out.data() + 8, static_cast<std::uint16_t>(header_length));
  StoreLe16(out.data() + 10, static_cast<std::uint16_t>(offset));
  out[28] =
      static_cast<char>((structural_index ? kFlagStructuralIndex : 0) | (memo ? kFlagMemo : 0));
  out[29] = static_cast<char>(MarkFromCodePage(code_page));
  out += descriptors;
  out += static_cast<char>(kHeaderTerminator);
  out.append(kBacklinkSize, '\0');
  out += static_cast<char>(kEndOfFileMark);
  return out;
}

}  // namespace pv::engine
