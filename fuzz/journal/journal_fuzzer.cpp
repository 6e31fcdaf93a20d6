// The reader of journals. The first byte chooses: an even one lets the rest be the journal; an odd
// one takes the journal of a torn table, sets a byte of it for every three that follow (where, 16
// bits, and what), and makes its sums right again. Whatever lies there, readers change nothing, and
// a writer changes the table only back to what it was, or not at all.

#include <cstdint>
#include <string>
#include <string_view>

#include "base/status.h"
#include "fuzz/require.h"
#include "storage/journal_format.h"
#include "tests/storage/support/torn_table.h"

namespace {

using namespace kelvorin;
using fuzz::Require;

/// Old bytes are not forged: nobody could tell.
bool HoldsOldBytes(const std::string& journal, std::size_t at) {
  std::size_t record = storage::kBodyAt + 2 * storage::kEntryBytes;
  storage::RecordHead head;
  while (record + storage::kRecordHeadBytes <= journal.size() &&
         DecodeRecordHead(base::AsBytes(journal).subspan(record), head)) {
    const std::uint64_t end = record + RecordBytes(head);
    const std::uint64_t old_bytes =
        record + storage::kRecordHeadBytes +
        storage::PieceCount(head.offset, head.size) * storage::kSumBytes;
    if (at < end) return head.kind == storage::RecordKind::kImage && at >= old_bytes;
    record = static_cast<std::size_t>(end);
  }
  return false;
}

std::string Forged(std::string_view edits) {
  const std::string& whole = tests::TheTornTable().journal;
  std::string journal = whole;
  for (; edits.size() >= 3; edits.remove_prefix(3)) {
    const std::size_t at = (static_cast<unsigned char>(edits[0]) |
                            static_cast<std::size_t>(static_cast<unsigned char>(edits[1])) << 8) %
                           journal.size();
    if (!HoldsOldBytes(whole, at)) journal[at] = edits[2];
  }
  return tests::Resealed(std::move(journal));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view rest(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::string journal = data[0] % 2 == 0 ? std::string(rest) : Forged(rest);
  tests::MemoryFileSystem disk;
  tests::PutTornTable(disk, journal);
  const tests::TableTexts& torn = tests::TheTornTable().torn;
  for (const bool read_only : {true, false}) {
    try {
      (void)tests::OpenTorn(disk, {.read_only = read_only});
    } catch (const Error&) {
      Require(tests::TextsOn(disk) == torn, "what is refused changes nothing");
    }
    Require(!read_only || tests::TextsOn(disk) == torn, "reading changes nothing");
    Require(!read_only || disk.Contents(tests::kTornJournal) == journal, "the journal stays");
  }
  const tests::TableTexts now = tests::TextsOn(disk);
  Require(tests::IsHarmless(now), "each byte is the old one or as it was");
  Require(disk.Contents(tests::kBystander) == "precious", "nobody else's file is touched");
  return 0;
}
