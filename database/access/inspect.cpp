#include "database/access/inspect.h"

#include <algorithm>
#include <set>

#include "base/case_map.h"
#include "database/access/catalog.h"
#include "database/access/data_page.h"
#include "database/access/long_values.h"
#include "database/access/table.h"

namespace kelvorin::database::access {
namespace {

constexpr std::size_t kMostProblems = 100;
constexpr std::size_t kMaxDepth = 16;
constexpr std::uint32_t kNobody = 0;

class Inspector {
 public:
  explicit Inspector(DatabaseFile& file)
      : file_(file), channel_(file.channel()), owners_(channel_.page_count()) {}

  void Whole();
  void CheckTable(const CatalogEntry& entry);
  std::vector<std::string>& problems() noexcept { return problems_; }

 private:
  void Say(std::string problem) {
    if (problems_.size() < kMostProblems) problems_.push_back(std::move(problem));
  }
  /// Runs a part; what it throws is a fault.
  template <typename F>
  void Part(const std::string& what, F&& part) {
    try {
      part();
    } catch (const Error& error) {
      Say(what + ": " + std::string(error.status().message()));
    }
  }
  void Claim(std::uint32_t page, const std::string& who);
  void ClaimSet(RowId row, const std::string& who, std::vector<std::uint32_t>* pages);

  void CheckDefinition(const TableDefinition& table, const std::string& who);
  void CheckDataPage(std::uint32_t number, std::uint32_t owner, const std::string& who);
  void CheckRows(Table& table, const std::string& who);
  void CheckLongValues(Table& table, RowId at, const std::vector<ColumnValue>& values,
                       const std::string& who);
  void CheckLeftBehind(std::uint32_t number, const std::string& who);
  void CheckIndex(Table& table, std::size_t index, const std::string& who);

  DatabaseFile& file_;
  PageChannel& channel_;
  std::vector<std::string> problems_;
  std::vector<std::string> names_{"nobody"};
  std::vector<std::uint32_t> owners_;    // by page, positions in names_
  std::set<RowId> long_rows_;            // of the table being checked
  std::vector<std::uint64_t> expected_;  // entries of each of its indexes
};

/// Walks one index tree.
class TreeWalk {
 public:
  TreeWalk(Table& table, const PhysicalIndex& index, std::string who,
           std::vector<std::string>& problems, const std::vector<std::uint32_t>& pages)
      : table_(table),
        index_(index),
        who_(std::move(who)),
        problems_(problems),
        pages_(pages),
        searchable_(Table::Searchable(table.definition(), index)) {}

  void Run() {
    std::string last;
    Walk(index_.root, 0, last);
    if (last_leaf_ != 0 && last_next_ != 0) Say(last_leaf_, "the last leaf has a follower");
  }
  std::uint64_t entries() const noexcept { return entries_; }

 private:
  void Say(std::uint32_t page, std::string_view what) {
    if (problems_.size() < kMostProblems)
      problems_.push_back(who_ + ", page " + std::to_string(page) + ": " + std::string(what));
  }
  void Walk(std::uint32_t number, std::size_t depth, std::string& last);
  void Leaf(const IndexPage& leaf, std::uint32_t number);
  void Entry(std::string_view entry, std::uint32_t number);

