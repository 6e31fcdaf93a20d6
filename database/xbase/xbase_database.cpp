#include "database/xbase/xbase_database.h"

#include "base/M_FILE.h"
#include "base/M_Misc.h"
#include "base/M_STRING.h"
#include "database/engine.h"
#include "database/errors.h"
#include "database/xbase/inspect.h"
#include "database/xbase/new_index.h"
#include "database/xbase/new_table.h"
#include "database/xbase/table_files.h"
#include "database/xbase/xbase_recordset.h"
#include "storage/recover.h"

#include <algorithm>
#include <utility>

namespace kelvorin::database::xbase {
namespace {

constexpr std::string_view kCompanions[] = {"dbt", "fpt", "mdx", "cdx", "inf"};

void StampDate(std::string& header) {
  const auto now = base::Now();
  const int date[] = {now.year - 1900, now.month, now.day};
  for (std::size_t i = 0; i < std::size(date); ++i)
    header[kDateAt + i] = static_cast<char>(date[i]);
}

std::uint64_t SizeOf(storage::FileSystem& fs, const std::string& path) {
  return fs.Open(path, os::OpenMode::kRead)->Size();
}

/// Positions of an index's fields in the table.
std::vector<std::size_t> ColumnsOf(const IndexDef& index, const std::vector<FieldDef>& fields) {
  TableDef names;
  names.Fields = fields;
  std::vector<std::size_t> columns;
  for (const IndexField& column : index.Columns) {
    const int at = names.FindField(column.Name);
    if (at < 0)
      Throw(Code::kNotFound, ErrorNumber::kNotInCollection,
            "index '" + index.Name + "': there is no field '" + column.Name + "'");
    columns.push_back(static_cast<std::size_t>(at));
  }
  return columns;
}

/// Throws for an index that the planned table could not have.
void CheckIndexes(const TableDef& table, const NewTable& plan, Product product) {
  if (table.Indexes.empty()) return;
  const TableLayout layout = ReadLayout(base::AsBytes(plan.header), table.Name);
  for (const IndexDef& index : table.Indexes)
    (void)PlanTag(index, ColumnsOf(index, table.Fields), NewIndexKind(layout, product), layout);
}

}  // namespace

XbaseDatabase::XbaseDatabase(DBEngine& owner, OpenRequest asked, std::string folder,
                             Product product, std::shared_ptr<OpenTables> tables)
    : FolderDatabase(owner, std::move(asked), std::move(folder), kTableExtension, tables->fs()),
      product_(product),
      tables_(std::move(tables)) {}

TableDef XbaseDatabase::Describe(const Table& table) const {
  TableDef def;
  def.Name = NameOfTable(table.path());
  std::string scratch;
  for (const Column& column : table.layout().columns) {
    FieldDef face = FaceOf(column);
    std::string_view name;
    face.Name = table.page().ToAnsi(column.name, scratch, name) ? name : column.name;
    def.Fields.push_back(std::move(face));
  }
  for (const std::unique_ptr<Tag>& tag : table.indexes().tags()) {
    const TagDefinition& definition = tag->definition();
    IndexDef index;
    std::string_view text;
    index.Name = table.page().ToAnsi(definition.name, scratch, text) ? text : definition.name;
    index.Expression =
        table.page().ToAnsi(definition.expression, scratch, text) ? text : definition.expression;
    if (tag->usable())
      for (const KeyPart& part : tag->parts())
        index.Columns.push_back({def.Fields[part.column].Name, definition.descending});
    index.Unique = definition.unique || tag->constraint();
    // An index file that had to be called by its table too is found without that.
    const std::string front = base::UpperAscii(def.Name) + "_";
    if (tag->kind() == IndexKind::kNdx && base::StartsWithIgnoreCase(index.Name, front))
      index.Aliases = {index.Name.substr(front.size())};
    if (!index.Name.empty())  // no name is how a record set is told to have no order
      def.Indexes.push_back(std::move(index));
  }
  def.WhyReadOnly = table.why_read_only();
  def.Updatable = def.WhyReadOnly.empty();
  return def;
}

/// What a person should hear of a table before it is used: indexes that do not follow, indexes that
/// had to be rebuilt, the code page that was assumed.
void XbaseDatabase::Announce(Table& table) {
  for (const std::string& note : table.notes()) engine().AddNotice(note);
  table.notes().clear();
  const bool texts = std::any_of(
      table.layout().columns.begin(), table.layout().columns.end(),
      [](const Column& column) { return column.letter == 'C' || column.letter == 'M'; });
  if (texts && CodePageOfMark(table.layout().code_page_mark) == 0)
    engine().AddNotice("table file '" + table.path() + "' names no code page that is known (mark " +
                       std::to_string(table.layout().code_page_mark) +
                       "): its texts are taken to be in page " +
                       std::to_string(table.page().number()));
}

TableDef XbaseDatabase::DoFindTableDef(std::string_view name) {
  const std::shared_ptr<Table> table =
      tables_->Open(PathOf(name, ErrorNumber::kNotInCollection), false, false);
  Announce(*table);
  return Describe(*table);
}

std::unique_ptr<Recordset> XbaseDatabase::DoOpenRecordset(std::string_view name,
                                                          RecordsetType type) {
  const bool write = Updatable() && type != RecordsetType::kSnapshot;
  std::shared_ptr<Table> table =
      tables_->Open(PathOf(name, ErrorNumber::kTableNotFound), write, request().Exclusive);
  Announce(*table);
  TableDef def = Describe(*table);
  return std::make_unique<XbaseRecordset>(*this, type, std::move(def), std::move(table));
}

// --- Making and deleting

void XbaseDatabase::DoCreateTable(const TableDef& table) {
  CheckNewName(table.Name);
  for (const FieldDef& field : table.Fields)
    if (field.AutoIncrement)
      Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
            "table '" + table.Name + "' cannot be made: its field '" + field.Name +
                "' would have to be numbered automatically, which this driver makes no fields for");
  NewTable plan = PlanTable(table, product_);
  CheckIndexes(table, plan, product_);

