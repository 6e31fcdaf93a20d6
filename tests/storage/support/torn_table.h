#pragma once
// A table of two files whose program died in the middle of writing a group, for tests and fuzzers
// of what a journal may do. The files are /t/A and its memo /t/B; /t/X lies beside them and belongs
// to nobody.

#include <memory>
#include <string>

#include "storage/store.h"
#include "tests/storage/support/memory_files.h"

namespace kelvorin::tests {

/// What the two files hold.
struct TableTexts {
  std::string main;
  std::string memo;
  bool operator==(const TableTexts&) const = default;
};

struct TornTable {
  TableTexts before;  // the group
  TableTexts torn;
  TableTexts after;
  std::string journal;
};

/// Made once; the same in every run. The journal is sealed, some pages are written and some not.
const TornTable& TheTornTable();

inline constexpr const char* kTornMain = "/t/A";
inline constexpr const char* kTornMemo = "/t/B";
inline constexpr const char* kTornJournal = "/t/A-journal";
inline constexpr const char* kBystander = "/t/X";

/// Puts the torn table with a journal and the bystander on a disk.
void PutTornTable(MemoryFileSystem& disk, const std::string& journal);
TableTexts TextsOn(const MemoryFileSystem& disk);
/// Opens the table as its driver does.
std::shared_ptr<storage::Store> OpenTorn(storage::FileSystem& disk, storage::StoreOptions options,
                                         bool with_memo = true);
/// Whether every byte is the torn one or the one before the group, and none is missing: more cannot
/// be asked of a journal whose sums somebody made fit a part of it.
bool IsHarmless(const TableTexts& now);
/// The journal with all its sums made right again, as somebody would who forges one.
std::string Resealed(std::string journal);

}  // namespace kelvorin::tests
