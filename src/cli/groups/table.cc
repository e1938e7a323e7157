// Opens and closes tables. Tested by table_test.cc and, end to end, by tests/cli.
#include "cli/groups/table.h"

#include <cstdio>

#include "cli/failure.h"
#include "cli/output/terminal.h"
#include "platform/system.h"
#include "pvgroupman/support/settings.h"
#include "tablestore/engine/error_codes.h"

namespace pv::cli {
namespace {

// In microseconds.
constexpr std::uint64_t kLongestWait = 1'000'000;
constexpr std::uint32_t kPause = 5'000;

}  // namespace

Session::Session() : handle_(engine::code4initVB()) {
  if (handle_ == 0) throw Failure(kUnavailable, "the table engine could not be started");
  const auto settings = automation::MakeObject<support::Settings>();
  page_ = Take(platform::CurrentSystem().code_pages->Load(settings->GetCodePage()));
  engine::code4errOff(handle_, 1);
  engine::code4errDefaultUnique(handle_, engine::kUniqueKey);
  engine::code4compatibility(handle_, 30);
  engine::code4safety(handle_, 1);
  engine::code4codePage(handle_, page_);
}

Session::~Session() {
  for (const std::string& notice : engine::code4takeNotices(handle_)) {
    Tell("note: " + notice);
  }
  engine::code4initUndo(handle_);
}

void Session::Check(std::int32_t code) const {
  const std::int32_t pending = engine::code4errorCode(handle_, 0);
  if (code == 0) code = pending;
  if (code >= 0 && code != engine::kLocked) return;
  const char* text = engine::error4text(handle_, code);
  throw Failure(ExitCodeOf(code), text != nullptr ? text : "error " + std::to_string(code));
}

void Session::IgnoreIndexes() const { engine::code4ignoreIndex(handle_, 1); }

std::int32_t WaitingForOthers(const std::function<std::int32_t()>& attempt) {
  platform::FileSystem* const files = platform::CurrentSystem().files;
  const std::uint64_t give_up = files->MonotonicMicroseconds() + kLongestWait;
  for (;;) {
    const std::int32_t code = attempt();
    if (code != engine::kErrFileBusy || files->MonotonicMicroseconds() >= give_up) return code;
    files->SleepMicroseconds(kPause);
  }
}

Table::Table(const Session& session, const std::string& path, Access access, std::string_view tag)
    : Table(session, path) {
  engine::code4accessMode(session.handle(), static_cast<std::int32_t>(access));
  const std::int32_t code = WaitingForOthers([&] {
    handle_ = engine::d4open(session.handle(), path);
    return handle_ != 0 ? engine::kSuccess : engine::code4errorCode(session.handle(), 0);
  });
  if (handle_ == 0) {
    session.Check(code);
    throw Failure(kUnavailable, path + " cannot be opened");
  }
  engine::code4errorCode(session.handle(), 0);
  if (!SelectTag(tag)) {
    std::string tags;
    for (const engine::TagInfo& t : engine::d4info(handle_).tags) {
      tags += (tags.empty() ? "" : ", ") + t.name;
    }
    Close();
    throw Failure(kUsage, path + " has no tag " + std::string(tag) +
                              (tags.empty() ? "" : "; it has " + tags));
  }
}

std::unique_ptr<Table> Table::Create(const Session& session, const std::string& path,
                                     const std::vector<engine::FieldRecord>& fields,
                                     const std::vector<engine::TagRecord>& tags) {
  std::unique_ptr<Table> table(new Table(session, path));
  engine::code4accessMode(session.handle(), static_cast<std::int32_t>(Access::kExclusive));
  table->handle_ = engine::d4create(session.handle(), path, fields, tags);
  if (table->handle_ == 0) {
    session.Check(0);
    throw Failure(kUnavailable, path + " cannot be made");
  }
  return table;
}

Table::~Table() {
  if (handle_ != 0) engine::d4close(handle_);
}

std::int32_t Table::Checked(std::int32_t code) const {
  if (code < 0 || code == engine::kLocked) session_.Check(code);
  return code;
}

bool Table::SelectTag(std::string_view tag) {
  const engine::Handle found = tag.empty() ? 0 : engine::d4tag(handle_, tag);
  if (found == 0 && !tag.empty()) return false;
  Checked(engine::d4tagSelect(handle_, found));
  return true;
}

void Table::Close() {
  if (handle_ == 0) return;
  const engine::Handle handle = handle_;
  handle_ = 0;
  const std::int32_t code = engine::d4close(handle);
  if (code < 0) session_.Check(code);
}

}  // namespace pv::cli
