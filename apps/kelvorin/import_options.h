#pragma once
// The options of `kelvorin import`, and the import setting that they describe.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/kelvorin/command_line.h"
#include "apps/kelvorin/piped_source.h"
#include "apps/kelvorin/text_layout.h"
#include "base/status.h"
#include "mapping/field_mapping.h"
#include "settings/import_setting.h"
#include "textsource/break_list.h"

namespace kelvorin::app {

struct ImportOptions {
  std::string source;  // text file, table file, or KIND:DATABASE
  std::string source_table, query;
  std::string into;  // KIND:DATABASE
  std::string table;
  std::string user, password, source_user, source_password;

  TextOptions text;  // layout of a text source
  std::int64_t max_lines = 0;
  bool upper = false, lower = false;
  bool update = false, key_lookup = false, append_if_eof = false, append_fields = false;
  std::string index;
  bool empty_target = false, delete_import_file = false;
  bool no_show_errors = false;
  std::int64_t limit_errors = 0;
  std::string log;
  bool log_append = false;

  std::vector<std::string> map;  // TARGET=SOURCE, several separated by commas
  bool map_by_name = false, map_in_order = false;
  bool create = false;

  std::string save_as, ini;
  bool save_passwords = false;
  int oem_page = 0;
  std::string date_order, decimal, null_text, reject;
  bool exact = false, dry_run = false, json = false;
};

void AddImportOptions(Command command, ImportOptions& options);

/// A job as the command line describes it.
struct ImportJob {
  settings::ImportSetting setting;
  textsource::BreakList breaks;
  mapping::MapRequest map;
  textsource::DetectedLayout layout;  // of a text source
  std::optional<PipedSource> piped;   // the copy that is read, where the source is a pipe
  std::string said;                   // which layout a text source is read by; empty for a table
};

/// "--option 'value': expected ...".
Status WrongValue(std::string_view option, std::string_view value, std::string_view expected);

/// Reads every option into a setting, detecting the layout that was not given. Sets the process's
/// code pages. Fails with `kInvalidArgument` naming the option when one makes no sense, with
/// `kNotFound` or `kIo` when the source cannot be read.
Status MakeJob(const ImportOptions& options, ImportJob& job);

}  // namespace kelvorin::app