  const std::string path = PathOfNew(table.Name);
  for (const IndexFileName& index : FindIndexFiles(fs(), path))
    Throw(Code::kAlreadyExists, ErrorNumber::kTableExists,
          "table '" + table.Name + "' cannot be made: index file '" + index.path +
              "' of another one would become its own");
  std::string memo_path;
  if (plan.memo != MemoKind::kNone) {
    const std::string_view extension = plan.memo == MemoKind::kFpt ? "fpt" : "dbt";
    memo_path = FindCompanion(fs(), path, extension);
    if (memo_path.empty()) memo_path = CompanionPath(path, extension);
    if (fs().Exists(memo_path) && SizeOf(fs(), memo_path) > kMemoHeaderBytes)
      Throw(Code::kAlreadyExists, ErrorNumber::kTableExists,
            "table '" + table.Name + "' cannot be made: its memo file would be '" + memo_path +
                "', which holds texts already");
  }
  StampDate(plan.header);
  plan.header += '\x1A';
  // The table file gets its name last and in one step. What a crash may leave before that is a memo
  // file without texts, which the next attempt takes over.
  const std::string unnamed = path + "-new";
  try {
    if (!memo_path.empty())
      folder::WriteWholeFile(fs(), memo_path, MemoFile::NewFile(plan.memo, NameOfTable(path)));
    folder::WriteWholeFile(fs(), unnamed, plan.header);
    GiveName(unnamed, path);
    for (const IndexDef& index : table.Indexes) MakeIndex(path, index, table.Fields);
  } catch (...) {
    folder::RemoveQuietly(
        fs(), fs().Exists(path) ? FilesOf(path) : std::vector<std::string>{unnamed, memo_path});
    throw;
  }
}

// --- Making indexes

void XbaseDatabase::DoCreateIndex(std::string_view name, const IndexDef& index) {
  const std::string path = PathOf(name, ErrorNumber::kNotInCollection);
  const TableDef def = Describe(*tables_->Open(path, false, false));
  if (def.FindIndex(index.Name) != nullptr)
    Throw(Code::kAlreadyExists, ErrorNumber::kInvalidArgument,
          "table '" + def.Name + "' has an index '" + index.Name + "' already");
  MakeIndex(path, index, def.Fields);
}

