#include "database/xbase/xbase_database.h"

#include "base/M_FILE.h"
#include "base/M_Misc.h"
#include "base/M_STRING.h"
#include "database/errors.h"
#include "database/xbase/inspect.h"
#include "database/xbase/new_table.h"
#include "database/xbase/table_files.h"
#include "database/xbase/xbase_recordset.h"

#include <algorithm>
#include <utility>

namespace kelvorin::database::xbase {
namespace {

constexpr std::string_view kCompanions[] = {"dbt", "fpt", "mdx", "cdx", "inf"};

/// A new table's file name: as given, its extension in the case of the name.
std::string NewFileName(std::string_view name) {
  if (WithoutExtension(name).size() != name.size()) return std::string(name);
  const bool lower =
      std::any_of(name.begin(), name.end(), [](char c) { return c >= 'a' && c <= 'z'; });
  return std::string(name) + (lower ? "." : ".") +
         (lower ? std::string(kTableExtension) : base::UpperAscii(kTableExtension));
}

void StampDate(std::string& header) {
  const auto now = base::Now();
  const int date[] = {now.year - 1900, now.month, now.day};
  for (std::size_t i = 0; i < std::size(date); ++i)
    header[kDateAt + i] = static_cast<char>(date[i]);
}

std::uint64_t SizeOf(storage::FileSystem& fs, const std::string& path) {
  return fs.Open(path, os::OpenMode::kRead)->Size();
}

void WriteNewFile(storage::FileSystem& fs, const std::string& path, std::string_view contents) {
  const std::unique_ptr<storage::File> file = fs.Open(path, os::OpenMode::kCreateOrTruncate);
  file->Write(0, base::AsBytes(contents));
  file->Sync();
}

/// False when the file is there and cannot be removed.
bool RemoveQuietly(storage::FileSystem& fs, const std::string& path) noexcept {
  try {
    if (!path.empty() && fs.Exists(path)) fs.Remove(path);
    return true;
  } catch (const Error&) {
    return false;
  }
}

}  // namespace

XbaseDatabase::XbaseDatabase(DBEngine& owner, OpenRequest asked, std::string folder,
                             Product product, std::shared_ptr<OpenTables> tables)
    : Database(owner, std::move(asked)),
      folder_(std::move(folder)),
      product_(product),
      tables_(std::move(tables)) {}

std::string XbaseDatabase::PathOf(std::string_view name, ErrorNumber missing) const {
  std::string path = FindTableFile(tables_->fs(), folder_, name);
  if (path.empty())
    Throw(Code::kNotFound, missing,
          "there is no table '" + std::string(name) + "' in folder '" + folder_ + "'");
  return path;
}

std::vector<TableInfo> XbaseDatabase::DoTableDefs() {
  std::vector<TableInfo> infos;
  for (std::string& name : ListTables(tables_->fs(), folder_))
    infos.push_back({std::move(name), 0});
  return infos;
}

TableDef XbaseDatabase::Describe(const Table& table) const {
  TableDef def;
  def.Name = WithoutExtension(storage::NameOf(table.path()));
  std::string scratch;
  for (const Column& column : table.layout().columns) {
    FieldDef face = FaceOf(column);
    std::string_view name;
    face.Name = table.page().ToAnsi(column.name, scratch, name) ? name : column.name;
    def.Fields.push_back(std::move(face));
  }
  def.WhyReadOnly = table.why_read_only();
  def.Updatable = def.WhyReadOnly.empty();
  return def;
}

TableDef XbaseDatabase::DoFindTableDef(std::string_view name) {
  return Describe(*tables_->Open(PathOf(name, ErrorNumber::kNotInCollection), false, false));
}

std::unique_ptr<Recordset> XbaseDatabase::DoOpenRecordset(std::string_view name,
                                                          RecordsetType type) {
  const bool write = Updatable() && type != RecordsetType::kSnapshot;
  std::shared_ptr<Table> table =
      tables_->Open(PathOf(name, ErrorNumber::kTableNotFound), write, request().Exclusive);
  TableDef def = Describe(*table);
  return std::make_unique<XbaseRecordset>(*this, type, std::move(def), std::move(table));
}

// --- Making and deleting

void XbaseDatabase::DoCreateTable(const TableDef& table) {
  storage::FileSystem& fs = tables_->fs();
  const std::string_view bare = WithoutExtension(table.Name);
  if (bare.empty() || table.Name.find_first_of("/\\:*?\"<>|") != std::string::npos ||
      std::any_of(bare.begin(), bare.end(), [](char c) { return c >= 0 && c < ' '; }))
    Throw(Code::kInvalidArgument, ErrorNumber::kInvalidArgument,
          "'" + table.Name + "' is no name for a table file");
  if (!table.Indexes.empty())
    Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
          "table '" + table.Name + "' cannot be made with its index '" + table.Indexes[0].Name +
              "': this driver makes no indexes");
  for (const FieldDef& field : table.Fields)
    if (field.AutoIncrement)
      Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
            "table '" + table.Name + "' cannot be made: its field '" + field.Name +
                "' would have to be numbered automatically, which this driver makes no fields for");
  NewTable plan = PlanTable(table, product_);

  const std::string existing = FindTableFile(fs, folder_, table.Name);
  if (!existing.empty())
    Throw(Code::kAlreadyExists, ErrorNumber::kTableExists,
          "table '" + table.Name + "' exists already (file '" + existing + "')");
  const std::string path = base::JoinPath(folder_, NewFileName(table.Name));
  std::string memo_path;
  if (plan.memo != MemoKind::kNone) {
    const std::string_view extension = plan.memo == MemoKind::kFpt ? "fpt" : "dbt";
    memo_path = FindCompanion(fs, path, extension);
    if (memo_path.empty()) memo_path = CompanionPath(path, extension);
    if (fs.Exists(memo_path) && SizeOf(fs, memo_path) > kMemoHeaderBytes)
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
    if (!memo_path.empty()) WriteNewFile(fs, memo_path, MemoFile::NewFile(plan.memo, bare));
    WriteNewFile(fs, unnamed, plan.header);
    fs.Rename(unnamed, path);
    fs.SyncFolder(folder_);
  } catch (...) {
    for (const std::string& file : {unnamed, path, memo_path})
      if (!RemoveQuietly(fs, file)) break;
    throw;
  }
}

