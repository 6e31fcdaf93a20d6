#include "database/paradox/table.h"

#include "database/errors.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace kelvorin::database::paradox {
namespace {

constexpr std::size_t kMaxShifts = std::size_t{1} << 18;
constexpr std::size_t kSortBytes = std::size_t{4} << 20;  // of entries sorted at a time

bool IsPlainKeyText(base::ByteSpan text) noexcept {
  return std::all_of(text.begin(), text.end(), [](std::byte byte) {
    const auto c = std::to_integer<char>(byte);
    return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == ' ' || c == '\0';
  });
}

/// Each index file has a number of its own, told by its name; 0 is the primary index.
storage::Role RoleOf(const std::string& extension) {
  const bool group = extension[1] == 'G';
  const unsigned long number = std::stoul(extension.substr(group ? 2 : 1), nullptr, 16);
  const auto pair = static_cast<std::uint32_t>(number + (group ? 0x100 : 0));
  return storage::IndexRole(2 * pair + (extension[0] == 'X' ? 1 : 2));
}

base::ByteSpan FieldOf(const Column& column, base::ByteSpan row) noexcept {
  return row.subspan(column.offset, column.bytes);
}

}  // namespace

// --- Opening

Table::Table(std::shared_ptr<storage::Store> store, std::string_view password)
    : store_(std::move(store)),
      data_(std::make_unique<RecordFile>(
          *store_, storage::kMainFile, BlockFile(*store_, storage::kMainFile).header().key_fields)),
      page_(header().page),
      codec_(page_),
      companions_(store_->file_system(), store_->file_system().RealPath(path())) {
  if (!header().is_table())
    Throw(Code::kCorrupt, ErrorNumber::kExternalTable,
          "file '" + path() + "' is an index file, no table");
  CheckPassword(password);
  order_known_ = IsByteOrder(header().sort_order, header().sort_name, header().page);
  if (header().write_protected) Refuse("it is marked as write-protected");
  if (keyed()) OpenPrimary();
  OpenBlobs();
  if (keyed()) OpenSecondaries();
  ReadRules();
  for (const Column& column : columns())
    if (column.kind == FieldKind::kAutoIncrement) auto_column_ = &column;
  last_number_ = header().counter;
  if (store_->read_only()) return;
  if (!order_known_) CheckOrder();
  store_->AddGroupHook(*this);
}

Table::~Table() {
  if (!store_->read_only()) store_->RemoveGroupHook(*this);
}

void Table::CheckPassword(std::string_view password) const {
  if (header().key == 0) return;
  std::string scratch;
  std::size_t replaced = 0;
  std::string_view bytes;
  if (!page_.FromAnsi(password, scratch, bytes, replaced)) bytes = password;
  if (KeyOfPassword(bytes) == header().key) return;
  Throw(Code::kPassword, ErrorNumber::kWrongPassword,
        password.empty()
            ? "table file '" + path() + "' is encrypted and can be opened with its password only"
            : "the password given is not that of table file '" + path() + "'");
}

void Table::OpenPrimary() {
  const std::string& file = companions_.Find("PX");
  if (file.empty())
    return Refuse("its primary index '" + CompanionPath(path(), "PX") + "' is missing");
  try {
    data_->AttachTree(*store_, store_->Attach(file, {.role = storage::IndexRole(0)}));
  } catch (const Error& error) {
    Refuse("its primary index cannot be used: " + std::string(error.status().message()));
  }
}

void Table::OpenBlobs() {
  const auto blob = std::find_if(columns().begin(), columns().end(),
                                 [](const Column& column) { return IsBlob(column.kind); });
  if (blob == columns().end()) return;
  const std::string& file = companions_.Find("MB");
  if (file.empty()) {
    missing_blobs_ = "its blob file '" + CompanionPath(path(), "MB") + "' is missing";
    return Refuse(missing_blobs_);
  }
  try {
    blobs_.emplace(*store_, store_->Attach(file, {.role = storage::Role::kMemo}), header().key);
  } catch (const Error& error) {
    missing_blobs_ = error.status().message();
    Refuse("its blob file cannot be used: " + missing_blobs_);
  }
}

