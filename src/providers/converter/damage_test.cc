// Every book cut at every length and with every byte changed: what comes out is a book or an error
// that names the file, never anything else.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "providers/converter/book_fixture_test.h"
#include "providers/converter/made_books_test.h"

namespace pv::converter {
namespace {

constexpr const char* kLdif =
    "version: 1\ndn: cn=A\\, B,mail=a@x\nobjectclass: person\ncn: A\n B\nmail:: YUB4\nbirthyear: "
    "1\n"
    "birthmonth: 2\nbirthday: 3\no:< u\n\ndn: cn=L\nobjectclass: groupOfNames\ncn: L\n"
    "member: cn=A\\2C B,mail=a@x\nmember: cn=L\nmember: cn=Z,mail=z@x\n";
constexpr const char* kMab =
    "// <!-- <mdb:mork:z v=\"1.4\"/> -->\n< <(a=c)> // c\n(80=ns:addrbk:db:row:scope:card:all)"
    "(81=ns:addrbk:db:row:scope:list:all)(83=a:kind:pab)(85=DisplayName)(86=PrimaryEmail)"
    "(88=ListName)(89=Address1)(8A=Address2)>\n<(90=a\\)$C3$A4)(91\n=b@x)>\n"
    "{1:^80 {(k^83:c)(s=9)} [1(^85^90)(^86=a@x)][2(^86^91)][3(^86=M)]\n"
    "[1:^81(^88=L)(^89=2)(^8A=3)]-3 3!0[-2:^81(^88=M)(^89=1)]}\n"
    "@$${1{@\n[-1:^80(^86=c@x)-(^85)]\n{-1:^80 1 2 3 [1:^81] [2:^81]}\n@$$}1}@\n";
constexpr const char* kPine =
    "a\tLee, =?utf-8?Q?A=C3=A4?=\tA <a@x>\tf\tc\n#DELETED-1#\tx\ty\nl\t\t(a,\n   l,\"b, c\" "
    "<b@x>)\n";
constexpr const char* kEudora =
    "alias \"a b\" A <a@x>\r\nnote \"a b\" <name:<x>><zip:1\x03>t\ralias l a b,l,\"c, d\"<c@x>\n";
constexpr const char* kOpera =
    "Opera Hotlist version 2.0\nOptions: x\n\n#FOLDER\n\tNAME=f\n#CONTACT\n\tNAME=n\n"
    "\tMAIL=a@x\x02\x02"
    "b@x\n\tCREATED=1405955335\n-\n#FOLDER\n\tTRASH FOLDER=YES\n#CONTACT\n-\n";

class DamageTest : public BookTest {
 protected:
  // Reads all that there is to read.
  void Try(const char* code, std::string_view content) {
    Put("/books/book", content);
    auto roster = OpenRoster(code, "/books/book");
    if (!roster.ok()) {
      EXPECT_TRUE(roster.status().message().starts_with("/books/book: "))
          << roster.status().message();
      return;
    }
    // Each contact takes a byte at least, so no count can be larger.
    ASSERT_LE((*roster)->count(), content.size());
    Contact contact;
    for (std::uint32_t i = 0; i < (*roster)->count(); ++i) {
      const Status status = (*roster)->Read(i, &contact);
      EXPECT_TRUE(status.ok()) << status.message();
      for (const std::uint32_t list : (*roster)->ListsOf(i)) {
        ASSERT_LT(list, (*roster)->lists().size());
      }
      // What hosts see is text.
      for (std::size_t p = 0; p < contact.property_count(); ++p) {
        const std::string_view text = contact.Text(contact.TagAt(p));
        EXPECT_TRUE(IsValidUtf8(text)) << text;
      }
    }
    for (std::uint32_t i = 0; i < (*roster)->lists().size(); ++i) {
      for (const std::uint32_t position : (*roster)->ContactsOf(i)) {
        ASSERT_LT(position, (*roster)->count());
      }
    }
  }

