#include "tests/support/memory_database.h"

#include "base/M_STRING.h"
#include "database/database.h"
#include "database/recordset.h"
#include "database/row_poster.h"
#include "tests/support/memory_table.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <utility>

namespace kelvorin::tests {

using database::ConnectString;
using database::ErrorNumber;
using database::FieldDef;
using database::IndexDef;
using database::OpenRequest;
using database::PendingError;
using database::RecordsetType;
using database::SeekComparison;
using database::TableDef;
using database::Throw;
using values::Value;

namespace {

struct StoredDatabase {
  std::string password;
  std::vector<std::shared_ptr<MemoryTable>> tables;  // shared with open record sets
  std::vector<std::string> posts;
  std::map<int, PostOutcome> outcomes;

  std::shared_ptr<MemoryTable> Find(std::string_view name) const {
    for (const auto& table : tables)
      if (base::EqualIgnoreCase(table->def().Name, name)) return table;
    return nullptr;
  }
};

struct Fault {
  std::string operation;
  int countdown;
  Status status;
  std::vector<PendingError> errors;
};

std::string PlaceOf(std::string_view table, std::size_t record, std::string_view field) {
  return base::UpperAscii(std::string(table) + "|" + std::to_string(record) + "|" +
                          std::string(field));
}

}  // namespace

struct MemoryDriver::Store {
  std::vector<std::string> type_words;
  std::map<std::string, StoredDatabase, std::less<>> databases;
  std::vector<Fault> faults;
  std::map<std::string, Status> read_faults;  // by table, record and field
  std::vector<std::string> log;
  std::string logged_table;
  bool logging = false;

  StoredDatabase& Get(std::string_view name) {
    const auto found = databases.find(name);
    KV_ASSERT(found != databases.end(), "the test added this database");
    return found->second;
  }
  MemoryTable& Get(std::string_view database, std::string_view table) {
    const auto found = Get(database).Find(table);
    KV_ASSERT(found != nullptr, "the test added this table");
    return *found;
  }

  // Throws when a fault is due for the operation.
  void Meet(std::string_view operation, std::string_view name) {
    for (std::size_t i = 0; i < faults.size(); ++i) {
      Fault& fault = faults[i];
      const bool met = fault.operation == operation ||
                       fault.operation == std::string(operation) + " " + std::string(name);
      if (!met || --fault.countdown > 0) continue;
      const Fault due = fault;
      faults.erase(faults.begin() + static_cast<std::ptrdiff_t>(i));
      throw database::DriverError(due.status, due.errors);
    }
  }
  // Logs an operation and meets its faults. `table` is empty for operations on a database.
  void Enter(std::string_view table, std::string_view operation, std::string_view name = {},
             std::string_view detail = {}) {
    if (logging &&
        (table.empty() || logged_table.empty() || base::EqualIgnoreCase(table, logged_table))) {
      std::string line(operation);
      for (std::string_view part : {name, detail})
        if (!part.empty()) line.append(1, ' ').append(part);
      log.push_back(std::move(line));
    }
    Meet(operation, name);
  }
};

namespace {

using Store = MemoryDriver::Store;

class MemoryRecordset final : public database::Recordset {
 public:
  MemoryRecordset(database::Database& owner, RecordsetType type, TableDef def,
                  std::shared_ptr<Store> store, std::shared_ptr<MemoryTable> table)
      : Recordset(owner, type, std::move(def)), store_(std::move(store)), table_(std::move(table)) {
    if (type == RecordsetType::kSnapshot) snapshot_ = table_->rows();
  }

 private:
  const std::vector<Row>& rows() const noexcept {
    return Type() == RecordsetType::kSnapshot ? snapshot_ : table_->rows();
  }
  void Enter(std::string_view operation, std::string_view name = {}, std::string_view detail = {}) {
    store_->Enter(Def().Name, operation, name, detail);
  }

