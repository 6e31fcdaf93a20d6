// Keyed Paradox tables of ten fields: appending in the order of the keys and in none, with a
// secondary index, seeking, and reading every value as text, the same also on a dBASE table. CPU
// time per record in one run, and the peak of the process's memory.
//     paradox_bench [RECORDS] [FOLDER] [PART]

#include <sys/resource.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/M_FILE.h"
#include "base/M_Misc.h"
#include "database/drivers/register_drivers.h"

namespace kelvorin::bench {
namespace {

using database::RecordsetType;
using values::TypeCode;

constexpr std::size_t kFields = 10;
constexpr std::array<TypeCode, kFields> kTypes = {
    TypeCode::kLong,    TypeCode::kText, TypeCode::kText,   TypeCode::kDouble,  TypeCode::kDate,
    TypeCode::kBoolean, TypeCode::kText, TypeCode::kDouble, TypeCode::kInteger, TypeCode::kText};
constexpr std::array<int, kFields> kSizes = {0, 24, 16, 0, 0, 0, 6, 0, 0, 20};

void Must(const Status& status) {
  if (status.ok()) return;
  std::fprintf(stderr, "%s\n", std::string(status.message()).c_str());
  std::exit(1);
}

/// A number below `count` for each `i` below it, each once, in no order.
std::uint32_t Shuffled(std::uint32_t i, std::uint32_t count) {
  constexpr std::uint64_t kStep = 2'654'435'761;  // a prime larger than any count
  return static_cast<std::uint32_t>(i * kStep % count);
}

struct Table {
  const char* connect;
  const char* name;
  bool keyed;
  bool indexed;
};

class Bench {
 public:
  Bench(std::string folder, std::uint32_t count) : folder_(std::move(folder)), count_(count) {
    database::RegisterDrivers(engine_);
    for (int i = 0; i < 1000; ++i) {
      std::array<char, 16> date{};
      std::snprintf(date.data(), date.size(), "%04d-%02d-%02d", 1950 + i % 60, 1 + i % 12,
                    1 + i % 28);
      rows_.push_back({"", "Name of customer " + std::to_string(i), "Springfield",
                       std::to_string(i * 37) + ".25", date.data(), i % 2 != 0 ? "True" : "False",
                       "C" + std::to_string(i % 97), "0." + std::to_string(1 + i % 9),
                       std::to_string(i % 500), "ordinary remark"});
    }
  }

  double Append(const Table& table, bool shuffled) {
    auto database = Open(table);
    (void)database->DeleteTable(table.name);
    database::TableDef def;
    def.Name = table.name;
    for (std::size_t i = 0; i < kFields; ++i) {
      database::FieldDef field;
      field.Name = "F" + std::to_string(i);
      field.Type = kTypes[i];
      field.Size = kSizes[i];
      def.Fields.push_back(field);
    }
    const auto index = [&](const char* name, const char* field, bool primary) {
      database::IndexDef made;
      made.Name = name;
      made.Columns = database::ParseIndexFields(field);
      made.Primary = made.Unique = primary;
      def.Indexes.push_back(made);
    };
    if (table.keyed) index("PrimaryKey", "+F0", true);
    if (table.indexed) index("F1", "+F1", false);
    Must(database->CreateTable(def));
    auto set = Records(*database, table);
    return Nanoseconds([&] {
      for (std::uint32_t n = 0; n < count_; ++n) {
        const auto& row = rows_[n % rows_.size()];
        Must(set->AddNew());
        key_ = std::to_string(shuffled ? Shuffled(n, count_) : n);
        Must(set->Fields(0).SetText(key_));
        for (std::size_t i = 1; i < kFields; ++i) Must(set->Fields(i).SetText(row[i]));
        Must(set->Update());
      }
      Must(set->Close());
    });
  }

  double Scan(const Table& table) {
    auto database = Open(table, true);
    auto set = Records(*database, table);
    std::string text;
    return Nanoseconds([&] {
      while (!set->Eof()) {
        for (std::size_t i = 0; i < kFields; ++i) {
          bool null = false;
          Must(set->Fields(i).GetText(text, null));
        }
        Must(set->MoveNext());
      }
    });
  }