/// `fields` are those of the table in its order, by the names that the index uses.
void XbaseDatabase::MakeIndex(const std::string& path, const IndexDef& index,
                              const std::vector<FieldDef>& fields) {
  TableLayout layout;
  NewTag tag;
  IndexFileName file;
  {
    const std::shared_ptr<Table> table = tables_->Open(path, false, false);
    layout = table->layout();
    file.kind = NewIndexKind(layout, product_);
    tag = PlanTag(index, ColumnsOf(index, fields), file.kind, layout);
    for (int number = 2; table->indexes().Find(tag.definition.name) != nullptr; ++number) {
      const std::string digits = std::to_string(number);
      std::string& taken = tag.definition.name;
      taken.resize(std::min(taken.size(), kTagNameBytes - digits.size()));
      taken += digits;
    }
  }
  const bool alone = file.kind == IndexKind::kNdx;
  const std::string_view extension = alone ? "ndx" : file.kind == IndexKind::kMdx ? "mdx" : "cdx";
  file.constraint = tag.constraint;
  file.path = FindCompanion(fs(), path, extension);
  if (alone) {
    const std::string bare(NameOfTable(path));
    for (const std::string& stem : {index.Name, bare + "_" + index.Name}) {
      file.path = storage::Beside(
          path, storage::NameOf(
                    CompanionPath(stem + "." + std::string(base::ExtensionPart(path)), extension)));
      if (FindFile(fs(), folder(), storage::NameOf(file.path)).empty()) break;
    }
    if (!FindFile(fs(), folder(), storage::NameOf(file.path)).empty())
      Throw(Code::kAlreadyExists, ErrorNumber::kTableExists,
            "index '" + index.Name + "' cannot be made: file '" + file.path + "' is there");
  } else if (file.path.empty()) {
    file.path = CompanionPath(path, extension);
  }
  (void)tables_->RebuildIndexes(path, &file, &tag.definition);
  if (alone) ListIndex(path, file);
  MarkIndexed(path, layout, tag.definition, file.kind);
}

/// The header's flag for a production index, and dBASE IV's mark of fields that are a tag's key.
void XbaseDatabase::MarkIndexed(const std::string& path, const TableLayout& layout,
                                const TagDefinition& tag, IndexKind kind) {
  if (kind == IndexKind::kNdx) return;
  const std::unique_ptr<storage::Store> store = storage::Store::Open(fs(), path, {});
  storage::Bracket bracket = store->Begin();
  const std::byte flags[] = {static_cast<std::byte>(layout.table_flags | kFlagHasIndex)};
  store->Write(storage::kMainFile, kTableFlagsAt, flags);
  for (const Column& column : layout.columns) {
    if (kind != IndexKind::kMdx || !base::EqualIgnoreCase(column.name, tag.expression)) continue;
    const std::byte is_key[] = {std::byte{1}};
    store->Write(storage::kMainFile, column.descriptor_at + kIsKeyAt, is_key);
  }
  bracket.Commit();
  store->Flush();
}

void XbaseDatabase::ListIndex(const std::string& path, const IndexFileName& file) {
  std::string inf = FindCompanion(fs(), path, "inf");
  if (inf.empty()) inf = CompanionPath(path, "inf");
  const std::string text = AddInfLine(ReadInf(fs(), path), LimitsOf(product_).name, "NDX",
                                      storage::NameOf(file.path), file.constraint);
  folder::WriteWholeFile(fs(), inf + "-new", text);
  fs().Rename(inf + "-new", inf);
  fs().SyncFolder(folder());
}

std::int64_t XbaseDatabase::DoRebuildIndexes(std::string_view name) {
  const std::string path = PathOf(name, ErrorNumber::kNotInCollection);
  return static_cast<std::int64_t>(tables_->RebuildIndexes(path));
}

/// The table's file and all that belongs to it, the table first.
std::vector<std::string> XbaseDatabase::FilesOf(const std::string& path) const {
  std::vector<std::string> files{path};
  const auto add = [&](std::string file) {
    if (!file.empty() && std::find(files.begin(), files.end(), file) == files.end())
      files.push_back(std::move(file));
  };
  try {
    for (IndexFileName& index : FindIndexFiles(fs(), path)) add(std::move(index.path));
  } catch (const Error&) {  // one that is missing need not be removed
  }
  for (std::string_view extension : kCompanions) add(FindCompanion(fs(), path, extension));
  return files;
}

void XbaseDatabase::DoDeleteTable(std::string_view name) {
  RemoveTable(FilesOf(PathOf(name, ErrorNumber::kNotInCollection)));
}

// --- Inspecting

void XbaseDatabase::InspectFile(const std::string& path, std::vector<std::string>& problems) {
  const std::shared_ptr<Table> table = tables_->Open(path, false, false);
  Announce(*table);
  InspectTable(*table, problems);
}

}  // namespace kelvorin::database::xbase
