#pragma once
// What the detection would choose for a text file, beside the layout at hand: found once per file,
// compared with the setting, and put into it when the user says so. Never applied by itself.

#include <string>

#include "base/status.h"
#include "settings/import_setting.h"
#include "textsource/break_list.h"
#include "textsource/layout_detection.h"

namespace kelvorin::job {

/// Whether the detected layout reads other values out of the file's beginning than the setting
/// does, or knows names or other lines above the data that the setting imports.
bool Differs(const std::string& path, const textsource::DetectedLayout& layout,
             const settings::ImportSetting& setting, const textsource::BreakList& breaks);

/// Puts the detected layout into the setting, heading and first line included.
void Take(const textsource::DetectedLayout& layout, settings::ImportSetting& setting,
          textsource::BreakList& breaks);

/// The same without heading and first line.
void TakeCut(const textsource::DetectedLayout& layout, settings::ImportSetting& setting,
             textsource::BreakList& breaks);

/// Puts the detected heading and first line into the setting, and nothing else.
void TakeHeading(const textsource::DetectedLayout& layout, settings::ImportSetting& setting);

/// "Suggested: delimited, bar, names in line 3 (certainty 95 %)."
std::string SuggestionText(const textsource::DetectedLayout& layout);

}  // namespace kelvorin::job
