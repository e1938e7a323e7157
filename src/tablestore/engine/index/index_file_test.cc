#include "tablestore/engine/index/index_file.h"

#include <algorithm>
#include <random>

#include "base/bytes.h"
#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/index/index_test_support.h"

namespace pv::engine {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class IndexFileTest : public ::testing::Test {
 protected:
  // Inserts in a bracket of its own.
  static void Insert(const OpenIndex& open, Tag* tag, const std::vector<Entry>& entries) {
    PV_ASSERT_OK(open.index->BeginChange());
    for (const Entry& e : entries) {
      PV_ASSERT_OK(tag->Insert(Bytes(Padded(e.first, tag->definition().key_length)), e.second));
    }
    PV_ASSERT_OK(open.index->EndChange());
  }
  static std::vector<Entry> Numbered(int count, std::size_t key_length) {
    std::vector<Entry> entries;
    for (int i = 0; i < count; ++i) {
      entries.emplace_back(Padded("key" + std::to_string(10000 + i), key_length), i + 1);
    }
    return entries;
  }

  platform::MemoryFileSystem files_;
};

TEST_F(IndexFileTest, KeepsTheDefinitions) {
  TagDefinition plain = MakeTag("PLAIN", 10);
  TagDefinition full = MakeTag("ABCDEFGHIJ", 240);
  full.expression = "UPPER(NAME)+DTOS(BORN)";
  full.filter = ".NOT. DELETED()";
  full.unique = true;
  full.descending = true;
  full.nullable = true;
  TagDefinition candidate = MakeTag("CAND", 8, 0x00);
  candidate.unique = candidate.candidate = true;
  const OpenIndex open = CreateAt(&files_, {plain, full, candidate});

  // In the order in which they were given.
  ASSERT_EQ(open.index->tags().size(), 3U);
  const TagDefinition& a = open.tag(0)->definition();
  EXPECT_EQ(a.name, "PLAIN");
  EXPECT_EQ(a.expression, "EXPR_PLAIN");
  EXPECT_EQ(a.filter, "");
  EXPECT_EQ(a.key_length, 10);
  EXPECT_FALSE(a.unique || a.candidate || a.descending || a.nullable || a.foreign_collation);
  const TagDefinition& b = open.tag(1)->definition();
  EXPECT_EQ(b.name, "ABCDEFGHIJ");
  EXPECT_EQ(b.expression, "UPPER(NAME)+DTOS(BORN)");
  EXPECT_EQ(b.filter, ".NOT. DELETED()");
  EXPECT_EQ(b.key_length, 240);
  EXPECT_TRUE(b.unique && b.descending && b.nullable);
  EXPECT_FALSE(b.candidate);
  EXPECT_TRUE(open.tag(2)->definition().candidate);
  EXPECT_TRUE(open.tag(2)->definition().unique);
  EXPECT_EQ(open.tag(2)->definition().fill_byte, 0x00);
  for (const auto& tag : open.index->tags()) ExpectHolds(tag.get(), {});
  EXPECT_THAT(open.index->Verify(), IsEmpty());
}

TEST_F(IndexFileTest, WritesTheHeadersThatOthersWrite) {
  TagDefinition tag = MakeTag("CALL_ID", 4, 0x00);
  tag.expression = "call_id";
  tag.unique = tag.candidate = true;
  (void)CreateAt(&files_, {tag});
  const std::string file = files_.Get(kIndexPath);
  ASSERT_EQ(file.size(), 3072U);
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(file.data());
  // The directory: root at 1024, key length 10, options 0xE0, signature 1.
  EXPECT_EQ(LoadLe32(bytes), 1024U);
  EXPECT_EQ(LoadLe32(bytes + 4), 0U);
  EXPECT_EQ(LoadBe32(bytes + 8), 1U);
  EXPECT_EQ(LoadLe16(bytes + 12), 10);
  EXPECT_EQ(bytes[14], 0xE0);
  EXPECT_EQ(bytes[15], 1);
  EXPECT_EQ(file.substr(16, 486), std::string(486, '\0'));
  EXPECT_EQ(file.substr(502, 10), std::string("\0\0\1\0\1\0\0\0\1\0", 10));
  // Its leaf, byte by byte as in a real file but for the offsets.
  EXPECT_EQ(file.substr(1024, 27), std::string("\x03\0\x01\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"
                                               "\xDE\x01\xFF\xFF\0\0\x0F\x0F\x10\x04\x04\x03"
                                               "\x00\x06\x30",
                                               27));
  EXPECT_EQ(file.substr(1529, 7), "CALL_ID");
  // The tag.
  EXPECT_EQ(LoadLe32(bytes + 1536), 2560U);
  EXPECT_EQ(LoadLe16(bytes + 1536 + 12), 4);
  EXPECT_EQ(bytes[1536 + 14], 0x64);
  EXPECT_EQ(file.substr(1536 + 502, 10), std::string("\0\0\x08\0\1\0\0\0\x08\0", 10));
  EXPECT_EQ(file.substr(2048, 9), std::string("call_id\0\0", 9));
}

TEST_F(IndexFileTest, RefusesDefinitionsBeyondTheLimits) {
  const auto create = [&](std::vector<TagDefinition> tags) {
    platform::MemoryFileSystem files;
    const auto file = OpenFile(&files);
    const Status status = IndexFile::Create(file.get(), tags);
    EXPECT_FALSE(status.ok());
    EXPECT_EQ(files.Get(kIndexPath), "");
    return status;
  };
  EXPECT_EQ(create({MakeTag("ELEVENBYTES", 5)}).code(), StatusCode::kLimit);
  EXPECT_EQ(create({MakeTag("ELEVENBYTES", 5)}).detail(), kErrTagLimit);
  EXPECT_EQ(create({MakeTag("T", 241)}).code(), StatusCode::kLimit);
  EXPECT_EQ(create({MakeTag("T", 0)}).code(), StatusCode::kInvalid);
  EXPECT_EQ(create({MakeTag("", 5)}).code(), StatusCode::kInvalid);
  EXPECT_EQ(create({MakeTag("T", 5), MakeTag("T", 6)}).code(), StatusCode::kInvalid);
  TagDefinition tag = MakeTag("T", 5);
  tag.expression.assign(300, 'x');
  tag.filter.assign(211, 'y');
  EXPECT_EQ(create({tag}).code(), StatusCode::kLimit);
  tag.filter.pop_back();
  const OpenIndex open = CreateAt(&files_, {tag});
  EXPECT_EQ(open.tag()->definition().expression, tag.expression);
  EXPECT_EQ(open.tag()->definition().filter, tag.filter);

  const auto file = OpenFile(&files_);
  EXPECT_EQ(IndexFile::Create(file.get(), {}).code(), StatusCode::kExists);
}

TEST_F(IndexFileTest, HoldsMoreTagsThanOneDirectoryPage) {
  std::vector<TagDefinition> tags;
  for (int i = 0; i < 200; ++i) tags.push_back(MakeTag("T" + std::to_string(i * 7 % 200), 12));
  const OpenIndex open = CreateAt(&files_, tags);
  ASSERT_EQ(open.index->tags().size(), 200U);
  for (std::size_t i = 0; i < 200; ++i) {
    EXPECT_EQ(open.tag(i)->definition().name, tags[i].name);
  }
  EXPECT_THAT(open.index->Verify(), IsEmpty());
}

TEST_F(IndexFileTest, SeeksFromTheFrontOfTheKey) {
  for (const bool descending : {false, true}) {
    platform::MemoryFileSystem files;
    const OpenIndex open = CreateAt(&files, {MakeTag("NAME", 6, 0x20, descending)});
    Tag* tag = open.tag();
    Insert(open, tag, {{"ADAM", 4}, {"BERT", 2}, {"BERT", 7}, {"BERTA", 1}, {"CARL", 3}});
    struct {
      const char* text;
      bool equal;
      std::uint32_t ascending, descending;  // record found; 0 past the last
    } const cases[] = {
        {"BERT", true, 2, 1},   {"BERT  ", true, 2, 7},  {"B", true, 2, 1},   {"", true, 4, 3},
        {"BERTB", false, 3, 1}, {"A", true, 4, 4},       {"AA", false, 4, 0}, {"D", false, 0, 3},
        {"CARL  ", true, 3, 3}, {"CARLX ", false, 0, 3},
    };
    for (const auto& c : cases) {
      TagPosition position;
      bool equal = false;
      const std::string text = c.text;
      PV_ASSERT_OK(tag->Seek(Bytes(text), text.size(), &position, &equal));
      const std::uint32_t expected = descending ? c.descending : c.ascending;
      EXPECT_EQ(position.on_entry(), expected != 0) << text;
      if (expected == 0) {
        EXPECT_TRUE(position.past_last()) << text;
        EXPECT_FALSE(equal) << text;
      } else {
        EXPECT_EQ(position.record(), expected) << text << " " << descending;
        EXPECT_EQ(equal, c.equal) << text << " " << descending;
      }
    }
    TagPosition position;
    bool equal = false;
    EXPECT_EQ(tag->Seek(Bytes("ABCDEFG"), 7, &position, &equal).code(), StatusCode::kInvalid);
  }
}

TEST_F(IndexFileTest, SeekEntryComesToTheEntryOrTheOneBehindItsPlace) {
  for (const bool descending : {false, true}) {
    platform::MemoryFileSystem files;
    const OpenIndex open = CreateAt(&files, {MakeTag("NAME", 4, 0x20, descending)});
    Tag* tag = open.tag();
    Insert(open, tag, {{"AAAA", 10}, {"AAAA", 20}, {"BBBB", 5}});
    TagPosition position;
    bool equal = false;
    PV_ASSERT_OK(tag->SeekEntry(Bytes("AAAA"), 20, &position, &equal));
    EXPECT_TRUE(equal);
    EXPECT_EQ(position.record(), 20U);
    PV_ASSERT_OK(tag->SeekEntry(Bytes("AAAA"), 15, &position, &equal));
    EXPECT_FALSE(equal);
    EXPECT_EQ(position.record(), descending ? 10U : 20U);
    PV_ASSERT_OK(tag->SeekEntry(Bytes("CCCC"), 1, &position, &equal));
    EXPECT_FALSE(equal);
    EXPECT_EQ(position.on_entry(), descending);
    PV_ASSERT_OK(tag->SeekEntry(Bytes("AAAA"), 9, &position, &equal));
    EXPECT_FALSE(equal);
    EXPECT_EQ(position.past_last(), descending);
    const auto found = tag->FindKey(Bytes("AAAA"));
    ASSERT_TRUE(found.ok());
    EXPECT_TRUE(*found == 10U || *found == 20U);
    EXPECT_EQ(*tag->FindKey(Bytes("AAAB")), 0U);
    EXPECT_EQ(*tag->FindKey(Bytes("ZZZZ")), 0U);
  }
}

TEST_F(IndexFileTest, WalksPastTheEndsAndBack) {
  for (const bool descending : {false, true}) {
    platform::MemoryFileSystem files;
    const OpenIndex open = CreateAt(&files, {MakeTag("NAME", 4, 0x20, descending)});
    Tag* tag = open.tag();
    TagPosition position;
    PV_ASSERT_OK(tag->First(&position));
    EXPECT_TRUE(position.past_last());
    PV_ASSERT_OK(tag->Last(&position));
    EXPECT_TRUE(position.before_first());
    Insert(open, tag, {{"AAAA", 1}, {"BBBB", 2}});
    PV_ASSERT_OK(tag->Last(&position));
    EXPECT_EQ(position.record(), descending ? 1U : 2U);
    PV_ASSERT_OK(tag->Next(&position));
    EXPECT_TRUE(position.past_last());
    PV_ASSERT_OK(tag->Next(&position));
    EXPECT_TRUE(position.past_last());
    PV_ASSERT_OK(tag->Previous(&position));
    EXPECT_EQ(position.record(), descending ? 1U : 2U);
    PV_ASSERT_OK(tag->Previous(&position));
    PV_ASSERT_OK(tag->Previous(&position));
    EXPECT_TRUE(position.before_first());
    PV_ASSERT_OK(tag->Previous(&position));
    EXPECT_TRUE(position.before_first());
    PV_ASSERT_OK(tag->Next(&position));
    EXPECT_EQ(position.record(), descending ? 2U : 1U);
  }
}

// Three files side by side, as three programs would have them.
TEST_F(IndexFileTest, SeesWhatOthersChanged) {
  const std::vector<TagDefinition> tags = {MakeTag("NAME", 20)};
  const OpenIndex writer = CreateAt(&files_, tags);
  const OpenIndex reader = OpenAt(&files_, tags);
  const std::vector<Entry> entries = Numbered(500, 20);
  Insert(writer, writer.tag(), entries);
  PV_ASSERT_OK(reader.index->Refresh());
  Model model(entries.begin(), entries.end());
  ExpectHolds(reader.tag(), model);

  // The reader stands in the middle while the writer takes away what is around it.
  TagPosition position;
  bool equal = false;
  PV_ASSERT_OK(reader.tag()->SeekEntry(Bytes(entries[250].first), 251, &position, &equal));
  ASSERT_TRUE(equal);
  EXPECT_FALSE(reader.tag()->StepNeedsLock(position, true));
  PV_ASSERT_OK(writer.index->BeginChange());
  for (int i = 200; i < 300; ++i) {
    ASSERT_TRUE(*writer.tag()->Remove(Bytes(entries[i].first), entries[i].second));
    model.erase(entries[i]);
  }
  PV_ASSERT_OK(writer.index->EndChange());
  EXPECT_TRUE(reader.tag()->StepNeedsLock(position, true));
  PV_ASSERT_OK(reader.index->Refresh());
  EXPECT_TRUE(reader.tag()->StepNeedsLock(position, true));
  TagPosition back = position;
  PV_ASSERT_OK(reader.tag()->Next(&position));
  EXPECT_EQ(position.record(), 301U);
  EXPECT_FALSE(reader.tag()->StepNeedsLock(position, true));
  PV_ASSERT_OK(reader.tag()->Previous(&back));
  EXPECT_EQ(back.record(), 200U);
  ExpectHolds(reader.tag(), model);

  // And the other way round: BeginChange notices what the writer did.
  PV_ASSERT_OK(reader.index->BeginChange());
  for (int i = 200; i < 300; ++i) {
    PV_ASSERT_OK(reader.tag()->Insert(Bytes(entries[i].first), entries[i].second));
    model.insert(entries[i]);
  }
  PV_ASSERT_OK(reader.index->EndChange());
  PV_ASSERT_OK(writer.index->Refresh());
  ExpectHolds(writer.tag(), model);
  Insert(writer, writer.tag(), {{"a", 9}});
  model.insert({Padded("a", 20), 9});
  PV_ASSERT_OK(reader.index->Refresh());
  ExpectHolds(reader.tag(), model);
}

TEST_F(IndexFileTest, APositionOutlivesItsIndex) {
  const std::vector<TagDefinition> tags = {MakeTag("NAME", 20)};
  const OpenIndex first = CreateAt(&files_, tags, "/first.cdx");
  const OpenIndex second = CreateAt(&files_, tags, "/second.cdx");
  Insert(first, first.tag(), {{"a", 1}, {"b", 2}});
  Insert(second, second.tag(), {{"a", 7}, {"c", 8}});
  TagPosition position;
  PV_ASSERT_OK(first.tag()->First(&position));
  EXPECT_TRUE(second.tag()->StepNeedsLock(position, true));
  PV_ASSERT_OK(second.tag()->Next(&position));
  EXPECT_EQ(position.record(), 7U);  // what follows ("a", 1) there
}

TEST_F(IndexFileTest, StepNeedsTheLockOnlyWhenItReadsTheFile) {
  const OpenIndex open = CreateAt(&files_, {MakeTag("NAME", 20)});
  Insert(open, open.tag(), Numbered(300, 20));
  Tag* tag = open.tag();
  TagPosition position;
  EXPECT_FALSE(tag->StepNeedsLock(position, true));  // past the last
  EXPECT_TRUE(tag->StepNeedsLock(position, false));
  PV_ASSERT_OK(tag->First(&position));
  EXPECT_FALSE(tag->StepNeedsLock(position, false));  // there is no leaf before
  int needed = 0;
  int steps = 0;
  while (position.on_entry()) {
    const bool needs = tag->StepNeedsLock(position, true);
    files_.ClearFault();
    PV_ASSERT_OK(tag->Next(&position));
    EXPECT_EQ(needs, files_.CallCount() != 0) << steps;
    needed += needs ? 1 : 0;
    ++steps;
  }
  EXPECT_EQ(steps, 300);
  EXPECT_GE(needed, 2);
  EXPECT_LT(needed, 20);
}

TEST_F(IndexFileTest, MovesTheCounterOncePerBracket) {
  const OpenIndex open = CreateAt(&files_, {MakeTag("NAME", 20)});
  const auto counter = [&] { return LoadBe32(files_.Get(kIndexPath).data() + 8); };
  const std::uint32_t before = counter();
  EXPECT_FALSE(*open.index->IsMarked());
  PV_ASSERT_OK(open.index->BeginChange());
  EXPECT_TRUE(*open.index->IsMarked());
  EXPECT_EQ(files_.Get(kIndexPath).substr(24, 4), "PVW1");
  for (const Entry& e : Numbered(100, 20))
    PV_ASSERT_OK(open.tag()->Insert(Bytes(e.first), e.second));
  EXPECT_EQ(counter(), before);
  PV_ASSERT_OK(open.index->EndChange());
  EXPECT_FALSE(*open.index->IsMarked());
  EXPECT_EQ(counter(), before + 1);
  EXPECT_EQ(files_.Get(kIndexPath).substr(24, 4), std::string(4, '\0'));
}

TEST_F(IndexFileTest, ChangesOnlyInsideABracket) {
  const OpenIndex open = CreateAt(&files_, {MakeTag("NAME", 4)});
  EXPECT_EQ(open.tag()->Insert(Bytes("AAAA"), 1).code(), StatusCode::kInvalid);
  EXPECT_EQ(open.tag()->Remove(Bytes("AAAA"), 1).status().code(), StatusCode::kInvalid);
  EXPECT_EQ(open.index->ReservePages(1).status().code(), StatusCode::kInvalid);
  EXPECT_EQ(open.index->BeginRebuild().code(), StatusCode::kInvalid);
  EXPECT_EQ(open.index->EndChange().code(), StatusCode::kInvalid);
  PV_ASSERT_OK(open.index->BeginChange());
  EXPECT_EQ(open.index->BeginChange().code(), StatusCode::kInvalid);
  EXPECT_EQ(open.tag()->Insert(Bytes("AAAA"), 0).code(), StatusCode::kInvalid);
  PV_ASSERT_OK(open.tag()->Insert(Bytes("AAAA"), 1));
  PV_ASSERT_OK(open.index->EndChange());
}

TEST_F(IndexFileTest, AnEntryThatIsThereAlreadyMeansDamage) {
  const OpenIndex open = CreateAt(&files_, {MakeTag("NAME", 4)});
  Insert(open, open.tag(), {{"AAAA", 1}});
  PV_ASSERT_OK(open.index->BeginChange());
  const Status status = open.tag()->Insert(Bytes("AAAA"), 1);
  EXPECT_EQ(status.code(), StatusCode::kCorrupt);
  EXPECT_EQ(status.detail(), kErrIndexDamaged);
  EXPECT_THAT(status.message(), HasSubstr(std::string(kIndexPath) + ": tag NAME, page at 2560"));
  // After a failure the bracket cannot end well: the mark stays.
  EXPECT_EQ(open.index->EndChange().code(), StatusCode::kCorrupt);
  EXPECT_TRUE(*open.index->IsMarked());
}

TEST_F(IndexFileTest, AMarkStaysUntilTheTagsAreRebuilt) {
  const std::vector<TagDefinition> tags = {MakeTag("NAME", 4), MakeTag("MORE", 4)};
  {
    const OpenIndex open = CreateAt(&files_, tags);
    Insert(open, open.tag(), {{"AAAA", 1}});
    PV_ASSERT_OK(open.index->BeginChange());
    PV_ASSERT_OK(open.tag()->Insert(Bytes("BBBB"), 2));
    open.index->AbandonChange();
    EXPECT_TRUE(*open.index->IsMarked());
  }
  const OpenIndex open = OpenAt(&files_, tags);
  EXPECT_TRUE(*open.index->IsMarked());
  PV_ASSERT_OK(open.index->BeginChange());
  EXPECT_EQ(open.tag()->Insert(Bytes("CCCC"), 3).code(), StatusCode::kCorrupt);
  EXPECT_EQ(open.index->EndChange().code(), StatusCode::kCorrupt);
  EXPECT_TRUE(*open.index->IsMarked());
  PV_ASSERT_OK(open.index->BeginChange());
  PV_ASSERT_OK(open.index->BeginRebuild());
  auto builder = open.index->BuildTag(1);
  ASSERT_TRUE(builder.ok());
  PV_ASSERT_OK((*builder)->Add(Bytes("XXXX"), 5));
  PV_ASSERT_OK((*builder)->Finish());
  PV_ASSERT_OK(open.index->FinishRebuild());
  PV_ASSERT_OK(open.tag(1)->Insert(Bytes("YYYY"), 6));
  PV_ASSERT_OK(open.index->EndChange());
  EXPECT_FALSE(*open.index->IsMarked());
  ExpectHolds(open.tag(0), {});
  ExpectHolds(open.tag(1), {{"XXXX", 5}, {"YYYY", 6}});
}

TEST_F(IndexFileTest, AReadOnlyFileCannotBeChanged) {
  { const OpenIndex open = CreateAt(&files_, {MakeTag("NAME", 4)}); }
  files_.SetReadOnly(true);
  platform::OpenOptions options;
  auto file = files_.Open(kIndexPath, options);
  ASSERT_TRUE(file.ok());
  auto index = IndexFile::Open(file->get());
  ASSERT_TRUE(index.ok());
  EXPECT_EQ((*index)->BeginChange().code(), StatusCode::kDenied);
  EXPECT_EQ((*index)->BeginChange().detail(), kErrReadOnly);
  ExpectHolds((*index)->tags()[0].get(), {});
}

TEST_F(IndexFileTest, LeavesForeignCollationsAlone) {
  { const OpenIndex open = CreateAt(&files_, {MakeTag("NAME", 4)}); }
  std::string bytes = files_.Get(kIndexPath);
  bytes.replace(1536 + 494, 7, "GENERAL");
  files_.Put(kIndexPath, bytes);
  const OpenIndex open = OpenAt(&files_);
  EXPECT_TRUE(open.tag()->definition().foreign_collation);
  PV_ASSERT_OK(open.index->BeginChange());
  EXPECT_EQ(open.tag()->Insert(Bytes("AAAA"), 1).code(), StatusCode::kUnsupported);
  EXPECT_EQ(open.tag()->Insert(Bytes("AAAA"), 1).detail(), kErrIndexReadOnly);
  EXPECT_EQ(open.tag()->Remove(Bytes("AAAA"), 1).status().code(), StatusCode::kUnsupported);
  PV_ASSERT_OK(open.index->EndChange());
  ExpectHolds(open.tag(), {});
}

TEST_F(IndexFileTest, TheFillByteDecidesWhatIsStored) {
  const std::string key("\x80\x00\x00\x20", 4);
  const OpenIndex open = CreateAt(&files_, {MakeTag("NUMBER", 4, 0x00)});
  PV_ASSERT_OK(open.index->BeginChange());
  PV_ASSERT_OK(open.tag()->Insert(Bytes(std::string("\x80\x00\x00\x00", 4)), 1));
  PV_ASSERT_OK(open.tag()->Insert(Bytes(key), 2));
  PV_ASSERT_OK(open.index->EndChange());
  ExpectHolds(open.tag(), {{std::string("\x80\x00\x00\x00", 4), 1}, {key, 2}});
  // One byte for the first key; the second shares no more than that and stores three.
  EXPECT_EQ(files_.Get(kIndexPath).substr(2560 + 508, 4), std::string("\0\0\x20\x80", 4));
  EXPECT_EQ(open.tag()->definition().fill_byte, 0x00);
  open.tag()->SetFillByte(0x20);
  TagPosition position;
  PV_ASSERT_OK(open.tag()->First(&position));
  EXPECT_EQ(KeyAt(*open.tag(), position), std::string("\x80\x20\x20\x20", 4));
}

TEST_F(IndexFileTest, ReservesPagesThatNoTreeUses) {
  const std::vector<TagDefinition> tags = {MakeTag("NAME", 20)};
  const OpenIndex open = CreateAt(&files_, tags);
  EXPECT_EQ(open.index->ReservedPages()->pages, 0U);
  Insert(open, open.tag(), Numbered(200, 20));
  const std::uint64_t size = *open.file->Size();
  PV_ASSERT_OK(open.index->BeginChange());
  const auto offset = open.index->ReservePages(5);
  ASSERT_TRUE(offset.ok());
  PV_ASSERT_OK(open.index->EndChange());
  EXPECT_EQ(*offset, size);
  EXPECT_EQ(*open.file->Size(), size + 5 * kPageSize);
  EXPECT_EQ(open.index->ReservedPages()->offset, size);
  EXPECT_EQ(open.index->ReservedPages()->pages, 5U);
  PV_ASSERT_OK(open.file->Write(*offset, std::string(5 * kPageSize, '#').data(), 5 * kPageSize));
  EXPECT_EQ(files_.Get(kIndexPath).substr(32, 8),
            std::string(reinterpret_cast<const char*>(&size), 4) + std::string("\5\0\0\0", 4));

  std::vector<Entry> more = Numbered(900, 20);
  Insert(open, open.tag(), {more.begin() + 200, more.end()});
  Model model(more.begin(), more.end());
  ExpectHolds(open.tag(), model);
  EXPECT_THAT(open.index->Verify(), IsEmpty());
  EXPECT_EQ(files_.Get(kIndexPath).substr(static_cast<std::size_t>(size), 5 * kPageSize),
            std::string(5 * kPageSize, '#'));

  // More of them: the earlier ones become free, and are used before the file grows.
  PV_ASSERT_OK(open.index->BeginChange());
  ASSERT_TRUE(open.index->ReservePages(6).ok());
  PV_ASSERT_OK(open.index->EndChange());
  EXPECT_EQ(open.index->ReservedPages()->pages, 6U);
  EXPECT_THAT(open.index->Verify(), IsEmpty());
  const std::uint64_t grown = *open.file->Size();
  for (std::uint32_t i = 0; *open.file->Size() == grown; ++i) {
    ASSERT_LT(i, 2000U);
    const Entry entry{Padded("new" + std::to_string(10000 + i), 20), 5000 + i};
    Insert(open, open.tag(), {entry});
    model.insert(entry);
  }
  EXPECT_GT(model.size(), 950U);
  ExpectHolds(open.tag(), model);
  EXPECT_THAT(open.index->Verify(), IsEmpty());

  const OpenIndex again = OpenAt(&files_, tags);
  EXPECT_EQ(again.index->ReservedPages()->pages, 6U);
  PV_ASSERT_OK(again.index->BeginChange());
  EXPECT_EQ(*again.index->ReservePages(0), 0U);
  PV_ASSERT_OK(again.index->EndChange());
  EXPECT_EQ(again.index->ReservedPages()->pages, 0U);
  EXPECT_THAT(again.index->Verify(), IsEmpty());
}

TEST_F(IndexFileTest, NonsenseInTheOwnAreaReservesNothing) {
  const OpenIndex open = CreateAt(&files_, {MakeTag("NAME", 20)});
  struct {
    std::uint32_t offset, pages;
  } const areas[] = {{1000, 1}, {512, 1},           {1536, 1}, {2048, 1}, {1024, 2},
                     {3072, 1}, {2560, 0xFFFFFFFF}, {2561, 1}, {2560, 0}};
  for (const auto& area : areas) {
    std::uint8_t bytes[8];
    StoreLe32(bytes, area.offset);
    StoreLe32(bytes + 4, area.pages);
    PV_ASSERT_OK(open.file->Write(IndexFile::kOwnAreaOffset + 8, bytes, sizeof bytes));
    EXPECT_EQ(open.index->ReservedPages()->pages, 0U) << area.offset;
  }
}

// A program that knows nothing of the reserved pages may have taken them for a tree.
TEST_F(IndexFileTest, ReservedPagesInUseAreNotFreed) {
  const OpenIndex open = CreateAt(&files_, {MakeTag("NAME", 20)});
  Insert(open, open.tag(), Numbered(40, 20));
  std::uint8_t bytes[8];
  StoreLe32(bytes, 2560);  // the first leaf
  StoreLe32(bytes + 4, 1);
  PV_ASSERT_OK(open.file->Write(IndexFile::kOwnAreaOffset + 8, bytes, sizeof bytes));
  EXPECT_EQ(open.index->ReservedPages()->pages, 1U);
  EXPECT_THAT(open.index->Verify(), ElementsAre(HasSubstr("belongs to tag NAME and to")));
  PV_ASSERT_OK(open.index->BeginChange());
  ASSERT_TRUE(open.index->ReservePages(2).ok());
  PV_ASSERT_OK(open.index->EndChange());
  EXPECT_THAT(open.index->Verify(), IsEmpty());
  EXPECT_EQ(*open.tag()->CountEntries(), 40U);
}

TEST_F(IndexFileTest, AForeignFreeListIsNotTrusted) {
  const std::vector<TagDefinition> tags = {MakeTag("NAME", 20)};
  std::vector<Entry> entries = Numbered(400, 20);
  for (const std::uint32_t head : {2560U, 0xFFFFFFFFU, 12345U, 0x40000000U, 1024U, 1536U}) {
    platform::MemoryFileSystem files;
    {
      const OpenIndex open = CreateAt(&files, tags);
      std::uint8_t bytes[4];
      StoreLe32(bytes, head);  // a leaf, none, nonsense, beyond the end, the directory, a header
      PV_ASSERT_OK(open.file->Write(4, bytes, sizeof bytes));
    }
    const OpenIndex open = OpenAt(&files, tags);
    Insert(open, open.tag(), entries);
    ExpectHolds(open.tag(), Model(entries.begin(), entries.end()));
    // Ours are put before it and found again.
    PV_ASSERT_OK(open.index->BeginChange());
    for (const Entry& e : entries) ASSERT_TRUE(*open.tag()->Remove(Bytes(e.first), e.second));
    PV_ASSERT_OK(open.index->EndChange());
    const std::uint64_t size = *open.file->Size();
    Insert(open, open.tag(), entries);
    EXPECT_LE(*open.file->Size(), size + 2 * kPageSize);
    ExpectHolds(open.tag(), Model(entries.begin(), entries.end()));
  }
}

TEST_F(IndexFileTest, WidensTheEntriesWhenRecordNumbersGrow) {
  const OpenIndex open = CreateAt(&files_, {MakeTag("NAME", 100)});
  Model model;
  std::uint32_t record = 1;
  for (int bit = 0; bit < 32; ++bit, record = record * 2 + 1) {
    std::vector<Entry> entries;
    for (int i = 0; i < 6; ++i) {
      entries.emplace_back(Padded("k" + std::to_string((bit * 37 + i * 101) % 1000), 100), record);
      if (!model.insert(entries.back()).second) entries.pop_back();
    }
    Insert(open, open.tag(), entries);
    ExpectHolds(open.tag(), model);
  }
  EXPECT_TRUE(std::any_of(model.begin(), model.end(),
                          [](const Entry& e) { return e.second == 0xFFFFFFFF; }));
}

// Pages that are in the file but not on its free list.
std::uint64_t UsedPages(const std::string& bytes) {
  std::uint64_t free = 0;
  for (std::uint32_t page = LoadLe32(bytes.data() + 4); page != 0;
       page = LoadLe32(bytes.data() + page)) {
    ++free;
  }
  return bytes.size() / kPageSize - free;
}

TEST_F(IndexFileTest, GivesBackPagesThatBecomeSparse) {
  const OpenIndex open = CreateAt(&files_, {MakeTag("NAME", 100)});
  std::vector<Entry> entries = Numbered(6000, 100);
  for (Entry& e : entries) std::fill(e.first.begin() + 8, e.first.begin() + 20, 'x');
  std::shuffle(entries.begin(), entries.end(), std::mt19937(2));
  Insert(open, open.tag(), entries);
  const std::uint64_t full = UsedPages(files_.Get(kIndexPath));
  PV_ASSERT_OK(open.index->BeginChange());
  while (entries.size() > 300) {
    ASSERT_TRUE(*open.tag()->Remove(Bytes(entries.back().first), entries.back().second));
    entries.pop_back();
  }
  PV_ASSERT_OK(open.index->EndChange());
  ExpectHolds(open.tag(), Model(entries.begin(), entries.end()));
  EXPECT_THAT(open.index->Verify(), IsEmpty());
  EXPECT_LT(UsedPages(files_.Get(kIndexPath)), full / 6);
}

// Other programs may leave interior keys that are greater than the last entry below them.
TEST_F(IndexFileTest, FindsItsWayByInteriorKeysThatAreTooGreat) {
  constexpr std::size_t kLength = 60;
  const std::vector<TagDefinition> tags = {MakeTag("NAME", kLength)};
  std::vector<Entry> entries = Numbered(3000, kLength);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    // Long shared fronts here, none there.
    const char* const fronts[] = {"", "a front that very many keys share ", "b"};
    entries[i].first = Padded(fronts[i % 3] + entries[i].first, kLength);
  }
  {
    const OpenIndex open = CreateAt(&files_, tags);
    std::vector<Entry> shuffled = entries;
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(3));
    Insert(open, open.tag(), shuffled);
  }
  std::string bytes = files_.Get(kIndexPath);
  for (std::size_t page = 3072; page < bytes.size(); page += kPageSize) {
    if ((bytes[page] & 2) != 0) continue;
    const std::size_t count = LoadLe16(bytes.data() + page + 2);
    for (std::size_t i = 0; i < count; ++i) {
      std::string key = bytes.substr(page + 12 + i * (kLength + 8), kLength);
      key[kLength - 1] = '~';
      bytes.replace(page + 12 + i * (kLength + 8), kLength, key);
    }
  }
  files_.Put(kIndexPath, bytes);
  const OpenIndex open = OpenAt(&files_, tags);
  Model model(entries.begin(), entries.end());
  EXPECT_FALSE(open.tag()->Verify().empty());
  EXPECT_EQ(Walk(open.tag()), InOrder(model, tags[0], true));
  std::mt19937 random(4);
  for (int step = 0; step < 12'000; ++step) {
    Entry entry = entries[random() % entries.size()];
    if (random() % 4 == 0) entry.first[kLength - 1 - random() % 10] = 'p';
    if (random() % 8 == 0) entry.first[random() % 12] = static_cast<char>('!' + random() % 90);
    const auto at = model.lower_bound({entry.first, 0});
    const bool there = at != model.end() && at->first == entry.first;
    const auto found = open.tag()->FindKey(Bytes(entry.first));
    ASSERT_TRUE(found.ok()) << found.status().message();
    ASSERT_EQ(*found != 0, there) << entry.first;
    TagPosition position;
    bool equal = false;
    PV_ASSERT_OK(open.tag()->Seek(Bytes(entry.first), kLength, &position, &equal));
    ASSERT_EQ(equal, there);
    ASSERT_EQ(position.on_entry(), at != model.end());
    if (at != model.end()) {
      ASSERT_EQ(*at, Entry(KeyAt(*open.tag(), position), position.record()));
    }
    if (step % 3 != 0) continue;
    PV_ASSERT_OK(open.index->BeginChange());
    if (model.contains(entry)) {
      const auto removed = open.tag()->Remove(Bytes(entry.first), entry.second);
      ASSERT_TRUE(removed.ok()) << removed.status().message();
      ASSERT_TRUE(*removed);
      model.erase(entry);
    } else {
      PV_ASSERT_OK(open.tag()->Insert(Bytes(entry.first), entry.second));
      model.insert(entry);
    }
    PV_ASSERT_OK(open.index->EndChange());
  }
  EXPECT_EQ(Walk(open.tag()), InOrder(model, tags[0], true));
  EXPECT_EQ(Walk(open.tag(), false), InOrder(model, tags[0], false));
}

TEST_F(IndexFileTest, OtherAttributeBitsMeanNothing) {
  {
    const OpenIndex open = CreateAt(&files_, {MakeTag("NAME", 20)});
    Insert(open, open.tag(), Numbered(10, 20));
  }
  std::string bytes = files_.Get(kIndexPath);
  bytes[2560] = 0x07;
  bytes[2561] = 0x10;
  files_.Put(kIndexPath, bytes);
  const OpenIndex open = OpenAt(&files_);
  std::vector<Entry> entries = Numbered(100, 20);
  Insert(open, open.tag(), {entries.begin() + 10, entries.end()});
  ExpectHolds(open.tag(), Model(entries.begin(), entries.end()));
}

}  // namespace
}  // namespace pv::engine
