#include "base/status.h"
#include "storage/store.h"
#include "tests/storage/support/fault_files.h"
#include "tests/storage/support/memory_files.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>

using namespace kelvorin;
using base::AsBytes;
using base::AsText;
using storage::Bracket;
using storage::FileNo;
using storage::PageRef;
using storage::Store;
using tests::Fault;
using tests::FaultFileSystem;
using tests::MemoryFileSystem;
using tests::Tail;

namespace {

constexpr FileNo kFiles[] = {FileNo{0}, FileNo{1}};
constexpr const char* kPaths[] = {"/t/A.DBF", "/t/A.DBT"};
using Texts = std::array<std::string, 2>;

// Page sizes with and without a power of two, page 0 at the start or behind a header, a cache that
// holds everything or next to nothing.
struct Shape {
  std::uint32_t page_bytes;
  std::uint64_t first_page_at;
  std::size_t cache_bytes;
};
constexpr Shape kShapes[] = {
    {512, 0, 1 << 20}, {512, 0, 4096}, {3072, 359, 32768}, {1000, 2048, 16384}};

class Player {
 public:
  explicit Player(std::uint32_t seed) : shape(kShapes[seed % std::size(kShapes)]), random_(seed) {}

  std::size_t Below(std::size_t limit) { return std::size_t{random_() % limit}; }

  /// Does the same to a file of the store and to the plain text that stands for it.
  void Change(Store& store, Texts& texts) {
    const FileNo no = kFiles[Below(2)];
    std::string& text = texts[static_cast<std::size_t>(no)];
    const std::uint64_t first = no == FileNo{0} ? shape.first_page_at : 0;
    const std::size_t at = Below(text.size() + 1);
    switch (Below(6)) {
      case 0: {  // overwrite, perhaps across the end
        const std::string in(Below(3000), static_cast<char>('c' + Below(20)));
        store.Write(no, at, AsBytes(in));
        text.replace(at, in.size(), in);
        break;
      }
      case 1: {  // append, perhaps with a gap
        const std::size_t gap = Below(3) == 0 ? Below(5000) : 0;
        const std::string in(1 + Below(200), static_cast<char>('C' + Below(20)));
        store.Write(no, text.size() + gap, AsBytes(in));
        text += std::string(gap, '\0') + in;
        break;
      }
      case 2: {  // cut, or make longer
        if (Below(3) != 0) break;
        const std::size_t size = at + (Below(3) == 0 ? Below(4000) : 0);
        store.Truncate(no, size);
        text.resize(size);
        break;
      }
      case 3: {  // part of a page
        if (text.size() <= first) break;
        const std::size_t page_no = Below((text.size() - first - 1) / shape.page_bytes + 1);
        const std::size_t in_page = Below(shape.page_bytes);
        const std::size_t count = 1 + Below(shape.page_bytes - in_page);
        PageRef page = store.Pin(no, page_no);
        const base::MutableByteSpan bytes = page.Change(in_page, count);
        std::fill(bytes.begin(), bytes.end(), std::byte{'+'});
        const std::size_t begin = first + page_no * shape.page_bytes + in_page;
        text.resize(std::max(text.size(), begin + count));
        text.replace(begin, count, std::string(count, '+'));
        break;
      }
      case 4: {  // a new page
        std::uint64_t page_no = 0;
        PageRef page = store.AddPage(no, page_no);
        const base::MutableByteSpan bytes = page.Change();
        std::fill(bytes.begin(), bytes.end(), std::byte{'*'});
        text.resize(first + page_no * shape.page_bytes);
        text += std::string(shape.page_bytes, '*');
        break;
      }
      case 5: {
        const std::size_t count = Below(text.size() - at + 1);
        const base::ByteSpan seen = store.View(no, at, count, scratch_);
        CHECK((AsText(seen) == text.substr(at, count)));
        break;
      }
    }
  }

  const Shape shape;

 private:
  std::mt19937 random_;
  std::vector<std::byte> scratch_;
};

}  // namespace

TEST_CASE("random changes, undone, kept or cut short by a loss of power, equal a plain text") {
  for (std::uint32_t seed = 0; seed < 40; ++seed) {
    CAPTURE(seed);
    Player player(seed);
    MemoryFileSystem disk;
    Texts now{std::string(player.Below(9000), 'a'), std::string(player.Below(9000), 'b')};
    for (const FileNo no : kFiles)
      disk.Put(kPaths[static_cast<std::size_t>(no)], now[static_cast<std::size_t>(no)]);

    for (int opening = 0; opening < 4; ++opening) {
      // What may be found after a loss of power: as it was flushed, or after any bracket since.
      std::vector<Texts> since_flush{now};
      FaultFileSystem faults(disk, opening % 2 == 0 ? Fault::kNone : Fault::kDie,
                             1 + static_cast<int>(player.Below(400)));
      try {
        const auto store =
            Store::Open(faults, kPaths[0], {.cache_bytes = player.shape.cache_bytes});
        const FileNo memo = store->Attach(kPaths[1], {});
        REQUIRE(memo == FileNo{1});
        store->SetPages(FileNo{0}, player.shape.page_bytes, player.shape.first_page_at);
        store->SetPages(FileNo{1}, player.shape.page_bytes);
        for (int step = 0; step < 120; ++step) {
          Texts after = now;
          Bracket bracket = store->Begin();
          for (std::size_t change = player.Below(5); change > 0; --change)
            player.Change(*store, after);
          if (player.Below(3) != 0) {
            bracket.Commit();
            since_flush.push_back(now = after);
          } else {
            const Bracket undone = std::move(bracket);
          }
          if (player.Below(8) == 0) {
            store->Flush();
            since_flush = {now};
          }
          if (player.Below(4) != 0) continue;
          for (const FileNo no : kFiles) {
            std::vector<std::byte> whole(store->Size(no));
            store->Read(no, 0, whole);
            REQUIRE((AsText(whole) == now[static_cast<std::size_t>(no)]));
          }
        }
      } catch (const Error& error) {
        REQUIRE_MESSAGE(faults.fired(), error.what());
      }
      if (faults.fired()) {
        disk.Crash(static_cast<Tail>(player.Below(3)), seed);
        const auto recovered = Store::Open(disk, kPaths[0], {});
        recovered->Opening([&] { return recovered->Attach(kPaths[1], {}); });
      }
      const Texts found{disk.Contents(kPaths[0]), disk.Contents(kPaths[1])};
      if (faults.fired()) {
        REQUIRE(std::count(since_flush.begin(), since_flush.end(), found) > 0);
        now = found;
      }
      REQUIRE((found == now));
      REQUIRE(disk.List("/t").size() == 2);
    }
  }
}
