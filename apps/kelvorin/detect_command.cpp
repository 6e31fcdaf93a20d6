// `kelvorin detect FILE`: how a text file seems to be built, and its first lines.

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "apps/kelvorin/command.h"
#include "apps/kelvorin/output.h"
#include "base/M_Const.h"
#include "base/M_FILE.h"
#include "settings/import_setting.h"
#include "textsource/format_detection.h"

namespace kelvorin::app {
namespace {

struct DetectOptions {
  std::string file;
  bool json = false;
};

std::string_view RecordSeparatorName(std::int32_t code) {
  switch (code) {
    case 0:
      return "CR LF";
    case 1:
      return "CR";
    default:
      return "LF";
  }
}

std::string SeparatorNames(std::string_view set) {
  std::string names;
  for (char c : set) {
    if (!names.empty()) names += ", ";
    names += c == ',' ? "comma" : c == ';' ? "semicolon" : c == ' ' ? "space" : "tab";
  }
  return names;
}

int Detect(const DetectOptions& options) {
  textsource::PreviewLines preview;
  preview.file_present = base::FileExists(options.file);
  if (!preview.file_present) return Report(kFatal, "there is no file '" + options.file + "'");
  textsource::RecordFormat format;
  textsource::FileTypeGuess guess;
  textsource::BreakList breaks;
  textsource::LoadNewFile(options.file, true, preview, format, guess, breaks);
  if (!preview.file_present) return Report(kFatal, "cannot read '" + options.file + "'");

  settings::ImportSetting setting;
  setting.TypeFormat = guess.TypeFormat;
  setting.SepComma = guess.SepComma;
  setting.SepSemicolon = guess.SepSemicolon;
  setting.SepSpace = guess.SepSpace;
  setting.SepTab = guess.SepTab;
  settings::RebuildSeparatorSet(setting);
  settings::RebuildDelimiter(setting);
  const auto rules = guess.TypeFormat == 1 ? textsource::SplitRules::Fixed(breaks)
                                           : textsource::SplitRules::Delimited(
                                                 setting.SeparatorSet, setting.DelimiterChar);
  const textsource::DetectionReport report = textsource::Weigh(preview, format, rules);

  std::vector<std::string> lines;
  for (int i = 1; i <= static_cast<int>(base::kPreviewLines); ++i)
    lines.push_back(ToUtf8(preview.Line(i)));
  while (!lines.empty() && lines.back().empty()) lines.pop_back();
  std::vector<int> positions;
  if (guess.TypeFormat == 1) {
    breaks.CompactAndSort();
    for (std::size_t slot = 0; slot < breaks.count(); ++slot) positions.push_back(breaks[slot]);
  }

  if (options.json) {
    const nlohmann::ordered_json object = {{"TypeFormat", guess.TypeFormat},
                                           {"RecSeparator", format.code},
                                           {"separators", ToUtf8(setting.SeparatorSet)},
                                           {"breaks", positions},
                                           {"lines", lines},
                                           {"fields", report.fields},
                                           {"certainty", report.certainty_percent},
                                           {"hint", report.hint}};
    std::printf("%s\n",
                object.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
    return kAllImported;
  }
  std::printf("layout            %s\n", guess.TypeFormat == 1 ? "fixed width" : "delimited");
  std::printf("record separator  %s\n", std::string(RecordSeparatorName(format.code)).c_str());
  if (guess.TypeFormat == 1) {
    std::string list;
    for (int position : positions) list += (list.empty() ? "" : ", ") + std::to_string(position);
    std::printf("breaks            %s\n", list.c_str());
  } else {
    std::printf("separators        %s\n", SeparatorNames(setting.SeparatorSet).c_str());
  }
  std::printf("certainty         %d %% (%d of %d lines have %d fields)\n", report.certainty_percent,
              report.lines_agreeing, report.lines, report.fields);
  if (!report.hint.empty()) std::printf("hint              %s\n", report.hint.c_str());
  std::printf("\n");
  for (const std::string& line : lines) std::printf("%s\n", line.c_str());
  return kAllImported;
}

}  // namespace

void AddDetectCommand(CLI::App& app, int& exit_status) {
  auto options = std::make_shared<DetectOptions>();
  CLI::App* command = app.add_subcommand("detect", "Tell how a text file seems to be built");
  command->add_option("FILE", options->file, "Text file to look at")->required();
  command->add_flag("--json", options->json, "Print one JSON object");
  command->callback([options, &exit_status] { exit_status = Detect(*options); });
}

}  // namespace kelvorin::app