  Table& table_;
  const PhysicalIndex& index_;
  std::string who_;
  std::vector<std::string>& problems_;
  const std::vector<std::uint32_t>& pages_;
  bool searchable_;
  std::uint64_t entries_ = 0;
  std::uint64_t visited_ = 0;
  std::uint32_t last_leaf_ = 0;
  std::uint32_t last_next_ = 0;
  std::string last_entry_;
  RowImage image_;
  std::vector<ColumnValue> values_;
  Table::Key key_;
};

void TreeWalk::Walk(std::uint32_t number, std::size_t depth, std::string& last) {
  PageChannel& channel = table_.file().channel();
  if (depth == kMaxDepth || ++visited_ > channel.page_count())
    channel.Corrupt(number, "an index runs in a circle");
  if (!std::binary_search(pages_.begin(), pages_.end(), number))
    Say(number, "is not in the index's page set (8)");
  Entries entries;
  std::uint32_t tail = 0;
  {
    Page page = channel.Pin(number, kIndexLeaf, kIndexNode);
    const IndexPage node(channel, page);
    if (node.table() != table_.definition().page()) Say(number, "names another table (8)");
    if (node.free_field() != channel.layout().entry_area() - node.used())
      Say(number, "counts " + std::to_string(node.free_field()) + " free bytes, not " +
                      std::to_string(channel.layout().entry_area() - node.used()) + " (8)");
    if (node.leaf()) {
      Leaf(node, number);
      last = last_entry_;
      return;
    }
    node.ReadAll(entries);
    tail = node.tail();
  }
  std::string below;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const std::string_view entry = entries[i];
    const std::string_view key = entry.substr(0, entry.size() - kChildBytes);
    Walk(base::LoadBE32(base::AsBytes(entry), key.size()), depth + 1, below);
    if (below > key) Say(number, "a separator is less than an entry below it (8)");
  }
  if (tail != 0) Walk(tail, depth + 1, below);
  last = below;
}

void TreeWalk::Leaf(const IndexPage& leaf, std::uint32_t number) {
  if (leaf.previous() != last_leaf_ || (last_leaf_ != 0 && last_next_ != number))
    Say(number, "its neighbours are not those of the tree (8)");
  last_leaf_ = number;
  last_next_ = leaf.next();
  Entries entries;
  leaf.ReadAll(entries);
  for (std::size_t i = 0; i < entries.size(); ++i) Entry(entries[i], number);
}

void TreeWalk::Entry(std::string_view entry, std::uint32_t number) {
  ++entries_;
  const std::string_view key = entry.substr(0, entry.size() - kPositionBytes);
  if (entries_ > 1 && entry <= last_entry_) Say(number, "entries do not ascend (8)");
  const RowId row = RowOf(entry);
  const std::string place =
      "the row at page " + std::to_string(row.page()) + ", slot " + std::to_string(row.slot());
  if (!table_.rows().Read(row, image_)) {
    Say(number, "has an entry for " + place + ", which does not exist (9)");
  } else if (searchable_) {
    table_.Load(image_, values_);
    table_.MakeKey(index_, values_, key_);
    if (key_.bytes != key) Say(number, "the key of " + place + " is another (9)");
    if (index_.unique() && !key_.all_null && entries_ > 1 && last_entry_.size() == entry.size() &&
        last_entry_.compare(0, key.size(), key) == 0)
      Say(number, "the unique key of " + place + " stands there twice (10)");
  }
  last_entry_ = entry;
}

void Inspector::Claim(std::uint32_t page, const std::string& who) {
  if (page >= owners_.size()) {
    Say(who + ": page " + std::to_string(page) + " lies behind the end of the file (2)");
    return;
  }
  if (owners_[page] != kNobody)
    Say("page " + std::to_string(page) + " belongs to " + names_[owners_[page]] + " and to " + who +
        " (2)");
  if (names_.back() != who) names_.push_back(who);
  owners_[page] = static_cast<std::uint32_t>(names_.size() - 1);
}

void Inspector::ClaimSet(RowId row, const std::string& who, std::vector<std::uint32_t>* pages) {
  const UsageMap map(channel_, row);
  map.ForEachMapPage([&](std::uint32_t page) { Claim(page, "a page set of " + who); });
  for (std::uint32_t page = map.Next(0); page != kNoPage; page = map.Next(page + 1)) {
    Claim(page, who);
    if (pages != nullptr) pages->push_back(page);
    if (page >= owners_.size()) break;
  }
}

void Inspector::Whole() {
  if (channel_.store().Size(storage::kMainFile) % channel_.layout().page_bytes != 0)
    Say("the file ends within a page (1)");
  Claim(0, "the header");
  Claim(kGlobalMapPage, "the map of free pages");
  Part("the map of free pages", [&] {
    file_.allocator().free_map().ForEachMapPage(
        [&](std::uint32_t page) { Claim(page, "the map of free pages"); });
  });
  Catalog catalog(file_);
  for (const CatalogEntry& entry : catalog.Tables()) {
    if (!entry.linked()) CheckTable(entry);
    if (problems_.size() >= kMostProblems) return;
  }
  Part("the map of free pages", [&] {
    for (std::uint32_t page = 0; page < owners_.size(); ++page)
      if (owners_[page] != kNobody && file_.allocator().IsFree(page))
        Say("page " + std::to_string(page) + " of " + names_[owners_[page]] +
            " is free as well (2)");
  });
}

void Inspector::CheckTable(const CatalogEntry& entry) {
  const std::string who = "table '" + entry.name + "'";
  Part(who, [&] {
    const std::shared_ptr<Table> table = file_.OpenTable(entry.page(), entry.name);
    const TableDefinition& definition = table->definition();
    for (std::uint32_t page : definition.chain) Claim(page, "the definition of " + who);
    CheckDefinition(definition, who);
    std::vector<std::uint32_t> pages;
    ClaimSet(definition.owned_map, who, &pages);
    for (std::uint32_t page : pages)
      Part(who, [&] { CheckDataPage(page, definition.page(), who); });
    std::vector<std::vector<std::uint32_t>> own(definition.columns.size());
    const auto for_each_column = [&](auto&& check) {
      for (std::size_t i = 0; i < own.size(); ++i) {
        const Column& column = definition.columns[i];
        const std::string values = "the long values of field '" + column.name + "' of " + who;
        if (column.owned_map) Part(values, [&] { check(column, own[i], values); });
      }
    };
    for_each_column([&](const Column& column, std::vector<std::uint32_t>& of_column,
                        const std::string& values) {
      ClaimSet(column.owned_map, values, &of_column);
      for (std::uint32_t page : of_column) CheckDataPage(page, kLongValueOwner, values);
    });
    const std::size_t before = problems_.size();
    CheckRows(*table, who);
    // Where a value could not be read to its end, its rows are not known.
    if (problems_.size() == before)
      for_each_column([&](const Column&, const std::vector<std::uint32_t>& of_column,
                          const std::string& values) {
        for (std::uint32_t page : of_column) CheckLeftBehind(page, values);
      });
    for (std::size_t i = 0; i < definition.indexes.size(); ++i)
      Part(who, [&] { CheckIndex(*table, i, who); });
  });
}

void Inspector::CheckDefinition(const TableDefinition& table, const std::string& who) {
  std::vector<std::uint32_t> chain;
  const std::vector<std::byte> bytes = ReadChain(channel_, table.page(), chain);
  if (table.length < 2 || table.length > bytes.size() ||
      base::LoadLE16(bytes, table.length - 2) != 0xFFFF)
    Say(who + ": its definition does not end where it says (3)");
}

void Inspector::CheckDataPage(std::uint32_t number, std::uint32_t owner, const std::string& who) {
  Page page = channel_.Pin(number, kDataPage);
  const DataPage data(channel_, page);
  const bool right = owner == kLongValueOwner ? base::LoadBE32(page.bytes(), kOwnerAt) == owner
                                              : data.owner() == owner;
  if (!right) Say(who + ": page " + std::to_string(number) + " names another owner (4)");
  // Rows that were deleted without closing the gap may or may not be counted.
  std::uint32_t left_behind = 0;
  for (std::uint32_t i = 0; i < data.slot_count(); ++i)
    if (const Slot slot = data.At(i); slot.deleted()) left_behind += slot.size;
  const std::uint32_t field = base::LoadLE16(page.bytes(), 2);
  if (field > data.free_bytes() + left_behind || field < data.free_bytes())
    Say(who + ": page " + std::to_string(number) + " counts " + std::to_string(field) +
        " free bytes, not " + std::to_string(data.free_bytes()) + " (4)");
}

void Inspector::CheckLongValues(Table& table, RowId at, const std::vector<ColumnValue>& values,
                                const std::string& who) {
  const std::vector<Column>& columns = table.definition().columns;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (!IsLongValue(columns[i].type) || values[i].null || values[i].bytes.empty()) continue;
    const std::string value = "field '" + columns[i].name + "' of " + who + " in page " +
                              std::to_string(at.page()) + ", slot " + std::to_string(at.slot());
    Part(value, [&] {
      const base::ByteSpan stored = base::AsBytes(values[i].bytes);
      std::string contents;
      ReadLongValue(channel_, stored, contents);
      if (contents.size() != LongValueLength(stored)) Say(value + ": is cut short (7)");
      ForEachLongRow(channel_, stored, [&](RowId row) {
        if (!long_rows_.insert(row).second) Say(value + ": shares a row with another value (7)");
        if (columns[i].owned_map && !UsageMap(channel_, columns[i].owned_map).Contains(row.page()))
          Say(value + ": lies on page " + std::to_string(row.page()) +
              ", which is not one of its column (7)");
      });
    });
  }
}

