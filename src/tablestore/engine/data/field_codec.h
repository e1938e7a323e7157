// How field values stand in a record's bytes, and back. Null flags are the caller's.
#ifndef PV_TABLESTORE_ENGINE_DATA_FIELD_CODEC_H_
#define PV_TABLESTORE_ENGINE_DATA_FIELD_CODEC_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tablestore/engine/record_layout.h"

namespace pv::engine {

// `p` points to the field's bytes in every function below.

// Decimal text, right- or left-justified; 0 for blanks, asterisks and other text.
double DecodeNumber(const std::uint8_t* p, std::size_t length);

// Any field as a double: numbers as themselves, dates as their Julian day, text as a number.
double FieldAsDouble(const FieldLayout& f, const std::uint8_t* p);

// Any field as a 32-bit integer: a date gives its Julian day (0 when empty), numbers are rounded
// towards zero and clamped.
std::int32_t FieldAsLong(const FieldLayout& f, const std::uint8_t* p);

// Value times 10,000; exact for Y fields, rounded and clamped for others.
std::int64_t FieldAsCurrency(const FieldLayout& f, const std::uint8_t* p);

// T, t, Y and y are true, everything else false.
bool FieldAsTrue(const FieldLayout& f, const std::uint8_t* p);

// "yyyymmddhh:mm:ss", the time rounded to the nearest second; sixteen blanks when empty. A date
// field gives midnight.
std::string FieldAsDateTime(const FieldLayout& f, const std::uint8_t* p);

// Memo block number, binary or of ten digits by the field's length; 0 when there is none.
// Nothing when the digits are no number.
std::optional<std::uint32_t> DecodeMemoBlock(const FieldLayout& f, const std::uint8_t* p);
void EncodeMemoBlock(const FieldLayout& f, std::uint32_t block, std::uint8_t* p);

// Each writes the field's bytes and returns true, or returns false and leaves them as they were
// when the field cannot hold the value.
bool EncodeDouble(const FieldLayout& f, double value, std::uint8_t* p);
bool EncodeLong(const FieldLayout& f, std::int32_t value, std::uint8_t* p);  // Julian day for D, T
bool EncodeCurrency(const FieldLayout& f, std::int64_t ten_thousandths, std::uint8_t* p);
bool EncodeDateTime(const FieldLayout& f, std::string_view yyyymmddhhmmss, std::uint8_t* p);
// Text by the field's type: cut or padded for characters, read as a number, date or logical for
// the others.
bool EncodeText(const FieldLayout& f, std::string_view text, const CodePage& page, std::uint8_t* p);
bool EncodeUtf16(const FieldLayout& f, std::u16string_view text, const CodePage& page,
                 std::uint8_t* p);

// The field's bytes as they stand in a blank record.
void EncodeBlank(const FieldLayout& f, std::uint8_t* p);

// Decimal text to value times 10,000, rounded half away from zero; nothing when it is no number
// or out of range.
std::optional<std::int64_t> ParseCurrency(std::string_view text);

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_DATA_FIELD_CODEC_H_
