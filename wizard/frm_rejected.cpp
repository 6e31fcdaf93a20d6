#include "wizard/frm_rejected.h"

#include "base/language.h"

#include "base/M_STRING.h"

namespace kelvorin::wizard {

using base::Tr;
namespace {

constexpr std::size_t kRowsShown = 1000;

}  // namespace

frmRejected::frmRejected(contract::Platform& platform, const job::RejectedRecords& rejected,
                         std::string_view outcome)
    : Form("frmRejected", "Rejected records"), platform_(platform), rejected_(rejected) {
  std::vector<contract::Grid::Row> rows;
  for (const job::RejectedRecords::Record& record : rejected.records()) {
    if (rows.size() == kRowsShown) break;
    rows.push_back({{base::ToDecimal(record.line), false},
                    {record.field, false},
                    {record.value, false},
                    {base::TrReason(base::Replace(record.reason, "\r\n", " ")), false}});
  }
  std::string text = base::TrCount(rejected.count(), "%1 record was not imported.",
                                   "%1 records were not imported.");
  if (static_cast<std::size_t>(rejected.count()) > rows.size())
    text += " " + Tr("The first %1 are shown.",
                     {base::ToDecimal(static_cast<std::int64_t>(rows.size()))});
  if (static_cast<std::size_t>(rejected.count()) > job::RejectedRecords::kMost)
    text += " " + Tr("The first %1 can be saved.",
                     {base::ToDecimal(static_cast<std::int64_t>(job::RejectedRecords::kMost))});
  LblRejected.SetCaption(text);
  LblOutcome.SetCaption(outcome);
  LblOutcome.SetVisible(!outcome.empty());
  GrdRejected.Fill({Tr("Line"), Tr("Field"), Tr("Value"), Tr("Reason")}, std::move(rows),
                   {720, 1500, 2100, 4500});
  GrdRejected.accessible_name = Tr("Rejected records");
  BtnSaveRejected.on_click = [this] { BtnSaveRejected_Click(); };
  BtnClose.on_click = [this] { Close(); };
  BtnClose.cancel_button = BtnClose.default_button = true;
}

void frmRejected::BtnSaveRejected_Click() {
  contract::FileDialog dialog;
  dialog.filter = "All Files (*.*)|*.*|Text Files(*.txt;*.csv)|*.txt;*.csv";
  dialog.filter_index = 2;
  dialog.save = true;
  const std::string path = platform_.ChooseFile(dialog);
  if (path.empty()) return;
  const Status saved = rejected_.Save(path);
  if (!saved.ok())
    platform_.Ask({std::string(saved.message()), Tr("Error"), contract::Icon::kCritical,
                   contract::Buttons::kOk});
}

}  // namespace kelvorin::wizard
