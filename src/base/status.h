// Status and Result: how everything below the public classes reports failure. Nothing in base,
// platform or the table engine throws.
#ifndef PV_BASE_STATUS_H_
#define PV_BASE_STATUS_H_

#include <cassert>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace pv {

// What kind of failure it is; callers branch on the kind, people read the message.
enum class StatusCode : std::uint8_t {
  kOk = 0,
  kNotFound,     // the file, tag, field or entry does not exist
  kExists,       // creation refused: it is there already
  kBusy,         // another holder has the lock or the share mode; trying again may succeed
  kDenied,       // no permission, or the file system is read-only
  kNoSpace,      // the device or a quota is full
  kIoError,      // the operating system reported a failure of the medium
  kCorrupt,      // bytes of a file contradict its format
  kInvalid,      // the caller's argument is wrong
  kUnsupported,  // well-formed, but outside what we do
  kLimit,        // a stated limit would be passed; nothing was written
  kDuplicate,    // a unique key exists already
};

// Cheap when OK (one null pointer). The message is a full sentence fragment for people: it names
// the file and what is wrong. `detail` carries the operating system's error number or, in the
// table engine, its negative code; 0 when there is none.
class [[nodiscard]] Status {
 public:
  Status() = default;
  Status(StatusCode code, std::string message, std::int32_t detail = 0)
      : state_(code == StatusCode::kOk
                   ? nullptr
                   : std::make_unique<State>(State{code, detail, std::move(message)})) {}
  Status(const Status& other)
      : state_(other.state_ ? std::make_unique<State>(*other.state_) : nullptr) {}
  Status& operator=(const Status& other) {
    if (this != &other) state_ = other.state_ ? std::make_unique<State>(*other.state_) : nullptr;
    return *this;
  }
  Status(Status&&) noexcept = default;
  Status& operator=(Status&&) noexcept = default;

  static Status Ok() { return {}; }
  static Status NotFound(std::string m) { return {StatusCode::kNotFound, std::move(m)}; }
  static Status Exists(std::string m) { return {StatusCode::kExists, std::move(m)}; }
  static Status Busy(std::string m) { return {StatusCode::kBusy, std::move(m)}; }
  static Status Denied(std::string m) { return {StatusCode::kDenied, std::move(m)}; }
  static Status NoSpace(std::string m) { return {StatusCode::kNoSpace, std::move(m)}; }
  static Status IoError(std::string m) { return {StatusCode::kIoError, std::move(m)}; }
  static Status Corrupt(std::string m) { return {StatusCode::kCorrupt, std::move(m)}; }
  static Status Invalid(std::string m) { return {StatusCode::kInvalid, std::move(m)}; }
  static Status Unsupported(std::string m) { return {StatusCode::kUnsupported, std::move(m)}; }
  static Status Limit(std::string m) { return {StatusCode::kLimit, std::move(m)}; }
  static Status Duplicate(std::string m) { return {StatusCode::kDuplicate, std::move(m)}; }

  bool ok() const { return state_ == nullptr; }
  StatusCode code() const { return state_ ? state_->code : StatusCode::kOk; }
  std::int32_t detail() const { return state_ ? state_->detail : 0; }
  const std::string& message() const {
    static const std::string kNone;
    return state_ ? state_->message : kNone;
  }

  // The same failure with `prefix` and ": " before its message; OK stays OK.
  Status WithPrefix(const std::string& prefix) const {
    if (ok()) return {};
    return {code(), prefix + ": " + message(), detail()};
  }

 private:
  struct State {
    StatusCode code;
    std::int32_t detail;
    std::string message;
  };
  std::unique_ptr<State> state_;
};

// A value or the Status that says why there is none. Reading the value of a failed Result is a
// programming error.
template <typename T>
class [[nodiscard]] Result {
 public:
  Result(T value) : value_(std::move(value)) {}                                  // NOLINT: implicit
  Result(Status status) : status_(std::move(status)) { assert(!status_.ok()); }  // NOLINT: implicit

  bool ok() const { return value_.has_value(); }
  const Status& status() const { return status_; }
  T& value() & { return *value_; }
  const T& value() const& { return *value_; }
  T&& value() && { return *std::move(value_); }
  T& operator*() & { return *value_; }
  const T& operator*() const& { return *value_; }
  T&& operator*() && { return *std::move(value_); }
  T* operator->() { return &*value_; }
  const T* operator->() const { return &*value_; }

 private:
  std::optional<T> value_;
  Status status_;
};

}  // namespace pv

// Returns from the enclosing function when `expression` is a failed Status.
#define PV_RETURN_IF_ERROR(expression)       \
  do {                                       \
    ::pv::Status pv_status_ = (expression);  \
    if (!pv_status_.ok()) return pv_status_; \
  } while (false)

#define PV_CONCAT_INNER_(a, b) a##b
#define PV_CONCAT_(a, b) PV_CONCAT_INNER_(a, b)

// PV_ASSIGN_OR_RETURN(auto x, F()): the value of a Result, or return its Status.
#define PV_ASSIGN_OR_RETURN(target, expression) \
  PV_ASSIGN_OR_RETURN_IMPL_(PV_CONCAT_(pv_result_, __LINE__), target, expression)
#define PV_ASSIGN_OR_RETURN_IMPL_(result, target, expression) \
  auto result = (expression);                                 \
  if (!result.ok()) return result.status();                   \
  target = std::move(result).value()

#endif  // PV_BASE_STATUS_H_
