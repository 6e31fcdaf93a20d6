// What the run costs on top of reading and cutting: a million records of ten fields into a table
// that takes every record and keeps none. Prints CPU time as ratios to the bare splitter, and of
// the run with six events connected to the run without.
//
//   engine_bench [RECORDS]

#include <cstdio>
#include <cstdlib>
#include <string>

#include "base/M_FILE.h"
#include "base/M_Misc.h"
#include "base/M_STRING.h"
#include "contract/no_host.h"
#include "database/database.h"
#include "engine/import_run.h"
#include "engine/source_reader.h"
#include "tests/support/null_recordset.h"

namespace kelvorin::bench {
namespace {

using values::TypeCode;

class NullDatabase final : public database::Database {
 public:
  explicit NullDatabase(database::DBEngine& owner) : Database(owner, {"null", true, false, ";"}) {}

 private:
  std::vector<database::TableInfo> DoTableDefs() override { return {}; }
  database::TableDef DoFindTableDef(std::string_view) override { return {}; }
  std::unique_ptr<database::Recordset> DoOpenRecordset(std::string_view,
                                                       database::RecordsetType) override {
    return nullptr;
  }
  void DoClose() override {}
};

std::string MakeFile(int records) {
  const std::string path = "/tmp/kelvorin_engine_bench.csv";
  auto file = base::OutputFile::Open(path, base::OutputFile::Mode::kReplace);
  if (!file.ok()) std::abort();
  for (int i = 0; i < records; ++i) {
    const std::string n = std::to_string(i);
    std::string line = n + ",Name " + n + ",Some street " + n + ",Town,";
    line += i % 100 == 0 ? "\"quoted, here\"," : "plain text,";
    line += std::to_string(i % 9973) + ".25," + std::to_string(i % 317) + ",2024-0" +
            std::to_string(1 + i % 9) + "-1" + std::to_string(i % 10) + ",True,last\r\n";
    if (!file->Write(line).ok()) std::abort();
  }
  if (!file->Close().ok()) std::abort();
  return path;
}

database::TableDef Table(bool typed) {
  database::TableDef table;
  table.Name = "Null";
  const TypeCode types[] = {TypeCode::kLong,    TypeCode::kText,   TypeCode::kText, TypeCode::kText,
                            TypeCode::kText,    TypeCode::kDouble, TypeCode::kLong, TypeCode::kDate,
                            TypeCode::kBoolean, TypeCode::kText};
  for (int i = 0; i < 10; ++i) {
    database::FieldDef field;
    field.Name = "F" + std::to_string(i);
    field.Type = typed ? types[i] : TypeCode::kText;
    field.Size = 40;
    table.Fields.push_back(field);
  }
  return table;
}

double Seconds(std::int64_t since_ns) {
  return static_cast<double>(base::CpuNanoseconds() - since_ns) / 1e9;
}

double BareSplitter(const std::string& path, const settings::ImportSetting& setting) {
  const std::int64_t start = base::CpuNanoseconds();
  auto reader = textsource::RecordReader::Open(path, engine::RecordFormatOf(setting));
  const textsource::SplitRules rules = engine::SplitRulesOf(setting, {});
  textsource::FieldValues values;
  std::size_t fields = 0;
  while (reader.ok() && !reader->AtEnd()) {
    std::span<char> record;
    if (!reader->ReadRecord(record).ok() || !rules.Split(record, values).ok()) std::abort();
    fields += values.count();
  }
  if (fields == 0) std::abort();
  return Seconds(start);
}

double Run(const std::string& path, settings::ImportSetting setting, bool typed, bool listens,
           int records) {
  database::DBEngine engine;
  catalog::Target target;
  target.database = std::make_unique<NullDatabase>(engine);
  target.recordset = std::make_unique<tests::NullRecordset>(*target.database, Table(typed));
  target.table_name = "Null";
  contract::NoHost host(listens);
  host.properties().ShowSummary = false;
  target.fields = catalog::InitTargetTable(*target.recordset, "Null", host, setting.FieldMap);
  for (std::size_t i = 0; i < target.fields.size(); ++i) {
    setting.FieldMap[i].Mapped = true;
    setting.FieldMap[i].Field = static_cast<std::int16_t>(i);
  }
  catalog::Source source;
  source.file_name = path;
  contract::SilentPlatform platform;
  const std::int64_t start = base::CpuNanoseconds();
  const engine::RunResult result =
      engine::StartImport({setting, {}, target, source, engine, host, platform, {}});
  const double seconds = Seconds(start);
  if (result.imported != records) std::abort();
  return seconds;
}

}  // namespace
}  // namespace kelvorin::bench

int main(int argc, char** argv) {
  using namespace kelvorin::bench;
  const int records = argc > 1 ? std::atoi(argv[1]) : 1'000'000;
  const std::string path = MakeFile(records);
  kelvorin::settings::ImportSetting setting;
  // Three rounds, the least of each, since the machine is shared.
  double best[5] = {1e9, 1e9, 1e9, 1e9, 1e9};
  const auto keep = [&](int which, double seconds) {
    best[which] = std::min(best[which], seconds);
  };
  for (int round = 0; round < 3; ++round) {
    keep(0, BareSplitter(path, setting));
    keep(1, Run(path, setting, false, false, records));
    keep(2, Run(path, setting, false, true, records));
    keep(3, Run(path, setting, true, false, records));
    keep(4, Run(path, setting, true, true, records));
  }
  const auto line = [&](const char* what, int which, int yardstick) {
    std::printf("%-42s %6.0f ns/record  %.2f x\n", what, best[which] * 1e9 / records,
                best[which] / best[yardstick]);
  };
  line("bare reader and splitter", 0, 0);
  line("run, ten texts, to the splitter", 1, 0);
  line("run, ten typed fields, to the splitter", 3, 0);
  line("six events, ten texts, to the run without", 2, 1);
  line("six events, ten typed, to the run without", 4, 3);
  static_cast<void>(kelvorin::base::DeleteFile(path).ok());
  return 0;
}
