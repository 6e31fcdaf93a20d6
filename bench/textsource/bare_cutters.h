#pragma once
// The yardsticks: the least that anybody must do to find records and fields. They read 256 KiB
// blocks, find line ends with memchr and cut with a plain loop, knowing no quotes, no limits, no
// separator but their own and no errors.

#include <cstddef>
#include <cstdint>
#include <string>

namespace kelvorin::bench {

/// What a pass over a file counted; kept so that no work is optimised away and results compare.
struct Tally {
  std::uint64_t records = 0;
  std::uint64_t fields = 0;
  std::uint64_t bytes = 0;  // of all fields
};

/// Fields end at commas: one table look-up per byte.
Tally BareDelimited(const std::string& path);
/// Fields end at the positions.
Tally BareFixed(const std::string& path, const std::uint16_t* ends, std::size_t count);
/// Fields are what stands before each closing tag: one comparison per byte.
Tally BareHtml(const std::string& path);

}  // namespace kelvorin::bench
