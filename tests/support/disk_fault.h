#pragma once
// Walks a failing disk through everything that a piece of code writes: the first changing call to
// the system fails, then the second, and so on.

#include <system_error>

#include "os/files.h"

namespace kelvorin::tests {

/// While it lives, the changing call with this number (from 1) fails, and with `lasting` every one
/// after it. One at a time.
class DiskFault {
 public:
  DiskFault(int at, std::errc why, bool lasting) noexcept {
    at_ = at;
    why_ = why;
    lasting_ = lasting;
    calls_ = 0;
    os::SetChangeFault(&Answer);
  }
  DiskFault(const DiskFault&) = delete;
  DiskFault& operator=(const DiskFault&) = delete;
  ~DiskFault() { os::SetChangeFault(nullptr); }

  /// Whether the call came that was to fail.
  static bool happened() noexcept { return calls_ >= at_; }

 private:
  static std::error_code Answer(os::Change) noexcept {
    ++calls_;
    return calls_ == at_ || (lasting_ && calls_ > at_) ? std::make_error_code(why_)
                                                       : std::error_code();
  }

  inline static int at_ = 0, calls_ = 0;
  inline static std::errc why_{};
  inline static bool lasting_ = false;
};

}  // namespace kelvorin::tests
