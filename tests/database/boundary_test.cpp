#include <doctest/doctest.h>

#include <functional>
#include <new>
#include <stdexcept>

#include "database/engine.h"
#include "tests/support/definitions.h"
#include "tests/support/memory_database.h"

namespace kelvorin::database {
namespace {

using tests::MemoryDriver;

// Throws what it is told from every call.
class ThrowingDriver final : public Driver {
 public:
  explicit ThrowingDriver(std::function<void()> act) : act_(std::move(act)) {}
  std::string_view Name() const noexcept override { return "throwing"; }
  bool Handles(std::string_view) const noexcept override { return true; }
  std::unique_ptr<Database> Open(DBEngine&, const OpenRequest&, const ConnectString&) override {
    act_();
    return nullptr;
  }
  std::vector<DataSource> DataSources() override {
    act_();
    return {};
  }

 private:
  std::function<void()> act_;
};

std::string Show(const std::vector<PendingError>& errors) {
  std::string text;
  for (const PendingError& error : errors)
    text += std::to_string(error.number) + " [" + error.state + "] " + error.description + "\n";
  return text;
}

TEST_CASE("whatever a driver throws becomes a status and pending errors") {
  struct Row {
    std::function<void()> act;
    Code code;
    std::int32_t number;
    std::string errors;
  };
  const Row rows[] = {
      {[] { throw Error(Code::kLocked, "in use", 3045); }, Code::kLocked, 3045, "3045 [] in use\n"},
      {[] { throw Error(Code::kCorrupt, "page 7"); }, Code::kCorrupt, 3049, "3049 [] page 7\n"},
      {[] { throw Error(Code::kNoSpace, "disk"); }, Code::kNoSpace, 3026, "3026 [] disk\n"},
      {[] {
         throw DriverError(Status(Code::kIo, "server", 3146),
                           {{1062, "23000", "duplicate"}, {5, "01000", "more"}});
       },
       Code::kIo, 3146, "1062 [23000] duplicate\n5 [01000] more\n"},
      {[] { throw std::bad_alloc(); }, Code::kInternal, 3000, "3000 [] out of memory\n"},
      {[] { throw std::out_of_range("at 9"); }, Code::kInternal, 3000, "3000 [] at 9\n"},
      {[] { throw 42; }, Code::kInternal, 3000, "3000 [] unknown failure\n"},
  };
  for (const Row& row : rows) {
    CAPTURE(row.errors);
    DBEngine engine;
    engine.Register(std::make_unique<ThrowingDriver>(row.act));
    const auto opened = engine.OpenDatabase("x", true, false, "");
    CHECK((opened.status().code() == row.code));
    CHECK(opened.status().number() == row.number);
    CHECK(Show(engine.Errors()) == row.errors);
    engine.ClearErrors();
    CHECK(engine.DataSources().status().number() == row.number);
    CHECK(Show(engine.Errors()) == row.errors);
  }
  DBEngine engine;
  engine.Register(std::make_unique<ThrowingDriver>([] {}));
  CHECK(engine.CreateDatabase("x", "").number() == 3251);  // a driver without that ability
}

TEST_CASE("opening: which driver, which name, who may") {
  MemoryDriver files({"", "dBASE III"});
  files.AddDatabase("shop", "secret");
  MemoryDriver servers({"ODBC"});
  servers.AddDatabase("Sales");
  DBEngine engine;
  engine.Register(files.Clone());
  engine.Register(servers.Clone());

  struct Row {
    std::string name;
    std::string connect;
    int number;         // 0: opens
    std::string shown;  // "Name Connect" of what was opened
  };
  const Row rows[] = {
      {"shop", ";pwd=secret;", 0, "shop ;pwd=secret;"},
      {"shop", "DBASE iii;PWD=secret", 0, "shop DBASE iii;PWD=secret"},
      {"shop", "", 3031, ""},
      {"other", ";pwd=;", 3024, ""},
      {"shop", "Paradox 5.x;", 3170, ""},
      {"", "ODBC;DSN=Sales;UID=a;", 0, " ODBC;DSN=Sales;UID=a;"},
      {"Sales", "odbc", 0, " odbc;DSN=Sales;"},
      {"Sales", "ODBC;DSN=;UID=a", 0, " ODBC;DSN=Sales;UID=a;"},
      {"shop", "ODBC;DSN=Sales;", 0, "shop ODBC;DSN=Sales;"},
      {"Sales", "ODBC;Driver=x;", 0, "Sales ODBC;Driver=x;"},
      {"Elsewhere", "ODBC;", 3024, ""},
  };
  for (const Row& row : rows) {
    CAPTURE(row.name);
    CAPTURE(row.connect);
    const auto opened = engine.OpenDatabase(row.name, false, false, row.connect);
    CHECK(opened.status().number() == row.number);
    if (!opened.ok()) continue;
    CHECK((*opened)->Name() + " " + (*opened)->Connect() == row.shown);
  }

  const auto sources = engine.DataSources();
  REQUIRE(sources.ok());
  REQUIRE(sources->size() == 1);
  CHECK(sources->front().Name == "Sales");
}

// A table of three records with an index, open on the first one.
class OpenTable {
 public:
  OpenTable() {
    TableDef table;
    table.Name = "orders";
    table.Fields = {tests::MakeField("ID", TypeCode::kLong),
                    tests::MakeField("Name", TypeCode::kText)};
    table.Indexes = {tests::MakeIndex("PrimaryKey", "+ID")};
    table.Indexes[0].Primary = true;
    memory.AddTable("shop", table);
    for (const char* key : {"1", "2", "3"}) memory.AddRow("shop", "orders", {key, "x"});
    engine.Register(memory.Clone());
    database = *engine.OpenDatabase("shop", false, false, "");
    set = *database->OpenRecordset("orders", RecordsetType::kTable);
  }
  MemoryDriver memory;
  DBEngine engine;
  std::unique_ptr<Database> database;
  std::unique_ptr<Recordset> set;
};

TEST_CASE("a move that fails leaves no record behind that could be taken twice") {
  OpenTable open;
  const Status lost(Code::kIo, "lost");
  std::string text;
  bool is_null = false;
  struct Row {
    std::string operation;
    std::function<Status(Recordset&)> act;
  };
  const Row rows[] = {
      {"MoveNext", [](Recordset& set) { return set.MoveNext(); }},
      {"MoveNext", [](Recordset& set) { return set.Move(1); }},
      {"MoveLast", [](Recordset& set) { return set.MoveLast(); }},
      {"MoveFirst", [](Recordset& set) { return set.MoveFirst(); }},
      {"SetBookmark", [](Recordset& set) { return set.SetBookmark({"12345678"}); }},
      {"SetIndex", [](Recordset& set) { return set.SetIndex("PrimaryKey"); }},
  };
  for (const Row& row : rows) {
    CAPTURE(row.operation);
    open.memory.FailNext(row.operation, 1, lost);
    const Status status = row.act(*open.set);
    CHECK(status.number() == 3043);
    CHECK(status.message() == "lost");
    CHECK_FALSE(open.set->Eof());
    CHECK(open.set->Fields(0).GetText(text, is_null).number() == 3021);
    CHECK(open.set->MoveNext().number() == 3021);
    CHECK(open.set->Edit().number() == 3021);
    REQUIRE(open.set->MoveFirst().ok());
    CHECK(open.set->Fields(0).GetText(text, is_null).ok());
    CHECK(text == "1");
  }
}

TEST_CASE("failures inside an edit keep what the driver told and end it") {
  OpenTable open;
  Recordset& set = *open.set;
  const Status refused(Code::kIo, "refused", 3146);
  const std::vector<PendingError> details = {{1205, "HYT00", "lock wait"}};
  const std::string shown = "1205 [HYT00] lock wait\n";

  REQUIRE(set.SetIndex("PrimaryKey").ok());
  const std::string_view keys[] = {"2"};
  open.memory.FailNext("Seek", 1, refused, details);
  CHECK(set.SeekText(SeekComparison::kEqual, keys).number() == 3146);
  CHECK(Show(open.engine.Errors()) == shown);
  const std::string_view no_key[] = {"two"};
  CHECK(set.SeekText(SeekComparison::kEqual, no_key).number() == 3421);

  REQUIRE(set.SeekText(SeekComparison::kEqual, keys).ok());
  REQUIRE(set.Edit().ok());
  open.memory.FailNext("WriteField Name", 1, refused, details);
  CHECK(set.Fields(1).SetText("y").number() == 3146);
  CHECK(Show(open.engine.Errors()) == shown);
  REQUIRE(set.Fields(1).SetText("z").ok());
  open.memory.FailNext("Update", 1, refused, details);
  CHECK(set.Update().number() == 3146);
  CHECK(Show(open.engine.Errors()) == shown);
  CHECK(set.EditMode() == EditState::kNone);
  CHECK(set.Update().number() == 3020);
  CHECK(tests::Show(open.memory.Rows("shop", "orders")) == "1|x\n2|x\n3|x\n");

  open.memory.FailRead("orders", 3, "name", Status(Code::kCorrupt, "damaged"));
  std::string text;
  bool is_null = false;
  REQUIRE(set.MoveLast().ok());
  CHECK(set.Fields(0).GetText(text, is_null).ok());
  CHECK(set.Fields(1).GetText(text, is_null).number() == 3049);
}

}  // namespace
}  // namespace kelvorin::database
