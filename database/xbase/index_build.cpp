#include "database/xbase/index_build.h"

#include "database/errors.h"
#include "database/xbase/table.h"
#include "database/xbase/table_files.h"

#include <algorithm>

namespace kelvorin::database::xbase {
namespace {

constexpr std::size_t kLoadBytes = std::size_t{6} << 20;  // of memory for entries being sorted
constexpr std::size_t kEntriesOfABracket = 1024;
/// Each load of entries goes over the pages once, in order: more of them in memory are of no use.
constexpr std::size_t kFileCacheBytes = std::size_t{4} << 20;

/// Puts entries in order: the first eight bytes decide nearly always.
class EntrySorter {
 public:
  explicit EntrySorter(std::size_t entry_bytes)
      : entry_bytes_(entry_bytes), most_(kLoadBytes / (2 * entry_bytes + sizeof(Item))) {}

  bool full() const noexcept { return items_.size() >= most_; }
  bool empty() const noexcept { return items_.empty(); }
  /// Room for one more entry; `Keep` keeps it.
  std::byte* Next() {
    if (entries_.size() < (items_.size() + 1) * entry_bytes_)
      entries_.resize((items_.size() + 1) * entry_bytes_);
    return entries_.data() + items_.size() * entry_bytes_;
  }
  void Keep() {
    const base::ByteSpan entry =
        base::ByteSpan(entries_).subspan(items_.size() * entry_bytes_, entry_bytes_);
    std::uint64_t front = 0;
    for (std::size_t i = 0; i < sizeof front; ++i)
      front = front << 8 | (i < entry.size() ? std::to_integer<std::uint64_t>(entry[i]) : 0);
    items_.push_back({front, static_cast<std::uint32_t>(items_.size())});
  }
  /// The entries in order. Empties the sorter.
  const std::vector<std::byte>& Sorted() {
    std::sort(items_.begin(), items_.end(), [&](const Item& a, const Item& b) {
      if (a.front != b.front) return a.front < b.front;
      return std::memcmp(entries_.data() + a.at * entry_bytes_,
                         entries_.data() + b.at * entry_bytes_, entry_bytes_) < 0;
    });
    sorted_.clear();
    for (const Item& item : items_) {
      const std::byte* entry = entries_.data() + item.at * entry_bytes_;
      sorted_.insert(sorted_.end(), entry, entry + entry_bytes_);
    }
    items_.clear();
    return sorted_;
  }

 private:
  struct Item {
    std::uint64_t front;
    std::uint32_t at;
  };
  std::size_t entry_bytes_;
  std::size_t most_;
  std::vector<Item> items_;
  std::vector<std::byte> entries_;
  std::vector<std::byte> sorted_;
};

class Filler {
 public:
  Filler(storage::Store& store, Table& table, Tag& tag, bool strict)
      : store_(store), table_(table), tag_(tag), strict_(strict), sorter_(tag.entry_bytes()) {}

  void Fill() {
    const std::uint32_t records = table_.RecordCount();
    for (std::uint32_t record = 1; record <= records; ++record) {
      if (tag_.MakeEntry(table_.View(record), record, sorter_.Next())) sorter_.Keep();
      if (sorter_.full()) Load();
    }
    Load();
  }

 private:
  void Load() {
    if (sorter_.empty()) return;
    base::ByteSpan entries = sorter_.Sorted();
    if (tag_.definition().unique || (strict_ && tag_.constraint())) entries = WithoutTwins(entries);
    if (!outdone_.empty()) {
      storage::Bracket bracket = store_.Begin();
      for (const std::vector<std::byte>& entry : outdone_) (void)tag_.tree().Erase(entry);
      bracket.Commit();
      outdone_.clear();
    }
    const std::size_t most = kEntriesOfABracket * tag_.entry_bytes();
    while (!entries.empty()) {
      const base::ByteSpan some = entries.first(std::min(most, entries.size()));
      storage::Bracket bracket = store_.Begin();
      tag_.tree().InsertSorted(some);
      bracket.Commit();
      entries = entries.subspan(some.size());
    }
  }

  /// Of entries with equal keys the first stays, or the first that is not of a deleted record.
  base::ByteSpan WithoutTwins(base::ByteSpan entries) {
    const std::size_t size = tag_.entry_bytes(), key = tag_.key_bytes();
    once_.clear();
    for (std::size_t at = 0; at < entries.size(); at += size) {
      const base::ByteSpan entry = entries.subspan(at, size);
      std::uint32_t twin = 0;
      if (once_.size() >= size &&
          std::equal(entry.begin(), entry.begin() + Signed(key), once_.end() - Signed(size))) {
        twin = base::LoadBE32(once_, once_.size() - kRecordNumberBytes);
      } else if (tag_.tree().Find(entry.first(key), place_) &&
                 std::equal(entry.begin(), entry.begin() + Signed(key), place_.entry().begin())) {
        twin = place_.record();
      }
      const std::uint32_t record = base::LoadBE32(entry, key);
      if (twin == 0) {
        once_.insert(once_.end(), entry.begin(), entry.end());
        continue;
      }
      if (!table_.IsLive(record)) continue;
      if (!table_.IsLive(twin)) {
        const bool in_tree =
            base::LoadBE32(once_.empty() ? base::ByteSpan(entry) : once_,
                           (once_.empty() ? size : once_.size()) - kRecordNumberBytes) != twin;
        if (in_tree) {
          outdone_.emplace_back(place_.entry().begin(), place_.entry().end());
        } else {
          once_.resize(once_.size() - size);
        }
        once_.insert(once_.end(), entry.begin(), entry.end());
        continue;
      }
      if (strict_ && tag_.constraint() && table_.IsLive(twin))
        Throw(Code::kDuplicateKey, ErrorNumber::kDuplicateKey,
              "index '" + tag_.definition().name + "' cannot be made: records " +
                  std::to_string(twin) + " and " + std::to_string(record) + " have the same key");
    }
    return once_;
  }
  static std::ptrdiff_t Signed(std::size_t size) noexcept {
    return static_cast<std::ptrdiff_t>(size);
  }