void Table::OpenSecondaries() {
  for (const Companion& companion : companions_.all()) {
    const std::string& extension = companion.extension;
    if (extension.front() == 'Y' && companions_.Find("X" + extension.substr(1)).empty())
      Refuse("its index file '" + CompanionPath(path(), "X" + extension.substr(1)) +
             "' is missing beside '" + companion.path + "'");
    if (!IsSecondary(extension)) continue;
    try {
      const storage::FileNo file = store_->Attach(companion.path, {.role = RoleOf(extension)});
      const FileType type = BlockFile(*store_, file).header().type;
      if (type == FileType::kLooseField || type == FileType::kLooseGroup) continue;
      if (!SecondaryIndex::IsMaintained(type))
        Throw(Code::kCorrupt, ErrorNumber::kCorrupt,
              "file '" + companion.path + "' is no secondary index");
      const std::string& tree = companions_.Find("Y" + extension.substr(1));
      if (tree.empty())
        Throw(Code::kNotFound, ErrorNumber::kFileNotFound,
              "index file '" + CompanionPath(path(), "Y" + extension.substr(1)) +
                  "' is missing beside '" + companion.path + "'");
      SecondaryIndex index(*store_, file, extension, header(), page_.Capitals());
      index.file().AttachTree(*store_,
                              store_->Attach(tree, {.role = RoleOf("Y" + extension.substr(1))}));
      indexes_.push_back(std::move(index));
    } catch (const Error& error) {
      Refuse("one of its indexes cannot be kept up to date: " +
             std::string(error.status().message()));
    }
  }
}

/// Reads which fields must be filled from the table's validity checks. Checks made for another
/// structure of the table say nothing.
void Table::ReadRules() {
  constexpr std::size_t kChecksAt = 0x35, kMaxBytes = std::size_t{1} << 20;
  constexpr std::size_t kValues = 6;
  const std::string& file = companions_.Find("VAL");
  if (file.empty() || !header().is_new()) return;
  std::vector<std::byte> bytes;
  try {
    const std::unique_ptr<storage::File> rules =
        store_->file_system().Open(file, os::OpenMode::kRead);
    bytes.resize(static_cast<std::size_t>(std::min<std::uint64_t>(rules->Size(), kMaxBytes)));
    bytes.resize(rules->Read(0, bytes));
  } catch (const Error& error) {
    return Refuse("its validity checks cannot be read: " + std::string(error.status().message()));
  }
  base::ByteReader in(bytes);
  const std::uint8_t structure = in.U8();
  in.Skip(1);
  const std::size_t checks = in.U8();
  if (!in.ok() || structure != header().structure) return;
  in.Skip(kChecksAt - 3);
  for (std::size_t i = 0; i < checks && in.ok(); ++i) {
    const std::size_t field = in.U8();
    const std::size_t picture_bytes = in.U8();
    const bool must = in.U8() != 0;
    in.Skip(1);
    std::array<bool, kValues> present{};
    for (bool& there : present) there = in.LE32() != 0;
    if (!in.ok() || field >= columns().size()) return;
    if (must) required_.push_back(field);
    if (present[0]) return;  // how long a lookup is, is not known
    for (std::size_t value = 2; value < 5; ++value)
      if (present[value]) in.Skip(columns()[field].bytes);
    if (present[5]) in.Skip(picture_bytes);
  }
}

/// A table whose text is sorted by an order that is not known can be written as long as its keys
/// happen to come in the order of their bytes.
void Table::CheckOrder() {
  const auto check = [&](RecordFile& file, std::size_t text_bytes, const std::string& what) {
    if (text_bytes == 0 || !why_read_only_.empty()) return;
    if (const auto where = file.WhereOutOfOrder())
      Refuse(what + " is sorted by order '" + header().sort_name + "' (number " +
             std::to_string(header().sort_order) +
             "), which is not known here and differs from the order of bytes at " + *where);
  };
  std::size_t text = 0;
  for (std::size_t i = 0; i < header().key_fields; ++i)
    if (columns()[i].kind == FieldKind::kAlpha) text += columns()[i].bytes;
  check(*data_, text, "its primary key");
  for (SecondaryIndex& index : indexes_)
    check(index.file(), index.has_text() ? 1 : 0, "its index '" + index.def().Name + "'");
}

