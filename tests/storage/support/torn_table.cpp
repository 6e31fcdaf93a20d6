#include "tests/storage/support/torn_table.h"

#include "base/bytes.h"
#include "base/status.h"
#include "storage/journal_format.h"
#include "storage/journal_view.h"
#include "tests/storage/support/fault_files.h"

#include <algorithm>
#include <random>

namespace kelvorin::tests {
namespace {

using storage::Store;

/// No two pieces alike, so that nothing fits where it does not belong.
std::string Noise(std::size_t size, std::uint32_t seed) {
  std::minstd_rand random(seed);
  std::string text(size, '\0');
  for (char& c : text) c = static_cast<char>('a' + random() % 26);
  return text;
}

void Change(storage::FileSystem& files) {
  const auto store = Store::Open(files, kTornMain, {.page_bytes = 512});
  const storage::FileNo memo =
      store->Attach(kTornMemo, {.page_bytes = 1000, .role = storage::Role::kMemo});
  storage::Bracket bracket = store->Begin();
  store->Write(storage::kMainFile, 0, base::AsBytes(Noise(700, 11)));
  store->Write(storage::kMainFile, 4000, base::AsBytes(Noise(1000, 12)));
  store->Write(storage::kMainFile, store->Size(storage::kMainFile), base::AsBytes(Noise(3000, 13)));
  store->Write(memo, 100, base::AsBytes(Noise(50, 14)));
  store->Write(memo, store->Size(memo), base::AsBytes(Noise(900, 15)));
  bracket.Commit();
  store->Flush();
}

void PutBefore(MemoryFileSystem& disk) {
  disk.Put(kTornMain, Noise(9000, 1));
  disk.Put(kTornMemo, Noise(3000, 2));
}

}  // namespace

TableTexts TextsOn(const MemoryFileSystem& disk) {
  return {disk.Contents(kTornMain), disk.Contents(kTornMemo)};
}

const TornTable& TheTornTable() {
  static const TornTable kTable = [] {
    TornTable table;
    MemoryFileSystem calm;
    PutBefore(calm);
    table.before = TextsOn(calm);
    Change(calm);
    table.after = TextsOn(calm);
    for (int n = 1;; ++n) {
      MemoryFileSystem disk;
      PutBefore(disk);
      FaultFileSystem faults(disk, Fault::kDie, n);
      try {
        Change(faults);
        break;
      } catch (const Error&) {
        // Dead, at every operation in turn.
      }
      disk.Crash(Tail::kAll);
      const TableTexts now = TextsOn(disk);
      if (now == table.before || now == table.after || now.main.size() == table.before.main.size())
        continue;
      table.torn = now;
      table.journal = disk.Contents(kTornJournal);
    }
    return table;
  }();
  return kTable;
}

void PutTornTable(MemoryFileSystem& disk, const std::string& journal) {
  // In the order of the first making, which gives the files the identities that the journal knows.
  disk.Put(kTornMain, TheTornTable().torn.main);
  disk.Put(kTornMemo, TheTornTable().torn.memo);
  disk.Put(kTornJournal, journal);
  disk.Put(kBystander, "precious");
}

std::shared_ptr<Store> OpenTorn(storage::FileSystem& disk, storage::StoreOptions options,
                                bool with_memo) {
  std::shared_ptr<Store> store = Store::Open(disk, kTornMain, options);
  store->Opening([&] {
    if (with_memo) (void)store->Attach(kTornMemo, {.role = storage::Role::kMemo});
    return 0;
  });
  return store;
}

bool IsHarmless(const TableTexts& now) {
  const auto harmless = [](const std::string& text, const std::string& torn,
                           const std::string& before) {
    if (text.size() > torn.size() || text.size() < before.size()) return false;
    for (std::size_t i = 0; i < text.size(); ++i)
      if (text[i] != torn[i] && (i >= before.size() || text[i] != before[i])) return false;
    return true;
  };
  const TornTable& table = TheTornTable();
  return harmless(now.main, table.torn.main, table.before.main) &&
         harmless(now.memo, table.torn.memo, table.before.memo);
}

std::string Resealed(std::string journal) {
  using namespace storage;
  JournalHead head;
  if (journal.size() < kBodyAt + StripeSum::kStripeBytes) return journal;
  const base::ByteSpan bytes = base::AsBytes(journal);
  head.kind = HeadKind(base::LoadLE32(bytes, 8));
  head.entries = base::LoadLE32(bytes, 12);
  head.serial = base::LoadLE64(bytes, 16);
  head.body_bytes = std::min<std::uint64_t>(base::LoadLE64(bytes, 24), journal.size() - kBodyAt) /
                    StripeSum::kStripeBytes * StripeSum::kStripeBytes;
  StripeSum sum(head.serial);
  sum.Add(bytes.subspan(kBodyAt, static_cast<std::size_t>(head.body_bytes)));
  head.body_sum = sum.Value();
  const auto encoded = EncodeHead(head);
  journal.replace(0, kHeadBytes, base::AsText(encoded));
  return journal;
}

}  // namespace kelvorin::tests
