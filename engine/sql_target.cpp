#include <vector>

#include "database/database.h"
#include "database/engine.h"
#include "database/sql_text.h"
#include "engine/key_values.h"
#include "engine/target_writer.h"

namespace kelvorin::engine {
namespace {

using database::SqlDialect;

// Collects the values of a record as literals of their fields' types and posts them as one
// statement: INSERT, or with key lookup UPDATE, whose count of changed records tells of a miss.
class SqlTarget final : public TargetWriter {
 public:
  SqlTarget(catalog::Target& target, const database::DBEngine& engine, const FieldPlan& plan,
            TextConversion& conversion, WriteMode mode, bool append_missing_keys, bool dry_run)
      : target_(target),
        format_(engine.Format()),
        dialect_(target.database->Dialect()),
        plan_(plan),
        keys_(plan, conversion, engine.Format()),
        mode_(mode),
        append_missing_keys_(append_missing_keys),
        dry_run_(dry_run),
        cells_(plan.fields.size()) {}

  Status PostInGroups(database::BulkReceiver& receiver) {
    database::BulkDatabase* bulk = database::AsBulkDatabase(*target_.database);
    if (bulk == nullptr || mode_ != WriteMode::kAppend || dry_run_) return Status();
    std::vector<std::string> names;
    for (const AssignedField& field : plan_.fields) names.emplace_back(field.name);
    auto made = bulk->MakeBulkInserter(target_.table_name, names, receiver, {});
    if (!made.ok()) return made.status();
    inserter_ = *std::move(made);
    return Status();
  }

  // Writes the names of table and fields as the server wants them.
  Status QuoteNames() {
    table_ = target_.recordset->Def().StatementName;  // as the server spells it
    if (table_.empty())
      KV_TRY(database::AppendIdentifier(target_.table_name, dialect_, table_, true));
    for (std::size_t i = 0; i < cells_.size(); ++i)
      KV_TRY(database::AppendIdentifier(plan_.fields[i].name, dialect_, cells_[i].name));
    return Status();
  }

  bool AtEnd() const noexcept override { return target_.recordset->Eof(); }
  Status GoToFirst() override { return Status(); }
  Result<std::int64_t> RecordCount() override { return target_.recordset->RecordCount(); }

  Status Empty() override {
    if (dry_run_ || (target_.recordset->Bof() && target_.recordset->Eof())) return Status();
    statement_ = "DELETE FROM " + table_;
    return Execute().status();
  }

  Status Position(const textsource::FieldValues& values, bool append, Place& place,
                  RefusedValue& refused) override {
    for (Cell& cell : cells_) cell.literal.clear();
    place = append || mode_ == WriteMode::kAppend ? Place::kNew : Place::kFound;
    if (place == Place::kNew) return Status();
    KV_TRY(keys_.Take(values, refused));
    for (std::size_t i = 0; i < plan_.keys.size(); ++i) {
      const std::size_t field = plan_.keys[i];
      KV_TRY(database::AppendLiteral(keys_.values()[i], plan_.fields[field].type, dialect_,
                                     cells_[field].literal));
    }
    return Status();
  }

  Status Current(const AssignedField&, std::string& out, bool& is_null) override {
    out.clear();
    is_null = true;
    return Status();
  }

  Status Assign(const AssignedField& field, std::string_view text) override {
    values::Value value;
    KV_TRY(format_.Parse(text, field.type, value, digits_));
    if (value.kind == values::Kind::kText && value.text.empty() &&
        !target_.recordset->Def().Fields[field.position].AllowZeroLength)
      value = values::Value::Null();
    std::string& literal = cells_[static_cast<std::size_t>(&field - plan_.fields.data())].literal;
    literal.clear();
    return database::AppendLiteral(value, field.type, dialect_, literal);
  }

  bool Grouped() const noexcept override { return inserter_ != nullptr; }
  Status Flush() override { return inserter_ ? inserter_->Flush() : Status(); }

