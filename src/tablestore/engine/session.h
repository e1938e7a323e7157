// One engine session: its settings, its pending error and the tables that are open in it.
#ifndef PV_TABLESTORE_ENGINE_SESSION_H_
#define PV_TABLESTORE_ENGINE_SESSION_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/code_page.h"
#include "base/status.h"
#include "platform/system.h"

namespace pv::engine {

class Table;

enum class AccessMode : std::int32_t { kShared = 0, kExclusive = 1, kLocked = 2 };

class Session {
 public:
  Session();
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  const platform::System& system() const { return system_; }
  platform::FileSystem* files() const { return system_.files; }

  // Settings, as the operations of the same names set them.
  AccessMode access_mode = AccessMode::kShared;
  bool safety = true;
  std::shared_ptr<const CodePage> page = CodePage::Windows1252();
  std::uint32_t lock_wait_ms = 10'000;
  // Memory for the entries of appended records that are kept back (append_run.h), of each table.
  std::size_t kept_back_bytes = std::size_t{64} << 20;
  // Open tables without their index, for reading in natural order only.
  bool ignore_index = false;

  // Notes a failure: its negative code becomes pending with its message. Returns the code that
  // the operation answers: 50 and 20 (which are not pending errors) or the negative one.
  std::int32_t Fail(const Status& status, bool locking = false);

  std::int32_t TakeErrorCode(std::int32_t new_code);
  const char* ErrorText(std::int32_t code);

  void Notice(std::string text);
  std::vector<std::string> TakeNotices() { return std::move(notices_); }

  // Today's date for headers; asked of the clock once a second at most.
  CivilDate Today();

  std::vector<std::unique_ptr<Table>> tables;

 private:
  platform::System system_;
  std::int32_t error_code_ = 0;
  std::int32_t message_code_ = 0;
  std::string message_;
  std::vector<std::string> notices_;
  CivilDate today_;
  std::uint64_t today_asked_ = 0;
};

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_SESSION_H_
