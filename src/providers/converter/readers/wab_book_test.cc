#include "providers/converter/readers/wab_book.h"

#include <gtest/gtest.h>

#include "base/bytes.h"
#include "providers/converter/book_fixture_test.h"
#include "providers/converter/made_books_test.h"
#include "providers/converter/model/mapi_values.h"

namespace pv::converter {
namespace {

using Texts = std::vector<std::string>;
using WabBookTest = BookTest;

TEST_F(WabBookTest, MembersAreRecordsOrSpelledOut) {
  const auto book = OpenText("WAB", SmallWab());
  EXPECT_EQ(Everybody(book.get()), (Texts{"ann@x", "bob@x", "cid@x"}));
  EXPECT_EQ(MembersOf(book.get(), "Crew"), (Texts{"bob@x", "cid@x"}));
  EXPECT_EQ(MembersOf(book.get(), "Ring"), (Texts{"bob@x", "cid@x"}));
  EXPECT_EQ(ReadContact(book.get(), 2).Text(kDisplayName), "Cid");
  EXPECT_EQ(DateText(ReadContact(book.get(), 0), kBirthday), "2011-12-01");
}

TEST_F(WabBookTest, PropertiesPassThroughByTheirTypes) {
  const auto book = OpenText("WAB", MakeWab({{{0x3003001F, {Wide("a@x")}},
                                              {0x3A56101F, {Wide("a@x"), Wide("b@x")}},
                                              {0x3A58101F, {Wide("Kid"), Wide("Küken")}},
                                              {0x3A550003, {Le32(7)}},
                                              {0x0FFF0102, {"\x05"}},
                                              {0x3A40000B, {Number(1, 2)}},
                                              {0x3A420040, {Number(0, 8)}},
                                              {0x800B1102, {Le32(1)}}}}));
  const Contact contact = ReadContact(book.get(), 0);
  EXPECT_EQ(contact.addresses(), (Texts{"a@x", "b@x"}));
  EXPECT_EQ(*contact.Find(0x3A58101E), automation::Value(automation::TextArray{"Kid", "Küken"}));
  EXPECT_EQ(*contact.Find(0x3A550003), automation::Value(7));
  EXPECT_EQ(*contact.Find(kEntryId), automation::Value(automation::Bytes{5}));
  EXPECT_EQ(*contact.Find(0x3A40000B), automation::Value(true));
  EXPECT_FALSE(contact.Has(kBirthday));
  EXPECT_FALSE(contact.Has(0x800B1102));
}

TEST_F(WabBookTest, DamagedRecordsAreToldOf) {
  std::string file = MakeWab({WabContact("Ann", "ann@x"), WabContact("Bob", "bob@x")});
  const std::size_t second = file.rfind(Le32(0x3001001F)) - 4;
  file.replace(second + 4, 4, Le32(0x7FFFFFFF));  // behind its tag: a length out of the file
  const auto book = OpenText("WAB", file);
  EXPECT_EQ(Everybody(book.get()), Texts{"ann@x"});
  EXPECT_EQ(book->notes().Texts(),
            Texts{"/books/book: record 2: a length in it is wrong; it is left out"});
}

TEST_F(WabBookTest, RecordsThatOverlapAreNotReadOverAndOver) {
  std::vector<WabRecord> records(200, WabRecord{{0x3001001F, {Wide("A")}}});
  records[0] = {{0x3001001F, {std::string(20'000, 'x')}}};
  std::string file = MakeWab(records);
  const std::size_t at = LoadLe32(file.data() + 0x18 + 8);
  const std::string first = file.substr(at + 4, 4);
  for (std::size_t i = 1; i < records.size(); ++i) file.replace(at + i * 8 + 4, 4, first);
  const auto book = OpenText("WAB", file);
  EXPECT_LE(book->count(), 2U);
  ASSERT_EQ(book->notes().Texts().size(), 1U);
  EXPECT_NE(book->notes().Texts()[0].find("overlap"), std::string::npos);
}

TEST_F(WabBookTest, OtherFilesAreRefused) {
  EXPECT_EQ(Failure("WAB", "").message(),
            "/books/book: this is no Windows address book: its first bytes differ");
  EXPECT_EQ(Failure("WAB", SmallWab().substr(0, 0x30)).message(),
            "/books/book: the table of records leads out of the file");
}

TEST(MapiValues, Moments) {
  EXPECT_FALSE(DateFromFileTime(0));
  EXPECT_FALSE(DateFromFileTime(UINT64_MAX));
  EXPECT_FALSE(DateFromFileTime(10'000'000));  // 1601
  EXPECT_EQ(DateFromFileTime(0x01CCAF7FF8000000)->days,
            automation::Value("2011-11-30 16:49:04").ToDate().days);
}

}  // namespace
}  // namespace pv::converter
