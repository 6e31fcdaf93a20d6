// Whole imports against bare programs that do the same work by hand, as ratios of CPU time in one
// run: text to dBASE III, the same with a host on all six events, dBASE III to FoxPro 2.6; and the
// peak memory of runs of different length.
//   import_bench [RECORDS]     (default 1,000,000)

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "base/M_Misc.h"
#include "base/status.h"
#include "catalog/connections.h"
#include "control/kelvorin.h"
#include "database/drivers/register_drivers.h"
#include "database/engine.h"
#include "settings/setting_store.h"

using namespace kelvorin;

namespace {

constexpr int kRounds = 5;

// Ten typed fields and their widths in the table.
struct Column {
  const char* name;
  database::TypeCode type;
  int size, decimals;
  bool right;  // numbers stand at the right end
};
constexpr Column kColumns[] = {
    {"ID", database::TypeCode::kDouble, 10, 0, true},
    {"CODE", database::TypeCode::kText, 12, 0, false},
    {"NAME", database::TypeCode::kText, 24, 0, false},
    {"DAY", database::TypeCode::kDate, 8, 0, false},
    {"AMOUNT", database::TypeCode::kDouble, 12, 2, true},
    {"PAID", database::TypeCode::kBoolean, 1, 0, false},
    {"QTY", database::TypeCode::kDouble, 6, 0, true},
    {"CITY", database::TypeCode::kText, 16, 0, false},
    {"RATE", database::TypeCode::kDouble, 8, 3, true},
    {"NOTE", database::TypeCode::kText, 20, 0, false},
};

void Check(const Status& status) {
  if (status.ok()) return;
  std::fprintf(stderr, "%s\n", std::string(status.message()).c_str());
  std::exit(1);
}

void MakeText(const std::string& path, int records) {
  std::FILE* out = std::fopen(path.c_str(), "wb");
  if (out == nullptr) std::exit(1);
  for (int i = 0; i < records; ++i)
    std::fprintf(
        out, "%d,C%07d,%sName of %d%s,2%03d-%02d-%02d,%d.%02d,%s,%d,City %d,%d.%03d,note %d\r\n", i,
        i, i % 100 == 0 ? "\"" : "", i, i % 100 == 0 ? "\"" : "", i % 60, i % 12 + 1, i % 28 + 1,
        i % 90000, i % 100, i % 3 ? "True" : "False", i % 1000, i % 500, i % 90, i % 1000,
        i % 7000);
  std::fclose(out);
}

double CpuSeconds() {
  return static_cast<double>(base::CpuNanoseconds()) / 1e9;
}

template <typename F>
double Cpu(F&& work) {
  const double before = CpuSeconds();
  work();
  return CpuSeconds() - before;
}

// Cuts a line at its commas with a class table, quotes or not: the bare splitter.
std::size_t BareSplit(const char* p, const char* end,
                      std::array<std::pair<const char*, const char*>, 16>& fields) {
  static const std::array<bool, 256> kEndsField = [] {
    std::array<bool, 256> table{};
    table[','] = true;
    return table;
  }();
  std::size_t count = 0;
  for (;;) {
    const char* start = p;
    while (p != end && !kEndsField[static_cast<unsigned char>(*p)]) ++p;
    fields[count++] = {start, p};
    if (p == end || count == fields.size()) return count;
    ++p;
  }
}

// The yardstick: the bare splitter over blocks, line ends found with memchr, and the bare writer,
// which pads every field into a record and writes records through a buffer. No type is checked.
void BareTextToTable(const std::string& text, const std::string& table) {
  std::FILE* in = std::fopen(text.c_str(), "rb");
  std::FILE* out = std::fopen(table.c_str(), "wb");
  std::vector<char> io(256 * 1024), block(256 * 1024);
  std::setvbuf(out, io.data(), _IOFBF, io.size());
  std::size_t width = 1;
  for (const Column& column : kColumns) width += static_cast<std::size_t>(column.size);
  std::vector<char> record(width);
  const std::array<char, 32 + 32 * 10 + 1> header{};
  std::fwrite(header.data(), 1, header.size(), out);
  std::size_t kept = 0;
  for (;;) {
    const std::size_t got = std::fread(block.data() + kept, 1, block.size() - kept, in);
    if (got == 0) break;
    const char* p = block.data();
    const char* end = block.data() + kept + got;
    while (const char* lf =
               static_cast<const char*>(std::memchr(p, '\n', static_cast<std::size_t>(end - p)))) {
      std::memset(record.data(), ' ', width);
      char* to = record.data() + 1;
      std::array<std::pair<const char*, const char*>, 16> fields;
      const std::size_t count = BareSplit(p, lf - 1, fields);
      for (std::size_t i = 0; i < count && i < std::size(kColumns); ++i) {
        const Column& column = kColumns[i];
        auto [from, end_of_field] = fields[i];
        if (from != end_of_field && *from == '"') {
          ++from;
          --end_of_field;
        }
        if (column.type == database::TypeCode::kDate) {
          std::memcpy(to, from, 4);
          std::memcpy(to + 4, from + 5, 2);
          std::memcpy(to + 6, from + 8, 2);
        } else {
          const auto size = std::min(static_cast<std::size_t>(end_of_field - from),
                                     static_cast<std::size_t>(column.size));
          std::memcpy(column.right ? to + column.size - size : to, from, size);
        }
        to += column.size;
      }
      std::fwrite(record.data(), 1, width, out);
      p = lf + 1;
    }
    kept = static_cast<std::size_t>(end - p);
    std::memmove(block.data(), p, kept);
  }
  std::fclose(in);
  std::fclose(out);
}

// The yardstick of a table copy: every record of one file into another, through buffers.
void BareTableToTable(const std::string& from, const std::string& to, std::size_t header,
                      std::size_t width) {
  std::FILE* in = std::fopen(from.c_str(), "rb");
  std::FILE* out = std::fopen(to.c_str(), "wb");
  std::vector<char> record(std::max(header, width));
  if (std::fread(record.data(), 1, header, in) != header) std::exit(1);
  std::fwrite(record.data(), 1, header, out);
  while (std::fread(record.data(), 1, width, in) == width)
    std::fwrite(record.data(), 1, width, out);
  std::fclose(in);
  std::fclose(out);
}

void MakeTable(const std::string& connect, const std::string& folder, const std::string& name) {
  std::error_code ignored;
  std::filesystem::create_directories(folder, ignored);
  database::DBEngine engine;
  database::RegisterDrivers(engine);
  auto database = engine.OpenDatabase(folder, true, false, connect);
  Check(database.status());
  if ((*database)->FindTableDef(name).ok()) Check((*database)->DeleteTable(name));
  database::TableDef table;
  table.Name = name;
  for (const Column& column : kColumns) {
    database::FieldDef field;
    field.Name = column.name;
    field.Type = column.type;
    field.Size = column.size;
    field.Decimals = column.decimals;
    table.Fields.push_back(field);
  }
  Check((*database)->CreateTable(table));
  Check((*database)->Close());
}

// A saved setting that maps all ten fields in order.
void SaveSetting(const std::string& ini_path, const std::string& name, std::int32_t kind,
                 const std::string& folder, const std::string& file) {
  settings::ImportSetting setting;
  textsource::BreakList breaks;
  settings::SetDefaultSetting(setting, breaks, 0);
  setting.TypeFormat = kind;
  setting.SettingName = name;
  for (std::size_t i = 0; i < std::size(kColumns); ++i) {
    setting.FieldMap[i].Name = kColumns[i].name;
    setting.FieldMap[i].Mapped = true;
    setting.FieldMap[i].Field = static_cast<std::int16_t>(i);
  }
  setting.SourceDBName = folder;
  setting.SourceTableName = file;
  if (kind == 7) setting.SourceConnectString = "dBASE III";
  settings::IniFile ini(ini_path);
  Check(settings::SaveSetting(ini, setting, breaks));
}

void Run(const std::string& ini, const std::string& name, contract::TypeConnect kind,
         const std::string& folder, const std::string& table, const std::string& import_file,
         bool with_events, std::int64_t expected) {
  Kelvorin control;
  control.IniFile(ini);
  control.ConnectString(kind);
  control.DataBaseName(folder);
  control.tableName(table);
  control.ImportTable(import_file);
  if (with_events) {
    control.BeforeFieldImport = [](auto, auto, auto, auto, auto&) {};
    control.FilterTable = [](auto, auto&) {};
    control.FilterType = [](auto, auto&) {};
    control.FilterField = [](auto, auto, auto&) {};
    control.ValidateBeforePost = [](auto&, auto&) {};
    control.ValidateAfterPost = [](auto&) {};
  }
  std::string setting = name;
  if (control.BatchImport(setting) != 0 || control.LastRun().imported != expected) {
    std::fprintf(stderr, "import failed: %s (%lld imported)\n", control.LastError().c_str(),
                 static_cast<long long>(control.LastRun().imported));
    std::exit(1);
  }
}

// Peak memory of `work` in a process of its own, in KiB.
template <typename F>
long PeakKiB(F&& work) {
  const pid_t child = fork();
  if (child == 0) {
    work();
    std::_Exit(0);
  }
  int status = 0;
  struct rusage usage = {};
  wait4(child, &status, 0, &usage);
  if (status != 0) std::exit(1);
  return usage.ru_maxrss;
}

}  // namespace

