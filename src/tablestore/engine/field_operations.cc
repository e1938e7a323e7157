// The flat operations on fields of the record buffer. Tested by operations_test.cc.
#include <algorithm>
#include <array>
#include <cstring>

#include "base/text.h"
#include "tablestore/engine/data/field_codec.h"
#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/handles.h"
#include "tablestore/engine/operations.h"
#include "tablestore/engine/session.h"
#include "tablestore/engine/table.h"

namespace pv::engine {
namespace {

struct FieldRef {
  Table* table;
  std::size_t index;
  const FieldLayout* layout;

  const std::uint8_t* bytes() const { return table->record() + layout->offset; }
  std::uint8_t* room() const { return table->Edit() + layout->offset; }
  bool is_memo() const { return layout->is_memo(); }
  bool is_var_length() const { return layout->is_var_length(); }
};

bool FindField(Handle handle, FieldRef* field) {
  const auto* target = HandleRegistry::OfThisThread().Find(handle, HandleKind::kField);
  if (target == nullptr) return false;
  field->table = static_cast<Table*>(target->object);
  field->index = target->index;
  field->layout = &field->table->layout().fields[target->index];
  return true;
}

bool FindCurrentField(Handle handle, FieldRef* field) {
  return FindField(handle, field) && field->table->has_record();
}

void SetNullBit(const FieldRef& f, bool null) {
  if (!f.layout->nullable) return;
  std::uint8_t& byte =
      f.table->Edit()[f.table->layout().null_flags_offset + f.layout->null_bit / 8];
  const auto mask = static_cast<std::uint8_t>(1U << (f.layout->null_bit % 8));
  byte = static_cast<std::uint8_t>(null ? byte | mask : byte & ~mask);
}

// Used part of a var-length field.
std::string_view VarLengthText(const FieldRef& f) {
  const RecordLayout& layout = f.table->layout();
  const std::uint8_t* p = f.bytes();
  std::size_t used = f.layout->length;
  const std::uint8_t flags = f.table->record()[layout.null_flags_offset + f.layout->length_bit / 8];
  if ((flags >> (f.layout->length_bit % 8) & 1) != 0 && used > 0) {
    used = std::min<std::size_t>(p[used - 1], used - 1);
  }
  return {reinterpret_cast<const char*>(p), used};
}

// Text that f4ptr and f4dateTime return stays valid until the next such call on the thread.
thread_local std::array<char, 256> text_buffer;

void Refuse(const FieldRef& f, std::int32_t code, const std::string& why) {
  f.table->session()->Fail(
      {StatusCode::kInvalid, f.table->path() + ": field " + f.layout->name + ": " + why, code});
}

// Runs an assignment; a value that does not fit leaves an error pending.
template <typename Assign>
void AssignWith(Handle handle, const Assign& assign) {
  FieldRef f{};
  if (!FindCurrentField(handle, &f)) return;
  if (f.is_var_length()) {
    Refuse(f, kErrFieldReadOnly, "fields of its type can be read only");
  } else if (!assign(f)) {
    Refuse(f, kErrFieldValue, "the value does not fit");
  } else {
    SetNullBit(f, false);
  }
}

}  // namespace

std::int32_t f4type(Handle field) {
  FieldRef f{};
  if (!FindField(field, &f)) return 0;
  switch (f.layout->type) {
    case FieldLetter::kVarchar:
      return 'C';
    case FieldLetter::kVarbinary:
      return 'Z';
    case FieldLetter::kPicture:
      return 'G';
    default:
      return static_cast<char>(f.layout->type);
  }
}

const char* f4name(Handle field) {
  FieldRef f{};
  return FindField(field, &f) ? f.layout->name.c_str() : nullptr;
}

std::int32_t f4len_v(Handle field) {
  FieldRef f{};
  return FindField(field, &f) ? f.layout->length : 0;
}

std::int32_t f4decimals(Handle field) {
  FieldRef f{};
  return FindField(field, &f) ? f.layout->decimals : 0;
}

const std::uint8_t* f4ptr(Handle field) {
  FieldRef f{};
  if (!FindCurrentField(field, &f)) return nullptr;
  if (!f.is_var_length()) return f.bytes();
  const std::string_view used = VarLengthText(f);
  std::fill(text_buffer.begin(), text_buffer.end(), ' ');
  std::copy(used.begin(), used.end(), text_buffer.begin());
  return reinterpret_cast<const std::uint8_t*>(text_buffer.data());
}

std::int32_t f4ncpy(Handle field, void* buffer, std::int32_t size) {
  const std::uint8_t* p = f4ptr(field);
  if (p == nullptr || size <= 0) return 0;
  const std::int32_t n = std::min(size, f4len_v(field));
  std::memcpy(buffer, p, static_cast<std::size_t>(n));
  return n;
}

double f4double(Handle field) {
  FieldRef f{};
  return FindCurrentField(field, &f) ? FieldAsDouble(*f.layout, f.bytes()) : 0;
}

std::int64_t f4currency(Handle field) {
  FieldRef f{};
  return FindCurrentField(field, &f) ? FieldAsCurrency(*f.layout, f.bytes()) : 0;
}

std::int32_t f4long(Handle field) {
  FieldRef f{};
  return FindCurrentField(field, &f) ? FieldAsLong(*f.layout, f.bytes()) : 0;
}

std::int32_t f4true(Handle field) {
  FieldRef f{};
  return FindCurrentField(field, &f) && FieldAsTrue(*f.layout, f.bytes()) ? 1 : 0;
}

const char* f4dateTime(Handle field) {
  FieldRef f{};
  if (!FindCurrentField(field, &f)) return nullptr;
  const std::string text = FieldAsDateTime(*f.layout, f.bytes());
  std::memcpy(text_buffer.data(), text.c_str(), text.size() + 1);
  return text_buffer.data();
}

std::int32_t f4memoLen(Handle field) {
  FieldRef f{};
  if (!FindCurrentField(field, &f)) return 0;
  if (!f.is_memo()) return f.layout->length;
  const std::string* text = f.table->Memo(f.index);
  return text == nullptr ? 0 : static_cast<std::int32_t>(text->size());
}

const std::uint8_t* f4memoPtr(Handle field) {
  FieldRef f{};
  if (!FindCurrentField(field, &f)) return nullptr;
  if (!f.is_memo()) return f4ptr(field);
  const std::string* text = f.table->Memo(f.index);
  return text == nullptr ? nullptr : reinterpret_cast<const std::uint8_t*>(text->data());
}

std::int32_t f4nullable(Handle field) {
  FieldRef f{};
  return FindField(field, &f) && f.layout->nullable ? 1 : 0;
}

std::int32_t f4null(Handle field) {
  FieldRef f{};
  return FindCurrentField(field, &f) && f.table->layout().IsNull(*f.layout, f.table->record()) ? 1
                                                                                               : 0;
}

void f4assignNVB(Handle field, std::string_view text, std::int32_t length) {
  AssignWith(field, [&](const FieldRef& f) {
    const std::string_view used =
        text.substr(0, static_cast<std::size_t>(std::max<std::int32_t>(length, 0)));
    if (f.is_memo()) {
      f.table->AssignMemo(f.index, used);
      return true;
    }
    return EncodeText(*f.layout, used, *f.table->layout().page, f.room());
  });
}

void f4assignCharVB(Handle field, std::string_view text) {
  f4assignNVB(field, text,
              static_cast<std::int32_t>(std::min<std::size_t>(text.size(), 0x7FFFFFFF)));
}

void f4assignDouble(Handle field, double value) {
  AssignWith(field, [&](const FieldRef& f) { return EncodeDouble(*f.layout, value, f.room()); });
}

void f4assignCurrency(Handle field, std::string_view decimal_text) {
  AssignWith(field, [&](const FieldRef& f) {
    const auto value = ParseCurrency(decimal_text);
    return value && EncodeCurrency(*f.layout, *value, f.room());
  });
}

void f4assignLong(Handle field, std::int32_t value) {
  AssignWith(field, [&](const FieldRef& f) { return EncodeLong(*f.layout, value, f.room()); });
}

void f4assignDateTime(Handle field, std::string_view text) {
  AssignWith(field, [&](const FieldRef& f) { return EncodeDateTime(*f.layout, text, f.room()); });
}

void f4assignUnicode(Handle field, const char16_t* zero_terminated) {
  AssignWith(field, [&](const FieldRef& f) {
    return EncodeUtf16(*f.layout, std::u16string_view(zero_terminated), *f.table->layout().page,
                       f.room());
  });
}

std::int32_t f4memoAssign(Handle field, std::string_view bytes) {
  f4assignNVB(field, bytes,
              static_cast<std::int32_t>(std::min<std::size_t>(bytes.size(), 0x7FFFFFFF)));
  FieldRef f{};
  return FindField(field, &f) ? kSuccess : std::int32_t{kErrBadHandle};
}

void f4assignNull(Handle field) {
  FieldRef f{};
  if (!FindCurrentField(field, &f) || f.is_var_length()) return;
  if (f.is_memo()) {
    f.table->AssignMemo(f.index, {});
  } else {
    EncodeBlank(*f.layout, f.room());
  }
  SetNullBit(f, true);
}

}  // namespace pv::engine
