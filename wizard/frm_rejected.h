#pragma once
// Shows the records that a run could not import, and saves them.

#include <string_view>

#include "contract/form.h"
#include "contract/platform.h"
#include "job/rejected_records.h"

namespace kelvorin::wizard {

class frmRejected final : public contract::Form {
  using Kind = contract::ControlKind;

 public:
  /// `outcome` tells how the whole run went.
  frmRejected(contract::Platform& platform, const job::RejectedRecords& rejected,
              std::string_view outcome = {});

  void BtnSaveRejected_Click();

  contract::Control LblOutcome{*this, "LblOutcome", Kind::kLabel};
  contract::Control LblRejected{*this, "LblRejected", Kind::kLabel};
  contract::Grid GrdRejected{*this, "GrdRejected"};
  contract::Control BtnSaveRejected{*this, "BtnSaveRejected", Kind::kButton,
                                    "&Save rejected records..."};
  contract::Control BtnClose{*this, "BtnClose", Kind::kButton, "Close"};

 private:
  contract::Platform& platform_;
  const job::RejectedRecords& rejected_;
};

}  // namespace kelvorin::wizard
