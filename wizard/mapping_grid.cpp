#include <algorithm>

#include "base/M_STRING.h"
#include "contract/enums.h"
#include "mapping/field_mapping.h"
#include "wizard/frm_kelvorin.h"

namespace kelvorin::wizard {
namespace {

constexpr std::size_t kMarker = 0;
constexpr std::size_t kTarget = 2;
constexpr std::size_t kSource = 5;
constexpr std::size_t kMore = 6;

int FindListItem(const contract::Control& list, std::string_view text) {
  const auto found = std::find(list.items().begin(), list.items().end(), text);
  return found == list.items().end() ? -1 : static_cast<int>(found - list.items().begin());
}

}  // namespace

void frmKelvorin::DisplayFieldNames() {
  contract::Grid& grid = controls.GrdMapping;
  const std::vector<catalog::TargetField>& fields = state().target.fields;
  const int row = std::clamp(grid.row(), 0, std::max(static_cast<int>(fields.size()) - 1, 0));
  std::vector<contract::Grid::Row> rows;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    contract::Grid::Row cells(7);
    cells[2].text = fields[i].Name;
    cells[3].text = values::FieldType(static_cast<std::int16_t>(fields[i].Type));
    cells[4].text = base::ToDecimal(fields[i].Size);
    // What the row showed last; a source that is gone is told from this.
    if (i < grid.rows().size() && grid.cell(i, 2) == fields[i].Name)
      cells[kSource] = grid.rows()[i][kSource];
    rows.push_back(std::move(cells));
  }
  grid.Fill({"", "", "Target field", "Type", "Size", "Source field", "More"}, std::move(rows),
            {210, 300, 1230, 765, 480, 1230, 570});
  if (fields.empty()) return;
  grid.SetRow(row);
  grid.SetCell(static_cast<std::size_t>(row), kMarker, "->");
}

void frmKelvorin::FillSourceFields() {
  WizardControls& c = controls;
  contract::Grid& grid = c.GrdMapping;
  const std::vector<std::string>& sources = c.PreviewGrid.headings();
  c.CBoxSourceFields.SetItems(mapping::ChooserEntries(sources));
  for (std::size_t r = 0; r < grid.rows().size(); ++r) {
    const mapping::FieldMapEntry& entry = state().setting.FieldMap[r];
    const std::string shown = grid.cell(r, kSource);
    const bool lost = mapping::LostItsSource(entry, sources) ||
                      (!shown.empty() && FindListItem(c.CBoxSourceFields, shown) == -1);
    grid.SetCell(r, kSource, mapping::RowText(entry, sources));
    if (lost && grid.cell(r, kSource) == mapping::kIgnored) {
      grid.SetCell(r, kMore, {});
      grid.SetBold(r, kSource, true);
    } else if (grid.cell(r, kSource) != mapping::kIgnored) {
      grid.SetBold(r, kSource, false);
    }
  }
  c.CBoxSourceFields.apart = static_cast<int>(sources.size()) + 1;
  PlaceChooser();
  ShowMappedCount();
}

void frmKelvorin::IgnoreCurrentRow() {
  controls.CBoxSourceFields.UserSelect(static_cast<int>(controls.PreviewGrid.headings().size()));
}

void frmKelvorin::PlaceChooser() {
  const int row = controls.GrdMapping.row();
  if (row < 0) return;
  const auto at = static_cast<std::size_t>(row);
  controls.CBoxSourceFields.SelectItem(
      FindListItem(controls.CBoxSourceFields, controls.GrdMapping.cell(at, kSource)));
  controls.CBoxSourceFields.SetAccessibleName("Source field for " +
                                              controls.GrdMapping.cell(at, kTarget));
  SelectPreviewColumnOf(at);
}

void frmKelvorin::SelectPreviewColumnOf(std::size_t row) {
  const std::vector<std::string>& headings = controls.PreviewGrid.headings();
  const auto found =
      std::find(headings.begin(), headings.end(), controls.GrdMapping.cell(row, kSource));
  controls.PreviewGrid.SelectColumn(
      found == headings.end() ? -1 : static_cast<int>(found - headings.begin()));
}

