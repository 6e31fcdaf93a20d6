#include "database/xbase/key_expression.h"

#include "base/M_STRING.h"
#include "database/xbase/decimal_text.h"
#include "database/xbase/key_program.h"
#include "values/decimal_digits.h"
#include "values/value.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>

namespace kelvorin::database::xbase {
namespace {

using values::CivilDate;

constexpr double kMillisecondsOfDay = 86'400'000;
constexpr int kCenturyOfShortYears = 1900;

bool IsBlankDate(base::ByteSpan bytes) noexcept {
  return std::all_of(bytes.begin(), bytes.end(), [](std::byte b) {
    return b == std::byte{' '} || b == std::byte{0} || b == std::byte{'0'};
  });
}

void SetDay(const CivilDate& date, KeyValue& out) noexcept {
  out.empty = !values::IsValidDate(date);
  out.number = out.empty ? 0 : values::ToDay(date) + values::kJulianDayOfDayZero;
}

/// `YYYYMMDD`; anything else is no date.
void ParsePlainDate(std::string_view text, KeyValue& out) noexcept {
  int digits = 0;
  bool good = text.size() >= 8;
  for (std::size_t i = 0; good && i < 8; ++i) {
    good = base::IsDigit(text[i]);
    digits = digits * 10 + (text[i] - '0');
  }
  SetDay(good ? CivilDate{digits / 10000, digits / 100 % 100, digits % 100} : CivilDate{}, out);
}

/// Month, day and year with anything between them; years of two digits are of the last century.
void ParseWrittenDate(std::string_view text, KeyValue& out) noexcept {
  int numbers[3] = {0, 0, 0};
  std::size_t count = 0, digits = 0;
  for (std::size_t i = 0; i <= text.size() && count < 3; ++i) {
    const bool digit = i < text.size() && base::IsDigit(text[i]);
    if (digit && digits < 5) {
      numbers[count] = numbers[count] * 10 + (text[i] - '0');
      ++digits;
    } else if (digits != 0) {
      ++count;
      digits = 0;
    }
  }
  if (count == 3 && numbers[2] < 100) numbers[2] += kCenturyOfShortYears;
  SetDay(count == 3 ? CivilDate{numbers[2], numbers[0], numbers[1]} : CivilDate{}, out);
}

void PutDigits(char* out, int value, int count) noexcept {
  for (int i = count; i > 0; --i, value /= 10) out[i - 1] = static_cast<char>('0' + value % 10);
}

CivilDate CivilOf(const KeyValue& date) noexcept {
  if (date.empty || !(date.number > 0 && date.number < 1e7)) return {};
  return values::FromDay(static_cast<std::int32_t>(std::floor(date.number)) -
                         values::kJulianDayOfDayZero);
}

double NumberOf(const KeyValue& value, KeyType type) noexcept {
  if (type == KeyType::kInteger) return static_cast<double>(value.whole);
  if (type == KeyType::kCurrency) return static_cast<double>(value.whole) / 10000.0;
  return value.number;
}

/// The number at the front of a text.
double LeadingNumber(std::string_view text, std::string& scratch) {
  text = base::TrimLeft(text);
  std::size_t end = !text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0;
  bool point = false;
  while (end < text.size() && (base::IsDigit(text[end]) || (text[end] == '.' && !point))) {
    point = point || text[end] == '.';
    ++end;
  }
  double number = 0;
  std::string_view exact;
  if (ParseNumber(text.substr(0, end), number, exact, scratch) != NumberText::kNumber) return 0;
  return number;
}

std::size_t Clamped(double number, std::size_t most) noexcept {
  if (!(number > 0)) return 0;
  return number >= static_cast<double>(most) ? most : static_cast<std::size_t>(number);
}

}  // namespace

/// Arguments of one operation, evaluated.
struct KeyExpression::Program::Call {
  std::array<KeyValue, 3> args;
  std::array<KeyType, 3> types{};
  std::size_t count = 0;
  KeyValue out;
  double Number(std::size_t i) const noexcept { return NumberOf(args[i], types[i]); }
  std::string_view Text(std::size_t i) const noexcept { return args[i].text; }
};

char* KeyExpression::Program::Room(std::size_t bytes) {
  KV_ASSERT(bytes <= arena.size() - used, "every node makes one text of at most its size");
  char* room = arena.data() + used;
  used += bytes;
  return room;
}

void KeyExpression::Program::RunField(const KeyNode& node, base::ByteSpan row, KeyValue& out) {
  const Column& column = *node.column;
  const base::ByteSpan bytes = row.subspan(column.offset, column.bytes);
  switch (node.type) {
    case KeyType::kText:
      out.text = base::AsText(bytes);
      return;
    case KeyType::kDate:
      if (IsBlankDate(bytes)) {
        out.empty = true;
      } else {
        ParsePlainDate(base::AsText(bytes), out);
      }
      return;
    case KeyType::kDateTime: {
      const auto day = static_cast<std::int32_t>(base::LoadLE32(bytes, 0));
      const auto milliseconds = static_cast<std::int32_t>(base::LoadLE32(bytes, 4));
      out.empty = day == 0 || IsBlankDate(bytes);
      if (!out.empty) out.number = day + milliseconds / kMillisecondsOfDay;
      return;
    }
    case KeyType::kLogical:
      out.truth =
          std::string_view("TtYy").find(static_cast<char>(bytes[0])) != std::string_view::npos;
      return;
    case KeyType::kInteger:
      out.whole = static_cast<std::int32_t>(base::LoadLE32(bytes, 0));
      return;
    case KeyType::kCurrency:
      out.whole = static_cast<std::int64_t>(base::LoadLE64(bytes, 0));
      return;
    case KeyType::kNumber:
      break;
  }
  if (column.letter == 'B') {
    out.number = std::bit_cast<double>(base::LoadLE64(bytes, 0));
    if (!std::isfinite(out.number)) out.number = 0;
    return;
  }
  // What is blank or no number counts as zero, as in the products themselves.
  if (ParseNumber(base::AsText(bytes), out.number, out.text, scratch) == NumberText::kNumber)
    return;
  out.number = 0;
  out.text = {};
}

bool KeyExpression::Program::Compare(KeyOp op, KeyType type, const KeyValue& left,
                                     const KeyValue& right) const {
  int order = 0;
  if (type == KeyType::kText) {
    std::string_view a = left.text;
    if (op == KeyOp::kContained) return right.text.find(a) != std::string_view::npos;
    if (op == KeyOp::kEqual || op == KeyOp::kUnequal) a = a.substr(0, right.text.size());
    order = a.compare(right.text);
  } else if (type == KeyType::kLogical) {
    order = static_cast<int>(left.truth) - static_cast<int>(right.truth);
  } else {
    order = left.number < right.number ? -1 : left.number > right.number ? 1 : 0;
  }
  switch (op) {
    case KeyOp::kEqual:
    case KeyOp::kExactly:
      return order == 0;
    case KeyOp::kUnequal:
      return order != 0;
    case KeyOp::kLess:
      return order < 0;
    case KeyOp::kLessEqual:
      return order <= 0;
    case KeyOp::kGreater:
      return order > 0;
    default:
      return order >= 0;
  }
}

void KeyExpression::Program::RunText(const KeyNode& node, Call& call) {
  const std::string_view text = call.Text(0);
  std::string_view& out = call.out.text;
  const auto make = [&](std::size_t bytes) {
    char* room = Room(std::min(bytes, node.bytes));
    out = {room, std::min(bytes, node.bytes)};
    return room;
  };
  switch (node.op) {
    case KeyOp::kUpper:
    case KeyOp::kLower: {
      char* room = make(text.size());
      // A to Z alone: so do all writers of these files whose tags were seen, whatever the code
      // page.
      const bool up = node.op == KeyOp::kUpper;
      for (char c : text) *room++ = up ? base::ToUpperAscii(c) : base::ToLowerAscii(c);
      return;
    }
    case KeyOp::kConcat:
    case KeyOp::kConcatTrimmed: {
      const std::string_view right = call.Text(1);
      const std::size_t front =
          node.op == KeyOp::kConcat ? text.size() : base::TrimRight(text).size();
      char* room = make(text.size() + right.size());
      std::memcpy(room, text.data(), front);
      std::memcpy(room + front, right.data(), right.size());
      std::memset(room + front + right.size(), ' ', text.size() - front);
      return;
    }
    case KeyOp::kStr: {
      char* room = make(node.bytes);
      // Not cleared: it is filled before it is read, and often.
      // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
      std::array<char, values::kMaxPlainDouble> buffer;
      const auto decimals = call.count > 2 ? Clamped(call.Number(2), 18) : 0;
      const double number = call.Number(0);
      const bool fits = std::isfinite(number) && FormatNumber(values::PlainText(number, buffer),
                                                              static_cast<unsigned>(decimals),
                                                              std::span<char>(room, node.bytes));
      if (!fits) std::memset(room, '*', node.bytes);
      return;
    }
    case KeyOp::kDtos:
    case KeyOp::kDtoc: {
      char* room = make(node.bytes);
      const CivilDate date = CivilOf(call.args[0]);
      const bool plain = node.op == KeyOp::kDtos || call.count > 1;
      std::memcpy(room, plain ? "        " : "  /  /  ", node.bytes);
      if (call.args[0].empty || date.year <= 0) return;
      if (plain) PutDigits(room, date.year, 4);
      PutDigits(room + (plain ? 4 : 0), date.month, 2);
      PutDigits(room + (plain ? 6 : 3), date.day, 2);
      if (!plain) PutDigits(room + 6, date.year % 100, 2);
      return;
    }
    case KeyOp::kSubstr: {
      const std::size_t start = Clamped(call.Number(1) - 1, text.size());
      out = text.substr(start);
      if (call.count > 2) out = out.substr(0, Clamped(call.Number(2), out.size()));
      return;
    }
    case KeyOp::kLeft:
      out = text.substr(0, Clamped(call.Number(1), text.size()));
      return;
    case KeyOp::kRight:
      out = text.substr(text.size() - Clamped(call.Number(1), text.size()));
      return;
    case KeyOp::kTrim:
      out = base::TrimRight(text);
      return;
    case KeyOp::kLtrim:
      out = base::TrimLeft(text);
      return;
    case KeyOp::kAlltrim:
      out = base::Trim(text);
      return;
    case KeyOp::kPadl:
    case KeyOp::kPadr: {
      char* room = make(node.bytes);
      const std::string_view given = text.substr(0, node.bytes);
      const char fill = call.count > 2 && !call.Text(2).empty() ? call.Text(2)[0] : ' ';
      std::memset(room, fill, node.bytes);
      std::memcpy(room + (node.op == KeyOp::kPadl ? node.bytes - given.size() : 0), given.data(),
                  given.size());
      return;
    }
    case KeyOp::kRepeat: {
      const std::string_view piece = call.count == 1 ? base::kBlank : text;
      char* room = make(node.bytes);
      for (std::size_t i = 0; i < node.bytes && !piece.empty(); ++i) {
        room[i] = piece[i % piece.size()];
      }
      if (call.count != 1) out = out.substr(0, text.size() * Clamped(call.Number(1), node.bytes));
      return;
    }
    default: {  // kChr
      char* room = make(1);
      *room = static_cast<char>(static_cast<unsigned char>(Clamped(call.Number(0), 255)));
    }
  }
}

void KeyExpression::Program::RunNumber(const KeyNode& node, Call& call) {
  const double a = call.count > 0 ? call.Number(0) : 0, b = call.count > 1 ? call.Number(1) : 0;
  double& out = call.out.number;
  switch (node.op) {
    case KeyOp::kNegate:
      out = 0 - a;
      return;
    case KeyOp::kAdd:
      out = a + b;
      return;
    case KeyOp::kSubtract:
      out = a - b;
      return;
    case KeyOp::kMultiply:
      out = a * b;
      return;
    case KeyOp::kDivide:
      out = b == 0 ? 0 : a / b;
      return;
    case KeyOp::kVal:
      out = LeadingNumber(call.Text(0), scratch);
      return;
    case KeyOp::kAbs:
      out = std::fabs(a);
      return;
    case KeyOp::kInt:
      out = std::trunc(a);
      return;
    case KeyOp::kRound: {
      // Not cleared: it is filled before it is read, and often.
      // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
      std::array<char, values::kMaxPlainDouble> buffer;
      // Not cleared: it is filled before it is read, and often.
      // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
      std::array<char, values::kMaxPlainDouble> rounded;
      const auto decimals = static_cast<unsigned>(Clamped(b, 18));
      const std::span<char> room(rounded.data(), 64);
      std::string_view exact;
      if (b < 0 || !FormatNumber(values::PlainText(a, buffer), decimals, room)) {
        const double unit = std::pow(10.0, b);
        out = std::round(a * unit) / unit;
      } else if (ParseNumber({room.data(), room.size()}, out, exact, scratch) !=
                 NumberText::kNumber) {
        out = 0;
      }
      return;
    }
    case KeyOp::kYear:
      out = CivilOf(call.args[0]).year;
      return;
    case KeyOp::kMonth:
      out = CivilOf(call.args[0]).year > 0 ? CivilOf(call.args[0]).month : 0;
      return;
    case KeyOp::kDay:
      out = CivilOf(call.args[0]).year > 0 ? CivilOf(call.args[0]).day : 0;
      return;
    case KeyOp::kAsc:
      out = call.Text(0).empty() ? 0 : static_cast<unsigned char>(call.Text(0)[0]);
      return;
    case KeyOp::kLen:
      out = static_cast<double>(call.Text(0).size());
      return;
    default: {  // kAt
      const std::size_t at = call.Text(1).find(call.Text(0));
      out = at == std::string_view::npos || call.Text(0).empty() ? 0 : static_cast<double>(at + 1);
    }
  }
}

KeyValue KeyExpression::Program::Run(std::uint16_t number, base::ByteSpan row,
                                     std::uint32_t record) {
  const KeyNode& node = nodes[number];
  Call call;
  switch (node.op) {
    case KeyOp::kConstant:
      call.out.text = node.text;
      call.out.number = node.number;
      call.out.truth = node.truth;
      return call.out;
    case KeyOp::kField:
      RunField(node, row, call.out);
      return call.out;
    case KeyOp::kIsDeleted:
      call.out.truth = row[0] == kDeleted;
      return call.out;
    case KeyOp::kRecno:
      call.out.number = record;
      return call.out;
    default:
      break;
  }
  call.count = node.args.size();
  for (std::size_t i = 0; i < call.count; ++i) {
    call.types[i] = nodes[node.args[i]].type;
    call.args[i] = Run(node.args[i], row, record);
  }
  const KeyValue& first = call.args[0];
  switch (node.op) {
    case KeyOp::kNot:
      call.out.truth = !first.truth;
      return call.out;
    case KeyOp::kAnd:
      call.out.truth = first.truth && call.args[1].truth;
      return call.out;
    case KeyOp::kOr:
      call.out.truth = first.truth || call.args[1].truth;
      return call.out;
    case KeyOp::kEmpty:
      call.out.truth = call.types[0] == KeyType::kText ? base::Trim(first.text, " \t\r\n").empty()
                       : call.types[0] == KeyType::kLogical ? !first.truth
                       : call.types[0] == KeyType::kDate || call.types[0] == KeyType::kDateTime
                           ? first.empty
                           : call.Number(0) == 0;
      return call.out;
    case KeyOp::kIif: {
      const std::size_t taken = first.truth ? 1 : 2;
      call.out = call.args[taken];
      if (node.type == KeyType::kNumber) {
        call.out.number = call.Number(taken);
        if (call.types[taken] != KeyType::kNumber) call.out.text = {};
      }
      return call.out;
    }
    case KeyOp::kShiftDate:
      call.out.empty = first.empty;
      call.out.number = first.empty ? 0 : first.number + std::trunc(call.Number(1));
      return call.out;
    case KeyOp::kCtod:
      ParseWrittenDate(first.text, call.out);
      return call.out;
    case KeyOp::kStod:
      ParsePlainDate(first.text, call.out);
      return call.out;
    case KeyOp::kEqual:
    case KeyOp::kExactly:
    case KeyOp::kUnequal:
    case KeyOp::kLess:
    case KeyOp::kLessEqual:
    case KeyOp::kGreater:
    case KeyOp::kGreaterEqual:
    case KeyOp::kContained:
      for (std::size_t i = 0; i < 2; ++i)
        if (call.types[i] == KeyType::kInteger || call.types[i] == KeyType::kCurrency)
          call.args[i].number = call.Number(i);
      call.out.truth = Compare(node.op, call.types[0], first, call.args[1]);
      return call.out;
    default:
      break;
  }
  if (node.type == KeyType::kText) {
    RunText(node, call);
  } else {
    RunNumber(node, call);
    if (!std::isfinite(call.out.number)) call.out.number = 0;
  }
  return call.out;
}

// --- The expression

namespace {

/// The field that a piece of a key stands for, or null: a field itself, or one of the functions
/// that keep its order, of it.
const Column* FieldOfPart(const KeyExpression::Program& program, const KeyNode& node) {
  if (node.op == KeyOp::kField) return node.column;
  if (node.op != KeyOp::kUpper && node.op != KeyOp::kDtos && node.op != KeyOp::kStr) return nullptr;
  const KeyNode& inner = program.nodes[node.args[0]];
  return inner.op == KeyOp::kField ? inner.column : nullptr;
}

/// Appends the fields of a key that is a list of them; false when it is anything else.
bool ListParts(const KeyExpression::Program& program, std::uint16_t number, bool alone,
               std::vector<KeyPart>& parts) {
  const KeyNode& node = program.nodes[number];
  if (node.op == KeyOp::kConcat)
    return ListParts(program, node.args[0], false, parts) &&
           ListParts(program, node.args[1], false, parts);
  const Column* column = FieldOfPart(program, node);
  if (column == nullptr || (!alone && node.type != KeyType::kText)) return false;
  const auto at = static_cast<std::size_t>(column - program.layout->columns.data());
  for (const KeyPart& part : parts)
    if (part.column == at) return false;
  parts.push_back({at, node.bytes});
  return true;
}

}  // namespace

KeyExpression::KeyExpression(std::string_view text, const TableLayout& layout)
    : program_(std::make_unique<Program>()) {
  program_->layout = &layout;
  ParseKeyExpression(text, *program_);
  if (!ListParts(*program_, program_->root, true, program_->parts)) program_->parts.clear();
  std::size_t room = 0;
  for (const KeyNode& node : program_->nodes) room += node.bytes;
  program_->arena.resize(room);
}

KeyExpression::KeyExpression(KeyExpression&&) noexcept = default;
KeyExpression& KeyExpression::operator=(KeyExpression&&) noexcept = default;
KeyExpression::~KeyExpression() = default;

KeyType KeyExpression::type() const noexcept {
  return program_->nodes[program_->root].type;
}
std::size_t KeyExpression::text_bytes() const noexcept {
  return program_->nodes[program_->root].bytes;
}
bool KeyExpression::nullable() const noexcept {
  return std::any_of(program_->fields.begin(), program_->fields.end(),
                     [](const Column* column) { return column->null_bit >= 0; });
}
const std::vector<KeyPart>& KeyExpression::parts() const noexcept {
  return program_->parts;
}

void KeyExpression::Evaluate(base::ByteSpan row, std::uint32_t record, KeyValue& out) {
  program_->used = 0;
  out = program_->Run(program_->root, row, record);
}

bool KeyExpression::IsNull(base::ByteSpan row) const noexcept {
  const std::uint32_t flags = program_->layout->null_flags_at;
  for (const Column* column : program_->fields) {
    if (column->null_bit < 0) continue;
    const auto bit = static_cast<unsigned>(column->null_bit);
    if ((base::Load8(row, flags + bit / 8) >> (bit % 8) & 1) != 0) return true;
  }
  return false;
}

}  // namespace kelvorin::database::xbase
