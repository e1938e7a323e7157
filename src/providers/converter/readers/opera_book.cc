// Reads Opera's contacts. Tested by opera_book_test.cc.
//
//   #CONTACT / #FOLDER begin a block, TAB KEY=VALUE lines are its fields, and a "-" alone closes
//   the folder that was opened last. The folders that a contact lies in are its categories.
#include "providers/converter/readers/opera_book.h"

#include <utility>
#include <vector>

#include "base/text.h"
#include "providers/converter/text/decode.h"
#include "providers/converter/text/line_reader.h"

namespace pv::converter {
namespace {

constexpr std::string_view kHeader = "Opera Hotlist version ";
constexpr std::string_view kNewLine = "\x02\x02";

// A contact has no more categories than this, however deep its folder lies: the innermost.
constexpr std::size_t kMostCategories = 32;

struct Key {
  std::string_view name;
  PropertyTag tag;
};
constexpr Key kKeys[] = {
    {"NAME", kDisplayName},
    {"SHORT NAME", kNickName},
    {"PHONE", kHomePhone},
    {"FAX", kHomeFax},
    {"URL", kPersonalHomePage},
    {"DESCRIPTION", kComment},
    {"POSTALADDRESS", kPostalAddress},
};

constexpr std::uint32_t kNoFolder = UINT32_MAX;

struct Folder {
  std::string name;
  std::uint32_t outer = kNoFolder;
  bool trash = false;  // or inside one
};

std::vector<std::string> Lines(std::string_view value) {
  std::vector<std::string> lines;
  while (true) {
    const std::size_t end = value.find(kNewLine);
    lines.emplace_back(value.substr(0, end));
    if (end == std::string_view::npos) return lines;
    value.remove_prefix(end + kNewLine.size());
  }
}

class OperaBook : public LoadedBook {
 public:
  Status Open(platform::File* file, const std::string& name);

  // The names of folders are put to their contacts now: kept with each they would be many times the
  // file.
  Status ReadSome(std::uint32_t position, const Wanted& wanted, Contact* contact) override;

 private:
  void EndBlock();
  void Field(std::string_view key, std::string_view value);

  enum class Block : std::uint8_t { kNone, kContact, kFolder, kOther };
  Block block_ = Block::kNone;
  Contact contact_;
  std::vector<Folder> folders_;           // all that there were
  std::uint32_t folder_ = kNoFolder;      // the innermost that is open
  std::vector<std::uint32_t> folder_of_;  // of the contacts
};

void OperaBook::EndBlock() {
  if (block_ == Block::kContact && (folder_ == kNoFolder || !folders_[folder_].trash)) {
    contact_.Finish();
    if (!contact_.empty()) {
      contacts_.push_back(contact_);
      folder_of_.push_back(folder_);
    }
  }
  contact_.Clear();
  block_ = Block::kNone;
}

Status OperaBook::ReadSome(std::uint32_t position, const Wanted& wanted, Contact* contact) {
  PV_RETURN_IF_ERROR(LoadedBook::ReadSome(position, wanted, contact));
  std::vector<std::uint32_t> inside;
  for (std::uint32_t folder = folder_of_[position];
       folder != kNoFolder && inside.size() < kMostCategories; folder = folders_[folder].outer) {
    inside.push_back(folder);
  }
  for (auto folder = inside.rbegin(); folder != inside.rend(); ++folder) {
    contact->AddCategory(folders_[*folder].name);
  }
  return Status::Ok();
}

void OperaBook::Field(std::string_view key, std::string_view value) {
  if (block_ == Block::kFolder) {
    if (key == "NAME") folders_[folder_].name = value;
    if (key == "TRASH FOLDER" && value == "YES") folders_[folder_].trash = true;
    return;
  }
  if (block_ != Block::kContact) return;
  if (key == "MAIL") {
    for (const std::string& line : Lines(value)) {
      SplitAddresses(
          line, [&](std::string_view item) { contact_.AddAddress(ParseMailbox(item).address); });
    }
  } else if (key == "CREATED") {
    contact_.AddUnixTime(kCreationTime, ParseDecimal(value).value_or(0));
  }
  for (const Key& known : kKeys) {
    if (known.name != key) continue;
    std::string text;
    for (const std::string& line : Lines(value)) text.append(text.empty() ? "" : "\n").append(line);
    contact_.AddText(known.tag, text);
  }
}

Status OperaBook::Open(platform::File* file, const std::string& name) {
  LineReader lines(file);
  LineReader::Line line;
  PV_ASSIGN_OR_RETURN(bool more, lines.Next(&line));
  if (more && line.text.starts_with("\xEF\xBB\xBF")) line.text.remove_prefix(3);
  if (!more || !line.text.starts_with(kHeader)) {
    return Status::Corrupt(name +
                           ": this is no Opera contacts file: its first line does not say so");
  }
  while (true) {
    PV_ASSIGN_OR_RETURN(more, lines.Next(&line));
    if (!more) break;
    const std::string text = Utf8OrAnsi(line.text);
    const std::string_view trimmed = TrimSpace(text);
    if (line.cut) {
      notes_.Add(name + ": byte " + std::to_string(line.offset) +
                 ": a line is too long and is left out");
    } else if (trimmed == "-") {
      EndBlock();
      if (folder_ != kNoFolder) folder_ = folders_[folder_].outer;
    } else if (trimmed.starts_with('#')) {
      EndBlock();
      block_ = trimmed == "#CONTACT"  ? Block::kContact
               : trimmed == "#FOLDER" ? Block::kFolder
                                      : Block::kOther;
      if (block_ == Block::kFolder) {
        folders_.push_back({{}, folder_, folder_ != kNoFolder && folders_[folder_].trash});
        folder_ = static_cast<std::uint32_t>(folders_.size() - 1);
      }
    } else if (const std::size_t equals = trimmed.find('='); equals != std::string_view::npos) {
      Field(trimmed.substr(0, equals), trimmed.substr(equals + 1));
    }
  }
  EndBlock();
  return Status::Ok();
}

}  // namespace

Result<std::unique_ptr<Book>> OpenOpera(platform::File* file, const std::string& name) {
  auto book = std::make_unique<OperaBook>();
  PV_RETURN_IF_ERROR(book->Open(file, name));
  return std::unique_ptr<Book>(std::move(book));
}

}  // namespace pv::converter