void frmKelvorin::CBoxSourceFields_Click() {
  WizardControls& c = controls;
  contract::Grid& grid = c.GrdMapping;
  const int index = c.CBoxSourceFields.list_index();
  if (grid.row() < 0 || index < 0) return;
  const auto row = static_cast<std::size_t>(grid.row());
  mapping::FieldMapEntry& entry = state().setting.FieldMap[row];
  const std::vector<std::string>& sources = c.PreviewGrid.headings();
  // Compared by position: a source field may bear the name of one of the two last entries.
  const auto picked = static_cast<std::size_t>(index);
  if (picked == sources.size()) {
    mapping::Ignore(entry);
    grid.SetCell(row, kSource, mapping::kIgnored);
    grid.SetCell(row, kMore, {});
    grid.SetBold(row, kSource, false);
  } else if (picked == sources.size() + 1) {
    c.CBoxSourceFields.SelectItem(static_cast<int>(sources.size()));
    if (platform_.Ask({"This action will reset all the mapping, continue ?", "Confirmation",
                       contract::Icon::kQuestion, contract::Buttons::kOkCancel, true}) ==
        contract::Answer::kOk) {
      mapping::IgnoreAll(state().setting.FieldMap);
      for (std::size_t r = 0; r < grid.rows().size(); ++r) {
        grid.SetCell(r, kSource, mapping::kIgnored);
        grid.SetCell(r, kMore, {});
        grid.SetBold(r, kSource, false);
      }
    } else {
      c.CBoxSourceFields.SelectItem(FindListItem(c.CBoxSourceFields, grid.cell(row, kSource)));
    }
  } else {
    mapping::PickSourceField(entry, sources[picked], sources, job_.FixedBreaks());
    grid.SetCell(row, kSource, sources[picked]);
    grid.SetCell(row, kMore, {});
    grid.SetBold(row, kSource, false);
  }
  mapped_by_hand_ = true;
  SelectPreviewColumnOf(row);
  ShowMappedCount();
  UpdateControls();
}

void frmKelvorin::GrdMapping_RowChange(int old_row) {
  contract::Grid& grid = controls.GrdMapping;
  if (steps_.current != WizardStep::kMapping || grid.row() < 0) return;
  if (old_row >= 0) grid.SetCell(static_cast<std::size_t>(old_row), kMarker, {});
  grid.SetCell(static_cast<std::size_t>(grid.row()), kMarker, "->");
  PlaceChooser();
}

void frmKelvorin::MapAll(bool by_name) {
  const std::vector<std::string>& sources = controls.PreviewGrid.headings();
  mapping::FieldMap& map = state().setting.FieldMap;
  if (by_name) {
    mapping::MapByName(map, state().target.fields, sources, job_.FixedBreaks());
  } else {
    mapping::MapInOrder(map, state().target.fields, sources.size(), job_.FixedBreaks());
  }
  mapped_by_hand_ = true;
  FillSourceFields();
  UpdateControls();
}

void frmKelvorin::BtnMapEqualNames_Click() {
  MapAll(true);
}
void frmKelvorin::BtnMapInOrder_Click() {
  MapAll(false);
}

void frmKelvorin::ShowMappedCount() {
  const contract::Grid& grid = controls.GrdMapping;
  const auto mapped = std::count_if(grid.rows().begin(), grid.rows().end(), [](const auto& row) {
    return row[kSource].text != mapping::kIgnored;
  });
  controls.LblMapped.SetCaption(std::to_string(mapped) + " of " +
                                std::to_string(grid.rows().size()) + " fields mapped");
}

bool frmKelvorin::AnyRowMapped() const {
  const auto& rows = controls.GrdMapping.rows();
  return std::any_of(rows.begin(), rows.end(), [](const auto& row) {
    return !row[kSource].text.empty() && row[kSource].text != mapping::kIgnored;
  });
}

}  // namespace kelvorin::wizard
