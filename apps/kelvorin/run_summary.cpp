#include "apps/kelvorin/run_summary.h"

#include <nlohmann/json.hpp>

#include "apps/kelvorin/command.h"
#include "apps/kelvorin/output.h"
#include "engine/messages.h"

namespace kelvorin::app {

int PrintSummary(const contract::RunResult& run, std::int64_t milliseconds, bool json,
                 std::string_view layout) {
  for (const std::string& notice : run.notices) PrintNotice(notice);
  const double seconds = static_cast<double>(milliseconds) / 1000;
  if (json) {
    nlohmann::ordered_json object = {{"read", run.read},         {"imported", run.imported},
                                     {"rejected", run.rejected}, {"skipped", run.skipped},
                                     {"fatal", nullptr},         {"seconds", seconds}};
    if (run.fatal) object["fatal"] = ToUtf8(*run.fatal);
    if (run.stopped || run.cancelled) object["stopped"] = true;
    if (run.truncated_values) object["truncated_values"] = run.truncated_values;
    if (run.replaced_characters) object["replaced_characters"] = run.replaced_characters;
    if (run.unclosed_delimiters) object["unclosed_delimiters"] = run.unclosed_delimiters;
    if (!layout.empty()) object["layout"] = ToUtf8(layout);
    if (run.changed_values) object["changed_values"] = run.changed_values;
    if (run.first_changed)
      object["first_changed"] = {{"line", run.first_changed->line_number},
                                 {"field", ToUtf8(run.first_changed->field)},
                                 {"was", ToUtf8(run.first_changed->was)},
                                 {"is", ToUtf8(run.first_changed->is)}};
    if (run.left_out_values) {
      object["left_out_values"] = run.left_out_values;
      object["first_left_out_line"] = run.first_left_out_line;
    }
    for (const std::string& notice : run.notices) object["notices"].push_back(ToUtf8(notice));
    std::printf("%s\n",
                object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
  } else if (run.read > 0 || !run.fatal) {
    std::printf("%lld read, %lld imported, %lld rejected, %lld skipped in %.2f s\n",
                static_cast<long long>(run.read), static_cast<long long>(run.imported),
                static_cast<long long>(run.rejected), static_cast<long long>(run.skipped), seconds);
    if (run.cancelled || run.stopped) std::printf("stopped before the end of the source\n");
    for (const std::string& message : engine::LossMessages(run))
      std::printf("%s\n", ToUtf8(message).c_str());
    if (run.unclosed_delimiters)
      std::printf("%lld records hold a text delimiter that is never closed\n",
                  static_cast<long long>(run.unclosed_delimiters));
  }
  const bool printed = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
  if (!printed && json)
    return Report(kFatal, "the result of the import cannot be written to standard output; " +
                              std::to_string(run.imported) + " records were imported");
  if (run.fatal) return Report(kFatal, *run.fatal);
  return run.rejected > 0 || run.stopped || run.cancelled ? kRecordsFailed : kAllImported;
}

}  // namespace kelvorin::app
