// Opens the book of a session. Tested by converter_test.cc.
#include "providers/converter/automation/session.h"

#include <utility>

#include "pvgroupman/automation/error.h"

namespace pv::converter {
namespace {

std::int32_t NumberOf(StatusCode code) {
  switch (code) {
    case StatusCode::kNotFound:
      return 53;  // File not found
    case StatusCode::kIoError:
      return 57;  // Device I/O error
    case StatusCode::kBusy:
    case StatusCode::kDenied:
      return 70;  // Permission denied
    case StatusCode::kCorrupt:
    case StatusCode::kUnsupported:
    case StatusCode::kLimit:
      return 321;  // Invalid file format
    default:
      return 75;  // Path/File access error
  }
}

}  // namespace

void ThrowUnlessOk(const Status& status, const char* source) {
  if (!status.ok()) throw automation::Error(NumberOf(status.code()), source, status.message());
}

void Session::SetFormat(std::string code) {
  format_ = std::move(code);
  roster_.reset();
}

void Session::SetLocation(std::string location) {
  location_ = std::move(location);
  roster_.reset();
}

void Session::SetPassword(std::string password) {
  access_.password = std::move(password);
  roster_.reset();
}

std::shared_ptr<Roster> Session::Book() {
  if (roster_ != nullptr) return roster_;
  constexpr const char* kSource = "Converter::Contacts";
  const Format* const format = FindFormat(format_);
  if (format == nullptr) {
    automation::Raise(automation::kErrInvalidCall, kSource, "no address-book format is set");
  }
  ThrowUnlessOk(format->available().WithPrefix(format_), kSource);
  Result<std::unique_ptr<converter::Book>> book = format->open(location_, access_);
  ThrowUnlessOk(book.status(), kSource);
  Result<std::unique_ptr<Roster>> roster = Roster::Make(std::move(*book));
  ThrowUnlessOk(roster.status(), kSource);
  roster_ = std::move(*roster);
  return roster_;
}

}  // namespace pv::converter