// --- Blobs

std::string Table::CheckBlob(const Column& column, base::ByteSpan row, BlobReference& reference,
                             std::string& scratch) {
  const base::ByteSpan bytes = FieldOf(column, row);
  const std::size_t leader = column.leader();
  reference = LoadReference(bytes.subspan(leader));
  scratch.clear();
  if (reference.bytes == 0) return {};
  if (reference.in_leader()) {
    if (reference.bytes > leader)
      return "claims a value of " + std::to_string(reference.bytes) + " bytes in a leader of " +
             std::to_string(leader);
    scratch.assign(base::AsText(bytes.first(reference.bytes)));
    return {};
  }
  if (!blobs_) return missing_blobs_;
  std::string wrong = blobs_->Read(reference, scratch);
  return wrong.empty() ? wrong : "cannot be read: " + wrong;
}

bool Table::ReadBlob(const Column& column, base::ByteSpan row, std::string& out) {
  BlobReference reference;
  const std::string wrong = CheckBlob(column, row, reference, out);
  if (!wrong.empty())
    Throw(Code::kCorrupt, ErrorNumber::kCorrupt,
          "field '" + column.name + "' of table file '" + path() + "' " + wrong);
  return reference.bytes != 0;
}

void Table::StoreBlobs(base::MutableByteSpan row, std::span<const BlobChange> blobs) {
  for (const BlobChange& change : blobs) {
    const Column& column = *change.column;
    const base::MutableByteSpan bytes = row.subspan(column.offset, column.bytes);
    std::fill(bytes.begin(), bytes.end(), std::byte{0});
    if (change.null) continue;
    std::string_view value = change.value;
    const bool graphic = column.kind == FieldKind::kGraphic;
    BlobReference reference{0, static_cast<std::uint32_t>(value.size()), 0};
    if (graphic || value.size() > column.leader()) reference = blobs_->Write(value);
    StoreReference(reference, bytes.subspan(column.leader()));
    // The leader of a picture begins behind the picture's head.
    if (graphic) value.remove_prefix(std::min<std::size_t>(value.size(), 8));
    const base::ByteSpan front = base::AsBytes(value.substr(0, column.leader()));
    std::copy(front.begin(), front.end(), bytes.begin());
  }
}

/// Lets go of what the fields of an old version of a record named.
void Table::FreeBlobs(base::ByteSpan row, std::span<const BlobChange> blobs, bool all) {
  if (!blobs_) return;
  const auto free = [&](const Column& column) {
    blobs_->Free(LoadReference(FieldOf(column, row).subspan(column.leader())));
  };
  if (!all) {
    for (const BlobChange& change : blobs) free(*change.column);
    return;
  }
  for (const Column& column : columns())
    if (IsBlob(column.kind)) free(column);
}

// --- Brackets

template <typename F>
void Table::InBracket(F&& change) {
  storage::Bracket bracket = store_->Begin();
  saved_.clear();
  saved_.push_back(data_->Save());
  for (SecondaryIndex& index : indexes_) saved_.push_back(index.file().Save());
  const std::uint32_t number = last_number_;
  try {
    change();
  } catch (...) {
    data_->Restore(saved_[0]);
    for (std::size_t i = 0; i < indexes_.size(); ++i) indexes_[i].file().Restore(saved_[i + 1]);
    if (blobs_) blobs_->Forget();
    last_number_ = number;
    ++changes_;
    ++moves_;
    throw;
  }
  bracket.Commit();
}

/// Before the first change: indexes that do not belong to this state of the table are made anew.
void Table::MakeReady() {
  if (ready_) return;
  const bool left_open = header().not_closed;
  if (left_open && !keyed()) InBracket([&] { data_->CountRecords(); });
  if (data_->tree() != nullptr && !data_->tree_is_current())
    InBracket([&] { data_->RebuildTree(); });
  for (SecondaryIndex& index : indexes_) {
    const bool current = !left_open && index.file().tree_is_current() &&
                         index.file().counts().records == data_->counts().records;
    if (!current) InBracket([&] { FillIndex(index); });
  }
  ready_ = true;
}

