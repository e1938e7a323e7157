// Reads LDIF. Tested by ldif_book_test.cc.
//
// One pass finds out where the contacts are and what the lists hold; a second one, when there are
// lists, which contacts their members are. Everything else is read when it is asked for.
#include "providers/converter/readers/ldif_book.h"

#include <algorithm>
#include <array>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/text.h"
#include "providers/converter/readers/ldif_entry.h"
#include "providers/converter/text/decode.h"
#include "providers/converter/text/line_reader.h"

namespace pv::converter {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// What the first pass has learnt of an entry.
struct Seen {
  std::uint64_t offset = 0;
  bool any = false;  // there is at least one attribute
  bool dn = false;
  bool person = false;
  bool group = false;
  bool nobody = false;  // a machine, or a change that adds nothing
  bool classes = false;
  std::size_t class_count = 0;
  bool name = false;
  bool mail = false;
};

bool IsContact(const Seen& seen) {
  return !seen.nobody && !seen.group && (seen.person || seen.mail || (!seen.classes && seen.name));
}

class LdifBook : public Book {
 public:
  LdifBook(std::unique_ptr<platform::File> file, std::string name, LdifProfile profile)
      : file_(std::move(file)), name_(std::move(name)), profile_(profile), lines_(file_.get()) {}

  std::uint32_t count() const override { return static_cast<std::uint32_t>(offsets_.size()); }
  Status ReadSome(std::uint32_t position, const Wanted& wanted, Contact* contact) override;

  Status Open();

 private:
  void Close(Seen* seen);
  EntryClass KindOfClass(std::string_view value, std::size_t number);
  Status Scan();
  Status ReadLists();
  Status ReadList(std::uint64_t offset);
  Status Connect();
  void Apply(LdifMeaning meaning, std::string_view value, Contact* contact);

