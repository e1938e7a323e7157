// Contacts and lists in a Mork file. Tested by mab_book_test.cc.
#include "providers/converter/readers/mab_book.h"

#include <algorithm>
#include <array>
#include <bit>
#include <utility>
#include <vector>

#include "base/text.h"
#include "providers/converter/readers/mork.h"
#include "providers/converter/text/decode.h"
#include "pvgroupman/automation/text_key.h"

namespace pv::converter {
namespace {

enum class Use : std::uint8_t {
  kText,
  kLine,
  kAddress,
  kYear,
  kMonth,
  kDay,
  kModified,
  kListName,
  kListNick,
  kListDescription,
};

struct Column {
  const char* name;
  Use use;
  PropertyTag tag;
};

// In the order in which they are applied: a street's second line after its first.
constexpr Column kColumns[] = {
    {"DisplayName", Use::kText, kDisplayName},
    {"PrimaryEmail", Use::kAddress, kEmail},
    {"SecondEmail", Use::kAddress, kEmail},
    {"FirstName", Use::kText, kGivenName},
    {"LastName", Use::kText, kSurname},
    {"NickName", Use::kText, kNickName},
    {"Notes", Use::kText, kComment},
    {"Company", Use::kText, kCompany},
    {"Department", Use::kText, kDepartment},
    {"JobTitle", Use::kText, kTitle},
    {"WorkPhone", Use::kText, kBusinessPhone},
    {"HomePhone", Use::kText, kHomePhone},
    {"CellularNumber", Use::kText, kCellPhone},
    {"PagerNumber", Use::kText, kPager},
    {"FaxNumber", Use::kText, kBusinessFax},
    {"WorkAddress", Use::kText, kBusinessStreet},
    {"WorkAddress2", Use::kLine, kBusinessStreet},
    {"WorkCity", Use::kText, kBusinessCity},
    {"WorkState", Use::kText, kBusinessState},
    {"WorkZipCode", Use::kText, kBusinessPostalCode},
    {"WorkCountry", Use::kText, kBusinessCountry},
    {"HomeAddress", Use::kText, kHomeStreet},
    {"HomeAddress2", Use::kLine, kHomeStreet},
    {"HomeCity", Use::kText, kHomeCity},
    {"HomeState", Use::kText, kHomeState},
    {"HomeZipCode", Use::kText, kHomePostalCode},
    {"HomeCountry", Use::kText, kHomeCountry},
    {"WebPage1", Use::kText, kBusinessHomePage},
    {"WebPage2", Use::kText, kPersonalHomePage},
    {"SpouseName", Use::kText, kSpouseName},
    {"BirthYear", Use::kYear, kBirthday},
    {"BirthMonth", Use::kMonth, kBirthday},
    {"BirthDay", Use::kDay, kBirthday},
    {"AnniversaryYear", Use::kYear, kWeddingAnniversary},
    {"AnniversaryMonth", Use::kMonth, kWeddingAnniversary},
    {"AnniversaryDay", Use::kDay, kWeddingAnniversary},
    {"LastModifiedDate", Use::kModified, kLastModification},
    {"ListName", Use::kListName, 0},
    {"ListNickName", Use::kListNick, 0},
    {"ListDescription", Use::kListDescription, 0},
};

enum Scope : std::uint32_t { kCards = 0, kLists = 1 };

constexpr std::uint32_t kColumnCount = static_cast<std::uint32_t>(std::size(kColumns));
static_assert(kColumnCount <= 64);

// The moment of LastModifiedDate in seconds from 1970: old programs wrote it in hexadecimal, and
// eight digits cannot be anything else.
std::int64_t Modified(std::string_view text) {
  if (text.size() <= 8) {
    const auto value = ParseHex(text);
    return value && text.size() == 8 ? *value : 0;
  }
  return ParseDecimal(text).value_or(0);
}

std::int32_t SmallNumber(std::string_view text) {
  const auto number = ParseDecimal(TrimBlanks(text));
  return number && *number < 10'000 ? static_cast<std::int32_t>(*number) : 0;
}

class MabBook : public Book {
 public:
  Status Open(std::string text, const std::string& name);

  std::uint32_t count() const override { return static_cast<std::uint32_t>(cards_.size()); }
  Status ReadSome(std::uint32_t position, const Wanted& wanted, Contact* contact) override;

 private:
  std::string Cell(const MorkFile::Row& row, Use use) const;
  void ReadList(const MorkFile::Row& row);

