#include "tests/odbc/posting_check.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cstdlib>
#include <random>

#include "base/M_STRING.h"
#include "database/engine.h"
#include "os/system.h"
#include "tests/odbc/open_source.h"

namespace kelvorin::tests {
namespace {

using database::Database;
using database::RowPoster;
using database::RowReceiver;
using values::Value;

using Records = std::vector<std::vector<std::string>>;

/// When a posting ends before its last record.
struct Ending {
  int errors = 1 << 30;           // stop at this many errors
  std::size_t cancel = 1u << 30;  // stop in front of this record
};

void Note(std::string& story, std::int64_t record_no, const Database& database) {
  story += "-" + std::to_string(record_no);
  for (const auto& error : database.engine().Errors())
    story += "[" + error.state + " " + std::to_string(error.number) + " " + error.description + "]";
  story += "\n";
}

class Listener final : public RowReceiver {
 public:
  Listener(Database& database, Ending ending) : database_(database), ending_(ending) {}
  void Stored(std::int64_t record_no) override { story += "+" + std::to_string(record_no) + "\n"; }
  bool Refused(std::int64_t record_no, const Status& status) override {
    CHECK_FALSE(status.ok());
    Note(story, record_no, database_);
    return ++errors_ < ending_.errors;
  }
  std::string story;

 private:
  Database& database_;
  Ending ending_;
  int errors_ = 0;
};

std::string Grouped(Database& database, std::string_view table,
                    const std::vector<std::string>& fields, const Records& records, Ending ending,
                    std::size_t flush_every) {
  Listener listener(database, ending);
  auto* rows = database::AsRowDatabase(database);
  REQUIRE(rows != nullptr);
  Result<std::unique_ptr<RowPoster>> inserter = rows->MakeRowPoster(table, fields, listener, {});
  REQUIRE_MESSAGE(inserter.ok(), std::string(inserter.status().message()));
  for (std::size_t i = 0; i < std::min(records.size(), ending.cancel); ++i) {
    const LiteralRow row(records[i]);
    if (!(*inserter)->Add(static_cast<std::int64_t>(i + 1), row.values()).ok())
      return listener.story;
    if ((i + 1) % flush_every == 0 && !(*inserter)->Flush().ok()) return listener.story;
  }
  const Status flushed = (*inserter)->Flush();
  CHECK((flushed.ok() || flushed.code() == Code::kStopped));
  CHECK((*inserter)->Waiting() == 0);
  return listener.story;
}

std::string Singly(Database& database, std::string_view table,
                   const std::vector<std::string>& fields, const Records& records, Ending ending) {
  std::string story;
  int errors = 0;
  std::string into = "INSERT INTO " + Quoted(database, table) + " (";
  for (std::size_t i = 0; i < fields.size(); ++i)
    into += (i == 0 ? "" : ",") + Quoted(database, fields[i]);
  for (std::size_t i = 0; i < std::min(records.size(), ending.cancel); ++i) {
    std::string sql = into + ") VALUES (";
    for (std::size_t f = 0; f < records[i].size(); ++f) sql += (f == 0 ? "" : ",") + records[i][f];
    const auto done = database.Execute(sql + ")", database::kSqlPassThrough);
    if (done.ok()) {
      story += "+" + std::to_string(i + 1) + "\n";
      continue;
    }
    Note(story, static_cast<std::int64_t>(i + 1), database);
    if (++errors >= ending.errors) break;
  }
  return story;
}

const std::vector<std::string> kFields = {"id", "name", "amount", "born", "note", "parent"};

class RandomRecords {
 public:
  explicit RandomRecords(std::uint32_t seed) : random_(seed) {}
  std::size_t Below(std::size_t limit) { return random_() % limit; }
  Records Make() {
    static constexpr double kRates[] = {0, 0.002, 0.01, 0.05, 0.2, 0.9};
    const double rate = kRates[Below(6)];
    Records records(Below(10) == 0 ? Below(1500) : Below(220));
    for (std::size_t i = 0; i < records.size(); ++i) {
      records[i] = Good(i);
      if (static_cast<double>(Below(10000)) < rate * 10000) Spoil(records, i);
    }
    return records;
  }

