#pragma once
// Everything an import run needs, with a host that takes notes: a target table in memory, a text
// file or a table as the source, scripted answers, and one trace of events and database operations.

#include <functional>
#include <initializer_list>
#include <set>
#include <string>
#include <vector>

#include "contract/platform.h"
#include "database/engine.h"
#include "engine/import_run.h"
#include "tests/support/memory_database.h"
#include "tests/support/temp_folder.h"

namespace kelvorin::tests {

/// A control whose host listens to what the test connects.
class TestHost final : public contract::Caller, public contract::EventSink {
 public:
  contract::Properties& properties() noexcept override { return properties_; }
  contract::EventSink& events() noexcept override { return *this; }
  const std::string& connect_type_name() const noexcept override { return type_name_; }
  void PropertyChanged(std::string_view key) override { changed = key; }

  bool Listens(contract::Event event) const noexcept override {
    using enum contract::Event;
    return (event == kBeforeFieldImport && before_field) ||
           (event == kValidateBeforePost && before_post) ||
           (event == kValidateAfterPost && after_post);
  }
  void BeforeFieldImport(std::string_view table, std::string_view field, std::int16_t type,
                         std::int16_t size, std::string& value) override {
    if (before_field) before_field(table, field, type, size, value);
  }
  void FilterTable(std::string_view table, bool& hide) override {
    hide = hidden.count(std::string(table)) > 0;
  }
  void FilterType(std::int16_t type, bool& hide) override {
    hide = hidden.count("type " + std::to_string(type)) > 0;
  }
  void FilterField(std::string_view, std::string_view field, bool& hide) override {
    hide = hidden.count(std::string(field)) > 0;
    ++fields_asked;
  }
  void ValidateBeforePost(bool& record, bool& process) override { before_post(record, process); }
  void ValidateAfterPost(bool& process) override { after_post(process); }
  Status Failure() const noexcept override { return failure; }

  std::function<void(std::string_view, std::string_view, std::int16_t, std::int16_t, std::string&)>
      before_field;
  std::function<void(bool&, bool&)> before_post;
  std::function<void(bool&)> after_post;
  std::set<std::string> hidden;  // tables and fields that the filters hide
  int fields_asked = 0;
  Status failure;
  std::string changed;  // the property changed last

 private:
  contract::Properties properties_;
  std::string type_name_;
};

/// Answers questions from a script and shows a progress dialog that only takes notes.
class TestPlatform final : public contract::Platform, public contract::ProgressView {
 public:
  contract::Answer Ask(const contract::MessageBox& box) override;
  void SetWaitCursor(bool) override {}
  void Yield() override {
    if (++yields_ == cancel_at_yield) cancelled_ = true;
    if (on_yield) on_yield();
  }
  contract::ProgressView* Progress() override { return has_progress ? this : nullptr; }
  void Show() override { Note("show"); }
  void SetMaximum(std::int32_t records) override {
    Note("maximum " + std::to_string(maximum_ = records));
  }
  void SetCount(std::int64_t records) override { Note(contract::CountText(records, maximum_)); }
  bool Cancelled() const noexcept override { return cancelled_; }
  void Unload() override { Note("unload"); }

  std::vector<contract::Answer> answers;  // to questions of Yes and No; No when they run out
  std::vector<contract::MessageBox> boxes;
  std::string progress;  // what the dialog was told, separated by "; "
  bool has_progress = false;
  int cancel_at_yield = 0;
  std::function<void()> on_yield;

 private:
  void Note(const std::string& line) { progress += (progress.empty() ? "" : "; ") + line; }
  std::int32_t maximum_ = 0;
  bool cancelled_ = false;
  int yields_ = 0;
};

database::FieldDef Text(std::string name, std::int32_t size = 20);
database::FieldDef Typed(std::string name, values::TypeCode type);
/// A table with these fields and, with `key_fields`, an index "ByKey" on its first ones.
database::TableDef TableOf(std::string name, std::vector<database::FieldDef> fields,
                           std::size_t key_fields = 0, bool unique = false);
/// Name (text of 20), Amount (Long), Day (Date), Notes (Memo) and Picture (LongBinary).
database::TableDef Goods();

class RunRig {
 public:
  /// The target is the table "Goods" of the database "shop"; with `odbc` it takes statements only.
  explicit RunRig(database::TableDef table = Goods(), bool odbc = false);

  /// The source is a text file with these contents, or a table "Import" with these rows.
  void FromText(std::string_view contents);
  void FromTable(std::vector<database::FieldDef> fields,
                 const std::vector<std::vector<std::string>>& rows);
  /// Target field i gets source field `sources[i]`; -1 leaves it out.
  void Map(std::initializer_list<int> sources);
  /// Adds rows to the target and opens it again; also asks anew which fields are hidden.
  void Holds(const std::vector<std::vector<std::string>>& rows);

  engine::RunResult Run();
  /// Runs and tells "read imported rejected skipped", and how it ended when not as usual.
  std::string Counts() { return Show(Run()); }
  static std::string Show(const engine::RunResult& result);
  /// The target's rows, fields separated by "," and rows by " | ", Null as "~", none at a row's
  /// end.
  std::string Rows() const;
  /// Database operations logged and lines noted, in their order.
  void Note(std::string line);
  std::string Trace();
  std::string& LastError() { return host.properties().LastError; }
  /// A text with the rig's own folder taken out.
  std::string Plain(std::string_view text) const;

  TempFolder folder;
  MemoryDriver memory{{"", "ODBC", "dBASE III", "FoxPro 3.0"}};
  database::DBEngine engine;
  TestHost host;
  TestPlatform platform;
  settings::ImportSetting setting;
  textsource::BreakList breaks;
  catalog::Target target;
  catalog::Source source;
  engine::RunOptions options;

 private:
  bool odbc_;
  std::size_t operations_seen_ = 0;
  std::string trace_;
};

}  // namespace kelvorin::tests