  Status Post(Place& place) override {
    if (inserter_) {
      row_.Clear();
      for (const Cell& cell : cells_) row_.AppendWritten(cell.literal);
      return inserter_->Add(++posted_, row_);
    }
    if (place == Place::kFound) {
      BuildUpdate();
      const Result<std::int64_t> changed = Execute();
      if (!changed.ok()) return changed.status();
      if (*changed != 0) return Status();
      if (!append_missing_keys_) {
        place = Place::kMissing;
        return Status();
      }
    }
    BuildInsert();
    return Execute().status();
  }

  Status MoveOn() override { return Status(); }
  void Cancel() override {}
  std::int64_t replaced_characters() const noexcept override { return 0; }

 private:
  struct Cell {
    std::string name;     // quoted
    std::string literal;  // empty: the field gets no value
  };

  Result<std::int64_t> Execute() {
    if (dry_run_) return std::int64_t{1};
    return target_.database->Execute(statement_, database::kSqlPassThrough);
  }

  void BuildInsert() {
    statement_ = "INSERT INTO ";
    statement_ += table_;
    statement_ += " (";
    AppendList([](const Cell& cell) -> const std::string& { return cell.name; });
    statement_ += ") VALUES (";
    AppendList([](const Cell& cell) -> const std::string& { return cell.literal; });
    statement_ += ')';
  }

  template <typename Part>
  void AppendList(Part&& part) {
    bool first = true;
    for (const Cell& cell : cells_) {
      if (cell.literal.empty()) continue;
      if (!first) statement_ += ',';
      first = false;
      statement_ += part(cell);
    }
  }

  void BuildUpdate() {
    statement_ = "UPDATE ";
    statement_ += table_;
    statement_ += " SET ";
    bool first = true;
    for (std::size_t i = 0; i < cells_.size(); ++i) {
      if (plan_.fields[i].is_key || cells_[i].literal.empty()) continue;
      AppendAssignment(cells_[i], first);
    }
    // With nothing but keys to write, a key is set to itself: only so the server counts the match.
    if (first && !plan_.keys.empty()) AppendAssignment(cells_[plan_.keys.front()], first);
    const char* joint = " WHERE ";
    for (std::size_t i = 0; i < plan_.keys.size(); ++i) {
      const Cell& cell = cells_[plan_.keys[i]];
      statement_ += joint;
      statement_ += cell.name;
      if (keys_.values()[i].IsNull()) {
        statement_ += " IS NULL";
      } else {
        statement_ += " = ";
        statement_ += cell.literal;
      }
      joint = " AND ";
    }
  }

  void AppendAssignment(const Cell& cell, bool& first) {
    if (!first) statement_ += ',';
    first = false;
    statement_ += cell.name;
    statement_ += " = ";
    statement_ += cell.literal;
  }

  catalog::Target& target_;
  const values::ValueFormat& format_;
  const SqlDialect& dialect_;
  const FieldPlan& plan_;
  KeyValues keys_;
  WriteMode mode_;
  bool append_missing_keys_;
  bool dry_run_;
  std::vector<Cell> cells_;  // one per field of the plan
  std::string table_;        // quoted
  std::string statement_;
  std::string digits_;
  std::unique_ptr<database::BulkInserter> inserter_;
  database::LiteralRow row_;
  std::int64_t posted_ = 0;
};

}  // namespace

Result<std::unique_ptr<TargetWriter>> MakeSqlTarget(catalog::Target& target,
                                                    const database::DBEngine& engine,
                                                    const FieldPlan& plan,
                                                    TextConversion& conversion, WriteMode mode,
                                                    bool append_missing_keys, bool dry_run,
                                                    database::BulkReceiver* receiver) {
  auto writer = std::make_unique<SqlTarget>(target, engine, plan, conversion, mode,
                                            append_missing_keys, dry_run);
  KV_TRY(writer->QuoteNames());
  if (receiver != nullptr) KV_TRY(writer->PostInGroups(*receiver));
  return std::unique_ptr<TargetWriter>(std::move(writer));
}

}  // namespace kelvorin::engine
