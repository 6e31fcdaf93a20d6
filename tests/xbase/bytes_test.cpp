// Bytes that other programs look at and that no reading of our own would miss: ends, dates, flags
// and kinds, of new and of changed tables.

#include "base/bytes.h"
#include "base/M_Misc.h"
#include "tests/storage/support/memory_files.h"
#include "tests/xbase/xbase_support.h"

#include <doctest/doctest.h>

namespace kelvorin::tests {
namespace {

using enum TypeCode;

struct Product {
  const char* connect;
  const char* memo;     // extension
  unsigned version;     // first byte
  unsigned flags;       // byte 28
  std::size_t kind_at;  // a byte of the memo file that tells its kind
  unsigned kind;
};
const Product kProducts[] = {{"dBASE III", "DBT", 0x83, 0, 16, 3},
                             {"dBASE IV", "DBT", 0x8B, 0, 19, 1},
                             {"FoxPro 2.6", "FPT", 0xF5, 0, 7, 64},
                             {"FoxPro 3.0", "FPT", 0x30, 2, 7, 64}};

}  // namespace

TEST_CASE("what other programs look at stands where they look") {
  for (const Product& product : kProducts) {
    CAPTURE(std::string(product.connect));
    MemoryFileSystem disk;
    const std::string memo_path = "/d/T." + std::string(product.memo);
    const bool foxpro = product.memo[0] == 'F';
    {
      Folder folder("/d", product.connect, disk);
      TableDef def = MakeTable("T", {MakeField("A", kText, 4), MakeField("M", kMemo)});
      if (foxpro) def.Fields.push_back(MakeField("G", kLongBinary));
      folder.Make(def);
      auto set = folder.Open("T");
      for (const char* text : {"one", "two", "six"}) {
        Row row = {text, std::string("note ") + text};
        if (foxpro) row.push_back("0102");
        REQUIRE(Append(*set, row).ok());
      }
      REQUIRE(set->MoveFirst().ok());
      REQUIRE(set->Delete().ok());
      CHECK(set->RecordCount().value_or(0) == 2);
      // Nobody of the family gets at the bytes by which it locks whole files.
      const auto file = disk.Open("/d/T.DBF", os::OpenMode::kRead);
      for (std::uint64_t at : {1'000'000'001u, 0x7FFFFFFEu})
        CHECK_FALSE(file->TryLock(at, 1, os::LockKind::kShared));
      REQUIRE(set->Close().ok());
    }
    const std::string table = disk.Contents("/d/T.DBF");
    const auto byte = [](const std::string& file, std::size_t at) {
      return static_cast<unsigned>(static_cast<unsigned char>(file.at(at)));
    };
    const auto now = base::Now();
    CHECK(byte(table, 0) == product.version);
    CHECK(byte(table, 1) == static_cast<unsigned>(now.year - 1900));
    CHECK(byte(table, 2) == static_cast<unsigned>(now.month));
    CHECK(byte(table, 3) == static_cast<unsigned>(now.day));
    CHECK(byte(table, 4) == 3);
    CHECK(byte(table, 28) == product.flags);
    const std::size_t header = base::LoadLE16(base::AsBytes(table), 8);
    const std::size_t record = base::LoadLE16(base::AsBytes(table), 10);
    REQUIRE(table.size() == header + 3 * record + 1);
    CHECK(byte(table, header) == '*');
    CHECK(byte(table, header + record) == ' ');
    CHECK(byte(table, table.size() - 1) == 0x1A);
    const std::string memo = disk.Contents(memo_path);
    CHECK(byte(memo, product.kind_at) == product.kind);
    if (foxpro) {  // kind of the first value and of the second, a block further
      CHECK(byte(memo, 512 + 3) == 1);
      CHECK(byte(memo, 512 + 64 + 3) != 1);
    }
    Folder folder("/d", product.connect, disk);
    REQUIRE(folder->DeleteTable("T").ok());
    CHECK_FALSE(disk.Has("/d/T.DBF"));
    CHECK_FALSE(disk.Has(memo_path));
  }
}

// Other programs tell text from numbers by a letter of an NDX, write no MDX of another code page
// than its table's, and do not look behind the last key but one that a branch has room for.
TEST_CASE("indexes say what other programs ask them") {
  for (const char* connect : {"dBASE III", "dBASE IV"}) {
    CAPTURE(std::string(connect));
    MemoryFileSystem disk;
    Folder folder("/d", connect, disk);
    TableDef def = MakeTable("T", {MakeField("CODE", kText, 12), MakeField("AMT", kNumeric, 6)});
    def.Indexes = {MakeIndex("CODE", "+CODE"), MakeIndex("AMT", "+AMT")};
    folder.Make(def);
    std::vector<Row> rows;
    for (int i = 1000; i < 3200; ++i) rows.push_back({std::to_string(i), std::to_string(i)});
    folder.Fill("T", rows);
    const auto load = [](const std::string& bytes, std::size_t at) {
      return base::LoadLE32(base::AsBytes(bytes), at);
    };
    const bool ndx = disk.Has("/d/CODE.NDX");
    const std::string file = disk.Contents(ndx ? "/d/CODE.NDX" : "/d/T.MDX");
    const std::string table = disk.Contents("/d/T.DBF");
    std::uint32_t pages = 0, full = 0;
    if (ndx) {
      CHECK(file[9] == 'C');
      CHECK(disk.Contents("/d/AMT.NDX")[9] == 'N');
    } else {
      CHECK(table[29] != 0);
      CHECK(file[31] == table[29]);
    }
    const std::size_t page_bytes = ndx ? 512 : 1024, head = ndx ? 4 : 8, stride = ndx ? 20 : 16;
    const std::size_t most = (page_bytes - head) / stride;
    for (std::size_t at = ndx ? 512 : 4 * 512; at < file.size(); at += page_bytes) {
      const std::uint32_t keys = load(file, at);
      if (keys < 2 || keys > most) continue;  // no page of keys
      ++pages;
      full += keys == most ? 1 : 0;
      if (ndx && load(file, at + 4) != 0) CHECK(keys < most);
    }
    CHECK(pages > 40);
    CHECK(full > 20);  // keys that come in order fill their leaves
  }
}

}  // namespace kelvorin::tests
