// Appending to and scanning dBASE and FoxPro tables against bare stdio loops over the same bytes,
// as ratios of CPU time in the same run. The best of several interleaved passes counts, because a
// busy machine only ever adds time.
//     xbase_bench [RECORDS] [FOLDER] [KIND]
// With a kind ("FoxPro 3.0") this one alone is measured, its indexes first, so that the peak of
// memory printed there is theirs.

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <sys/resource.h>

#include "base/M_FILE.h"
#include "base/M_Misc.h"
#include "database/drivers/register_drivers.h"

namespace kelvorin::bench {
namespace {

using database::FieldDef;
using database::RecordsetType;
using database::TableDef;
using enum database::TypeCode;

constexpr int kPasses = 5;
constexpr std::size_t kFields = 10;
constexpr int kDistinct = 1000;

struct FieldPlan {
  const char* name;
  database::TypeCode type;
  int bytes;
  int decimals;
  char letter;
};
constexpr std::array<FieldPlan, kFields> kPlan = {{
    {"ID", kNumeric, 8, 0, 'N'},
    {"NAME", kText, 24, 0, 'C'},
    {"CITY", kText, 16, 0, 'C'},
    {"AMOUNT", kNumeric, 12, 2, 'N'},
    {"BORN", kDate, 8, 0, 'D'},
    {"ACTIVE", kBoolean, 1, 0, 'L'},
    {"CODE", kText, 6, 0, 'C'},
    {"RATE", kNumeric, 8, 4, 'N'},
    {"VISITS", kNumeric, 5, 0, 'N'},
    {"REMARK", kText, 20, 0, 'C'},
}};
using Record = std::array<std::string, kFields>;

std::vector<Record> MakeRecords() {
  std::vector<Record> records;
  for (int i = 0; i < kDistinct; ++i) {
    char date[16], amount[32], rate[32];
    std::snprintf(date, sizeof date, "%04d-%02d-%02d", 1950 + i % 60, 1 + i % 12, 1 + i % 28);
    std::snprintf(amount, sizeof amount, "%d.%02d", i * 37, i % 100);
    std::snprintf(rate, sizeof rate, "0.%04d", i * 7 % 10000);
    records.push_back({std::to_string(i), "Name of customer " + std::to_string(i), "Springfield",
                       amount, date, i % 2 != 0 ? "True" : "False", "C" + std::to_string(i % 97),
                       rate, std::to_string(i % 500), "ordinary remark"});
  }
  return records;
}

/// Formats each text into a row and writes it; what any writer of this file must do at least.
void BareAppend(const std::string& path, const std::vector<Record>& records, int count) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) std::exit(1);
  std::array<char, 256> row;
  for (int n = 0; n < count; ++n) {
    const Record& record = records[static_cast<std::size_t>(n) % records.size()];
    char* out = row.data();
    *out++ = ' ';
    for (std::size_t i = 0; i < kFields; ++i) {
      const std::string& text = record[i];
      const auto width = static_cast<std::size_t>(kPlan[i].bytes);
      std::memset(out, ' ', width);
      switch (kPlan[i].letter) {
        case 'N':
          std::memcpy(out + width - text.size(), text.data(), text.size());
          break;
        case 'D':
          std::memcpy(out, text.data(), 4);
          std::memcpy(out + 4, text.data() + 5, 2);
          std::memcpy(out + 6, text.data() + 8, 2);
          break;
        case 'L':
          *out = text[0];
          break;
        default:
          std::memcpy(out, text.data(), text.size());
          break;
      }
      out += width;
    }
    std::fwrite(row.data(), 1, static_cast<std::size_t>(out - row.data()), file);
  }
  std::fclose(file);
}

/// Reads records and trims each field into a text that is used again.
std::size_t BareScan(const std::string& path, std::size_t header_bytes) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) std::exit(1);
  std::size_t record_bytes = 1;
  for (const FieldPlan& field : kPlan) record_bytes += static_cast<std::size_t>(field.bytes);
  std::vector<char> row(record_bytes);
  std::fseek(file, static_cast<long>(header_bytes), SEEK_SET);
  std::array<std::string, kFields> texts;
  std::size_t bytes = 0;
  while (std::fread(row.data(), 1, record_bytes, file) == record_bytes) {
    const char* at = row.data() + 1;
    for (std::size_t i = 0; i < kFields; ++i) {
      const char* first = at;
      const char* end = at += kPlan[i].bytes;
      while (first < end && *first == ' ') ++first;
      while (end > first && end[-1] == ' ') --end;
      texts[i].assign(first, end);
      bytes += texts[i].size();
    }
  }
  std::fclose(file);
  return bytes;
}

