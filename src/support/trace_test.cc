#include "support/trace.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "platform/memory/memory_system.h"
#include "support/configuration.h"

namespace pv::support {
namespace {

using platform::TraceMessage;

class TraceTest : public testing::Test {
 protected:
  TraceTest() { ForgetTraceViewer(); }
  ~TraceTest() override {
    ForgetTraceViewer();
    SetHostCodePage(0);
  }
  void OpenViewer(platform::TraceHandle handle = 7) {
    machine_.trace_windows.open[kTraceTitle] = handle;
  }
  // The bytes of the one message that a line makes.
  std::string Sent(const std::string& text) {
    machine_.trace_windows.sent.clear();
    PokeTrace(text);
    EXPECT_EQ(machine_.trace_windows.sent.size(), 1U);
    if (machine_.trace_windows.sent.empty()) return {};
    EXPECT_EQ(machine_.trace_windows.sent[0].second.kind, 3U);
    return machine_.trace_windows.sent[0].second.bytes;
  }

  platform::MemorySystem machine_;
  platform::ScopedSystem scope_{machine_.system()};
};

TEST_F(TraceTest, WithoutAViewerNothingIsSent) {
  machine_.trace_windows.open["Parvane :: Other"] = 5;
  PokeTrace("a line");
  EXPECT_TRUE(machine_.trace_windows.sent.empty());
  EXPECT_EQ(machine_.trace_windows.searches, 1);
}

TEST_F(TraceTest, ViewerThatOpensLaterIsFound) {
  PokeTrace("lost");
  OpenViewer();
  PokeTrace("seen");
  ASSERT_EQ(machine_.trace_windows.sent.size(), 1U);
  EXPECT_EQ(machine_.trace_windows.sent[0].second, (TraceMessage{3, std::string("seen\0", 5)}));
}

TEST_F(TraceTest, ViewerIsLookedForOnceAndKeptThoughItCloses) {
  OpenViewer(7);
  PokeTrace("one");
  machine_.trace_windows.open.clear();
  PokeTrace("two");
  OpenViewer(8);
  PokeTrace("three");
  EXPECT_EQ(machine_.trace_windows.searches, 1);
  ASSERT_EQ(machine_.trace_windows.sent.size(), 3U);
  for (const auto& [handle, message] : machine_.trace_windows.sent) EXPECT_EQ(handle, 7U);
}

TEST_F(TraceTest, EachApartmentFindsItsOwn) {
  OpenViewer();
  PokeTrace("here");
  std::thread([this] {
    const platform::ScopedSystem scope(machine_.system());
    PokeTrace("there");
  }).join();
  EXPECT_EQ(machine_.trace_windows.searches, 2);
  EXPECT_EQ(machine_.trace_windows.sent.size(), 2U);
}

TEST_F(TraceTest, EmptyTextIsASingleZero) {
  OpenViewer();
  EXPECT_EQ(Sent(""), std::string(1, '\0'));
}

TEST_F(TraceTest, TenCharactersAreElevenBytes) {
  OpenViewer();
  EXPECT_EQ(Sent("0123456789"), std::string("0123456789\0", 11));
}

TEST_F(TraceTest, TextTravelsInTheAnsiPage) {
  OpenViewer();
  EXPECT_EQ(Sent("Müller €"), std::string("M\xFCller \x80\0", 9));
  EXPECT_EQ(Sent("Ж"), std::string("?\0", 2)) << "the page lacks the letter";
  SetHostCodePage(1251);
  EXPECT_EQ(Sent("Ж"), std::string("\xC6\0", 2));
}

TEST_F(TraceTest, CharactersAreCountedAndBytesCopied) {
  OpenViewer();
  SetHostCodePage(932);
  // Three characters of two bytes each: three bytes travel.
  EXPECT_EQ(Sent("日本語"), std::string("\x93\xFA\x96\0", 4));
  SetHostCodePage(1252);
  // One character outside the basic plane counts as two, and the page has one byte for it.
  EXPECT_EQ(Sent("\xF0\x9F\x98\x80"), std::string("?\0\0", 3));
}

TEST_F(TraceTest, TextOfTheBuffersLengthStaysInsideIt) {
  OpenViewer();
  for (const std::size_t length : {253U, 254U}) {
    EXPECT_EQ(Sent(std::string(length, 'x')), std::string(length, 'x') + '\0') << length;
  }
  for (const std::size_t length : {255U, 256U, 100'000U}) {
    EXPECT_EQ(Sent(std::string(length, 'x')), std::string(254, 'x') + '\0') << length;
  }
}

TEST_F(TraceTest, UnusableCodePageLosesTheLineOnly) {
  OpenViewer();
  machine_.process.environment["PVGROUP_CODEPAGE"] = "no page";
  PokeTrace("a line");
  EXPECT_TRUE(machine_.trace_windows.sent.empty());
}

}  // namespace
}  // namespace pv::support
