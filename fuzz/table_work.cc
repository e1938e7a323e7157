// The work of the table engine's fuzz targets.
#include "fuzz/table_work.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz/require.h"
#include "platform/memory/memory_system.h"
#include "tablestore/engine/operations.h"

namespace pv::fuzz {
namespace {

using namespace engine;  // NOLINT: the operations under test

std::string NameOf(int i) { return "person" + std::to_string(i * 5 % kPeople); }

// A session that requires every failure to have an error of its own.
class Session {
 public:
  Session() : handle_(code4initVB()) {
    PV_REQUIRE(handle_ > 0);
    code4lockWait(handle_, 10);
  }
  ~Session() { code4initUndo(handle_); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  Handle handle() const { return handle_; }

  std::int32_t Checked(std::int32_t code) {
    if (code < 0) RequireError();
    return code;
  }
  Handle Open(std::int32_t mode) {
    code4accessMode(handle_, mode);
    const Handle table = d4open(handle_, kDataFile);
    if (table == 0) RequireError();
    return table;
  }
  // Takes the error that a failure left behind.
  void RequireError() {
    const std::int32_t code = code4errorCode(handle_, 0);
    PV_REQUIRE(code < 0 || code == kLocked);
    const char* text = error4text(handle_, code);
    PV_REQUIRE(text != nullptr && *text != 0);
  }
  void DropError() { code4errorCode(handle_, 0); }

 private:
  const Handle handle_;
};

// Every field of the current record, every byte of it.
std::size_t ReadFields(Session* session, Handle table) {
  std::size_t sum = 0;
  const std::int32_t count = d4numFields(table);
  for (std::int32_t j = 1; j <= count; ++j) {
    const Handle field = d4fieldJ(table, j);
    const std::int32_t length = f4len_v(field);
    if (const std::uint8_t* bytes = f4ptr(field)) {
      for (std::int32_t i = 0; i < length; ++i) sum += bytes[i];
    }
    sum += static_cast<std::size_t>(f4long(field)) + static_cast<std::size_t>(f4true(field));
    sum += static_cast<std::size_t>(f4currency(field)) + (f4double(field) > 0 ? 1 : 0);
    sum += static_cast<std::size_t>(f4null(field));
    if (const char* moment = f4dateTime(field)) sum += static_cast<std::size_t>(moment[0]);
    if (const std::int32_t size = f4memoLen(field); size > 0) {
      if (const std::uint8_t* memo = f4memoPtr(field)) {
        for (std::int32_t i = 0; i < size; ++i) sum += memo[i];
      }
    }
    session->DropError();
  }
  return sum;
}

// Both ways through the order that is selected. `most` is more than it can have.
void Walk(Session* session, Handle table, std::size_t most) {
  std::size_t steps = 0;
  for (std::int32_t code = session->Checked(d4top(table)); code == kSuccess;
       code = session->Checked(d4skip(table, 1))) {
    ReadFields(session, table);
    PV_REQUIRE(++steps <= most);
  }
  steps = 0;
  for (std::int32_t code = session->Checked(d4bottom(table)); code == kSuccess;
       code = session->Checked(d4skip(table, -1))) {
    PV_REQUIRE(++steps <= most);
  }
}

void Read(Session* session, Handle table, std::size_t file_bytes) {
  d4tagSelect(table, 0);
  Walk(session, table, file_bytes);
  for (const TagInfo& tag : d4info(table).tags) {
    const Handle handle = d4tag(table, tag.name);
    if (handle == 0) {
      session->DropError();
      continue;
    }
    session->Checked(d4tagSelect(table, handle));
    // A page of 512 bytes has fewer keys than bits.
    Walk(session, table, file_bytes * 8);
    for (const std::string_view key : {"person7@x.org", "PERSON", "12.5", "", "\xFF"}) {
      session->Checked(d4seek(table, key));
      session->Checked(d4seekNext(table, key));
    }
  }
  d4check(table);
  session->DropError();
}

// Appends, changes and deletes; what is acknowledged must be there.
void Edit(Session* session, Handle table, bool records_are_sound) {
  d4tagSelect(table, 0);
  const std::int32_t before = d4recCountDo(table);
  session->Checked(d4appendStart(table, 0));
  for (std::int32_t j = 1; j <= d4numFields(table); ++j) {
    const Handle field = d4fieldJ(table, j);
    const std::int32_t type = f4type(field);
    if (type == 'M' || type == 'X') {
      f4memoAssign(field, "a note");
    } else if (type == 'C') {
      f4assignCharVB(field, "new");
    } else {
      f4assignLong(field, 7);
    }
  }
  session->DropError();
  if (session->Checked(d4append(table)) == kSuccess) {
    PV_REQUIRE(d4recCountDo(table) == before + 1);
    PV_REQUIRE(d4go(table, before + 1) == kSuccess);
    if (records_are_sound) {
      PV_REQUIRE(std::string_view(reinterpret_cast<const char*>(f4ptr(d4fieldJ(table, 1))), 4) ==
                 "new ");
    }
  }
  session->DropError();
  for (const std::int32_t record : {1, 4}) {
    if (session->Checked(d4go(table, record)) != kSuccess) continue;
    const Handle first = d4fieldJ(table, 1);
    if (f4type(first) == 'C') f4assignCharVB(first, "changed" + std::to_string(record));
    const Handle last = d4fieldJ(table, d4numFields(table));
    f4memoAssign(last, std::string(static_cast<std::size_t>(record) * 100, 'm'));
    session->DropError();
    session->Checked(d4writeVB(table, record));
    if (session->Checked(d4go(table, record)) == kSuccess) session->Checked(d4delete(table));
    session->DropError();
  }
}

void Repair(Session* session, std::size_t file_bytes, bool records_are_sound) {
  RepairReport report;
  const std::int32_t code =
      session->Checked(d4repair(session->handle(), kDataFile, "/t/whole.pvg", &report));
  PV_REQUIRE(code == kSuccess || !records_are_sound);
  if (code != kSuccess) return;
  if (records_are_sound) {
    PV_REQUIRE(report.live_records + report.deleted_records == kPeople);
  }
  code4accessMode(session->handle(), 0);
  const Handle table = d4open(session->handle(), "/t/whole.pvg");
  PV_REQUIRE(table != 0);
  PV_REQUIRE(d4recCountDo(table) == report.live_records + report.deleted_records);
  PV_REQUIRE(d4check(table).findings.size() == report.remaining.size());
  Read(session, table, file_bytes * 4 + 65536);
  d4close(table);
}

}  // namespace

const platform::MemoryImage& SoundTable() {
  static const platform::MemoryImage image = [] {
    platform::MemorySystem memory;
    const platform::ScopedSystem scope(memory.system());
    PV_REQUIRE(memory.files.CreateFolders("/t").ok());
    Session session;
    const Handle table = d4create(session.handle(), kDataFile,
                                  {{"EMAIL", 'C', 30, 0, 0},
                                   {"FIRST", 'C', 12, 0, 0},
                                   {"SCORE", 'N', 8, 2, 0},
                                   {"NOTE", 'M', 4, 0, 0}},
                                  {{"EMAIL", "EMAIL", ".NOT. DELETED()", kUniqueKey, 0},
                                   {"FIRST", "UPPER(FIRST)", "", 0, 0},
                                   {"SCORE", "SCORE", "", 0, kDescendingTag}});
    PV_REQUIRE(table != 0);
    for (int i = 0; i < kPeople; ++i) {
      d4appendStart(table, 0);
      f4assignCharVB(d4fieldJ(table, 1), NameOf(i) + "@x.org");
      f4assignCharVB(d4fieldJ(table, 2), NameOf(i));
      f4assignDouble(d4fieldJ(table, 3), i * 2.5);
      if (i % 3 == 0) f4memoAssign(d4fieldJ(table, 4), "Note on " + NameOf(i));
      PV_REQUIRE(d4append(table) == kSuccess);
    }
    PV_REQUIRE(d4go(table, 9) == kSuccess && d4delete(table) == kSuccess);
    PV_REQUIRE(d4close(table) == kSuccess);
    return memory.files.Snapshot();
  }();
  return image;
}

platform::MemoryImage With(platform::MemoryImage image, const std::string& path,
                           std::string bytes) {
  image.files[path].content = std::make_shared<const std::string>(std::move(bytes));
  return image;
}

std::string Patched(std::string whole, const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kPage = 512;
  while (size >= 3 && !whole.empty()) {
    const unsigned op = data[0];
    const std::size_t offset = static_cast<std::size_t>(data[1] << 8 | data[2]);
    const std::size_t at = offset % whole.size();
    const std::size_t page = at / kPage * kPage;
    const std::size_t room = std::min(kPage, whole.size() - page);
    data += 3;
    size -= 3;
    if (const std::size_t n = std::min<std::size_t>(op & 15U, size); n > 0) {
      for (std::size_t i = 0; i < n && at + i < whole.size(); ++i) {
        whole[at + i] = static_cast<char>(data[i]);
      }
      data += n;
      size -= n;
    } else if (op == 0x00) {
      whole.resize(at);
    } else if (op == 0x10) {
      whole.replace(page, room, room, '\0');
    } else if (op == 0x20 && size > 0) {
      std::string copy = whole.substr(data[0] * kPage % whole.size(), room);
      copy.resize(room);
      whole.replace(page, room, copy);
      ++data;
      --size;
    } else if (op == 0x30) {
      whole.append(offset, '\0');
    }
  }
  return whole;
}

void WorkOnTable(const platform::MemoryImage& image, bool records_are_sound) {
  std::size_t file_bytes = 0;
  for (const auto& [path, file] : image.files) file_bytes += file.content->size();
  for (const std::int32_t mode : {0, 1, 2}) {
    platform::MemorySystem memory(image);
    memory.files.StopRecording();
    const platform::ScopedSystem scope(memory.system());
    Session session;
    if (mode == 2) code4ignoreIndex(session.handle(), 1);
    const Handle table = session.Open(mode == 1 ? 1 : 0);
    if (table != 0) {
      if (mode == 2) Read(&session, table, file_bytes);
      Edit(&session, table, records_are_sound);
      if (mode != 2) Read(&session, table, file_bytes + 65536);
      if (mode == 1) session.Checked(d4pack(table));
      session.Checked(d4close(table));
    }
    code4ignoreIndex(session.handle(), 0);
  }
  platform::MemorySystem memory(image);
  memory.files.StopRecording();
  const platform::ScopedSystem scope(memory.system());
  Session session;
  Repair(&session, file_bytes, records_are_sound);
}

}  // namespace pv::fuzz
