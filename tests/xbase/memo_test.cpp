// Memo files: where texts are put, what freed blocks are used for, and what damage does.

#include "base/bytes.h"
#include "tests/storage/support/memory_files.h"
#include "tests/xbase/xbase_support.h"

#include <doctest/doctest.h>

namespace kelvorin::tests {
namespace {

using enum TypeCode;

/// A table with one memo field on a disk in memory.
struct Memos {
  explicit Memos(const char* product) : connect(product) {
    const bool foxpro = connect.starts_with("Fox");
    memo_path = std::string("/d/M.") + (foxpro ? "FPT" : "DBT");
    Folder folder(std::string("/d"), connect, disk);
    folder.Make(MakeTable("M", {MakeField("ID", kText, 3), MakeField("T", kMemo)}));
  }

  void Append(const std::vector<std::size_t>& lengths) {
    Folder folder("/d", connect, disk);
    std::vector<Row> rows;
    for (std::size_t length : lengths) rows.push_back({"x", Text(length)});
    folder.Fill("M", rows);
  }
  Status Change(std::int64_t record, std::size_t length) {
    Folder folder("/d", connect, disk);
    auto set = folder.Open("M");
    REQUIRE(set->Move(record - 1).ok());
    KV_TRY(tests::Change(*set, 1, Text(length)));
    return set->Close();
  }
  /// The lengths of all texts; "?" for one that is not what was stored.
  std::string Lengths() {
    Folder folder("/d", connect, disk);
    std::string lengths;
    for (const Row& row : folder.ReadAll("M")) {
      const std::string& text = row[1];
      const bool null = text == "<null>" || text == "<error>";
      lengths += null ? text : std::to_string(text.size());
      if (!null && text != Text(text.size())) lengths += "?";
      lengths += ' ';
    }
    return lengths;
  }
  std::string Problems() {
    Folder folder("/d", connect, disk);
    const auto problems = folder->Inspect();
    return problems.ok() ? Show(*problems) : std::string(problems.status().message());
  }
  std::string Memo() const { return disk.Contents(memo_path); }
  std::size_t MemoSize() const { return Memo().size(); }
  /// Block numbers in the table, one for each record.
  std::string Blocks() const {
    const std::string table = disk.Contents("/d/M.DBF");
    const auto bytes = base::AsBytes(table);
    const std::size_t header = base::LoadLE16(bytes, 8), record = base::LoadLE16(bytes, 10);
    std::string blocks;
    for (std::size_t at = header; at + record <= table.size(); at += record) {
      std::string digits = table.substr(at + 4, record - 4);
      if (record == 8) digits = std::to_string(base::LoadLE32(bytes, at + 4));
      digits.erase(0, digits.find_first_not_of(' '));
      blocks += digits + ' ';
    }
    return blocks;
  }
  void Patch(const std::string& path, std::size_t at, std::string_view bytes) {
    std::string file = disk.Contents(path);
    REQUIRE(at + bytes.size() <= file.size());
    file.replace(at, bytes.size(), bytes);
    disk.Put(path, file);
  }
  static std::string Text(std::size_t length) {
    std::string text(length, 'm');
    for (std::size_t i = 0; i < length; i += 10) text[i] = static_cast<char>('a' + i / 10 % 26);
    return text;
  }

