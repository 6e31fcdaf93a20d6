#include "database/paradox/paradox_database.h"

#include "base/M_FILE.h"
#include "base/M_STRING.h"
#include "base/code_page.h"
#include "database/errors.h"
#include "database/paradox/inspect.h"
#include "database/paradox/paradox_recordset.h"

#include <algorithm>
#include <utility>

namespace kelvorin::database::paradox {
namespace {

constexpr std::string_view kPrimaryName = "PrimaryKey";

void RequireWritable(const Table& table, std::string_view name) {
  if (table.why_read_only().empty()) return;
  Throw(Code::kReadOnly, ErrorNumber::kReadOnly,
        "table '" + std::string(name) + "' cannot be written: " + table.why_read_only());
}

}  // namespace

ParadoxDatabase::ParadoxDatabase(DBEngine& owner, OpenRequest asked, std::string folder,
                                 Product product, std::string password,
                                 std::shared_ptr<OpenTables> tables)
    : FolderDatabase(owner, std::move(asked), std::move(folder), kTableExtension, tables->fs()),
      product_(product),
      password_(std::move(password)),
      tables_(std::move(tables)) {}

std::shared_ptr<Table> ParadoxDatabase::Open(const std::string& path, bool write) const {
  return tables_->Open(path, write, write && request().Exclusive, password_);
}

TableDef ParadoxDatabase::Describe(Table& table) const {
  TableDef def;
  def.Name = NameOfTable(table.path());
  for (const Column& column : table.columns()) def.Fields.push_back(FaceOf(column));
  for (const std::size_t field : table.required())
    def.Fields[field].Required = !def.Fields[field].AutoIncrement;
  if (table.keyed()) {
    IndexDef primary;
    primary.Name = kPrimaryName;
    primary.Aliases = {def.Name, "PRIMARY"};
    primary.Primary = primary.Unique = true;
    for (std::size_t i = 0; i < table.header().key_fields; ++i)
      primary.Columns.push_back({table.columns()[i].name, false});
    def.Indexes.push_back(std::move(primary));
  }
  for (const SecondaryIndex& index : table.indexes()) def.Indexes.push_back(index.def());
  def.WhyReadOnly = table.why_read_only();
  def.Updatable = def.WhyReadOnly.empty();
  return def;
}

TableDef ParadoxDatabase::DoFindTableDef(std::string_view name) {
  return Describe(*Open(PathOf(name, ErrorNumber::kNotInCollection), false));
}

std::unique_ptr<Recordset> ParadoxDatabase::DoOpenRecordset(std::string_view name,
                                                            RecordsetType type) {
  const bool write = Updatable() && type != RecordsetType::kSnapshot;
  std::shared_ptr<Table> table = Open(PathOf(name, ErrorNumber::kTableNotFound), write);
  TableDef def = Describe(*table);
  return std::make_unique<ParadoxRecordset>(*this, type, std::move(def), std::move(table));
}

// --- Making and deleting

/// The last file gets its name last and in one step; what a crash leaves before that is no table.
void ParadoxDatabase::WriteFiles(const std::string& table_path,
                                 const std::vector<NewFile>& files) const {
  std::vector<std::string> made;
  try {
    for (const NewFile& file : files) {
      const bool last = &file == &files.back();
      const std::string path =
          last && file.extension == "DB" ? table_path : CompanionPath(table_path, file.extension);
      // One that was there (an empty table gets a primary index) is never taken away.
      if (!fs().Exists(path)) made.push_back(path);
      const std::string unnamed = path + "-new";
      if (last) made.push_back(unnamed);
      folder::WriteWholeFile(fs(), last ? unnamed : path, file.contents);
      if (last) GiveName(unnamed, path);
    }
  } catch (...) {
    folder::RemoveQuietly(fs(), made);
    throw;
  }
}

void ParadoxDatabase::DoCreateTable(const TableDef& table) {
  CheckNewName(table.Name);
  std::string scratch;
  std::string_view password = password_;
  std::size_t replaced = 0;
  const TextPage page(base::OemPage().number());
  if (!page.FromAnsi(password_, scratch, password, replaced)) password = password_;
  const std::vector<NewFile> files =
      PlanTable(table, product_, WithoutExtension(table.Name), KeyOfPassword(password));
  const std::string path = PathOfNew(table.Name);
  // What is left of an older table of that name would be taken for the new one's.
  const Companions left(fs(), path);
  for (const Companion& companion : left.all()) fs().Remove(companion.path);
  WriteFiles(path, files);
}

/// The files of a table that is as it was made, once more with a primary index. Its fields come
/// first.
std::vector<NewFile> ParadoxDatabase::PlanAnew(Table& table, const IndexDef& primary) const {
  const Header& header = table.header();
  TableDef def = Describe(table);
  const auto refuse = [&](const std::string& why) {
    Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
          "index '" + primary.Name +
              "' cannot be made: a primary index is made with its table or "
              "right after, and table '" +
              def.Name + "' " + why);
  };
  if (table.keyed()) refuse("has one already");
  if (table.RecordCount() > 0) refuse("has " + std::to_string(table.RecordCount()) + " records");
  const auto others = [](const Companion& companion) { return companion.extension != "MB"; };
  const std::vector<Companion>& files = table.companions().all();
  if (table.last_number() != 0 || header.sort_order != 0 || header.page != PageOfNewTable() ||
      std::any_of(files.begin(), files.end(), others))
    refuse("was made or used by another program");
  def.Indexes.push_back(primary);
  const Product product = header.version > kVersion4    ? Product::kParadox5
                          : header.version > kVersion35 ? Product::kParadox4
                                                        : Product::kParadox3;
  return PlanTable(def, product, NameOfTable(table.path()), header.key);
}

