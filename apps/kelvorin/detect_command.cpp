// `kelvorin detect FILE`: how a text file seems to be built, and its first lines.

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "apps/kelvorin/command.h"
#include "apps/kelvorin/layout_words.h"
#include "apps/kelvorin/output.h"
#include "base/M_Const.h"
#include "base/M_FILE.h"

namespace kelvorin::app {
namespace {

struct DetectOptions {
  std::string file;
  bool json = false;
};

int Detect(const DetectOptions& options) {
  if (!base::FileExists(options.file))
    return Report(kFatal, "there is no file '" + options.file + "'");
  textsource::PreviewLines preview;
  textsource::BreakList breaks;
  const Result<textsource::DetectedLayout> detected =
      textsource::DetectLayout(options.file, nullptr, '"', preview, breaks);
  if (!detected.ok()) return Report(kFatal, detected.status());
  const textsource::DetectionReport& report = detected->report;
  const bool fixed = detected->rule == textsource::CutRule::kFixed;
  const bool delimited = detected->rule == textsource::CutRule::kDelimited;

  std::vector<std::string> lines;
  for (int i = 1; i <= static_cast<int>(base::kPreviewLines); ++i)
    lines.push_back(ToUtf8(preview.Line(i)));
  while (!lines.empty() && lines.back().empty()) lines.pop_back();
  std::vector<int> positions;
  if (fixed) {
    breaks.CompactAndSort();
    for (std::size_t slot = 0; slot < breaks.count(); ++slot) positions.push_back(breaks[slot]);
  }

  if (options.json) {
    const nlohmann::ordered_json object = {{"TypeFormat", static_cast<int>(detected->rule)},
                                           {"RecSeparator", detected->format.code},
                                           {"separators", delimited ? detected->separators : ""},
                                           {"QuotedLineEnds", detected->format.quote != 0},
                                           {"breaks", positions},
                                           {"lines", lines},
                                           {"fields", report.fields},
                                           {"certainty", report.certainty_percent},
                                           {"hint", report.hint}};
    std::printf("%s\n",
                object.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
    return kAllImported;
  }
  std::printf("layout            %s\n", LayoutWords(*detected).c_str());
  if (fixed) {
    std::string list;
    for (int position : positions) list += (list.empty() ? "" : ", ") + std::to_string(position);
    std::printf("breaks            %s\n", list.c_str());
  }
  std::printf("certainty         %s\n", CertaintyWords(report).c_str());
  if (!report.hint.empty()) std::printf("hint              %s\n", report.hint.c_str());
  std::printf("\n");
  for (std::string& line : lines) {  // a NUL is a character of its line
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stdout);
  }
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