class Ours {
 public:
  Ours(const std::string& folder, const char* connect) {
    database::RegisterDrivers(engine_);
    auto opened = engine_.OpenDatabase(folder, true, false, connect);
    Must(opened.status());
    database_ = *std::move(opened);
  }

  /// `indexes`: how many of its first two fields have one.
  void MakeTable(const char* name, std::size_t indexes = 0) {
    if (const Status gone = database_->DeleteTable(name); !gone.ok()) (void)gone;
    TableDef def;
    def.Name = name;
    for (const FieldPlan& plan : kPlan) {
      FieldDef field;
      field.Name = plan.name;
      field.Type = plan.type;
      field.Size = plan.type == kDate || plan.type == kBoolean ? 0 : plan.bytes;
      field.Decimals = plan.decimals;
      def.Fields.push_back(field);
    }
    for (std::size_t i = 0; i < indexes; ++i) {
      database::IndexDef& index = def.Indexes.emplace_back();
      index.Name = std::string("BY") + kPlan[i].name;
      index.Columns = {{kPlan[i].name, false}};
    }
    Must(database_->CreateTable(def));
  }

  void Append(const char* name, const std::vector<Record>& records, int count) {
    auto set = Open(name);
    for (int n = 0; n < count; ++n) {
      const Record& record = records[static_cast<std::size_t>(n) % records.size()];
      Must(set->AddNew());
      for (std::size_t i = 0; i < kFields; ++i) Must(set->Fields(i).SetText(record[i]));
      Must(set->Update());
    }
    Must(set->Close());
  }

  /// Keys of record n: a number of eight digits and a text with it.
  static void SetKeys(int n, bool random, std::string& number, std::string& text) {
    const auto place = static_cast<std::uint32_t>(n);
    char digits[16];
    std::snprintf(digits, sizeof digits, "%08u",
                  random ? place * 2654435761u % 100'000'000u : place);
    number.assign(digits);
    text.assign("Customer ").append(digits);
  }

  void AppendKeys(const char* name, const std::vector<Record>& records, int count, bool random) {
    auto set = Open(name);
    Record record = records[0];
    for (int n = 0; n < count; ++n) {
      SetKeys(n, random, record[0], record[1]);
      Must(set->AddNew());
      for (std::size_t i = 0; i < kFields; ++i) Must(set->Fields(i).SetText(record[i]));
      Must(set->Update());
    }
    Must(set->Close());
  }

  /// Looks up `count` keys in random order, those of the first `among` records; returns how many
  /// were found.
  int Seek(const char* name, const char* index, int count, int among) {
    auto set = Open(name);
    Must(set->SetIndex(index));
    std::string number, text;
    int found = 0;
    for (int n = 0; n < count; ++n) {
      SetKeys(static_cast<int>(static_cast<std::int64_t>(n) * 7919 % among), true, number, text);
      const std::string_view key[] = {text};
      Must(set->SeekText(database::SeekComparison::kEqual, key));
      found += set->NoMatch() ? 0 : 1;
    }
    Must(set->Close());
    return found;
  }

  void Reindex(const char* name) { Must(database_->RebuildIndexes(name).status()); }

  std::size_t Scan(const char* name) {
    auto set = Open(name);
    std::string text;
    std::size_t bytes = 0;
    while (!set->Eof()) {
      for (std::size_t i = 0; i < kFields; ++i) {
        bool null = false;
        Must(set->Fields(i).GetText(text, null));
        bytes += text.size();
      }
      Must(set->MoveNext());
    }
    Must(set->Close());
    return bytes;
  }

 private:
  static void Must(const Status& status) {
    if (status.ok()) return;
    std::fprintf(stderr, "%s\n", std::string(status.message()).c_str());
    std::exit(1);
  }
  std::unique_ptr<database::Recordset> Open(const char* name) {
    auto opened = database_->OpenRecordset(name, RecordsetType::kTable);
    Must(opened.status());
    return *std::move(opened);
  }

