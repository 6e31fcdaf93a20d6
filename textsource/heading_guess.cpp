#include <algorithm>
#include <set>

#include "base/M_STRING.h"
#include "base/code_page.h"
#include "textsource/sample_table.h"

namespace kelvorin::textsource {
namespace {

using Row = SampleTable::Row;

/// Words that columns are called by and that values hardly are.
constexpr std::string_view kNames =
    " id nr no number name names first_name last_name firstname lastname date time datetime value "
    "city town country state street address zip phone email e-mail amount price total quantity qty "
    "type status code description text title comment comments note notes unit units currency "
    "category product customer account year month day key region url email user username company "
    "kunde kundennummer vorname nachname ort plz strasse stra\xC3\x9F"
    "e land datum uhrzeit betrag "
    "preis menge wert bezeichnung beschreibung bemerkung artikel konto nummer titel telefon "
    "nom prenom pr\xC3\xA9nom ville pays adresse montant prix date_naissance quantite "
    "nombre apellido ciudad pais direccion fecha importe precio cantidad telefono "
    "nome cognome citta indirizzo data importo prezzo imi\xC4\x99 nazwisko miasto cena ";

bool IsKnownName(std::string_view cell) {
  const std::string lower = " " + base::LowerAscii(cell) + " ";
  return cell.find(' ') == cell.npos && kNames.find(lower) != kNames.npos;
}

bool HasDigit(std::string_view text) noexcept {
  return std::any_of(text.begin(), text.end(), base::IsDigit);
}

/// What all values of a text column share and a name above them need not.
struct Shape {
  std::size_t values = 0;
  bool digits = true, blanks = true, same = true, same_length = true, same_start = true;
  std::string_view first;
  std::size_t length = 0;

  void Add(std::string_view cell) {
    if (values++ == 0) {
      first = cell;
      length = base::CountCharacters(cell);
    }
    digits = digits && HasDigit(cell);
    blanks = blanks && cell.find(' ') != cell.npos;
    same = same && cell == first;
    same_length = same_length && base::CountCharacters(cell) == length;
    same_start = same_start && cell[0] == first[0];
  }
  bool Fits(std::string_view cell) const {
    constexpr std::size_t kEnough = 5;  // values from which what they share is no chance
    if (values < 2) return true;
    if ((digits && !HasDigit(cell)) || (same && cell != first)) return false;
    if (values < kEnough) return true;
    return !(blanks && cell.find(' ') == cell.npos) && !(same_start && cell[0] != first[0]) &&
           !(same_length && base::CountCharacters(cell) != length);
  }
};

/// Votes for and against the row's cell being a name.
int Vote(const SampleTable& table, const LayoutScore& score, std::size_t heading,
         std::size_t column) {
  const std::vector<Row>& rows = table.rows();
  const std::string_view cell = table.Cell(rows[heading], column);
  Shape shape;
  std::size_t filled = 0;
  std::size_t typed = 0;
  for (std::size_t i = heading + 1; i < rows.size(); ++i) {
    if (rows[i].count != score.fields || rows[i].ruler) continue;
    const std::string_view value = table.Cell(rows[i], column);
    const CellKind kind = KindOf(value);
    if (kind == CellKind::kEmpty) continue;
    ++filled;
    if (kind != CellKind::kText) ++typed;
    shape.Add(value);
  }
  if (filled == 0) return 0;
  if (typed * 10 >= filled * 9) return 3;  // a text above numbers or dates
  int votes = shape.Fits(cell) ? -1 : 1;
  if (IsKnownName(cell)) votes += 2;
  return votes;
}

}  // namespace

int FindHeading(const SampleTable& table, const LayoutScore& score) {
  const std::vector<Row>& rows = table.rows();
  const std::size_t heading = score.first_row;
  if (score.rows < 2 || rows[heading].count != score.fields) return -1;
  std::set<std::string_view> names;
  std::size_t blank = 0;
  for (std::size_t column = 0; column < score.fields; ++column) {
    const std::string_view cell = base::Trim(table.Cell(rows[heading], column));
    if (cell.empty()) {
      ++blank;
      continue;
    }
    constexpr std::size_t kLongestName = 100;
    if (KindOf(cell) != CellKind::kText || cell.size() > kLongestName) return -1;
    if (!names.insert(cell).second) return -1;
  }
  const bool drawn = heading + 1 < rows.size() && rows[heading + 1].ruler;
  if ((blank * 3 > score.fields && !drawn) || names.empty()) return -1;
  int votes = drawn ? 100 : 0;  // a line below names says what they are
  for (std::size_t column = 0; column < score.fields; ++column) {
    const std::string_view cell = table.Cell(rows[heading], column);
    if (base::Trim(cell).empty()) continue;
    for (std::size_t i = heading + 1; i < rows.size(); ++i) {
      // A name hardly stands below itself.
      if (rows[i].count == score.fields && table.Cell(rows[i], column) == cell) return -1;
    }
    votes += Vote(table, score, heading, column);
  }
  return votes > 0 ? static_cast<int>(heading) : -1;
}

}  // namespace kelvorin::textsource
