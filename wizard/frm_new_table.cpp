#include "wizard/frm_new_table.h"

#include "base/language.h"

#include <algorithm>

#include "base/M_Const.h"
#include "base/M_STRING.h"
#include "base/code_page.h"
#include "engine/field_plan.h"
#include "engine/source_reader.h"
#include "mapping/field_mapping.h"
#include "textsource/record_reader.h"

namespace kelvorin::wizard {

using base::Tr;

using values::TypeCode;

namespace {

// Longest text of a Text field that every kind of target can hold.
constexpr std::size_t kMaxTextCharacters = 254;

constexpr TypeCode kTypes[] = {TypeCode::kText,   TypeCode::kMemo,     TypeCode::kLong,
                               TypeCode::kDouble, TypeCode::kCurrency, TypeCode::kDate,
                               TypeCode::kBoolean};

std::string TypeName(TypeCode type) {
  return Tr(values::FieldType(static_cast<std::int16_t>(type)));
}

bool HasSize(TypeCode type) noexcept {
  return type == TypeCode::kText;
}

// What all values of one column have in common.
struct Column {
  std::size_t widest = 0;
  bool any = false;
  bool whole = true;
  bool number = true;
  bool date = true;
  std::string example;

  void Look(std::string_view value, const values::ValueFormat& format, std::string& scratch) {
    widest = std::max(widest, base::CountCharacters(value));
    const std::string_view text = base::Trim(value);
    if (text.empty()) return;
    if (!any) example = base::CutToCharacters(value, 40);
    any = true;
    const bool padded = text.size() > 1 && text[0] == '0' && base::IsDigit(text[1]);
    const auto reads_back = [&](TypeCode type) {
      values::Value parsed;
      if (padded || text[0] == '+' || !format.Parse(text, type, parsed, scratch).ok()) return false;
      return true;
    };
    whole = whole && text.find_first_not_of("-0123456789") == std::string_view::npos &&
            reads_back(TypeCode::kLong);
    number = number && text.find_first_not_of("-0123456789.,") == std::string_view::npos &&
             std::count_if(text.begin(), text.end(), base::IsDigit) <= 15 &&
             reads_back(TypeCode::kDouble);
    date = date && text.size() >= 6 && reads_back(TypeCode::kDate);
  }
  TypeCode Type() const noexcept {
    if (any && whole) return TypeCode::kLong;
    if (any && number) return TypeCode::kDouble;
    if (any && date) return TypeCode::kDate;
    return widest > kMaxTextCharacters ? TypeCode::kMemo : TypeCode::kText;
  }
};

}  // namespace

Result<std::vector<ProposedField>> ProposeFields(const std::string& path,
                                                 const settings::ImportSetting& setting,
                                                 const textsource::BreakList& breaks,
                                                 const values::ValueFormat& format) {
  auto reader = textsource::RecordReader::Open(path, engine::RecordFormatOf(setting));
  if (!reader.ok()) return reader.status();
  const textsource::SplitRules rules = engine::SplitRulesOf(setting, breaks);
  textsource::FieldValues values;
  std::vector<Column> columns;
  std::vector<std::string> names;
  std::string scratch;
  engine::TextConversion conversion(setting);
  std::string converted;
  for (std::int64_t line = 1; !reader->AtEnd(); ++line) {
    std::span<char> record;
    KV_TRY(reader->ReadRecord(record));
    const bool heading = line == settings::HeadingLineOf(setting);
    if (record.empty() || (line < setting.StartingLine && !heading)) continue;
    const std::string_view text(record.data(), record.size());
    if (setting.SkipBlankLines != 0 && base::Trim(text).empty()) continue;
    // A record with too many fields still has its first ones; the run is going to report it.
    static_cast<void>(rules.Split(record, values).ok());
    for (std::size_t i = 0; heading && i < values.count(); ++i) names.emplace_back(values[i]);
    if (heading) continue;
    if (columns.size() < values.count()) columns.resize(values.count());
    for (std::size_t i = 0; i < values.count(); ++i) {
      if (conversion.active()) conversion.Convert(values[i], converted);
      columns[i].Look(conversion.active() ? std::string_view(converted) : values[i], format,
                      scratch);
    }
  }
  const std::vector<std::string_view> line(names.begin(), names.end());
  const std::vector<std::string> headings =
      mapping::TextHeadings(line, std::max(columns.size(), names.size()));
  columns.resize(headings.size());
  std::vector<ProposedField> fields;
  for (std::size_t i = 0; i < headings.size(); ++i) {
    ProposedField& proposed = fields.emplace_back();
    proposed.source_no = i;
    proposed.example = columns[i].example;
    proposed.field.Name = headings[i];
    proposed.field.Type = columns[i].Type();
    if (HasSize(proposed.field.Type))
      proposed.field.Size = static_cast<std::int32_t>(std::max<std::size_t>(columns[i].widest, 1));
  }
  return fields;
}

std::vector<ProposedField> ProposeFields(const database::TableDef& table) {
  std::vector<ProposedField> fields;
  for (std::size_t i = 0; i < std::min(table.Fields.size(), base::kMaxFields); ++i) {
    if (values::IsBinary(table.Fields[i].Type)) continue;
    ProposedField& proposed = fields.emplace_back();
    proposed.field = table.Fields[i];
    proposed.field.AutoIncrement = false;
    proposed.source_no = i;
  }
  return fields;
}

frmNewTable::frmNewTable(contract::Platform& platform, std::string_view name,
                         std::vector<ProposedField> fields, Make make)
    : Form("frmNewTable", "New table"),
      platform_(platform),
      fields_(std::move(fields)),
      make_(std::move(make)) {
  EdtTableName.SetText(name);
  EdtTableName.select_on_focus = true;
  EdtFieldSize.digits_only = true;
  EdtTableName.accessible_name = Tr("Name of the table");
  GrdFields.accessible_name = Tr("Fields of the new table");
  EdtFieldName.accessible_name = Tr("Name of the field");
  CBoxFieldType.accessible_name = Tr("Type of the field");
  EdtFieldSize.accessible_name = Tr("Size of the field");
  for (const TypeCode type : kTypes) CBoxFieldType.AddItem(TypeName(type), static_cast<int>(type));
  std::vector<contract::Grid::Row> rows(fields_.size());
  GrdFields.Fill({Tr("Field"), Tr("Type"), Tr("Size"), Tr("First value")}, std::move(rows),
                 {2100, 1500, 720, 3000});
  for (std::size_t row = 0; row < fields_.size(); ++row) ShowRow(row);
  if (!fields_.empty()) GrdFields.SetRow(0);
  ShowField();
  GrdFields.on_row_change = [this](int) { GrdFields_RowChange(); };
  EdtFieldName.on_change = [this] { EdtFieldName_Change(); };
  CBoxFieldType.on_click = [this] { CBoxFieldType_Click(); };
  EdtFieldSize.on_change = [this] { EdtFieldSize_Change(); };
  CBoxFieldWanted.on_click = [this] { CBoxFieldWanted_Click(); };
  BtnMake.on_click = [this] { BtnMake_Click(); };
  BtnNewTableCancel.on_click = [this] { Close(); };
  BtnMake.default_button = true;
  BtnNewTableCancel.cancel_button = true;
}

ProposedField* frmNewTable::Current() {
  const int row = GrdFields.row();
  return row < 0 || showing_ ? nullptr : &fields_[static_cast<std::size_t>(row)];
}

void frmNewTable::ShowRow(std::size_t row) {
  const ProposedField& proposed = fields_[row];
  GrdFields.SetCell(row, 0, proposed.wanted ? proposed.field.Name : Tr("(not made)"));
  GrdFields.SetCell(row, 1, proposed.wanted ? TypeName(proposed.field.Type) : std::string());
  GrdFields.SetCell(row, 2,
                    proposed.wanted && HasSize(proposed.field.Type)
                        ? base::ToDecimal(proposed.field.Size)
                        : std::string());
  GrdFields.SetCell(row, 3, proposed.example);
}

void frmNewTable::ShowField() {
  const ProposedField* const proposed = Current();
  if (proposed == nullptr) return;
  showing_ = true;
  EdtFieldName.SetText(proposed->field.Name);
  EdtFieldSize.SetText(base::ToDecimal(proposed->field.Size));
  CBoxFieldType.SelectItem(-1);
  for (std::size_t i = 0; i < std::size(kTypes); ++i)
    if (kTypes[i] == proposed->field.Type) CBoxFieldType.SelectItem(static_cast<int>(i));
  CBoxFieldWanted.SetValue(proposed->wanted);
  for (contract::Control* control : {&EdtFieldName, &CBoxFieldType})
    control->SetEnabled(proposed->wanted);
  EdtFieldSize.SetEnabled(proposed->wanted && HasSize(proposed->field.Type));
  showing_ = false;
}

void frmNewTable::GrdFields_RowChange() {
  ShowField();
}

void frmNewTable::EdtFieldName_Change() {
  ProposedField* const proposed = Current();
  if (proposed == nullptr) return;
  proposed->field.Name = EdtFieldName.text();
  ShowRow(static_cast<std::size_t>(GrdFields.row()));
}

void frmNewTable::CBoxFieldType_Click() {
  ProposedField* const proposed = Current();
  if (proposed == nullptr || CBoxFieldType.list_index() < 0) return;
  proposed->field.Type = kTypes[static_cast<std::size_t>(CBoxFieldType.list_index())];
  if (HasSize(proposed->field.Type)) {
    if (proposed->field.Size < 1 || proposed->field.Size > 254) proposed->field.Size = 50;
  } else {
    proposed->field.Size = 0;
  }
  proposed->field.Decimals = 0;
  ShowRow(static_cast<std::size_t>(GrdFields.row()));
  ShowField();
}

void frmNewTable::EdtFieldSize_Change() {
  ProposedField* const proposed = Current();
  if (proposed == nullptr) return;
  proposed->field.Size = static_cast<std::int32_t>(
      std::clamp<std::int64_t>(base::ParseInteger(EdtFieldSize.text()), 0, 32767));
  ShowRow(static_cast<std::size_t>(GrdFields.row()));
}

void frmNewTable::CBoxFieldWanted_Click() {
  ProposedField* const proposed = Current();
  if (proposed == nullptr) return;
  proposed->wanted = CBoxFieldWanted.value();
  ShowRow(static_cast<std::size_t>(GrdFields.row()));
  ShowField();
}

void frmNewTable::BtnMake_Click() {
  std::vector<ProposedField> wanted;
  for (const ProposedField& proposed : fields_)
    if (proposed.wanted) wanted.push_back(proposed);
  Status made(Code::kInvalidArgument, Tr("A table needs a name and at least one field"));
  if (!EdtTableName.text().empty() && !wanted.empty()) {
    platform_.SetWaitCursor(true);
    made = make_(EdtTableName.text(), wanted);
    platform_.SetWaitCursor(false);
  }
  if (!made.ok()) {
    platform_.Ask({base::TrReason(made.message()), Tr("Error"), contract::Icon::kCritical,
                   contract::Buttons::kOk});
    return;
  }
  Close();
}

}  // namespace kelvorin::wizard
