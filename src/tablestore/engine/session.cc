// Session state. Tested by operations_test.cc.
#include "tablestore/engine/session.h"

#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/table.h"

namespace pv::engine {
namespace {

constexpr std::size_t kMaxNotices = 1000;
constexpr std::uint64_t kDateLifeMicroseconds = 1'000'000;

}  // namespace

Session::Session() : system_(platform::CurrentSystem()) {}
Session::~Session() = default;

std::int32_t Session::Fail(const Status& status, bool locking) {
  if (status.ok()) return 0;
  const std::int32_t code = ErrorCodeOf(status, locking);
  if (code < 0) error_code_ = code;
  message_code_ = code;
  message_ = status.message();
  return code;
}

std::int32_t Session::TakeErrorCode(std::int32_t new_code) {
  const std::int32_t code = error_code_;
  error_code_ = new_code;
  return code;
}

const char* Session::ErrorText(std::int32_t code) {
  if (code == message_code_ && !message_.empty()) return message_.c_str();
  return ErrorMessage(code);
}

void Session::Notice(std::string text) {
  if (notices_.size() < kMaxNotices) notices_.push_back(std::move(text));
}

CivilDate Session::Today() {
  const std::uint64_t now = system_.files->RoughMicroseconds();
  if (today_.year == 0 || now - today_asked_ >= kDateLifeMicroseconds) {
    today_ = system_.process->LocalTime().date;
    today_asked_ = now;
  }
  return today_;
}

}  // namespace pv::engine
