// Formats and their files. Tested by open_book_test.cc.
#include "providers/converter/open_book.h"

#include <algorithm>
#include <utility>

#include "base/text.h"
#include "platform/system.h"
#ifdef PV_WITH_LDAP
#include "providers/converter/readers/directory_book.h"
#endif
#include "providers/converter/readers/eudora_book.h"
#include "providers/converter/readers/ldif_book.h"
#include "providers/converter/readers/mab_book.h"
#include "providers/converter/readers/opera_book.h"
#include "providers/converter/readers/palm_book.h"
#include "providers/converter/readers/pine_book.h"
#ifdef PV_WITH_PST
#include "providers/converter/readers/pst_book.h"
#endif
#include "providers/converter/readers/wab_book.h"
#include "providers/converter/text/line_reader.h"

namespace pv::converter {
namespace {

using OpenedBook = Result<std::unique_ptr<Book>>;

Status Always() { return Status::Ok(); }
Status NeedsItsProgram() {
  return Status::Unsupported("only the program itself, on its own system, can read its books");
}
[[maybe_unused]] Status NotBuilt() {
  return Status::Unsupported("this build was made without the library that reads these files");
}
Status NeedsALibrary() { return Status::Unsupported("no reader for these files is known"); }

// Opens each file of the location and joins the books.
template <typename OpenFile>
OpenedBook OpenEach(const std::string& location, const char* what, bool (*admits)(std::string_view),
                    OpenFile open) {
  PV_ASSIGN_OR_RETURN(const std::vector<std::string> paths, FilesAt(location, what, admits));
  std::vector<std::unique_ptr<Book>> books;
  for (const std::string& path : paths) {
    PV_ASSIGN_OR_RETURN(std::unique_ptr<platform::File> file, OpenSource(path));
    PV_ASSIGN_OR_RETURN(std::unique_ptr<Book> book, open(std::move(file), path));
    books.push_back(std::move(book));
  }
  return JoinBooks(std::move(books));
}

OpenedBook Ldif(const std::string& location, const Access&) {
  return OpenEach(
      location, "LDIF file (*.ldif)",
      [](std::string_view name) { return name.ends_with(".ldif") || name.ends_with(".ldi"); },
      [](std::unique_ptr<platform::File> file, const std::string& path) {
        return OpenLdif(std::move(file), path, LdifProfile::kAddressBook);
      });
}

OpenedBook TheBat(const std::string& location, const Access& access) {
  // Its own files are refused by name, wherever the location leads to them.
  PV_ASSIGN_OR_RETURN(
      const std::vector<std::string> paths,
      FilesAt(location, "exported address book (*.ldif)", [](std::string_view name) {
        return name.ends_with(".ldif") || name.ends_with(".abd");
      }));
  bool exported = false;
  for (const std::string& path : paths) {
    exported = exported || !EqualsIgnoreCase(platform::ExtensionOf(path), ".abd");
  }
  if (!exported) {
    return Status::Unsupported(paths.front() +
                               ": The Bat!'s own file (.abd) cannot be read; export the address "
                               "book as LDIF");
  }
  return Ldif(location, access);
}

OpenedBook Pine(const std::string& location, const Access&) {
  return OpenEach(
      location, "Pine address book (.addressbook)",
      [](std::string_view name) { return name.ends_with(".addressbook"); },
      [](std::unique_ptr<platform::File> file, const std::string& path) {
        return OpenPine(file.get(), path);
      });
}

OpenedBook Opera(const std::string& location, const Access&) {
  return OpenEach(
      location, "Opera contacts file (*.adr)",
      [](std::string_view name) { return name.ends_with("contacts.adr"); },
      [](std::unique_ptr<platform::File> file, const std::string& path) {
        return OpenOpera(file.get(), path);
      });
}

#ifdef PV_WITH_LDAP
constexpr Format kGal = {"GAL", "Global address list (LDAP directory)", &DirectoryAvailable,
                         &OpenDirectory};
#else
constexpr Format kGal = {"GAL", "Global address list (LDAP directory)", &NotBuilt, nullptr};
#endif

#ifdef PV_WITH_PST
OpenedBook Pst(const std::string& location, const Access&) {
  return OpenEach(
      location, "Outlook store (*.pst)",
      [](std::string_view name) { return name.ends_with(".pst"); },
      [](std::unique_ptr<platform::File> file, const std::string& path) {
        return OpenPst(std::move(file), path);
      });
}
constexpr Format kPst = {"PST", "Outlook personal folders", &PstAvailable, &Pst};
#else
constexpr Format kPst = {"PST", "Outlook personal folders", &NotBuilt, nullptr};
#endif

OpenedBook Wab(const std::string& location, const Access&) {
  return OpenEach(
      location, "Windows address book (*.wab)",
      [](std::string_view name) { return name.ends_with(".wab"); },
      [](std::unique_ptr<platform::File> file, const std::string& path) {
        return OpenWab(file.get(), path);
      });
}

OpenedBook Palm(const std::string& location, const Access&) {
  return OpenEach(
      location, "Palm address book (address.dat or AddressDB.pdb)",
      [](std::string_view name) {
        return name == "address.dat" ||
               (name.ends_with(".pdb") && name.find("addressdb") != std::string_view::npos);
      },
      [](std::unique_ptr<platform::File> file, const std::string& path) {
        return OpenPalm(file.get(), path);
      });
}

// A folder is the program's own: nndbase.txt, and more files in its folder of nicknames.
OpenedBook Eudora(const std::string& location, const Access&) {
  constexpr const char* kWhat = "nickname file (nndbase.txt)";
  const auto is_text = [](std::string_view name) { return name.ends_with(".txt"); };
  const auto is_base = [](std::string_view name) {
    return name == "nndbase.txt" || name == "nndbase";
  };
  PV_ASSIGN_OR_RETURN(const platform::FileInfo info,
                      platform::CurrentSystem().files->Stat(location));
  if (!info.is_directory) return OpenEudora({location});
  std::vector<std::string> paths;
  Result<std::vector<std::string>> base = FilesAt(location, kWhat, is_base);
  if (base.ok()) paths = std::move(*base);
  for (const char* const folder : {"Nickname", "Nicknames", "nickname"}) {
    const std::string path = platform::JoinPath(location, folder);
    Result<std::vector<std::string>> more = FilesAt(path, kWhat, is_text);
    if (!more.ok()) continue;
    paths.insert(paths.end(), more->begin(), more->end());
    break;
  }
  if (paths.empty()) return base.status();
  return OpenEudora(paths);
}

OpenedBook Mab(const std::string& location, const Access&) {
  return OpenEach(
      location, "MAB file (*.mab)", [](std::string_view name) { return name.ends_with(".mab"); },
      [](std::unique_ptr<platform::File> file, const std::string& path) {
        return OpenMab(file.get(), path);
      });
}

constexpr Format kFormats[] = {
    kPst,
    {"PAB", "Outlook personal address book", &NeedsALibrary, nullptr},
    {"WAB", "Windows address book (Outlook Express)", &Always, &Wab},
    {"PFC", "AOL personal filing cabinet", &NeedsALibrary, nullptr},
    {"AOL", "AOL address book", &NeedsItsProgram, nullptr},
    {"EUD", "Eudora nicknames", &Always, &Eudora},
    {"MAPI", "MAPI address book", &NeedsItsProgram, nullptr},
    {"DEFM", "Default MAPI address book", &NeedsItsProgram, nullptr},
    kGal,
    {"GW", "GroupWise address book", &NeedsItsProgram, nullptr},
    {"LDIF", "LDIF file", &Always, &Ldif},
    {"NSF", "Lotus Notes address book", &NeedsItsProgram, nullptr},
    {"MAB", "Mozilla and Thunderbird address book", &Always, &Mab},
    {"NS4", "Netscape 4 address book", &NeedsALibrary, nullptr},
    {"ADR", "Opera contacts", &Always, &Opera},
    {"PALM", "Palm address book", &Always, &Palm},
    {"PINE", "Pine address book", &Always, &Pine},
    {"TB", "The Bat! address book, exported as LDIF", &Always, &TheBat},
};

class JoinedBook : public Book {
 public:
  explicit JoinedBook(std::vector<std::unique_ptr<Book>> books) : books_(std::move(books)) {
    for (const std::unique_ptr<Book>& book : books_) {
      const auto first_list = static_cast<std::uint32_t>(lists_.size());
      for (DistributionList list : book->lists()) {
        for (Member& member : list.members) {
          if (member.kind == Member::Kind::kContact) member.position += count_;
          if (member.kind == Member::Kind::kList) member.position += first_list;
        }
        lists_.push_back(std::move(list));
      }
      notes_.Append(book->notes());
      first_.push_back(count_);
      count_ += book->count();
    }
  }