void XbaseDatabase::DoDeleteTable(std::string_view name) {
  storage::FileSystem& fs = tables_->fs();
  const std::string path = PathOf(name, ErrorNumber::kNotInCollection);
  std::vector<std::string> files{path};
  for (std::string_view extension : kCompanions) {
    std::string companion = FindCompanion(fs, path, extension);
    if (!companion.empty()) files.push_back(std::move(companion));
  }
  {
    // Nobody may have it open, here or elsewhere.
    storage::StoreOptions options;
    options.exclusive = true;
    (void)storage::Store::Open(fs, path, options);
  }
  // The table first: what a crash leaves then is no table any more.
  for (const std::string& file : files) fs.Remove(file);
  fs.SyncFolder(folder_);
}

// --- Inspecting

void XbaseDatabase::InspectFile(const std::string& path, std::vector<std::string>& problems) {
  try {
    const std::shared_ptr<Table> table = tables_->Open(path, false, false);
    InspectTable(*table, problems);
  } catch (const Error& error) {
    problems.emplace_back(error.status().message());
  }
}

std::vector<std::string> XbaseDatabase::DoInspect(std::string_view name) {
  std::vector<std::string> problems;
  if (!name.empty()) {
    InspectFile(PathOf(name, ErrorNumber::kNotInCollection), problems);
    return problems;
  }
  for (const std::string& table : ListTables(tables_->fs(), folder_))
    InspectFile(PathOf(table, ErrorNumber::kNotInCollection), problems);
  return problems;
}

}  // namespace kelvorin::database::xbase
