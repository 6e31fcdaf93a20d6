#pragma once
// Turns what the operating system answered about a file into a `Status`. Used by the rooms that
// call `os`; others meet only the finished status.

#include <string_view>
#include <system_error>

#include "base/status.h"

namespace kelvorin::base {

/// Ok when `error` is none, else a status that reads `Cannot <action> <path>: <what the system
/// said>` with the code that fits (`kNotFound`, `kLocked`, `kNoSpace`, `kAlreadyExists`,
/// `kReadOnly`, else `kIo`).
Status FileStatus(const std::error_code& error, std::string_view action, std::string_view path);

}  // namespace kelvorin::base
