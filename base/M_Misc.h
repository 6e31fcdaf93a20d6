#pragma once
// What the rooms above need from the surrounding system (clock, environment, locale names, the
// library's folder) and the search in a list of texts. The system's part is `os/system.h` under
// this room's name: the rooms above need not know the operating system.

#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "base/status.h"
#include "os/system.h"

namespace kelvorin::base {

/// Index of the first entry equal to `text`, exactly and case-sensitively, or -1.
int FindListItem(std::span<const std::string> list, std::string_view text) noexcept;

using os::CoarseMilliseconds;
using os::CpuNanoseconds;
using os::Environment;
using os::KeepStandardStreams;
using os::LibraryFolder;
using os::LocaleCharset;
using os::LocaleFacts;
using os::LocaleName;
using os::LocalTime;
using os::MonotonicMilliseconds;
using os::Now;
using os::PeakMemoryKiB;
using os::ReadLocaleFacts;
using os::UnixSeconds;

/// `value` as a `To`; it must fit. Whoever cannot know asks `std::in_range<To>` first.
template <typename To, typename From>
constexpr To Narrow(From value) noexcept {
  KV_ASSERT(std::in_range<To>(value), "the number fits its new type");
  return static_cast<To>(value);
}

}  // namespace kelvorin::base
