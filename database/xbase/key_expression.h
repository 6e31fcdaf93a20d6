#pragma once
// Key and FOR expressions of indexes, compiled once and then evaluated on records as they are
// stored. Used by the tags of a table. Knows no files; nothing is parsed or allocated per record.
//
//   or   = and { .OR. and }       and = not { .AND. not }     not = [ .NOT. | ! ] not | compare
//   compare = sum [ ( = | == | <> | # | != | < | > | <= | >= | $ ) sum ]
//   sum  = term { ( + | - ) term }          term = factor { ( * | / ) factor }
//   factor = [ - ] factor | ( or ) | "text" | 'text' | [text] | number | .T. | .F.
//          | function ( or, ... ) | [ alias-> ] field

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/bytes.h"
#include "database/xbase/table_layout.h"

namespace kelvorin::database::xbase {

/// What an expression yields. Integer and Currency are fields of FoxPro 3.0 that stand alone; in
/// arithmetic they are numbers.
enum class KeyType : std::uint8_t {
  kText,
  kNumber,
  kDate,
  kDateTime,
  kLogical,
  kInteger,
  kCurrency
};

struct KeyValue {
  std::string_view text;   // of a text; of a number field its exact digits, else empty
  double number = 0;       // of a date its Julian day, of a date-time with the day's fraction
  std::int64_t whole = 0;  // of kInteger and kCurrency, the latter in ten-thousandths
  bool truth = false;
  bool empty = false;  // a date or date-time that is not there
};

/// A field that a key consists of, in key order.
struct KeyPart {
  std::size_t column = 0;  // subscript in the layout
  std::size_t bytes = 0;   // that it takes in the key
};

class KeyExpression {
 public:
  /// `layout` must outlive the expression. Throws `kNotSupported` with the piece of the
  /// text that is not understood.
  KeyExpression(std::string_view text, const TableLayout& layout);
  KeyExpression(KeyExpression&&) noexcept;
  KeyExpression& operator=(KeyExpression&&) noexcept;
  ~KeyExpression();

  KeyType type() const noexcept;
  /// Bytes of a text result when nothing is trimmed off; 0 for other types.
  std::size_t text_bytes() const noexcept;
  /// Whether any field in it can be Null, as its table says.
  bool nullable() const noexcept;
  /// The fields that the key is made of when it is nothing but a list of them; empty for any other
  /// expression.
  const std::vector<KeyPart>& parts() const noexcept;

  /// The value for a record of the layout. `out.text` lives until the next call or as long as
  /// `row`.
  void Evaluate(base::ByteSpan row, std::uint32_t record, KeyValue& out);
  /// Whether a field in it is Null in this record.
  bool IsNull(base::ByteSpan row) const noexcept;

  struct Program;  // of key_program.h

 private:
  std::unique_ptr<Program> program_;
};

}  // namespace kelvorin::database::xbase
