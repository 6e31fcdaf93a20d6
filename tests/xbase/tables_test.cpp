// Making tables and changing them: what stands in the files afterwards.

#include "base/bytes.h"
#include "base/code_page.h"
#include "database/folder/table_files.h"
#include "tests/storage/support/memory_files.h"
#include "tests/support/temp_folder.h"
#include "tests/xbase/xbase_support.h"

#include <doctest/doctest.h>

namespace kelvorin::tests {
namespace {

using enum TypeCode;

/// Field descriptors of a table file: "NAME C20", "AMT N10.2", with flags in hexadecimal.
std::string Descriptors(const std::string& file) {
  std::string all;
  char text[64];
  for (std::size_t at = 32; file[at] != 0x0D; at += 32) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(file[at + i]); };
    std::snprintf(text, sizeof text, "%s %c%d", file.c_str() + at, file[at + 11], byte(16));
    all += text;
    if (byte(17) != 0) all += "." + std::to_string(byte(17));
    if (byte(18) != 0) all += "/" + std::to_string(byte(18));
    all += "; ";
  }
  return all;
}

std::string Made(const char* connect, std::vector<FieldDef> fields) {
  MemoryFileSystem disk;
  Folder folder("/d", connect, disk);
  const Status made = folder->CreateTable(MakeTable("T", std::move(fields)));
  if (made.ok()) return Descriptors(disk.Contents("/d/T.DBF"));
  CHECK(disk.List("/d").empty());  // nothing is made by halves
  return std::string(made.message());
}

struct Mapping {
  FieldDef field;
  const char* dbase3;
  const char* dbase5;
  const char* foxpro2;
  const char* foxpro3;
};
const Mapping kMappings[] = {
    {MakeField("X", kText, 255), "X C254", "X C254", "X C254", "X C254"},
    {MakeField("X", kText, 256), "!at most 254", "!", "!", "!at most 254 characters, not 256"},
    {MakeField("X", kBoolean), "X L1", "X L1", "X L1", "X L1"},
    {MakeField("X", kByte), "X N4", "X N4", "X N4", "X N4"},
    {MakeField("X", kInteger), "X N6", "X N6", "X N6", "X N6"},
    {MakeField("X", kLong), "X N11", "X N11", "X N11", "X I4/6; _NullFlags 01/5"},
    {MakeField("X", kBigInt), "X N19", "X N20", "X N20", "X N20"},
    {MakeField("X", kCurrency), "X N19.5", "X N20.5", "X N20.5", "X Y8.4/6; _NullFlags 01/5"},
    {MakeField("X", kDouble, 8), "X N19.5", "X N20.5", "X N20.5", "X B8/6; _NullFlags 01/5"},
    {MakeField("X", kDouble, 8, 2), "X N19.2", "X N20.2", "X N20.2", "X B8.2/6; _NullFlags 01/5"},
    {MakeField("X", kDouble, 12, 3), "X N12.3", "X N12.3", "X N12.3", "X N12.3"},
    {MakeField("X", kNumeric, 8, 2), "X N8.2", "X N8.2", "X N8.2", "X N8.2"},
    {MakeField("X", kNumeric, 20, 0), "!at most 19 places, not 20", "X N20", "X N20", "X N20"},
    {MakeField("X", kNumeric, 5, 4), "!5 places cannot have 4 decimals", "!", "!", "!"},
    {MakeField("X", kDate), "X D8", "X D8", "X D8", "X T8/4"},
    {MakeField("X", kTimeStamp), "X C24", "X C24", "X C24", "X T8/4"},
    {MakeField("X", kGuid), "X C38", "X C38", "X C38", "X C38"},
    {MakeField("X", kMemo), "X M10", "X M10", "X M10", "X M4"},
    {MakeField("X", kLongBinary), "!'X' cannot be made in a dBASE III", "X B10", "X G10", "X G4/4"},
};

void CheckMapping(const char* connect, const FieldDef& field, std::string_view expected) {
  const std::string made = Made(connect, {field});
  if (expected.starts_with("!")) {
    CHECK_MESSAGE(made.find(expected.substr(1)) != std::string::npos, made);
  } else {
    CHECK(made == std::string(expected) + "; ");
  }
}

}  // namespace

