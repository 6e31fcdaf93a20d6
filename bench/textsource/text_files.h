#pragma once
// Text files of a known shape, made for the benchmarks.

#include <cstddef>
#include <cstdint>
#include <string>

namespace kelvorin::bench {

/// A small generator of its own, so that every run and machine measures the same bytes.
class Numbers {
 public:
  std::uint32_t Next(std::uint32_t below) noexcept {
    state_ = state_ * 6364136223846793005u + 1442695040888963407u;
    return static_cast<std::uint32_t>((state_ >> 33) % below);
  }

 private:
  std::uint64_t state_ = 20240817;
};

/// What the fields of a delimited file look like.
struct Shape {
  int fields = 10;
  int quoted_in_hundred = 1;    // text fields in quotes
  int doubled_in_hundred = 0;   // of those, with a doubled delimiter inside
  std::size_t field_bytes = 7;  // on average, without quotes
};

std::string DelimitedText(std::size_t bytes, const Shape& shape);
/// Records of 80 characters without separators between the columns.
std::string FixedText(std::size_t bytes);
/// One row of ten cells a record.
std::string HtmlText(std::size_t bytes);

}  // namespace kelvorin::bench
