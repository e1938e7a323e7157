// Reads the Windows address book. Tested by wab_book_test.cc.
//
// Little-endian. What is known of the file, from looking at files:
//
//   0x00  16 bytes that every file begins with
//   0x18  the table of records, as {bytes allocated, bytes used, offset, count}; tables of names
//         for searching follow, which are not needed. An entry is {record number, offset}
//   0x84  the same four numbers for the named properties: count blocks of {GUID, count,
//         {number << 16, length, kind and name}}
//   a record: eight numbers {1 while it is alive, ?, record number, count of properties, 0x20,
//         bytes of the tag list twice, bytes of the values}, the tags, then for each property its
//         tag again, the count of values if there may be several, the length, and the bytes; where
//         there are several values, each with its own length
//
// The numbers of named properties differ from file to file.
#include "providers/converter/readers/wab_book.h"

#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "providers/converter/model/mapi_values.h"
#include "providers/converter/text/byte_reader.h"
#include "providers/converter/text/decode.h"

namespace pv::converter {
namespace {

constexpr std::string_view kMagic(
    "\x9C\xCB\xCB\x8D\x13\x75\xD2\x11\x91\x58\x00\xC0\x4F\x79\x56\xA4", 16);
constexpr std::string_view kOwnNames(
    "\x81\x32\x84\xC1\x85\x05\xD0\x11\xB2\x90\x00\xAA\x00\x3C\xF6\x76", 16);
constexpr std::string_view kMembersName = "32774";
constexpr std::string_view kIdentityNames[] = {"32769", "32778"};

constexpr std::uint64_t kLargest = std::uint64_t{1} << 28;
constexpr std::size_t kRecordsAt = 0x18;
constexpr std::size_t kNamedAt = 0x84;
constexpr PropertyTag kObjectType = 0x0FFE0003;
constexpr std::uint32_t kListObject = 8;
constexpr std::size_t kOneOffNames = 24;  // where they begin in the identifier of a one-off member

struct RawProperty {
  PropertyTag tag = 0;
  std::vector<std::string_view> values;
};

class WabBook : public LoadedBook {
 public:
  Status Open(std::string bytes, const std::string& name);

 private:
  std::string_view At(std::uint32_t offset) const {
    return offset <= bytes_.size() ? std::string_view(bytes_).substr(offset) : std::string_view();
  }
  void ReadNames();
  void ReadRecord(std::uint32_t number, std::uint32_t offset);
  bool ReadProperties(std::string_view record, std::vector<RawProperty>* properties,
                      std::size_t* used) const;
  void AddContact(std::uint32_t number, const std::vector<RawProperty>& properties);
  void AddList(std::uint32_t number, const std::vector<RawProperty>& properties);
  void Note(std::uint32_t number, const char* what) {
    notes_.Add(name_ + ": record " + std::to_string(number) + ": " + what);
  }

