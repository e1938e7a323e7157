// Reads Palm address books. Tested by palm_book_test.cc.
//
// The handheld's file (big-endian): a header of 78 bytes with the offset of the application's
// block at 52, "DATAaddr" at 60 and the number of records at 76; entries {offset, attributes,
// unique number} of 8 bytes; the application's block with sixteen names of categories of 16 bytes
// from its byte 2 on; records of {phone labels, which fields there are, an offset} in 9 bytes and
// texts that end with a zero.
//
// The desktop's file (little-endian): a mark, two texts, the categories, the numbers of the fields
// that matter, the types of the fields of a record, and cells {type, value} one after the other.
#include "providers/converter/readers/palm_book.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/system.h"
#include "providers/converter/text/byte_reader.h"
#include "providers/converter/text/decode.h"

namespace pv::converter {
namespace {

constexpr std::uint64_t kLargest = std::uint64_t{1} << 28;
constexpr int kWestern = 1252;
constexpr int kJapanese = 932;
constexpr char kBeforeReading = '\x01';

constexpr std::string_view kDesktopMark("\x00\x01\x42\x41", 4);
constexpr std::size_t kHeaderSize = 78;
constexpr std::size_t kCategoryCount = 16;

// Every contact of a category has its name: no name of a category is longer.
constexpr std::size_t kLongestCategory = 240;
constexpr std::uint8_t kDeleted = 0x80;

enum PhoneLabel : std::uint32_t {
  kWork = 0,
  kHome = 1,
  kFax = 2,
  kOther = 3,
  kMail = 4,
  kMain = 5,
  kPagerLabel = 6,
  kMobile = 7,
};

struct PhoneTag {
  PropertyTag first;
  PropertyTag second;  // for the next one with the same label
};
constexpr PhoneTag kPhoneTags[] = {
    {kBusinessPhone, kBusiness2Phone},
    {kHomePhone, kHome2Phone},
    {kBusinessFax, kHomeFax},
    {kOtherPhone, kOtherPhone},
    {0, 0},
    {kPrimaryPhone, kCompanyMainPhone},
    {kPager, kPager},
    {kCellPhone, kCarPhone},
};

// One contact as it is stored, in bytes of the device's code page.
struct PalmFields {
  struct Phone {
    std::uint32_t label = 0;
    std::string text;
  };
  std::string last, first, company, title;
  std::array<Phone, 5> phones;
  std::string address, city, state, zip, country, note;
  std::string category;
  std::uint32_t id = 0;
};

class PalmBook : public LoadedBook {
 public:
  Status Open(std::string_view bytes, const std::string& name);

 private:
  Status OpenHandheld(std::string_view bytes);
  Status OpenDesktop(std::string_view bytes);

