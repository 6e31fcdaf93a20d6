#include "tests/access/access_support.h"

#include "base/code_page.h"
#include "database/access/access_driver.h"
#include "tests/support/places.h"
#include "tests/support/temp_folder.h"

#include <doctest/doctest.h>

#include <cstdlib>
#include <filesystem>

namespace kelvorin::tests {

void EnterAccess(DBEngine& engine, storage::FileSystem& fs) {
  engine.Register(database::access::MakeAccessDriver(fs, std::make_shared<storage::OpenFiles>()));
}

AccessFile::AccessFile(const std::string& path, storage::FileSystem& fs, bool read_only,
                       std::string_view connect) {
  EnterAccess(engine_, fs);
  auto opened = engine_.OpenDatabase(path, false, read_only, connect);
  REQUIRE_MESSAGE(opened.ok(), opened.status().message());
  database_ = *std::move(opened);
}

AccessFile::~AccessFile() {
  (void)database_->Close();
}

std::unique_ptr<Recordset> AccessFile::Open(std::string_view table, RecordsetType type) {
  auto opened = database_->OpenRecordset(table, type);
  REQUIRE_MESSAGE(opened.ok(), opened.status().message());
  return *std::move(opened);
}

namespace {

const char* MakeNew(std::string_view connect, MemoryFileSystem& disk) {
  REQUIRE(base::SetAnsiPage(base::kUtf8Page).ok());
  MakeDatabase(NewDatabase::kPath, connect, disk);
  return NewDatabase::kPath;
}

}  // namespace

NewDatabase::NewDatabase(std::string_view connect) : file(MakeNew(connect, disk), disk) {}

std::unique_ptr<Recordset> NewDatabase::Make(std::string name, std::vector<FieldDef> fields,
                                             std::vector<IndexDef> indexes) {
  TableDef table;
  table.Name = std::move(name);
  table.Fields = std::move(fields);
  table.Indexes = std::move(indexes);
  const Status made = file->CreateTable(table);
  REQUIRE_MESSAGE(made.ok(), made.message());
  return file.Open(table.Name);
}

std::string TextOf(Recordset& set) {
  std::string line;
  std::string text;
  for (std::size_t i = 0; i < set.FieldCount(); ++i) {
    bool null = false;
    const Status read = set.Fields(i).GetText(text, null);
    if (i != 0) line += '|';
    line += !read.ok() ? "<" + std::string(read.message()) + ">" : null ? "<null>" : text;
  }
  return line;
}

std::string Walk(Recordset& set) {
  std::string lines;
  (void)set.MoveFirst();
  while (!set.Eof()) {
    lines += TextOf(set) + "\n";
    const Status moved = set.MoveNext();
    REQUIRE_MESSAGE(moved.ok(), moved.message());
  }
  return lines;
}

void MakeDatabase(const std::string& path, std::string_view connect, storage::FileSystem& fs) {
  DBEngine engine;
  EnterAccess(engine, fs);
  const Status made = engine.CreateDatabase(path, connect);
  REQUIRE_MESSAGE(made.ok(), made.message());
}

const std::string& Checker() {
  static const std::string path = [] {
    const std::string tool = SamplesRoot() + "/../tools/jetcheck.py";
    if (std::filesystem::exists(tool) && std::system("python3 -c 0 >/dev/null 2>&1") == 0)
      return tool;
    MESSAGE("left out: the independent checker, which needs python3 and " << tool);
    return std::string();
  }();
  return path;
}

void CheckSoundFile(const std::string& pattern) {
  if (Checker().empty()) return;
  const TempFolder folder;
  const std::string report = folder.File("report");
  const std::string command = "python3 '" + Checker() + "' check " + pattern + " --keys '" +
                              SamplesRoot() + "/../formats/jet-text-keys.tsv' >" + report + " 2>&1";
  const int result = std::system(command.c_str());
  CHECK_MESSAGE(result == 0, ReadWhole(report));
}

}  // namespace kelvorin::tests