  database::DBEngine engine_;
  std::unique_ptr<database::Database> database_;
};

double Seconds(const std::function<void()>& pass) {
  const std::int64_t start = base::CpuNanoseconds();
  pass();
  return static_cast<double>(base::CpuNanoseconds() - start) * 1e-9;
}

void Compare(const char* what, int count, const std::function<void()>& bare,
             const std::function<void()>& ours, const std::function<void()>& before) {
  double best_bare = 1e9, best_ours = 1e9;
  for (int pass = 0; pass < kPasses; ++pass) {
    best_bare = std::min(best_bare, Seconds(bare));
    before();
    best_ours = std::min(best_ours, Seconds(ours));
  }
  std::printf("%-28s bare %5.0f ns/record  ours %5.0f ns/record  ratio %.2f\n", what,
              best_bare * 1e9 / count, best_ours * 1e9 / count, best_ours / best_bare);
}

/// The most memory the process has held so far, in MiB.
double PeakMebibytes() {
  rusage usage{};
  (void)getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024;
}

/// Appends with no, one and two indexes in one run, so that the difference is what an index costs.
void CompareIndexes(Ours& ours, const std::vector<Record>& records, int count) {
  for (const bool random : {false, true}) {
    std::array<double, 3> best;
    best.fill(1e9);
    for (int pass = 0; pass < kPasses - 2; ++pass) {
      for (std::size_t indexes = 0; indexes < best.size(); ++indexes) {
        ours.MakeTable("BENCH", indexes);
        best[indexes] = std::min(
            best[indexes], Seconds([&] { ours.AppendKeys("BENCH", records, count, random); }));
      }
    }
    std::printf(
        "append, %s keys            no index %.2f  one %.2f  two %.2f us/record, peak %.1f MiB\n",
        random ? "random" : "sorted", best[0] * 1e6 / count, best[1] * 1e6 / count,
        best[2] * 1e6 / count, PeakMebibytes());
  }
  int found = 0;
  double seek = 1e9, cached = 1e9, reindex = 1e9;
  constexpr int kCachedRecords = 50'000;
  for (int pass = 0; pass < 2; ++pass) {
    seek = std::min(seek, Seconds([&] { found = ours.Seek("BENCH", "BYNAME", count, count); }));
    cached = std::min(cached, Seconds([&] {
                        (void)ours.Seek("BENCH", "BYNAME", count, std::min(count, kCachedRecords));
                      }));
    reindex = std::min(reindex, Seconds([&] { ours.Reindex("BENCH"); }));
  }
  std::printf(
      "seek %.2f us (%d of %d found), in the cache %.2f us, reindex of two %.2f s, peak %.1f "
      "MiB\n",
      seek * 1e6 / count, found, count, cached * 1e6 / count, reindex, PeakMebibytes());
}

int Main(int argc, char** argv) {
  const int count = argc > 1 ? std::atoi(argv[1]) : 500'000;
  const std::string folder = argc > 2 ? argv[2] : "/tmp/kelvorin-xbase-bench";
  if (count < 1 || !base::MakeFolders(folder).ok()) return 2;
  const std::vector<Record> records = MakeRecords();
  const std::string bare_file = base::JoinPath(folder, "bare.bin");
  const std::string only = argc > 3 ? argv[3] : "";
  for (const char* connect : {"dBASE III", "FoxPro 3.0"}) {
    if (!only.empty() && only != connect) continue;
    Ours ours(folder, connect);
    std::printf("%s, %d records of ten fields\n", connect, count);
    if (!only.empty()) {
      CompareIndexes(ours, records, count);
      continue;
    }
    Compare(
        "append texts", count, [&] { BareAppend(bare_file, records, count); },
        [&] { ours.Append("BENCH", records, count); }, [&] { ours.MakeTable("BENCH"); });
    Compare(
        "scan to texts", count, [&] { (void)BareScan(bare_file, 0); },
        [&] { (void)ours.Scan("BENCH"); }, [] {});
    CompareIndexes(ours, records, count);
  }
  for (const char* name : {"bare.bin", "BENCH.DBF"})
    (void)base::DeleteFile(base::JoinPath(folder, name));
  return 0;
}

}  // namespace
}  // namespace kelvorin::bench

int main(int argc, char** argv) {
  return kelvorin::bench::Main(argc, argv);
}
