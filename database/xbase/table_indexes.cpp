#include "database/xbase/table_indexes.h"

#include "base/case_map.h"
#include "database/errors.h"

#include <algorithm>

namespace kelvorin::database::xbase {
namespace {

/// FoxPro locks an index by this byte.
constexpr std::uint64_t kIndexLockAt = 0x7FFFFFFE;
/// Records at the end of the table that are looked for to find out whether an index is up to date.
constexpr std::uint32_t kRecordsLookedFor = 8;

}  // namespace

TableIndexes::TableIndexes(storage::Store& store, const std::vector<IndexFileName>& names,
                           const TableLayout& layout, const TextPage& page) {
  for (std::uint32_t number = 0; number < names.size(); ++number) {
    try {
      Attach(store, names[number], number, layout, page);
    } catch (const Error& error) {
      if (error.status().code() == Code::kLocked || error.status().code() == Code::kReadOnly) throw;
      if (why_not_.empty()) why_not_ = error.status().message();
    }
  }
  planned_.resize(tags_.size());
  for (std::size_t i = 0; i < tags_.size(); ++i) {
    planned_[i].before.resize(tags_[i]->entry_bytes());
    planned_[i].after.resize(tags_[i]->entry_bytes());
  }
}

void TableIndexes::Attach(storage::Store& store, const IndexFileName& name, std::uint32_t number,
                          const TableLayout& layout, const TextPage& page) {
  IndexFile file{name.kind, store.Attach(name.path, {.role = storage::IndexRole(number)}),
                 name.path, name.constraint};
  std::vector<TagPlace> places = ReadTags(store, file);
  LockFile(store, file);
  for (TagPlace& place : places) {
    auto tag = std::make_unique<Tag>(store, file, std::move(place), layout, page);
    if (why_not_.empty()) why_not_ = tag->why_not();
    tags_.push_back(std::move(tag));
  }
  files_.push_back(std::move(file));
}

void TableIndexes::LockFile(storage::Store& store, const IndexFile& file) {
  if (!store.read_only() && file.kind != IndexKind::kNdx) store.Lock(file.file, kIndexLockAt, 1);
}

void TableIndexes::Reopen(storage::Store& store, std::size_t number) {
  IndexFile& file = files_[number];
  store.Reopen(file.file);
  LockFile(store, file);
  for (const TagPlace& place : ReadTags(store, file))
    for (const std::unique_ptr<Tag>& tag : tags_)
      if (tag->path() == file.path && tag->definition().name == place.definition.name)
        tag->Reopen(store, file.file, place.header);
}

Tag* TableIndexes::Find(std::string_view name) const noexcept {
  for (const std::unique_ptr<Tag>& tag : tags_)
    if (base::EqualAnyCase(tag->definition().name, name)) return tag.get();
  return nullptr;
}

Status TableIndexes::Plan(base::ByteSpan before, base::ByteSpan after, std::uint32_t record,
                          LiveRecords& records) {
  for (std::size_t i = 0; i < tags_.size(); ++i) {
    Tag& tag = *tags_[i];
    Planned& planned = planned_[i];
    planned.record = record;
    planned.evicted.clear();
    planned.erase = !before.empty() && tag.MakeEntry(before, record, planned.before.data());
    planned.insert = tag.MakeEntry(after, record, planned.after.data());
    if (planned.erase && planned.insert && planned.before == planned.after)
      planned.erase = planned.insert = false;
    if (planned.insert && (tag.constraint() || tag.definition().unique))
      KV_TRY(PlanUnique(tag, planned, records));
  }
  return Status();
}

/// A key that is there already is refused, or left out where that is the meaning of UNIQUE. An
/// entry of a deleted record makes room.
Status TableIndexes::PlanUnique(Tag& tag, Planned& planned, LiveRecords& records) {
  const base::ByteSpan key = base::ByteSpan(planned.after).first(tag.key_bytes());
  for (bool found = tag.tree().Find(key, place_); found; found = tag.tree().Next(place_)) {
    if (!std::equal(key.begin(), key.end(), place_.entry().begin())) break;
    const std::uint32_t other = place_.record();
    if (other == planned.record) continue;
    if (!records.IsLiveRecord(other)) {
      planned.evicted.push_back(other);
      continue;
    }
    if (tag.constraint())
      return MakeStatus(Code::kDuplicateKey, ErrorNumber::kDuplicateKey,
                        "index '" + tag.definition().name + "' would hold the key of record " +
                            std::to_string(other) + " twice");
    planned.insert = false;
    break;
  }
  return Status();
}

void TableIndexes::Apply() {
  for (std::size_t i = 0; i < tags_.size(); ++i) {
    Tag& tag = *tags_[i];
    Planned& planned = planned_[i];
    if (planned.erase && !tag.Erase(planned.before) && !tag.definition().unique &&
        !tag.constraint())
      Throw(Code::kCorrupt, ErrorNumber::kCorrupt,
            "index file '" + tag.path() + "', tag '" + tag.definition().name +
                "', has no entry for record " + std::to_string(planned.record) +
                ": it is out of date and has to be rebuilt (reindex)");
    if (!planned.insert) continue;
    for (std::uint32_t record : planned.evicted) {
      base::StoreBE32(planned.before, tag.key_bytes(), record);
      std::copy_n(planned.after.begin(), tag.key_bytes(), planned.before.begin());
      (void)tag.tree().Erase(planned.before);
    }
    tag.tree().Insert(planned.after);
  }
}

void TableIndexes::Forget() noexcept {
  for (const std::unique_ptr<Tag>& tag : tags_)
    if (tag->usable()) tag->tree().Forget();
}

void TableIndexes::Stamp() {
  for (const std::unique_ptr<Tag>& tag : tags_) {
    if (!tag->usable() || !tag->tree().changed()) continue;
    tag->tree().pages().Stamp();
    tag->tree().Stamped();
  }
}

/// Whether the record's entry is missing, or another one in its leaf names a record behind the
/// table's last.
bool TableIndexes::IsWrongAbout(Tag& tag, base::ByteSpan row, std::uint32_t record,
                                std::uint32_t last) {
  std::vector<std::byte> entry(tag.entry_bytes());
  if (!tag.MakeEntry(row, record, entry.data())) return false;
  if (!tag.Holds(entry, tag.definition().unique || tag.constraint())) return true;
  (void)tag.tree().Find(entry, place_);
  return tag.tree().HighestRecord(place_) > last;
}

const Tag* TableIndexes::FindStale(storage::Store& store, const TableLayout& layout,
                                   std::uint32_t records) {
  std::vector<std::byte> row(layout.record_bytes);
  const std::uint32_t last = std::max(records, layout.record_count);
  for (const std::unique_ptr<Tag>& tag : tags_) {
    if (!tag->usable()) continue;
    // A table that became shorter: its index would hand the old entries to the next records.
    if (tag->tree().First(place_) && tag->tree().HighestRecord(place_) > last) return tag.get();
    if (tag->tree().Last(place_) && tag->tree().HighestRecord(place_) > last) return tag.get();
    const std::uint32_t first = records > kRecordsLookedFor ? records - kRecordsLookedFor : 0;
    for (std::uint32_t record = records; record > first; --record) {
      store.Read(storage::kMainFile,
                 layout.header_bytes + std::uint64_t{record - 1} * layout.record_bytes, row);
      if (IsWrongAbout(*tag, row, record, last)) return tag.get();
    }
  }
  return nullptr;
}

}  // namespace kelvorin::database::xbase
