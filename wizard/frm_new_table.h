#pragma once
// Proposes a target table made from the source: its name, and for each source field a name, a type
// and a size that hold every value seen. The user changes what he likes before anything is made.
// The wizard makes the form, and the table when the form says so.

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "contract/form.h"
#include "contract/platform.h"
#include "database/table_def.h"
#include "settings/import_setting.h"
#include "textsource/break_list.h"
#include "values/value_format.h"

namespace kelvorin::wizard {

/// One field of the proposal.
struct ProposedField {
  database::FieldDef field;
  std::size_t source_no = 0;  // source field, from 0
  std::string example;        // its first value that is not empty
  bool wanted = true;
};

/// Reads a text file from its first line to its last and proposes a field per column: numbers and
/// dates where every value is one and reads back as it is written, else text as wide as the longest
/// value. Numbers with leading zeros are text: they are names of things.
Result<std::vector<ProposedField>> ProposeFields(const std::string& path,
                                                 const settings::ImportSetting& setting,
                                                 const textsource::BreakList& breaks,
                                                 const values::ValueFormat& format);
/// The fields of a source table, binary ones left out.
std::vector<ProposedField> ProposeFields(const database::TableDef& table);

class frmNewTable final : public contract::Form {
  using Kind = contract::ControlKind;

 public:
  /// Makes the table of these fields; a failure is shown and the form stays open.
  using Make = std::function<Status(const std::string& name, const std::vector<ProposedField>&)>;

  frmNewTable(contract::Platform& platform, std::string_view name,
              std::vector<ProposedField> fields, Make make);

  void GrdFields_RowChange();
  void EdtFieldName_Change();
  void CBoxFieldType_Click();
  void EdtFieldSize_Change();
  void CBoxFieldWanted_Click();
  void BtnMake_Click();

  contract::Control LblTableName{*this, "LblTableName", Kind::kLabel, "&Name of the table:"};
  contract::Control EdtTableName{*this, "EdtTableName", Kind::kEdit};
  contract::Grid GrdFields{*this, "GrdFields"};
  contract::Control CBoxFieldWanted{*this, "CBoxFieldWanted", Kind::kCheck, "&Make this field"};
  contract::Control LblFieldName{*this, "LblFieldName", Kind::kLabel, "&Field:"};
  contract::Control EdtFieldName{*this, "EdtFieldName", Kind::kEdit};
  contract::Control LblFieldType{*this, "LblFieldType", Kind::kLabel, "&Type:"};
  contract::Control CBoxFieldType{*this, "CBoxFieldType", Kind::kCombo};
  contract::Control LblFieldSize{*this, "LblFieldSize", Kind::kLabel, "&Size:"};
  contract::Control EdtFieldSize{*this, "EdtFieldSize", Kind::kEdit};
  contract::Control BtnMake{*this, "BtnMake", Kind::kButton, "Make ta&ble"};
  contract::Control BtnNewTableCancel{*this, "BtnNewTableCancel", Kind::kButton, "Cancel"};

 private:
  ProposedField* Current();
  void ShowRow(std::size_t row);
  void ShowField();

  contract::Platform& platform_;
  std::vector<ProposedField> fields_;
  Make make_;
  bool showing_ = false;
};

}  // namespace kelvorin::wizard