void ParadoxDatabase::DoCreateIndex(std::string_view table_name, const IndexDef& index) {
  const std::string path = PathOf(table_name, ErrorNumber::kNotInCollection);
  std::vector<NewFile> files;
  {
    const std::shared_ptr<Table> table = Open(path, true);
    RequireWritable(*table, table_name);
    if (Describe(*table).FindIndex(index.Name) != nullptr)
      Throw(Code::kAlreadyExists, ErrorNumber::kTableExists,
            "table '" + std::string(table_name) + "' has an index '" + index.Name + "' already");
    if (index.Primary) files = PlanAnew(*table, index);
    std::vector<std::string> taken;
    for (const Companion& companion : table->companions().all())
      taken.push_back(companion.extension);
    if (!index.Primary) files = PlanIndex(table->header(), index, NameOfTable(path), taken);
  }
  RequireNobodyElse(path);
  const std::string real = fs().RealPath(path);
  WriteFiles(real, files);
  if (index.Primary) return;
  try {
    const std::shared_ptr<Table> table = Open(path, true);
    table->MakeReady();
    table->Flush();
  } catch (...) {
    std::vector<std::string> made;
    made.reserve(files.size());
    for (const NewFile& file : files) made.push_back(CompanionPath(real, file.extension));
    folder::RemoveQuietly(fs(), made);
    throw;
  }
}

void ParadoxDatabase::DoDeleteTable(std::string_view name) {
  std::vector<std::string> files{PathOf(name, ErrorNumber::kNotInCollection)};
  const Companions companions(fs(), fs().RealPath(files.front()));
  for (const Companion& companion : companions.all()) files.push_back(companion.path);
  RemoveTable(files);
}

std::int64_t ParadoxDatabase::DoRebuildIndexes(std::string_view name) {
  const std::string path = PathOf(name, ErrorNumber::kNotInCollection);
  RequireNobodyElse(path);
  const std::string real = fs().RealPath(path);
  {
    const std::shared_ptr<Table> table = Open(path, true);
    if (table->keyed() && table->companions().Find("PX").empty()) {
      const NewFile primary = PlanPrimary(table->header(), NameOfTable(real));
      WriteFiles(real, {primary});
    }
  }
  const std::shared_ptr<Table> table = Open(path, true);
  RequireWritable(*table, name);
  table->Reindex();
  table->Flush();
  return static_cast<std::int64_t>(table->indexes().size()) + (table->keyed() ? 1 : 0);
}

// --- Inspecting

void ParadoxDatabase::InspectFile(const std::string& path, std::vector<std::string>& problems) {
  InspectTable(*Open(path, false), problems);
}

}  // namespace kelvorin::database::paradox
