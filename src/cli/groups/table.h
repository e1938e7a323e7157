// Tables as pvgroup uses them: one engine session, tables that close themselves, and failures that
// carry the engine's own sentence.
#ifndef PV_CLI_GROUPS_TABLE_H_
#define PV_CLI_GROUPS_TABLE_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/code_page.h"
#include "tablestore/engine/operations.h"

namespace pv::cli {

enum class Access : std::int32_t { kShared = 0, kExclusive = 1, kLocked = 2 };

// An engine session in the code page of the settings. Events that the engine notes (a rebuild
// after a crash) are told on standard error when it ends.
class Session {
 public:
  Session();
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  engine::Handle handle() const { return handle_; }
  const std::shared_ptr<const CodePage>& page() const { return page_; }

  // Throws the Failure for a negative code (0: for the code that is pending, if any).
  void Check(std::int32_t code) const;

  // Damaged or missing index files are passed over from now on: data can still be read.
  void IgnoreIndexes() const;

 private:
  engine::Handle handle_;
  std::shared_ptr<const CodePage> page_;
};

// Gives what `attempt`, which opens or compacts a table, answers: an engine code. While that is
// kErrFileBusy it is made again, for up to a second: who lists, counts or checks a group has it for
// a moment only.
std::int32_t WaitingForOthers(const std::function<std::int32_t()>& attempt);

class Table {
 public:
  // Opens a table, waiting for others who hold it, and selects the tag, when it is named; kUsage
  // when there is no such tag.
  Table(const Session& session, const std::string& path, Access access, std::string_view tag = {});

  // Makes a table and opens it for itself alone.
  static std::unique_ptr<Table> Create(const Session& session, const std::string& path,
                                       const std::vector<engine::FieldRecord>& fields,
                                       const std::vector<engine::TagRecord>& tags);

  ~Table();
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  // The code when it is not negative, else the Failure.
  std::int32_t Checked(std::int32_t code) const;

  // The Failure for a code that is pending in the session.
  void CheckPending() const { session_.Check(0); }

  // Selects a tag; false when there is none of that name. "" is natural order.
  bool SelectTag(std::string_view tag);

  engine::Handle handle() const { return handle_; }
  const std::string& path() const { return path_; }

  // Closes now and reports what goes wrong with it.
  void Close();

 private:
  Table(const Session& session, const std::string& path) : session_(session), path_(path) {}

  const Session& session_;
  std::string path_;
  engine::Handle handle_ = 0;
};

}  // namespace pv::cli

#endif  // PV_CLI_GROUPS_TABLE_H_
