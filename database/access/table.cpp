#include "database/access/table.h"

#include <algorithm>
#include <array>
#include <random>

#include "database/access/long_values.h"
#include "database/access/relations.h"
#include "database/access/sort_keys.h"

namespace kelvorin::database::access {
namespace {

// Contents that can count in a key: 255 characters of two bytes, or as many in the compressed form
// with a change of mode before and after each.
constexpr std::size_t kKeyContents = 1024;
constexpr std::size_t kLongestKey = 1600;  // bytes; two of them fit a page in every version

std::uint64_t RandomBits() {
  static thread_local std::mt19937_64 engine{std::random_device{}()};
  return engine();
}

std::string RandomGuid() {
  std::string bytes;
  for (int half = 0; half < 2; ++half) base::AppendLE(RandomBits(), 8, bytes);
  bytes[7] = static_cast<char>((bytes[7] & 0x0F) | 0x40);  // random kind, in the file's byte order
  bytes[8] = static_cast<char>((bytes[8] & 0x3F) | 0x80);
  return bytes;
}

std::uint32_t LoadNumber(const std::string& bytes) {
  return base::LoadLE32(base::AsBytes(bytes), 0);
}

}  // namespace

Table::Table(DatabaseFile& file, std::uint32_t page, std::string name)
    : file_(file),
      name_(std::move(name)),
      definition_(ReadDefinition(file.channel(), file.text(), file.header().order, page)),
      rows_(file.channel(), file.allocator(), definition_),
      why_read_only_(FindObstacle()),
      changes_(definition_.indexes.size()) {}

bool Table::Searchable(const TableDefinition& table, const PhysicalIndex& index) noexcept {
  return index.usable &&
         std::all_of(index.columns.begin(), index.columns.end(),
                     [&](KeyColumn key) { return HasKeys(table.columns[key.column]); });
}

std::string Table::FindObstacle() const {
  if (file_.header().version == Version::kAceLater)
    return "the file's version is newer than those that are written";
  for (const Column& column : definition_.columns) {
    if (column.calculated()) return "field '" + column.name + "' is calculated";
    if (column.type == ColumnType::kComplex)
      return "field '" + column.name + "' holds several values or attachments";
    if (column.type == ColumnType::kRaw || column.type > ColumnType::kBigInt ||
        column.type == static_cast<ColumnType>(0) || column.type == static_cast<ColumnType>(13) ||
        column.type == static_cast<ColumnType>(14))
      return "field '" + column.name + "' is of type " +
             std::to_string(static_cast<int>(column.type)) + ", which is not written";
    if (IsLongValue(column.type) && (!column.owned_map || column.fixed()))
      return "field '" + column.name + "' has no pages for its long values";
    if ((column.flags & kColumnSystem) != 0 && definition_.kind == kUserTable)
      return "field '" + column.name + "' belongs to replication";
  }
  for (const LogicalIndex& name : definition_.names) {
    const PhysicalIndex& index = definition_.indexes[name.physical];
    if (!index.usable) return "index '" + name.name + "' has a field that does not exist";
    for (const KeyColumn& key : index.columns) {
      const Column& column = definition_.columns[key.column];
      if (HasKeys(column)) continue;
      if (column.type == ColumnType::kText || column.type == ColumnType::kMemo)
        return "index '" + name.name + "' sorts field '" + column.name + "' in the order " +
               std::to_string(column.lcid) + " (version " + std::to_string(column.sort_version) +
               "), which is not known";
      return "index '" + name.name + "' sorts field '" + column.name + "', whose type has no keys";
    }
  }
  return {};
}

std::string Table::KeyText(const PhysicalIndex& index) const {
  for (const LogicalIndex& name : definition_.names)
    if (&definition_.indexes[name.physical] == &index && !name.name.starts_with('.'))
      return "index '" + name.name + "' of table '" + name_ + "'";
  return "an index of table '" + name_ + "'";
}

void Table::Load(const RowImage& row, std::vector<ColumnValue>& out) const {
  out.resize(definition_.columns.size());
  for (std::size_t i = 0; i < out.size(); ++i) {
    const Column& column = definition_.columns[i];
    ColumnValue& value = out[i];
    value.assigned = false;
    value.placed = true;
    value.bytes.clear();
    if (column.is_bit()) {
      value.null = false;
      value.bytes.assign(1, row.Bit(column) ? '\1' : '\0');
      continue;
    }
    bool damaged = false;
    const auto stored = row.Get(column, damaged);
    if (damaged)
      Throw(Code::kCorrupt, ErrorNumber::kCorrupt,
            "'" + file_.path() + "': field '" + column.name + "' of table '" + name_ +
                "' lies outside its row");
    value.null = !stored;
    if (stored) value.bytes.assign(base::AsText(*stored));
  }
}

void Table::MakeKey(const PhysicalIndex& index, const std::vector<ColumnValue>& values, Key& out) {
  out.bytes.clear();
  out.any_null = false;
  out.all_null = true;
  for (const KeyColumn& key : index.columns) {
    const Column& column = definition_.columns[key.column];
    const ColumnValue& value = values[key.column];
    std::optional<base::ByteSpan> stored;
    if (value.null && !column.is_bit()) {
      out.any_null = true;
    } else {
      out.all_null = false;
      stored = base::AsBytes(value.bytes);
      if (IsLongValue(column.type) && value.placed) {
        contents_.clear();
        ReadLongValue(file_.channel(), *stored, contents_, kKeyContents);
        stored = base::AsBytes(contents_);
      } else if (!IsLongValue(column.type) && stored->size() < StorageBytes(column.type)) {
        Throw(Code::kCorrupt, ErrorNumber::kCorrupt,
              "'" + file_.path() + "': field '" + column.name + "' of table '" + name_ +
                  "' holds too few bytes");
      }
    }
    AppendKey(file_.version(), column, key.ascending, stored, file_.text(), out.bytes);
  }
}

Status Table::CheckKey(const PhysicalIndex& index, const Key& key, RowId self) {
  if (index.required() && key.any_null)
    return MakeStatus(Code::kRequired, ErrorNumber::kRequired, KeyText(index) + " takes no Null");
  if (key.bytes.size() > kLongestKey / (file_.layout().wide ? 1 : 2))
    return MakeStatus(Code::kTooLong, ErrorNumber::kFieldTooSmall,
                      "a key of " + std::to_string(key.bytes.size()) + " bytes is too long for " +
                          KeyText(index));
  RowId row;
  if (!index.unique() || key.all_null || !Tree(index).HasKey(key.bytes, row, entry_) || row == self)
    return Status();
  return MakeStatus(Code::kDuplicateKey, ErrorNumber::kDuplicateKey,
                    KeyText(index) + " holds these values already");
}

void Table::AssignCounters(std::vector<ColumnValue>& values) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    const Column& column = definition_.columns[i];
    if (!column.counter() || !values[i].null) continue;
    if (column.type == ColumnType::kGuid) {
      values[i].bytes = RandomGuid();
    } else if (column.type == ColumnType::kLong) {
      const std::uint32_t last =
          base::LoadLE32(file_.channel().Pin(definition_.page(), kDefinitionPage).bytes(),
                         file_.layout().rows_at + 4u);
      if (!random_counters_ && last == 0x7FFFFFFF)
        Throw(Code::kOutOfRange, ErrorNumber::kConversion,
              "the automatic numbers of field '" + column.name + "' of table '" + name_ +
                  "' are used up");
      const std::uint32_t number =
          random_counters_ ? static_cast<std::uint32_t>(RandomBits()) : last + 1;
      std::array<std::byte, 4> bytes{};
      base::StoreLE32(bytes, 0, number);
      values[i].bytes.assign(base::AsText(bytes));
    } else {
      continue;
    }
    values[i].null = false;
    values[i].assigned = true;
  }
}