int main(int argc, char** argv) {
  using contract::TypeConnect;
  const int records = argc > 1 ? std::atoi(argv[1]) : 1'000'000;
  const std::string folder =
      (std::filesystem::temp_directory_path() / ("kelvorin-bench-" + std::to_string(getpid())))
          .string();
  std::filesystem::create_directories(folder);
  const std::string ini = folder + "/jobs.ini";
  const std::string text = folder + "/in.csv";
  const std::string short_text = folder + "/tenth.csv";
  MakeText(text, records);
  MakeText(short_text, records / 10);
  SaveSetting(ini, "text", 0, text, "");
  SaveSetting(ini, "table", 7, folder, "SRC.DBF");

  const auto run_text = [&](const std::string& file, const std::string& table, bool events,
                            int count) {
    Run(ini, "text", TypeConnect::DBase3, folder, table, file, events, count);
  };
  // Memory first, in children of a process that has done little itself.
  for (const char* table : {"M1", "M2", "SRC", "EVENTS"}) MakeTable("dBASE III;", folder, table);
  MakeTable("FoxPro 2.6;", folder + "/fox", "COPY");
  MakeTable("FoxPro 2.6;", folder + "/fox", "M3");
  const long tenth = PeakKiB([&] { run_text(short_text, "M1", false, records / 10); });
  const long whole = PeakKiB([&] { run_text(text, "M2", false, records); });

  // The machine is shared, so each is measured several times in turn and the best counts.
  double bare = 1e9, ours = 1e9, events = 1e9;
  for (int round = 0; round < kRounds; ++round) {
    bare = std::min(bare, Cpu([&] { BareTextToTable(text, folder + "/bare.dbf"); }));
    for (const char* table : {"SRC", "EVENTS"}) MakeTable("dBASE III;", folder, table);
    ours = std::min(ours, Cpu([&] { run_text(text, "SRC", false, records); }));
    events = std::min(events, Cpu([&] { run_text(text, "EVENTS", true, records); }));
  }

  std::size_t width = 1;
  for (const Column& column : kColumns) width += static_cast<std::size_t>(column.size);
  const std::string source =
      std::filesystem::exists(folder + "/SRC.DBF") ? folder + "/SRC.DBF" : folder + "/SRC.dbf";
  const auto run_table = [&](const std::string& table) {
    Run(ini, "table", TypeConnect::FOXPRO26, folder + "/fox", table, "", false, records);
  };
  const long copy_memory = PeakKiB([&] { run_table("M3"); });
  double bare_copy = 1e9, copy = 1e9;
  for (int round = 0; round < kRounds; ++round) {
    bare_copy = std::min(bare_copy, Cpu([&] {
                           BareTableToTable(source, folder + "/bare-copy.dbf",
                                            32 + 32 * std::size(kColumns) + 1, width);
                         }));
    MakeTable("FoxPro 2.6;", folder + "/fox", "COPY");
    copy = std::min(copy, Cpu([&] { run_table("COPY"); }));
  }

  const auto per_record = [&](double seconds) { return seconds / records * 1e9; };
  std::printf("%d records of ten fields\n", records);
  std::printf(
      "text to dBASE III        %7.0f ns a record, bare program %5.0f: ratio %.2f (at most 3)\n",
      per_record(ours), per_record(bare), ours / bare);
  std::printf("  with all six events    %7.0f ns a record: ratio to without %.2f (at most 1.3)\n",
              per_record(events), events / ours);
  std::printf("dBASE III to FoxPro 2.6  %7.0f ns a record, bare copy %5.0f: ratio %.2f\n",
              per_record(copy), per_record(bare_copy), copy / bare_copy);
  std::printf(
      "peak memory: %ld KiB for a tenth, %ld KiB for all, %ld KiB table to table (at most "
      "24576; growth at most 1024)\n",
      tenth, whole, copy_memory);
  std::filesystem::remove_all(folder);
  return 0;
}
