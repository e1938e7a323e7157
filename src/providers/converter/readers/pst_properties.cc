// Reads the properties of items. Tested by pst_book_test.cc.
#include "providers/converter/readers/pst_properties.h"

#include <memory>

#include "base/bytes.h"
#include "platform/system.h"
#include "providers/converter/text/decode.h"

namespace pv::converter {
namespace {

constexpr std::string_view kAddressSet(
    "\x04\x20\x06\x00\x00\x00\x00\x00\xC0\x00\x00\x00\x00\x00\x00\x46", 16);
constexpr std::string_view kStringsSet(
    "\x29\x03\x02\x00\x00\x00\x00\x00\xC0\x00\x00\x00\x00\x00\x00\x46", 16);
constexpr std::uint32_t kMessageCodePage = 0x3FFD;

// Several values of no fixed size: their count, where each begins, and the values. The library
// gives the count as nought, so it is taken from where the first value begins.
std::vector<std::string> SplitValues(std::string_view bytes, std::uint32_t type) {
  std::vector<std::string> values;
  if ((type != 0x01E && type != 0x01F && type != 0x102) || bytes.size() < 8) return values;
  const std::size_t first = LoadLe32(bytes.data() + 4);
  if (first < 8 || first % 4 != 0 || first > bytes.size()) return values;
  for (std::size_t at = 4; at < first; at += 4) {
    const std::size_t start = LoadLe32(bytes.data() + at);
    const std::size_t end = at + 4 < first ? LoadLe32(bytes.data() + at + 4) : bytes.size();
    if (start < first || start > end || end > bytes.size()) break;
    values.emplace_back(bytes.substr(start, end - start));
  }
  return values;
}

// No value of a contact that we want is longer.
constexpr std::size_t kLongestValue = std::size_t{1} << 20;

}  // namespace

bool PstProperties::ReadEntry(const PffLibrary* library, libpff_record_entry_t* entry,
                              PstProperty* property) {
  if (library->record_entry_get_entry_type(entry, &property->id, nullptr) != 1 ||
      library->record_entry_get_value_type(entry, &property->type, nullptr) != 1) {
    return false;
  }
  libpff_name_to_id_map_entry_t* name = nullptr;  // belongs to the file
  if (library->record_entry_get_name_to_id_map_entry(entry, &name, nullptr) == 1 &&
      name != nullptr) {
    std::uint8_t guid[16] = {};
    std::uint8_t kind = 0;
    if (library->name_to_id_map_entry_get_guid(name, guid, sizeof guid, nullptr) != 1 ||
        library->name_to_id_map_entry_get_type(name, &kind, nullptr) != 1) {
      return false;
    }
    const std::string_view set(reinterpret_cast<const char*>(guid), sizeof guid);
    property->set = set == kAddressSet   ? PstSet::kAddress
                    : set == kStringsSet ? PstSet::kStrings
                                         : PstSet::kOther;
    std::size_t size = 0;
    if (kind == LIBPFF_NAME_TO_ID_MAP_ENTRY_TYPE_NUMERIC) {
      library->name_to_id_map_entry_get_number(name, &property->id, nullptr);
    } else if (library->name_to_id_map_entry_get_utf8_string_size(name, &size, nullptr) == 1 &&
               size > 0 && size <= 1024) {
      std::string text(size, '\0');
      if (library->name_to_id_map_entry_get_utf8_string(
              name, reinterpret_cast<std::uint8_t*>(text.data()), size, nullptr) == 1) {
        property->name = text.c_str();
      }
      property->id = 0;
    }
  }
  std::size_t size = 0;
  if (library->record_entry_get_data_size(entry, &size, nullptr) != 1 || size > kLongestValue) {
    return false;
  }
  std::string value(size, '\0');
  if (size > 0 && library->record_entry_get_data(
                      entry, reinterpret_cast<std::uint8_t*>(value.data()), size, nullptr) != 1) {
    return false;
  }
  if ((property->type & 0x1000) == 0) {
    property->values.push_back(std::move(value));
  } else {
    property->values = SplitValues(value, property->type & 0xFFF);
  }
  return true;
}

bool PstProperties::Read(const PffLibrary* library, libpff_item_t* item) {
  properties_.clear();
  int sets = 0;
  if (library->item_get_number_of_record_sets(item, &sets, nullptr) != 1 || sets < 1) return false;
  PffRecordSet set(library);
  int count = 0;
  if (library->item_get_record_set_by_index(item, 0, set.out(), nullptr) != 1 ||
      library->record_set_get_number_of_entries(set.get(), &count, nullptr) != 1) {
    return false;
  }
  for (int i = 0; i < count; ++i) {
    PffEntry entry(library);
    PstProperty property;
    if (library->record_set_get_entry_by_index(set.get(), i, entry.out(), nullptr) == 1 &&
        ReadEntry(library, entry.get(), &property)) {
      properties_.push_back(std::move(property));
    }
  }
  return true;
}

const PstProperty* PstProperties::Find(std::uint32_t id, PstSet set) const {
  for (const PstProperty& property : properties_) {
    if (property.id == id && property.set == set && property.name.empty() &&
        !property.values.empty()) {
      return &property;
    }
  }
  return nullptr;
}

std::vector<std::string> PstProperties::Texts(const PstProperty& property) const {
  std::vector<std::string> texts;
  const bool wide = (property.type & 0xFFF) == 0x01F;
  std::shared_ptr<const CodePage> page;
  if (!wide) {
    const PstProperty* const named = Find(kMessageCodePage);
    if (named != nullptr && named->values.front().size() >= 4) {
      const auto number = LoadLe32(named->values.front().data());
      if (number < 65'000) {
        auto loaded = platform::CurrentSystem().code_pages->Load(static_cast<int>(number));
        if (loaded.ok()) page = *loaded;
      }
    }
  }
  for (const std::string& value : property.values) {
    const std::string_view bytes = std::string_view(value).substr(0, value.find('\0'));
    texts.push_back(wide              ? FromUtf16Le(value)
                    : page != nullptr ? page->Decode(bytes)
                                      : Utf8OrAnsi(bytes));
  }
  return texts;
}

std::string PstProperties::Text(std::uint32_t id, PstSet set) const {
  const PstProperty* const property = Find(id, set);
  if (property == nullptr) return {};
  const std::uint32_t type = property->type & 0xFFF;
  return type == 0x01F || type == 0x01E ? Texts(*property).front() : std::string();
}

}  // namespace pv::converter
