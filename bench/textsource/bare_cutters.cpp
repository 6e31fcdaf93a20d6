#include "bench/textsource/bare_cutters.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

namespace kelvorin::bench {
namespace {

constexpr std::size_t kBlockBytes = 256 * 1024;
constexpr std::size_t kMostFields = 256;

/// Calls `cut(begin, end)` for every line, without its CR LF.
template <typename Cut>
void ForEachLine(const std::string& path, Cut cut) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                             &std::fclose);
  if (!file) return;
  std::setvbuf(file.get(), nullptr, _IONBF, 0);
  std::vector<char> block(kBlockBytes);
  std::size_t held = 0;
  for (;;) {
    const std::size_t got = std::fread(block.data() + held, 1, kBlockBytes - held, file.get());
    if (got == 0) break;
    const char* p = block.data();
    const char* const end = p + held + got;
    while (const auto* lf =
               static_cast<const char*>(std::memchr(p, '\n', static_cast<std::size_t>(end - p)))) {
      cut(p, lf > p && lf[-1] == '\r' ? lf - 1 : lf);
      p = lf + 1;
    }
    held = static_cast<std::size_t>(end - p);
    std::memmove(block.data(), p, held);
  }
  if (held > 0) cut(block.data(), block.data() + held);
}

struct Slices {
  std::array<std::string_view, kMostFields> fields;
  std::size_t count = 0;

  void Add(const char* from, const char* to) {
    fields[count++ % kMostFields] = {from, static_cast<std::size_t>(to - from)};
  }
  void CountInto(Tally& tally) const {
    ++tally.records;
    tally.fields += count;
    tally.bytes += fields[count / 2].size();
  }
};

}  // namespace

Tally BareDelimited(const std::string& path) {
  std::array<bool, 256> ends_field{};
  ends_field[','] = true;
  Tally tally;
  Slices slices;
  ForEachLine(path, [&](const char* p, const char* end) {
    slices.count = 0;
    for (;;) {
      const char* start = p;
      while (p != end && !ends_field[static_cast<unsigned char>(*p)]) ++p;
      slices.Add(start, p);
      if (p == end) break;
      ++p;
    }
    slices.CountInto(tally);
  });
  return tally;
}

Tally BareFixed(const std::string& path, const std::uint16_t* ends, std::size_t count) {
  Tally tally;
  Slices slices;
  ForEachLine(path, [&](const char* p, const char* end) {
    slices.count = 0;
    const auto size = static_cast<std::size_t>(end - p);
    std::size_t from = 0;
    for (std::size_t i = 0; i < count && ends[i] <= size; ++i) {
      slices.Add(p + from, p + ends[i]);
      from = ends[i];
    }
    slices.CountInto(tally);
  });
  return tally;
}

Tally BareHtml(const std::string& path) {
  Tally tally;
  Slices slices;
  ForEachLine(path, [&](const char* p, const char* end) {
    slices.count = 0;
    const char* text = p;
    for (; p != end; ++p) {
      if (*p == '>') {
        text = p + 1;
      } else if (*p == '<' && p + 1 != end && p[1] == '/') {
        slices.Add(text, p);
      }
    }
    slices.CountInto(tally);
  });
  return tally;
}

}  // namespace kelvorin::bench
