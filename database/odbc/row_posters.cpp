#include "database/odbc/row_posters.h"

#include <utility>

#include "database/boundary.h"
#include "database/engine.h"
#include "database/odbc/sql_strategy.h"
#include "database/odbc/sqlite_reads.h"
#include "database/odbc/text_values.h"
#include "os/system.h"

namespace kelvorin::database::odbc {
namespace {

using values::Value;

// False ends the posting.
bool Tell(database::RowReceiver& receiver, std::int64_t record_no, const PostFailure& failure) {
  if (failure.no_table) {
    receiver.Gone(record_no, failure.status);
    return false;
  }
  return failure.doubtful ? receiver.Doubtful(record_no, failure.status)
                          : receiver.Refused(record_no, failure.status);
}

/// What both ways share: the row's length is checked, nothing throws, and a failure of the poster
/// itself ends in the engine's pending errors.
class Poster : public database::RowPoster {
 public:
  Poster(database::DBEngine& engine, Session& session, const PostTarget& target)
      : engine_(engine),
        session_(session),
        table_(SqlName(session, target.table)),
        writer_(session.facts().server == Server::kSqlite ? session.Identity() : std::string()),
        field_count_(target.fields.size()) {
    for (const std::string& field : target.fields)
      fields_.push_back(target.def.Fields[static_cast<std::size_t>(target.def.FindField(field))]);
  }

  ~Poster() override { session_.StopWhen({}); }

  void StopWhen(std::function<bool()> stop) final { session_.StopWhen(std::move(stop)); }
  bool TakesText(std::size_t field, std::string_view text) const noexcept final {
    return ServerTakes(session_.facts().server, fields_[field], text);
  }
  Status Add(std::int64_t record_no, std::span<const Value> row) noexcept final {
    return Guarded([&]() -> Status {
      if (row.size() != field_count_)
        return database::MakeStatus(Code::kInvalidArgument, database::ErrorNumber::kInvalidArgument,
                                    "record " + std::to_string(record_no) + " has " +
                                        std::to_string(row.size()) + " values for " +
                                        std::to_string(field_count_) + " fields");
      return DoAdd(record_no, row);
    });
  }
  Status DeleteAll() noexcept final {
    return Guarded([&]() -> Status {
      session_.RequireConnection();
      Statement statement(session_.connection());
      statement.Execute("DELETE FROM " + table_, "the records cannot be deleted");
      return Status();
    });
  }

 protected:
  // An ended posting is no failure of its own: the pending errors stay those of the record.
  template <typename F>
  Status Guarded(F&& call) noexcept {
    try {
      return call();
    } catch (...) {
      return database::CaughtStatus(engine_);
    }
  }
  database::DBEngine& engine() const noexcept { return engine_; }
  Session& session() noexcept { return session_; }
  /// The table's name in statements, in the ANSI page.
  const std::string& table() const noexcept { return table_; }

 private:
  virtual Status DoAdd(std::int64_t record_no, std::span<const Value> row) = 0;

  database::DBEngine& engine_;
  Session& session_;
  std::string table_;
  SqliteWriter writer_;
  std::size_t field_count_;
  std::vector<database::FieldDef> fields_;
};

class InsertPoster final : public Poster {
 public:
  InsertPoster(database::DBEngine& engine, Session& session, const PostTarget& target,
               std::unique_ptr<PostStrategy> strategy, database::RowReceiver& receiver)
      : Poster(engine, session, target),
        strategy_(std::move(strategy)),
        poster_(
            *strategy_, target.types,
            [&receiver](std::int64_t record_no) { receiver.Stored(record_no); },
            [this, &receiver](std::int64_t record_no, const PostFailure& failure) {
              this->engine().NoteFailure(failure.status, failure.errors);
              return Tell(receiver, record_no, failure);
            },
            os::MonotonicMilliseconds) {}

  Status Flush() noexcept override {
    return Guarded([&] { return poster_.Flush(); });
  }
  std::size_t Waiting() const noexcept override { return poster_.Waiting(); }
  bool Grouped() const noexcept override { return poster_.Grouped(); }

 private:
  Status DoAdd(std::int64_t record_no, std::span<const Value> row) override {
    return poster_.Add(record_no, row);
  }

