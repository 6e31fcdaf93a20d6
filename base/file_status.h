#pragma once
// Turns what the operating system answered about a file into a `Status`. Used by the rooms that
// call `os`; others meet only the finished status.

#include <string_view>
#include <system_error>

#include "base/status.h"

namespace kelvorin::base {

/// The code that says what kind of failure it is: `kNotFound`, `kLocked`, `kNoSpace`,
/// `kAlreadyExists`, `kReadOnly` (the disk is, or `writing` is not allowed), else `kIo`.
Code CodeOf(const std::error_code& error, bool writing = false) noexcept;

/// Ok when `error` is none, else a status that reads `Cannot <action> <path>: <what the system
/// said>` with its code.
Status FileStatus(const std::error_code& error, std::string_view action, std::string_view path);

}  // namespace kelvorin::base
