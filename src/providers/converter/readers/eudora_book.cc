// Reads Eudora's nickname files. Tested by eudora_book_test.cc.
#include "providers/converter/readers/eudora_book.h"

#include <algorithm>
#include <utility>

#include "base/text.h"
#include "platform/system.h"
#include "providers/converter/readers/nicknames.h"
#include "providers/converter/text/decode.h"
#include "providers/converter/text/line_reader.h"

namespace pv::converter {
namespace {

constexpr int kMacRoman = 10000;

struct Tag {
  std::string_view name;
  PropertyTag tag;
};

// The fields of a note that are text of one property; the first of two for the same counts.
constexpr Tag kTags[] = {
    {"name", kDisplayName},
    {"first", kGivenName},
    {"last", kSurname},
    {"title", kTitle},
    {"company", kCompany},
    {"address", kHomeStreet},
    {"city", kHomeCity},
    {"state", kHomeState},
    {"zip", kHomePostalCode},
    {"country", kHomeCountry},
    {"phone", kHomePhone},
    {"fax", kHomeFax},
    {"mobile", kCellPhone},
    {"web", kPersonalHomePage},
    {"address2", kBusinessStreet},
    {"city2", kBusinessCity},
    {"state2", kBusinessState},
    {"zip2", kBusinessPostalCode},
    {"country2", kBusinessCountry},
    {"phone2", kBusinessPhone},
    {"fax2", kBusinessFax},
    {"mobile2", kCarPhone},
    {"web2", kBusinessHomePage},
    {"otherphone", kOtherPhone},
    {"otherweb", kPersonalHomePage},
};

struct Entry {
  std::string nickname;
  std::string addresses;
  std::string note;
  bool list = false;
};

class EudoraBook : public LoadedBook {
 public:
  Status ReadFile(const std::string& path);
  void Resolve();

 private:
  void AddContact(const Entry& entry);

