// `kelvorin detect FILE`: how a text file seems to be built, and its first lines.

#include <nlohmann/json.hpp>

#include "apps/kelvorin/command.h"
#include "apps/kelvorin/output.h"
#include "apps/kelvorin/piped_source.h"
#include "apps/kelvorin/text_layout.h"
#include "base/M_Const.h"
#include "base/M_FILE.h"
#include "textsource/fixed_columns.h"
#include "textsource/layout_words.h"
#include "textsource/preview_lines.h"

namespace kelvorin::app {
namespace {

using textsource::CutRule;
using textsource::DetectedLayout;

struct DetectOptions {
  std::string file;
  TextOptions text;
  bool json = false;
};

std::vector<std::string> ToUtf8(const std::vector<std::string>& texts) {
  std::vector<std::string> list;
  list.reserve(texts.size());
  for (const std::string& text : texts) list.push_back(app::ToUtf8(text));
  return list;
}

std::vector<int> Positions(const DetectedLayout& layout) {
  std::vector<int> positions;
  if (layout.rule != CutRule::kFixed) return positions;
  textsource::BreakList breaks = layout.breaks;
  breaks.CompactAndSort();
  for (std::size_t slot = 0; slot < breaks.count(); ++slot) positions.push_back(breaks[slot]);
  return positions;
}

void PrintJson(const DetectedLayout& layout, const std::vector<std::string>& lines) {
  const bool delimited = layout.rule == CutRule::kDelimited;
  const textsource::DetectionReport& report = layout.report;
  nlohmann::ordered_json object = {
      {"TypeFormat", static_cast<int>(layout.rule)},
      {"RecSeparator", layout.format.code},
      {"any_line_end", layout.format.any_line_end},
      {"separators", delimited ? app::ToUtf8(layout.separators) : ""},
      {"merge_separators", layout.merge_separators},
      {"delimiter", delimited && layout.delimiter != 0 ? std::string(1, layout.delimiter) : ""},
      {"QuotedLineEnds", delimited && layout.format.quote != 0},
      {"trim", layout.trim},
      {"breaks", Positions(layout)},
      {"page", layout.page},
      {"heading_line", layout.heading_line},
      {"heading", nullptr},
      {"start_line", layout.start_line},
      {"lines", lines},
      {"fields", report.fields},
      {"certainty", report.certainty_percent},
      {"hint", app::ToUtf8(report.hint)},
      {"runner_up", app::ToUtf8(layout.runner_up)}};
  if (layout.heading_line > 0) object["heading"] = ToUtf8(layout.heading);
  std::printf("%s\n", object.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
}

void PrintWords(const DetectedLayout& layout, std::vector<std::string>& lines) {
  std::printf("layout            %s\n", app::ToUtf8(textsource::LayoutWords(layout)).c_str());
  std::string list;
  for (const int position : Positions(layout)) {
    list += list.empty() ? "" : ", ";
    list += position == textsource::kToLineEnd ? "the line's end" : std::to_string(position);
  }
  if (!list.empty()) std::printf("breaks            %s\n", list.c_str());
  list.clear();
  for (const std::string& name : layout.heading) list += (list.empty() ? "" : ", ") + name;
  if (!list.empty()) std::printf("heading           %s\n", app::ToUtf8(list).c_str());
  std::printf("certainty         %s\n", textsource::CertaintyWords(layout.report).c_str());
  if (!layout.report.hint.empty())
    std::printf("hint              %s\n", app::ToUtf8(layout.report.hint).c_str());
  if (!layout.runner_up.empty())
    std::printf("runner-up         %s\n", app::ToUtf8(layout.runner_up).c_str());
  std::printf("\n");
  for (std::string& line : lines) {  // a NUL is a character of its line
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stdout);
  }
}

int Detect(DetectOptions options) {
  std::optional<PipedSource> piped;
  if (PipedSource::IsPipe(options.file)) {
    Result<PipedSource> read = PipedSource::Read(options.file);
    if (!read.ok()) return Report(kFatal, read.status());
    piped = *std::move(read);
    options.file = piped->path();
  }
  if (!base::FileExists(options.file))
    return Report(kFatal, "there is no file '" + options.file + "'");
  const Result<textsource::GivenLayout> given = GivenBy(options.text);
  if (!given.ok()) return Report(kWrongUsage, given.status());
  const Result<DetectedLayout> layout = textsource::DetectLayout(options.file, *given);
  if (!layout.ok()) return Report(kFatal, layout.status());

  textsource::PreviewLines preview;
  preview.file_present = true;
  // Lines as they stand in the file: what cannot be read as records is shown as far as it goes.
  static_cast<void>(preview.ReadFileRecords(options.file, layout->format, 1).ok());
  std::vector<std::string> lines;
  for (int i = 1; i <= static_cast<int>(base::kPreviewLines); ++i)
    lines.push_back(app::ToUtf8(preview.Line(i)));
  while (!lines.empty() && lines.back().empty()) lines.pop_back();
  if (options.json) {
    PrintJson(*layout, lines);
  } else {
    PrintWords(*layout, lines);
  }
  return kAllImported;
}

}  // namespace

void AddDetectCommand(Command root, int& exit_status) {
  auto options = std::make_shared<DetectOptions>();
  Command command = root.AddCommand("detect", "Tell how a text file seems to be built");
  command.Add("FILE", options->file, "Text file to look at (- for standard input)").Required();
  AddTextOptions(command, options->text, true);
  command.AddFlag("--json", options->json, "Print one JSON object");
  command.OnUse([options, &exit_status] { exit_status = Detect(*options); });
}

}  // namespace kelvorin::app
