// Small address books made by hand, for tests that need the bytes of one.
#ifndef PV_PROVIDERS_CONVERTER_MADE_BOOKS_TEST_H_
#define PV_PROVIDERS_CONVERTER_MADE_BOOKS_TEST_H_

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/text.h"

namespace pv::converter {

inline std::string Number(std::uint64_t value, std::size_t size, bool big_endian = false) {
  std::string bytes;
  for (std::size_t i = 0; i < size; ++i) {
    const std::size_t place = big_endian ? size - 1 - i : i;
    bytes += static_cast<char>(value >> (8 * place));
  }
  return bytes;
}
inline std::string Le32(std::uint64_t value) { return Number(value, 4); }
inline std::string Be32(std::uint64_t value) { return Number(value, 4, true); }

// UTF-16 with a zero at its end.
inline std::string Wide(std::string_view text) {
  std::string bytes;
  for (const char16_t unit : Utf16FromUtf8(text)) bytes += Number(unit, 2);
  return bytes + std::string(2, '\0');
}

// A property of a Windows address book: its tag and its values.
struct WabProperty {
  std::uint32_t tag;
  std::vector<std::string> values;
};
using WabRecord = std::vector<WabProperty>;

// A book of the records, numbered from 1. Property 0x8009 is that of a list's members and 0x8004
// one of an identity.
inline std::string MakeWab(const std::vector<WabRecord>& records) {
  std::string names;
  names += std::string("\x81\x32\x84\xC1\x85\x05\xD0\x11\xB2\x90\x00\xAA\x00\x3C\xF6\x76", 16);
  names += Le32(2);
  for (const auto& [number, name] : {std::pair{0x8009, "32774"}, std::pair{0x8004, "32769"}}) {
    const std::string entry = Number(1, 2) + Wide(name);
    names += Le32(static_cast<std::uint64_t>(number) << 16) + Le32(entry.size()) + entry;
  }
  const std::size_t names_at = 0xA4;
  const std::size_t table_at = names_at + names.size();
  std::string table;
  std::string body;
  std::uint32_t number = 0;
  for (const WabRecord& record : records) {
    ++number;
    table += Le32(number) + Le32(table_at + records.size() * 8 + body.size());
    std::string tags;
    std::string data;
    for (const WabProperty& property : record) {
      tags += Le32(property.tag);
      data += Le32(property.tag);
      if ((property.tag & 0x1000) == 0) {
        data += Le32(property.values[0].size()) + property.values[0];
        continue;
      }
      std::string inner;
      for (const std::string& value : property.values) inner += Le32(value.size()) + value;
      data += Le32(property.values.size()) + Le32(inner.size()) + inner;
    }
    body += Le32(1) + Le32(1) + Le32(number) + Le32(record.size()) + Le32(0x20) +
            Le32(tags.size()) + Le32(tags.size()) + Le32(data.size()) + tags + data;
  }
  std::string file("\x9C\xCB\xCB\x8D\x13\x75\xD2\x11\x91\x58\x00\xC0\x4F\x79\x56\xA4", 16);
  file += Le32(6) + Le32(500);
  file += Le32(table.size()) + Le32(table.size()) + Le32(table_at) + Le32(records.size());
  file += std::string(5 * 16, '\0');
  file.resize(0x84);
  file += Le32(names.size()) + Le32(names.size()) + Le32(names_at) + Le32(1);
  file.resize(names_at);
  return file + names + table + body;
}

inline WabRecord WabContact(std::string_view name, std::string_view address) {
  return {{0x3001001F, {Wide(name)}},
          {0x0FFE0003, {Le32(6)}},
          {0x3003001F, {Wide(address)}},
          {0x3A420040, {Number(0x01CCAF7FF8000000, 8)}}};
}

inline std::string SmallWab() {
  const std::string one_off = std::string(24, '\x01') + Wide("Cid") + Wide("SMTP") + Wide("cid@x");
  return MakeWab(
      {WabContact("Ann", "ann@x"),
       WabContact("Bob", "bob@x"),
       {{0x3001001F, {Wide("Crew")}},
        {0x0FFE0003, {Le32(8)}},
        {0x80091102, {Le32(2), Le32(4), one_off}}},
       {{0x3001001F, {Wide("Ring")}}, {0x0FFE0003, {Le32(8)}}, {0x80091102, {Le32(3), Le32(4)}}},
       {{0x3001001F, {Wide("Identity")}}, {0x8004001F, {Wide("{0}")}}}});
}

// A record of a handheld: the fields in their order, empty ones left out; phone labels from the
// lowest on.
struct PdbRecord {
  std::uint8_t attributes = 0;
  std::uint32_t labels = 0x76543;
  std::vector<std::string> fields;
};

inline std::string MakePdb(const std::vector<PdbRecord>& records) {
  std::string application(2, '\0');
  for (const char* category : {"Unfiled", "Business", "Priv\xE9"}) {
    std::string name(category);
    name.resize(16);
    application += name;
  }
  application.resize(2 + 16 * 16 + 20);
  const std::size_t application_at = 78 + records.size() * 8 + 2;
  std::size_t at = application_at + application.size();
  std::string entries;
  std::string body;
  std::uint32_t id = 0;
  for (const PdbRecord& record : records) {
    std::uint32_t present = 0;
    std::string texts;
    for (std::size_t i = 0; i < record.fields.size(); ++i) {
      if (record.fields[i].empty()) continue;
      present |= 1U << i;
      texts += record.fields[i] + '\0';
    }
    const std::string bytes = Be32(record.labels) + Be32(present) + '\0' + texts;
    entries += Be32(at) + static_cast<char>(record.attributes) + Number(++id, 3, true);
    at += bytes.size();
    body += bytes;
  }
  std::string file = "AddressDB";
  file.resize(52);
  file += Be32(application_at) + Be32(0) + "DATAaddr" + Be32(0) + Be32(0);
  return file + Number(records.size(), 2, true) + entries + std::string(2, '\0') + application +
         body;
}

inline std::string SmallPdb() {
  return MakePdb({{0x01, 0x71410, {"Lee", "Ann", "Inc", "1", "2", "a@x, b@x", "", "5", "Way"}},
                  {0x82, 0, {"Gone"}},
                  {0x02, 0, {"Caf\xE9"}}});
}

inline std::string CellNumber(std::uint32_t type, std::uint32_t value) {
  return Le32(type) + Le32(value);
}
inline std::string CellText(std::string_view text) {
  std::string size;
  if (text.size() < 255) {
    size = static_cast<char>(text.size());
  } else {
    size = "\xFF" + Number(text.size(), 2);
  }
  return Le32(5) + Le32(0) + size + std::string(text);
}

// A desktop's file with one contact for each of the names, the last of them deleted.
inline std::string MakeDat(const std::vector<std::string>& names) {
  std::string file("\x00\x01\x42\x41", 4);
  file += std::string("\x05") + "a.dat" + std::string(1, '\0') + Le32(3);
  file += Le32(1) + Le32(1) + Le32(1) + Le32(0) + "\x08" + "Business" + "\x03" + "Bus";
  file += std::string(20, '\0') + Number(30, 2) + std::string(60, '\1');
  file += Le32(30 * names.size());
  std::uint32_t id = 0;
  for (const std::string& name : names) {
    ++id;
    file += CellNumber(1, id) + CellNumber(1, id == names.size() ? 4 : 0) + CellNumber(1, id);
    file += CellText(name) + CellText("") + CellText("Dr") + CellText("Inc");
    for (std::uint32_t i = 0; i < 5; ++i) {
      file += CellNumber(1, i) + CellText(i == 4 ? name + "@x" : std::to_string(i));
    }
    for (int i = 0; i < 6; ++i) file += CellText("f" + std::to_string(i));
    file += CellNumber(6, 0) + CellNumber(1, id % 2);
    for (int i = 0; i < 4; ++i) file += CellText("");
    file += CellNumber(1, 0);
  }
  return file;
}

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_MADE_BOOKS_TEST_H_
