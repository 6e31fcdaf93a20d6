#pragma once
// The engine's error numbers and the list of pending errors that a failing operation leaves behind.
// Drivers make errors with these numbers so that hosts and messages see the same ones everywhere.

#include <cstdint>
#include <string>
#include <string_view>

#include "base/status.h"

namespace kelvorin::database {

/// Numbers of the engine's errors as hosts know them from data access objects.
enum class ErrorNumber : std::int32_t {
  kNone = 0,
  kInternal = 3000,
  kInvalidArgument = 3001,
  kTableExists = 3010,
  kTableNotFound = 3011,  // by OpenRecordset; a look-up in TableDefs says kNotInCollection
  kIndexNotFound = 3015,
  kNoIndexSet = 3019,  // Seek without a current index
  kNoCurrentEdit = 3020,
  kNoCurrentRecord = 3021,
  kDuplicateKey = 3022,
  kFileNotFound = 3024,
  kDiskFull = 3026,
  kReadOnly = 3027,
  kWrongPassword = 3031,
  kIo = 3043,
  kSharingViolation = 3045,  // the file is in use
  kCorrupt = 3049,
  kKeyIsNull = 3058,  // a primary key or an index that refuses Null
  kOdbcCallFailed = 3146,
  kFieldTooSmall = 3163,
  kFieldNotUpdatable = 3164,  // e.g. a calculated field or an automatic number
  kRecordDeleted = 3167,
  kNoDriver = 3170,  // no driver for the connect string
  kRelated = 3200,   // records of another table depend on this one
  kDatabaseExists = 3204,
  kInvalidOperation = 3219,
  kNotSupported = 3251,
  kNotInCollection = 3265,  // table, field or index not found by name
  kExternalTable = 3274,    // an external table is not in the expected format
  kRequired = 3314,
  kZeroLength = 3315,
  kUnrecognizedFormat = 3343,
  kObjectInvalid = 3420,  // the object was closed
  kConversion = 3421,
};

/// One pending error: `number` is the engine's or, for an ODBC server, the driver's own number;
/// `state` is the five-letter SQLSTATE or empty.
struct PendingError {
  std::int32_t number = 0;
  std::string state;
  std::string description;
  bool operator==(const PendingError&) const = default;
};

/// A status with an engine number; `text` names the thing, the place and the numbers.
inline Status MakeStatus(Code code, ErrorNumber number, std::string text) {
  return Status(code, std::move(text), static_cast<std::int32_t>(number));
}
[[noreturn]] inline void Throw(Code code, ErrorNumber number, std::string text) {
  throw Error(code, std::move(text), static_cast<std::int32_t>(number));
}

/// Engine number that stands for a code when whoever failed gave none.
std::int32_t DefaultNumber(Code code) noexcept;

}  // namespace kelvorin::database
