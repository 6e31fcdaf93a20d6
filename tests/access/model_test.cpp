// Random work on tables compared with a plain list of what they should hold, and the files checked
// by us and by others.

#include "base/code_page.h"
#include "tests/access/access_support.h"
#include "tests/storage/support/memory_files.h"
#include "tests/support/places.h"
#include "tests/support/temp_folder.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <set>

namespace kelvorin::tests {
namespace {

/// Steps on one file, and how many of them go by between two inspections of the table and between
/// two copies for the independent checker. KELVORIN_MODEL_STEPS=10000 asks for the long form, which
/// inspects after every step.
struct Length {
  int steps;
  int inspect_every = 40;
  int check_every = 50;
};
Length LengthOf(int usual) {
  const char* asked = std::getenv("KELVORIN_MODEL_STEPS");
  if (asked == nullptr) return {usual};
  const int steps = std::max(std::atoi(asked), 20);
  return {steps, 1, steps / 20};
}

/// Copies of one file as it was on the way, checked by others all at once: their program takes
/// longer to start than to check.
class Copies {
 public:
  explicit Copies(std::string name) : name_(std::move(name)) {}
  void Take(const std::string& bytes) {
    WriteWhole(folder_.File(std::to_string(count_++) + "_" + name_), bytes);
    last_ = bytes;
  }
  /// KELVORIN_KEEP_FILES names a folder for the last one.
  void Check() {
    if (const char* keep = std::getenv("KELVORIN_KEEP_FILES"))
      WriteWhole(std::string(keep) + "/" + name_, last_);
    CheckSoundFile(folder_.path() + "/*_" + name_);
  }

 private:
  TempFolder folder_;
  std::string name_, last_;
  int count_ = 0;
};

class RandomRun {
 public:
  RandomRun(AccessFile& file, const std::string& table, unsigned seed, bool wide)
      : set_(file.Open(table)), random_(seed), wide_(wide) {
    for (const FieldDef& field : set_->Def().Fields) skip_.push_back(field.AutoIncrement);
    model_ = Rows();
  }
  /// Takes that many steps, by which the table grows and then shrinks; `copy` takes a copy of the
  /// flushed file.
  template <typename F>
  void Play(AccessFile& file, const std::string& table, int steps, const Length& length, F&& copy) {
    for (int i = 1; i <= steps; ++i) {
      CAPTURE(i);
      const bool growing = i < steps * 2 / 3;
      const unsigned kind = Below(100);
      if (model_.empty() || kind < (growing ? 50u : 15u)) {
        Add();
      } else {
        if (!set_->Move(Below(20)).ok() || set_->Eof()) REQUIRE(set_->MoveFirst().ok());
        kind < (growing ? 80u : 50u) ? Edit() : Delete();
      }
      if (i % length.inspect_every == 0) CheckSound(*file, table);
      if (i % length.check_every != 0) continue;
      REQUIRE(set_->Flush().ok());
      copy();
    }
    CHECK(Rows() == model_);
    CHECK(set_->RecordCount().value_or(-1) == static_cast<std::int64_t>(model_.size()));
  }
  int done() const { return done_; }

 private:
  unsigned Below(unsigned end) { return static_cast<unsigned>(random_() % end); }

  /// The current record; automatic numbers are not known before.
  std::string Shown() {
    std::string line;
    const Texts texts = TextsOf(*set_);
    for (std::size_t i = 0; i < texts.size(); ++i) line += (skip_[i] ? "*" : texts[i]) + "|";
    return line;
  }
  std::multiset<std::string> Rows() {
    std::multiset<std::string> rows;
    for ((void)set_->MoveFirst(); !set_->Eof(); (void)set_->MoveNext()) rows.insert(Shown());
    return rows;
  }

  std::string Text(std::size_t most) {
    static const char* const kWords[] = {"Alpha",  "beta",  "co-op",  "O'Brien", "été",
                                         "Zoë",    "naïve", "Straße", "x  ",     " lead",
                                         "résumé", "1001",  "a-b-c",  "MŒUF"};
    static const char* const kWide[] = {"ツール", "日本語", "Привет", "Ωmega", "smile😀"};
    std::string text;
    for (unsigned n = Below(4); text.size() < most && n != 0; n -= n > 1 && most > 300 ? 0 : 1) {
      text += wide_ && Below(4) == 0 ? kWide[Below(5)] : kWords[Below(14)];
      if (Below(3) == 0) text += ' ';
      if (Below(900) == 0) break;
    }
    return std::string(base::CutToCharacters(text, most / 2));
  }

