#pragma once
// What a failure of the run leads to: the message in the log, in `LastError` and on the screen, the
// questions to the user, and whether the run goes on. One per run.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "contract/platform.h"
#include "database/engine.h"
#include "engine/messages.h"
#include "engine/trace_log.h"
#include "settings/import_setting.h"

namespace kelvorin::engine {

class ErrorPolicy {
 public:
  /// With `silent` nothing is shown whatever the setting says.
  ErrorPolicy(const settings::ImportSetting& setting, bool silent, database::DBEngine& engine,
              contract::Caller& caller, contract::Platform& platform, TraceLog& log);

  /// Forgets the error of an earlier run.
  void Begin();

  /// What the engine's databases had to tell: logs it, leaves it in `LastError` and adds it to
  /// `told`. No error.
  void TellNotices(std::vector<std::string>& told);

  /// A failure that ends the run: logs it, shows it with the engine's pending errors, and returns
  /// what it left in `LastError`.
  const std::string& Fatal(const Message& message, const Status& why);
  /// The same for a condition that has a text of its own and no error behind it.
  const std::string& Refuse(const Message& message);

  /// A failure that costs one record. Sets `stop` when the user or the error limit ends the run.
  /// `line_number`: of the record, where the message does not tell it; the log does. Fails when the
  /// log cannot be written.
  Status Record(const Message& message, const Status& why, bool& stop,
                std::optional<std::int64_t> line_number = std::nullopt);

  std::int64_t error_count() const noexcept { return error_count_; }

 private:
  void SetLastError(std::string text);

  const settings::ImportSetting& setting_;
  database::DBEngine& engine_;
  contract::Caller& caller_;
  contract::Platform& platform_;
  TraceLog& log_;
  bool show_;
  std::int64_t error_count_ = 0;
};

}  // namespace kelvorin::engine
