#include "control/contract/platform.h"

namespace kelvorin::contract {

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