  void CheckThere() const {
    if (rows()[row_no_].deleted)
      Throw(Code::kNoCurrentRecord, ErrorNumber::kRecordDeleted,
            "the current record of table '" + Def().Name + "' was deleted by another record set");
  }
  bool Go(std::size_t row_no) noexcept {
    row_no_ = row_no;
    return true;
  }
  // First live row from `row_no` on, and last live row before it.
  bool GoFrom(std::size_t row_no) {
    for (; row_no < rows().size(); ++row_no)
      if (!rows()[row_no].deleted) return Go(row_no);
    return false;
  }
  bool GoBefore(std::size_t row_no) {
    while (row_no-- > 0)
      if (!rows()[row_no].deleted) return Go(row_no);
    return false;
  }
  // To the next row in the order of the index, or with `-1` the one before.
  bool GoInOrder(int way) {
    std::vector<std::size_t> order = table_->Order(*index_);
    if (way < 0) std::reverse(order.begin(), order.end());
    const std::vector<Cell> key = table_->KeyOf(*index_, rows()[row_no_]);
    for (const std::size_t row_no : order) {
      int behind = table_->CompareKeys(*index_, rows()[row_no], key);
      if (behind == 0) behind = row_no < row_no_ ? -1 : row_no > row_no_ ? 1 : 0;
      if (behind * way > 0) return Go(row_no);
    }
    return false;
  }

  bool DoMoveFirst() override {
    if (!std::exchange(opening_, false)) Enter("MoveFirst");
    if (!index_) return GoFrom(0);
    const std::vector<std::size_t> order = table_->Order(*index_);
    return !order.empty() && Go(order.front());
  }
  bool DoMoveLast() override {
    Enter("MoveLast");
    if (!index_) return GoBefore(rows().size());
    const std::vector<std::size_t> order = table_->Order(*index_);
    return !order.empty() && Go(order.back());
  }
  bool DoMoveNext() override {
    Enter("MoveNext");
    return index_ ? GoInOrder(1) : GoFrom(row_no_ + 1);
  }
  bool DoMovePrevious() override {
    Enter("MovePrevious");
    return index_ ? GoInOrder(-1) : GoBefore(row_no_);
  }
  std::int64_t DoRecordCount() override {
    Enter("RecordCount");
    std::int64_t count = 0;
    for (const Row& row : rows()) count += row.deleted ? 0 : 1;
    return count;
  }
  void DoGetBookmark(std::string& out) override {
    Enter("GetBookmark");
    const std::uint64_t number = row_no_;
    out.assign(sizeof number, '\0');
    std::memcpy(out.data(), &number, sizeof number);
  }
  bool DoSetBookmark(std::string_view bytes) override {
    Enter("SetBookmark");
    std::uint64_t number = 0;
    if (bytes.size() != sizeof number) return false;
    std::memcpy(&number, bytes.data(), sizeof number);
    return number < rows().size() && !rows()[number].deleted && Go(number);
  }

  void DoSetIndex(const IndexDef* index) override {
    Enter("SetIndex", index ? index->Name : std::string_view());
    index_ = index;
  }
  bool DoSeek(SeekComparison comparison, std::span<const Value> keys) override {
    std::vector<Cell> cells(keys.size());
    std::string detail;
    for (std::size_t i = 0; i < keys.size(); ++i) {
      const int found = Def().FindField(CurrentIndex()->Columns[i].Name);
      FieldDef field = Def().Fields[static_cast<std::size_t>(found)];
      field.Size = 0;  // a key longer than the field is one that no row has
      if (Status made = MakeCell(Def(), field, keys[i], cells[i]); !made.ok())
        throw Error(std::move(made));
      detail += (i == 0 ? "" : ", ") + TextOf(cells[i]);
    }
    KV_ASSERT(comparison == SeekComparison::kEqual, "nobody above seeks otherwise");
    Enter("Seek", "=", detail);
    for (const std::size_t row_no : table_->Order(*index_))
      if (table_->CompareKeys(*index_, rows()[row_no], cells) == 0) return Go(row_no);
    return false;
  }