  std::string name_;
  std::vector<PalmFields> records_;
};

std::string_view UntilZero(std::string_view text) { return text.substr(0, text.find('\0')); }

// One record of the handheld's file; false when it ends too soon.
bool ReadRecord(std::string_view record, PalmFields* fields) {
  ByteReader reader(record);
  const std::uint32_t labels = reader.Be32();
  const std::uint32_t present = reader.Be32();
  reader.Skip(1);
  std::string* const targets[] = {
      &fields->last,
      &fields->first,
      &fields->company,
      &fields->phones[0].text,
      &fields->phones[1].text,
      &fields->phones[2].text,
      &fields->phones[3].text,
      &fields->phones[4].text,
      &fields->address,
      &fields->city,
      &fields->state,
      &fields->zip,
      &fields->country,
      &fields->title,
      nullptr,
      nullptr,
      nullptr,
      nullptr,
      &fields->note,
  };
  for (std::size_t i = 0; i < fields->phones.size(); ++i) {
    fields->phones[i].label = labels >> (4 * i) & 0xF;
  }
  if (!reader.ok()) return false;
  std::string_view rest = reader.Bytes(reader.left());
  for (std::size_t i = 0; i < std::size(targets); ++i) {
    if ((present >> i & 1) == 0) continue;
    const std::size_t end = rest.find('\0');
    if (end == std::string_view::npos) return false;
    if (targets[i] != nullptr) *targets[i] = rest.substr(0, end);
    rest.remove_prefix(end + 1);
  }
  return true;
}

Status PalmBook::OpenHandheld(std::string_view bytes) {
  if (bytes.size() < kHeaderSize || bytes.substr(60, 8) != "DATAaddr") {
    return Status::Corrupt(name_ + ": this is no Palm address book: its header does not say so");
  }
  const std::size_t application = LoadBe32(bytes.data() + 52);
  const std::size_t count = LoadBe16(bytes.data() + 76);
  if (count * 8 > bytes.size() - kHeaderSize) {
    return Status::Corrupt(name_ + ": the table of records leads out of the file");
  }
  std::string_view categories;
  if (application != 0 && application < bytes.size()) {
    categories = bytes.substr(application).substr(0, 2 + kCategoryCount * 16);
  }
  std::size_t total = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const char* const entry = bytes.data() + kHeaderSize + i * 8;
    const std::size_t offset = LoadBe32(entry);
    const auto attributes = static_cast<std::uint8_t>(entry[4]);
    if ((attributes & kDeleted) != 0) continue;
    const std::size_t end = i + 1 < count ? LoadBe32(entry + 8) : bytes.size();
    PalmFields fields;
    // Records that overlap would be read over and over.
    if (offset <= end && end <= bytes.size()) total += end - offset;
    if (total > bytes.size()) {
      notes_.Add(name_ + ": record " + std::to_string(i + 1) +
                 ": the records overlap; this one and those after it are left out");
      break;
    }
    if (offset > end || end > bytes.size() ||
        !ReadRecord(bytes.substr(offset, end - offset), &fields)) {
      notes_.Add(name_ + ": record " + std::to_string(i + 1) +
                 ": it does not lie in the file as it should, and is left out");
      continue;
    }
    fields.id = LoadBe32(entry + 4) & 0xFFFFFF;
    const std::size_t category = attributes & 0xF;
    if (categories.size() >= 2 + (category + 1) * 16) {
      fields.category = UntilZero(categories.substr(2 + category * 16, 16));
    }
    records_.push_back(std::move(fields));
  }
  return Status::Ok();
}

// A text with its length before it: one byte, or 0xFF and two.
std::string_view CountedText(ByteReader* reader) {
  std::size_t size = reader->U8();
  if (size == 0xFF) size = reader->Le16();
  return reader->Bytes(size);
}

struct Cell {
  std::uint32_t number = 0;
  std::string_view text;
};

// False for a type whose length is not known.
bool ReadCell(ByteReader* reader, Cell* cell) {
  *cell = {};
  switch (reader->Le32()) {
    case 1:  // number
    case 3:  // date
    case 6:  // yes or no
      cell->number = reader->Le32();
      return reader->ok();
    case 5:
      reader->Skip(4);
      cell->text = CountedText(reader);
      return reader->ok();
    default:
      return false;
  }
}

Status PalmBook::OpenDesktop(std::string_view bytes) {
  constexpr std::uint32_t kFields = 30;
  const Status damaged = Status::Corrupt(name_ + ": the header leads out of the file");
  ByteReader reader(bytes);
  reader.Skip(kDesktopMark.size());
  CountedText(&reader);  // the path
  CountedText(&reader);  // names of the custom fields
  reader.Skip(4);        // the next category's number
  std::unordered_map<std::uint32_t, std::string_view> categories;
  const std::uint32_t category_count = reader.Le32();
  for (std::uint32_t i = 0; i < category_count && reader.ok(); ++i) {
    const std::uint32_t index = reader.Le32();
    reader.Skip(8);
    categories[index] = CountedText(&reader).substr(0, kLongestCategory);
    CountedText(&reader);
  }
  reader.Skip(20);
  const std::uint16_t field_count = reader.Le16();
  reader.Skip(std::size_t{field_count} * 2);
  const std::uint32_t cell_count = reader.Le32();
  if (!reader.ok()) return damaged;
  if (field_count != kFields) {
    return Status::Unsupported(name_ + ": its contacts have " + std::to_string(field_count) +
                               " fields, not the 30 of an address book");
  }
  for (std::uint32_t record = 1; record <= cell_count / kFields; ++record) {
    Cell cells[kFields];
    for (Cell& cell : cells) {
      if (ReadCell(&reader, &cell)) continue;
      notes_.Add(name_ + ": record " + std::to_string(record) +
                 ": it cannot be read; it and those after it are left out");
      return Status::Ok();
    }
    constexpr std::uint32_t kDeletedStatus = 4;
    if ((cells[1].number & kDeletedStatus) != 0) continue;
    PalmFields fields;
    fields.id = cells[0].number;
    fields.last = cells[3].text;
    fields.first = cells[4].text;
    fields.title = cells[5].text;
    fields.company = cells[6].text;
    for (std::size_t i = 0; i < fields.phones.size(); ++i) {
      fields.phones[i] = {cells[7 + 2 * i].number, std::string(cells[8 + 2 * i].text)};
    }
    fields.address = cells[17].text;
    fields.city = cells[18].text;
    fields.state = cells[19].text;
    fields.zip = cells[20].text;
    fields.country = cells[21].text;
    fields.note = cells[22].text;
    const auto category = categories.find(cells[24].number);
    if (category != categories.end() && category->first != 0) fields.category = category->second;
    records_.push_back(std::move(fields));
  }
  return Status::Ok();
}

// Makes contacts of records. The code page is that of Japanese devices when any name has a reading
// behind it, as only those have, else the western one.
Result<std::vector<Contact>> ContactsFromPalm(const std::vector<PalmFields>& records) {
  bool japanese = false;
  for (const PalmFields& fields : records) {
    for (const std::string* name : {&fields.last, &fields.first, &fields.company}) {
      japanese = japanese || name->find(kBeforeReading) != std::string::npos;
    }
  }
  PV_ASSIGN_OR_RETURN(const auto page,
                      platform::CurrentSystem().code_pages->Load(japanese ? kJapanese : kWestern));
  const auto text = [&](std::string_view bytes) {
    return page->Decode(bytes.substr(0, bytes.find(kBeforeReading)));
  };
  std::vector<Contact> contacts;
  contacts.reserve(records.size());
  for (const PalmFields& fields : records) {
    Contact contact;
    contact.AddText(kSurname, text(fields.last));
    contact.AddText(kGivenName, text(fields.first));
    contact.AddText(kCompany, text(fields.company));
    contact.AddText(kTitle, text(fields.title));
    contact.AddText(kBusinessStreet, text(fields.address));
    contact.AddText(kBusinessCity, text(fields.city));
    contact.AddText(kBusinessState, text(fields.state));
    contact.AddText(kBusinessPostalCode, text(fields.zip));
    contact.AddText(kBusinessCountry, text(fields.country));
    contact.AddText(kComment, text(fields.note));
    contact.AddCategory(text(fields.category));
    for (const PalmFields::Phone& phone : fields.phones) {
      const std::string value = text(phone.text);
      if (phone.label == kMail) {
        std::string_view rest = value;
        while (!rest.empty()) {
          const std::size_t end = std::min(rest.find_first_of("\r\n,; "), rest.size());
          contact.AddAddress(rest.substr(0, end));
          rest.remove_prefix(std::min(end + 1, rest.size()));
        }
      } else if (phone.label < std::size(kPhoneTags)) {
        const PhoneTag& tags = kPhoneTags[phone.label];
        contact.AddText(contact.Has(tags.first) ? tags.second : tags.first, value);
      }
    }
    if (fields.id != 0) {
      automation::Bytes id(4);
      StoreLe32(id.data(), fields.id);
      contact.Add(kEntryId, std::move(id));
    }
    contact.Finish();
    contact.AddText(kDisplayName, contact.Text(kCompany));
    contacts.push_back(std::move(contact));
  }
  return contacts;
}

Status PalmBook::Open(std::string_view bytes, const std::string& name) {
  name_ = name;
  PV_RETURN_IF_ERROR(bytes.starts_with(kDesktopMark) ? OpenDesktop(bytes) : OpenHandheld(bytes));
  PV_ASSIGN_OR_RETURN(contacts_, ContactsFromPalm(records_));
  records_.clear();
  return Status::Ok();
}

}  // namespace

Result<std::unique_ptr<Book>> OpenPalm(platform::File* file, const std::string& name) {
  PV_ASSIGN_OR_RETURN(const std::string bytes, platform::ReadWholeFile(file, kLargest));
  auto book = std::make_unique<PalmBook>();
  PV_RETURN_IF_ERROR(book->Open(bytes, name));
  return std::unique_ptr<Book>(std::move(book));
}

}  // namespace pv::converter
