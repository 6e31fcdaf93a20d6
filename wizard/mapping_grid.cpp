#include <algorithm>

#include "base/language.h"

#include "base/M_STRING.h"
#include "contract/enums.h"
#include "mapping/field_mapping.h"
#include "wizard/frm_kelvorin.h"

namespace kelvorin::wizard {

using base::Tr;
namespace {

constexpr std::size_t kMarker = 0;
constexpr std::size_t kTarget = 2;
constexpr std::size_t kSource = 5;
constexpr std::size_t kMore = 6;

// What a row without a source shows.
std::string Ignored() {
  return Tr(mapping::kIgnored);
}

int FindListItem(const contract::Control& list, std::string_view text) {
  const auto found = std::find(list.items().begin(), list.items().end(), text);
  return found == list.items().end() ? -1 : static_cast<int>(found - list.items().begin());
}

}  // namespace

void frmKelvorin::FillMapping(std::vector<contract::Grid::Row> rows) {
  controls.GrdMapping.grown_columns = {2, 5, 6};
  controls.GrdMapping.Fill(
      {"", "", Tr("Target field"), Tr("Type"), Tr("Size"), Tr("Source field"), Tr("More")},
      std::move(rows), {210, 300, 1230, 765, 480, 1230, 570});
}

void frmKelvorin::DisplayFieldNames() {
  contract::Grid& grid = controls.GrdMapping;
  const std::vector<catalog::TargetField>& fields = state().target.fields;
  const int row = std::clamp(grid.row(), 0, std::max(static_cast<int>(fields.size()) - 1, 0));
  std::vector<contract::Grid::Row> rows;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    contract::Grid::Row cells(7);
    cells[2].text = fields[i].Name;
    cells[3].text = Tr(values::FieldType(static_cast<std::int16_t>(fields[i].Type)));
    cells[4].text = base::ToDecimal(fields[i].Size);
    // What the row showed last; a source that is gone is told from this.
    if (i < grid.rows().size() && grid.cell(i, 2) == fields[i].Name)
      cells[kSource] = grid.rows()[i][kSource];
    rows.push_back(std::move(cells));
  }
  FillMapping(std::move(rows));
  if (fields.empty()) return;
  grid.SetRow(row);
  grid.SetCell(static_cast<std::size_t>(row), kMarker, "->");
}

void frmKelvorin::FillSourceFields() {
  WizardControls& c = controls;
  contract::Grid& grid = c.GrdMapping;
  const std::vector<std::string>& sources = c.PreviewGrid.headings();
  std::vector<std::string> entries = sources;
  entries.push_back(Ignored());
  entries.push_back(Tr(mapping::kIgnoreAll));
  c.CBoxSourceFields.SetItems(std::move(entries));
  for (std::size_t r = 0; r < grid.rows().size(); ++r) {
    const mapping::FieldMapEntry& entry = state().setting.FieldMap[r];
    const std::string shown = grid.cell(r, kSource);
    const bool lost = mapping::LostItsSource(entry, sources) ||
                      (!shown.empty() && FindListItem(c.CBoxSourceFields, shown) == -1);
    const bool has_source = mapping::RowText(entry, sources) != mapping::kIgnored;
    grid.SetCell(r, kSource,
                 has_source ? std::string(mapping::RowText(entry, sources)) : Ignored());
    if (lost && grid.cell(r, kSource) == Ignored()) {
      grid.SetCell(r, kMore, {});
      grid.SetBold(r, kSource, true);
    } else if (grid.cell(r, kSource) != Ignored()) {
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
  controls.CBoxSourceFields.SetAccessibleName(
      Tr("Source field for %1", {controls.GrdMapping.cell(at, kTarget)}));
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
    grid.SetCell(row, kSource, Ignored());
    grid.SetCell(row, kMore, {});
    grid.SetBold(row, kSource, false);
  } else if (picked == sources.size() + 1) {
    c.CBoxSourceFields.SelectItem(static_cast<int>(sources.size()));
    if (platform_.Ask({Tr("This action will reset all the mapping, continue ?"), Tr("Confirmation"),
                       contract::Icon::kQuestion, contract::Buttons::kOkCancel, true}) ==
        contract::Answer::kOk) {
      mapping::IgnoreAll(state().setting.FieldMap);
      for (std::size_t r = 0; r < grid.rows().size(); ++r) {
        grid.SetCell(r, kSource, Ignored());
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
  const auto mapped = std::count_if(grid.rows().begin(), grid.rows().end(),
                                    [](const auto& row) { return row[kSource].text != Ignored(); });
  controls.LblMapped.SetCaption(Tr(
      "%1 of %2 fields mapped",
      {base::ToDecimal(mapped), base::ToDecimal(static_cast<std::int64_t>(grid.rows().size()))}));
  MarkDoubts();
}

void frmKelvorin::MarkDoubts() {
  contract::Grid& grid = controls.PreviewGrid;
  for (std::size_t r = 0; r < grid.rows().size(); ++r)
    for (std::size_t c = 0; c < grid.rows()[r].size(); ++c) grid.SetDoubt(r, c, {});
  // A host that changes values decides for itself.
  if (caller().events().Listens(contract::Event::kBeforeFieldImport)) return;
  const auto doubts =
      job::CheckValues(shown_values_, state().setting, state().target, engine_.Format(), true);
  engine_.ClearErrors();
  int marked = 0;
  if (doubts.ok())
    for (const job::ValueDoubt& doubt : *doubts) {
      if (doubt.kind == job::ValueDoubt::Kind::kNull) continue;  // as it was asked for
      if (doubt.record >= grid.rows().size() || doubt.column >= grid.rows()[doubt.record].size())
        continue;
      const std::string before = grid.rows()[doubt.record][doubt.column].doubt;
      marked += before.empty() ? 1 : 0;
      grid.SetDoubt(doubt.record, doubt.column,
                    before.empty() ? doubt.reason : before + " " + doubt.reason);
    }
  std::string note = shape_note_;
  if (marked > 0)
    note += (note.empty() ? "" : " ") +
            base::TrCount(marked, "%1 value shown would not arrive as it is (marked).",
                          "%1 values shown would not arrive as they are (marked).");
  controls.LblStatus.SetCaption(note);
}

bool frmKelvorin::AnyRowMapped() const {
  const auto& rows = controls.GrdMapping.rows();
  return std::any_of(rows.begin(), rows.end(), [](const auto& row) {
    return !row[kSource].text.empty() && row[kSource].text != Ignored();
  });
}

}  // namespace kelvorin::wizard
