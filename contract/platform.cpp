#include "contract/platform.h"

#include "base/M_STRING.h"
#include "base/language.h"
#include "contract/form.h"

namespace kelvorin::contract {

std::string CountText(std::int64_t records, std::int64_t total) {
  if (records > total) return base::ToDecimal(records);
  return base::Tr("%1 out of %2", {base::ToDecimal(records), base::ToDecimal(total)});
}

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