void Table::RaiseCounter(const std::vector<ColumnValue>& values) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    const Column& column = definition_.columns[i];
    if ((column.flags & kColumnCounter) == 0 || column.type != ColumnType::kLong ||
        values[i].null || random_counters_)
      continue;
    const std::uint32_t number = LoadNumber(values[i].bytes);
    Page page = file_.channel().Pin(definition_.page(), kDefinitionPage);
    const std::size_t at = file_.layout().rows_at + std::size_t{4};
    const std::uint32_t last = base::LoadLE32(page.bytes(), at);
    if (static_cast<std::int32_t>(number) > static_cast<std::int32_t>(last))
      base::StoreLE32(page.Change(at, 4), at, number);
  }
}

/// Decides which long values stand in the row, stores the others, and puts the row together.
Status Table::PlaceRow(std::vector<ColumnValue>& values, const std::vector<bool>& place,
                       std::vector<std::byte>& row) {
  const Layout& layout = file_.layout();
  std::vector<std::string>& contents = long_contents_;
  contents.resize(values.size());
  std::size_t excess = 0;  // bytes that do not fit
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!place[i]) continue;
    contents[i].swap(values[i].bytes);
    values[i].placed = contents[i].size() <= layout.inline_bytes;
    if (values[i].placed) {
      InlineLongValue(contents[i], values[i].bytes);
    } else {
      values[i].bytes.assign(kLongValueHead, '\0');
    }
  }
  for (std::size_t i = 0; i < values.size(); ++i) {
    const std::size_t size = BuildRow(layout, definition_, values, row);
    if (size <= layout.max_row_bytes) {
      excess = 0;
      break;
    }
    excess = size - layout.max_row_bytes;
    // The longest value that stands in the row goes out.
    std::size_t longest = values.size();
    for (std::size_t k = 0; k < values.size(); ++k)
      if (place[k] && values[k].placed && !contents[k].empty() &&
          (longest == values.size() || contents[k].size() > contents[longest].size()))
        longest = k;
    if (longest == values.size()) break;
    values[longest].placed = false;
    values[longest].bytes.assign(kLongValueHead, '\0');
  }
  if (excess != 0)
    return MakeStatus(Code::kTooLong, ErrorNumber::kFieldTooSmall,
                      "a record of table '" + name_ + "' is " + std::to_string(excess) +
                          " bytes longer than the " + std::to_string(layout.max_row_bytes) +
                          " that the format allows");
  bool rebuilt = false;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!place[i] || values[i].placed) continue;
    values[i].bytes =
        StoreLongValue(file_.channel(), file_.allocator(), definition_.columns[i], contents[i]);
    values[i].placed = true;
    rebuilt = true;
  }
  if (rebuilt) BuildRow(layout, definition_, values, row);
  return Status();
}

