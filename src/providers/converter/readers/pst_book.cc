// Reads Outlook's stores with the library for them. Tested by pst_book_test.cc.
#include "providers/converter/readers/pst_book.h"

#include <algorithm>
#include <cstdio>
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/bytes.h"
#include "base/text.h"
#include "platform/system.h"
#include "providers/converter/model/mapi_values.h"
#include "providers/converter/readers/pst_library.h"
#include "providers/converter/readers/pst_properties.h"
#include "providers/converter/text/decode.h"

namespace pv::converter {
namespace {

// Folders below one another; damaged stores may have rings.
constexpr int kDeepest = 64;

constexpr std::uint32_t kMessageClass = 0x001A;
constexpr std::uint32_t kContainerClass = 0x3613;
constexpr std::uint32_t kWasteBasket = 0x35E3;
constexpr std::uint32_t kRecordKey = 0x0FF9;
constexpr std::uint32_t kBody = 0x1000;

// Properties in the set of contacts.
constexpr std::uint32_t kListName = 0x8053;
constexpr std::uint32_t kOneOffMembers = 0x8054;
constexpr std::uint32_t kMembers = 0x8055;
struct AddressIds {
  std::uint32_t type, shown, address;
};
constexpr AddressIds kAddresses[] = {
    {0x8082, 0x8084, 0x8083}, {0x8092, 0x8094, 0x8093}, {0x80A2, 0x80A4, 0x80A3}};
struct NamedText {
  std::uint32_t id;
  PropertyTag tag;
};
constexpr NamedText kNamedTexts[] = {
    {0x8045, kBusinessStreet},     {0x8046, kBusinessCity},    {0x8047, kBusinessState},
    {0x8048, kBusinessPostalCode}, {0x8049, kBusinessCountry}, {0x804A, kBusinessPoBox},
    {0x802B, kBusinessHomePage},   {0x8005, kDisplayName},
};

// An identifier of a member wraps that of its contact: {flags, GUID, kind, {flags, store, item}}.
constexpr std::string_view kWrapped(
    "\xC0\x91\xAD\xD3\x51\x9D\xCF\x11\xA4\xA9\x00\xAA\x00\x47\xFA\xA4", 16);
constexpr std::size_t kOneOffNames = 24;
constexpr std::uint16_t kOneOffUtf16 = 0x8000;

// How the library reads the file: through the file seam.
struct Source {
  platform::File* file;
  std::uint64_t offset = 0;
  Status failure;  // the last that there was
};
Source* SourceOf(std::intptr_t* handle) { return reinterpret_cast<Source*>(handle); }

int FreeSource(std::intptr_t** handle, libbfio_error_t**) {
  *handle = nullptr;  // it belongs to the book
  return 1;
}
int CloneSource(std::intptr_t**, std::intptr_t*, libbfio_error_t**) { return -1; }
int OpenNothing(std::intptr_t*, int, libbfio_error_t**) { return 1; }
int CloseNothing(std::intptr_t*, libbfio_error_t**) { return 0; }
ssize_t ReadSource(std::intptr_t* handle, std::uint8_t* buffer, size_t size, libbfio_error_t**) {
  Source* const source = SourceOf(handle);
  const auto got = source->file->Read(source->offset, buffer, size);
  if (!got.ok()) {
    source->failure = got.status();
    return -1;
  }
  source->offset += *got;
  return static_cast<ssize_t>(*got);
}
ssize_t WriteNothing(std::intptr_t*, const std::uint8_t*, size_t, libbfio_error_t**) { return -1; }
off64_t SeekSource(std::intptr_t* handle, off64_t offset, int whence, libbfio_error_t**) {
  Source* const source = SourceOf(handle);
  std::uint64_t base = 0;
  if (whence == SEEK_CUR) base = source->offset;
  if (whence == SEEK_END) {
    const auto size = source->file->Size();
    if (!size.ok()) return -1;
    base = *size;
  }
  const auto target = static_cast<off64_t>(base) + offset;
  if (target < 0) return -1;
  source->offset = static_cast<std::uint64_t>(target);
  return target;
}
int SourceExists(std::intptr_t*, libbfio_error_t**) { return 1; }
int SourceIsOpen(std::intptr_t*, libbfio_error_t**) { return 1; }
int SizeOfSource(std::intptr_t* handle, size64_t* size, libbfio_error_t**) {
  const auto got = SourceOf(handle)->file->Size();
  if (!got.ok()) return -1;
  *size = *got;
  return 1;
}

class PstBook : public Book {
 public:
  PstBook(const PffLibrary* library, std::unique_ptr<platform::File> file, std::string name)
      : library_(library),
        file_(std::move(file)),
        name_(std::move(name)),
        source_{file_.get(), 0, {}},
        handle_(library),
        store_(library) {}