  void DoReadField(std::size_t field, Value& out) override {
    store_->Meet("ReadField", Def().Fields[field].Name);
    if (EditMode() == database::EditState::kNone) {
      const auto fault =
          store_->read_faults.find(PlaceOf(Def().Name, row_no_ + 1, Def().Fields[field].Name));
      if (fault != store_->read_faults.end()) throw Error(fault->second);
      CheckThere();
      out = rows()[row_no_].cells[field].View();
    } else {
      out = pending_.cells[field].View();
    }
  }
  Status DoWriteField(std::size_t field, const Value& value) override {
    Enter("WriteField", Def().Fields[field].Name, "= " + TextOf(Cell(value)));
    return MakeCell(Def(), Def().Fields[field], value, pending_.cells[field]);
  }
  void DoAddNew() override {
    Enter("AddNew");
    pending_ = Row{std::vector<Cell>(FieldCount()), false};
  }
  void DoEdit() override {
    Enter("Edit");
    CheckThere();
    pending_ = rows()[row_no_];
  }
  Status DoUpdate() override {
    Enter("Update");
    if (EditMode() == database::EditState::kEdit)
      return table_->Replace(row_no_, std::move(pending_));
    return table_->Insert(std::move(pending_));
  }
  void DoCancelUpdate() override { Enter("CancelUpdate"); }
  void DoDelete() override {
    Enter("Delete");
    table_->Delete(row_no_);
  }
  void DoFlush() override { store_->Meet("Flush", Def().Name); }
  void DoClose() override { Enter("Close", Def().Name); }

  std::shared_ptr<Store> store_;
  std::shared_ptr<MemoryTable> table_;
  std::vector<Row> snapshot_;
  const IndexDef* index_ = nullptr;  // of the definition above
  std::size_t row_no_ = 0;
  Row pending_;
  bool opening_ = true;
};

class MemoryDatabase : public database::Database {
 public:
  MemoryDatabase(database::DBEngine& owner, OpenRequest request, std::shared_ptr<Store> store,
                 std::string key)
      : Database(owner, std::move(request)), store_(std::move(store)), key_(std::move(key)) {}

 protected:
  StoredDatabase& stored() const { return store_->Get(key_); }
  const std::shared_ptr<Store>& store() const noexcept { return store_; }

 private:
  std::shared_ptr<MemoryTable> Require(std::string_view name, ErrorNumber number) const {
    auto table = stored().Find(name);
    if (!table)
      Throw(Code::kNotFound, number,
            "the database '" + key_ + "' has no table '" + std::string(name) + "'");
    return table;
  }

  std::vector<database::TableInfo> DoTableDefs() override {
    store_->Enter({}, "TableDefs");
    std::vector<database::TableInfo> all;
    for (const auto& table : stored().tables)
      all.push_back({table->def().Name, table->def().Attributes});
    return all;
  }
  TableDef DoFindTableDef(std::string_view name) override {
    store_->Enter({}, "FindTableDef", name);
    return Require(name, ErrorNumber::kNotInCollection)->def();
  }
  std::unique_ptr<database::Recordset> DoOpenRecordset(std::string_view name,
                                                       RecordsetType type) override {
    store_->Enter({}, "OpenRecordset", name);
    auto table = Require(name, ErrorNumber::kTableNotFound);
    TableDef def = table->def();
    if (type == RecordsetType::kTable &&
        (def.Attributes & (database::kAttrLinkedJet | database::kAttrLinkedOdbc)) != 0)
      Throw(Code::kNotSupported, ErrorNumber::kInvalidOperation,
            "the linked table '" + def.Name + "' cannot be opened as a table");
    return std::make_unique<MemoryRecordset>(*this, type, std::move(def), store_, table);
  }
  void DoCreateTable(const TableDef& table) override {
    store_->Enter({}, "CreateTable", table.Name);
    if (stored().Find(table.Name))
      Throw(Code::kAlreadyExists, ErrorNumber::kTableExists,
            "the database '" + key_ + "' has a table '" + table.Name + "' already");
    stored().tables.push_back(std::make_shared<MemoryTable>(table));
  }
  void DoDeleteTable(std::string_view name) override {
    store_->Enter({}, "DeleteTable", name);
    const auto table = Require(name, ErrorNumber::kTableNotFound);
    std::erase(stored().tables, table);
  }
  std::vector<std::string> DoInspect(std::string_view) override { return {}; }
  void DoClose() override { store_->Enter({}, "CloseDatabase", key_); }

  std::shared_ptr<Store> store_;
  std::string key_;  // the database's name in the store
};

// Takes records as a server does, and writes down what it was given.
class MemoryPoster final : public database::RowPoster {
 public:
  MemoryPoster(database::DBEngine& engine, std::shared_ptr<Store> store, StoredDatabase& server,
               std::vector<std::string> fields, database::RowReceiver& receiver,
               database::PostOptions options)
      : engine_(engine),
        store_(std::move(store)),
        server_(server),
        fields_(std::move(fields)),
        receiver_(receiver),
        options_(std::move(options)) {}