  std::uint32_t count() const override { return count_; }

  Status ReadSome(std::uint32_t position, const Wanted& wanted, Contact* contact) override {
    const auto after = std::upper_bound(first_.begin(), first_.end(), position);
    const auto number = static_cast<std::size_t>(after - first_.begin()) - 1;
    return books_[number]->ReadSome(position - first_[number], wanted, contact);
  }

 private:
  std::vector<std::unique_ptr<Book>> books_;
  std::vector<std::uint32_t> first_;
  std::uint32_t count_ = 0;
};

}  // namespace

std::span<const Format> Formats() { return kFormats; }

const Format* FindFormat(std::string_view code) {
  for (const Format& format : kFormats) {
    if (EqualsIgnoreCase(format.code, TrimBlanks(code))) return &format;
  }
  return nullptr;
}

Result<std::vector<std::string>> FilesAt(const std::string& location, const char* what,
                                         bool (*admits)(std::string_view)) {
  platform::FileSystem* const files = platform::CurrentSystem().files;
  PV_ASSIGN_OR_RETURN(const platform::FileInfo info, files->Stat(location));
  if (!info.is_directory) return std::vector<std::string>{location};
  PV_ASSIGN_OR_RETURN(const std::vector<std::string> names, files->List(location));
  std::vector<std::string> paths;
  for (const std::string& name : names) {
    if (!admits(ToLower(name))) continue;
    const std::string path = platform::JoinPath(location, name);
    const Result<platform::FileInfo> found = files->Stat(path);
    if (found.ok() && !found->is_directory) paths.push_back(path);
  }
  if (paths.empty()) return Status::NotFound(location + ": the folder has no " + what);
  std::sort(paths.begin(), paths.end());
  return paths;
}

std::unique_ptr<Book> JoinBooks(std::vector<std::unique_ptr<Book>> books) {
  if (books.size() == 1) return std::move(books.front());
  return std::make_unique<JoinedBook>(std::move(books));
}

}  // namespace pv::converter
