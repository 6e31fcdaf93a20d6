// Appending to, reading and seeking in Access tables, as CPU time per record; reading also against
// mdb-export (Debian's mdbtools) over the same file where it is installed.
//     access_bench [RECORDS] [FOLDER]

#include <sys/resource.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/M_Misc.h"
#include "database/access/access_driver.h"
#include "tests/support/definitions.h"

namespace kelvorin::bench {
namespace {

using database::DBEngine;
using database::FieldDef;
using database::IndexDef;
using database::RecordsetType;
using database::TableDef;
using enum database::TypeCode;
using tests::MakeField;

constexpr std::size_t kFields = 10;
using Record = std::array<std::string, kFields>;

void Require(const Status& status) {
  if (status.ok()) return;
  std::fprintf(stderr, "%s\n", std::string(status.message()).c_str());
  std::exit(1);
}

double Seconds(int who) {
  rusage usage{};
  getrusage(who, &usage);
  const auto of = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
  };
  return of(usage.ru_utime) + of(usage.ru_stime);
}

TableDef MakeDef(int indexes) {
  TableDef def;
  def.Name = "T";
  def.Fields = {MakeField("ID", kLong),        MakeField("NAME", kText, 40),
                MakeField("CITY", kText, 30),  MakeField("AMOUNT", kCurrency),
                MakeField("BORN", kDate),      MakeField("ACTIVE", kBoolean),
                MakeField("CODE", kText, 10),  MakeField("RATE", kDouble),
                MakeField("VISITS", kInteger), MakeField("REMARK", kText, 50)};
  const char* const keys[] = {"+ID", "+NAME", "-CODE;+ID"};
  for (int i = 0; i < indexes; ++i) {
    IndexDef index;
    index.Name = "I" + std::to_string(i);
    index.Columns = database::ParseIndexFields(keys[i]);
    index.Unique = i == 0;
    def.Indexes.push_back(index);
  }
  return def;
}

void SetTexts(Record& record, int i) {
  char text[64];
  // The names come in no order, so that an index on them takes entries everywhere.
  const unsigned mixed = static_cast<unsigned>(i) * 2654435761u;
  record[0] = std::to_string(i);
  std::snprintf(text, sizeof text, "Customer %08x", mixed);
  record[1] = text;
  record[2] = "Springfield";
  std::snprintf(text, sizeof text, "%d.%02d", i % 50000, i % 100);
  record[3] = text;
  std::snprintf(text, sizeof text, "%04d-%02d-%02d", 1950 + i % 60, 1 + i % 12, 1 + i % 28);
  record[4] = text;
  record[5] = i % 2 != 0 ? "True" : "False";
  record[6] = "C" + std::to_string(i % 97);
  std::snprintf(text, sizeof text, "0.%04d", i % 10000);
  record[7] = text;
  record[8] = std::to_string(i % 500);
  record[9] = "ordinary remark";
}

/// A database with one table of `count` records; gives CPU seconds of the appending alone.
double Append(DBEngine& engine, const std::string& path, int count, int indexes) {
  std::remove(path.c_str());
  Require(engine.CreateDatabase(path, ""));
  auto opened = engine.OpenDatabase(path, true, false, "");
  Require(opened.ok() ? Status() : opened.status());
  Require((*opened)->CreateTable(MakeDef(indexes)));
  auto set = (*opened)->OpenRecordset("T", RecordsetType::kTable);
  Require(set.ok() ? Status() : set.status());
  constexpr int kBatch = 1000;
  std::vector<Record> records(kBatch);
  double spent = 0;
  for (int done = 0; done < count; done += kBatch) {
    for (int i = 0; i < kBatch; ++i) SetTexts(records[static_cast<std::size_t>(i)], done + i);
    const double start = Seconds(RUSAGE_SELF);
    for (const Record& record : records) {
      Require((*set)->AddNew());
      for (std::size_t f = 0; f < kFields; ++f) Require((*set)->Fields(f).SetText(record[f]));
      Require((*set)->Update());
    }
    spent += Seconds(RUSAGE_SELF) - start;
  }
  const double start = Seconds(RUSAGE_SELF);
  Require((*set)->Close());
  set = std::unique_ptr<database::Recordset>();
  Require((*opened)->Close());
  return spent + Seconds(RUSAGE_SELF) - start;
}

double ReadToCsv(DBEngine& engine, const std::string& path, const std::string& csv) {
  const double start = Seconds(RUSAGE_SELF);
  auto opened = engine.OpenDatabase(path, false, true, "");
  Require(opened.ok() ? Status() : opened.status());
  auto set = (*opened)->OpenRecordset("T", RecordsetType::kTable);
  Require(set.ok() ? Status() : set.status());
  std::FILE* out = std::fopen(csv.c_str(), "wb");
  if (out == nullptr) std::exit(1);
  std::string line, text;
  while (!(*set)->Eof()) {
    line.clear();
    for (std::size_t f = 0; f < kFields; ++f) {
      bool null = false;
      Require((*set)->Fields(f).GetText(text, null));
      line += '"';
      line += text;
      line += "\",";
    }
    line.back() = '\n';
    std::fwrite(line.data(), 1, line.size(), out);
    Require((*set)->MoveNext());
  }
  std::fclose(out);
  return Seconds(RUSAGE_SELF) - start;
}

double Seek(DBEngine& engine, const std::string& path, int count, int seeks) {
  auto opened = engine.OpenDatabase(path, true, false, "");
  Require(opened.ok() ? Status() : opened.status());
  auto set = (*opened)->OpenRecordset("T", RecordsetType::kTable);
  Require(set.ok() ? Status() : set.status());
  Require((*set)->SetIndex("I0"));
  double start = 0;
  for (int pass = 0; pass < 2; ++pass) {  // the first fills the cache
    start = Seconds(RUSAGE_SELF);
    unsigned mixed = 1;
    for (int i = 0; i < seeks; ++i) {
      mixed = mixed * 1664525u + 1013904223u;
      const values::Value key = values::Value::Integer(mixed % static_cast<unsigned>(count));
      Require((*set)->Seek(database::SeekComparison::kEqual, {&key, 1}));
      if ((*set)->NoMatch()) std::exit(1);
    }
  }
  return Seconds(RUSAGE_SELF) - start;
}

}  // namespace