  Status Add(std::int64_t record_no, std::span<const Value> row) noexcept override {
    const auto is_key = [&](std::size_t i) {
      return std::find(options_.keys.begin(), options_.keys.end(), i) != options_.keys.end();
    };
    std::string all = "insert", set, where;
    for (std::size_t i = 0; i < row.size(); ++i) {
      std::string text = " " + fields_[i] + "=";
      if (row[i].kind == values::Kind::kText) text += "'";
      text += row[i].IsNull() ? "null" : "";
      values::ValueFormat::Neutral().Append(row[i], text);
      if (row[i].kind == values::Kind::kText) text += "'";
      all += text;
      (is_key(i) ? where : set) += text;
    }
    if (Grouped()) {
      waiting_.emplace_back(record_no, std::move(all));
      return Status();
    }
    const bool insert = options_.mode == database::PostMode::kInsert;
    PostOutcome outcome = Post(insert ? all : "update" + set + " where" + where);
    if (outcome.affected == 0 && options_.mode == database::PostMode::kUpdateOrInsert)
      outcome = Post(all);
    if (!outcome.status.ok()) {
      Refuse(record_no, outcome);
    } else if (outcome.affected == 0) {
      receiver_.Missed(record_no);
    } else {
      receiver_.Stored(record_no);
    }
    return Status();
  }
  void StopWhen(std::function<bool()>) override {}
  bool TakesText(std::size_t, std::string_view) const noexcept override { return false; }
  Status Flush() noexcept override {
    for (const auto& [record_no, what] : std::exchange(waiting_, {})) {
      const PostOutcome outcome = Post(what);
      if (outcome.status.ok()) {
        receiver_.Stored(record_no);
      } else if (!Refuse(record_no, outcome)) {
        return Status(Code::kStopped, "ended");
      }
    }
    return Status();
  }
  std::size_t Waiting() const noexcept override { return waiting_.size(); }
  bool Grouped() const noexcept override { return !options_.one_by_one; }
  Status DeleteAll() noexcept override { return Post("delete all").status; }

 private:
  bool Refuse(std::int64_t record_no, const PostOutcome& outcome) {
    engine_.NoteFailure(outcome.status, outcome.errors);
    return receiver_.Refused(record_no, outcome.status);
  }
  PostOutcome Post(const std::string& what) {
    store_->Enter({}, "Post", {}, what);
    server_.posts.push_back(what);
    const auto scripted = server_.outcomes.find(static_cast<int>(server_.posts.size()));
    return scripted == server_.outcomes.end() ? PostOutcome() : scripted->second;
  }