/// Every row on a page of long values belongs to a value that was met.
void Inspector::CheckLeftBehind(std::uint32_t number, const std::string& who) {
  Page page = channel_.Pin(number, kDataPage);
  const DataPage data(channel_, page);
  for (std::uint32_t i = 0; i < data.slot_count(); ++i)
    if (!data.At(i).deleted() && !long_rows_.contains(RowId::Of(number, i)))
      Say(who + ": row " + std::to_string(i) + " of page " + std::to_string(number) +
          " belongs to no value (7)");
}

void Inspector::CheckRows(Table& table, const std::string& who) {
  const TableDefinition& definition = table.definition();
  long_rows_.clear();
  expected_.assign(definition.indexes.size(), 0);
  std::uint64_t count = 0;
  std::uint64_t moved = 0;
  std::uint32_t seen_page = 0;
  RowImage image;
  std::vector<ColumnValue> values;
  const std::uint32_t last_number = base::LoadLE32(channel_.Pin(definition.page()).bytes(),
                                                   channel_.layout().rows_at + std::size_t{4});
  for (RowId at = table.rows().Next({}); at; at = table.rows().Next(at)) {
    if (at.page() != seen_page) {
      seen_page = at.page();
      Page page = channel_.Pin(seen_page, kDataPage);
      const DataPage data(channel_, page);
      for (std::uint32_t i = 0; i < data.slot_count(); ++i)
        moved += data.At(i).flags == kSlotMoved ? 1 : 0;
    }
    ++count;
    Part(who, [&] {
      if (!table.rows().Read(at, image)) channel_.Corrupt(at.page(), "a row cannot be read (5)");
      table.Load(image, values);
      CheckLongValues(table, at, values, who);
      for (std::size_t i = 0; i < values.size(); ++i) {
        const Column& column = definition.columns[i];
        if ((column.flags & kColumnCounter) == 0 || column.type != ColumnType::kLong ||
            values[i].null || values[i].bytes.size() < 4)
          continue;
        const auto number =
            static_cast<std::int32_t>(base::LoadLE32(base::AsBytes(values[i].bytes), 0));
        if (last_number < 0x80000000u && number > static_cast<std::int32_t>(last_number))
          Say(who + ": the automatic number " + std::to_string(number) +
              " is above the last one given out, " + std::to_string(last_number) + " (10)");
      }
      for (std::size_t i = 0; i < definition.indexes.size(); ++i) {
        const PhysicalIndex& index = definition.indexes[i];
        const bool all_null = std::all_of(index.columns.begin(), index.columns.end(),
                                          [&](KeyColumn key) { return values[key.column].null; });
        if (!(index.ignore_nulls() && all_null)) ++expected_[i];
      }
    });
    if (problems_.size() >= kMostProblems) return;
  }
  // A page may hold nothing but targets of moved rows; those are met only here.
  const UsageMap owned(channel_, definition.owned_map);
  std::uint64_t all_hidden = 0;
  for (std::uint32_t number = owned.Next(0); number != kNoPage; number = owned.Next(number + 1)) {
    Page page = channel_.Pin(number, kDataPage);
    const DataPage data(channel_, page);
    for (std::uint32_t i = 0; i < data.slot_count(); ++i)
      all_hidden += data.At(i).flags == kSlotHidden ? 1 : 0;
  }
  if (moved != all_hidden)
    Say(who + ": " + std::to_string(moved) + " rows have moved, to " + std::to_string(all_hidden) +
        " places (5)");
  if (table.rows().Count() != count)
    Say(who + ": its definition counts " + std::to_string(table.rows().Count()) +
        " rows, there are " + std::to_string(count) + " (6)");
}

