#include "tests/conformance/fixture.h"

#include "database/row_poster.h"
#include "values/value_format.h"

#include <doctest/doctest.h>

namespace kelvorin::tests {
namespace {

/// Keeps the refusal of a record.
class Outcome final : public database::RowReceiver {
 public:
  void Stored(std::int64_t) override {}
  bool Refused(std::int64_t, const Status& why) override {
    status = why;
    return true;
  }
  Status status;
};

/// Stores one record as a server takes it; fields of "<null>" are left out.
Status Post(Database& database, const TableDef& table, const Texts& texts) {
  std::vector<std::string> names;
  std::vector<values::Value> row;
  std::vector<std::string> digits(texts.size());
  for (std::size_t i = 0; i < texts.size(); ++i) {
    if (texts[i] == "<null>") continue;
    names.push_back(table.Fields[i].Name);
    KV_TRY(values::ValueFormat::Neutral().Parse(texts[i], table.Fields[i].Type, row.emplace_back(),
                                                digits[i]));
  }
  Outcome outcome;
  auto poster = database::AsRowDatabase(database)->MakeRowPoster(table.Name, names, outcome,
                                                                 {.one_by_one = true});
  if (!poster.ok()) return poster.status();
  KV_TRY((*poster)->Add(1, row));
  return outcome.status;
}

}  // namespace

std::string Fault(const Status& status) {
  if (status.ok()) return {};
  return std::to_string(status.number()) + " " + std::string(status.message());
}

void CheckNotWritable(Recordset& set) {
  CHECK_FALSE(set.Updatable());
  for (const Status& status : {set.AddNew(), set.Edit(), set.Delete()})
    CHECK(Number(status) == Number(ErrorNumber::kReadOnly));
}

Fixture::~Fixture() {
  if (database_) CHECK(Fault(database_->Close()) == "");
}

Database& Fixture::database() {
  if (!database_) {
    name_ = backend.make_database();
    backend.enter_driver(engine);
    OpenDatabase(false);
  }
  return *database_;
}

void Fixture::OpenDatabase(bool read_only) {
  auto opened = engine.OpenDatabase(name_, false, read_only, backend.connect);
  REQUIRE(Fault(opened.status()) == "");
  database_ = *std::move(opened);
}

void Fixture::Reopen(bool read_only) {
  REQUIRE(Fault(database().Close()) == "");
  OpenDatabase(read_only);
}

std::string Fixture::Make(TableDef table) {
  if (table.Name.empty()) table.Name = "T" + std::to_string(++tables_);
  REQUIRE(Fault(database().CreateTable(table)) == "");
  return table.Name;
}

std::string Fixture::MakeFilled(TableDef table, const std::vector<Texts>& records) {
  table.Name = Make(table);
  if (backend.snapshots_only) {
    const auto made = database().FindTableDef(table.Name);
    REQUIRE(Fault(made.status()) == "");
    for (const Texts& record : records) REQUIRE(Fault(Post(database(), *made, record)) == "");
    return table.Name;
  }
  const auto set = Open(table.Name);
  for (const Texts& record : records) REQUIRE(Fault(Append(*set, record)) == "");
  REQUIRE(Fault(set->Close()) == "");
  return table.Name;
}

std::string Fixture::MakePeople(int count) {
  TableDef people;
  people.Fields = {NumberField("ID"), TextField("NAME", 20)};
  std::vector<Texts> records;
  for (int i = 1; i <= count; ++i)
    records.push_back({std::to_string(i), "name " + std::to_string(i)});
  return MakeFilled(people, records);
}

std::unique_ptr<Recordset> Fixture::Open(std::string_view table) {
  const RecordsetType type = database().Traits().table_type;
  CHECK((type == RecordsetType::kSnapshot) == backend.snapshots_only);
  return Open(table, type);
}

std::unique_ptr<Recordset> Fixture::Open(std::string_view table, RecordsetType type) {
  auto set = database().OpenRecordset(table, type);
  REQUIRE(Fault(set.status()) == "");
  return *std::move(set);
}

Status Append(Recordset& set, const Texts& texts) {
  KV_TRY(set.AddNew());
  for (std::size_t i = 0; i < texts.size(); ++i)
    if (texts[i] != "<null>") KV_TRY(set.Fields(i).SetText(texts[i]));
  return set.Update();
}

Status Change(Recordset& set, std::size_t field, std::string_view text) {
  KV_TRY(set.Edit());
  KV_TRY(text == "<null>" ? set.Fields(field).SetValue(values::Value::Null())
                          : set.Fields(field).SetText(text));
  return set.Update();
}

Texts TextsOf(Recordset& set) {
  Texts texts;
  std::string text;
  for (std::size_t i = 0; i < set.FieldCount(); ++i) {
    bool null = false;
    const bool read = set.Fields(i).GetText(text, null).ok();
    texts.push_back(!read ? "<error>" : null ? "<null>" : text);
  }
  return texts;
}

bool Finds(Recordset& set, std::string_view index, const std::vector<std::string_view>& keys) {
  REQUIRE(Fault(set.SetIndex(index)) == "");
  REQUIRE(Fault(set.SeekText(SeekComparison::kEqual, keys)) == "");
  return !set.NoMatch();
}

void CheckSound(Database& database, std::string_view table) {
  const auto faults = database.Inspect(table);
  REQUIRE(Fault(faults.status()) == "");
  std::string lines;
  for (const std::string& fault : *faults) lines += fault + "\n";
  CHECK(lines == "");
}

std::string Fixture::TextOf(Recordset& set, std::size_t field) const {
  std::string text;
  bool is_null = false;
  const Status status = set.Fields(field).GetText(text, is_null);
  if (!status.ok()) return std::to_string(status.number());
  return is_null || (text.empty() && !backend.empty_text) ? "<null>" : text;
}

std::string Fixture::RecordOf(Recordset& set) const {
  std::string record;
  for (std::size_t i = 0; i < set.FieldCount(); ++i) record += (i == 0 ? "" : "|") + TextOf(set, i);
  return record;
}

std::string Fixture::Walk(Recordset& set) const {
  std::string lines;
  const Status first = set.MoveFirst();
  if (first.number() == Number(ErrorNumber::kNoCurrentRecord)) return lines;
  REQUIRE(Fault(first) == "");
  while (!set.Eof()) {
    lines += RecordOf(set) + "\n";
    REQUIRE(Fault(set.MoveNext()) == "");
  }
  return lines;
}

std::string Fixture::Dump(std::string_view table) {
  const auto set = Open(table);
  std::string lines = Walk(*set);
  CHECK(Fault(set->Close()) == "");
  return lines;
}

void Fixture::CheckSound() {
  if (!backend.snapshots_only) tests::CheckSound(database());  // a server looks after itself
}

}  // namespace kelvorin::tests