  double Seek(const Table& table, const char* index_name, std::uint32_t among) {
    auto database = Open(table, true);
    auto set = Records(*database, table);
    Must(set->SetIndex(index_name));
    return Nanoseconds([&] {
      for (std::uint32_t n = 0; n < count_; ++n) {
        values::Value key;
        key.kind = values::Kind::kInteger;
        key.integer = Shuffled(n, count_) % among;
        Must(set->Seek(database::SeekComparison::kEqual, {&key, 1}));
        if (set->NoMatch()) std::exit(3);
      }
    });
  }

 private:
  std::unique_ptr<database::Database> Open(const Table& table, bool read_only = false) {
    auto opened = engine_.OpenDatabase(folder_, !read_only, read_only, table.connect);
    Must(opened.status());
    return *std::move(opened);
  }
  static std::unique_ptr<database::Recordset> Records(database::Database& database,
                                                      const Table& table) {
    auto opened = database.OpenRecordset(table.name, RecordsetType::kTable);
    Must(opened.status());
    return *std::move(opened);
  }
  double Nanoseconds(const std::function<void()>& pass) const {
    const std::int64_t start = base::CpuNanoseconds();
    pass();
    return static_cast<double>(base::CpuNanoseconds() - start) / count_;
  }

  std::string folder_;
  std::uint32_t count_;
  std::string key_;
  database::DBEngine engine_;
  std::vector<std::array<std::string, kFields>> rows_;
};

void Show(const char* what, double nanoseconds) {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  std::printf("%-40s %6.0f ns a record   peak so far %3ld MiB\n", what, nanoseconds,
              usage.ru_maxrss / 1024);
}

int Main(int argc, char** argv) {
  const int count = argc > 1 ? std::atoi(argv[1]) : 1'000'000;
  const std::string folder = argc > 2 ? argv[2] : "/tmp/kelvorin-paradox-bench";
  if (count < 1000 || !base::MakeFolders(folder).ok()) return 2;
  Bench bench(folder, static_cast<std::uint32_t>(count));
  const Table dbase{"dBASE III", "DBASE", false, false},
      plain{"Paradox 5.x", "PLAIN", false, false}, keyed{"Paradox 5.x", "KEYED", true, false},
      indexed{"Paradox 5.x", "INDEXED", true, true};
  const std::string only = argc > 3 ? argv[3] : "";
  // The part is named by how its lines begin.
  const auto part = [&](const char* name, const std::function<double()>& measure) {
    double found = 0;
    if (std::string_view(name).starts_with(only)) Show(name, found = measure());
    return found;
  };
  const auto all = static_cast<std::uint32_t>(count);
  part("dBASE, append", [&] { return bench.Append(dbase, false); });
  const double other = part("dBASE, read", [&] { return bench.Scan(dbase); });
  part("no key, append", [&] { return bench.Append(plain, false); });
  part("keyed, append in order", [&] { return bench.Append(keyed, false); });
  const double scan = part("keyed, read", [&] { return bench.Scan(keyed); });
  if (other > 0) std::printf("%-40s %6.2f\n", "reading, ratio to dBASE", scan / other);
  part("keyed, seek near the front (cached)",
       [&] { return bench.Seek(keyed, "PrimaryKey", 10'000); });
  part("keyed, seek anywhere", [&] { return bench.Seek(keyed, "PrimaryKey", all); });
  part("indexed, append in order", [&] { return bench.Append(indexed, false); });
  part("shuffled, keyed", [&] { return bench.Append(keyed, true); });
  part("shuffled, one index", [&] { return bench.Append(indexed, true); });
  for (const Table& table : {dbase, plain, keyed, indexed}) {
    auto gone = database::DBEngine();
    database::RegisterDrivers(gone);
    auto opened = gone.OpenDatabase(folder, true, false, table.connect);
    Must(opened.status());
    (void)(*opened)->DeleteTable(table.name);
  }
  return 0;
}

}  // namespace
}  // namespace kelvorin::bench

int main(int argc, char** argv) {
  return kelvorin::bench::Main(argc, argv);
}
