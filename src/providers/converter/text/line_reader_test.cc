#include "providers/converter/text/line_reader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/memory/memory_system.h"

namespace pv::converter {
namespace {

using Ends = LineReader::Ends;
using Texts = std::vector<std::string>;

class LineReaderTest : public testing::Test {
 protected:
  std::unique_ptr<platform::File> Make(std::string_view content) {
    platform::OpenOptions options;
    options.create = platform::CreateMode::kOpenOrCreate;
    auto file = std::move(*machine_.files.Open("/file", options));
    EXPECT_TRUE(file->Truncate(0).ok());
    EXPECT_TRUE(file->Write(0, content.data(), content.size()).ok());
    return file;
  }

  Texts Lines(std::string_view content, Ends ends) {
    const auto file = Make(content);
    LineReader lines(file.get(), ends);
    LineReader::Line line;
    Texts texts;
    while (*lines.Next(&line)) {
      texts.emplace_back(line.text);
      EXPECT_FALSE(line.cut);
    }
    return texts;
  }

  platform::MemorySystem machine_;
};

TEST_F(LineReaderTest, Ends) {
  EXPECT_EQ(Lines("", Ends::kLineFeed), Texts());
  EXPECT_EQ(Lines("a\n\nb\r\nc\rd", Ends::kLineFeed), (Texts{"a", "", "b", "c\rd"}));
  EXPECT_EQ(Lines("a\n", Ends::kLineFeed), Texts{"a"});
  EXPECT_EQ(Lines("a\r\rb\r\nc\n\rd\r", Ends::kAnyEnd), (Texts{"a", "", "b", "c", "", "d"}));
}

// Around the size of the window and the longest line every place of an end is tried.
TEST_F(LineReaderTest, EndsAtTheBordersOfTheWindow) {
  for (const std::size_t border : {std::size_t{128} << 10, LineReader::kLongest}) {
    for (std::size_t size = border - 3; size <= border; ++size) {
      const std::string long_line(size, 'x');
      for (const char* end : {"\n", "\r\n", "\r"}) {
        const bool back_alone = std::string_view(end) == "\r";
        const Ends ends = back_alone ? Ends::kAnyEnd : Ends::kLineFeed;
        EXPECT_EQ(Lines(long_line + end + "b" + end, ends), (Texts{long_line, "b"})) << size;
        EXPECT_EQ(Lines(long_line + end + "b", Ends::kAnyEnd), (Texts{long_line, "b"})) << size;
      }
    }
  }
}

TEST_F(LineReaderTest, LinesThatAreTooLongAreCut) {
  for (const char* end : {"\n", "\r\n", "\r"}) {
    for (std::size_t over : {1, 2, 128 << 10, (128 << 10) + 1, 1 << 20}) {
      const std::string text =
          "a" + std::string(end) + std::string(LineReader::kLongest + over, 'x') + end + "b";
      const auto file = Make(text);
      LineReader lines(file.get(), Ends::kAnyEnd);
      LineReader::Line line;
      ASSERT_TRUE(*lines.Next(&line));
      ASSERT_TRUE(*lines.Next(&line));
      EXPECT_TRUE(line.cut);
      EXPECT_EQ(line.text, std::string(LineReader::kLongest, 'x'));
      ASSERT_TRUE(*lines.Next(&line)) << over;
      EXPECT_EQ(line.text, "b") << over;
      EXPECT_EQ(line.offset, text.size() - 1);
      EXPECT_FALSE(*lines.Next(&line));
      lines.Seek(0);
      ASSERT_TRUE(*lines.Next(&line));
      EXPECT_EQ(line.text, "a");
    }
  }
}

TEST_F(LineReaderTest, AnyPlaceCanBeSought) {
  std::string text;
  std::vector<std::uint64_t> offsets;
  for (int i = 0; i < 50'000; ++i) {
    offsets.push_back(text.size());
    text += std::to_string(i) + "\n";
  }
  const auto file = Make(text);
  LineReader lines(file.get());
  LineReader::Line line;
  for (const std::size_t i : {49'999, 0, 1, 25'000, 24'999, 49'998, 3}) {
    lines.Seek(offsets[i]);
    EXPECT_EQ(*lines.Peek(), text[offsets[i]]);
    ASSERT_TRUE(*lines.Next(&line));
    EXPECT_EQ(line.text, std::to_string(i));
    EXPECT_EQ(line.offset, offsets[i]);
  }
  lines.Seek(text.size());
  EXPECT_EQ(*lines.Peek(), -1);
  EXPECT_FALSE(*lines.Next(&line));
}

}  // namespace
}  // namespace pv::converter
