#pragma once
// How an operation tells that it failed. `Status` and `Result<T>` carry what is expected to fail
// (a value that does not parse, a duplicate key); `Error` is thrown only inside storage and
// drivers, for what is broken or out of reach, and is turned into a `Status` at the boundary of the
// database interface. Used by every room.

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace kelvorin::base {

/// What kind of failure a `Status` reports. The text of a status is for people, the code for rules.
enum class Code : std::uint8_t {
  kOk,
  kInvalidArgument,  // an argument or a setting makes no sense
  kOutOfRange,       // a subscript or number outside its limits (field 252, 16-bit overflow)
  kNotFound,         // file, table, field, index or setting does not exist
  kAlreadyExists,    // it exists already
  kNoCurrentRecord,  // the operation needs a record and the set stands before or behind them
  kNoCurrentEdit,    // Update without AddNew or Edit
  kConversion,       // a value does not fit the field's type
  kTooLong,          // a value is longer than its field
  kRequired,         // Null or zero-length text where the field refuses it
  kDuplicateKey,     // a unique index would hold the key twice
  kIntegrity,        // a relation would be broken
  kReadOnly,         // the object cannot be written; the text says what stands in the way
  kNotSupported,     // the driver cannot do this
  kPassword,         // wrong password or logon refused
  kLocked,           // somebody else holds the file or record
  kCorrupt,          // the file's contents contradict themselves
  kIo,               // the operating system refused
  kNoSpace,          // disk or format limit reached
  kStopped,          // the run was cancelled
  kInternal,         // a fault of this program
};

/// The outcome of an operation that yields nothing. One pointer wide; no allocation when all is
/// well. Copying shares nothing.
class [[nodiscard]] Status {
 public:
  Status() noexcept = default;
  /// `number` is the database engine's error number (0 when there is none).
  Status(Code code, std::string message, std::int32_t number = 0)
      : state_(std::make_unique<State>(State{code, number, std::move(message)})) {}
  Status(const Status& other)
      : state_(other.state_ ? std::make_unique<State>(*other.state_) : nullptr) {}
  Status& operator=(const Status& other) {
    if (this != &other) state_ = other.state_ ? std::make_unique<State>(*other.state_) : nullptr;
    return *this;
  }
  Status(Status&&) noexcept = default;
  Status& operator=(Status&&) noexcept = default;
  ~Status() = default;

  bool ok() const noexcept { return state_ == nullptr; }
  Code code() const noexcept { return state_ ? state_->code : Code::kOk; }
  std::int32_t number() const noexcept { return state_ ? state_->number : 0; }
  /// What happened, for a person. Empty when ok. Lives as long as this object.
  std::string_view message() const noexcept {
    return state_ ? std::string_view(state_->message) : std::string_view();
  }

 private:
  struct State {
    Code code;
    std::int32_t number;
    std::string message;
  };
  std::unique_ptr<State> state_;
};

/// Either a value or the failed `Status` that explains its absence.
template <typename T>
class [[nodiscard]] Result {
 public:
  Result(T value) : value_(std::move(value)) {}          // NOLINT(google-explicit-constructor)
  Result(Status status) : status_(std::move(status)) {}  // NOLINT(google-explicit-constructor)

  bool ok() const noexcept { return value_.has_value(); }
  const Status& status() const& noexcept { return status_; }
  Status status() && noexcept { return std::move(status_); }
  T& operator*() & { return *value_; }
  const T& operator*() const& { return *value_; }
  T operator*() && { return std::move(*value_); }
  T* operator->() { return &*value_; }
  const T* operator->() const { return &*value_; }
  T value_or(T other) const& { return value_ ? *value_ : std::move(other); }

 private:
  Status status_;
  std::optional<T> value_;
};

/// Thrown inside storage and drivers when something is broken or out of reach; never leaves them.
class Error : public std::exception {
 public:
  explicit Error(Status status) : status_(std::move(status)) {}
  Error(Code code, std::string message, std::int32_t number = 0)
      : status_(code, std::move(message), number) {}
  const Status& status() const noexcept { return status_; }
  const char* what() const noexcept override { return status_.message().data(); }

 private:
  Status status_;
};

/// Reports a broken invariant and ends the process; reached only in checked builds.
[[noreturn]] void AssertionFailed(const char* condition, const char* message, const char* file,
                                  int line) noexcept;

}  // namespace kelvorin::base

namespace kelvorin {
using base::Code;
using base::Error;
using base::Result;
using base::Status;
}  // namespace kelvorin

/// Returns a failed `Status` upwards; the only macro that hides a return.
#define KV_TRY(expr)                                                                 \
  do {                                                                               \
    if (::kelvorin::Status kv_status_ = (expr); !kv_status_.ok()) return kv_status_; \
  } while (false)

/// States what must be true. Checked in tests and checked builds, free in the product.
#if defined(KELVORIN_CHECKED)
#define KV_ASSERT(condition, message) \
  ((condition) ? void(0)              \
               : ::kelvorin::base::AssertionFailed(#condition, message, __FILE__, __LINE__))
#else
#define KV_ASSERT(condition, message) void(0)
#endif
