#pragma once
// The layout of a text source on the command line: its options, what they say and what detection
// finds where they say nothing. Used by `import` and `detect`.

#include <cstdint>
#include <string>

#include "apps/kelvorin/command_line.h"
#include "base/status.h"
#include "settings/import_setting.h"
#include "textsource/break_list.h"
#include "textsource/layout_detection.h"

namespace kelvorin::app {

/// What was said about the layout; empty is "not given", then it is detected.
struct TextOptions {
  std::string format;  // "delimited", "fixed", "html", "html-tags"
  std::string separators;
  std::string delimiter;
  std::string record_separator;
  std::string quoted_line_ends;  // "yes" or "no"
  std::string breaks;
  std::string start_line = "1";  // or "auto"
  std::int64_t heading_line = 0;
  bool merge_separators = false;
  bool quotes_anywhere = false;
  bool skip_blank_lines = false;
  bool trim = false, no_trim = false;
  bool ignore_extra_fields = false;
  bool guess = false;
  int ansi = 0;  // code page of the file
  bool oem = false;
};

/// `detection`: with the options that `detect` has too, and no others.
void AddTextOptions(Command command, TextOptions& options, bool detection = false);

/// What the options say, as detection takes it. Fails with `kInvalidArgument` naming the option.
Result<textsource::GivenLayout> GivenBy(const TextOptions& options);

/// Fills the setting's layout from the options and, where they say nothing, from what the file
/// looks like. `said` tells in words which layout that is and what to know about it. Fails with
/// `kNotSupported` where the file cannot be read so without loss or doubt and `guess` was not said:
/// the text names the options that help.
Status TakeTextLayout(const TextOptions& options, const std::string& file,
                      settings::ImportSetting& setting, textsource::BreakList& breaks,
                      textsource::DetectedLayout& layout, std::string& said);

}  // namespace kelvorin::app