 private:
  std::vector<std::string> Good(std::size_t i) {
    static const std::vector<std::string> kNotes = {"''",        "NULL",
                                                    "'O''Neil'", R"('a\b"c{d},''e')",
                                                    "'ä€ 😀'",    "'? ; -- /* # $1 :x'",
                                                    "'NULL'",    "'line 1\r\nline 2'"};
    return {std::to_string(i + 1),
            "'name " + std::to_string(Below(1000)) + "'",
            Below(5) == 0 ? "NULL" : std::to_string(Below(999)) + ".25",
            Below(4) == 0 ? "NULL" : "'2024-02-" + std::to_string(10 + Below(19)) + "'",
            kNotes[Below(kNotes.size())],
            Below(2) == 0 ? "NULL" : std::to_string(1 + Below(3))};
  }
  void Spoil(Records& records, std::size_t i) {
    auto& record = records[i];
    switch (Below(7)) {
      case 0:  // the key of an earlier record, or of the next one
        record[0] = std::to_string(Below(3) == 0 ? i + 2 : 1 + Below(i + 1));
        break;
      case 1:
        record[1] = "'" + std::string(21 + Below(30), 'x') + "'";
        break;
      case 2:
        record[3] = "'2024-02-31'";
        break;
      case 3:
        record[2] = "1000.5";
        break;
      case 4:
        record[1] = "NULL";
        break;
      case 5:
        record[5] = "77";
        break;
      default:
        record[4] = "'\xff\xfe no character'";
    }
  }
  std::mt19937 random_;
};

void MakePostingTables(Database& database, std::string_view server) {
  const bool sqlite = server == "sqlite";
  const std::string tail = server == "mariadb" ? " ENGINE=InnoDB" : "";
  Execute(database, "CREATE TABLE parent (id INTEGER PRIMARY KEY)" + tail);
  Execute(database, "INSERT INTO parent VALUES (1),(2),(3)");
  // SQLite keeps to no length and no calendar by itself.
  Execute(database,
          "CREATE TABLE target (id INTEGER PRIMARY KEY, name VARCHAR(20) NOT NULL" +
              std::string(sqlite ? " CHECK (length(name)<=20)" : "") +
              ", amount DECIMAL(10,2) CHECK (amount<1000), born DATE" +
              (sqlite ? " CHECK (born IS date(born))" : "") +
              ", note TEXT, parent INTEGER, FOREIGN KEY (parent) REFERENCES parent (id))" + tail);
}

}  // namespace

LiteralRow::LiteralRow(const std::vector<std::string>& literals) : texts_(literals) {
  for (std::string& text : texts_) {
    if (text == "NULL") {
      values_.push_back(Value::Null());
    } else if (text.front() == '\'') {
      text = base::Replace(text.substr(1, text.size() - 2), "''", "'");
      values_.push_back(Value::Text(text));
    } else if (const auto whole = base::ParseWholeInteger(text); whole && *whole % 3 != 0) {
      values_.push_back(Value::Integer(*whole));  // the others stay digits
    } else {
      const bool exact = text.find('e') == std::string::npos;
      values_.push_back(Value::Double(std::strtod(text.c_str(), nullptr),
                                      exact ? std::string_view(text) : std::string_view()));
    }
  }
}

std::string Quoted(const Database& database, std::string_view name) {
  const char quote = base::StartsWithIgnoreCase(database.Connect(), "ODBC;DSN=mariadb") ? '`' : '"';
  std::string quoted(1, quote);
  for (const char c : name) quoted.append(c == quote ? 2 : 1, c);
  return quoted + quote;
}

void Execute(Database& database, std::string_view sql) {
  const auto done = database.Execute(sql, database::kSqlPassThrough);
  REQUIRE_MESSAGE(done.ok(), std::string(sql) << ": " << std::string(done.status().message()));
}

std::string DumpTable(Database& database, std::string_view table) {
  auto opened = database.OpenRecordset(table, database::RecordsetType::kSnapshot);
  REQUIRE_MESSAGE(opened.ok(), std::string(opened.status().message()));
  database::Recordset& set = **opened;
  std::vector<std::string> lines;
  std::string text;
  while (!set.Eof()) {
    std::string& line = lines.emplace_back();
    for (std::size_t i = 0; i < set.FieldCount(); ++i) {
      bool is_null = false;
      REQUIRE(set.Fields(i).GetText(text, is_null).ok());
      line += (i == 0 ? "" : "|") + (is_null ? std::string("<null>") : text);
    }
    REQUIRE(set.MoveNext().ok());
  }
  std::sort(lines.begin(), lines.end());  // the order of rows is the server's business
  std::string all;
  for (const std::string& line : lines) all += line + "\n";
  return all;
}

void CheckRandomPosting(Database& database, std::string_view server) {
  MakePostingTables(database, server);
  const char* wanted = std::getenv("KELVORIN_RANDOM_RUNS");
  const int runs = wanted != nullptr ? std::atoi(wanted) : 40;
  int with_errors = 0;
  for (int seed = 1; seed <= runs; ++seed) {
    CAPTURE(seed);
    RandomRecords random(static_cast<std::uint32_t>(seed));
    const Records records = random.Make();
    Ending ending;
    if (random.Below(3) == 0) ending.errors = static_cast<int>(1 + random.Below(4));
    if (random.Below(4) == 0) ending.cancel = random.Below(records.size() + 1);
    const std::size_t flush_every = random.Below(3) == 0 ? 1 + random.Below(150) : 1u << 30;

    Execute(database, "DELETE FROM target");
    const std::string single_story = Singly(database, "target", kFields, records, ending);
    const std::string single_rows = DumpTable(database, "target");
    Execute(database, "DELETE FROM target");
    const std::string story = Grouped(database, "target", kFields, records, ending, flush_every);
    const std::string rows = DumpTable(database, "target");
    with_errors += single_story.find('-') != std::string::npos ? 1 : 0;
    REQUIRE(story == single_story);
    REQUIRE(rows == single_rows);
  }
  CHECK(with_errors * 3 > runs);  // most kinds of runs hold bad records
}

std::string PostGrouped(Database& database, std::string_view table,
                        const std::vector<std::string>& fields, const Records& records,
                        int stop_at_error) {
  return Grouped(database, table, fields, records, {.errors = stop_at_error}, 1u << 30);
}
std::string PostSingly(Database& database, std::string_view table,
                       const std::vector<std::string>& fields, const Records& records) {
  return Singly(database, table, fields, records, {});
}

bool GroupsRecords(Database& database, std::string_view table,
                   const std::vector<std::string>& fields) {
  Listener listener(database, {});
  auto poster = database::AsRowDatabase(database)->MakeRowPoster(table, fields, listener, {});
  REQUIRE(poster.ok());
  return (*poster)->Grouped();
}

void CheckGivingUp(Database& database, std::string_view table, bool answers,
                   const std::function<void()>& block) {
  Listener listener(database, {});
  auto poster = database::AsRowDatabase(database)->MakeRowPoster(table, {"id", "t"}, listener, {});
  REQUIRE(poster.ok());
  block();
  const std::int64_t before = os::MonotonicMilliseconds();
  (*poster)->StopWhen([&] { return os::MonotonicMilliseconds() - before > 300; });
  for (int i = 1; i <= 60; ++i) {
    const Value row[] = {Value::Integer(i), Value::Text("text")};
    if (!(*poster)->Add(i, row).ok()) break;
  }
  CHECK((*poster)->Flush().code() == Code::kStopped);
  CHECK(os::MonotonicMilliseconds() - before < 3000);
  CAPTURE(listener.story);
  CHECK(listener.story.empty() == answers);
  if (answers) return;
  // What a server that stands still was sent, it may store when it goes on.
  for (int i = 1; i <= 60; ++i) {
    const std::string told = "-" + std::to_string(i) + "[";
    const std::size_t at = listener.story.find((i == 1 ? "" : "\n") + told);
    REQUIRE(at != std::string::npos);
    CHECK(listener.story.find("the record may be stored", at) < at + 60);
  }
}

void CheckLostServer(const std::string& connect, TestServer& server) {
  enum class Way { kComesBack, kStaysAway, kStandsStill };
  Execute(*OpenSource(connect), "CREATE TABLE lost (id INTEGER PRIMARY KEY, t VARCHAR(20))");
  for (const Way way : {Way::kComesBack, Way::kStaysAway, Way::kStandsStill}) {
    CAPTURE(static_cast<int>(way));
    std::string story;
    const std::int64_t before = os::MonotonicMilliseconds();
    {
      OpenSource source(connect + "READ_TIMEOUT=2;CONN_TIMEOUT=2;");
      Execute(*source, "DELETE FROM lost");
      Listener listener(*source, {});
      auto inserter =
          database::AsRowDatabase(*source)->MakeRowPoster("lost", {"id", "t"}, listener, {});
      REQUIRE(inserter.ok());
      for (int i = 1; i <= 2000; ++i) {
        if (i == 1000 && way == Way::kStandsStill) server.Freeze(true);
        if (i == 1000 && way != Way::kStandsStill) server.Kill();
        if (i == 1000 && way == Way::kComesBack) server.StartAgain();
        const Value row[] = {Value::Integer(i), Value::Text("text")};
        REQUIRE((*inserter)->Add(i, row).ok());
      }
      REQUIRE((*inserter)->Flush().ok());
      story = listener.story;
    }
    CHECK(os::MonotonicMilliseconds() - before < 20000);
    std::int64_t expected = 0, stored = 0;
    for (std::size_t at = 0; at < story.size(); at = story.find('\n', at) + 1) {
      const bool good = story[at] == '+';
      if (!good && story[at] != '-') continue;  // a further line of an error's text
      const std::int64_t number = std::stoll(story.substr(at + 1));
      REQUIRE(number == ++expected);
      stored += good ? 1 : 0;
    }
    CHECK(expected == 2000);
    CHECK(stored >= 800);
    if (way == Way::kComesBack) CHECK(stored >= 1900);
    if (way == Way::kStaysAway) server.StartAgain();
    if (way == Way::kStandsStill) server.Freeze(false);
    OpenSource after(connect);
    auto set = *after->OpenRecordset("lost", database::RecordsetType::kSnapshot);
    const std::int64_t rows = *set->RecordCount();
    CHECK(rows >= stored);        // nothing that was told stored is missing,
    CHECK(rows <= stored + 500);  // and a doubtful chunk is at most what waited
  }
}

}  // namespace kelvorin::tests