  std::string Value(const FieldDef& field) {
    switch (field.Type) {
      case TypeCode::kBoolean:
        return Below(2) == 0 ? "True" : "False";
      case TypeCode::kByte:
        return std::to_string(Below(256));
      case TypeCode::kInteger:
        return std::to_string(static_cast<int>(Below(65536)) - 32768);
      case TypeCode::kLong:
        return std::to_string(static_cast<int>(Below(20000)) - 5000);
      case TypeCode::kCurrency:
      case TypeCode::kSingle:
      case TypeCode::kDouble:
        return std::to_string(static_cast<int>(Below(2000000)) - 1000000) + "." +
               std::to_string(Below(100));
      case TypeCode::kDecimal:
        return std::to_string(static_cast<int>(Below(2000000)) - 1000000);
      case TypeCode::kDate:
        return std::to_string(1800 + Below(400)) + "-0" + std::to_string(1 + Below(9)) + "-1" +
               std::to_string(Below(9)) + " 0" + std::to_string(Below(9)) + ":12:34";
      case TypeCode::kGuid:  // some of them again
        return "{00000000-0000-4000-8000-00000000" + std::to_string(1000 + Below(8000)) + "}";
      default:
        return Text(static_cast<std::size_t>(field.Size));
    }
  }

  /// Assigns a field something new; false when it was refused.
  bool Assign(std::size_t i) {
    const FieldDef& field = set_->Def().Fields[i];
    if (field.Type == TypeCode::kBinary || field.Type == TypeCode::kLongBinary) {
      static const std::size_t kSizes[] = {0, 7, 60, 64, 65, 300, 2031, 4076, 4077, 15000};
      const std::size_t size = field.Type == TypeCode::kBinary
                                   ? Below(static_cast<unsigned>(field.Size) + 1)
                                   : kSizes[Below(10)];
      bytes_.resize(size);
      for (char& c : bytes_) c = static_cast<char>(Below(256));
      return set_->Fields(i).SetValue(values::Value::Bytes(bytes_)).ok();
    }
    if (Below(8) == 0 && field.Type != TypeCode::kBoolean)
      return set_->Fields(i).SetValue(values::Value::Null()).ok();
    if (field.Type == TypeCode::kMemo)
      return set_->Fields(i).SetText(Text(Below(9) == 0 ? 12000 : 90)).ok();
    return set_->Fields(i).SetText(Value(field)).ok();
  }

  void Add() {
    REQUIRE(set_->AddNew().ok());
    for (std::size_t i = 0; i < set_->FieldCount(); ++i)
      if (!skip_[i] && !Assign(i)) return (void)set_->CancelUpdate();
    const std::string row = Shown();
    const Status stored = set_->Update();
    if (!stored.ok()) return Refused(stored);
    model_.insert(row);
    ++done_;
  }

  void Edit() {
    const std::string before = Shown();
    REQUIRE(set_->Edit().ok());
    for (unsigned n = 1 + Below(3); n > 0; --n) {
      const std::size_t i = Below(static_cast<unsigned>(set_->FieldCount()));
      if (!skip_[i] && !Assign(i)) return (void)set_->CancelUpdate();
    }
    const std::string after = Shown();
    const Status stored = set_->Update();
    if (!stored.ok()) {
      CHECK(Shown() == before);
      return Refused(stored);
    }
    CHECK(Shown() == after);
    model_.erase(model_.find(before));
    model_.insert(after);
    ++done_;
  }

  void Delete() {
    const std::string before = Shown();
    const Status deleted = set_->Delete();
    if (!deleted.ok()) return Refused(deleted);
    model_.erase(model_.find(before));
    ++done_;
  }

  void Refused(const Status& status) {
    const Code code = status.code();
    CHECK_MESSAGE((code == Code::kDuplicateKey || code == Code::kRequired ||
                   code == Code::kIntegrity || code == Code::kTooLong),
                  status.message());
  }