  storage::Store& store_;
  Table& table_;
  Tag& tag_;
  bool strict_;
  EntrySorter sorter_;
  IndexTree::Place place_;
  std::vector<std::byte> once_;
  std::vector<std::vector<std::byte>> outdone_;  // of deleted records, by live ones
};

void EnterTags(storage::Store& store, const std::vector<TagPlace>& places) {
  const std::unique_ptr<IndexPages> pages = MakeDirectoryPages(store, storage::kMainFile);
  IndexTree directory(*pages);
  storage::Bracket bracket = store.Begin();
  for (const TagPlace& place : places) {
    std::vector<std::byte> entry(kTagNameBytes + kRecordNumberBytes, std::byte{' '});
    std::copy_n(reinterpret_cast<const std::byte*>(place.definition.name.data()),
                std::min(place.definition.name.size(), kTagNameBytes), entry.begin());
    base::StoreBE32(entry, kTagNameBytes, static_cast<std::uint32_t>(place.header));
    directory.Insert(entry);
  }
  bracket.Commit();
}

void FillFile(storage::FileSystem& fs, Table& table, const std::string& path, IndexFile file,
              std::vector<TagPlace> places, bool strict) {
  const std::unique_ptr<storage::Store> store = storage::Store::Open(
      fs, path, {.cache_bytes = kFileCacheBytes, .cache_ceiling_bytes = kFileCacheBytes});
  if (file.kind == IndexKind::kCdx) EnterTags(*store, places);
  file.file = storage::kMainFile;
  for (TagPlace& place : places) {
    Tag tag(*store, file, std::move(place), table.layout(), table.page());
    if (!tag.usable()) Throw(Code::kNotSupported, ErrorNumber::kNotSupported, tag.why_not());
    Filler(*store, table, tag, strict).Fill();
    storage::Bracket bracket = store->Begin();
    tag.tree().pages().Stamp();
    bracket.Commit();
  }
  store->Flush();
}

}  // namespace

void BuildIndexFile(storage::FileSystem& fs, Table& table, const IndexFileName& file,
                    IndexKind kind, const std::vector<TagDefinition>& tags, bool strict) {
  // Where the name is a link the file it leads to is replaced, which others may use too.
  const bool there = fs.Exists(file.path);
  const std::string path = there ? fs.RealPath(file.path) : file.path;
  const std::string unnamed = path + "-new";
  std::vector<TagPlace> places;
  const std::string table_name(WithoutExtension(storage::NameOf(table.path())));
  const std::string image =
      NewIndexFile(kind, table_name, table.layout().code_page_mark, tags, places);
  try {
    {
      const std::unique_ptr<storage::File> made = folder::MakeOwnFile(fs, unnamed);
      if (there) made->TakeAccess(*fs.Open(path, os::OpenMode::kRead));
      made->Write(0, base::AsBytes(image));
    }
    FillFile(fs, table, unnamed, {kind, {}, file.path, file.constraint}, std::move(places), strict);
    fs.Rename(unnamed, path);
    fs.SyncFolder(storage::FolderOf(path));
  } catch (...) {
    try {
      if (fs.Exists(unnamed)) fs.Remove(unnamed);
    } catch (const Error&) {  // the reason of the failure is what matters
    }
    throw;
  }
}

std::size_t OpenTables::RebuildIndexes(const std::string& path, const IndexFileName* into,
                                       const TagDefinition* added) {
  // Nobody else may be at the table: its indexes change under the feet of whoever has it open.
  const std::shared_ptr<Table> table = Share(path, false, true, {});
  if (table.use_count() > 1)
    Throw(Code::kLocked, ErrorNumber::kSharingViolation,
          "table file '" + path + "' is open: its indexes cannot be rebuilt now");
  if (!table->why_read_only().empty())
    Throw(Code::kReadOnly, ErrorNumber::kReadOnly,
          "table file '" + path + "' cannot be written: " + table->why_read_only());
  if (added == nullptr) return table->RebuildIndexes();
  std::vector<TagDefinition> tags;
  IndexFileName file = *into;
  for (const IndexFile& there : table->indexes().files())
    if (there.path == into->path) file = {there.kind, there.path, there.constraint};
  for (const std::unique_ptr<Tag>& tag : table->indexes().tags())
    if (tag->path() == file.path) tags.push_back(tag->definition());
  tags.push_back(*added);
  BuildIndexFile(*fs_, *table, file, file.kind, tags, true);
  return tags.size();
}

}  // namespace kelvorin::database::xbase