TEST_CASE("each product's field for each type") {
  for (const Mapping& row : kMappings) {
    CAPTURE(static_cast<int>(row.field.Type));
    CheckMapping("dBASE III", row.field, row.dbase3);
    CheckMapping("dbase 5.0", row.field, row.dbase5);
    CheckMapping("FoxPro 20", row.field, row.foxpro2);
    CheckMapping("FOXPRO 3.0", row.field, row.foxpro3);
  }
}

TEST_CASE("field names are fitted to ten characters and told apart") {
  REQUIRE(base::SetAnsiPage(base::kUtf8Page).ok());
  std::vector<FieldDef> fields;
  for (const char* name : {"Customer Name", "Customer name 2", "customer_n", "Gr\u00F6\u00DFe",
                           "1999", "", "_x", "OK", "ok"})
    fields.push_back(MakeField(name, kText, 5));
  CHECK(Made("dBASE III", fields) ==
        "CUSTOMER_N C5; CUSTOMER_2 C5; CUSTOMER_3 C5; GR__E C5; F1999 C5; F C5; F_X C5; OK C5; "
        "OK2 C5; ");
}

TEST_CASE("what a product cannot hold is refused before anything is made") {
  std::vector<FieldDef> fields;
  for (int i = 0; i < 129; ++i) fields.push_back(MakeField("F" + std::to_string(i), kText, 1));
  CHECK(Made("dBASE III", fields) ==
        "table 'T' cannot be made: a dBASE III table holds at most 128 fields, not 129");
  CHECK(Made("dBASE IV", fields).starts_with("F0 C1; "));
  fields.assign(16, MakeField("WIDE", kText, 254));
  CHECK(Made("dBASE IV", fields).find("with it a record has 4065 bytes, and the limit is 4000") !=
        std::string::npos);
  CHECK(Made("FoxPro 2.6", fields).starts_with("WIDE C254; WIDE2 C254; "));
  CHECK(Made("dBASE IV", {}) == "table 'T' cannot be made without fields");
  MemoryFileSystem disk;
  Folder folder("/d", "dBASE III", disk);
  TableDef table = MakeTable("../T", {MakeField("A", kText, 1)});
  CHECK(folder->CreateTable(table).code() == Code::kInvalidArgument);
  table.Name = "T";
  table.Indexes.emplace_back().Name = "BY_A";
  CHECK(folder->CreateTable(table).message().find("'BY_A'") != std::string_view::npos);
  table.Indexes.clear();
  table.Fields[0].AutoIncrement = true;
  CHECK(folder->CreateTable(table).code() == Code::kNotSupported);
}

