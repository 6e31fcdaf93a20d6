#pragma once
// The options of `kelvorin import`, and the import setting that they describe.

#include <cstdint>
#include <string>
#include <vector>

#include "base/status.h"
#include "mapping/field_mapping.h"
#include "settings/import_setting.h"
#include "textsource/break_list.h"

namespace CLI {
class App;
}

namespace kelvorin::app {

struct ImportOptions {
  std::string source;  // text file, table file, or KIND:DATABASE
  std::string source_table;
  std::string into;  // KIND:DATABASE
  std::string table;
  std::string user, password, source_user, source_password;

  // Layout of a text source; empty or -1 is "not given", then it is detected.
  std::string format;
  std::string separators;
  std::string delimiter;
  std::string record_separator;
  std::string quoted_line_ends;  // "yes" or "no"
  std::string breaks;

  std::int64_t start_line = 1;
  std::int64_t max_lines = 0;
  bool oem = false, upper = false, lower = false;
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
  int ansi = 0, oem_page = 0;
  std::string date_order, decimal, null_text, reject;
  bool dry_run = false, json = false;
};

void AddImportOptions(CLI::App& command, ImportOptions& options);

/// A job as the command line describes it.
struct ImportJob {
  settings::ImportSetting setting;
  textsource::BreakList breaks;
  mapping::MapRequest map;
  std::string hint;  // what detection found odd about a text file, or empty
};

/// Reads every option into a setting, detecting the layout that was not given. Sets the process's
/// code pages. Fails with `kInvalidArgument` naming the option when one makes no sense, with
/// `kNotFound` or `kIo` when the source cannot be read.
Status MakeJob(const ImportOptions& options, ImportJob& job);

}  // namespace kelvorin::app
