#include "bench/odbc/records.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace kelvorin::bench {

void WriteRecords(const std::string& path, std::size_t count, std::size_t bad_every) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) std::abort();
  for (std::size_t i = 1; i <= count; ++i) {
    const std::size_t key = bad_every != 0 && i % bad_every == 0 ? i - 1 : i;
    const std::size_t mix = i * 2654435761U % 100003;
    std::fprintf(file,
                 "%zu,Name %zu of a person%s,%zu Long Street Road,Town of Number %zu,%zu,%zu.%02zu,"
                 "19%02zu-%02zu-%02zu,person%zu@example.org,a remark that is somewhat longer %zu,"
                 "%zu\n",
                 key, mix, i % 20 == 0 ? " O'Neil" : "", mix % 999, mix % 5000, 10000 + mix % 89999,
                 mix % 9000, mix % 100, 30 + mix % 70, 1 + mix % 12, 1 + mix % 28, i, mix, mix % 7);
  }
  std::fclose(file);
}

void ForEachRecord(const std::string& path, const std::function<void(const Fields&)>& take) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) std::abort();
  std::vector<char> block(256 * 1024);
  std::size_t kept = 0;
  while (const std::size_t size = std::fread(block.data() + kept, 1, block.size() - kept, file)) {
    const char* at = block.data();
    const char* const end = at + kept + size;
    while (const void* found = std::memchr(at, '\n', static_cast<std::size_t>(end - at))) {
      const char* const stop = static_cast<const char*>(found);
      Fields fields;
      for (std::size_t i = 0; i + 1 < kFieldCount; ++i) {
        const auto* comma =
            static_cast<const char*>(std::memchr(at, ',', static_cast<std::size_t>(stop - at)));
        fields[i] = {at, static_cast<std::size_t>(comma - at)};
        at = comma + 1;
      }
      fields[kFieldCount - 1] = {at, static_cast<std::size_t>(stop - at)};
      take(fields);
      at = stop + 1;
    }
    kept = static_cast<std::size_t>(end - at);
    std::memmove(block.data(), at, kept);
  }
  std::fclose(file);
}

void AppendSql(std::string_view value, bool is_number, std::string& out) {
  if (is_number) {
    out += value;
    return;
  }
  out += '\'';
  for (;;) {
    const std::size_t stop = value.find('\'');
    if (stop == std::string_view::npos) break;
    out += value.substr(0, stop + 1);
    out += '\'';
    value.remove_prefix(stop + 1);
  }
  out += value;
  out += '\'';
}

std::string CreateTable(std::string_view server) {
  return std::string(
             "CREATE TABLE people (id INTEGER PRIMARY KEY, name VARCHAR(60), street "
             "VARCHAR(60), city VARCHAR(60), zip INTEGER, debt DECIMAL(10,2), born DATE, "
             "mail VARCHAR(60), note VARCHAR(100), grade ") +
         (server == "mariadb" ? "INTEGER) ENGINE=InnoDB" : "INTEGER)");
}

}  // namespace kelvorin::bench