  std::string connect, memo_path;
  MemoryFileSystem disk;
};

struct Placing {
  const char* connect;
  const char* first;     // blocks of texts of 10, 600 and 10 characters
  const char* in_place;  // after the second became 500
  const char* moved;     // after the first became 1100
  std::size_t size;      // of the memo file at the end
};
const Placing kPlacings[] = {
    {"dBASE III", "1 2 4 ", "1 2 4 ", "5 2 4 ", 8 * 512},
    {"dBASE IV", "1 2 4 ", "1 2 4 ", "5 2 4 ", 8 * 512},
    {"FoxPro 2.6", "8 9 19 ", "8 9 19 ", "20 9 19 ", 38 * 64},
    {"FoxPro 3.0", "8 9 19 ", "8 9 19 ", "20 9 19 ", 38 * 64},
};

}  // namespace

TEST_CASE("a text keeps its blocks while it fits and moves to the end when it grows") {
  for (const Placing& row : kPlacings) {
    CAPTURE(std::string(row.connect));
    Memos memos(row.connect);
    memos.Append({10, 600, 10});
    CHECK(memos.Blocks() == row.first);
    CHECK(memos.Change(2, 500).ok());
    CHECK(memos.Blocks() == row.in_place);
    CHECK(memos.Change(1, 1100).ok());
    CHECK(memos.Blocks() == row.moved);
    CHECK(memos.MemoSize() == row.size);
    CHECK(memos.Change(3, 0).ok());
    CHECK(memos.Lengths() == "1100 500 <null> ");
    CHECK(memos.Problems() == "");
  }
}

TEST_CASE("dBASE IV uses freed blocks again, whole or in part") {
  Memos memos("dBASE IV");
  memos.Append({1000, 100, 2000, 100});  // blocks 1-2, 3, 4-7, 8
  CHECK(memos.Change(3, 0).ok());        // frees 4-7
  CHECK(memos.Change(1, 1600).ok());     // takes 4-7 and frees 1-2
  CHECK(memos.Blocks() == "4 3  8 ");
  CHECK(memos.Change(2, 0).ok());  // frees 3, first in the chain now
  memos.Append({700, 300, 5000});  // 1-2 from the middle of the chain, 3, and the end
  CHECK(memos.Blocks() == "4   8 1 3 9 ");
  CHECK(memos.Lengths() == "1600 <null> <null> 100 700 300 5000 ");
  CHECK(memos.Problems() == "");
  CHECK(memos.MemoSize() % 512 == 0);
}

TEST_CASE("a chain of free blocks that makes no sense is left alone") {
  // First free block: in use, itself, far behind the end, and the header.
  const std::uint32_t kHeads[] = {1, 2, 9'000'000, 0};
  for (const std::uint32_t head : kHeads) {
    CAPTURE(head);
    Memos memos("dBASE IV");
    memos.Append({100, 100});
    std::string bytes(4, '\0');
    base::StoreLE32(std::as_writable_bytes(std::span<char>(bytes.data(), 4)), 0, head);
    if (head == 2) memos.Patch(memos.memo_path, 2 * 512, bytes + std::string("\1\0\0\0", 4));
    memos.Patch(memos.memo_path, 0, bytes);
    const Status changed = memos.Change(1, 3000);
    if (head == 9'000'000) {
      CHECK(changed.message().find("next free block is 9000000") != std::string_view::npos);
    } else {
      CHECK(changed.ok());
      CHECK(memos.Lengths().starts_with("3000 "));
      CHECK(memos.Blocks() == "3 2 ");
    }
  }
}

TEST_CASE("a damaged pointer costs its own field") {
  struct Damage {
    const char* connect;
    std::string pointer;
  };
  const Damage kDamages[] = {
      {"dBASE III", "       999"},
      {"dBASE III", "      1x  "},
      {"dBASE IV", "4294967295"},
      {"dBASE IV", "99999999999"},
      {"FoxPro 2.6", "         1"},
      {"FoxPro 3.0", std::string("\xFF\xFF\xFF\xFF", 4)},
      {"FoxPro 3.0", std::string("\1\0\0\0", 4)},
  };
  for (const Damage& damage : kDamages) {
    CAPTURE(std::string(damage.connect));
    Memos memos(damage.connect);
    memos.Append({50, 60, 70});
    const std::size_t width = damage.pointer.size() == 4 ? 4 : 10;
    const std::size_t record = 1 + 3 + width;
    const std::string table = memos.disk.Contents("/d/M.DBF");
    const std::size_t header = base::LoadLE16(base::AsBytes(table), 8);
    memos.Patch("/d/M.DBF", header + record + 4, damage.pointer.substr(0, width));
    CHECK(memos.Lengths() == "50 <error> 70 ");
    CHECK(memos.Problems().find("field 'T' of record 2") != std::string::npos);
    CHECK(memos.Change(2, 80).ok());  // a new text heals it
    CHECK(memos.Lengths() == "50 80 70 ");
    CHECK(memos.Problems() == "");
  }
}

TEST_CASE("memo files of other programs") {
  SUBCASE("texts without a head in a dBASE IV file") {
    Memos memos("dBASE IV");
    memos.Append({20, 20});
    memos.Patch(memos.memo_path, 512, Memos::Text(30) + "\x1A\x1A");
    CHECK(memos.Lengths() == "30 20 ");
  }
  SUBCASE("a text longer than its file") {
    Memos memos("FoxPro 2.6");
    memos.Append({20, 20});
    memos.Patch(memos.memo_path, 512 + 4, std::string("\x7F\xFF\xFF\xFF", 4));
    CHECK(memos.Lengths() == "<error> 20 ");
  }
  SUBCASE("blocks of one byte") {
    Memos memos("FoxPro 3.0");
    memos.Patch(memos.memo_path, 0, std::string("\0\0\2\0\0\0\0\0", 8));  // next 512, block 0
    memos.Append({20, 30});
    CHECK(memos.Blocks() == "512 540 ");
    CHECK(memos.Lengths() == "20 30 ");
  }
  SUBCASE("character 26 would end a dBASE III text") {
    Memos memos("dBASE III");
    Folder folder("/d", "dBASE III", memos.disk);
    auto set = folder.Open("M");
    const Status refused = tests::Append(*set, {"x", "a\032b"});
    CHECK(refused.message().find("character 26") != std::string_view::npos);
  }
  SUBCASE("no memo file at all") {
    Memos memos("dBASE III");
    memos.disk.Remove("/d/M.DBT");
    Folder folder("/d", "dBASE III", memos.disk);
    const auto opened = folder->OpenRecordset("M", RecordsetType::kTable);
    CHECK(opened.status().message().find("'/d/M.DBT' is missing") != std::string_view::npos);
  }
}

}  // namespace kelvorin::tests
