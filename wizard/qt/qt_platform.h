#pragma once
// The platform with windows: message boxes, file dialogs, modal forms, and the yields that keep
// them alive during a run. A host gives one to its control; without a window system it says so and
// never ends the process.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "contract/platform.h"

namespace kelvorin::wizard::qt {

class FormWindow;

class QtPlatform final : public contract::Platform {
 public:
  QtPlatform();
  ~QtPlatform() override;

  /// Uses the process's application object; where there is none, one is made when a window system
  /// answers, and kept. Refuses a process with a core application only, and every other thread than
  /// that of the windows.
  Status CanShowForms() const override;

  contract::Answer Ask(const contract::MessageBox& box) override;
  void SetWaitCursor(bool on) override;
  /// Serves the events when some milliseconds have passed since it last did.
  void Yield() override;
  contract::ProgressView* Progress() override { return nullptr; }
  void ShowModal(contract::Form& form) override;
  std::string ChooseFile(const contract::FileDialog& dialog) override;
  std::string ClipboardText() override;
  std::string InputBox(std::string_view title, std::string_view prompt,
                       std::string_view text) override;

  /// The host goes away while a form is open: a run stops, all forms close, and the call that
  /// opened them returns.
  void Abandon();

 private:
  void Serve(std::int64_t now);

  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace kelvorin::wizard::qt