  std::unique_ptr<platform::File> file_;
  std::string name_;
  LdifProfile profile_;
  LineReader lines_;
  std::vector<std::uint64_t> offsets_;       // of the contacts
  std::vector<std::uint64_t> list_offsets_;  // of the lists
  std::vector<std::string> list_names_;      // their names as entries
  std::vector<PropertyTag> weak_;            // properties that may still be replaced
  CivilDate birthday_;
  // The classes of the last entries, by their place in one: those of the next are the same.
  struct KnownClass {
    std::string text;
    EntryClass kind = EntryClass::kOther;
  };
  std::array<KnownClass, 8> known_classes_;
  LdifFilter filter_{Wanted()};
  LdifAttribute attribute_;
};

void LdifBook::Close(Seen* seen) {
  if (seen->any && seen->group && !seen->nobody) {
    list_offsets_.push_back(seen->offset);
  } else if (seen->any && IsContact(*seen)) {
    offsets_.push_back(seen->offset);
  }
  *seen = Seen{};
}

EntryClass LdifBook::KindOfClass(std::string_view value, std::size_t number) {
  constexpr std::size_t kLongestName = 100;
  if (number >= known_classes_.size() || value.size() > kLongestName) {
    return EntryClassOf(TrimBlanks(value));
  }
  KnownClass& known = known_classes_[number];
  if (known.text != value) {
    known.kind = EntryClassOf(TrimBlanks(value));
    known.text = value;
  }
  return known.kind;
}

Status LdifBook::Scan() {
  static constexpr std::string_view kNames[] = {"dn",   "cn", "changetype", "givenname",
                                                "mail", "sn", "objectclass"};
  static const LdifFilter kTelling{kNames};
  Seen seen;
  LineReader::Line line;
  bool any_entry = false;
  std::string folded;
  while (true) {
    // Of most lines it is only of interest that they are attributes of the entry.
    const auto wanted = [&seen](std::string_view text) {
      if (text.empty() || !seen.any || kTelling.MayBegin(text)) return true;
      const char first = text.front();
      return first != ' ' && first != '#' &&
             (first == ':' || FindNameEnd(text) == std::string_view::npos);
    };
    if (!lines_.TryNext(&line, wanted)) {
      PV_ASSIGN_OR_RETURN(const bool more, lines_.Next(&line));
      if (!more) break;
    }
    if (line.text.empty()) {
      Close(&seen);
      continue;
    }
    const char first = line.text.front();
    if (first == ' ' || first == '#') continue;
    std::string_view name;
    std::string_view value;
    bool options = false;
    char mark = ' ';
    if (!SplitLdifLine(line.text, &name, &options, &mark, &value)) {
      if (seen.dn)
        notes_.Add(name_ + ": byte " + std::to_string(line.offset) +
                   ": a line without a colon is left out");
      continue;
    }
    if (options) name = {};  // "cn;lang-ja" is no "cn"
    const bool is_dn = IsNamed(name, "dn");
    if (is_dn && seen.dn) Close(&seen);
    if (!seen.any) {
      seen.any = true;
      seen.offset = line.offset;
    }
    seen.dn = seen.dn || is_dn;
    any_entry = any_entry || is_dn;
    switch (LowerAscii(first)) {
      case 'c':
        if (IsNamed(name, "cn")) seen.name = true;
        if (IsNamed(name, "changetype") && ToLower(TrimBlanks(value)) != "add") seen.nobody = true;
        break;
      case 'g':
        if (IsNamed(name, "givenname")) seen.name = true;
        break;
      case 'm':
        if (IsNamed(name, "mail")) seen.mail = true;
        break;
      case 's':
        if (IsNamed(name, "sn")) seen.name = true;
        break;
      case 'o':
        if (IsNamed(name, "objectclass")) {
          const int after = lines_.TryPeek();
          if (mark != ' ' || after < 0 || after == ' ') {
            folded.assign(value);
            while (true) {
              PV_ASSIGN_OR_RETURN(const int next, lines_.Peek());
              if (next != ' ' || folded.size() > 1000) break;
              PV_RETURN_IF_ERROR(lines_.Next(&line).status());
              folded.append(line.text.substr(1));
            }
            if (mark == ':') folded = DecodeBase64(folded).value_or("");
            value = folded;
          }
          seen.classes = true;
          const EntryClass kind = KindOfClass(value, seen.class_count++);
          seen.person = seen.person || kind == EntryClass::kPerson;
          seen.group = seen.group || kind == EntryClass::kGroup;
          seen.nobody = seen.nobody || kind == EntryClass::kNobody;
        }
        break;
      default:
        break;
    }
  }
  Close(&seen);
  PV_ASSIGN_OR_RETURN(const std::uint64_t size, file_->Size());
  if (!any_entry && offsets_.empty() && size > 0 && profile_ == LdifProfile::kAddressBook) {
    return Status::Corrupt(name_ + ": this is no LDIF file: it has no entry");
  }
  if (offsets_.size() > UINT32_MAX / 2) {
    return Status::Limit(name_ + ": more contacts than can be numbered");
  }
  return Status::Ok();
}

Status LdifBook::Open() {
  char start[3] = {};
  PV_ASSIGN_OR_RETURN(const std::size_t got, file_->Read(0, start, sizeof start));
  const std::string_view mark(start, got);
  if (mark.starts_with("\xFF\xFE") || mark.starts_with("\xFE\xFF")) {
    return Status::Corrupt(name_ + ": LDIF is UTF-8 text, and this is UTF-16");
  }
  lines_.Seek(mark == kByteOrderMark ? kByteOrderMark.size() : 0);
  PV_RETURN_IF_ERROR(Scan());
  offsets_.shrink_to_fit();
  PV_RETURN_IF_ERROR(ReadLists());
  return lists_.empty() ? Status::Ok() : Connect();
}

Status LdifBook::ReadLists() {
  for (const std::uint64_t offset : list_offsets_) PV_RETURN_IF_ERROR(ReadList(offset));
  return Status::Ok();
}

Status LdifBook::ReadList(std::uint64_t offset) {
  lines_.Seek(offset);
  LdifEntryReader entry(&lines_, profile_);
  LdifAttribute attribute;
  DistributionList list;
  std::string dn;
  bool displayed = false;  // the name is the one to display
  while (true) {
    PV_ASSIGN_OR_RETURN(const bool more, entry.Next(&attribute));
    if (!more) break;
    attribute.Decode();
    if (!attribute.usable || attribute.options) continue;
    const std::string_view name = attribute.name;
    std::string value = Utf8OrAnsi(TrimSpace(attribute.value));
    if (value.empty()) continue;
    if (IsNamed(name, "dn")) {
      dn = std::move(value);
    } else if (IsNamed(name, "member") || IsNamed(name, "uniquemember")) {
      list.members.push_back(Member::OfAddress({}, std::move(value)));
    } else if (IsNamed(name, "displayname") && profile_ == LdifProfile::kDirectory) {
      list.name = std::move(value);
      displayed = true;
    } else if (IsNamed(name, "cn") && list.name.empty() && !displayed) {
      list.name = std::move(value);
    } else {
      const LdifMeaning& meaning = attribute.meaning;
      if (meaning.tag == kNickName && list.nickname.empty()) list.nickname = std::move(value);
      if (meaning.tag == kComment && list.description.empty()) list.description = std::move(value);
    }
  }
  if (list.name.empty()) list.name = DnPart(ParseDn(dn), "cn");
  list_names_.push_back(NormalDn(dn));
  lists_.push_back(std::move(list));
  return Status::Ok();
}

// Turns the names of members into what they lead to: a contact's entry, a list's entry, the
// address in the name, or a list of that name.
Status LdifBook::Connect() {
  std::unordered_map<std::string, Member> targets;
  for (const DistributionList& list : lists_) {
    for (const Member& member : list.members) targets.emplace(NormalDn(member.name), Member{});
  }
  std::unordered_map<std::string_view, std::uint32_t> list_by_name;
  std::size_t open = targets.size();
  for (std::uint32_t i = 0; i < lists_.size(); ++i) {
    list_by_name.emplace(lists_[i].name, i);
    const auto found = targets.find(list_names_[i]);
    if (found == targets.end() || found->second.kind != Member::Kind::kAddress) continue;
    found->second = Member::OfList(i);
    --open;
  }
  LdifAttribute attribute;
  for (std::uint32_t i = 0; i < count() && open > 0; ++i) {
    lines_.Seek(offsets_[i]);
    LdifEntryReader entry(&lines_, profile_);
    while (true) {
      PV_ASSIGN_OR_RETURN(const bool more, entry.Next(&attribute));
      if (!more) break;
      if (!IsNamed(attribute.name, "dn")) continue;
      attribute.Decode();
      const auto found = targets.find(NormalDn(Utf8OrAnsi(attribute.value)));
      if (found != targets.end() && found->second.kind == Member::Kind::kAddress) {
        found->second = Member::OfContact(i);
        --open;
      }
      break;
    }
  }
  for (DistributionList& list : lists_) {
    for (Member& member : list.members) {
      const Member& target = targets.find(NormalDn(member.name))->second;
      if (target.kind != Member::Kind::kAddress) {
        member = target;
        continue;
      }
      const Dn dn = ParseDn(member.name);
      const std::string address(TrimSpace(DnPart(dn, "mail")));
      std::string name(DnPart(dn, "cn"));
      const auto named = list_by_name.find(name);
      if (address.empty() && !name.empty() && named != list_by_name.end()) {
        member = Member::OfList(named->second);
      } else {
        if (name.empty() && address.empty()) name = member.name;
        member = Member::OfAddress(address, std::move(name));
      }
    }
  }
  list_names_.clear();
  return Status::Ok();
}

// "20080526234914Z" or seconds from 1970.
void AddModified(std::string_view value, Contact* contact) {
  const std::size_t digits = std::min(value.find_first_not_of("0123456789"), value.size());
  if (digits >= 14) {
    const auto date = ParseDigits(value.substr(0, 8));
    const auto hour = ParseDecimal(value.substr(8, 2));
    const auto minute = ParseDecimal(value.substr(10, 2));
    const auto second = ParseDecimal(value.substr(12, 2));
    if (!date || *hour > 23 || *minute > 59 || *second > 59) return;
    contact->Add(kLastModification,
                 automation::Date{AutomationFromDateTime({*date, static_cast<std::int32_t>(*hour),
                                                          static_cast<std::int32_t>(*minute),
                                                          static_cast<std::int32_t>(*second)})});
  } else if (digits == value.size()) {
    contact->AddUnixTime(kLastModification, ParseDecimal(value).value_or(0));
  }
}

std::int32_t SmallNumber(std::string_view text) {
  const auto number = ParseDecimal(TrimBlanks(text));
  return number && *number < 10'000 ? static_cast<std::int32_t>(*number) : 0;
}

void LdifBook::Apply(LdifMeaning meaning, std::string_view value, Contact* contact) {
  std::string decoded;
  if (!IsAscii(value)) {
    decoded = Utf8OrAnsi(value);
    value = decoded;
  }
  switch (meaning.use) {
    case LdifUse::kNone:
      break;
    case LdifUse::kText: {
      const auto weak = std::find(weak_.begin(), weak_.end(), meaning.tag);
      if (weak != weak_.end() && !TrimSpace(value).empty()) {
        weak_.erase(weak);
        contact->PutText(meaning.tag, value);
      } else {
        contact->AddText(meaning.tag, value);
      }
      break;
    }
    case LdifUse::kWeak:
      if (!contact->Has(meaning.tag) && !TrimSpace(value).empty()) {
        weak_.push_back(meaning.tag);
        contact->AddText(meaning.tag, value);
      }
      break;
    case LdifUse::kLine:
      contact->AddLine(meaning.tag, value);
      break;
    case LdifUse::kPostal: {
      std::string lines(value);
      std::replace(lines.begin(), lines.end(), '$', '\n');
      contact->AddText(meaning.tag, lines);
      break;
    }
    case LdifUse::kName: {
      const Dn dn = ParseDn(value);
      contact->AddText(meaning.tag, DnPart(dn, "cn"));
      break;
    }
    case LdifUse::kUrl:
      contact->AddText(meaning.tag, value.substr(0, value.find(' ')));
      break;
    case LdifUse::kAddress:
      contact->AddAddress(value);
      break;
    case LdifUse::kBirthYear:
      birthday_.year = SmallNumber(value);
      break;
    case LdifUse::kBirthMonth:
      birthday_.month = SmallNumber(value);
      break;
    case LdifUse::kBirthDay:
      birthday_.day = SmallNumber(value);
      break;
    case LdifUse::kDigits:
      if (const auto date = ParseDigits(TrimBlanks(value))) contact->AddDate(meaning.tag, *date);
      break;
    case LdifUse::kModified:
      AddModified(TrimBlanks(value), contact);
      break;
  }
}

Status LdifBook::ReadSome(std::uint32_t position, const Wanted& wanted, Contact* contact) {
  if (wanted != filter_.wanted()) filter_ = LdifFilter(wanted);
  contact->Clear();
  weak_.clear();
  birthday_ = {};
  lines_.Seek(offsets_[position]);
  LdifEntryReader entry(&lines_, profile_, &filter_);
  LdifAttribute& attribute = attribute_;
  PV_ASSIGN_OR_RETURN(const int first, lines_.Peek());
  if (first < 0) {
    return Status::IoError(name_ + ": contact " + std::to_string(position + 1) +
                           ": the file was changed while it was read");
  }
  while (true) {
    PV_ASSIGN_OR_RETURN(const bool more, entry.Next(&attribute));
    if (!more) break;
    attribute.Decode();
    if (!attribute.usable) {
      notes_.Add(name_ + ": contact " + std::to_string(position + 1) + ": the value of " +
                 std::string(attribute.name) + " cannot be read and is left out");
      continue;
    }
    Apply(attribute.meaning, attribute.value, contact);
  }
  contact->AddDate(kBirthday, birthday_);
  contact->Finish();
  return Status::Ok();
}

}  // namespace

Result<std::unique_ptr<Book>> OpenLdif(std::unique_ptr<platform::File> file, std::string name,
                                       LdifProfile profile) {
  auto book = std::make_unique<LdifBook>(std::move(file), std::move(name), profile);
  PV_RETURN_IF_ERROR(book->Open());
  return std::unique_ptr<Book>(std::move(book));
}

}  // namespace pv::converter