  Status Open();

  std::uint32_t count() const override { return static_cast<std::uint32_t>(places_.size()); }
  Status ReadSome(std::uint32_t position, const Wanted& wanted, Contact* contact) override;

 private:
  struct Place {
    std::uint32_t folder;  // in folders_
    std::int32_t message;
  };
  struct RawList {
    std::vector<std::string> members;
    std::vector<std::string> one_offs;
  };

  Status CheckSize();
  void LookAtStore();
  void Walk(libpff_item_t* folder, int depth);
  void LookAtMessages(std::uint32_t folder);
  void AddList(const PstProperties& properties, std::uint32_t item);
  void Connect();
  Member MemberOf(const RawList& list, std::size_t i) const;
  void ReadContact(const PstProperties& properties, Contact* contact) const;

  const PffLibrary* library_;
  std::unique_ptr<platform::File> file_;
  std::string name_;
  Source source_;
  PffSource handle_;
  PffFile store_;
  std::string store_key_;
  std::uint32_t waste_basket_ = 0;
  std::vector<PffItem> folders_;  // those with contacts; they belong to store_, so go before it
  std::set<std::uint32_t> seen_;
  std::vector<Place> places_;
  std::unordered_map<std::uint32_t, Member> targets_;  // by item
  std::vector<RawList> raw_lists_;
};

Status PstBook::Open() {
  PV_RETURN_IF_ERROR(CheckSize());
  libpff_error_t* error = nullptr;
  bool ok = library_->handle_initialize(handle_.out(), reinterpret_cast<std::intptr_t*>(&source_),
                                        &FreeSource, &CloneSource, &OpenNothing, &CloseNothing,
                                        &ReadSource, &WriteNothing, &SeekSource, &SourceExists,
                                        &SourceIsOpen, &SizeOfSource, 0, nullptr) == 1 &&
            library_->file_initialize(store_.out(), nullptr) == 1;
  ok = ok && library_->file_open_file_io_handle(store_.get(), handle_.get(), LIBPFF_OPEN_READ,
                                                &error) == 1;
  PffItem root(library_);
  ok = ok && library_->file_get_root_folder(store_.get(), root.out(), &error) == 1;
  if (!ok) {
    char reason[512] = "";
    if (error != nullptr) {
      library_->error_sprint(error, reason, sizeof reason);
      library_->error_free(&error);
    }
    return Status::Corrupt(name_ + ": this is no Outlook store, or a damaged one (" + reason + ")");
  }
  LookAtStore();
  Walk(root.get(), 0);
  Connect();
  return source_.failure;
}

// The library reads what is left of a store that was cut, and so less than was in it.
Status PstBook::CheckSize() {
  constexpr std::size_t kHeaderSize = 0xC0;
  char header[kHeaderSize];
  PV_ASSIGN_OR_RETURN(const std::size_t got, file_->Read(0, header, sizeof header));
  if (got < kHeaderSize || !std::string_view(header, got).starts_with("!BDN")) return Status::Ok();
  constexpr std::uint16_t kFirstWide = 23;
  const std::uint64_t stated =
      LoadLe16(header + 10) >= kFirstWide ? LoadLe64(header + 0xB8) : LoadLe32(header + 0xA8);
  PV_ASSIGN_OR_RETURN(const std::uint64_t size, file_->Size());
  if (size >= stated) return Status::Ok();
  return Status::Corrupt(name_ + ": the file ends after " + std::to_string(size) + " of the " +
                         std::to_string(stated) + " bytes that it should have");
}

void PstBook::LookAtStore() {
  PffItem store(library_);
  PstProperties properties;
  if (library_->file_get_message_store(store_.get(), store.out(), nullptr) != 1 ||
      !properties.Read(library_, store.get())) {
    return;
  }
  if (const PstProperty* const key = properties.Find(kRecordKey)) {
    if (key->values.front().size() == 16) store_key_ = key->values.front();
  }
  if (const PstProperty* const basket = properties.Find(kWasteBasket)) {
    const std::string& identifier = basket->values.front();
    if (identifier.size() == 24) waste_basket_ = LoadLe32(identifier.data() + 20);
  }
}

void PstBook::Walk(libpff_item_t* folder, int depth) {
  std::uint32_t identifier = 0;
  int folders = 0;
  if (depth > kDeepest ||
      library_->folder_get_number_of_sub_folders(folder, &folders, nullptr) != 1) {
    notes_.Add(name_ + ": a folder cannot be read; what it holds is left out");
    return;
  }
  for (int i = 0; i < folders; ++i) {
    PffItem inner(library_);
    if (library_->folder_get_sub_folder(folder, i, inner.out(), nullptr) != 1 ||
        library_->item_get_identifier(inner.get(), &identifier, nullptr) != 1) {
      notes_.Add(name_ + ": a folder cannot be read; what it holds is left out");
      continue;
    }
    if (identifier == waste_basket_ || !seen_.insert(identifier).second) continue;
    PstProperties properties;
    const std::string kind =
        properties.Read(library_, inner.get()) ? properties.Text(kContainerClass) : "";
    Walk(inner.get(), depth + 1);
    // Folders of mail and the like hold no contacts, and may hold a great many messages.
    const bool contacts = kind.empty() || kind.starts_with("IPF.Contact");
    if (!contacts || kind == "IPF.Contact.RecipientCache") continue;
    folders_.push_back(std::move(inner));
    LookAtMessages(static_cast<std::uint32_t>(folders_.size() - 1));
  }
}

void PstBook::LookAtMessages(std::uint32_t folder) {
  libpff_item_t* const item = folders_[folder].get();
  int messages = 0;
  if (library_->folder_get_number_of_sub_messages(item, &messages, nullptr) != 1) messages = 0;
  bool any = false;
  for (int i = 0; i < messages; ++i) {
    PffItem message(library_);
    PstProperties properties;
    std::uint32_t identifier = 0;
    if (library_->folder_get_sub_message(item, i, message.out(), nullptr) != 1 ||
        !properties.Read(library_, message.get()) ||
        library_->item_get_identifier(message.get(), &identifier, nullptr) != 1) {
      notes_.Add(name_ + ": an item cannot be read and is left out");
      continue;
    }
    const std::string kind = properties.Text(kMessageClass);
    if (kind.starts_with("IPM.Contact")) {
      any = true;
      targets_.emplace(identifier, Member::OfContact(count()));
      places_.push_back({folder, i});
    } else if (kind.starts_with("IPM.DistList")) {
      AddList(properties, identifier);
    }
  }
  if (!any) folders_.pop_back();
}

void PstBook::AddList(const PstProperties& properties, std::uint32_t item) {
  DistributionList list;
  list.name = properties.Text(kListName, PstSet::kAddress);
  if (list.name.empty()) list.name = properties.Text(kDisplayName >> 16);
  list.description = properties.Text(kBody);
  RawList raw;
  if (const PstProperty* const members = properties.Find(kMembers, PstSet::kAddress)) {
    raw.members = members->values;
  }
  if (const PstProperty* const members = properties.Find(kOneOffMembers, PstSet::kAddress)) {
    raw.one_offs = members->values;
  }
  targets_.emplace(item, Member::OfList(static_cast<std::uint32_t>(lists_.size())));
  lists_.push_back(std::move(list));
  raw_lists_.push_back(std::move(raw));
}

// The contact or list of this store when the member leads to one, else what is spelled out of it.
Member PstBook::MemberOf(const RawList& list, std::size_t i) const {
  const std::string_view member =
      i < list.members.size() ? std::string_view(list.members[i]) : std::string_view();
  if (member.size() == 45 && member.substr(4, kWrapped.size()) == kWrapped) {
    const auto found = targets_.find(LoadLe32(member.data() + 41));
    if (found != targets_.end() && member.substr(25, 16) == store_key_) return found->second;
  }
  for (const std::string_view spelled :
       {i < list.one_offs.size() ? std::string_view(list.one_offs[i]) : std::string_view(),
        member}) {
    if (spelled.size() <= kOneOffNames) continue;
    const bool wide = (LoadLe16(spelled.data() + 22) & kOneOffUtf16) != 0;
    if (auto one_off = OneOffMember(spelled, kOneOffNames, wide)) return std::move(*one_off);
  }
  return Member::OfAddress({}, {});
}

void PstBook::Connect() {
  for (std::size_t i = 0; i < lists_.size(); ++i) {
    const RawList& raw = raw_lists_[i];
    const std::size_t count = std::max(raw.members.size(), raw.one_offs.size());
    for (std::size_t k = 0; k < count; ++k) {
      Member member = MemberOf(raw, k);
      if (member.kind == Member::Kind::kAddress && member.address.empty()) {
        notes_.Add(name_ + ": list \"" + lists_[i].name + "\": a member cannot be read");
      } else {
        lists_[i].members.push_back(std::move(member));
      }
    }
  }
  raw_lists_.clear();
  targets_.clear();
  seen_.clear();
}

void PstBook::ReadContact(const PstProperties& properties, Contact* contact) const {
  for (const AddressIds& ids : kAddresses) {
    std::string address = properties.Text(ids.address, PstSet::kAddress);
    // A name of the company's own directory; the address is behind it in another property.
    if (properties.Text(ids.type, PstSet::kAddress) == "EX") {
      const std::string shown = properties.Text(ids.shown, PstSet::kAddress);
      if (shown.find('@') != std::string::npos) address = shown;
    }
    contact->AddAddress(address);
  }
  contact->AddAddress(properties.Text(kEmail >> 16));
  for (const PstProperty& property : properties.all()) {
    if (property.name == "Keywords" && property.set == PstSet::kStrings) {
      for (const std::string& text : properties.Texts(property)) contact->AddCategory(text);
    }
    if (property.set != PstSet::kNone || property.values.empty()) continue;
    const bool wanted = (property.id >= 0x3A00 && property.id < 0x3B00) ||
                        property.id == kDisplayName >> 16 || property.id == kLastModification >> 16;
    if (!wanted) continue;
    const PropertyTag tag = property.id << 16 | property.type;
    const std::uint32_t text_type = property.type & 0xFFF;
    if (text_type == 0x01E || text_type == 0x01F) {
      std::vector<std::string> texts = properties.Texts(property);
      const PropertyTag text_tag = tag & ~PropertyTag{1};
      if ((property.type & 0x1000) == 0) {
        contact->AddText(text_tag, texts.front());
      } else if (text_tag != kAllAddresses) {
        contact->Add(text_tag, std::move(texts));
      }
      continue;
    }
    AddMapiValue(tag, {property.values.front()}, contact);
  }
  for (const NamedText& named : kNamedTexts) {
    contact->AddText(named.tag, properties.Text(named.id, PstSet::kAddress));
  }
  contact->AddText(kComment, properties.Text(kBody));
}

Status PstBook::ReadSome(std::uint32_t position, const Wanted&, Contact* contact) {
  contact->Clear();
  source_.failure = {};
  const Place& place = places_[position];
  PffItem message(library_);
  PstProperties properties;
  std::uint32_t identifier = 0;
  if (library_->folder_get_sub_message(folders_[place.folder].get(), place.message, message.out(),
                                       nullptr) != 1 ||
      !properties.Read(library_, message.get()) ||
      library_->item_get_identifier(message.get(), &identifier, nullptr) != 1) {
    return Status::IoError(name_ + ": contact " + std::to_string(position + 1) +
                           ": it cannot be read any more");
  }
  if (store_key_.size() == 16) {
    automation::Bytes id(24);
    std::copy(store_key_.begin(), store_key_.end(), id.begin() + 4);
    StoreLe32(id.data() + 20, identifier);
    contact->Add(kEntryId, std::move(id));
  }
  ReadContact(properties, contact);
  contact->Finish();
  return source_.failure;
}

}  // namespace

Result<const PffLibrary*> PffLibrary::Load() {
  static const Result<PffLibrary> loaded = []() -> Result<PffLibrary> {
    platform::Process* const process = platform::CurrentSystem().process;
    PffLibrary library;
#define PV_PFF_LOAD(function)                                                             \
  {                                                                                       \
    PV_ASSIGN_OR_RETURN(void* const address,                                              \
                        process->LoadSystemFunction("libpff.so.1", "libpff_" #function)); \
    library.function = reinterpret_cast<decltype(library.function)>(address);             \
  }
    PV_PFF_FUNCTIONS(PV_PFF_LOAD)
#undef PV_PFF_LOAD
    PV_ASSIGN_OR_RETURN(void* const make,
                        process->LoadSystemFunction("libbfio.so.1", "libbfio_handle_initialize"));
    library.handle_initialize = reinterpret_cast<decltype(library.handle_initialize)>(make);
    PV_ASSIGN_OR_RETURN(void* const free,
                        process->LoadSystemFunction("libbfio.so.1", "libbfio_handle_free"));
    library.handle_free = reinterpret_cast<decltype(library.handle_free)>(free);
    return library;
  }();
  if (!loaded.ok()) {
    return Status::Unsupported("reading these files needs the package libpff1: " +
                               loaded.status().message());
  }
  return &*loaded;
}

Status PstAvailable() { return PffLibrary::Load().status(); }

Result<std::unique_ptr<Book>> OpenPst(std::unique_ptr<platform::File> file, std::string name) {
  PV_ASSIGN_OR_RETURN(const PffLibrary* const library, PffLibrary::Load());
  auto book = std::make_unique<PstBook>(library, std::move(file), std::move(name));
  PV_RETURN_IF_ERROR(book->Open());
  return std::unique_ptr<Book>(std::move(book));
}

}  // namespace pv::converter
