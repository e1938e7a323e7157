// What the tests of the readers share: books in memory, opened by their format's code.
#ifndef PV_PROVIDERS_CONVERTER_BOOK_FIXTURE_TEST_H_
#define PV_PROVIDERS_CONVERTER_BOOK_FIXTURE_TEST_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/memory/memory_system.h"
#include "providers/converter/model/roster.h"
#include "providers/converter/open_book.h"

namespace pv::converter {

inline Result<std::unique_ptr<Roster>> OpenRoster(const char* code, const std::string& location) {
  PV_ASSIGN_OR_RETURN(std::unique_ptr<Book> book, FindFormat(code)->open(location, {}));
  return Roster::Make(std::move(book));
}

inline Contact ReadContact(Roster* roster, std::uint32_t position) {
  Contact contact;
  const Status status = roster->Read(position, &contact);
  EXPECT_TRUE(status.ok()) << status.message();
  return contact;
}

// The addresses (or, without one, names) of all contacts, in order.
inline std::vector<std::string> Everybody(Roster* roster) {
  std::vector<std::string> result;
  for (std::uint32_t i = 0; i < roster->count(); ++i) {
    const Contact contact = ReadContact(roster, i);
    const std::string_view address = contact.Text(kEmail);
    result.emplace_back(address.empty() ? contact.Text(kDisplayName) : address);
  }
  return result;
}

// Those of the contacts of a list and of the lists inside it.
inline std::vector<std::string> MembersOf(Roster* roster, std::string_view list) {
  std::vector<std::string> result;
  for (std::uint32_t i = 0; i < roster->lists().size(); ++i) {
    if (roster->lists()[i].name != list) continue;
    for (const std::uint32_t position : roster->ContactsOf(i)) {
      const Contact contact = ReadContact(roster, position);
      const std::string_view address = contact.Text(kEmail);
      result.emplace_back(address.empty() ? contact.Text(kDisplayName) : address);
    }
  }
  return result;
}

// "2024-02-29", with the time of day unless it is midnight; "" when there is none.
inline std::string DateText(const Contact& contact, PropertyTag tag) {
  const auto value = contact.Find(tag);
  return value ? value->ToText() : "";
}

// Every property of every contact is the same whether it is asked for alone or with all others.
inline void ExpectPartsAsTheWhole(Roster* roster) {
  for (std::uint32_t i = 0; i < roster->count(); ++i) {
    const Contact whole = ReadContact(roster, i);
    for (std::size_t p = 0; p < whole.property_count(); ++p) {
      Wanted wanted;
      wanted.Add(whole.TagAt(p));
      ASSERT_FALSE(wanted.everything());
      Contact part;
      ASSERT_TRUE(roster->ReadSome(i, wanted, &part).ok());
      EXPECT_EQ(part.Find(whole.TagAt(p)), whole.Find(whole.TagAt(p)))
          << "contact " << i << ", property " << std::hex << whole.TagAt(p);
    }
  }
}

// Files in memory.
class BookTest : public testing::Test {
 protected:
  void Put(const std::string& path, std::string_view content) {
    platform::OpenOptions options;
    options.create = platform::CreateMode::kOpenOrCreate;
    ASSERT_TRUE(machine_.files.CreateFolders(std::string(platform::FolderOf(path))).ok());
    auto file = machine_.files.Open(path, options);
    ASSERT_TRUE(file.ok()) << file.status().message();
    ASSERT_TRUE((*file)->Truncate(0).ok());
    ASSERT_TRUE((*file)->Write(0, content.data(), content.size()).ok());
  }

  std::unique_ptr<Roster> Open(const char* code, const std::string& location) {
    auto roster = OpenRoster(code, location);
    EXPECT_TRUE(roster.ok()) << roster.status().message();
    return roster.ok() ? std::move(*roster) : nullptr;
  }

  std::unique_ptr<Roster> OpenText(const char* code, std::string_view content) {
    Put("/books/book", content);
    return Open(code, "/books/book");
  }

  Status Failure(const char* code, std::string_view content) {
    Put("/books/book", content);
    return OpenRoster(code, "/books/book").status();
  }

  platform::MemorySystem machine_;
  platform::ScopedSystem scope_{machine_.system()};
};

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_BOOK_FIXTURE_TEST_H_
