#include "control/contract/platform.h"

namespace kelvorin::contract {

Status Platform::CanShowForms() const {
  return Status(Code::kNotSupported,
                "The import wizard cannot be shown: there are no windows here");
}

void Platform::ShowModal(Form& form) {
  form.Close();
}

Answer SilentPlatform::Ask(const MessageBox& box) {
  asked_.push_back(box);
  switch (box.buttons) {
    case Buttons::kOk:
      return Answer::kOk;
    case Buttons::kOkCancel:
      return Answer::kCancel;
    case Buttons::kYesNo:
      return Answer::kNo;
  }
  return Answer::kOk;
}

}  // namespace kelvorin::contract