void Table::FillIndex(SecondaryIndex& index) {
  RecordFile& file = index.file();
  file.blocks().Clear();
  file.RebuildTree();
  const std::size_t bytes = file.blocks().record_bytes();
  std::vector<std::byte> entries;
  std::vector<std::size_t> order;
  const auto insert = [&] {
    order.resize(entries.size() / bytes);
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = i * bytes;
    std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
      return file.order().Compare(&entries[a], &entries[b], index.key_bytes()) < 0;
    });
    for (const std::size_t at : order) {
      Place ignored;
      if (!file.Insert(base::ByteSpan(entries).subspan(at, bytes), ignored))
        Throw(Code::kCorrupt, ErrorNumber::kCorrupt,
              "two records of table file '" + path() + "' have the same key");
    }
    entries.clear();
  };
  ++moves_;
  for (Place at = data_->blocks().First(); at; at = data_->blocks().Next(at)) {
    index.MakeEntry(data_->View(at), at.block, entry_);
    entries.insert(entries.end(), entry_.begin(), entry_.end());
    if (entries.size() >= kSortBytes) insert();
  }
  insert();
  if (!index.unique()) return;
  std::vector<std::byte> before;
  for (Place at = file.blocks().First(); at; at = file.blocks().Next(at)) {
    const base::ByteSpan key = file.View(at).first(index.indexed_bytes());
    if (std::equal(key.begin(), key.end(), before.begin(), before.end()))
      throw Error(Duplicate(index.def().Name));
    before.assign(key.begin(), key.end());
  }
}

void Table::RequireCurrent(SecondaryIndex& index) {
  if (!store_->read_only()) return MakeReady();
  const std::uint32_t entries = index.file().counts().records;
  if (entries != RecordCount())
    Throw(Code::kCorrupt, ErrorNumber::kCorrupt,
          "index '" + index.def().Name + "' of table file '" + path() +
              "' is out of date: it has " + std::to_string(entries) + " entries for " +
              std::to_string(RecordCount()) + " records");
}

void Table::Reindex() {
  InBracket([&] {
    if (!keyed()) data_->CountRecords();
    if (data_->tree() != nullptr) data_->RebuildTree();
    for (SecondaryIndex& index : indexes_) FillIndex(index);
  });
  ready_ = true;
  ++moves_;
}

// --- Changes

Status Table::Duplicate(const std::string& index) const {
  return MakeStatus(Code::kDuplicateKey, ErrorNumber::kDuplicateKey,
                    "index '" + index + "' of table '" +
                        std::string(WithoutExtension(storage::NameOf(path()))) +
                        "' would hold the same key twice");
}

/// In an order that is not known only texts are entered that stand the same in every order.
Status Table::CheckKeys(base::ByteSpan row, base::ByteSpan old) const {
  if (order_known_) return Status();
  const auto check = [&](std::size_t field) {
    const Column& column = columns()[field];
    const base::ByteSpan text = FieldOf(column, row);
    if (column.kind != FieldKind::kAlpha || IsPlainKeyText(text)) return Status();
    if (!old.empty() && std::equal(text.begin(), text.end(), FieldOf(column, old).begin()))
      return Status();
    return MakeStatus(Code::kNotSupported, ErrorNumber::kNotSupported,
                      "field '" + column.name + "' belongs to a key that is sorted by order '" +
                          header().sort_name + "' (number " + std::to_string(header().sort_order) +
                          "), in which only capitals, digits and blanks can be entered here");
  };
  for (std::size_t i = 0; i < header().key_fields; ++i) KV_TRY(check(i));
  for (const SecondaryIndex& index : indexes_)
    for (const std::size_t field : index.fields()) KV_TRY(check(field));
  return Status();
}

/// `old` is empty for a new record.
Status Table::CheckUnique(base::ByteSpan row, base::ByteSpan old) {
  for (SecondaryIndex& index : indexes_) {
    if (!index.unique()) continue;
    index.MakeKey(row, index.fields().size(), entry_);
    if (!old.empty()) {
      index.MakeKey(old, index.fields().size(), other_entry_);
      if (entry_ == other_entry_) continue;
    }
    if (index.file().Find(entry_.data(), entry_.size())) return Duplicate(index.def().Name);
  }
  return Status();
}

