// odbc_bench [RECORDS] [short] [SERVER ...]: CPU time of client and server for loading a text file
// of ten fields, as ratios to native bulk loading measured in the same run. Starts its own servers.
// `short` leaves out the bare strategies, the tables as sources and the bad records.

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "bench/odbc/records.h"
#include "bench/odbc/strategies_to_try.h"
#include "database/odbc/odbc_driver.h"
#include "database/row_poster.h"
#include "os/system.h"

namespace {

using namespace kelvorin;
using bench::Place;

std::string Output(const std::string& command) {
  std::string output;
  std::FILE* pipe = popen(command.c_str(), "r");
  std::array<char, 512> piece;
  while (pipe != nullptr && std::fgets(piece.data(), piece.size(), pipe) != nullptr)
    output += piece.data();
  if (pipe == nullptr || pclose(pipe) != 0) return {};
  while (!output.empty() && output.back() == '\n') output.pop_back();
  return output;
}

/// CPU seconds of a process and its children, those that ended included.
double CpuOf(int pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
  const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  const std::size_t at = text.rfind(')');
  if (at == std::string::npos) return 0;
  std::istringstream words(text.substr(at + 2));
  std::vector<std::string> word{std::istream_iterator<std::string>(words), {}};
  double ticks = 0;
  for (std::size_t i = 11; i <= 14; ++i) ticks += std::stod(word[i]);
  double seconds = ticks / static_cast<double>(sysconf(_SC_CLK_TCK));
  std::istringstream children(Output("pgrep -P " + std::to_string(pid)));  // none: exit 1
  for (int child; children >> child;) seconds += CpuOf(child);
  return seconds;
}

double UsedBy(int who) {
  rusage usage{};
  getrusage(who, &usage);
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

double cpu_of_watching = 0;  // of this program while it looked at another one's memory

double ClientCpu() {
  return UsedBy(RUSAGE_SELF) + UsedBy(RUSAGE_CHILDREN) - cpu_of_watching;
}

struct Spent {
  double client = 0, server = 0, wall = 0;
  double cpu() const { return client + server; }
};

class Counter final : public database::RowReceiver {
 public:
  void Stored(std::int64_t) override { ++stored; }
  bool Refused(std::int64_t, const Status&) override {
    ++refused;
    return true;
  }
  long stored = 0, refused = 0;
};

std::unique_ptr<database::Database> Open(database::DBEngine& engine, const Place& place) {
  engine.Register(database::odbc::MakeOdbcDriver());
  auto opened = engine.OpenDatabase("", false, false, "ODBC;" + place.connect);
  if (opened.ok()) return *std::move(opened);
  std::fprintf(stderr, "%s\n", std::string(opened.status().message()).c_str());
  std::exit(1);
}

/// The product's own way of reading: each value of a snapshot.
void ReadValues(const Place& place) {
  database::DBEngine engine;
  const auto database = Open(engine, place);
  const auto set = *database->OpenRecordset("people", database::RecordsetType::kSnapshot);
  for (values::Value value; !set->Eof();) {
    for (std::size_t i = 0; i < set->FieldCount(); ++i)
      if (!set->Fields(i).GetValue(value).ok()) std::exit(1);
    if (!set->MoveNext().ok()) std::exit(1);
  }
}

/// The product's own strategy: values of the records into a row poster.
Counter PostInGroups(const Place& place, const std::string& records, bool one_by_one) {
  database::DBEngine engine;
  const auto database = Open(engine, place);
  Counter counter;
  const std::vector<std::string> fields(std::begin(bench::kFieldNames),
                                        std::end(bench::kFieldNames));
  auto inserter = database::AsRowDatabase(*database)->MakeRowPoster("people", fields, counter,
                                                                    {.one_by_one = one_by_one});
  if (!inserter.ok()) std::exit(1);
  std::vector<values::Value> row(bench::kFieldCount);
  std::int64_t record_no = 0;
  bench::ForEachRecord(records, [&](const bench::Fields& values) {
    for (std::size_t i = 0; i < bench::kFieldCount; ++i)
      row[i] = values[i].empty() && bench::kIsNumber[i] ? values::Value::Null()
               : bench::kIsNumber[i]                    ? values::Value::Double(0, values[i])
                                                        : values::Value::Text(values[i]);
    if (!(*inserter)->Add(++record_no, row).ok()) std::exit(1);
  });
  if (!(*inserter)->Flush().ok()) std::exit(1);
  return counter;
}

/// Runs the program itself; returns the most memory that it held, in MiB. Asked for while it runs:
/// what the system tells afterwards holds this program's own peak too.
double RunProgram(const Place& place, std::vector<std::string> words) {
  words.insert(words.begin(), {KELVORIN_PROGRAM, "import"});
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t quiet;
  posix_spawn_file_actions_init(&quiet);
  posix_spawn_file_actions_addopen(&quiet, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&quiet, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  int status = 1;
  const double before = UsedBy(RUSAGE_SELF);
  double most = 0;
  if (posix_spawn(&child, KELVORIN_PROGRAM, &quiet, nullptr, arguments.data(), environ) == 0) {
    while (waitpid(child, &status, WNOHANG) == 0) {
      std::ifstream file("/proc/" + std::to_string(child) + "/status");
      for (std::string line; std::getline(file, line);)
        if (line.starts_with("VmHWM:")) most = std::max(most, std::stod(line.substr(6)) / 1024);
      usleep(10000);
    }
  }
  posix_spawn_file_actions_destroy(&quiet);
  cpu_of_watching += UsedBy(RUSAGE_SELF) - before;
  if (status == 0) return most;
  std::fprintf(stderr, "%s: the program failed\n", place.kind.c_str());
  std::exit(1);
}

int ServerPid(const Place& place) {
  if (place.kind == "sqlite") return 0;
  std::ifstream file(place.folder + (place.kind == "postgres" ? "/data/postmaster.pid" : "/pid"));
  int pid = 0;
  file >> pid;
  return pid;
}

/// Least of `rounds`, on an empty table unless it is only `read`.
Spent Measure(const Place& place, int rounds, long expected, const std::function<void()>& load,
              bool read = false) {
  Spent best;
  for (int round = 0; round < rounds; ++round) {
    // Not by DELETE: MariaDB would clear deleted records away while the next strategy is measured.
    if (!read)
      bench::RunSql(place, place.kind == "sqlite" ? "DELETE FROM people" : "TRUNCATE TABLE people");
    if (!read && place.kind == "postgres") bench::RunSql(place, "VACUUM FULL people");
    const int server = ServerPid(place);
    // The process that served a connection counts once its parent has noticed its end.
    usleep(300000);
    Spent spent;
    spent.client = -ClientCpu();
    spent.server = server != 0 ? -CpuOf(server) : 0;
    spent.wall = -static_cast<double>(os::MonotonicMilliseconds()) / 1e3;
    load();
    spent.wall += static_cast<double>(os::MonotonicMilliseconds()) / 1e3;
    spent.client += ClientCpu();
    usleep(300000);
    spent.server += server != 0 ? CpuOf(server) : 0;
    const long rows = bench::CountRows(place);
    if (expected >= 0 && rows != expected) {
      std::fprintf(stderr, "%ld rows instead of %ld\n", rows, expected);
      std::exit(1);
    }
    if (round == 0 || spent.cpu() < best.cpu()) best = spent;
  }
  return best;
}

void Line(const char* what, const Spent& spent, const Spent& yardstick, std::size_t records) {
  std::printf("  %-44s %6.2f s client %6.2f s server %6.2f s wall  %5.2f x  %7.0f records/s\n",
              what, spent.client, spent.server, spent.wall, spent.cpu() / yardstick.cpu(),
              static_cast<double>(records) / spent.wall);
  std::fflush(stdout);
}

/// Reading the table that the run before filled, against a bare loop over all its rows.
void Readings(const Place& place, int rounds, long count) {
  const auto records = static_cast<std::size_t>(count);
  const Spent bare = Measure(
      place, rounds, count, [&] { bench::FetchBarely(place); }, true);
  Line("bare: fetching every row", bare, bare, records);
  Line("this driver, reading every value",
       Measure(
           place, rounds, count, [&] { ReadValues(place); }, true),
       bare, records);
}

/// The program from a text file and, unless `brief`, from a dBASE table and back into one, with the
/// memory of each.
void WholeRuns(const Place& place, const std::string& folder, std::size_t records,
               const Spent& native, bool brief) {
  const long count = static_cast<long>(records);
  const int rounds = records > 300000 ? 1 : 3;
  const std::string text = folder + "/records.csv", tables = folder + "/tables-" + place.kind;
  std::filesystem::create_directory(tables);
  const std::vector<std::string> into = {"--into", "ODBC:" + place.connect, "--table", "people",
                                         "--map-in-order"};
  const auto words = [&](std::vector<std::string> first) {
    first.insert(first.end(), into.begin(), into.end());
    return first;
  };
  double memory = 0;
  Line("the program, from text",
       Measure(place, rounds, count, [&] { memory = RunProgram(place, words({text})); }), native,
       records);
  std::printf("  %44s %6.1f MiB at most\n", "", memory);
  Readings(place, rounds, count);
  if (brief) return;
  RunProgram(place, {text, "--into", "DBASE4:" + tables, "--table", "people", "--create"});
  Line(
      "the program, from dBASE",
      Measure(place, rounds, count,
              [&] {
                memory = RunProgram(place, words({"DBASE4:" + tables, "--source-table", "people"}));
              }),
      native, records);
  std::printf("  %44s %6.1f MiB at most\n", "", memory);
  const auto read = [&] {
    return RunProgram(place, {"ODBC:" + place.connect, "--source-table", "people", "--into",
                              "DBASE4:" + tables, "--table", "back", "--create"});
  };
  const double whole = read();
  std::filesystem::remove(tables + "/back.dbf");
  bench::RunSql(place, "DELETE FROM people WHERE id>1000");
  std::printf("  the program, reading it back: %.1f MiB at most, with 1,000 records %.1f MiB\n",
              whole, read());
}

void Compare(const Place& place, const std::string& folder, std::size_t records, bool brief) {
  const long count = static_cast<long>(records);
  const std::string file = folder + "/records.csv";
  bench::RunSql(place, bench::CreateTable(place.kind));
  std::printf("%s, %zu records of ten fields\n", place.kind.c_str(), records);
  bench::WriteRecords(file, records, 0);
  const int rounds = records > 300000 ? 1 : 3;
  const Spent native = Measure(place, rounds, count, [&] { bench::LoadNatively(place, file); });
  Line("native bulk", native, native, records);
  const std::map<std::string, std::vector<std::pair<std::string, std::size_t>>> strategies = {
      {"sqlite", {{"values", 500}, {"side file", 10000}, {"side file with texts", 10000}}},
      {"postgres",
       {{"values", 500}, {"unnest", 500}, {"unnest", 2000}, {"array parameters", 2000}}},
      {"mariadb",
       {{"values", 500}, {"values", 2000}, {"bound arrays", 500}, {"bound arrays", 2000}}}};
  for (const auto& [strategy, chunk] : strategies.at(place.kind)) {
    if (brief) break;
    Line(("bare: " + strategy + " by " + std::to_string(chunk)).c_str(),
         Measure(place, rounds, count, [&] { bench::SendBarely(place, file, strategy, chunk); }),
         native, records);
  }
  Line("this driver, in groups",
       Measure(place, rounds, count, [&] { PostInGroups(place, file, false); }), native, records);

  WholeRuns(place, folder, records, native, brief);
  if (brief) return;

  const std::size_t few = std::min<std::size_t>(records, place.kind == "sqlite" ? 1000 : 20000);
  std::printf("  with bad records, of %zu, against one by one\n", few);
  for (std::size_t bad_every : {0, 1000, 100, 10}) {
    bench::WriteRecords(file, few, bad_every);
    const long good = static_cast<long>(few - (bad_every == 0 ? 0 : few / bad_every));
    const Spent singly = Measure(place, 3, good, [&] { PostInGroups(place, file, true); });
    const Spent grouped = Measure(place, 3, good, [&] { PostInGroups(place, file, false); });
    std::printf(
        "  1 in %-5zu one by one %6.2f s cpu %6.2f s wall, groups %6.2f s cpu %6.2f s wall: "
        "%5.2f x cpu, %5.2f x wall\n",
        bad_every, singly.cpu(), singly.wall, grouped.cpu(), grouped.wall,
        singly.cpu() / grouped.cpu(), singly.wall / grouped.wall);
    std::fflush(stdout);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t records = argc > 1 ? static_cast<std::size_t>(std::atol(argv[1])) : 100000;
  std::vector<std::string> servers(argv + std::min(argc, 2), argv + argc);
  const bool brief = std::erase(servers, "short") != 0;
  if (servers.empty()) servers = {"sqlite", "postgres", "mariadb"};
  std::string folder = (std::filesystem::temp_directory_path() / "kv-odbc-XXXXXX").string();
  if (mkdtemp(folder.data()) == nullptr) return 1;
  std::filesystem::permissions(folder, std::filesystem::perms(0755));
  std::ofstream(folder + "/odbcinst.ini") << "[SQLite3]\nDriver=libsqlite3odbc.so\n"
                                             "[PGW]\nDriver=psqlodbcw.so\n"
                                             "[Maria]\nDriver=libmaodbc.so\n";
  setenv("ODBCSYSINI", folder.c_str(), 1);
  setenv("ODBCINI", (folder + "/none").c_str(), 1);
  for (const std::string& kind : servers) {
    Place place;
    place.kind = kind;
    place.folder = folder + "/" + kind;
    const std::string script = std::string(KELVORIN_SOURCE_DIR) + "/tests/servers/" + kind + ".sh ";
    if (kind == "sqlite") {
      place.file = folder + "/t.sqlite";
      std::ofstream(place.file).flush();
      place.connect = "DRIVER=SQLite3;Database=" + place.file + ";";
    } else {
      place.port = Output("FSYNC=off FLUSH=2 " + script + "start " + place.folder +
                          (kind == "postgres" ? " max_wal_size=4GB" : " --local-infile=1"));
      if (place.port.empty()) {
        std::printf("%s: no server\n", kind.c_str());
        continue;
      }
      place.connect = kind == "postgres" ? "DRIVER=PGW;Servername=127.0.0.1;Port=" + place.port +
                                               ";Database=imp;UID=kv;"
                                         : "DRIVER=Maria;Server=127.0.0.1;Port=" + place.port +
                                               ";Database=imp;UID=root;CHARSET=utf8mb4;";
    }
    Compare(place, folder, records, brief);
    if (kind != "sqlite") Output(script + "stop " + place.folder);
  }
  std::filesystem::remove_all(folder);
  return 0;
}