  MorkFile mork_;
  std::vector<const MorkFile::Row*> cards_;
  // What a card's number leads to: a position among the cards or the lists.
  struct Target {
    std::uint32_t id;
    Member::Kind kind;
    std::uint32_t position;
  };
  std::vector<Target> by_id_;  // while the lists are read
  Wanted wanted_;              // what these columns are for, one bit each
  std::uint64_t columns_ = 0;
  std::string decoded_;
};

std::string MabBook::Cell(const MorkFile::Row& row, Use use) const {
  for (const MorkFile::Cell& cell : row.cells) {
    if (cell.column < kColumnCount && kColumns[cell.column].use == use) {
      std::string decoded;
      return std::string(mork_.Decode(cell.value, &decoded));
    }
  }
  return {};
}

Status MabBook::Open(std::string text, const std::string& name) {
  MorkFile::Wanted wanted;
  wanted.kind = ":kind:pab";
  wanted.scopes = {"ns:addrbk:db:row:scope:card:all", "ns:addrbk:db:row:scope:list:all"};
  for (const Column& column : kColumns) wanted.columns.emplace_back(column.name);
  wanted.numbered = "Address";
  PV_RETURN_IF_ERROR(mork_.Parse(std::move(text), name, wanted, &notes_));

  // A list inside a list is written as a card that has the inner list's name for an address.
  automation::TextKeyMap<std::uint32_t> list_by_name;
  std::vector<const MorkFile::Row*> lists;
  for (const MorkFile::Row* const row : mork_.rows()) {
    if (row->scope != kLists) continue;
    list_by_name.emplace(Cell(*row, Use::kListName), static_cast<std::uint32_t>(lists.size()));
    lists.push_back(row);
  }
  list_by_name.erase("");
  for (const MorkFile::Row* const row : mork_.rows()) {
    if (row->scope != kCards) continue;
    if (!list_by_name.empty()) {
      const auto inner = list_by_name.find(Cell(*row, Use::kAddress));
      if (inner != list_by_name.end()) {
        by_id_.push_back({row->id, Member::Kind::kList, inner->second});
        continue;
      }
    }
    if (!lists.empty()) by_id_.push_back({row->id, Member::Kind::kContact, count()});
    cards_.push_back(row);
  }
  std::stable_sort(by_id_.begin(), by_id_.end(),
                   [](const Target& a, const Target& b) { return a.id < b.id; });
  for (const MorkFile::Row* const row : lists) ReadList(*row);
  by_id_.clear();
  by_id_.shrink_to_fit();
  return Status::Ok();
}

void MabBook::ReadList(const MorkFile::Row& row) {
  DistributionList list;
  list.name = Cell(row, Use::kListName);
  list.nickname = Cell(row, Use::kListNick);
  list.description = Cell(row, Use::kListDescription);
  std::vector<MorkFile::Cell> members;
  std::string decoded;
  for (const MorkFile::Cell& cell : row.cells) {
    if (cell.column >= kColumnCount) members.push_back(cell);
  }
  std::sort(members.begin(), members.end(),
            [](const auto& a, const auto& b) { return a.column < b.column; });
  for (const MorkFile::Cell& cell : members) {
    const auto id = ParseHex(mork_.Decode(cell.value, &decoded));
    const auto found =
        std::lower_bound(by_id_.begin(), by_id_.end(), id.value_or(0),
                         [](const Target& target, std::uint32_t key) { return target.id < key; });
    if (id && found != by_id_.end() && found->id == *id) {
      list.members.push_back({found->kind, found->position, {}, {}});
    }
  }
  lists_.push_back(std::move(list));
}

Status MabBook::ReadSome(std::uint32_t position, const Wanted& wanted, Contact* contact) {
  contact->Clear();
  if (wanted != wanted_) {
    columns_ = 0;
    for (std::size_t i = 0; i < kColumnCount; ++i) {
      if (wanted.Has(kColumns[i].tag)) columns_ |= std::uint64_t{1} << i;
    }
    wanted_ = wanted;
  }
  std::array<const MorkFile::Cell*, kColumnCount> cells;
  std::uint64_t present = 0;
  for (const MorkFile::Cell& cell : cards_[position]->cells) {
    if (cell.column >= kColumnCount || (columns_ >> cell.column & 1) == 0) continue;
    present |= std::uint64_t{1} << cell.column;
    cells[cell.column] = &cell;
  }
  CivilDate birthday;
  CivilDate anniversary;
  for (; present != 0; present &= present - 1) {
    const auto i = static_cast<std::size_t>(std::countr_zero(present));
    const Column& column = kColumns[i];
    const std::string_view text = mork_.Decode(cells[i]->value, &decoded_);
    CivilDate& date = column.tag == kBirthday ? birthday : anniversary;
    switch (column.use) {
      case Use::kText:
        contact->AddText(column.tag, text);
        break;
      case Use::kLine:
        contact->AddLine(column.tag, text);
        break;
      case Use::kAddress:
        contact->AddAddress(text);
        break;
      case Use::kYear:
        date.year = SmallNumber(text);
        break;
      case Use::kMonth:
        date.month = SmallNumber(text);
        break;
      case Use::kDay:
        date.day = SmallNumber(text);
        break;
      case Use::kModified:
        contact->AddUnixTime(column.tag, Modified(text));
        break;
      case Use::kListName:
      case Use::kListNick:
      case Use::kListDescription:
        break;
    }
  }
  contact->AddDate(kBirthday, birthday);
  contact->AddDate(kWeddingAnniversary, anniversary);
  contact->Finish();
  return Status::Ok();
}

}  // namespace

Result<std::unique_ptr<Book>> OpenMab(platform::File* file, std::string name) {
  PV_ASSIGN_OR_RETURN(std::string text, platform::ReadWholeFile(file, MorkFile::kLargest));
  auto book = std::make_unique<MabBook>();
  PV_RETURN_IF_ERROR(book->Open(std::move(text), name));
  return std::unique_ptr<Book>(std::move(book));
}

}  // namespace pv::converter
