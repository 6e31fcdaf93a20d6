#pragma once
// The first records of a source as a table of texts: what the preview grid shows and where the
// mapping takes its source fields from. A text file is read once as a sample and cut again whenever
// an option changes.

#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "contract/form.h"
#include "database/database.h"
#include "job/value_check.h"
#include "settings/import_setting.h"
#include "textsource/break_list.h"

namespace kelvorin::wizard {

/// Records of a text file, uncut.
struct TextSample {
  std::string heading_line;  // the line before the first one to import, when there is one
  std::vector<std::string> records;
  std::string problem;  // why the file could not be read
};

/// Reads up to twenty records from the first line to import on; very long ones are cut.
Status ReadSample(const std::string& path, const settings::ImportSetting& setting,
                  TextSample& sample);

/// A line of the file as it is shown: in the ANSI page, where the setting says that it is in the
/// OEM page.
std::string ShownLine(const std::string& line, const settings::ImportSetting& setting);

struct PreviewTable {
  std::vector<std::string> headings;
  std::vector<contract::Grid::Row> rows;
  job::ShownValues values;  // whole, as they are assigned
  int ragged = 0;           // records that have another number of fields than most
  int unclosed = 0;         // records that end inside quotes
  int wide = 0;             // records of fixed width with characters of several bytes
  int behind = 0;           // records of fixed width with text behind the last break
  int crowded = 0;          // records with more fields than an import takes
};

/// Cuts a sample by the setting's rules; values are converted as the run converts them. Ragged and
/// unclosed records are drawn bold.
PreviewTable CutSample(const TextSample& sample, const settings::ImportSetting& setting,
                       const textsource::BreakList& breaks);

/// Field names and up to twenty rows of a table, from row `starting_line` (from 1) on.
Result<PreviewTable> ReadTable(database::Database& database, std::string_view table,
                               database::RecordsetType type, std::int32_t starting_line);

/// "Delimited text, comma, CR LF".
std::string LayoutText(const settings::ImportSetting& setting);

/// What was found out about a text file and how sure that is: "Delimited text, comma, CR LF: 20 of
/// 20 lines have 8 fields."
std::string DetectionText(const settings::ImportSetting& setting,
                          const textsource::BreakList& breaks, const TextSample& sample);

}  // namespace kelvorin::wizard
