#pragma once
// What forms and the run ask of the world around them: questions, the wait cursor, the progress
// dialog and the yield that keeps it alive. Real platforms are windows; `SilentPlatform` is for
// batch runs, where nothing may be shown.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "contract/events.h"
#include "contract/properties.h"

namespace kelvorin::contract {

class Form;

enum class Buttons : std::uint8_t { kOk, kOkCancel, kYesNo };
enum class Icon : std::uint8_t { kNone, kInformation, kExclamation, kQuestion, kCritical };
enum class Answer : std::uint8_t { kOk, kCancel, kYes, kNo };

struct MessageBox {
  std::string text;
  std::string title;
  Icon icon = Icon::kNone;
  Buttons buttons = Buttons::kOk;
  bool careful = false;      // Return takes Cancel or No: the other answer throws something away
  std::string details = {};  // shown when they are asked for
  bool operator==(const MessageBox&) const = default;
};

/// A dialog that asks for the name of a file.
struct FileDialog {
  std::string filter;     // "label|pattern|label|pattern", patterns separated by ";"
  int filter_index = 1;   // entry of the filter, from 1
  std::string file_name;  // to begin with; empty for none
  bool save = false;      // asks where to save; else the file must exist
  bool keeps = false;     // of save: an existing file is not replaced, so nobody need confirm that
  bool operator==(const FileDialog&) const = default;
};

/// The text beside a progress bar: "5 out of 20", and the bare count when the total was too low
/// (the bar is then full).
std::string CountText(std::int64_t records, std::int64_t total);

/// The run's side of the progress dialog. Shown before the first record is read; its cancel flag
/// only ever goes from false to true.
class ProgressView {
 public:
  virtual ~ProgressView() = default;
  virtual void Show() = 0;
  virtual void SetMaximum(std::int32_t records) = 0;
  /// Records processed so far; told after every record, so that it must cost nearly nothing. Bar
  /// and text follow when they are drawn.
  virtual void SetCount(std::int64_t records) = 0;
  virtual bool Cancelled() const noexcept = 0;
  virtual void Unload() = 0;
};

class Platform {
 public:
  virtual ~Platform() = default;
  virtual Answer Ask(const MessageBox& box) = 0;
  virtual void SetWaitCursor(bool on) = 0;
  /// Lets the user interface run for a moment; may gate itself by time.
  virtual void Yield() = 0;
  /// The progress dialog, or null where there is none. Asked once per run, when ShowProgress is
  /// set.
  virtual ProgressView* Progress() = 0;

  // --- Forms. A platform without windows keeps these as they are.
  /// Ok where forms can be shown, else why not.
  virtual Status CanShowForms() const;
  /// Shows a form, activates it once, and returns when it has closed. Where nothing can be shown,
  /// the form closes at once.
  virtual void ShowModal(Form& form);
  /// The chosen file's path, empty when the dialog was cancelled.
  virtual std::string ChooseFile(const FileDialog&) { return {}; }
  /// The text of the clipboard, in UTF-8; empty where it holds none.
  virtual std::string ClipboardText() { return {}; }
  /// What was typed, empty also when the box was cancelled.
  virtual std::string InputBox(std::string_view /*title*/, std::string_view /*prompt*/,
                               std::string_view /*text*/) {
    return {};
  }
};

/// A platform that shows nothing. Whatever is asked of it all the same is answered with the button
/// that changes least (OK, No, Cancel) and noted.
class SilentPlatform : public Platform {
 public:
  Answer Ask(const MessageBox& box) override;
  void SetWaitCursor(bool) override {}
  void Yield() override {}
  ProgressView* Progress() override { return nullptr; }
  const std::vector<MessageBox>& asked() const noexcept { return asked_; }

 private:
  std::vector<MessageBox> asked_;
};

/// The control as its forms see it: properties and events. Outlives every form.
class Caller {
 public:
  virtual ~Caller() = default;
  virtual Properties& properties() noexcept = 0;
  virtual EventSink& events() noexcept = 0;
  /// The type word of the target's connect string that the control keeps: derived from
  /// `ConnectString` when a method is called and from `DefaultSourceType` when that is set to a
  /// database kind.
  virtual const std::string& connect_type_name() const noexcept = 0;
  /// Tells the container that a property was changed by a form or a run.
  virtual void PropertyChanged(std::string_view key) = 0;
  /// Whether the host has a help topic for its forms, and the user asking for it.
  virtual bool HelpAvailable() const noexcept { return false; }
  virtual void HelpRequested() {}
};

}  // namespace kelvorin::contract
