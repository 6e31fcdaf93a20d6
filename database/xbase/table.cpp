#include "database/xbase/table.h"

#include "base/M_Misc.h"
#include "database/errors.h"
#include "database/xbase/index_build.h"
#include "database/xbase/table_files.h"

#include <algorithm>
#include <array>
#include <utility>

// A change of a record goes, in one bracket: memo blocks and the memo file's header, then the
// record, then the entries of every index. The table's header (count, date, next automatic number)
// and the 0x1A behind the last record follow once per group of brackets; the group reaches the disk
// as a whole, so that no reader ever finds a count and records that disagree.

namespace kelvorin::database::xbase {
namespace {

/// Bytes by which programs of this family lock a whole table, far behind its end: dBASE takes the
/// thousand million from 1,000,000,001, FoxPro nearly as many from 0x40000000 and its append lock
/// 0x7FFFFFFE. One range covers them all.
constexpr std::uint64_t kFileLockAt = 1'000'000'001;
constexpr std::uint64_t kFileLockBytes = 0x7FFFFFFF - kFileLockAt;

constexpr std::int32_t kYearBase = 1900;

/// A larger cache makes random appends under indexes cheaper (a million records under two tags: 2.9
/// instead of 4.6 us), but not look-ups; this keeps a whole run within 24 MiB.
constexpr std::size_t kMostCacheBytes = std::size_t{14} << 20;

TableLayout ReadLayoutFrom(storage::Store& store) {
  const std::string& path = store.Path(storage::kMainFile);
  const std::uint64_t size = store.Size(storage::kMainFile);
  std::vector<std::byte> header(
      static_cast<std::size_t>(std::min<std::uint64_t>(size, kHeaderFixedBytes)));
  store.Read(storage::kMainFile, 0, header);
  const std::size_t header_bytes = HeaderSize(header, path);
  if (header_bytes > size)
    Throw(Code::kCorrupt, ErrorNumber::kExternalTable,
          "table file '" + path + "': claims a header of " + std::to_string(header_bytes) +
              " bytes, but has only " + std::to_string(size));
  header.resize(header_bytes);
  store.Read(storage::kMainFile, 0, header);
  return ReadLayout(header, path);
}

/// What is known to forbid writing before the table is opened.
std::string WhyNotWritable(storage::FileSystem& fs, const std::string& path,
                           const std::vector<IndexFileName>& indexes) {
  std::array<std::byte, kHeaderFixedBytes> front{};
  std::size_t size = 0;
  {
    const std::unique_ptr<storage::File> file = fs.Open(path, os::OpenMode::kRead);
    size = file->Read(0, front);
  }
  if (size == 0) return {};
  const Version* version = FindVersion(base::Load8(front, 0));
  if (version == nullptr) return {};
  if (version->access == Access::kReadOnly)
    return "a table of the kind " + std::string(version->what) + " is read, not written";
  if (indexes.empty() && size > kTableFlagsAt &&
      (base::Load8(front, kTableFlagsAt) & kFlagHasIndex) != 0)
    return "its header says that it has an index file, but there is none";
  if (!version->visual && size > kTransactionAt && base::Load8(front, kTransactionAt) == 1)
    return "its header says that a transaction was not finished";
  return {};
}

}  // namespace

Table::Table(std::shared_ptr<storage::Store> store, std::string why_read_only,
             const std::vector<IndexFileName>& indexes)
    : store_(std::move(store)),
      layout_(ReadLayoutFrom(*store_)),
      page_(layout_.code_page_mark),
      codec_(layout_, page_),
      why_read_only_(std::move(why_read_only)) {
  const std::uint64_t body = store_->Size(storage::kMainFile) - layout_.header_bytes;
  const std::uint64_t there = body / layout_.record_bytes;
  records_ = static_cast<std::uint32_t>(std::min<std::uint64_t>(there, layout_.record_count));
  if (records_ < layout_.record_count && why_read_only_.empty())
    why_read_only_ = "its header claims " + std::to_string(layout_.record_count) +
                     " records, but the file holds only " + std::to_string(there);
  if (layout_.HasMemoFields()) OpenMemo();
  FindAutoColumn();
  indexes_.emplace(*store_, indexes, layout_, page_);
  if (why_read_only_.empty()) why_read_only_ = indexes_->why_not();
  if (!store_->read_only()) {
    LockForExclusiveUse();
    store_->AddGroupHook(*this);
  }
}

Table::~Table() {
  if (!store_->read_only()) store_->RemoveGroupHook(*this);
}

void Table::OpenMemo() {
  storage::FileSystem& fs = store_->file_system();
  MemoKind kind = layout_.version->memo;
  std::string memo = FindCompanion(fs, path(), kind == MemoKind::kFpt ? "fpt" : "dbt");
  if (memo.empty() && kind == MemoKind::kDbt3) {
    memo = FindCompanion(fs, path(), "fpt");
    kind = MemoKind::kFpt;
  }
  if (memo.empty())
    Throw(Code::kNotFound, ErrorNumber::kFileNotFound,
          "table file '" + path() + "' has memo fields, but its memo file '" +
              CompanionPath(path(), layout_.version->memo == MemoKind::kFpt ? "FPT" : "DBT") +
              "' is missing");
  memo_.emplace(*store_, store_->Attach(memo, {.role = storage::Role::kMemo}), kind);
}

void Table::FindAutoColumn() {
  for (const Column& column : layout_.columns) {
    if (!column.auto_increment() || column.letter != 'I') continue;
    std::array<std::byte, kDescriptorBytes> descriptor;
    store_->Read(storage::kMainFile, column.descriptor_at, descriptor);
    auto_column_ = &column;
    next_number_ = base::LoadLE32(descriptor, kNextNumberAt);
    number_step_ = base::Load8(descriptor, kNumberStepAt);
    return;
  }
}

void Table::LockForExclusiveUse() {
  if (locked_) return;
  store_->Lock(storage::kMainFile, kFileLockAt, kFileLockBytes);
  locked_ = true;
}

base::ByteSpan Table::View(std::uint32_t record) {
  KV_ASSERT(record >= 1 && record <= records_, "a record of the table");
  return store_->View(storage::kMainFile, Offset(record), layout_.record_bytes, scratch_);
}

bool Table::IsLive(std::uint32_t record) {
  return store_->View(storage::kMainFile, Offset(record), 1, scratch_)[0] != kDeleted;
}

bool Table::ReadLive(std::uint32_t record, base::MutableByteSpan row) {
  const base::ByteSpan stored = View(record);
  if (stored[0] == kDeleted) return false;
  std::copy(stored.begin(), stored.end(), row.begin());
  return true;
}

std::uint32_t Table::LiveCount() {
  if (!live_) {
    std::uint32_t live = 0;
    for (std::uint32_t record = 1; record <= records_; ++record) live += IsLive(record) ? 1u : 0u;
    live_ = live;
  }
  return *live_;
}

// --- Changes

void Table::CheckRoom() const {
  const std::uint64_t end = Offset(records_ + 1) + layout_.record_bytes + 1;
  if (end > kMaxFileBytes)
    Throw(Code::kNoSpace, ErrorNumber::kDiskFull,
          "table file '" + path() + "' is full: it cannot grow beyond " +
              std::to_string(kMaxFileBytes) + " bytes");
}

template <typename F>
void Table::InBracket(F&& change) {
  storage::Bracket bracket = store_->Begin();
  try {
    change();
  } catch (...) {
    if (memo_) memo_->Forget();
    indexes_->Forget();
    throw;
  }
  bracket.Commit();
}

void Table::StoreMemos(base::MutableByteSpan row, std::span<const MemoChange> memos) {
  for (const MemoChange& change : memos) {
    std::uint32_t block = 0;
    // A pointer that makes no sense names no old blocks; it is simply replaced.
    (void)codec_.DecodeBlock(*change.column, row, block);
    if (change.null) {
      if (block != 0) memo_->Free(block);
      block = 0;
    } else {
      block = memo_->Write(block, change.value, change.column->letter);
    }
    codec_.EncodeBlock(*change.column, block, row);
  }
}

Status Table::Append(base::MutableByteSpan row, std::span<const MemoChange> memos, bool numbered) {
  CheckRoom();
  const bool number = numbered && auto_column_ != nullptr;
  if (number) {
    std::string scratch;
    std::size_t replaced = 0;
    const auto next = static_cast<std::int32_t>(next_number_);
    KV_TRY(codec_.Encode(*auto_column_, values::Value::Integer(next), row, scratch, replaced));
  }
  KV_TRY(indexes_->Plan({}, row, records_ + 1, *this));
  InBracket([&] {
    StoreMemos(row, memos);
    store_->Write(storage::kMainFile, Offset(records_ + 1), row);
    indexes_->Apply();
  });
  ++records_;
  if (live_) ++*live_;
  if (number) next_number_ += number_step_;
  appended_ = true;
  return Status();
}

Status Table::Rewrite(std::uint32_t record, base::MutableByteSpan row,
                      std::span<const MemoChange> memos) {
  const base::ByteSpan stored = View(record);
  before_.assign(stored.begin(), stored.end());
  KV_TRY(indexes_->Plan(before_, row, record, *this));
  InBracket([&] {
    StoreMemos(row, memos);
    store_->Write(storage::kMainFile, Offset(record), row);
    indexes_->Apply();
  });
  ++changes_;
  return Status();
}

void Table::Delete(std::uint32_t record) {
  const base::ByteSpan stored = View(record);
  before_.assign(stored.begin(), stored.end());
  after_ = before_;
  after_[0] = kDeleted;
  const Status planned = indexes_->Plan(before_, after_, record, *this);
  if (!planned.ok()) throw Error(planned);
  InBracket([&] {
    store_->Write(storage::kMainFile, Offset(record), base::ByteSpan(after_).first(1));
    indexes_->Apply();
  });
  ++changes_;
  if (live_) --*live_;
}

const Tag* Table::FindStaleIndex() {
  if (!stale_) stale_ = indexes_->FindStale(*store_, layout_, records_);
  return *stale_;
}

void Table::FreshenIndexes() {
  const Tag* stale = FindStaleIndex();
  if (stale == nullptr) return;
  (void)RebuildIndexes();
  notes_.push_back(
      "tag '" + stale->definition().name + "' of index file '" + stale->path() +
      "' lacked records of its table or named others: the table's indexes were rebuilt");
}

std::size_t Table::RebuildIndexes() {
  std::size_t count = 0;
  for (std::size_t i = 0; i < indexes_->files().size(); ++i) {
    const IndexFile& file = indexes_->files()[i];
    std::vector<TagDefinition> tags;
    for (const std::unique_ptr<Tag>& tag : indexes_->tags())
      if (tag->path() == file.path) tags.push_back(tag->definition());
    BuildIndexFile(store_->file_system(), *this, {file.kind, file.path, file.constraint}, file.kind,
                   tags, false);
    indexes_->Reopen(*store_, i);
    count += tags.size();
  }
  stale_ = nullptr;
  return count;
}

void Table::BeforeGroup(storage::Store& store) {
  indexes_->Stamp();
  const auto now = base::Now();
  std::array<std::byte, kHeaderBytesAt - kDateAt> head;
  base::Store8(head, 0, static_cast<std::uint8_t>(now.year - kYearBase));
  base::Store8(head, 1, static_cast<std::uint8_t>(now.month));
  base::Store8(head, 2, static_cast<std::uint8_t>(now.day));
  base::StoreLE32(head, kRecordCountAt - kDateAt, records_);
  store.Write(storage::kMainFile, kDateAt, head);
  if (auto_column_ != nullptr) {
    std::array<std::byte, 4> next;
    base::StoreLE32(next, 0, next_number_);
    store.Write(storage::kMainFile, auto_column_->descriptor_at + kNextNumberAt, next);
  }
  if (!appended_) return;
  const std::byte end[] = {kEndOfTable};
  store.Write(storage::kMainFile, Offset(records_ + 1), end);
  appended_ = false;
}

// --- The tables of the process

std::shared_ptr<Table> OpenTables::Open(const std::string& path, bool write, bool exclusive) {
  std::string why = WhyNotWritable(*fs_, path, FindIndexFiles(*fs_, path));
  if (write && why.empty()) {
    try {
      return Share(path, false, exclusive, {});
    } catch (const Error& error) {  // the table's or the memo file may not be written
      if (error.status().code() != Code::kReadOnly) throw;
      why = error.status().message();
    }
  }
  return Share(path, true, exclusive, why);
}

std::shared_ptr<Table> OpenTables::Share(const std::string& path, bool read_only, bool exclusive,
                                         const std::string& why_read_only) {
  storage::StoreOptions options;
  options.read_only = read_only;
  options.exclusive = exclusive;
  options.cache_ceiling_bytes = kMostCacheBytes;
  std::shared_ptr<storage::Store> store = files_->Open(*fs_, path, options);

  std::shared_ptr<Table> table = tables_.Find(*store);
  if (table == nullptr) {
    const std::vector<IndexFileName> indexes = FindIndexFiles(*fs_, path);
    table =
        tables_.Make(store, [&] { return std::make_shared<Table>(store, why_read_only, indexes); });
    for (const std::string& file : UnlistedIndexFiles(*fs_, path))
      table->notes().push_back("index file '" + file + "' lies beside table file '" + path +
                               "' and no INF file lists it: changes of the table do not reach it");
  }
  if (exclusive) table->LockForExclusiveUse();
  return table;
}

}  // namespace kelvorin::database::xbase
