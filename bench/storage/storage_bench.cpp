// What a store costs above bare buffered files, as ratios of CPU time in one run: appending records
// in brackets of their own, scanning them, changing them in place and by random access.
//   storage_bench [RECORDS]     (default 2,000,000, of 100 bytes)

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "base/status.h"
#include "os/system.h"
#include "storage/store.h"

using namespace kelvorin;
using storage::kMainFile;
using storage::Store;

namespace {

constexpr std::size_t kRecord = 100;
constexpr std::size_t kHeader = 32;

/// A header with the number of records, put in place once per group.
struct Counter : storage::GroupHook {
  void BeforeGroup(Store& store) override {
    std::byte head[kHeader]{};
    base::StoreLE64(head, 4, records);
    store.Write(kMainFile, 0, head);
  }
  std::uint64_t records = 0;
};

void BareAppend(const std::string& path, long records) {
  std::FILE* out = std::fopen(path.c_str(), "wb");
  if (out == nullptr) std::exit(1);
  char record[kRecord];
  std::memset(record, ' ', sizeof record);
  std::fwrite(record, kHeader, 1, out);
  for (long i = 0; i < records; ++i) {
    std::memcpy(record, &i, sizeof i);
    std::fwrite(record, sizeof record, 1, out);
  }
  std::fclose(out);
}

void StoreAppend(const std::string& path, long records) {
  Counter counter;
  const auto store = Store::Open(storage::RealFileSystem(), path, {.create = true});
  store->AddGroupHook(counter);
  std::byte record[kRecord];
  std::memset(record, ' ', sizeof record);
  {
    storage::Bracket bracket = store->Begin();
    counter.BeforeGroup(*store);
    bracket.Commit();
  }
  for (long i = 0; i < records; ++i) {
    std::memcpy(record, &i, sizeof i);
    storage::Bracket bracket = store->Begin();
    store->Write(kMainFile, kHeader + static_cast<std::uint64_t>(i) * kRecord, record);
    bracket.Commit();
    ++counter.records;
  }
  store->RemoveGroupHook(counter);
  store->Flush();
}

std::uint64_t BareScan(const std::string& path, long records) {
  std::FILE* in = std::fopen(path.c_str(), "rb");
  if (in == nullptr) std::exit(1);
  std::uint64_t sum = 0;
  char record[kRecord];
  std::fseek(in, kHeader, SEEK_SET);
  for (long i = 0; i < records; ++i) {
    if (std::fread(record, sizeof record, 1, in) != 1) std::exit(1);
    sum += static_cast<unsigned char>(record[0]);
  }
  std::fclose(in);
  return sum;
}

std::uint64_t StoreScan(const std::string& path, long records) {
  const auto store = Store::Open(storage::RealFileSystem(), path, {.read_only = true});
  std::vector<std::byte> scratch;
  std::uint64_t sum = 0;
  for (long i = 0; i < records; ++i) {
    const base::ByteSpan record =
        store->View(kMainFile, kHeader + static_cast<std::uint64_t>(i) * kRecord, kRecord, scratch);
    sum += std::to_integer<std::uint64_t>(record[0]);
  }
  return sum;
}

/// Every record overwritten in turn, each in its bracket.
void StoreEdit(const std::string& path, long records) {
  const auto store = Store::Open(storage::RealFileSystem(), path, {});
  std::byte field[20]{};
  for (long i = 0; i < records; ++i) {
    storage::Bracket bracket = store->Begin();
    store->Write(kMainFile, kHeader + 40 + static_cast<std::uint64_t>(i) * kRecord, field);
    bracket.Commit();
  }
  store->Flush();
}

/// The same on the bare file: records read and written back through a buffer of 64 KiB.
void BareEdit(const std::string& path, long records) {
  std::FILE* file = std::fopen(path.c_str(), "r+b");
  if (file == nullptr) std::exit(1);
  constexpr long kChunk = 650;
  std::vector<char> chunk(kChunk * kRecord);
  for (long first = 0; first < records; first += kChunk) {
    const long place = static_cast<long>(kHeader) + first * static_cast<long>(kRecord);
    std::fseek(file, place, SEEK_SET);
    const std::size_t count = std::fread(chunk.data(), kRecord, kChunk, file);
    for (std::size_t i = 0; i < count; ++i) std::memset(chunk.data() + i * kRecord + 40, 0, 20);
    std::fseek(file, place, SEEK_SET);
    std::fwrite(chunk.data(), kRecord, count, file);
  }
  std::fclose(file);
}

/// Pages of a cached part of the file in random order.
std::uint64_t StorePins(const std::string& path, long times) {
  const auto store = Store::Open(storage::RealFileSystem(), path, {.read_only = true});
  const std::uint64_t pages = std::min<std::uint64_t>(1000, store->Size(kMainFile) / 4096);
  std::uint64_t sum = 0;
  std::uint32_t random = 1;
  for (long i = 0; i < times; ++i) {
    random = random * 1664525u + 1013904223u;
    const storage::PageRef page = store->Pin(kMainFile, (random >> 8) % pages);
    sum += std::to_integer<std::uint64_t>(page.bytes()[random % 4096]);
  }
  return sum;
}

template <typename Work>
double Nanoseconds(long records, Work work) {
  const std::int64_t before = os::CpuNanoseconds();
  work();
  return static_cast<double>(os::CpuNanoseconds() - before) / static_cast<double>(records);
}

}  // namespace

int main(int count, char** arguments) {
  const long records = count > 1 ? std::atol(arguments[1]) : 2'000'000;
  const std::string folder = (std::filesystem::temp_directory_path() /
                              ("storage_bench-" + std::to_string(os::CpuNanoseconds())))
                                 .string();
  std::filesystem::create_directory(folder);
  const std::string bare = folder + "/bare";
  const std::string stored = folder + "/stored";
  std::uint64_t sums[2] = {};
  try {
    for (int round = 0; round < 3; ++round) {
      std::filesystem::remove(stored);
      const double a0 = Nanoseconds(records, [&] { BareAppend(bare, records); });
      const double a1 = Nanoseconds(records, [&] { StoreAppend(stored, records); });
      const double s0 = Nanoseconds(records, [&] { sums[0] = BareScan(bare, records); });
      const double s1 = Nanoseconds(records, [&] { sums[1] = StoreScan(stored, records); });
      const double e0 = Nanoseconds(records, [&] { BareEdit(bare, records); });
      const double e1 = Nanoseconds(records, [&] { StoreEdit(stored, records); });
      const double p1 = Nanoseconds(records, [&] { sums[1] += StorePins(stored, records) * 0; });
      std::printf(
          "ns a record   append %5.1f / %5.1f = %.2f   scan %5.1f / %5.1f = %.2f   "
          "edit %5.1f / %5.1f = %.2f   pin %5.1f\n",
          a1, a0, a1 / a0, s1, s0, s1 / s0, e1, e0, e1 / e0, p1);
    }
  } catch (const Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
  }
  std::filesystem::remove_all(folder);
  std::printf("peak %ld KiB%s\n", static_cast<long>(os::PeakMemoryKiB()),
              sums[0] == sums[1] ? "" : ", and the sums differ");
  return sums[0] == sums[1] ? 0 : 1;
}