  std::string bytes_;
  std::string name_;
  std::uint32_t members_ = 0;  // property number of a list's members; 0 when there is none
  std::unordered_set<std::uint32_t> identity_;
  std::unordered_map<std::uint32_t, Member> targets_;  // by record number
  std::vector<std::vector<std::string>> list_members_;
};

void WabBook::ReadNames() {
  ByteReader header(At(kNamedAt));
  header.Skip(4);
  const std::uint32_t used = header.Le32();
  const std::uint32_t offset = header.Le32();
  const std::uint32_t blocks = header.Le32();
  ByteReader names(At(offset).substr(0, used));
  for (std::uint32_t i = 0; i < blocks && names.ok(); ++i) {
    const bool own = names.Bytes(kOwnNames.size()) == kOwnNames;
    const std::uint32_t count = names.Le32();
    for (std::uint32_t k = 0; k < count && names.ok(); ++k) {
      const std::uint32_t number = names.Le32() >> 16;
      const std::string_view entry = names.Bytes(names.Le32());
      if (!own || entry.size() < 2) continue;
      const std::string name = FromUtf16Le(entry.substr(2));
      if (name == kMembersName) members_ = number;
      for (const std::string_view identity : kIdentityNames) {
        if (name == identity) identity_.insert(number);
      }
    }
  }
}

bool WabBook::ReadProperties(std::string_view record, std::vector<RawProperty>* properties,
                             std::size_t* used) const {
  ByteReader reader(record);
  const bool alive = reader.Le32() == 1;
  reader.Skip(8);
  const std::uint32_t count = reader.Le32();
  reader.Skip(4);
  const std::uint32_t tag_bytes = reader.Le32();
  reader.Skip(4);
  const std::uint32_t data = reader.Le32();
  if (!reader.ok() || count > reader.left() / 4 || tag_bytes / 4 != count ||
      data > reader.left() - std::size_t{count} * 4) {
    return false;
  }
  *used = 32 + std::size_t{count} * 4 + data;
  if (!alive) return true;
  reader.Skip(std::size_t{count} * 4);
  ByteReader values(reader.Bytes(data));
  for (std::uint32_t i = 0; i < count; ++i) {
    RawProperty property;
    property.tag = values.Le32();
    if ((property.tag & 0x1000) == 0) {
      property.values.push_back(values.Bytes(values.Le32()));
    } else {
      const std::uint32_t several = values.Le32();
      ByteReader inner(values.Bytes(values.Le32()));
      for (std::uint32_t k = 0; k < several && inner.left() > 0; ++k) {
        property.values.push_back(inner.Bytes(inner.Le32()));
        if (!inner.ok()) return false;
      }
    }
    if (!values.ok()) return false;
    properties->push_back(std::move(property));
  }
  return true;
}

void WabBook::AddContact(std::uint32_t number, const std::vector<RawProperty>& properties) {
  Contact contact;
  bool identity = false;
  for (const RawProperty& property : properties) {
    const std::uint32_t id = property.tag >> 16;
    identity = identity || identity_.contains(id);
    if (property.tag == (kEmail | 1)) {
      for (const std::string_view value : property.values) contact.AddAddress(FromUtf16Le(value));
    }
  }
  for (const RawProperty& property : properties) {
    const std::uint32_t id = property.tag >> 16;
    if (property.tag == (kAllAddresses | 1)) {
      for (const std::string_view value : property.values) contact.AddAddress(FromUtf16Le(value));
    } else if (id < 0x8000 && property.tag != kObjectType) {
      AddMapiValue(property.tag, property.values, &contact);
    }
  }
  // The folders of identities look like contacts without an address.
  if (identity && contact.address_count() == 0) return;
  contact.Finish();
  targets_.emplace(number, Member::OfContact(count()));
  contacts_.push_back(std::move(contact));
}

void WabBook::AddList(std::uint32_t number, const std::vector<RawProperty>& properties) {
  DistributionList list;
  std::vector<std::string> members;
  for (const RawProperty& property : properties) {
    if (property.values.empty()) continue;
    if (property.tag == (kDisplayName | 1)) list.name = FromUtf16Le(property.values.front());
    if (property.tag == (kNickName | 1)) list.nickname = FromUtf16Le(property.values.front());
    if (property.tag == (kComment | 1)) list.description = FromUtf16Le(property.values.front());
    if (members_ != 0 && property.tag >> 16 == members_) {
      for (const std::string_view value : property.values) members.emplace_back(value);
    }
  }
  targets_.emplace(number, Member::OfList(static_cast<std::uint32_t>(lists_.size())));
  lists_.push_back(std::move(list));
  list_members_.push_back(std::move(members));
}

void WabBook::ReadRecord(std::uint32_t number, std::uint32_t offset) {
  std::vector<RawProperty> properties;
  std::size_t used = 0;
  if (!ReadProperties(At(offset), &properties, &used)) {
    return Note(number, "a length in it is wrong; it is left out");
  }
  if (properties.empty()) return;
  std::uint32_t kind = 0;
  for (const RawProperty& property : properties) {
    if (property.tag == kObjectType && property.values.front().size() >= 4) {
      kind = LoadLe32(property.values.front().data());
    }
  }
  if (kind == kListObject) {
    AddList(number, properties);
  } else {
    AddContact(number, properties);
  }
}

Status WabBook::Open(std::string bytes, const std::string& name) {
  bytes_ = std::move(bytes);
  name_ = name;
  if (!std::string_view(bytes_).starts_with(kMagic)) {
    return Status::Corrupt(name + ": this is no Windows address book: its first bytes differ");
  }
  ReadNames();
  ByteReader header(At(kRecordsAt));
  header.Skip(4);
  const std::uint32_t used = header.Le32();
  const std::uint32_t table_at = header.Le32();
  const std::uint32_t count = header.Le32();
  if (!header.ok() || table_at > bytes_.size() || count > (bytes_.size() - table_at) / 8 ||
      count > used / 8) {
    return Status::Corrupt(name + ": the table of records leads out of the file");
  }
  ByteReader table(At(table_at));
  std::size_t total = 0;
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint32_t number = table.Le32();
    const std::uint32_t offset = table.Le32();
    // Records that overlap would be read over and over.
    const std::string_view record = At(offset);
    if (record.size() >= 32) total += 32 + std::size_t{LoadLe32(record.data() + 28)};
    if (total > bytes_.size()) {
      Note(number, "the records overlap; this one and those after it are left out");
      break;
    }
    ReadRecord(number, offset);
  }
  for (std::size_t i = 0; i < lists_.size(); ++i) {
    for (const std::string& value : list_members_[i]) {
      const auto found = value.size() == 4 ? targets_.find(LoadLe32(value.data())) : targets_.end();
      if (found != targets_.end()) {
        lists_[i].members.push_back(found->second);
      } else if (auto one_off = OneOffMember(value, kOneOffNames, true)) {
        lists_[i].members.push_back(std::move(*one_off));
      } else {
        notes_.Add(name_ + ": list \"" + lists_[i].name + "\": a member is not in the file");
      }
    }
  }
  list_members_.clear();
  targets_.clear();
  bytes_ = {};
  return Status::Ok();
}

}  // namespace

Result<std::unique_ptr<Book>> OpenWab(platform::File* file, const std::string& name) {
  PV_ASSIGN_OR_RETURN(std::string bytes, platform::ReadWholeFile(file, kLargest));
  auto book = std::make_unique<WabBook>();
  PV_RETURN_IF_ERROR(book->Open(std::move(bytes), name));
  return std::unique_ptr<Book>(std::move(book));
}

}  // namespace pv::converter
