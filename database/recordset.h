#pragma once
// Record sets: the cursor through which every table is read and written, whatever its format. The
// public methods check the state, call the driver's private `Do...` and turn what a driver throws
// into a `Status`; the run and the tests use them, drivers derive from them. Nothing throws out of
// a public method.

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "database/errors.h"
#include "database/table_def.h"
#include "values/value.h"

namespace kelvorin::database {

class Database;
class Recordset;

using values::Value;

enum class RecordsetType : std::int16_t {
  kTable = 1,     // one table itself: `Index` and `Seek` work, rows seen as they are now
  kDynaset = 2,   // updatable set of rows, e.g. of a linked table
  kSnapshot = 4,  // read-only set of rows as they were when the set was opened
};

enum class EditState : std::uint8_t { kNone, kEdit, kAdd };

enum class SeekComparison : std::uint8_t { kEqual, kGreaterEqual, kGreater, kLessEqual, kLess };

/// A place that a record set can return to. Its bytes mean something to the driver alone; up to 15
/// of them need no memory of their own.
struct Bookmark {
  std::string bytes;
  bool empty() const noexcept { return bytes.empty(); }
  bool operator==(const Bookmark&) const = default;
};

/// Asks whether a field keeps a value as it is. `changed` is set for one that it keeps only in
/// part. Fails with kConversion for one that would lose all that it says: a number other than 0
/// that becomes 0, a time without a date where only dates are kept, a fraction in a field of whole
/// numbers. `resolution` is the field's, by `values::ResolutionOf`. The record set asks for every
/// assignment; whoever sends values to a server by another way asks by itself.
Status CheckFit(const FieldDef& field, const values::Resolution& resolution, const Value& value,
                bool& changed);

/// One field of a record set: a light handle, valid as long as the record set.
class Field {
 public:
  const FieldDef& Def() const noexcept;
  const std::string& Name() const noexcept { return Def().Name; }
  TypeCode Type() const noexcept { return Def().Type; }
  std::int32_t Size() const noexcept { return Def().Size; }
  bool AllowZeroLength() const noexcept { return Def().AllowZeroLength; }

  /// The field of the record being edited or added, else of the current record. What `out.text`
  /// points to lives until the record set moves, is edited or is closed. Fails with kCorrupt for a
  /// value that the format makes no sense of; `out` may then hold its bytes as text.
  Status GetValue(Value& out) const noexcept;
  /// Assigns into the record begun by `AddNew` or `Edit`. The value is of the kind that `SetText`
  /// makes for the field's type, or a number of another kind that the field can hold. Fails with
  /// kConversion, kTooLong, kRequired; the field then keeps what it had. Null assigned to the
  /// automatic number of a new record leaves it unassigned. What is kept of the value only in part
  /// is no failure: `Recordset::LastChanged` tells of it.
  Status SetValue(const Value& value) noexcept;

  /// The value as text, Null as empty text with `is_null` set. `out` is cleared, not reallocated.
  Status GetText(std::string& out, bool& is_null) const noexcept;
  /// Parses by the field's type and assigns. Empty text is text of length zero where the field
  /// takes it, else Null.
  Status SetText(std::string_view text) noexcept;

 private:
  friend class Recordset;
  Field(Recordset& owner, std::size_t index) noexcept : owner_(&owner), index_(index) {}
  Recordset* owner_;
  std::size_t index_;
};

class Recordset {
 public:
  virtual ~Recordset() = default;
  Recordset(const Recordset&) = delete;
  Recordset& operator=(const Recordset&) = delete;

  RecordsetType Type() const noexcept { return type_; }
  const TableDef& Def() const noexcept { return def_; }
  /// The database that the records live in: of a linked table's set the one it is linked to, where
  /// `Def().Name` is its name.
  const Database& Home() const noexcept { return *database_; }
  bool Updatable() const noexcept { return def_.Updatable && type_ != RecordsetType::kSnapshot; }

  std::size_t FieldCount() const noexcept { return def_.Fields.size(); }
  /// `index` from 0, below FieldCount.
  Field Fields(std::size_t index) noexcept {
    KV_ASSERT(index < def_.Fields.size(), "field index inside the table");
    return {*this, index};
  }
  Result<Field> Fields(std::string_view name);