Status Table::Append(base::MutableByteSpan row, std::span<const BlobChange> blobs, bool numbered,
                     Place& at) {
  MakeReady();
  std::uint32_t number = last_number_;
  if (numbered && auto_column_ != nullptr) {
    if (number >= static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max()))
      return MakeStatus(Code::kNoSpace, ErrorNumber::kDiskFull,
                        "field '" + auto_column_->name + "' has given out its last number " +
                            std::to_string(number));
    StoreFlipped32(row, auto_column_->offset, static_cast<std::int32_t>(++number));
  }
  KV_TRY(CheckKeys(row, {}));
  KV_TRY(CheckUnique(row, {}));
  // Blobs are written only when the key is known to be new.
  const std::size_t key = data_->order().bytes();
  if (!blobs.empty() && key > 0 && data_->Find(row.data(), key)) return Duplicate("PrimaryKey");
  bool stored = true;
  InBracket([&] {
    if (!blobs.empty()) StoreBlobs(row, blobs);
    if (!keyed()) {
      at = data_->Append(row);
      return;
    }
    stored = data_->Insert(row, at);
    if (!stored) return;
    FixHints(at);
    for (SecondaryIndex& index : indexes_) InsertEntry(index, row, at.block);
  });
  if (!stored) return Duplicate("PrimaryKey");
  last_number_ = number;
  ++moves_;
  return Status();
}

Status Table::Rewrite(Place& at, base::MutableByteSpan row, std::span<const BlobChange> blobs) {
  MakeReady();
  const base::ByteSpan stored = data_->View(at);
  old_row_.assign(stored.begin(), stored.end());
  const std::size_t key = data_->order().bytes();
  const bool moves =
      key > 0 && !std::equal(row.begin(), row.begin() + static_cast<long>(key), old_row_.begin());
  KV_TRY(CheckKeys(row, old_row_));
  if (moves && data_->Find(row.data(), key)) return Duplicate("PrimaryKey");
  KV_TRY(CheckUnique(row, old_row_));
  Place to = at;
  bool entries_move = moves;
  InBracket([&] {
    StoreBlobs(row, blobs);
    if (moves) {
      for (SecondaryIndex& index : indexes_) EraseEntry(index, old_row_);
      data_->Erase(at);
      FixHints({});
      (void)data_->Insert(row, to);
      FixHints(to);
      for (SecondaryIndex& index : indexes_) InsertEntry(index, row, to.block);
    } else {
      data_->blocks().Overwrite(at, 0, row);
      for (SecondaryIndex& index : indexes_) {
        index.MakeEntry(old_row_, at.block, other_entry_);
        index.MakeEntry(row, at.block, entry_);
        if (entry_ == other_entry_) continue;
        entries_move = true;
        EraseEntry(index, old_row_);
        InsertEntry(index, row, at.block);
      }
    }
    FreeBlobs(old_row_, blobs, false);
  });
  at = to;
  ++changes_;
  if (entries_move) ++moves_;
  return Status();
}

void Table::Delete(Place at) {
  MakeReady();
  const base::ByteSpan stored = data_->View(at);
  old_row_.assign(stored.begin(), stored.end());
  Shift shift{.erased = at};
  const Counts before = data_->counts();
  InBracket([&] {
    for (SecondaryIndex& index : indexes_) EraseEntry(index, old_row_);
    shift.behind = data_->blocks().Head(at.block).next;
    data_->Erase(at);
    FixHints({});
    FreeBlobs(old_row_, {}, true);
  });
  ++changes_;
  ++moves_;
  if (keyed()) return;
  shift.moved_to = data_->moved();
  shift.moved_from = data_->moved_from();
  shift.freed = data_->counts().used < before.used && shift.moved_to == 0;
  shifts_.push_back(shift);
  const bool empty = data_->counts().records == 0;
  if (!empty && shifts_.size() <= kMaxShifts) return;
  const std::size_t forgotten = empty ? shifts_.size() : shifts_.size() / 2;
  shifts_.erase(shifts_.begin(), shifts_.begin() + static_cast<std::ptrdiff_t>(forgotten));
  first_shift_ += forgotten;
}

