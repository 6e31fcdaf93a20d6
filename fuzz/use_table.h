#pragma once
// What the fuzzers of drivers do to a table that nobody should trust: read it in every order, both
// ways, seek in it, write to it. Every call may fail; none may do harm.

#include <string>
#include <string_view>
#include <vector>

#include "database/database.h"
#include "database/recordset.h"

namespace kelvorin::fuzz {

inline void ReadFields(database::Recordset& set) {
  std::string text;
  bool null = false;
  for (std::size_t i = 0; i < set.FieldCount(); ++i) (void)set.Fields(i).GetText(text, null);
}

inline void ReadAll(database::Recordset& set) {
  constexpr int kMaxRecords = 200;
  for (int steps = 0; !set.Eof() && steps < kMaxRecords; ++steps) {
    ReadFields(set);
    if (!set.MoveNext().ok()) break;
  }
  (void)set.Move(-3);
  ReadFields(set);
  if (!set.MoveLast().ok()) return;
  database::Bookmark last;
  (void)set.GetBookmark(last);
  for (int steps = 0; !set.Bof() && steps < kMaxRecords; ++steps)
    if (!set.MovePrevious().ok()) break;
  (void)set.SetBookmark(last);
}

inline void Write(database::Recordset& set) {
  for (const char* text : {"1000", "7", "7", "2002-03-04", "zebra"}) {
    if (!set.AddNew().ok()) return;
    for (std::size_t i = 0; i < set.FieldCount(); ++i)
      (void)set.Fields(i).SetText(i == 0 && text[0] == '2' ? "-5" : text);
    (void)set.Update();
  }
  for (const std::size_t length : {1u, 110u, 5000u}) {
    if (set.MoveFirst().ok() && set.Edit().ok()) {
      for (std::size_t i = 0; i < set.FieldCount(); ++i)
        (void)set.Fields(i).SetText(std::string(length, '1'));
      if (set.Update().ok()) ReadFields(set);
    }
    for (int i = 0; i < 2 && set.MoveLast().ok(); ++i) (void)set.Delete();
    (void)set.MoveNext();
  }
  (void)set.Close();
}

inline void UseTable(database::Database& database, std::string_view table) {
  using database::SeekComparison;
  auto opened = database.OpenRecordset(table, database::RecordsetType::kTable);
  if (!opened.ok()) return;
  database::Recordset& set = **opened;
  ReadAll(set);
  const std::vector<database::IndexDef> indexes = set.Def().Indexes;
  for (const database::IndexDef& index : indexes) {
    if (!set.SetIndex(index.Name).ok()) continue;
    ReadAll(set);
    const std::string_view keys[] = {"7"};
    for (const auto comparison : {SeekComparison::kEqual, SeekComparison::kGreaterEqual,
                                  SeekComparison::kLessEqual, SeekComparison::kLess})
      (void)set.SeekText(comparison, keys);
    ReadFields(set);
  }
  (void)set.SetIndex("");
  Write(set);
}

}  // namespace kelvorin::fuzz
