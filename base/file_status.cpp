#include "base/file_status.h"

#include <cerrno>
#include <string>

namespace kelvorin::base {

Code CodeOf(const std::error_code& error, bool writing) noexcept {
  if (error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory) {
    return Code::kNotFound;
  }
  if (error == std::errc::file_exists) return Code::kAlreadyExists;
  if (error == std::errc::no_space_on_device || error == std::errc::file_too_large ||
      error.value() == EDQUOT) {
    return Code::kNoSpace;
  }
  if (error == std::errc::read_only_file_system) return Code::kReadOnly;
  if (writing &&
      (error == std::errc::permission_denied || error == std::errc::operation_not_permitted)) {
    return Code::kReadOnly;
  }
  if (error == std::errc::resource_unavailable_try_again ||
      error == std::errc::device_or_resource_busy || error == std::errc::text_file_busy) {
    return Code::kLocked;
  }
  return Code::kIo;
}

Status FileStatus(const std::error_code& error, std::string_view action, std::string_view path) {
  if (!error) return {};
  std::string message = "Cannot ";
  message.append(action).append(" ").append(path).append(": ").append(error.message());
  return Status(CodeOf(error), std::move(message));
}

}  // namespace kelvorin::base
