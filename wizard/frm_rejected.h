#pragma once
// The records that a run could not import: where they stand, why they were refused, and a way to
// save them raw so that they can be imported again. The wizard collects them during a run and shows
// the form afterwards.

#include <cstdint>
#include <string>
#include <vector>

#include "contract/form.h"
#include "contract/platform.h"
#include "engine/import_run.h"

namespace kelvorin::wizard {

/// Keeps the rejected records of a run, the first `kMost` of them.
class RejectedRecords final : public engine::RunObserver {
 public:
  static constexpr std::size_t kMost = 10000;
  struct Record {
    std::int64_t line = 0;
    std::string field, value, reason, raw;
  };

  Status OnReject(const engine::RejectedRecord& record) override;
  void Clear();
  std::int64_t count() const noexcept { return count_; }
  const std::vector<Record>& records() const noexcept { return records_; }

 private:
  std::vector<Record> records_;
  std::int64_t count_ = 0;
};

class frmRejected final : public contract::Form {
  using Kind = contract::ControlKind;

 public:
  /// `preface` goes to the top of a saved file: the lines that the job passes over. `outcome` tells
  /// how the whole run went.
  frmRejected(contract::Platform& platform, const RejectedRecords& rejected, std::string preface,
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
  const RejectedRecords& rejected_;
  std::string preface_;
};

}  // namespace kelvorin::wizard
