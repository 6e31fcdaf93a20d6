// Counts what writing and reading allocate: pages of the cache and of the trees, nothing per
// record.

#include "base/code_page.h"
#include "tests/access/access_support.h"
#include "tests/storage/support/memory_files.h"
#include "tests/support/allocations.h"

#include <doctest/doctest.h>

namespace kelvorin::tests {

TEST_CASE("appending, reading and changing allocate nothing per record") {
  REQUIRE(base::SetAnsiPage(base::kUtf8Page).ok());
  constexpr int kRecords = 4'000;
  MemoryFileSystem disk;
  MakeDatabase("/a.mdb", "", disk);
  AccessFile file("/a.mdb", disk);
  TableDef def;
  def.Name = "T";
  def.Fields = {MakeField("Id", TypeCode::kLong), MakeField("Name", TypeCode::kText, 60),
                MakeField("Amount", TypeCode::kDecimal), MakeField("Day", TypeCode::kDate),
                MakeField("Note", TypeCode::kMemo)};
  def.Indexes = {MakeIndex("PrimaryKey", "+Id", true, true)};
  REQUIRE(file->CreateTable(def).ok());
  auto set = file.Open("T");
  std::string text, key;
  bool null = false;
  const long appending = AllocationsIn(kRecords, [&](int i) {
    key.assign("1000000").append(std::to_string(i));
    REQUIRE(set->AddNew().ok());
    REQUIRE(set->Fields(0).SetText(std::string_view(key).substr(2)).ok());
    REQUIRE(set->Fields(1).SetText("a name longer than fifteen, \u00E9").ok());
    REQUIRE(set->Fields(2).SetText("-1234567890123456").ok());
    REQUIRE(set->Fields(3).SetText("2000-02-29").ok());
    REQUIRE(set->Fields(4).SetText("a note longer than fifteen letters").ok());
    REQUIRE(set->Update().ok());
  });
  CHECK(appending < kRecords / 10);
  REQUIRE(set->MoveFirst().ok());
  const long reading = AllocationsIn(kRecords, [&](int) {
    for (std::size_t field = 0; field < set->FieldCount(); ++field)
      REQUIRE(set->Fields(field).GetText(text, null).ok());
    REQUIRE(set->MoveNext().ok());
  });
  CHECK(reading == 0);
  REQUIRE(set->SetIndex("PrimaryKey").ok());
  const long changing = AllocationsIn(kRecords, [&](int i) {
    key.assign("1000000").append(std::to_string(kRecords - 1 - i));
    const std::string_view keys[] = {std::string_view(key).substr(2)};
    REQUIRE(set->SeekText(SeekComparison::kEqual, keys).ok());
    REQUIRE(!set->NoMatch());
    REQUIRE(set->Edit().ok());
    REQUIRE(set->Fields(1).SetText("a name of the same length: \u00E9 \u00E9").ok());
    REQUIRE(set->Update().ok());
  });
  CHECK(changing < kRecords / 10);
}

}  // namespace kelvorin::tests
