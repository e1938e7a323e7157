#include "cli/import/row_reader.h"

#include <gtest/gtest.h>

#include "base/record_set.h"
#include "cli/failure.h"
#include "platform/memory/memory_system.h"

namespace pv::cli {
namespace {

using namespace std::string_literals;

class RowReaderTest : public testing::Test {
 protected:
  // Reads /in.csv to its end: each row's fields joined by "|", or "!" and its fault.
  std::vector<std::string> Rows(const std::string& content, ImportOptions options = {}) {
    machine_.files.Put("/in.csv", content);
    options.file = "/in.csv";
    const ImportSource source(options);
    RowReader reader(source);
    headings_ = reader.headings();
    header_bytes_ = reader.header_bytes();
    std::vector<std::string> rows;
    originals_.clear();
    while (reader.Next()) {
      std::string row;
      if (!reader.fault().empty()) {
        row = "!" + std::string(reader.fault());
      } else {
        for (const std::string_view field : reader.fields()) {
          row += (row.empty() ? "" : "|") + std::string(field);
        }
      }
      rows.push_back(row);
      originals_.push_back(
          *source.ReadOriginal(reader.offset(), static_cast<std::size_t>(reader.size())));
    }
    EXPECT_FALSE(reader.Next()) << "the end stays the end";
    blank_lines_ = reader.blank_lines();
    consumed_ = reader.consumed();
    return rows;
  }
  using Strings = std::vector<std::string>;

