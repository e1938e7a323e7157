// A reader of address books; one program for each format, which PV_BOOK_FORMAT names. Whatever the
// file is, there is a book all of whose contacts can be read, or an error that names the file.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/require.h"
#include "platform/memory/memory_system.h"
#include "providers/converter/model/roster.h"
#include "providers/converter/open_book.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using pv::converter::Contact;
  const std::string_view content(reinterpret_cast<const char*>(data), size);
  pv::platform::MemorySystem machine;
  const pv::platform::ScopedSystem scope(machine.system());
  machine.files.Put("/book", content);
  auto book = pv::converter::FindFormat(PV_BOOK_FORMAT)->open("/book", {});
  if (!book.ok()) {
    PV_REQUIRE(book.status().message().starts_with("/book: "));
    return 0;
  }
  const auto roster = pv::converter::Roster::Make(std::move(*book));
  PV_REQUIRE(roster.ok());
  PV_REQUIRE((*roster)->count() <= content.size());
  pv::converter::Wanted wanted;
  wanted.Add(pv::converter::kDisplayName);
  wanted.Add(pv::converter::kEmail);
  Contact contact;
  Contact part;
  for (std::uint32_t i = 0; i < (*roster)->count(); ++i) {
    PV_REQUIRE((*roster)->Read(i, &contact).ok());
    PV_REQUIRE((*roster)->ReadSome(i, wanted, &part).ok());
    for (const auto property : {pv::converter::kDisplayName, pv::converter::kEmail}) {
      PV_REQUIRE(contact.Text(property) == part.Text(property));
    }
    for (const std::uint32_t list : (*roster)->ListsOf(i)) {
      PV_REQUIRE(list < (*roster)->lists().size());
    }
  }
  for (std::uint32_t i = 0; i < (*roster)->lists().size(); ++i) {
    for (const std::uint32_t position : (*roster)->ContactsOf(i)) {
      PV_REQUIRE(position < (*roster)->count());
    }
  }
  return 0;
}
