#pragma once
// The compiled form of a key expression, shared by its parser and its evaluation and by nobody
// else.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "database/xbase/key_expression.h"

namespace kelvorin::database::xbase {

enum class KeyOp : std::uint8_t {
  kConstant,
  kField,
  kIsDeleted,
  kRecno,
  // Operators.
  kNegate,
  kNot,
  kAnd,
  kOr,
  kConcat,
  kConcatTrimmed,  // blanks at the end of the left text go behind the right one
  kAdd,
  kSubtract,
  kMultiply,
  kDivide,
  kShiftDate,  // date + days
  kEqual,      // of texts: as far as the right one reaches
  kExactly,
  kUnequal,
  kLess,
  kLessEqual,
  kGreater,
  kGreaterEqual,
  kContained,
  // Functions.
  kUpper,
  kLower,
  kStr,
  kDtos,
  kDtoc,
  kSubstr,
  kLeft,
  kRight,
  kTrim,
  kLtrim,
  kAlltrim,
  kIif,
  kVal,
  kCtod,
  kStod,
  kEmpty,
  kYear,
  kMonth,
  kDay,
  kAbs,
  kInt,
  kRound,
  kPadl,
  kPadr,
  kRepeat,
  kChr,
  kAsc,
  kLen,
  kAt,
};

struct KeyNode {
  KeyOp op = KeyOp::kConstant;
  KeyType type = KeyType::kText;
  std::vector<std::uint16_t> args;  // nodes, each used once
  const Column* column = nullptr;
  std::size_t bytes = 0;  // most bytes of a text
  std::string text;       // of a constant
  double number = 0;
  bool truth = false;
};

/// Bytes of an expression's text that other programs can store at most; longer ones are refused.
inline constexpr std::size_t kMaxExpressionBytes = 512;

struct KeyExpression::Program {
  const TableLayout* layout = nullptr;
  std::vector<KeyNode> nodes;
  std::uint16_t root = 0;
  std::vector<KeyPart> parts;
  std::vector<const Column*> fields;
  std::vector<char> arena;  // room for every text that one evaluation makes
  std::size_t used = 0;
  std::string scratch;

  KeyValue Run(std::uint16_t node, base::ByteSpan row, std::uint32_t record);

 private:
  struct Call;
  void RunField(const KeyNode& node, base::ByteSpan row, KeyValue& out);
  void RunText(const KeyNode& node, Call& call);
  void RunNumber(const KeyNode& node, Call& call);
  bool Compare(KeyOp op, KeyType type, const KeyValue& left, const KeyValue& right) const;
  char* Room(std::size_t bytes);
};

/// Fills nodes and root; throws as the constructor of KeyExpression does.
void ParseKeyExpression(std::string_view text, KeyExpression::Program& program);

}  // namespace kelvorin::database::xbase