  // --- Moving. A fresh record set stands on its first record; Bof and Eof are both true when there
  // is none. Moving discards a pending edit. A move that a driver cannot finish (a damaged block, a
  // lost server) leaves no current record until MoveFirst, MoveLast, SetBookmark or Seek finds one.
  bool Bof() const noexcept { return bof_; }
  bool Eof() const noexcept { return eof_; }
  Status MoveFirst() noexcept;
  Status MoveLast() noexcept;
  /// At Eof: kNoCurrentRecord. From the last record: to Eof. From a deleted record: to the one that
  /// followed it. From before the first record: to the first.
  Status MoveNext() noexcept;
  Status MovePrevious() noexcept;
  /// `rows` forward, or backward when negative; stops at Eof or Bof.
  Status Move(std::int64_t rows) noexcept;
  /// Rows of the set, deleted ones not counted.
  Result<std::int64_t> RecordCount() noexcept;

  Status GetBookmark(Bookmark& out) noexcept;
  /// Fails with kNoCurrentRecord when the record is gone; the set then stands where it stood.
  Status SetBookmark(const Bookmark& to) noexcept;

  // --- Index. Only for record sets of type table.
  /// Nothing will be stored through this set: an index that is out of date stays as it is.
  void SetTrial() noexcept { trial_ = true; }
  /// Orders the set by an index of the table (without regard to case) and makes it the one for
  /// `Seek`; empty text returns to the table's own order. Moves to the first record.
  Status SetIndex(std::string_view name) noexcept;
  const std::string& Index() const noexcept { return index_name_; }
  bool trial() const noexcept { return trial_; }
  const IndexDef* CurrentIndex() const noexcept { return def_.FindIndex(index_name_); }
  /// Finds the first record (last for "<=" and "<") whose key compares so with `keys`, given in
  /// key order; fewer values than key fields compare the leading ones. "Greater" is what comes
  /// later in the index's order, so with a descending field the smaller value. When there is none,
  /// NoMatch is true and there is no current record; Bof and Eof stay what they were.
  Status Seek(SeekComparison comparison, std::span<const Value> keys) noexcept;
  /// The same with texts, each read as `SetText` reads it for its key field; at most 16 of them.
  Status SeekText(SeekComparison comparison, std::span<const std::string_view> keys) noexcept;
  bool NoMatch() const noexcept { return no_match_; }

  // --- Writing. A failed call leaves table and indexes as they were.
  EditState EditMode() const noexcept { return edit_; }
  /// Begins a new record in which every field reads Null until it is assigned. Discards a pending
  /// edit. The current record stays what it was, also after `Update`.
  Status AddNew() noexcept;
  /// Begins to edit the current record. Discards a pending edit.
  Status Edit() noexcept;
  /// Stores the record begun. Defaults and automatic numbers are applied to fields left unassigned
  /// by AddNew. Fails with kRequired, kDuplicateKey, kIntegrity, ...; the edit is then over and
  /// nothing was stored.
  Status Update() noexcept;
  /// Harmless when nothing is pending.
  Status CancelUpdate() noexcept;
  /// Deletes the current record, which then can only be left by moving.
  Status Delete() noexcept;
  /// Writes finished records out to the file, as Close does, and stays open.
  Status Flush() noexcept;
  /// Lets go of the table; finished records are written out. Harmless when already closed. A set
  /// destroyed without it lets go all the same, but cannot tell whether writing succeeded.
  Status Close() noexcept;

  /// Characters that the table's code page could not hold and that were replaced by the nearest
  /// one, counted since the record set was opened.
  std::int64_t ReplacedCharacters() const noexcept { return replaced_characters_; }

  /// Characters of values read so far that the ANSI page could not hold and that were replaced.
  std::int64_t UnreadableCharacters() const noexcept { return unreadable_characters_; }

  /// Whether the field assigned last keeps something other than it was given: rounded, without its
  /// time of day, False for Null, with characters replaced. The field itself then tells what it
  /// keeps. Blanks at the end of a text do not count where a format fills its texts with blanks.
  bool LastChanged() const noexcept { return last_changed_; }
  /// What the field keeps of values, with everything settled.
  const values::Resolution& Keeps(std::size_t field) const noexcept { return keeps_[field]; }

 protected:
  /// `def` describes the set's fields; drivers set `Updatable` and `WhyReadOnly` in it. A database
  /// opened for reading only makes them itself.
  Recordset(Database& database, RecordsetType type, TableDef def);

  /// Goes to the first record. Done once for every set when it is opened; a driver that does it
  /// itself has it done only then.
  void OpenAtFirst();

  TableDef& def() noexcept { return def_; }
  Database& database() noexcept { return *database_; }
  const Database& database() const noexcept { return *database_; }
  /// Whether a field was assigned since AddNew or Edit; for defaults and automatic numbers.
  bool Assigned(std::size_t field) const noexcept { return assigned_[field] != 0; }
  void CountReplacedCharacters(std::size_t count) noexcept {
    replaced_characters_ += static_cast<std::int64_t>(count);
  }

