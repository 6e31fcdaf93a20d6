#pragma once
// Where the run's records go: a record set that is appended to or edited, or a server that gets
// statements. Which of the two, and in which write mode, is decided before the first record.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "base/status.h"
#include "catalog/target.h"
#include "database/row_poster.h"
#include "engine/field_plan.h"
#include "settings/import_setting.h"
#include "textsource/field_splitter.h"

namespace kelvorin::engine {

enum class WriteMode : std::uint8_t { kAppend, kInOrder, kKeyLookUp };

/// The mode of a setting: appending wins over key lookup, key lookup over the table's order.
WriteMode WriteModeOf(const settings::ImportSetting& setting) noexcept;

/// How the target stands for a record.
enum class Place : std::uint8_t {
  kNew,      // a new record was begun
  kFound,    // an existing record is being changed
  kMissing,  // no record has this key: the source record is skipped
};

class TargetWriter {
 public:
  virtual ~TargetWriter() = default;

  /// Behind the last record, so that nothing is left to update in order.
  virtual bool AtEnd() const noexcept = 0;
  virtual Status GoToFirst() = 0;
  /// Deletes every record, if there is one.
  virtual Status Empty() = 0;
  virtual Result<std::int64_t> RecordCount() = 0;

  /// Makes the target ready for a record with these values. `append` begins a new record whatever
  /// the mode. A failure with `refused.field` set is one of a key value.
  virtual Status Position(const textsource::FieldValues& values, bool append, Place& place,
                          RefusedValue& refused) = 0;
  /// What a field of the record being changed holds; Null in a new one.
  virtual Status Current(const AssignedField& field, std::string& out, bool& is_null) = 0;
  /// Assigns a text, or Null. `changed` is set for one that the field keeps other than it is.
  virtual Status Assign(const AssignedField& field, std::string_view value, bool is_null,
                        bool& changed) = 0;
  /// What a field that was just assigned keeps, as text; "" for Null.
  virtual Status Kept(const AssignedField& field, std::string& out) = 0;
  /// Stores the record. `place` tells of a server that only now found no such key. A grouped
  /// writer only takes the record: what becomes of it goes to the receiver, in the order of the
  /// records, during this or a later call.
  virtual Status Post(Place& place) = 0;
  /// Whether the last failure of `Post` is one of every record: the table is gone or another.
  virtual bool LostTable() const noexcept { return false; }
  virtual bool Grouped() const noexcept { return false; }
  /// Stores the records that wait; harmless when none do.
  virtual Status Flush() { return Status(); }
  /// Brings what was stored to the disk, at the end of a run.
  virtual Status WriteOut() { return Status(); }
  /// In an update in order: goes to the next record.
  virtual Status MoveOn() = 0;
  /// Abandons a record begun.
  virtual void Cancel() = 0;
  /// Asked several times a second while a server is waited for; true ends the waiting, and what was
  /// waited for fails with kStopped.
  // NOLINTNEXTLINE(performance-unnecessary-value-param): those that stop keep it
  virtual void StopWhen(std::function<bool()>) {}
  /// Characters that the target could not hold so far.
  virtual std::int64_t replaced_characters() const noexcept = 0;
};

struct WriterOptions {
  WriteMode mode = WriteMode::kAppend;
  bool append_missing_keys = false;  // a key that is not found makes a new record
  bool dry_run = false;              // nothing is emptied or stored
  bool texts_stay = false;           // what is assigned lives until its record was posted
  std::string null_text{};           // among the keys; empty for none
};

/// `plan` and `conversion` outlive the writer.
std::unique_ptr<TargetWriter> MakeRecordsetTarget(database::Recordset& recordset,
                                                  const database::DBEngine& engine,
                                                  const FieldPlan& plan, TextConversion& conversion,
                                                  const WriterOptions& options);
/// The target takes records as values through `database`. With a `receiver` (which outlives the
/// writer) records may be posted in groups where the database can do so and the mode only appends.
/// Fails with `kInvalidArgument` for a name that no statement can hold.
Result<std::unique_ptr<TargetWriter>> MakeSqlTarget(
    database::RowDatabase& database, catalog::Target& target, const database::DBEngine& engine,
    const FieldPlan& plan, TextConversion& conversion, const WriterOptions& options,
    database::RowReceiver* receiver);

}  // namespace kelvorin::engine