  database::DBEngine& engine_;
  std::shared_ptr<Store> store_;
  StoredDatabase& server_;
  std::vector<std::string> fields_;
  database::RowReceiver& receiver_;
  database::PostOptions options_;
  std::vector<std::pair<std::int64_t, std::string>> waiting_;  // of a group
};

class MemoryServer final : public MemoryDatabase, public database::RowDatabase {
 public:
  using MemoryDatabase::MemoryDatabase;
  Result<std::unique_ptr<database::RowPoster>> MakeRowPoster(
      std::string_view, const std::vector<std::string>& fields, database::RowReceiver& receiver,
      database::PostOptions options) noexcept override {
    return std::unique_ptr<database::RowPoster>(
        std::make_unique<MemoryPoster>(engine(), store(), stored(), fields, receiver, options));
  }
  database::DatabaseTraits Traits() const noexcept override {
    return {RecordsetType::kSnapshot, true, false};
  }
};

}  // namespace

MemoryDriver::MemoryDriver(std::vector<std::string> type_words)
    : store_(std::make_shared<Store>()) {
  store_->type_words = std::move(type_words);
}
MemoryDriver::~MemoryDriver() = default;
MemoryDriver::MemoryDriver(const MemoryDriver&) = default;

void MemoryDriver::AddDatabase(std::string_view database, std::string_view password) {
  store_->databases[std::string(database)].password = password;
}

void MemoryDriver::AddTable(std::string_view database, TableDef table) {
  auto& tables = store_->databases[std::string(database)].tables;
  tables.push_back(std::make_shared<MemoryTable>(std::move(table)));
}

void MemoryDriver::AddRow(std::string_view database, std::string_view table,
                          const std::vector<std::string>& texts) {
  MemoryTable& stored = store_->Get(database, table);
  const TableDef& def = stored.def();
  KV_ASSERT(texts.size() == def.Fields.size(), "one text for each field");
  Row row{std::vector<Cell>(texts.size()), false};
  for (std::size_t i = 0; i < texts.size(); ++i) {
    if (texts[i] == "<null>") continue;
    Value value;
    std::string scratch;
    Status status =
        values::ValueFormat::Neutral().Parse(texts[i], def.Fields[i].Type, value, scratch);
    if (status.ok()) status = MakeCell(def, def.Fields[i], value, row.cells[i]);
    if (!status.ok()) throw Error(std::move(status));
  }
  Status status = stored.Insert(std::move(row));
  if (!status.ok()) throw Error(std::move(status));
}

std::vector<std::vector<std::string>> MemoryDriver::Rows(std::string_view database,
                                                         std::string_view table) const {
  std::vector<std::vector<std::string>> all;
  for (const Row& row : store_->Get(database, table).rows()) {
    if (row.deleted) continue;
    auto& texts = all.emplace_back();
    for (const Cell& cell : row.cells) texts.push_back(TextOf(cell));
  }
  return all;
}

const std::vector<std::string>& MemoryDriver::Posts(std::string_view database) const {
  return store_->Get(database).posts;
}
void MemoryDriver::ScriptPost(std::string_view database, int n, PostOutcome outcome) {
  store_->Get(database).outcomes[n] = std::move(outcome);
}

void MemoryDriver::FailNext(std::string_view operation, int n, Status status,
                            std::vector<PendingError> errors) {
  store_->faults.push_back({std::string(operation), n, std::move(status), std::move(errors)});
}
void MemoryDriver::FailRead(std::string_view table, std::size_t record, std::string_view field,
                            Status status) {
  store_->read_faults[PlaceOf(table, record, field)] = std::move(status);
}

void MemoryDriver::StartLog(std::string_view table) {
  store_->log.clear();
  store_->logged_table = table;
  store_->logging = true;
}
const std::vector<std::string>& MemoryDriver::Log() const {
  return store_->log;
}

bool MemoryDriver::Handles(std::string_view type_word) const noexcept {
  for (const std::string& word : store_->type_words)
    if (base::EqualIgnoreCase(word, type_word)) return true;
  return false;
}

std::unique_ptr<database::Database> MemoryDriver::Open(database::DBEngine& engine,
                                                       const OpenRequest& request,
                                                       const ConnectString& connect) {
  const std::string key(base::EqualIgnoreCase(connect.type_word(), "ODBC")
                            ? connect.Get("DSN").value_or(request.Name)
                            : request.Name);
  store_->Enter({}, "OpenDatabase", key);
  const auto found = store_->databases.find(key);
  if (found == store_->databases.end())
    Throw(Code::kNotFound, ErrorNumber::kFileNotFound, "there is no database '" + key + "'");
  const StoredDatabase& stored = found->second;
  if (!stored.password.empty() && stored.password != connect.password())
    Throw(Code::kPassword, ErrorNumber::kWrongPassword,
          "the password of the database '" + key + "' is another one");
  if (base::EqualIgnoreCase(connect.type_word(), "ODBC"))
    return std::make_unique<MemoryServer>(engine, request, store_, key);
  return std::make_unique<MemoryDatabase>(engine, request, store_, key);
}

void MemoryDriver::Create(const OpenRequest& request, const ConnectString& connect) {
  store_->Enter({}, "CreateDatabase", request.Name);
  if (store_->databases.count(request.Name) != 0)
    Throw(Code::kAlreadyExists, ErrorNumber::kDatabaseExists,
          "there is a database '" + request.Name + "' already");
  AddDatabase(request.Name, connect.password());
}

std::vector<database::DataSource> MemoryDriver::DataSources() {
  std::vector<database::DataSource> all;
  if (!Handles("ODBC")) return all;
  for (const auto& [name, stored] : store_->databases) all.push_back({name, "Memory"});
  return all;
}

std::string Show(const std::vector<std::vector<std::string>>& rows) {
  std::string text;
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) text += (i == 0 ? "" : "|") + row[i];
    text += '\n';
  }
  return text;
}

}  // namespace kelvorin::tests