TEST_CASE("table files are found and named without regard to case") {
  TempFolder temp;
  const auto def = [](const char* name) {
    return MakeTable(name, {MakeField("A", kText, 1), MakeField("M", kMemo)});
  };
  {
    Folder folder(temp.path(), "dBASE IV");
    for (const char* name : {"LOUD", "quiet", "Given.Dbf"}) folder.Make(def(name));
    CHECK(folder->CreateTable(def("loud.DBF")).code() == Code::kAlreadyExists);
    std::string names;
    for (const auto& table : *folder->TableDefs()) names += table.Name + " ";
    CHECK(names == "Given LOUD quiet ");
  }
  for (const char* file :
       {"LOUD.DBF", "LOUD.DBT", "quiet.dbf", "quiet.dbt", "Given.Dbf", "Given.dbt"})
    CHECK_MESSAGE(!ReadWhole(temp.File(file)).empty(), file);
  Folder by_file(temp.File("quiet.dbf"), "FoxPro 3.0");
  CHECK(by_file.Open("QUIET.DBF")->FieldCount() == 2);
  CHECK(by_file->DeleteTable("Quiet").ok());
  CHECK(by_file->TableDefs()->size() == 2);
  // A memo file without its table is somebody's data.
  WriteWhole(temp.File("lost.DBT"), std::string(1024, 't'));
  CHECK(by_file->CreateTable(def("LOST")).ok());  // of another kind: no conflict
  Folder dbase(temp.path(), "dBASE III");
  CHECK(by_file->DeleteTable("LOST").ok());
  WriteWhole(temp.File("lost.DBT"), std::string(1024, 't'));
  CHECK(dbase->CreateTable(def("LOST")).message().find("lost.DBT") != std::string_view::npos);
  // So is an index, which would make the new table one that cannot be written.
  WriteWhole(temp.File("Lone.cdx"), "tags");
  CHECK(dbase->CreateTable(def("LONE")).message().find("Lone.cdx") != std::string_view::npos);
  CHECK(ReadWhole(temp.File("Lone.cdx")) == "tags");

  const auto missing = by_file.engine().OpenDatabase(temp.File("none"), false, false, "dBASE IV");
  CHECK(missing.status().message().find("there is no folder") != std::string_view::npos);

  MemoryFileSystem disk;
  for (const char* path : {"/d/LOUD.dbf", "/d/Loud.DBF"}) disk.Put(path, "");
  for (const auto& [name, path] : {std::pair("Loud", "/d/Loud.DBF"), {"loud", "/d/LOUD.dbf"}})
    CHECK(database::folder::FindTableFile(disk, "/d", name, "dbf") == path);
}

namespace {

struct Obstacle {
  const char* name;
  std::size_t at;  // byte of the table file to change, 0 for none
  char byte;
  const char* file;  // to be put beside the table
  const char* contents;
  const char* reason;
};
const Obstacle kObstacles[] = {
    {"damaged index", 0, 0, "t.mdx", "", "'/d/t.mdx': has 0 bytes"},
    {"INF without index", 0, 0, "T.INF", "[dBASE III]\r\nNote=x\r\n", ""},
    {"index flag alone", 28, 1, "", "", "its header says that it has an index file"},
    {"open transaction", 14, 1, "", "", "a transaction was not finished"},
    {"count too large", 4, 9, "", "", "claims 9 records, but the file holds only 3"},
    {"FoxBASE", 0, '\xFB', "", "", ""},
};

}  // namespace

TEST_CASE("a table that cannot be kept whole opens for reading and says why") {
  for (const Obstacle& row : kObstacles) {
    CAPTURE(std::string(row.name));
    MemoryFileSystem disk;
    {
      Folder folder("/d", "dBASE III", disk);
      folder.Make(MakeTable("T", {MakeField("A", kText, 2)}));
      folder.Fill("T", {{"a"}, {"b"}, {"c"}});
    }
    std::string file = disk.Contents("/d/T.DBF");
    if (row.byte != 0) file[row.at] = row.byte;
    disk.Put("/d/T.DBF", file);
    if (*row.file != '\0') disk.Put("/d/" + std::string(row.file), row.contents);
    Folder folder("/d", "dBASE III", disk);
    auto set = folder.Open("T");
    CHECK(set->RecordCount().value_or(0) == 3);
    const std::string why = set->Def().WhyReadOnly;
    const bool read_only = *row.reason != '\0' || row.byte == '\xFB';
    CHECK(set->Updatable() == !read_only);
    CHECK_MESSAGE(why.find(row.reason) != std::string::npos, why);
    const Status added = set->AddNew();
    CHECK(added.ok() == !read_only);
    if (read_only) CHECK(added.message().find(why) != std::string_view::npos);
  }
}