void Table::Enter(std::size_t index, const Key& key, RowId row) {
  const PhysicalIndex& physical = definition_.indexes[index];
  if (physical.ignore_nulls() && key.all_null) return;
  IndexTree tree = Tree(physical);
  // The count of distinct keys is a hint for other programs' planning and only ever rises. It lies
  // on the first page unless a table has an extreme number of indexes.
  const std::size_t at = DistinctCountAt(file_.layout(), index);
  entry_ = key.bytes;
  AppendPosition(row, entry_);
  const bool fresh = tree.Insert(entry_);
  if (fresh && at + 4 <= file_.layout().page_bytes) {
    Page page = file_.channel().Pin(definition_.page(), kDefinitionPage);
    base::StoreLE32(page.Change(at, 4), at, base::LoadLE32(page.bytes(), at) + 1);
  }
}

void Table::EnterIndex(const PhysicalIndex& index, RowId row,
                       const std::vector<ColumnValue>& values) {
  Key key;
  MakeKey(index, values, key);
  if (Status status = CheckKey(index, key, row); !status.ok()) throw Error(std::move(status));
  Enter(static_cast<std::size_t>(&index - definition_.indexes.data()), key, row);
}

Status Table::Check(std::vector<ColumnValue>& values) {
  AssignCounters(values);
  for (std::size_t i = 0; i < definition_.indexes.size(); ++i) {
    MakeKey(definition_.indexes[i], values, changes_[i].after);
    KV_TRY(CheckKey(definition_.indexes[i], changes_[i].after, {}));
  }
  return RelationCheck(*this).ParentsExist(values, nullptr);
}

Status Table::Put(std::vector<ColumnValue>& values, RowId& out) {
  place_.assign(values.size(), false);
  for (std::size_t i = 0; i < values.size(); ++i)
    place_[i] = IsLongValue(definition_.columns[i].type) && !values[i].null && !values[i].placed;
  KV_TRY(PlaceRow(values, place_, row_));
  out = rows_.Insert(row_);
  for (std::size_t i = 0; i < definition_.indexes.size(); ++i) Enter(i, changes_[i].after, out);
  RaiseCounter(values);
  rows_.AddToCount(1);
  return Status();
}

