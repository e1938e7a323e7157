// Text in and out of the engine. Tested by field_access_test.cc.
#include "tablestore/field_access.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "base/bytes.h"
#include "base/text.h"
#include "platform/system.h"

namespace pv::tablestore {
namespace {

// Every page is ASCII in its lower half, so most text needs no decoding.
std::string Decoded(std::string_view bytes, const CodePage& page) {
  return IsAscii(bytes) ? std::string(bytes) : page.Decode(bytes);
}

std::string_view Bounded(const char* text) { return {text, strnlen(text, kEngineTextBytes)}; }

std::string_view FieldView(engine::Handle field) {
  const std::uint8_t* const bytes = engine::f4ptr(field);
  if (bytes == nullptr) return {};
  return {reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(engine::f4len_v(field))};
}

}  // namespace

std::string EngineText(const char* text) {
  if (text == nullptr) return {};
  std::string_view bytes = Bounded(text);
  if (bytes.size() == kEngineTextBytes) {
    // The cut may have gone through a character: leave its beginning out.
    std::size_t end = bytes.size();
    while (end > 0 && (static_cast<unsigned char>(bytes[end - 1]) & 0xC0) == 0x80) --end;
    if (end > 0 && static_cast<unsigned char>(bytes[end - 1]) >= 0xC0) {
      std::size_t pos = end - 1;
      if (DecodeUtf8(bytes, &pos) == kReplacementCharacter) bytes = bytes.substr(0, end - 1);
    }
  }
  return std::string(bytes);
}

std::string EngineText(const char* text, const CodePage& page) {
  return text == nullptr ? std::string() : Decoded(Bounded(text), page);
}

std::string EngineErrorText(engine::Handle session, std::int32_t code) {
  return EngineText(engine::error4text(session, code));
}

std::string FieldName(engine::Handle field, const CodePage& page) {
  return EngineText(engine::f4name(field), page);
}

std::string FieldText(engine::Handle field, const CodePage& page) {
  return Decoded(FieldView(field), page);
}

std::string_view FieldBytesTrimmed(engine::Handle field, std::int32_t width) {
  const std::uint8_t* const bytes = engine::f4ptr(field);
  if (bytes == nullptr) return {};
  return TrimRight({reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(width)});
}

std::string FieldDateTime(engine::Handle field) { return EngineText(engine::f4dateTime(field)); }

std::string DateText(std::int32_t julian) {
  std::array<char, 9> buffer{};
  engine::date4assignLow(buffer.data(), julian, 0);
  return {buffer.data(), 8};
}

void AssignText(engine::Handle field, std::string_view utf8, const CodePage& page) {
  if (IsAscii(utf8)) {
    engine::f4assignNVB(
        field, utf8, static_cast<std::int32_t>(std::min<std::size_t>(utf8.size(), kLongestMemo)));
    return;
  }
  const std::string bytes = page.Encode(utf8);
  engine::f4assignNVB(field, bytes,
                      static_cast<std::int32_t>(std::min<std::size_t>(bytes.size(), kLongestMemo)));
}

void AssignUnicode(engine::Handle field, std::string_view utf8) {
  // u16string keeps the zero character behind its last one that the engine looks for.
  const std::u16string text = Utf16FromUtf8(utf8);
  engine::f4assignUnicode(field, text.c_str());
}

std::vector<std::uint8_t> FieldBytes(engine::Handle field) {
  const std::int32_t width = engine::f4len_v(field);
  if (width <= 0) return {};
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(width) + 1);
  const std::int32_t copied = engine::f4ncpy(field, bytes.data(), width + 1);
  bytes.resize(static_cast<std::size_t>(std::max<std::int32_t>(copied, 0)));
  return bytes;
}

std::string FieldUnicode(engine::Handle field) {
  const std::vector<std::uint8_t> bytes = FieldBytes(field);
  std::u16string text;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto unit = static_cast<char16_t>(LoadLe16(bytes.data() + i));
    if (unit == 0) break;
    text.push_back(unit);
  }
  return Utf8FromUtf16(text);
}

std::string MemoText(engine::Handle field, const CodePage& page) {
  const std::int64_t length = engine::f4memoLen(field);
  const std::uint8_t* const bytes = engine::f4memoPtr(field);
  if (length > kLongestMemo) {
    platform::CurrentSystem().process->ShowMessage(
        "Table Store Error",
        "Error #: -910\nUnexpected InformationThe memo entry is too long to return as a string."
        "Field Name:" +
            FieldName(field, page));
    return {};
  }
  if (bytes == nullptr || length <= 0) return {};
  return Decoded({reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length)}, page);
}

}  // namespace pv::tablestore
