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

class PstSamplesTest : public PstBookTest {
 protected:
  void SetUp() override {
    PstBookTest::SetUp();
    const char* const folder = std::getenv("PV_SAMPLE_DATA");
    if (folder == nullptr) GTEST_SKIP() << "PV_SAMPLE_DATA names no folder of sample data";
    for (const char* const name :
         {"javalibpst-dist-list.pst", "pstsdk-test_ansi.pst", "pstsdk-test_unicode.pst"}) {
      std::ifstream stream(std::string(folder) + "/addressbooks/PST/" + name, std::ios::binary);
      stores_.emplace_back((std::istreambuf_iterator<char>(stream)),
                           std::istreambuf_iterator<char>());
      ASSERT_GT(stores_.back().size(), 200'000U);
    }
  }
  std::vector<std::string> stores_;
};

// The file is read through the same door as every other, so a cut one can be made in memory.
TEST_F(PstSamplesTest, CutStoresAreRefused) {
  for (const std::string& content : stores_) {
    ASSERT_NE(OpenText("PST", content), nullptr);
    for (std::size_t size = 0; size < content.size(); size += 4'099) {
      const Status status = Failure("PST", content.substr(0, size));
      EXPECT_EQ(status.code(), StatusCode::kCorrupt) << size;
      EXPECT_TRUE(status.message().starts_with("/books/book: ")) << status.message();
    }
    const Status status = Failure("PST", content.substr(0, content.size() - 1));
    EXPECT_EQ(status.message(),
              "/books/book: the file ends after 271359 of the 271360 bytes that it should have");
  }
}

// A failed read is an error, and never a book with less in it.
TEST_F(PstSamplesTest, EveryReadThatFails) {
  Put("/books/book", stores_.front());
  std::uint64_t n = 1;
  for (;; n += 3) {
    machine_.files.FailCall(n, platform::Call::kRead, platform::Fault::kIoError);
    auto roster = OpenRoster("PST", "/books/book");
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
  EXPECT_GT(n, 30U);
}

// Other damage: there are no more contacts than there were, and reading ends.
TEST_F(PstSamplesTest, ChangedBytes) {
  for (std::string content : stores_) {
    const auto whole = OpenText("PST", content);
    ASSERT_NE(whole, nullptr);
    for (std::size_t at = 0; at < content.size(); at += at < 600 ? 3 : 4'099) {
      SCOPED_TRACE(at);
      const char before = content[at];
      content[at] = static_cast<char>(before ^ (1 << (at % 8)));
      Put("/books/book", content);
      content[at] = before;
      const auto roster = OpenRoster("PST", "/books/book");
      if (!roster.ok()) {
        EXPECT_TRUE(roster.status().message().starts_with("/books/book: "))
            << roster.status().message();
        continue;
      }
      EXPECT_LE((*roster)->own_count(), whole->own_count());
      Contact contact;
      for (std::uint32_t i = 0; i < (*roster)->count(); ++i) {
        const Status status = (*roster)->Read(i, &contact);
        EXPECT_TRUE(status.ok() || status.message().starts_with("/books/book: "))
            << status.message();
      }
    }
  }
}

}  // namespace
}  // namespace pv::converter