Status Table::Insert(std::vector<ColumnValue>& values, RowId& out) {
  KV_TRY(Check(values));
  Bracket bracket(file_.channel());
  KV_TRY(Put(values, out));
  bracket.Commit();
  return Status();
}

Status Table::Update(RowId row, const std::vector<ColumnValue>& assigned) {
  if (!rows_.Read(row, image_))
    return MakeStatus(Code::kNoCurrentRecord, ErrorNumber::kRecordDeleted,
                      "the record of table '" + name_ + "' was deleted");
  Load(image_, current_);
  updated_ = current_;
  std::vector<ColumnValue>& values = updated_;
  std::vector<bool>& place = place_;
  place.assign(values.size(), false);
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!assigned[i].assigned) continue;
    values[i] = assigned[i];
    place[i] = IsLongValue(definition_.columns[i].type) && !values[i].null;
    values[i].placed = !place[i];
  }
  for (std::size_t i = 0; i < definition_.indexes.size(); ++i) {
    const PhysicalIndex& index = definition_.indexes[i];
    Change& change = changes_[i];
    change.changed = std::any_of(index.columns.begin(), index.columns.end(),
                                 [&](KeyColumn key) { return assigned[key.column].assigned; });
    if (!change.changed) continue;
    MakeKey(index, current_, change.before);
    MakeKey(index, values, change.after);
    change.changed = change.before.bytes != change.after.bytes;
    if (change.changed) KV_TRY(CheckKey(index, change.after, row));
  }
  RelationCheck relations(*this);
  KV_TRY(relations.ParentsExist(values, &assigned));
  KV_TRY(relations.NoChildren(current_, &values));

  Bracket bracket(file_.channel());
  KV_TRY(PlaceRow(values, place, row_));
  rows_.Replace(row, row_);
  for (std::size_t i = 0; i < definition_.indexes.size(); ++i) {
    Change& change = changes_[i];
    if (!change.changed) continue;
    const PhysicalIndex& index = definition_.indexes[i];
    if (!(index.ignore_nulls() && change.before.all_null)) {
      entry_ = change.before.bytes;
      AppendPosition(row, entry_);
      Tree(index).Remove(entry_);
    }
    Enter(i, change.after, row);
  }
  // The old long values go last, when nothing refers to them any more.
  for (std::size_t i = 0; i < values.size(); ++i)
    if (assigned[i].assigned && IsLongValue(definition_.columns[i].type) && !current_[i].null)
      FreeLongValue(file_.channel(), file_.allocator(), definition_.columns[i],
                    base::AsBytes(current_[i].bytes));
  RaiseCounter(values);
  bracket.Commit();
  return Status();
}

Status Table::Delete(RowId row) {
  if (!rows_.Read(row, image_))
    return MakeStatus(Code::kNoCurrentRecord, ErrorNumber::kRecordDeleted,
                      "the record of table '" + name_ + "' was deleted");
  Load(image_, current_);
  KV_TRY(RelationCheck(*this).NoChildren(current_, nullptr));
  Bracket bracket(file_.channel());
  Remove(row);
  bracket.Commit();
  return Status();
}

void Table::Remove(RowId row) {
  if (!rows_.Read(row, image_)) file_.channel().Corrupt(row.page(), "a row to be deleted is gone");
  Load(image_, current_);
  // All keys before anything is freed: a memo's key is made of its contents.
  for (std::size_t i = 0; i < definition_.indexes.size(); ++i)
    MakeKey(definition_.indexes[i], current_, changes_[i].before);
  for (std::size_t i = 0; i < definition_.indexes.size(); ++i) {
    const PhysicalIndex& index = definition_.indexes[i];
    const Key& key = changes_[i].before;
    if (index.ignore_nulls() && key.all_null) continue;
    entry_ = key.bytes;
    AppendPosition(row, entry_);
    Tree(index).Remove(entry_);
  }
  for (std::size_t i = 0; i < current_.size(); ++i)
    if (IsLongValue(definition_.columns[i].type) && !current_[i].null)
      FreeLongValue(file_.channel(), file_.allocator(), definition_.columns[i],
                    base::AsBytes(current_[i].bytes));
  rows_.Delete(row);
  rows_.AddToCount(-1);
}

}  // namespace kelvorin::database::access
