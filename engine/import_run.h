#pragma once
// The import run: copies every record of a source into the open target table, in the way that one
// import setting describes. The forms, the batch import and the command line launch it; it opens
// and closes the source, never the target.

#include <cstdint>
#include <string>
#include <string_view>

#include "base/M_FILE.h"
#include "base/M_Misc.h"
#include "base/status.h"
#include "catalog/source.h"
#include "catalog/target.h"
#include "contract/platform.h"
#include "contract/run_result.h"
#include "database/engine.h"
#include "settings/import_setting.h"
#include "textsource/break_list.h"

namespace kelvorin::engine {

/// A record that was not imported because of an error. Views live during the call.
struct RejectedRecord {
  std::int64_t line_number = 0;  // source line, or row of a source table, from 1
  std::string_view field;        // target field, empty when the whole record was refused
  std::string_view value;        // the value that was refused
  std::string_view reason;
  /// Text source: the record's bytes as they stand in the file, separator included. Table source:
  /// its values as one CSV line that ends in CR LF, binary fields empty.
  std::string_view raw;
};

/// Told of rejected records while a run is under way.
class RunObserver {
 public:
  virtual ~RunObserver() = default;
  /// Called once for each rejected record, after its error was reported. A failure ends the run.
  virtual Status OnReject(const RejectedRecord& record) = 0;
  /// Something that the user should know: told before the first record, or at the end. False where
  /// nobody hears it; the run's result then tells it.
  virtual bool OnNote(std::string_view /*text*/) { return false; }
};

struct RunOptions {
  /// Nothing is shown and nothing asked: errors are silent, there is no summary.
  bool batch = false;
  /// Everything but the change: the target is not emptied, nothing is posted, the import file
  /// stays, no log and no reject file is written. `imported` counts the records that were ready to
  /// be posted.
  bool dry_run = false;
  /// The settings file of the job, which the run must not write over; empty where there is none.
  std::string settings_file{};
  /// Beside the reject file that the setting may name.
  RunObserver* observer = nullptr;
  base::LocalTime (*now)() = &base::Now;
  /// Where log and reject files are written, and the source is deleted.
  base::FileSystem* files = &base::RealFileSystem();
};

using contract::RunResult;

/// What a run works with. Everything is borrowed and outlives the run.
struct RunInputs {
  const settings::ImportSetting& setting;
  const textsource::BreakList& breaks;
  catalog::Target& target;
  catalog::Source& source;
  database::DBEngine& engine;
  contract::Caller& caller;
  contract::Platform& platform;
  RunOptions options = {};
};

/// Runs under the platform's progress dialog when ShowProgress is set and there is one, else
/// directly.
RunResult StartImport(const RunInputs& inputs);

/// The run itself. `progress` is the dialog on the screen, or null.
///
/// `LastError` is emptied first; a fatal error and every record error leave their text in it.
/// Records posted before an error stay. Every target field that the setting maps must exist in
/// `target.fields`; a setting that maps none ends the run with an error.
RunResult DoImport(const RunInputs& inputs, contract::ProgressView* progress);

}  // namespace kelvorin::engine
