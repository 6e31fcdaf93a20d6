#include "contract/form.h"

#include <algorithm>
#include <utility>

#include "base/language.h"

namespace kelvorin::contract {

Control::Control(Form& form, std::string name, ControlKind kind, std::string_view caption)
    : form_(form), name_(std::move(name)), kind_(kind), caption_(base::Tr(caption)) {
  form.controls_.push_back(this);
}

void Control::Changed() {
  if (form_.view_ != nullptr) form_.view_->ControlChanged(*this);
}

const std::string& Control::text() const noexcept {
  static const std::string kNone;
  if (kind_ != ControlKind::kCombo && kind_ != ControlKind::kList) return text_;
  return list_index_ < 0 ? kNone : items_[static_cast<std::size_t>(list_index_)];
}

void Control::SetCaption(std::string_view caption) {
  if (caption_ == caption) return;
  caption_ = caption;
  Changed();
}

void Control::SetText(std::string_view text) {
  if (text_ == text) return;
  ShowText(text);
  if (kind_ == ControlKind::kEdit && on_change) on_change();
}

void Control::ShowText(std::string_view text) {
  if (text_ == text) return;
  text_ = text;
  Changed();
}

void Control::SetEnabled(bool enabled) {
  if (std::exchange(enabled_, enabled) != enabled) Changed();
}

void Control::SetVisible(bool visible) {
  if (std::exchange(visible_, visible) != visible) Changed();
}

bool Control::SetQuietly(bool value) {
  if (std::exchange(value_, value) == value) return false;
  Changed();
  return true;
}

void Control::SetValue(bool value) {
  if (!SetQuietly(value)) return;
  if (kind_ == ControlKind::kOption) {
    if (!value) return;
    for (Control* other : form_.controls_)
      if (other != this && other->kind_ == kind_ && other->group == group) other->SetQuietly(false);
  }
  if (on_click) on_click();
}

void Control::ShowValue(bool value) {
  SetQuietly(value);
}

void Control::AddItem(std::string_view text, int data) {
  items_.emplace_back(text);
  item_data_.push_back(data);
  Changed();
}

void Control::RemoveItem(std::size_t index) {
  const auto at = static_cast<std::ptrdiff_t>(index);
  items_.erase(items_.begin() + at);
  item_data_.erase(item_data_.begin() + at);
  if (list_index_ == at) list_index_ = -1;
  if (list_index_ > at) --list_index_;
  Changed();
}

void Control::SetItems(std::vector<std::string> items) {
  if (items_ == items && list_index_ == -1) return;
  items_ = std::move(items);
  item_data_.assign(items_.size(), 0);
  list_index_ = -1;
  Changed();
}

void Control::Clear() {
  SetItems({});
}

void Control::SelectItem(int index) {
  if (index < -1 || std::cmp_greater_equal(index, items_.size())) return;
  if (std::exchange(list_index_, index) != index) Changed();
}

void Control::SetNumber(int number) {
  if (std::exchange(number_, number) != number) Changed();
}

void Control::SetMaximum(int maximum) {
  if (std::exchange(maximum_, maximum) != maximum) Changed();
}

void Control::SetDefaultButton(bool is_default) {
  if (std::exchange(default_button, is_default) != is_default) Changed();
}

void Control::SetAccessibleName(std::string_view name) {
  if (accessible_name == name) return;
  accessible_name = name;
  Changed();
}

void Control::SetFocus() {
  if (form_.shown_ && form_.view_ != nullptr) form_.view_->FocusMoved(*this);
}

// --- By the user

void Control::UserText(std::string_view text) {
  if (!enabled_) return;
  std::string taken(text);
  if (digits_only)
    std::erase_if(
        taken, [](char c) { return static_cast<unsigned char>(c) >= ' ' && (c < '0' || c > '9'); });
  const bool refused_some = taken != text;
  SetText(taken);
  if (refused_some) Changed();
}

void Control::UserClick() {
  if (!enabled_ || !visible_) return;
  switch (kind_) {
    case ControlKind::kCheck:
      SetValue(!value_);
      return;
    case ControlKind::kOption:
      SetValue(true);
      return;
    case ControlKind::kLabel:
    case ControlKind::kButton:
    case ControlKind::kEdit:
    case ControlKind::kCombo:
    case ControlKind::kList:
    case ControlKind::kFrame:
    case ControlKind::kTabs:
    case ControlKind::kProgress:
    case ControlKind::kGrid:
    case ControlKind::kLines:
    case ControlKind::kBreaks:
      break;
  }
  if (on_click) on_click();
}

void Control::UserSelect(int index) {
  if (!enabled_) return;
  SelectItem(index);
  if (on_click) on_click();
}

void Control::UserDoubleClick() {
  if (enabled_ && on_double_click) on_double_click();
}

void Control::UserCommit() {
  if (enabled_ && on_commit) on_commit();
}

// --- Grid

void Grid::Fill(std::vector<std::string> headings, std::vector<Row> rows, std::vector<int> widths) {
  headings_ = std::move(headings);
  rows_ = std::move(rows);
  widths_ = std::move(widths);
  widths_.resize(headings_.size(), kDefaultWidth);
  for (Row& row : rows_) row.resize(headings_.size());
  row_ = -1;
  selected_column_ = -1;
  Changed();
}

void Grid::SetCell(std::size_t row, std::size_t column, std::string_view text) {
  std::string& cell = rows_[row][column].text;
  if (cell == text) return;
  cell = text;
  Changed();
}

void Grid::SetBold(std::size_t row, std::size_t column, bool bold) {
  if (std::exchange(rows_[row][column].bold, bold) != bold) Changed();
}

void Grid::SetDoubt(std::size_t row, std::size_t column, std::string_view doubt) {
  std::string& kept = rows_[row][column].doubt;
  if (kept == doubt) return;
  kept = doubt;
  Changed();
}

void Grid::SetRow(int row) {
  if (std::exchange(row_, row) != row) Changed();
}

void Grid::SelectColumn(int column) {
  if (std::exchange(selected_column_, column) != column) Changed();
}

void Grid::UserRow(int row) {
  if (row == row_ || row < 0 || std::cmp_greater_equal(row, rows_.size())) return;
  const int old_row = row_;
  SetRow(row);
  if (on_row_change) on_row_change(old_row);
}

// --- Form

Form::Form(std::string name, std::string_view caption)
    : name_(std::move(name)), caption_(base::Tr(caption)) {}

void Form::SetCaption(std::string_view caption) {
  if (caption_ == caption) return;
  caption_ = caption;
  if (view_ != nullptr) view_->CaptionChanged();
}

void Form::Close() {
  shown_ = false;
  if (view_ != nullptr) view_->Closed();
}

}  // namespace kelvorin::contract