  std::unique_ptr<Recordset> set_;
  std::mt19937 random_;
  bool wide_;
  std::vector<bool> skip_;
  std::multiset<std::string> model_;
  std::string bytes_;
  int done_ = 0;
};

TableDef EveryKind() {
  TableDef def;
  def.Name = "Every Kind";
  def.Fields = {MakeField("Id", TypeCode::kLong),      MakeField("Name", TypeCode::kText, 60),
                MakeField("Code", TypeCode::kLong),    MakeField("Amount", TypeCode::kCurrency),
                MakeField("Ratio", TypeCode::kDouble), MakeField("Single", TypeCode::kSingle),
                MakeField("When", TypeCode::kDate),    MakeField("Flag", TypeCode::kBoolean),
                MakeField("Tiny", TypeCode::kByte),    MakeField("Small", TypeCode::kInteger),
                MakeField("Guid", TypeCode::kGuid),    MakeField("Bin", TypeCode::kBinary, 40),
                MakeField("Memo", TypeCode::kMemo),    MakeField("Ole", TypeCode::kLongBinary),
                MakeField("Dec", TypeCode::kDecimal)};
  def.Fields[0].AutoIncrement = true;
  def.Indexes = {MakeIndex("PrimaryKey", "+Id", true, true),
                 MakeIndex("Names", "+Name;-Small"),
                 MakeIndex("Codes", "-Code", true),
                 MakeIndex("Whens", "-When"),
                 MakeIndex("Mixed", "+Flag;-Tiny;+Amount"),
                 MakeIndex("Guids", "-Guid"),
                 MakeIndex("Bins", "-Bin"),
                 MakeIndex("Memos", "+Memo"),
                 MakeIndex("Down", "-Name")};
  def.Indexes[3].IgnoreNulls = true;
  return def;
}

}  // namespace

TEST_CASE("random work on a new file stays what it should be") {
  REQUIRE(base::SetAnsiPage(base::kUtf8Page).ok());
  for (const char* connect : {"", ";version=97;"}) {
    CAPTURE(std::string(connect));
    MemoryFileSystem disk;
    const std::string path = "/new.mdb";
    Copies copies(*connect == '\0' ? "new4.mdb" : "new3.mdb");
    const auto copy = [&] { copies.Take(disk.Contents(path)); };
    MakeDatabase(path, connect, disk);
    {
      AccessFile file(path, disk);
      const Status made = file->CreateTable(EveryKind());
      REQUIRE_MESSAGE(made.ok(), made.message());
      RandomRun run(file, "Every Kind", 1, *connect == '\0');
      const Length length = LengthOf(1500);
      run.Play(file, "Every Kind", length.steps, length, copy);
      CHECK(run.done() > length.steps / 2);
      CheckSound(*file);
    }
    copy();
    copies.Check();
  }
}

TEST_CASE("random work on copies of other programs' files leaves them sound" *
          doctest::skip(!HasSamples("access"))) {
  const std::string samples = SampleFolder("access");
  REQUIRE(base::SetAnsiPage(base::kUtf8Page).ok());
  unsigned seed = 1;
  for (const auto& entry : std::filesystem::directory_iterator(samples)) {
    const std::string name = entry.path().filename().string();
    if (entry.path().extension() != ".mdb" && entry.path().extension() != ".accdb") continue;
    CAPTURE(name);
    MemoryFileSystem disk;
    disk.Put("/" + name, ReadWhole(entry.path().string()));
    Copies copies(name);
    const auto copy = [&] { copies.Take(disk.Contents("/" + name)); };
    {
      AccessFile file("/" + name, disk, false,
                      name == "j4-password.mdb" ? ";pwd=password;" : ";pwd=;");
      const auto tables = file->TableDefs();
      REQUIRE(tables.ok());
      std::vector<std::string> names;
      for (const database::TableInfo& table : *tables)
        if (table.Attributes == 0 && file->FindTableDef(table.Name)->Updatable)
          names.push_back(table.Name);
      const int count = static_cast<int>(names.size());
      const Length length = LengthOf(120 * count);
      for (const std::string& table : names) {
        CAPTURE(table);
        RandomRun run(file, table, ++seed, !name.starts_with("j3"));
        run.Play(file, table, length.steps / count, length, copy);
      }
      CheckSound(*file);
    }
    copy();
    copies.Check();
  }
}

}  // namespace kelvorin::tests
