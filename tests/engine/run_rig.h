#pragma once
// Everything an import run needs, with a host that takes notes: a target table in memory, a text
// file or a table as the source, scripted answers, and one trace of events, questions and database
// operations in their order.

#include <functional>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "control/contract/platform.h"
#include "database/api/engine.h"
#include "engine/import_run.h"
#include "tests/support/memory_database.h"
#include "tests/support/temp_folder.h"

namespace kelvorin::tests {

/// One list of what happened, one line each.
class Trace {
 public:
  explicit Trace(const MemoryDriver& memory) : memory_(memory) {}
  /// Adds a line behind the database operations that came before it.
  void Note(std::string line);
  /// The whole trace, one line below the other, and begins a new one.
  std::string Take();

 private:
  void TakeOperations();
  const MemoryDriver& memory_;
  std::size_t operations_seen_ = 0;
  std::string text_;
};

/// A control whose host listens to what the test connects.
class TestHost final : public contract::Caller, public contract::EventSink {
 public:
  contract::Properties& properties() noexcept override { return properties_; }
  contract::EventSink& events() noexcept override { return *this; }
  const std::string& connect_type_name() const noexcept override { return type_name; }
  void PropertyChanged(std::string_view key) override { changed.emplace_back(key); }

  bool Listens(contract::Event event) const noexcept override;
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
  }
  void ValidateBeforePost(bool& record, bool& process) override {
    if (before_post) before_post(record, process);
  }
  void ValidateAfterPost(bool& process) override {
    if (after_post) after_post(process);
  }
  Status Failure() const noexcept override { return failure; }

  std::function<void(std::string_view, std::string_view, std::int16_t, std::int16_t, std::string&)>
      before_field;
  std::function<void(bool&, bool&)> before_post;
  std::function<void(bool&)> after_post;
  std::map<std::string, bool> hidden;  // tables and fields that the filters hide
  Status failure;
  std::string type_name;
  std::vector<std::string> changed;

 private:
  contract::Properties properties_;
};

/// Answers questions from a script and shows a progress dialog that only takes notes.
class TestPlatform final : public contract::Platform, public contract::ProgressView {
 public:
  contract::Answer Ask(const contract::MessageBox& box) override;
  void SetWaitCursor(bool) override {}
  void Yield() override;
  contract::ProgressView* Progress() override { return has_progress ? this : nullptr; }

  void Show() override { Note("show"); }
  void SetMaximum(std::int32_t records) override { Note("maximum " + std::to_string(records)); }
  void SetValue(std::int32_t records) override { Note("value " + std::to_string(records)); }
  void SetCountText(std::string_view text) override { Note("text " + std::string(text)); }
  bool Cancelled() const noexcept override { return cancelled; }
  void Unload() override { Note("unload"); }

  std::vector<contract::Answer> answers;  // to questions of Yes and No; "No" when they run out
  std::vector<contract::MessageBox> boxes;
  std::string progress;  // what the dialog was told, separated by "; "
  bool has_progress = false;
  bool cancelled = false;
  int yields = 0;
  int cancel_at_yield = 0;
  std::function<void()> on_yield;

 private:
  void Note(const std::string& line) { progress += (progress.empty() ? "" : "; ") + line; }
};

database::FieldDef Field(std::string name, values::TypeCode type, std::int32_t size = 0);
/// A table "Goods" with these fields.
database::TableDef TableOf(std::vector<database::FieldDef> fields);
/// A table of text, number and date: Name (20 characters), Amount (Long), Day (Date), Notes (Memo),
/// Picture (LongBinary), with a unique index "ByName".
database::TableDef Goods();

class RunRig {
 public:
  /// The target is the table "Goods" of the database "shop"; with `odbc` it takes statements only.
  explicit RunRig(database::TableDef table = Goods(), bool odbc = false);

  /// The source is a text file with these contents.
  void Text(std::string_view contents);
  /// The source is a table "Import" of the same engine.
  void Table(database::TableDef table, const std::vector<std::vector<std::string>>& rows);
  /// Target field i gets source field `sources[i]`; -1 leaves it out.
  void Map(std::initializer_list<int> sources);
  void AddGoods(const std::vector<std::string>& row) { memory.AddRow("shop", "Goods", row); }
  /// Opens the target again, so that rows added since are seen and fields filtered anew.
  void OpenTarget();

  engine::RunResult Run();
  std::string Rows() const { return tests::Show(memory.Rows("shop", "Goods")); }
  const std::vector<std::string>& Statements() const { return memory.Statements("shop"); }
  const std::string& LastError() { return host.properties().LastError; }
  /// "read imported rejected skipped", and what else is not as usual.
  static std::string Show(const engine::RunResult& result);

  TempFolder folder;
  MemoryDriver memory{{"", "Memory", "ODBC", "dBASE III", "FoxPro 3.0"}};
  database::DBEngine engine;
  TestHost host;
  TestPlatform platform;
  Trace trace{memory};
  settings::ImportSetting setting;
  textsource::BreakList breaks;
  catalog::Target target;
  catalog::Source source;
  engine::RunOptions options;

 private:
  std::string connect_;
};

}  // namespace kelvorin::tests
