#include "database/xbase/inspect.h"

#include "database/xbase/index_inspect.h"

#include <algorithm>
#include <cstdint>

namespace kelvorin::database::xbase {
namespace {

constexpr std::size_t kMaxProblems = 100;

/// Blocks of the memo file that one value stands in.
struct Extent {
  std::uint32_t first = 0;
  std::uint64_t blocks = 0;
  std::uint32_t record = 0;
};

class Inspection {
 public:
  Inspection(Table& table, std::vector<std::string>& problems)
      : table_(table), problems_(problems), limit_(problems.size() + kMaxProblems) {}

  void Run() {
    CheckHeader();
    for (std::uint32_t record = 1; record <= table_.RecordCount() && !Enough(); ++record)
      CheckRecord(record);
    CheckEnd();
    CheckMemoFile();
  }

 private:
  bool Enough() const noexcept { return problems_.size() >= limit_; }
  void Add(const std::string& what) {
    if (!Enough()) problems_.push_back("table file '" + table_.path() + "': " + what);
  }

  void CheckHeader() {
    const TableLayout& layout = table_.layout();
    if (layout.record_count > table_.RecordCount())  // invariant 1
      Add("its header claims " + std::to_string(layout.record_count) + " records, but it holds " +
          std::to_string(table_.RecordCount()));
    if (layout.fields_bytes != layout.record_bytes)  // invariant 2
      Add("its fields take " + std::to_string(layout.fields_bytes) + " bytes of records of " +
          std::to_string(layout.record_bytes));
    if (static_cast<std::uint32_t>(layout.null_bits) > layout.null_flags_bytes * 8)  // invariant 6
      Add("its fields need " + std::to_string(layout.null_bits) + " null flags, but there are " +
          std::to_string(layout.null_flags_bytes * 8));
  }

  void CheckRecord(std::uint32_t record) {
    const base::ByteSpan stored = table_.View(record);
    row_.assign(stored.begin(), stored.end());
    const std::string which = "record " + std::to_string(record);
    if (row_[0] != kLive && row_[0] != kDeleted)  // invariant 3
      Add(which + " begins with byte " + std::to_string(std::to_integer<int>(row_[0])));
    if (row_[0] == kDeleted) return;
    for (const Column& column : table_.layout().columns) {
      if (InMemoFile(column)) {
        CheckMemo(column, record);
        continue;
      }
      values::Value value;  // invariant 5
      if (!table_.codec().Decode(column, row_, scratch_, value))
        Add("field '" + column.name + "' of " + which + " " +
            table_.codec().WhatIsWrong(column, row_));
    }
  }

  void CheckMemo(const Column& column, std::uint32_t record) {
    std::uint32_t block = 0;  // invariant 7
    std::string wrong = table_.codec().DecodeBlock(column, row_, block);
    if (wrong.empty() && block != 0) {
      wrong = table_.memo()->Read(block, scratch_);
      if (wrong.empty()) extents_.push_back({block, table_.memo()->Occupied(block), record});
    }
    if (!wrong.empty())
      Add("field '" + column.name + "' of record " + std::to_string(record) + " " + wrong);
  }

  void CheckEnd() {
    const TableLayout& layout = table_.layout();
    const std::uint64_t end =
        layout.header_bytes + std::uint64_t{table_.RecordCount()} * layout.record_bytes;
    const storage::Store& store = table_.store();
    if (store.Size(storage::kMainFile) <= end) return;  // not every program writes the mark
    const std::byte mark = table_.ByteAt(end);          // invariant 4
    if (mark != kEndOfTable)
      Add("byte " + std::to_string(std::to_integer<int>(mark)) + " follows its last record");
  }

  void CheckMemoFile() {
    if (table_.memo() == nullptr || Enough()) return;
    table_.memo()->Inspect(problems_);  // invariant 8
    for (const MemoFile::Run& run : table_.memo()->FreeRuns())
      extents_.push_back({run.block, run.blocks, 0});
    std::sort(extents_.begin(), extents_.end(),
              [](const Extent& a, const Extent& b) { return a.first < b.first; });
    for (std::size_t i = 1; i < extents_.size(); ++i) {  // invariant 9
      const Extent& before = extents_[i - 1];
      const Extent& after = extents_[i];
      if (before.first + before.blocks <= after.first) continue;
      const auto whose = [](const Extent& extent) {
        return extent.record == 0 ? std::string("a free run")
                                  : "record " + std::to_string(extent.record);
      };
      Add("block " + std::to_string(after.first) + " of its memo file belongs to " + whose(before) +
          " and to " + whose(after));
    }
  }

  Table& table_;
  std::vector<std::string>& problems_;
  std::size_t limit_;
  std::vector<std::byte> row_;
  std::string scratch_;
  std::vector<Extent> extents_;
};

}  // namespace

void InspectTable(Table& table, std::vector<std::string>& problems) {
  Inspection(table, problems).Run();
  InspectIndexes(table, problems);
}

}  // namespace kelvorin::database::xbase
