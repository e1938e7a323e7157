// Every reader of address books. The first byte of the input chooses the format, the rest is the
// file: whatever it is, there is a book all of whose contacts can be read, or an error that names
// the file.
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "fuzz/require.h"
#include "platform/memory/memory_system.h"
#include "providers/converter/model/roster.h"
#include "providers/converter/open_book.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static constexpr const char* kCodes[] = {"LDIF", "MAB", "PINE", "EUD", "ADR", "WAB", "PALM"};
  if (size == 0) return 0;
  const char* const code = kCodes[data[0] % std::size(kCodes)];
  const std::string_view content(reinterpret_cast<const char*>(data) + 1, size - 1);

  pv::platform::MemorySystem machine;
  const pv::platform::ScopedSystem scope(machine.system());
  machine.files.Put("/book", content);
  auto book = pv::converter::FindFormat(code)->open("/book", {});
  if (!book.ok()) {
    PV_REQUIRE(book.status().message().starts_with("/book: "));
    return 0;
  }
  const auto roster = pv::converter::Roster::Make(std::move(*book));
  PV_REQUIRE(roster.ok());
  PV_REQUIRE((*roster)->count() <= content.size());
  pv::converter::Contact contact;
  for (std::uint32_t i = 0; i < (*roster)->count(); ++i) {
    PV_REQUIRE((*roster)->Read(i, &contact).ok());
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
