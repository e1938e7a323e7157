#include "cli/import_source.h"

#include <gtest/gtest.h>

#include "cli/failure.h"
#include "platform/memory/memory_system.h"

namespace pv::cli {
namespace {

using namespace std::string_literals;

class ImportSourceTest : public testing::Test {
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
      if (reader.fault() != nullptr) {
        row = "!" + std::string(reader.fault());
      } else {
        for (const std::string_view field : reader.fields()) {
          row += (row.empty() ? "" : "|") + std::string(field);
        }
      }
      rows.push_back(row);
      originals_.push_back(reader.Original());
      EXPECT_EQ(content.substr(reader.offset(), reader.size()), reader.Original());
    }
    return rows;
  }
  using Strings = std::vector<std::string>;

  platform::MemorySystem machine_;
  platform::ScopedSystem scope_{machine_.system()};
  Strings headings_, originals_;
  std::string header_bytes_;
};

TEST_F(ImportSourceTest, ReadsHeadingsAndRows) {
  EXPECT_EQ(Rows("Email,Name\r\na@b,Ann\r\nc@d,\"Bob, B\"\r\n"),
            (Strings{"a@b|Ann", "c@d|Bob, B"}));
  EXPECT_EQ(headings_, (Strings{"Email", "Name"}));
  EXPECT_EQ(header_bytes_, "Email,Name\r\n");
  EXPECT_EQ(originals_[1], "c@d,\"Bob, B\"\r\n");
}

TEST_F(ImportSourceTest, WithoutAHeaderColumnsAreNumbered) {
  EXPECT_EQ(Rows("a@b,Ann\nc@d,Bob\n"), (Strings{"a@b|Ann", "c@d|Bob"}));
  EXPECT_EQ(headings_, (Strings{"1", "2"}));
  EXPECT_TRUE(header_bytes_.empty());
}

TEST_F(ImportSourceTest, SaysWhatIsWrongWithARow) {
  EXPECT_EQ(
      Rows("Email,Name\na@b\na@b,c,d\na@b,x\0y\n\xC3\xA4@b,\xC3\xB6\na@b,\xE9 bad\na@b,\"open\n"s),
      (Strings{"!1 column instead of 2", "!3 columns instead of 2", "!a value holds a zero byte",
               "\xC3\xA4@b|\xC3\xB6", "!column 2 is not valid utf-8", "!a quote is never closed"}));
}

TEST_F(ImportSourceTest, DecodesCodePages) {
  EXPECT_EQ(Rows("email\tname\np@ex\xE4mple.de\tJ\xFCrgen \x96 1\n"),
            (Strings{"p@ex\xC3\xA4mple.de|J\xC3\xBCrgen \xE2\x80\x93 1"}));
  ImportOptions options;
  options.encoding = "latin1";
  EXPECT_EQ(Rows("email,name\na@b,\xE4\n", options), (Strings{"a@b|\xC3\xA4"}));
}

TEST_F(ImportSourceTest, TheByteOrderMarkBelongsToNoRow) {
  EXPECT_EQ(Rows("\xEF\xBB\xBF"
                 "Email;Name\na@b;c\n"),
            (Strings{"a@b|c"}));
  EXPECT_EQ(headings_, (Strings{"Email", "Name"}));
  EXPECT_EQ(header_bytes_, "Email;Name\n");
}

TEST_F(ImportSourceTest, GivesUtf16RowsBackAsTheyWere) {
  const std::string text =
      "\xFF\xFE"
      "E\0m\0a\0i\0l\0,\0N\0\n\0"s +
      "a\0@\0b\0,\0\xE4\0\n\0x\0@\0y\0,\0\x00\xDE\n\0"s;
  EXPECT_EQ(Rows(text), (Strings{"a@b|\xC3\xA4", "!column 2 is not valid utf-16le"}));
  EXPECT_EQ(header_bytes_, "E\0m\0a\0i\0l\0,\0N\0\n\0"s);
}

TEST_F(ImportSourceTest, AMissingFileIsUnavailable) {
  ImportOptions options;
  options.file = "/nowhere.csv";
  try {
    const ImportSource source(options);
    FAIL() << "it was opened";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code(), kUnavailable);
  }
}

TEST_F(ImportSourceTest, AnUnknownEncodingIsRefused) {
  machine_.files.Put("/in.csv", "a,b\n");
  ImportOptions options;
  options.file = "/in.csv";
  options.encoding = "klingon";
  EXPECT_THROW(ImportSource{options}, Failure);
}

}  // namespace
}  // namespace pv::cli