bool Table::Follow(Trace& trace) {
  bool there = true;
  if (trace.seen < first_shift_) {  // nothing that old is known any more
    trace = {};
    return false;
  }
  Place& place = trace.place;
  for (std::size_t i = static_cast<std::size_t>(trace.seen - first_shift_);
       i < shifts_.size() && place; ++i) {
    const Shift& shift = shifts_[i];
    if (place == shift.erased) there = false;
    if (place.block == shift.erased.block && place.slot > shift.erased.slot) --place.slot;
    if (shift.freed && place.block == shift.erased.block) place = {shift.behind, 0};
    if (shift.moved_to != 0 && place.block == shift.moved_from) place.block = shift.moved_to;
  }
  trace.seen = first_shift_ + shifts_.size();
  // The one that followed the last of a block stands in the next one.
  if (!there && place && place.slot >= data_->blocks().Head(place.block).records)
    place = data_->blocks().Next(place);
  return there;
}

// --- Indexes

void Table::InsertEntry(SecondaryIndex& index, base::ByteSpan row, BlockNo block) {
  index.MakeEntry(row, block, entry_);
  Place ignored;
  if (!index.file().Insert(entry_, ignored))
    index.file().blocks().Damaged(ignored.block,
                                  "it holds an entry for a record that is not there");
}

void Table::EraseEntry(SecondaryIndex& index, base::ByteSpan row) {
  index.MakeEntry(row, 0, entry_);
  const Place at = index.file().Find(entry_.data(), index.key_bytes());
  if (!at)
    Throw(Code::kCorrupt, ErrorNumber::kCorrupt,
          "index file '" + index.file().blocks().path() + "' has no entry for a record of table '" +
              path() + "'");
  index.file().Erase(at);
}

/// Records that went to another block are found faster when the indexes say so. `except` is one
/// whose entries are yet to be made.
void Table::FixHints(Place except) {
  const BlockNo block = data_->moved();
  if (block == 0 || indexes_.empty()) return;
  const base::ByteSpan view = data_->blocks().View(block);
  const std::uint32_t records = data_->blocks().HeadOf(block, view).records;
  moved_.assign(view.begin(), view.end());
  for (std::uint32_t slot = 0; slot < records; ++slot) {
    if (except == Place{block, static_cast<std::uint16_t>(slot)}) continue;
    const base::ByteSpan row = data_->blocks().RecordOf(moved_, slot);
    for (SecondaryIndex& index : indexes_) {
      index.MakeEntry(row, block, entry_);
      if (const Place at = index.file().Find(entry_.data(), index.key_bytes()))
        index.SetHint(at, block);
    }
  }
}

void Table::BeforeGroup(storage::Store&) {
  data_->FinishGroup();
  if (auto_column_ != nullptr && last_number_ != header().counter)
    data_->blocks().WriteCounter(last_number_);
  for (SecondaryIndex& index : indexes_) index.file().FinishGroup();
}

// --- The tables of the process

std::shared_ptr<Table> OpenTables::Open(const std::string& path, bool write, bool exclusive,
                                        std::string_view password) {
  std::string why;
  if (write) {
    try {
      std::shared_ptr<Table> table = Share(path, false, exclusive, password);
      if (table->why_read_only().empty()) return table;
      why = table->why_read_only();
    } catch (const Error& error) {  // the table or a companion may not be written
      if (error.status().code() != Code::kReadOnly) throw;
      why = error.status().message();
    }
  }
  std::shared_ptr<Table> table = Share(path, true, exclusive, password);
  if (table->why_read_only().empty()) table->set_why_read_only(why);
  return table;
}

std::shared_ptr<Table> OpenTables::Share(const std::string& path, bool read_only, bool exclusive,
                                         std::string_view password) {
  storage::StoreOptions options;
  options.read_only = read_only;
  options.exclusive = exclusive;
  // Looking records up anywhere in a large table costs a tenth more where the cache does not grow.
  if (read_only) options.cache_ceiling_bytes = options.cache_bytes;
  std::shared_ptr<storage::Store> store = files_->Open(*fs_, path, options);
  if (std::shared_ptr<Table> table = tables_.Find(*store)) {
    table->CheckPassword(password);
    return table;
  }
  return tables_.Make(store, [&] { return std::make_shared<Table>(store, password); });
}

}  // namespace kelvorin::database::paradox
