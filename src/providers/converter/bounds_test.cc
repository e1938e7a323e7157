// Books made to take long or much memory: whatever is in a file, reading it ends soon and takes
// memory in proportion to the file. What is not linear here would go on for hours.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

#include "base/bytes.h"
#include "providers/converter/book_fixture_test.h"
#include "providers/converter/made_books_test.h"

namespace {

// Bytes that are allocated, and the most that ever were since Watch.
std::size_t now = 0;
std::size_t most = 0;

void* Allocate(std::size_t size) {
  void* const memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  now += malloc_usable_size(memory);
  most = std::max(most, now);
  return memory;
}

void Release(void* memory) {
  now -= malloc_usable_size(memory);
  std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
// Sanitizers bring these by themselves otherwise, and then miss their own release.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void operator delete(void* memory) noexcept { Release(memory); }
void operator delete[](void* memory) noexcept { Release(memory); }
void operator delete(void* memory, std::size_t) noexcept { Release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { Release(memory); }

namespace pv::converter {
namespace {

constexpr std::size_t kMiB = std::size_t{1} << 20;

std::string Repeated(int times, const std::string& text) {
  std::string result;
  result.reserve(text.size() * static_cast<std::size_t>(times));
  for (int i = 0; i < times; ++i) result += text;
  return result;
}

class BoundsTest : public BookTest {
 protected:
  // Reads all that is in a book, and says how much memory that took beside the file itself.
  std::size_t Walk(const char* code, const std::string& content) {
    machine_.files.Put("/books/book", content);
    const std::size_t before = now;
    most = now;
    roster_ = Open(code, "/books/book");
    if (roster_ == nullptr) return 0;
    for (std::uint32_t i = 0; i < roster_->count(); ++i) {
      EXPECT_TRUE(roster_->Read(i, &contact_).ok());
      (void)roster_->ListsOf(i);
    }
    for (std::uint32_t i = 0; i < roster_->lists().size(); ++i) (void)roster_->ContactsOf(i);
    return most - before;
  }

  std::unique_ptr<Roster> roster_;
  Contact contact_;  // the last that was read
};

TEST_F(BoundsTest, ALineOfAHundredMegabytes) {
  const std::string line(100'000'000, 'x');
  const struct {
    const char* code;
    std::string before;
    std::string after;
    std::size_t memory;  // in MiB
  } books[] = {
      {"LDIF", "dn: cn=A\nmail: a@x\ndescription: ", "\n\ndn: cn=B\nmail: b@x\n", 8},
      {"PINE", "a\tA\ta@x\t\t", "\nb\tB\tb@x\n", 8},
      {"EUD", "alias a a@x\nnote a ", "\nalias b b@x\n", 8},
      {"ADR", "Opera Hotlist version 2.0\n#CONTACT\n\tMAIL=a@x\n\tDESCRIPTION=",
       "\n#CONTACT\n\tMAIL=b@x\n", 8},
      // The whole file is held, and the value in the contact, whose memory grows by doubling.
      {"MAB",
       "// <!-- <mdb:mork:z v=\"1.4\"/> -->\n< <(a=c)>(80=ns:addrbk:db:row:scope:card:all)"
       "(83=:kind:pab)(86=PrimaryEmail)(87=Notes)>\n{1:^80 {(k^83:c)(s=9)} [1(^86=a@x)(^87=",
       ")][2(^86=b@x)]}", 420},
  };
  for (const auto& book : books) {
    SCOPED_TRACE(book.code);
    EXPECT_LE(Walk(book.code, book.before + line + book.after), book.memory * kMiB);
    ASSERT_NE(roster_, nullptr);
    EXPECT_EQ(Everybody(roster_.get()), (std::vector<std::string>{"a@x", "b@x"}));
  }
}

// Every list contains the next one, and the last the first.
TEST_F(BoundsTest, CyclesOfLists) {
  constexpr int kLists = 2'000;
  std::string ldif;
  std::string pine;
  std::string eudora = "alias who who@x\n";
  std::string mab =
      "// <!-- <mdb:mork:z v=\"1.4\"/> -->\n< <(a=c)>(80=ns:addrbk:db:row:scope:card:all)"
      "(81=ns:addrbk:db:row:scope:list:all)(83=:kind:pab)(86=PrimaryEmail)(88=ListName)"
      "(89=Address1)(8A=Address2)>\n{1:^80 {(k^83:c)(s=9)} [FFFF(^86=who@x)]\n";
  std::vector<WabRecord> wab = {WabContact("Who", "who@x")};
  for (int i = 0; i < kLists; ++i) {
    const std::string own = "l" + std::to_string(i);
    const std::string next = "l" + std::to_string((i + 1) % kLists);
    ldif += "dn: cn=" + own + "\nobjectclass: groupOfNames\ncn: " + own + "\nmember: cn=" + next +
            "\nmember: cn=who,mail=who@x\n\n";
    pine += own + "\t" + own + "\t(" + next + ",who@x)\n";
    eudora += "alias " + own + " " + next + ",who\n";
    char row[128];
    std::snprintf(row, sizeof row, "[%X(^86=%s)][%X:^81(^88=%s)(^89=%X)(^8A=FFFF)]", i + 1,
                  own.c_str(), i + 1, own.c_str(), (i + 1) % kLists + 1);
    mab += row;
    wab.push_back(
        {{0x3001001F, {Wide(own)}},
         {0x0FFE0003, {Le32(8)}},
         {0x80091102, {Le32(static_cast<std::uint64_t>((i + 1) % kLists) + 2), Le32(1)}}});
  }
  mab += "}\n";
  for (const auto& [code, content] : {std::pair{"LDIF", ldif},
                                      {"PINE", pine},
                                      {"EUD", eudora},
                                      {"MAB", mab},
                                      {"WAB", MakeWab(wab)}}) {
    SCOPED_TRACE(code);
    EXPECT_LE(Walk(code, content), 48 * content.size() + 4 * kMiB);
    ASSERT_NE(roster_, nullptr);
    EXPECT_EQ(roster_->lists().size(), std::size_t{kLists});
    EXPECT_EQ(roster_->ContactsOf(7), std::vector<std::uint32_t>{0});
    EXPECT_EQ(roster_->count(), 1U);
  }
}

TEST_F(BoundsTest, TablesThatReferToThemselves) {
  // A table of rows, aliases and lists that name themselves and each other.
  const std::string mab =
      "// <!-- <mdb:mork:z v=\"1.4\"/> -->\n< <(a=c)>(80=ns:addrbk:db:row:scope:card:all)"
      "(81=ns:addrbk:db:row:scope:list:all)(83=:kind:pab)(86=PrimaryEmail)(88=ListName)"
      "(89=Address1)>\n" +
      Repeated(20'000,
               "<(90^90)(91=^91)>{1:^80 {(k^83:c)(s=9)} 1 1 1!0 [1(^86^91)(^86=L)]"
               "[1:^81(^88=L)(^89=1)]}\n");
  EXPECT_LE(Walk("MAB", mab), 4 * mab.size() + 4 * kMiB);
  ASSERT_NE(roster_, nullptr);
  EXPECT_EQ(roster_->count(), 0U);  // the card stands for the list
  EXPECT_EQ(roster_->lists().size(), 1U);

  // Every entry of the table leads to the same record.
  std::string wab = MakeWab(std::vector<WabRecord>(20'000, {{0x3001001F, {Wide("A")}}}));
  const std::size_t table = LoadLe32(wab.data() + 0x18 + 8);
  for (std::size_t i = 1; i < 20'000; ++i) wab.replace(table + 8 * i + 4, 4, wab, table + 4, 4);
  EXPECT_LE(Walk("WAB", wab), 40 * wab.size() + 4 * kMiB);
  ASSERT_NE(roster_, nullptr);
  EXPECT_EQ(roster_->count(), 20'000U);

  // Every other record of a handheld reaches from the start of the file to its end.
  std::string pdb = MakePdb(std::vector<PdbRecord>(60'000, {0, 0, {std::string(100, 'x')}}));
  for (std::size_t i = 0; i < 60'000; ++i) {
    pdb.replace(78 + 8 * i, 4, Be32(i % 2 == 0 ? 78 : pdb.size()));
  }
  EXPECT_LE(Walk("PALM", pdb), 8 * pdb.size() + 4 * kMiB);
  ASSERT_NE(roster_, nullptr);
  EXPECT_LE(roster_->count(), 2U);
  EXPECT_EQ(roster_->notes().Texts().size(), 2U);
}

TEST_F(BoundsTest, DeepNesting) {
  const std::string mab =
      "// <!-- <mdb:mork:z v=\"1.4\"/> -->\n< <(a=c)>(80=ns:addrbk:db:row:scope:card:all)"
      "(83=:kind:pab)(86=PrimaryEmail)>\n{1:^80 {(k^83:c)(s=9)} [1(^86=a@x)]}\n";
  for (const char* const open : {"{", "[", "<", "(", "{1:^80 {", "{1:^80 [", "[1:^80 [", "@$${1{@",
                                 "@$${1{@@$$}2}@", "<(", "\\"}) {
    SCOPED_TRACE(open);
    const std::string content = mab + Repeated(500'000, open);
    EXPECT_LE(Walk("MAB", content), 4 * content.size() + 4 * kMiB);
    ASSERT_NE(roster_, nullptr);
    EXPECT_GE(roster_->count(), 1U);
  }
  for (const char* const inner : {"<", "(", "\"", "<a", "<a:", "<otheremail:", ",", "<:"}) {
    SCOPED_TRACE(inner);
    const std::string text = Repeated(60'000, inner);
    EXPECT_LE(Walk("EUD", "alias a " + text + "\nnote a " + text + "\nalias b b@x\n"), 32 * kMiB);
    EXPECT_LE(Walk("PINE", "a\t" + text + "\t(" + text + "\nb\tB\tb@x\n"), 32 * kMiB);
    EXPECT_LE(Walk("LDIF", "dn: " + text + "\nobjectclass: groupOfNames\nmember: " + text +
                               "\n\ndn: cn=b\nmail: b@x\n"),
              32 * kMiB);
    EXPECT_LE(Walk("ADR", "Opera Hotlist version 2.0\n#CONTACT\n\tMAIL=" + text + "\n"), 32 * kMiB);
  }
  // Each folder lies in the one before it, under a name as long as a line can be.
  const std::string name(500'000, 'n');
  std::string opera = "Opera Hotlist version 2.0\n" +
                      Repeated(10, "#FOLDER\n\tNAME=" + name + "\n") +
                      Repeated(50'000, "#FOLDER\n\tNAME=f\n#CONTACT\n\tMAIL=a@x\n");
  EXPECT_LE(Walk("ADR", opera), 32 * opera.size() + 4 * kMiB);
  EXPECT_EQ(contact_.categories(), std::vector<std::string>{"f"});
  // A list in a list in a list; one list beside them has them all.
  std::string ldif = "dn: cn=all\nobjectclass: groupOfNames\n";
  for (int i = 0; i < 20'000; ++i) ldif += "member: cn=l" + std::to_string(i) + "\n";
  for (int i = 0; i < 20'000; ++i) {
    ldif += "\ndn: cn=l" + std::to_string(i) + "\nobjectclass: groupOfNames\nmember: cn=l" +
            std::to_string(i + 1) + "\n";
  }
  EXPECT_LE(Walk("LDIF", ldif + "member: mail=a@x\n"), 32 * ldif.size() + 4 * kMiB);
  EXPECT_EQ(roster_->ContactsOf(0).size(), 2U);
}

TEST_F(BoundsTest, VeryManyOfAKindInOneContact) {
  std::string ldif = "dn: cn=A\ncn: A\n";
  for (int i = 0; i < 100'000; ++i) {
    ldif += "mail: a" + std::to_string(i) + "@x\nmozillaHomeStreet2: " + std::to_string(i) +
            "\nmozillaWorkStreet2: w\nfax: x\n";
  }
  EXPECT_LE(Walk("LDIF", ldif), 40 * ldif.size() + 4 * kMiB);
  EXPECT_EQ(contact_.address_count(), 100'000U);

  std::string note = "alias a a@x\nnote a ";
  for (int i = 0; i < 60'000; ++i) note += "<a><otheremail:" + std::to_string(i) + "@x>";
  EXPECT_LE(Walk("EUD", note), 40 * note.size() + 4 * kMiB);

  const std::string tabs = Repeated(200, std::string(500'000, '\t') + "\n");
  EXPECT_LE(Walk("PINE", "a\tA\ta@x\n" + tabs), 8 * kMiB);

  WabRecord record;
  for (std::uint32_t i = 0; i < 30'000; ++i)
    record.push_back({0x0001001F + (i << 16), {Wide("x")}});
  record.push_back({0x80041003, std::vector<std::string>(100'000, "1234")});
  const std::string wab = MakeWab({record});
  EXPECT_LE(Walk("WAB", wab), 40 * wab.size() + 4 * kMiB);
  EXPECT_GT(contact_.property_count(), 29'000U);
}

TEST_F(BoundsTest, VeryManyContactsOfNearlyNothing) {
  std::string pine;
  std::string eudora;
  std::string mab =
      "// <!-- <mdb:mork:z v=\"1.4\"/> -->\n< <(a=c)>(80=ns:addrbk:db:row:scope:card:all)"
      "(83=:kind:pab)(86=PrimaryEmail)>\n{1:^80 {(k^83:c)(s=9)} ";
  for (int i = 0; i < 60'000; ++i) {
    const std::string n = std::to_string(i);
    pine += n + "\t\ta\n";
    eudora += "alias " + n + " a\n";
    char row[32];
    std::snprintf(row, sizeof row, "[%X]", i + 1);
    mab += row;
  }
  for (const auto& [code, content] :
       {std::pair{"LDIF", Repeated(60'000, "cn:x\n\n")},
        {"PINE", pine},
        {"EUD", eudora},
        {"MAB", mab + "}"},
        {"ADR", "Opera Hotlist version 2.0\n" + Repeated(60'000, "#CONTACT\n\tNAME=x\n")},
        {"WAB", MakeWab(std::vector<WabRecord>(20'000, {{0x3001001F, {Wide("A")}}}))},
        {"PALM", MakePdb(std::vector<PdbRecord>(60'000, PdbRecord{0, 0, {"x"}}))}}) {
    SCOPED_TRACE(code);
    EXPECT_LE(Walk(code, content), 64 * content.size() + 4 * kMiB);
    ASSERT_NE(roster_, nullptr);
    EXPECT_GE(roster_->count(), 20'000U);
  }
  // Long names of categories, in which all contacts are.
  std::string desktop = MakeDat(std::vector<std::string>(2'000, "a"));
  const std::size_t header = desktop.find(Le32(1) + Le32(1) + Le32(1) + Le32(0) + "\x08");
  ASSERT_NE(header, std::string::npos);
  const std::string name(60'000, 'n');
  std::string categories;
  for (std::uint32_t i = 0; i < 2'000; ++i) {
    categories += Le32(2 + i) + Le32(1) + Le32(0) + "\x01n" + std::string(1, '\0');
  }
  categories += Le32(1) + Le32(1) + Le32(0) + "\xFF" + Number(name.size(), 2) + name + "\x01n";
  desktop = desktop.substr(0, header) + Le32(2'001) + categories +
            desktop.substr(header + 4 + 12 + 9 + 4);
  EXPECT_LE(Walk("PALM", desktop), 40 * desktop.size() + 4 * kMiB);
  ASSERT_NE(roster_, nullptr);
  ASSERT_EQ(roster_->count(), 1'999U);
}

}  // namespace
}  // namespace pv::converter
