#include "engine/error_policy.h"

#include <algorithm>
#include <utility>

#include "base/M_Const.h"
#include "base/M_STRING.h"
#include "engine/messages.h"

namespace kelvorin::engine {

using base::Tr;
using contract::Answer;
using contract::Buttons;
using contract::Icon;

namespace {

std::string WithDescription(std::string_view message, const Status& why) {
  std::string text(message);
  text += base::kCrLf;
  text += why.message();
  return text;
}

// A driver's text is the description as well as the message's last part.
std::string WithDescriptionOnce(std::string_view message, const Status& why) {
  if (message.find(why.message()) != std::string_view::npos) return std::string(message);
  return WithDescription(message, why);
}

}  // namespace

ErrorPolicy::ErrorPolicy(const settings::ImportSetting& setting, bool silent,
                         database::DBEngine& engine, contract::Caller& caller,
                         contract::Platform& platform, TraceLog& log)
    : setting_(setting),
      engine_(engine),
      caller_(caller),
      platform_(platform),
      log_(log),
      show_(setting.ShowErrors && !silent) {}

void ErrorPolicy::SetLastError(std::string text) {
  caller_.properties().LastError = std::move(text);
  caller_.PropertyChanged("LastError");
}

void ErrorPolicy::Begin() {
  engine_.ClearErrors();
  if (!caller_.properties().LastError.empty()) SetLastError({});
}

void ErrorPolicy::TellNotices(std::vector<std::string>& told) {
  for (std::string& notice : engine_.TakeNotices()) {
    // A log that cannot take it fails with the next thing that is written to it.
    if (log_.is_open()) static_cast<void>(log_.Write(notice + std::string(base::kCrLf)).ok());
    SetLastError(notice);
    told.push_back(std::move(notice));
  }
}

const std::string& ErrorPolicy::Fatal(const Message& message, const Status& why) {
  const std::string text = WithDescription(message.plain, why);
  // The run ends with this error; a log that cannot take it changes nothing about that.
  static_cast<void>(log_.Write(text + std::string(base::kCrLf)).ok());
  if (show_) {
    std::string shown = Tr("The following Error Occured:");
    for (int i = 0; i < 2; ++i) shown += base::kCrLf;
    shown += message.shown;
    shown += base::kCrLf;
    shown += ShownErrors(engine_, why);
    platform_.Ask({std::move(shown), Tr(kTitleError), Icon::kCritical, Buttons::kOk});
  }
  SetLastError(text);
  return caller_.properties().LastError;
}

const std::string& ErrorPolicy::Refuse(const Message& message) {
  static_cast<void>(log_.Write(message.plain + std::string(base::kCrLf)).ok());
  if (show_) platform_.Ask({message.shown, Tr(kTitleError), Icon::kCritical, Buttons::kOk});
  SetLastError(message.plain);
  return caller_.properties().LastError;
}

Status ErrorPolicy::Record(const Message& message, const Status& why, bool& stop,
                           std::optional<std::int64_t> line_number) {
  ++error_count_;
  std::string text = WithDescription(message.plain, why);
  if (log_.is_open()) {
    std::string entry = WithDescriptionOnce(message.plain, why) + std::string(base::kCrLf);
    if (line_number)
      entry.insert(std::min(entry.find(base::kCrLf), entry.size()),
                   " at line " + base::ToDecimal(*line_number));
    KV_TRY(log_.Write(entry));
  }
  SetLastError(std::move(text));
  engine_.ClearErrors();
  if (show_) {
    const Answer answer =
        platform_.Ask({message.shown + std::string(base::kCrLf) + Tr(kContinue), Tr(kTitleError),
                       Icon::kExclamation, Buttons::kYesNo, false, base::TrReason(why.message())});
    if (answer == Answer::kNo) stop = true;
  }
  if (show_ && !stop) {
    const Answer answer =
        platform_.Ask({Tr(kContinueSilently), Tr(kTitleError), Icon::kQuestion, Buttons::kYesNo});
    if (answer == Answer::kYes) show_ = false;
  }
  if (setting_.LimitErrors && error_count_ >= setting_.nErrorStop) {
    const Message limit = LimitMessage(setting_.nErrorStop);
    if (log_.is_open()) KV_TRY(log_.Write(limit.plain + std::string(base::kCrLf)));
    if (show_) platform_.Ask({limit.shown, Tr(kTitleError), Icon::kCritical, Buttons::kOk});
    stop = true;
  }
  return Status();
}

}  // namespace kelvorin::engine
