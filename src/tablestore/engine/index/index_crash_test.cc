// What a death of the writer, a failing call or a torn write leaves behind: the tree as it was,
// the tree as it should be, or the mark, which says that the tags must be rebuilt.
#include <algorithm>
#include <functional>
#include <random>

#include "platform/memory/crash_replay.h"
#include "tablestore/engine/index/index_test_support.h"

namespace pv::engine {
namespace {

using platform::Call;
using platform::CrashReplay;
using platform::Fault;
using platform::MemoryFileSystem;
using ::testing::IsEmpty;

const std::vector<TagDefinition>& Tags() {
  static const std::vector<TagDefinition> tags = {MakeTag("LONG", 120), MakeTag("SHORT", 4, 0x00)};
  return tags;
}

// The model of both tags.
struct State {
  Model models[2];
  bool operator==(const State&) const = default;
};

struct Change {
  bool insert;
  std::size_t tag;
  Entry entry;
};

Status Apply(const OpenIndex& open, const std::vector<Change>& changes) {
  PV_RETURN_IF_ERROR(open.index->BeginChange());
  for (const Change& c : changes) {
    Tag* tag = open.tag(c.tag);
    if (c.insert) {
      PV_RETURN_IF_ERROR(tag->FindKey(Bytes(c.entry.first)).status());
      PV_RETURN_IF_ERROR(tag->Insert(Bytes(c.entry.first), c.entry.second));
    } else {
      const auto removed = tag->Remove(Bytes(c.entry.first), c.entry.second);
      if (!removed.ok()) return removed.status();
      EXPECT_TRUE(*removed);
    }
  }
  return open.index->EndChange();
}

void Apply(const std::vector<Change>& changes, State* state) {
  for (const Change& c : changes) {
    if (c.insert) {
      state->models[c.tag].insert(c.entry);
    } else {
      state->models[c.tag].erase(c.entry);
    }
  }
}

Status Rebuild(const OpenIndex& open, const State& state) {
  PV_RETURN_IF_ERROR(open.index->BeginChange());
  PV_RETURN_IF_ERROR(open.index->BeginRebuild());
  for (std::size_t i = 0; i < 2; ++i) {
    PV_ASSIGN_OR_RETURN(const auto builder, open.index->BuildTag(i));
    for (const Entry& e : state.models[i]) {
      PV_RETURN_IF_ERROR(builder->Add(Bytes(e.first), e.second));
    }
    PV_RETURN_IF_ERROR(builder->Finish());
  }
  PV_RETURN_IF_ERROR(open.index->FinishRebuild());
  return open.index->EndChange();
}

void ExpectState(const OpenIndex& open, const State& state) {
  for (std::size_t i = 0; i < 2; ++i) ExpectHolds(open.tag(i), state.models[i]);
  EXPECT_THAT(open.index->Verify(), IsEmpty());
}

State Read(const OpenIndex& open) {
  State state;
  for (std::size_t i = 0; i < 2; ++i) {
    for (Entry& e : Walk(open.tag(i))) state.models[i].insert(std::move(e));
  }
  return state;
}

// Opens what a crash left. Without the mark it must be one of the states; with it a rebuild must
// make it whole.
void ExpectSurvives(MemoryFileSystem* files, const State& before, const State& after,
                    int* marked_count) {
  const OpenIndex open = OpenAt(files, Tags());
  ASSERT_TRUE(open.index != nullptr);
  const auto marked = open.index->IsMarked();
  ASSERT_TRUE(marked.ok());
  if (*marked) {
    ++*marked_count;
    PV_ASSERT_OK(Rebuild(open, after));
    EXPECT_FALSE(*open.index->IsMarked());
    ExpectState(open, after);
    return;
  }
  const State found = Read(open);
  EXPECT_TRUE(found == before || found == after);
  ExpectState(open, found);
}

Entry LongKey(std::uint32_t number) {
  return {
      Padded("key " + std::to_string(100000 + number * 7919 % 100000) + std::string(60, 'x'), 120),
      number + 1};
}
Entry ShortKey(std::uint32_t number) {
  std::string key(4, '\0');
  key[0] = static_cast<char>(0x80);
  key[2] = static_cast<char>(number * 31 >> 8);
  key[3] = static_cast<char>(number * 31);
  return {key, number + 1};
}

// Brackets that split leaves and interior pages, grow the root, merge and collapse again.
std::vector<std::vector<Change>> Brackets() {
  std::vector<std::vector<Change>> brackets;
  std::vector<std::uint32_t> numbers(70);
  for (std::uint32_t i = 0; i < 70; ++i) numbers[i] = i;
  for (const std::uint32_t i : numbers) {
    brackets.push_back({{true, 0, LongKey(i)}, {true, 1, ShortKey(i)}});
  }
  std::shuffle(numbers.begin(), numbers.end(), std::mt19937(1));
  for (const std::uint32_t i : numbers) {
    brackets.push_back({{false, 1, ShortKey(i)}, {false, 0, LongKey(i)}});
  }
  return brackets;
}

TEST(IndexCrashTest, EveryMomentOfEveryBracketSurvives) {
  MemoryFileSystem files;
  const OpenIndex open = CreateAt(&files, Tags());
  State before;
  int marked = 0;
  int images = 0;
  for (const auto& bracket : Brackets()) {
    files.StartRecording();
    PV_ASSERT_OK(Apply(open, bracket));
    State after = before;
    Apply(bracket, &after);
    CrashReplay replay(files);
    for (std::size_t n = 0; n <= replay.size(); ++n) {
      replay.StepTo(n);
      {
        MemoryFileSystem crashed(replay.Image());
        ExpectSurvives(&crashed, before, after, &marked);
      }
      if (n < replay.size() && replay.event(n).kind == platform::Event::Kind::kWrite) {
        const std::size_t size = replay.event(n).bytes.size();
        for (const std::size_t torn : {std::size_t{1}, size / 2, size - 1}) {
          MemoryFileSystem crashed(replay.TornImage(torn));
          ExpectSurvives(&crashed, before, after, &marked);
          ++images;
        }
      }
      ++images;
      if (testing::Test::HasFailure()) FAIL() << "change " << n;
    }
    before = after;
  }
  EXPECT_GT(marked, images / 3);
  EXPECT_EQ(before, State());
}

TEST(IndexCrashTest, EveryMomentOfARebuildSurvives) {
  MemoryFileSystem files;
  const OpenIndex open = CreateAt(&files, Tags());
  State state;
  std::vector<Change> all;
  for (std::uint32_t i = 0; i < 40; ++i) {
    all.push_back({true, 0, LongKey(i)});
    all.push_back({true, 1, ShortKey(i)});
  }
  PV_ASSERT_OK(Apply(open, all));
  Apply(all, &state);
  files.StartRecording();
  PV_ASSERT_OK(open.index->BeginChange());
  ASSERT_TRUE(open.index->ReservePages(2).ok());
  PV_ASSERT_OK(open.index->EndChange());
  PV_ASSERT_OK(Rebuild(open, state));
  CrashReplay replay(files);
  int marked = 0;
  for (std::size_t n = 0; n <= replay.size(); ++n) {
    replay.StepTo(n);
    MemoryFileSystem crashed(replay.Image());
    ExpectSurvives(&crashed, state, state, &marked);
    if (testing::Test::HasFailure()) FAIL() << "change " << n;
  }
  EXPECT_GT(marked, 20);
}

// Fails each call of a run in turn.
void FailEveryCall(const State& state, const std::vector<Change>& setup,
                   const std::function<Status(const OpenIndex&)>& run, const State& after) {
  for (const Fault fault : {Fault::kIoError, Fault::kNoSpace, Fault::kShortWrite}) {
    for (int n = 1;; ++n) {
      MemoryFileSystem files;
      files.StopRecording();
      {
        const OpenIndex open = CreateAt(&files, Tags());
        PV_ASSERT_OK(Apply(open, setup));
        files.FailCall(static_cast<std::uint64_t>(n),
                       Call::kRead | Call::kWrite | Call::kTruncate | Call::kStat, fault);
        const Status status = run(open);
        const bool hit = files.FaultHit();
        files.ClearFault();
        if (!hit) {
          PV_EXPECT_OK(status);
          ExpectState(open, after);
          ASSERT_GT(n, 5);
          break;
        }
        ASSERT_FALSE(status.ok()) << "call " << n;
        ASSERT_FALSE(status.message().empty());
        open.index->AbandonChange();
      }
      int marked = 0;
      ExpectSurvives(&files, state, after, &marked);
      if (testing::Test::HasFailure()) FAIL() << "call " << n;
      ASSERT_LT(n, 10'000);
    }
  }
}

TEST(IndexFaultTest, EveryFailingCallOfAChangeIsAnErrorAndLeavesTheMark) {
  std::vector<Change> setup;
  State state;
  for (std::uint32_t i = 0; i < 30; ++i) {
    setup.push_back({true, 0, LongKey(i)});
    setup.push_back({true, 1, ShortKey(i)});
  }
  Apply(setup, &state);
  std::vector<Change> changes;
  for (std::uint32_t i = 30; i < 45; ++i) {
    changes.push_back({true, 0, LongKey(i)});
    changes.push_back({true, 1, ShortKey(i)});
  }
  for (std::uint32_t i = 0; i < 25; ++i) changes.push_back({false, 0, LongKey(i)});
  State after = state;
  Apply(changes, &after);
  FailEveryCall(
      state, setup, [&](const OpenIndex& open) { return Apply(open, changes); }, after);
}

TEST(IndexFaultTest, EveryFailingCallOfARebuildIsAnErrorAndLeavesTheMark) {
  std::vector<Change> setup;
  State state;
  for (std::uint32_t i = 0; i < 30; ++i) {
    setup.push_back({true, 0, LongKey(i)});
    setup.push_back({true, 1, ShortKey(i)});
  }
  Apply(setup, &state);
  FailEveryCall(
      state, setup, [&](const OpenIndex& open) { return Rebuild(open, state); }, state);
}

TEST(IndexFaultTest, EveryFailingCallOfAReaderIsAnErrorOnly) {
  MemoryFileSystem files;
  const OpenIndex open = CreateAt(&files, Tags());
  std::vector<Change> setup;
  State state;
  for (std::uint32_t i = 0; i < 200; ++i) setup.push_back({true, 0, LongKey(i)});
  PV_ASSERT_OK(Apply(open, setup));
  Apply(setup, &state);
  const auto read = [&]() -> Status {
    auto reader = IndexFile::Open(open.file.get());
    if (!reader.ok()) return reader.status();
    Tag* tag = (*reader)->tags()[0].get();
    TagPosition position;
    bool equal = false;
    PV_RETURN_IF_ERROR(tag->Seek(Bytes("key"), 3, &position, &equal));
    EXPECT_TRUE(equal);
    for (int i = 0; i < 30; ++i) PV_RETURN_IF_ERROR(tag->Next(&position));
    for (int i = 0; i < 30; ++i) PV_RETURN_IF_ERROR(tag->Previous(&position));
    PV_RETURN_IF_ERROR(tag->Last(&position));
    PV_RETURN_IF_ERROR(tag->FindKey(Bytes(LongKey(77).first)).status());
    PV_RETURN_IF_ERROR(tag->CountEntries().status());
    PV_RETURN_IF_ERROR((*reader)->IsMarked().status());
    PV_RETURN_IF_ERROR((*reader)->ReservedPages().status());
    return (*reader)->Refresh();
  };
  for (int n = 1;; ++n) {
    files.FailCall(static_cast<std::uint64_t>(n), Call::kRead | Call::kStat, Fault::kIoError);
    const Status status = read();
    if (!files.FaultHit()) {
      PV_EXPECT_OK(status);
      ASSERT_GT(n, 30);
      break;
    }
    ASSERT_FALSE(status.ok()) << n;
  }
  files.ClearFault();

  // A position that met an error goes on from its entry when the file can be read again.
  TagPosition position;
  PV_ASSERT_OK(open.tag(0)->First(&position));
  std::vector<Entry> walked;
  while (position.on_entry()) {
    walked.emplace_back(KeyAt(*open.tag(0), position), position.record());
    files.FailCall(1, Call::kRead, Fault::kIoError);
    if (!open.tag(0)->Next(&position).ok()) {
      files.ClearFault();
      ASSERT_TRUE(position.on_entry());
      PV_ASSERT_OK(open.tag(0)->Next(&position));
    }
    files.ClearFault();
  }
  EXPECT_EQ(walked, InOrder(state.models[0], Tags()[0], true));
}

}  // namespace
}  // namespace pv::engine
