// Reads Pine's address book. Tested by pine_book_test.cc.
#include "providers/converter/readers/pine_book.h"

#include <utility>
#include <vector>

#include "providers/converter/readers/nicknames.h"
#include "providers/converter/text/decode.h"
#include "providers/converter/text/line_reader.h"

namespace pv::converter {

Member MemberFromItem(std::string_view item, const Nicknames& nicknames) {
  if (const Member* const found = nicknames.Find(item)) return *found;
  Mailbox mailbox = ParseMailbox(item);
  return Member::OfAddress(std::move(mailbox.address), std::move(mailbox.name));
}

namespace {

constexpr std::size_t kFields = 5;

class PineBook : public LoadedBook {
 public:
  Status Open(platform::File* file, const std::string& name);

 private:
  struct Entry {
    std::vector<std::string> fields;  // nickname, full name, address, folder, comment
    std::string_view Field(std::size_t i) const {
      return i < fields.size() ? std::string_view(fields[i]) : std::string_view();
    }
    bool IsList() const { return Field(2).starts_with('('); }
  };

  Status ReadEntries(platform::File* file, const std::string& name);
  void AddContact(const Entry& entry);
  void AddList(const Entry& entry, const Nicknames& nicknames);

  std::vector<Entry> entries_;
};

// "Last, First" is how Pine has people file names; shown they are the other way round.
void AddName(std::string_view full_name, Contact* contact) {
  const std::string name = DecodeHeaderWords(full_name);
  const std::size_t comma = name.find(',');
  if (comma == std::string::npos) {
    contact->AddText(kDisplayName, name);
    return;
  }
  contact->AddText(kSurname, TrimSpace(std::string_view(name).substr(0, comma)));
  contact->AddText(kGivenName, TrimSpace(std::string_view(name).substr(comma + 1)));
}

void PineBook::AddContact(const Entry& entry) {
  Contact contact;
  const Mailbox mailbox = ParseMailbox(entry.Field(2));
  AddName(entry.Field(1).empty() ? mailbox.name : entry.Field(1), &contact);
  contact.AddText(kNickName, DecodeHeaderWords(entry.Field(0)));
  contact.AddText(kComment, DecodeHeaderWords(entry.Field(4)));
  contact.AddAddress(Utf8OrAnsi(mailbox.address));
  contact.Finish();
  contacts_.push_back(std::move(contact));
}

void PineBook::AddList(const Entry& entry, const Nicknames& nicknames) {
  DistributionList list;
  list.nickname = DecodeHeaderWords(entry.Field(0));
  list.name = DecodeHeaderWords(entry.Field(1));
  if (list.name.empty()) list.name = list.nickname;
  list.description = DecodeHeaderWords(entry.Field(4));
  std::string_view items = entry.Field(2).substr(1);
  if (items.ends_with(')')) items.remove_suffix(1);
  SplitAddresses(items, [&](std::string_view item) {
    Member member = MemberFromItem(item, nicknames);
    member.address = Utf8OrAnsi(member.address);
    member.name = DecodeHeaderWords(member.name);
    list.members.push_back(std::move(member));
  });
  lists_.push_back(std::move(list));
}

Status PineBook::ReadEntries(platform::File* file, const std::string& name) {
  LineReader lines(file);
  LineReader::Line line;
  std::string whole;
  bool any_text = false;
  const auto end_entry = [&] {
    if (!whole.empty() && !whole.starts_with("#DELETED")) {
      Entry entry;
      for (std::size_t start = 0; start <= whole.size() && entry.fields.size() < kFields;) {
        const std::size_t tab = std::min(whole.find('\t', start), whole.size());
        const std::string_view field = std::string_view(whole).substr(start, tab - start);
        entry.fields.emplace_back(TrimSpace(field));
        start = tab + 1;
      }
      if (entry.fields.size() >= 3) {
        entries_.push_back(std::move(entry));
      } else {
        notes_.Add(name +
                   ": an entry without an address is left out: " + Utf8OrAnsi(whole.substr(0, 60)));
      }
    }
    whole.clear();
  };
  while (true) {
    PV_ASSIGN_OR_RETURN(const bool more, lines.Next(&line));
    if (!more) break;
    any_text = any_text || !TrimSpace(line.text).empty();
    if (!line.text.starts_with(' ')) end_entry();
    if (line.cut || whole.size() + line.text.size() > LineReader::kLongest) {
      notes_.Add(name + ": byte " + std::to_string(line.offset) +
                 ": an entry is too long; its end is left out");
      line.text = line.text.substr(0, LineReader::kLongest - whole.size());
    }
    // What folding put before the rest of an entry is no part of it.
    const std::size_t first = line.text.find_first_not_of(' ');
    if (first != std::string_view::npos) whole.append(line.text.substr(first));
  }
  end_entry();
  if (entries_.empty() && notes_.empty() == false && any_text) {
    return Status::Corrupt(name + ": this is no Pine address book: it has no entry");
  }
  return Status::Ok();
}

Status PineBook::Open(platform::File* file, const std::string& name) {
  PV_RETURN_IF_ERROR(ReadEntries(file, name));
  Nicknames nicknames;
  std::uint32_t list_count = 0;
  for (const Entry& entry : entries_) {
    if (entry.IsList()) {
      nicknames.Add(entry.Field(0), Member::OfList(list_count++));
    } else {
      nicknames.Add(entry.Field(0), Member::OfContact(count()));
      AddContact(entry);
    }
  }
  for (const Entry& entry : entries_) {
    if (entry.IsList()) AddList(entry, nicknames);
  }
  entries_.clear();
  entries_.shrink_to_fit();
  return Status::Ok();
}

}  // namespace

Result<std::unique_ptr<Book>> OpenPine(platform::File* file, const std::string& name) {
  auto book = std::make_unique<PineBook>();
  PV_RETURN_IF_ERROR(book->Open(file, name));
  return std::unique_ptr<Book>(std::move(book));
}

}  // namespace pv::converter