  platform::MemorySystem machine_;
  platform::ScopedSystem scope_{machine_.system()};
  Strings headings_, originals_;
  std::string header_bytes_;
  std::uint64_t blank_lines_ = 0, consumed_ = 0;
};

TEST_F(RowReaderTest, ReadsHeadingsAndRows) {
  EXPECT_EQ(Rows("Email,Name\r\na@b,Ann\r\nc@d,\"Bob, B\"\r\n"),
            (Strings{"a@b|Ann", "c@d|Bob, B"}));
  EXPECT_EQ(headings_, (Strings{"Email", "Name"}));
  EXPECT_EQ(header_bytes_, "Email,Name\r\n");
  EXPECT_EQ(originals_[1], "c@d,\"Bob, B\"\r\n");
}

TEST_F(RowReaderTest, WithoutAHeaderColumnsAreNumbered) {
  EXPECT_EQ(Rows("a@b,Ann\nc@d,Bob\n"), (Strings{"a@b|Ann", "c@d|Bob"}));
  EXPECT_EQ(headings_, (Strings{"1", "2"}));
  EXPECT_TRUE(header_bytes_.empty());
}

TEST_F(RowReaderTest, SaysWhatIsWrongWithARow) {
  EXPECT_EQ(
      Rows("Email,Name\na@b\na@b,c,d\na@b,x\0y\n\xC3\xA4@b,\xC3\xB6\na@b,\xE9 bad\na@b,\"open\n"s),
      (Strings{"!1 column instead of 2", "!3 columns instead of 2", "!a value holds a zero byte",
               "\xC3\xA4@b|\xC3\xB6", "!column 2 is not valid utf-8", "!a quote is never closed"}));
}

TEST_F(RowReaderTest, DecodesCodePages) {
  EXPECT_EQ(Rows("email\tname\np@ex\xE4mple.de\tJ\xFCrgen \x96 1\n"),
            (Strings{"p@ex\xC3\xA4mple.de|J\xC3\xBCrgen \xE2\x80\x93 1"}));
  ImportOptions options;
  options.encoding = "latin1";
  EXPECT_EQ(Rows("email,name\na@b,\xE4\n", options), (Strings{"a@b|\xC3\xA4"}));
}

TEST_F(RowReaderTest, TheByteOrderMarkBelongsToNoRow) {
  EXPECT_EQ(Rows("\xEF\xBB\xBF"
                 "Email;Name\na@b;c\n"),
            (Strings{"a@b|c"}));
  EXPECT_EQ(headings_, (Strings{"Email", "Name"}));
  EXPECT_EQ(header_bytes_, "Email;Name\n");
}

TEST_F(RowReaderTest, GivesUtf16RowsBackAsTheyWere) {
  const std::string text =
      "\xFF\xFE"
      "E\0m\0a\0i\0l\0,\0N\0\n\0"s +
      "a\0@\0b\0,\0\xE4\0\n\0x\0@\0y\0,\0\x00\xDE\n\0"s;
  EXPECT_EQ(Rows(text), (Strings{"a@b|\xC3\xA4", "!column 2 is not valid utf-16le"}));
  EXPECT_EQ(header_bytes_, "E\0m\0a\0i\0l\0,\0N\0\n\0"s);
  EXPECT_EQ(originals_[1], "x\0@\0y\0,\0\x00\xDE\n\0"s);
}

TEST_F(RowReaderTest, ALargeSourceIsReadAheadWithTheSameResult) {
  std::string content = "Email,Name\n";
  Strings expected;
  for (int i = 0; i < 60000; ++i) {
    const std::string n = std::to_string(i);
    switch (i % 50) {
      case 7:
        content += "user" + n + "\n";
        expected.push_back("!1 column instead of 2");
        break;
      case 8:
        content += "\n\"user" + n + "@x\",\"two\nlines\"\n";
        expected.push_back("user" + n + "@x|two\nlines");
        break;
      default:
        content += "user" + n + "@x,J\xC3\xBCrgen " + n + "\n";
        expected.push_back("user" + n + "@x|J\xC3\xBCrgen " + n);
    }
  }
  ASSERT_GT(content.size(), std::size_t{1} << 20);
  EXPECT_EQ(Rows(content), expected);
  EXPECT_EQ(blank_lines_, 60000U / 50);
  EXPECT_EQ(consumed_, content.size());
}

TEST_F(RowReaderTest, AReaderMayBeLeftInTheMiddle) {
  std::string content = "Email,Name\n";
  for (int i = 0; i < 100000; ++i) content += "user" + std::to_string(i) + "@x,y\n";
  machine_.files.Put("/in.csv", content);
  ImportOptions options;
  options.file = "/in.csv";
  const ImportSource source(options);
  for (int rows = 0; rows < 20000; rows += 6000) {
    RowReader reader(source);
    for (int i = 0; i < rows; ++i) ASSERT_TRUE(reader.Next());
  }
}

TEST_F(RowReaderTest, AFailureToReadIsToldWhereItHappens) {
  std::string content = "Email,Name\n";
  while (content.size() < 5'000'000) content += "user@x,y\n";
  machine_.files.Put("/in.csv", content);
  ImportOptions options;
  options.file = "/in.csv";
  const ImportSource source(options);
  machine_.files.FailCall(4, platform::Call::kRead, platform::Fault::kIoError);
  RowReader reader(source);
  std::size_t rows = 0;
  const auto read_all = [&] {
    while (reader.Next()) ++rows;
  };
  EXPECT_THROW(read_all(), Failure);
  EXPECT_GT(rows, 1000U);
}

TEST_F(RowReaderTest, KeysAreFoundAhead) {
  machine_.files.Put("/in.csv", "Email,Name\n Ann@X ,1\nbad,2\nann@x,3\nshort\n");
  ImportOptions options;
  options.file = "/in.csv";
  const ImportSource source(options);
  RowReader reader(source, 0);
  ASSERT_TRUE(reader.Next());
  EXPECT_EQ(reader.key_fault(), nullptr);
  EXPECT_EQ(reader.key_hash(), HashOf("ann@x"));
  ASSERT_TRUE(reader.Next());
  EXPECT_STREQ(reader.key_fault(), "the address has no @");
  ASSERT_TRUE(reader.Next());
  EXPECT_EQ(reader.key_hash(), HashOf("ann@x"));
  ASSERT_TRUE(reader.Next());
  EXPECT_FALSE(reader.fault().empty());
  EXPECT_FALSE(reader.Next());
  EXPECT_FALSE(reader.Next());
}

// In the thread that reads where there is one.
TEST_F(RowReaderTest, EveryRowWithoutAFaultIsLookedAt) {
  for (const std::size_t copies : {std::size_t{1}, std::size_t{100'000}}) {
    std::string content = "Email,Name\n";
    for (std::size_t i = 0; i < copies; ++i) content += "a@x,1\nshort\n\"b@x\",\"two, 2\"\n";
    machine_.files.Put("/in.csv", content);
    ImportOptions options;
    options.file = "/in.csv";
    const ImportSource source(options);
    std::vector<std::string> looked, read;
    {
      RowReader reader(source, std::nullopt, [&](RowReader::Columns columns) {
        looked.push_back(std::string(columns[0]) + "|" + std::string(columns[1]));
      });
      while (reader.Next()) {
        if (!reader.fault().empty()) continue;
        read.push_back(std::string(reader.fields()[0]) + "|" + std::string(reader.fields()[1]));
      }
    }
    EXPECT_EQ(read.size(), 2 * copies);
    EXPECT_EQ(read[1], "b@x|two, 2");
    EXPECT_EQ(looked, read);
  }
}

TEST_F(RowReaderTest, AMissingFileIsUnavailable) {
  ImportOptions options;
  options.file = "/nowhere.csv";
  try {
    const ImportSource source(options);
    FAIL() << "it was opened";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code(), kUnavailable);
  }
}

TEST_F(RowReaderTest, AnUnknownEncodingIsRefused) {
  machine_.files.Put("/in.csv", "a,b\n");
  ImportOptions options;
  options.file = "/in.csv";
  options.encoding = "klingon";
  EXPECT_THROW(ImportSource{options}, Failure);
}

}  // namespace
}  // namespace pv::cli