void Inspector::CheckIndex(Table& table, std::size_t number, const std::string& who) {
  const TableDefinition& definition = table.definition();
  const PhysicalIndex& index = definition.indexes[number];
  std::string name = "index " + std::to_string(number);
  for (const LogicalIndex& logical : definition.names)
    if (logical.physical == number && !logical.name.starts_with('.'))
      name = "index '" + logical.name + "'";
  name += " of " + who;
  std::vector<std::uint32_t> pages;
  ClaimSet(index.map, name, &pages);
  TreeWalk walk(table, index, name, problems_, pages);
  walk.Run();
  if (index.usable && walk.entries() != expected_[number])
    Say(name + ": has " + std::to_string(walk.entries()) + " entries for " +
        std::to_string(expected_[number]) + " rows (9)");
}

}  // namespace

std::vector<std::string> InspectFile(DatabaseFile& file, std::string_view table) {
  Inspector inspector(file);
  if (table.empty()) {
    inspector.Whole();
  } else {
    const auto entry = Catalog(file).Find(table);
    if (!entry || entry->linked())
      Throw(Code::kNotFound, ErrorNumber::kTableNotFound,
            "there is no table '" + std::string(table) + "' in '" + file.path() + "'");
    inspector.CheckTable(*entry);
  }
  return std::move(inspector.problems());
}

}  // namespace kelvorin::database::access