  std::vector<Entry> entries_;
  automation::TextKeyMap<std::size_t> by_nickname_;  // of the file being read
};

bool TakesKeyword(std::string_view* line, std::string_view keyword) {
  if (line->size() <= keyword.size() ||
      !EqualsIgnoreCase(line->substr(0, keyword.size()), keyword)) {
    return false;
  }
  const char after = (*line)[keyword.size()];
  if (after != ' ' && after != '\t') return false;
  *line = TrimSpace(line->substr(keyword.size()));
  return true;
}

// The nickname at the start of the line, which may stand in quotes.
std::string_view TakeNickname(std::string_view* line) {
  std::size_t end;
  std::string_view nickname;
  if (line->starts_with('"')) {
    end = std::min(line->find('"', 1), line->size());
    nickname = line->substr(1, end - 1);
    ++end;
  } else {
    end = std::min(line->find_first_of(" \t"), line->size());
    nickname = line->substr(0, end);
  }
  *line = end < line->size() ? TrimSpace(line->substr(end)) : std::string_view();
  return nickname;
}

Status EudoraBook::ReadFile(const std::string& path) {
  PV_ASSIGN_OR_RETURN(const std::unique_ptr<platform::File> file, OpenSource(path));
  std::string start(4096, '\0');
  PV_ASSIGN_OR_RETURN(const std::size_t got, file->Read(0, start.data(), start.size()));
  start.resize(got);
  // Only the classic Mac ends lines with CR alone, and has an alphabet of its own.
  std::shared_ptr<const CodePage> mac;
  if (start.find('\r') != std::string::npos && start.find('\n') == std::string::npos) {
    PV_ASSIGN_OR_RETURN(mac, platform::CurrentSystem().code_pages->Load(kMacRoman));
  }
  by_nickname_.clear();
  LineReader lines(file.get(), LineReader::Ends::kAnyEnd);
  LineReader::Line line;
  bool any_text = false;
  bool any_entry = false;
  while (true) {
    PV_ASSIGN_OR_RETURN(const bool more, lines.Next(&line));
    if (!more) break;
    std::string decoded;
    std::string_view text = TrimSpace(line.text);
    if (!IsAscii(text)) {
      decoded = mac != nullptr && !IsValidUtf8(text) ? mac->Decode(text) : Utf8OrAnsi(text);
      text = decoded;
    }
    if (text.empty()) continue;
    any_text = true;
    const bool alias = TakesKeyword(&text, "alias");
    if (!alias && !TakesKeyword(&text, "note")) {
      notes_.Add(path + ": byte " + std::to_string(line.offset) +
                 ": a line that is neither alias nor note is left out");
      continue;
    }
    any_entry = true;
    if (line.cut) {
      notes_.Add(path + ": byte " + std::to_string(line.offset) +
                 ": a line is too long; its end "
                 "is left out");
    }
    const std::string nickname(TakeNickname(&text));
    const auto [known, fresh] = by_nickname_.emplace(nickname, entries_.size());
    if (fresh) entries_.push_back({nickname, {}, {}, false});
    std::string& target = alias ? entries_[known->second].addresses : entries_[known->second].note;
    if (target.empty()) target = text;
  }
  if (any_text && !any_entry) {
    return Status::Corrupt(path + ": this is no nickname file: it has no alias");
  }
  return Status::Ok();
}

// Takes "<tag:value>" fields out of a note; what is left is the comment.
void ReadNote(std::string note, Contact* contact) {
  std::replace(note.begin(), note.end(), '\x03', '\n');
  std::string comment;
  std::string_view rest = note;
  while (!rest.empty()) {
    const std::size_t open = rest.find('<');
    comment += rest.substr(0, open);
    if (open == std::string_view::npos) break;
    int depth = 0;
    std::size_t close = open;
    for (; close < rest.size(); ++close) {
      if (rest[close] == '<') ++depth;
      if (rest[close] == '>' && --depth == 0) break;
    }
    if (close == rest.size()) {  // brackets that do not close are text
      comment += rest.substr(open);
      break;
    }
    const std::string_view field = rest.substr(open, close + 1 - open);
    rest = rest.substr(close + 1);
    const std::size_t colon = field.find(':');
    if (colon == std::string_view::npos) {
      comment += field;
      continue;
    }
    const std::string name = ToLower(TrimSpace(field.substr(1, colon - 1)));
    const std::string_view value = TrimSpace(field.substr(colon + 1, field.size() - colon - 2));
    const auto* const known = std::find_if(std::begin(kTags), std::end(kTags),
                                           [&](const Tag& tag) { return tag.name == name; });
    if (known != std::end(kTags)) {
      contact->AddText(known->tag, value);
    } else if (name == "otheremail") {
      std::string addresses(value);
      std::replace(addresses.begin(), addresses.end(), '\n', ',');
      SplitAddresses(addresses, [&](std::string_view item) {
        contact->AddAddress(ParseMailbox(item).address);
      });
    } else if (name != "primary") {  // which of the two postal addresses comes first
      comment += field;
    }
  }
  contact->AddText(kComment, TrimSpace(comment));
}

void EudoraBook::AddContact(const Entry& entry) {
  Contact contact;
  const Mailbox mailbox = ParseMailbox(entry.addresses);
  contact.AddText(kNickName, entry.nickname);
  contact.AddAddress(mailbox.address);
  ReadNote(entry.note, &contact);
  contact.AddText(kDisplayName, mailbox.name);
  contact.Finish();
  contact.AddText(kDisplayName, entry.nickname);
  contacts_.push_back(std::move(contact));
}

void EudoraBook::Resolve() {
  automation::TextKeyMap<bool> is_nickname;
  for (const Entry& entry : entries_) is_nickname.emplace(entry.nickname, true);
  Nicknames nicknames;
  std::uint32_t list_count = 0;
  for (Entry& entry : entries_) {
    std::size_t items = 0;
    SplitAddresses(entry.addresses, [&](std::string_view item) {
      ++items;
      entry.list =
          entry.list || (is_nickname.contains(item) && !EqualsIgnoreCase(item, entry.nickname));
    });
    entry.list = entry.list || items > 1;
    if (entry.list) {
      nicknames.Add(entry.nickname, Member::OfList(list_count++));
    } else {
      nicknames.Add(entry.nickname, Member::OfContact(count()));
      AddContact(entry);
    }
  }
  for (const Entry& entry : entries_) {
    if (!entry.list) continue;
    DistributionList list;
    list.name = list.nickname = entry.nickname;
    Contact about;  // a list's note has the same fields as a contact's
    ReadNote(entry.note, &about);
    list.description = about.Text(kComment);
    SplitAddresses(entry.addresses, [&](std::string_view item) {
      list.members.push_back(MemberFromItem(item, nicknames));
    });
    lists_.push_back(std::move(list));
  }
  entries_.clear();
  by_nickname_.clear();
}

}  // namespace

Result<std::unique_ptr<Book>> OpenEudora(const std::vector<std::string>& paths) {
  auto book = std::make_unique<EudoraBook>();
  for (const std::string& path : paths) PV_RETURN_IF_ERROR(book->ReadFile(path));
  book->Resolve();
  return std::unique_ptr<Book>(std::move(book));
}

}  // namespace pv::converter