TEST_CASE("damaged headers are errors, damaged records cost themselves") {
  MemoryFileSystem disk;
  std::string table, memo;
  {
    Folder folder("/d", "FoxPro 3.0", disk);
    folder.Make(
        MakeTable("T", {MakeField("A", kText, 6), MakeField("B", kNumeric, 6, 2),
                        MakeField("C", kLong), MakeField("D", kDate), MakeField("M", kMemo)}));
    folder.Fill("T", std::vector<Row>(3, {"text", "1.25", "7", "2000-01-01", "memo"}));
    table = disk.Contents("/d/T.DBF");
    memo = disk.Contents("/d/T.FPT");
  }
  const auto read = [&](const std::string& bytes) -> std::string {
    disk.Put("/d/T.DBF", bytes);
    disk.Put("/d/T.FPT", memo);
    Folder folder("/d", "FoxPro 3.0", disk);
    (void)folder->Inspect();
    const auto opened = folder->OpenRecordset("T", RecordsetType::kTable);
    if (!opened.ok()) return std::string(opened.status().message());
    return Show(folder.ReadAll("T"));
  };
  const std::string good = "text|1.25|7|2000-01-01|memo|\n";
  CHECK(read(table) == good + good + good);
  const std::size_t header = base::LoadLE16(base::AsBytes(table), 8);
  const std::size_t record = base::LoadLE16(base::AsBytes(table), 10);
  std::string damaged = table;
  damaged.replace(header + record + 7, 6, "1,2,3 ");
  CHECK(read(damaged) == good + "text|<error>|7|2000-01-01|memo|\n" + good);
  for (std::size_t size = 0; size < header; ++size) {
    const std::string found = read(table.substr(0, size));
    CHECK_MESSAGE(found.find("'/d/T.DBF'") != std::string::npos, found);
  }
  // A file that is too short tells so behind its last record, so that no copy passes for whole.
  disk.Put("/d/T.DBF", table.substr(0, table.size() - 2));
  Folder folder("/d", "FoxPro 3.0", disk);
  const auto cut = folder.Open("T");
  REQUIRE(cut->MoveNext().ok());
  const Status end = cut->MoveNext();
  CHECK(end.code() == Code::kNoCurrentRecord);  // every record that is there was given
  CHECK(end.message().find("1 are missing") != std::string_view::npos);
}

TEST_CASE("automatic numbers and texts of varying length") {
  MemoryFileSystem disk;
  {
    Folder folder("/d", "FoxPro 3.0", disk);
    FieldDef number = MakeField("ID", kLong);
    number.Required = true;
    folder.Make(MakeTable("T", {MakeField("V", kText, 5), number, MakeField("N", kLong)}));
  }
  // Turned into what later versions write: V varying, ID numbered from 5 by 2. The varying field
  // takes the first bit of the flags and N the second.
  std::string file = disk.Contents("/d/T.DBF");
  file[0] = 0x32;
  file[32 + 11] = 'V';
  file[64 + 18] = 0x0C;
  file[64 + 19] = 5;
  file[64 + 23] = 2;
  disk.Put("/d/T.DBF", file);
  Folder folder("/d", "FoxPro 3.0", disk);
  auto set = folder.Open("T");
  CHECK(set->Def().Fields[1].AutoIncrement);
  CHECK(Append(*set, {"ab ", "<null>", "1"}).ok());
  CHECK(Append(*set, {"abcde", "<null>", "<null>"}).ok());
  CHECK(Append(*set, {"x", "9"}).code() == Code::kReadOnly);
  CHECK(Append(*set, {"", "", ""}).ok());
  REQUIRE(set->Close().ok());
  CHECK(Show(folder.ReadAll("T")) == "ab |5|1|\nabcde|7|<null>|\n|9|<null>|\n");
  CHECK(disk.Contents("/d/T.DBF")[64 + 19] == 11);
  CHECK(folder->Inspect()->empty());
}

TEST_CASE("a table that somebody writes is locked for everybody else") {
  TempFolder temp;
  Folder here(temp.path());
  here.Make(MakeTable("T", {MakeField("A", kText, 2)}));
  auto set = here.Open("T");
  REQUIRE(Append(*set, {"a"}).ok());
  Folder elsewhere(temp.path());
  CHECK(elsewhere->OpenRecordset("T", RecordsetType::kTable).status().code() == Code::kLocked);
  CHECK(elsewhere->DeleteTable("T").code() == Code::kLocked);
  CHECK(here->DeleteTable("T").code() == Code::kLocked);
  REQUIRE(set->Close().ok());
  CHECK(Show(elsewhere.ReadAll("T")) == "a|\n");
}

}  // namespace kelvorin::tests