  std::unique_ptr<PostStrategy> strategy_;
  ChunkPoster poster_;
};

/// Each record is one UPDATE, and where that met nothing and it is wished, one INSERT.
class UpdatePoster final : public Poster {
 public:
  UpdatePoster(database::DBEngine& engine, Session& session, const PostTarget& target,
               database::RowReceiver& receiver, database::PostOptions options)
      : Poster(engine, session, target),
        receiver_(receiver),
        options_(std::move(options)),
        insert_(session, InsertText(session, target.table, target.fields), false, {}),
        prefix_(Utf8Name(ColumnPrefix(session, target.table))),
        batch_(target.types),
        is_key_(target.fields.size()) {
    for (const std::size_t key : options_.keys) {
      if (key >= is_key_.size())
        database::Throw(Code::kInvalidArgument, database::ErrorNumber::kInvalidArgument,
                        "a key of table '" + target.def.Name + "' is none of its fields");
      is_key_[key] = true;
    }
    for (const std::string& field : target.fields) {
      std::string name;
      AppendName(field, session.facts().dialect, name);
      names_.push_back(Utf8Name(name));
    }
  }

  Status Flush() noexcept override { return Status(); }
  std::size_t Waiting() const noexcept override { return 0; }
  bool Grouped() const noexcept override { return false; }

 private:
  Status DoAdd(std::int64_t record_no, std::span<const Value> row) override {
    if (stopped_) return Status(Code::kStopped, "the posting was ended");
    PostFailure failure;
    std::int64_t changed = 0;
    batch_.Clear();
    failure.status = batch_.Add(record_no, row);
    if (failure.failed()) {
      failure.errors = ErrorsOf(failure.status);
    } else {
      failure = insert_.SendText(UpdateText(), &changed);
      insert_.AskForTable(names_.size(), failure);
      if (!failure.failed() && changed == 0 &&
          options_.mode == database::PostMode::kUpdateOrInsert) {
        failure = insert_.Send(batch_, {0, 1});
        changed = 1;
      }
    }
    if (failure.lost && !failure.unsent) MarkDoubtful(failure);
    if (failure.failed()) {
      engine().NoteFailure(failure.status, failure.errors);
      stopped_ = !Tell(receiver_, record_no, failure);
    } else if (changed == 0) {
      receiver_.Missed(record_no);
    } else {
      receiver_.Stored(record_no);
    }
    return stopped_ ? Status(Code::kStopped, "the posting was ended") : Status();
  }

  void AppendAssignment(std::size_t field) {
    sql_ += names_[field];
    sql_ += '=';
    batch_.AppendValue(0, field, session().facts().dialect, sql_);
  }

  const std::string& UpdateText() {
    sql_ = "UPDATE ";
    sql_ += Utf8Name(table());
    const char* joint = " SET ";
    for (std::size_t i = 0; i < is_key_.size(); ++i) {
      if (is_key_[i]) continue;
      sql_ += std::exchange(joint, ",");
      AppendAssignment(i);
    }
    // With nothing but keys to write, a key is set to itself: only so the server counts the match.
    if (*joint == ' ' && !options_.keys.empty()) {
      sql_ += joint;
      AppendAssignment(options_.keys.front());
    }
    joint = " WHERE ";
    for (const std::size_t key : options_.keys) {
      sql_ += std::exchange(joint, " AND ");
      sql_ += prefix_;
      if (batch_.Kind(0, key) == CellKind::kNull) {
        sql_ += names_[key];
        sql_ += " IS NULL";
      } else {
        AppendAssignment(key);
      }
    }
    return sql_;
  }

  database::RowReceiver& receiver_;
  database::PostOptions options_;
  SqlStrategy insert_;
  std::string prefix_;  // of columns in conditions, in UTF-8
  RecordBatch batch_;   // of the one record
  std::vector<bool> is_key_;
  std::vector<std::string> names_;  // quoted, in UTF-8
  std::string sql_;
  bool stopped_ = false;
};

}  // namespace

std::unique_ptr<database::RowPoster> MakeInsertPoster(database::DBEngine& engine, Session& session,
                                                      PostTarget target,
                                                      database::RowReceiver& receiver,
                                                      bool one_by_one) {
  auto strategy = MakeStrategy(session, target, one_by_one);
  return std::make_unique<InsertPoster>(engine, session, target, std::move(strategy), receiver);
}

std::unique_ptr<database::RowPoster> MakeUpdatePoster(database::DBEngine& engine, Session& session,
                                                      PostTarget target,
                                                      database::RowReceiver& receiver,
                                                      database::PostOptions options) {
  return std::make_unique<UpdatePoster>(engine, session, target, receiver, std::move(options));
}

}  // namespace kelvorin::database::odbc
