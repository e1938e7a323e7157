// The values of real stores are checked in sample_books_test.cc.
#include "providers/converter/readers/pst_book.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

#include "providers/converter/book_fixture_test.h"

namespace pv::converter {
namespace {

class PstBookTest : public BookTest {
 protected:
  void SetUp() override {
    if (const Status status = PstAvailable(); !status.ok()) {
      GTEST_SKIP() << "Outlook's stores are unavailable: " << status.message();
    }
  }
};

TEST_F(PstBookTest, OtherFilesAreRefusedWithTheReason) {
  for (const std::string& content : {std::string(), std::string("!BDN"), std::string(5000, 'x')}) {
    const Status status = Failure("PST", content);
    EXPECT_EQ(status.code(), StatusCode::kCorrupt);
    EXPECT_TRUE(status.message().starts_with("/books/book: this is no Outlook store"))
        << status.message();
  }
}

TEST_F(PstBookTest, AFileThatCannotBeReadIsAnError) {
  Put("/books/book", std::string(5000, 'x'));
  machine_.files.FailCall(1, platform::Call::kRead, platform::Fault::kIoError, true);
  EXPECT_FALSE(OpenRoster("PST", "/books/book").ok());
}

// The file is read through the same door as every other, so a cut one can be made in memory.
TEST_F(PstBookTest, CutStoresAreRefusedOrRead) {
  const char* const folder = std::getenv("PV_SAMPLE_DATA");
  if (folder == nullptr) GTEST_SKIP() << "PV_SAMPLE_DATA names no folder of sample data";
  std::ifstream stream(std::string(folder) + "/addressbooks/PST/javalibpst-dist-list.pst",
                       std::ios::binary);
  const std::string content((std::istreambuf_iterator<char>(stream)), {});
  ASSERT_GT(content.size(), 200'000U);
  const auto whole = OpenText("PST", content);
  EXPECT_EQ(Everybody(whole.get()).size(), 3U);
  for (std::size_t size = 0; size < content.size(); size += 7'919) {
    Put("/books/book", content.substr(0, size));
    const auto roster = OpenRoster("PST", "/books/book");
    if (!roster.ok()) continue;
    Contact contact;
    for (std::uint32_t i = 0; i < (*roster)->count(); ++i) (void)(*roster)->Read(i, &contact);
  }
}

}  // namespace
}  // namespace pv::converter