  void CutEverywhere(const char* code, const std::string& content) {
    for (std::size_t size = 0; size < content.size(); ++size) Try(code, content.substr(0, size));
  }

  // Every bit of every byte, and the characters that mean something in one format or another.
  void ChangeEverywhere(const char* code, std::string content) {
    for (char& byte : content) {
      const char before = byte;
      for (int bit = 0; bit < 8; ++bit) {
        byte = static_cast<char>(before ^ (1 << bit));
        Try(code, content);
      }
      for (const char other : std::string_view("\0\xFF\n\r\t ()[]{}<>:^-@,\\", 20)) {
        byte = other;
        Try(code, content);
      }
      byte = before;
    }
  }
};

struct SmallBook {
  const char* code;
  std::string content;
  std::uint32_t contacts;
  std::size_t lists;
};

const std::vector<SmallBook>& SmallBooks() {
  static const std::vector<SmallBook> books = {
      {"LDIF", kLdif, 2, 1},      {"MAB", kMab, 2, 2},
      {"PINE", kPine, 2, 1},      {"EUD", kEudora, 2, 1},
      {"ADR", kOpera, 1, 0},      {"WAB", SmallWab(), 3, 2},
      {"PALM", SmallPdb(), 2, 0}, {"PALM", MakeDat({"a", "b"}), 1, 0},
  };
  return books;
}

TEST_F(DamageTest, SmallBooks) {
  for (const SmallBook& book : SmallBooks()) {
    SCOPED_TRACE(book.code);
    // What is damaged below is a book in which there is something.
    const auto whole = OpenText(book.code, book.content);
    ASSERT_NE(whole, nullptr);
    EXPECT_EQ(whole->count(), book.contacts);
    EXPECT_EQ(whole->lists().size(), book.lists);
    CutEverywhere(book.code, book.content);
    ChangeEverywhere(book.code, book.content);
  }
}

// Each call of the file system fails once: that is an error, and never a shorter book.
TEST_F(DamageTest, EveryCallThatFails) {
  for (const SmallBook& book : SmallBooks()) {
    SCOPED_TRACE(book.code);
    Put("/books/book", book.content);
    for (std::uint64_t n = 1;; ++n) {
      machine_.files.FailCall(n, platform::Call::kAny, platform::Fault::kIoError);
      auto roster = OpenRoster(book.code, "/books/book");
      Status status = roster.status();
      Contact contact;
      for (std::uint32_t i = 0; status.ok() && i < (*roster)->count(); ++i) {
        status = (*roster)->Read(i, &contact);
      }
      const bool hit = machine_.files.FaultHit();
      machine_.files.ClearFault();
      EXPECT_EQ(status.ok(), !hit) << n;
      if (!hit) break;
    }
  }
}

// Files of other programs: cut everywhere, and one change a byte.
TEST_F(DamageTest, SampleBooks) {
  const char* const folder = std::getenv("PV_SAMPLE_DATA");
  if (folder == nullptr) GTEST_SKIP() << "PV_SAMPLE_DATA names no folder of sample data";
  constexpr std::uintmax_t kSmall = 5'000;
  int tried = 0;
  for (const char* const code : {"LDIF", "MAB", "PINE", "EUD", "ADR", "PALM", "TB"}) {
    SCOPED_TRACE(code);
    const auto path = std::filesystem::path(folder) / "addressbooks" / code;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
      if (entry.file_size() > kSmall) continue;
      ++tried;
      std::ifstream stream(entry.path(), std::ios::binary);
      std::string content((std::istreambuf_iterator<char>(stream)), {});
      CutEverywhere(code, content);
      for (std::size_t i = 0; i < content.size(); ++i) {
        const char before = content[i];
        content[i] = static_cast<char>(before ^ (1 << (i % 8)));
        Try(code, content);
        content[i] = before;
      }
    }
  }
  EXPECT_GT(tried, 15);
}

}  // namespace
}  // namespace pv::converter