  /// A value of another kind than a field stores goes the way of its text, as everywhere in the
  /// engine. What `converted` points to lives until the next call.
  Status ConvertByText(std::size_t field, const Value& value, Value& converted);

  /// The failure of assigning to a field that the table numbers.
  Status RefuseNumbered(std::size_t field) const;

  /// Of a value being read: characters that the ANSI page lacks.
  void CountUnreadableCharacters(std::size_t count) noexcept {
    unreadable_characters_ += static_cast<std::int64_t>(count);
  }

 private:
  friend class Database;
  friend class Field;

  // --- What a driver does. Each may throw base::Error (never anything else on purpose). The state
  // has been checked; moves return whether they ended on a record.
  virtual bool DoMoveFirst() = 0;
  virtual bool DoMoveLast() = 0;
  /// From the current record, or from the place of the record just deleted.
  virtual bool DoMoveNext() = 0;
  virtual bool DoMovePrevious() = 0;
  /// Default: steps. A driver that can count rows overrides it; `rows` is not 0.
  virtual bool DoMove(std::int64_t rows);
  virtual std::int64_t DoRecordCount() = 0;
  virtual void DoGetBookmark(std::string& out) = 0;
  /// False when the record is gone; the set must then stand where it stood.
  virtual bool DoSetBookmark(std::string_view bytes) = 0;
  /// `index` is one of def().Indexes, or null for the table's own order.
  virtual void DoSetIndex(const IndexDef* index);
  virtual bool DoSeek(SeekComparison comparison, std::span<const Value> keys);
  /// Reads from the pending edit when there is one, else from the current record.
  virtual void DoReadField(std::size_t field, Value& out) = 0;
  /// Into the pending edit. Expected failures (too long, out of range) are returned. That the value
  /// fits the field's `Keeps` was checked: what is left to do is to round, or to leave the rest
  /// out.
  virtual Status DoWriteField(std::size_t field, const Value& value);
  virtual void DoAddNew();
  virtual void DoEdit();
  /// Expected failures (duplicate key, ...) are returned; afterwards the edit is over either way.
  virtual Status DoUpdate();
  virtual void DoCancelUpdate();
  virtual void DoDelete();
  virtual void DoFlush() {}
  virtual void DoClose() = 0;

  template <typename F>
  Status Guarded(F&& call) noexcept;
  template <typename F>
  Status Moving(F&& call) noexcept;
  Status Fail(Status status) noexcept;
  Status CheckOpen() noexcept;
  Status CheckCurrent() noexcept;
  Status CheckWritable(const char* what) noexcept;
  Status ReadField(std::size_t field, Value& out) noexcept;
  [[gnu::cold]] Status NotEditing(std::size_t field) noexcept;
  Status Assign(std::size_t field, const Value& value);
  Status WriteField(std::size_t field, const Value& value) noexcept;
  Status WriteText(std::size_t field, std::string_view text) noexcept;
  Status ParseText(std::string_view text, const FieldDef& field, Value& out,
                   std::string& scratch) const;
  Status CheckRequired() const;
  void Land(bool on_record, bool forward) noexcept;
  void LandAfterDelete(bool on_record, bool forward);
  void LandFirst(bool any) noexcept;

  Database* database_;
  RecordsetType type_;
  TableDef def_;
  std::string index_name_;
  std::vector<values::Resolution> keeps_;    // of each field
  std::vector<std::uint8_t> assigned_;       // 1 for each field assigned since AddNew or Edit
  std::vector<std::uint8_t> assigned_null_;  // of the assigned ones: 1 when they became Null
  Value parsed_;                          // by WriteText, kept so that it is not cleared each time
  std::vector<std::size_t> required_;     // fields to check at Update, resolved once
  std::string scratch_;                   // digits of the number being assigned
  std::vector<std::string> key_scratch_;  // the same for each key of SeekText
  std::string converted_text_, converted_digits_;  // of ConvertByText
  std::int64_t replaced_characters_ = 0;
  std::int64_t unreadable_characters_ = 0;
  EditState edit_ = EditState::kNone;
  bool open_ = true;
  bool placed_ = false;  // OpenAtFirst was done
  bool trial_ = false;
  bool bof_ = true;
  bool eof_ = true;
  bool deleted_ = false;  // the current record was deleted
  bool no_match_ = false;
  bool last_changed_ = false;
  bool lost_ = false;  // no current record, though neither Bof nor Eof: Seek or a move failed
};

}  // namespace kelvorin::database