int Main(int count, const std::string& folder) {
  DBEngine engine;
  engine.Register(database::access::MakeAccessDriver(storage::RealFileSystem(),
                                                     std::make_shared<storage::OpenFiles>()));
  std::printf("%d records of ten fields, CPU time per record\n", count);
  for (int indexes = 0; indexes <= 3; ++indexes) {
    const double spent =
        Append(engine, folder + "/bench" + std::to_string(indexes) + ".mdb", count, indexes);
    std::printf("append, %d indexes      %7.2f us\n", indexes, spent / count * 1e6);
  }
  const std::string plain = folder + "/bench0.mdb";
  const double ours = ReadToCsv(engine, plain, folder + "/ours.csv");
  std::printf("read to CSV            %7.2f us\n", ours / count * 1e6);
  const double before = Seconds(RUSAGE_CHILDREN);
  const std::string command = "mdb-export '" + plain + "' T > '" + folder + "/theirs.csv' 2>&1";
  if (std::system(command.c_str()) == 0) {
    const double theirs = Seconds(RUSAGE_CHILDREN) - before;
    std::printf("  mdb-export           %7.2f us, ours / theirs %.2f\n", theirs / count * 1e6,
                ours / theirs);
  } else {
    std::printf("  mdb-export is not installed\n");
  }
  const double seeks = Seek(engine, folder + "/bench1.mdb", count, 200000);
  std::printf("Seek on %d rows   %7.2f us\n", count, seeks / 200000 * 1e6);
  std::printf("peak memory            %7lld KiB\n", static_cast<long long>(base::PeakMemoryKiB()));
  return 0;
}

}  // namespace kelvorin::bench

int main(int argc, char** argv) {
  return kelvorin::bench::Main(argc > 1 ? std::atoi(argv[1]) : 1000000,
                               argc > 2 ? argv[2] : "/tmp");
}
