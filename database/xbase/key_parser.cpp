#include "database/xbase/key_program.h"

#include "base/M_STRING.h"
#include "database/errors.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace kelvorin::database::xbase {
namespace {

constexpr std::size_t kMaxDepth = 40;
constexpr std::size_t kMaxNodes = 400;
constexpr std::size_t kMaxTextResult = 4096;
constexpr std::size_t kShortestName = 4;  // to which function names may be cut
constexpr std::size_t kNameChars = 10;    // of a field that a container gave a longer name

constexpr bool IsLetter(char c) noexcept {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

enum class Sort : std::uint8_t { kEnd, kName, kText, kNumber, kSymbol };

struct Token {
  Sort sort = Sort::kEnd;
  std::string_view text;  // of a text constant without its quotes
  std::size_t at = 0;
};

/// What a function takes, in order: C text, N number, # a number that is written there, D date or
/// date-time, L logical, * anything; what a small letter stands for may be left out.
struct Function {
  std::string_view name;
  KeyOp op;
  std::string_view takes;
  KeyType yields;
};
constexpr Function kFunctions[] = {
    {"UPPER", KeyOp::kUpper, "C", KeyType::kText},
    {"LOWER", KeyOp::kLower, "C", KeyType::kText},
    {"STR", KeyOp::kStr, "N##", KeyType::kText},
    {"DTOS", KeyOp::kDtos, "D", KeyType::kText},
    {"DTOC", KeyOp::kDtoc, "D#", KeyType::kText},
    {"SUBSTR", KeyOp::kSubstr, "CNn", KeyType::kText},
    {"LEFT", KeyOp::kLeft, "CN", KeyType::kText},
    {"RIGHT", KeyOp::kRight, "CN", KeyType::kText},
    {"TRIM", KeyOp::kTrim, "C", KeyType::kText},
    {"RTRIM", KeyOp::kTrim, "C", KeyType::kText},
    {"LTRIM", KeyOp::kLtrim, "C", KeyType::kText},
    {"ALLTRIM", KeyOp::kAlltrim, "C", KeyType::kText},
    {"IIF", KeyOp::kIif, "L**", KeyType::kText},
    {"VAL", KeyOp::kVal, "C", KeyType::kNumber},
    {"CTOD", KeyOp::kCtod, "C", KeyType::kDate},
    {"STOD", KeyOp::kStod, "C", KeyType::kDate},
    {"DELETED", KeyOp::kIsDeleted, "", KeyType::kLogical},
    {"RECNO", KeyOp::kRecno, "", KeyType::kNumber},
    {"EMPTY", KeyOp::kEmpty, "*", KeyType::kLogical},
    {"YEAR", KeyOp::kYear, "D", KeyType::kNumber},
    {"MONTH", KeyOp::kMonth, "D", KeyType::kNumber},
    {"DAY", KeyOp::kDay, "D", KeyType::kNumber},
    {"ABS", KeyOp::kAbs, "N", KeyType::kNumber},
    {"INT", KeyOp::kInt, "N", KeyType::kNumber},
    {"ROUND", KeyOp::kRound, "NN", KeyType::kNumber},
    {"PADL", KeyOp::kPadl, "C#c", KeyType::kText},
    {"PADR", KeyOp::kPadr, "C#c", KeyType::kText},
    {"SPACE", KeyOp::kRepeat, "#", KeyType::kText},
    {"REPLICATE", KeyOp::kRepeat, "C#", KeyType::kText},
    {"CHR", KeyOp::kChr, "N", KeyType::kText},
    {"ASC", KeyOp::kAsc, "C", KeyType::kNumber},
    {"LEN", KeyOp::kLen, "C", KeyType::kNumber},
    {"AT", KeyOp::kAt, "CC", KeyType::kNumber},
};
/// Of these only the first argument is needed.
constexpr bool MayEndEarly(KeyOp op) noexcept {
  return op == KeyOp::kStr || op == KeyOp::kDtoc;
}

bool IsNumeric(KeyType type) noexcept {
  return type == KeyType::kNumber || type == KeyType::kInteger || type == KeyType::kCurrency;
}
bool IsDateLike(KeyType type) noexcept {
  return type == KeyType::kDate || type == KeyType::kDateTime;
}

class Parser {
 public:
  Parser(std::string_view text, KeyExpression::Program& program) : text_(text), program_(program) {
    if (text.size() > kMaxExpressionBytes)
      throw Error(Code::kNotSupported, "it has " + std::to_string(text.size()) + " characters");
    Advance();
  }

  void Parse() {
    program_.root = Or();
    if (now_.sort != Sort::kEnd) Refuse(now_.at);
  }

 private:
  [[noreturn]] void Refuse(std::size_t at, const char* why = nullptr) const {
    const std::string_view rest = base::Trim(text_.substr(std::min(at, text_.size())));
    std::string what = rest.empty() ? std::string("its end") : "'" + std::string(rest) + "'";
    if (why != nullptr) what += std::string(" (") + why + ")";
    Throw(Code::kNotSupported, ErrorNumber::kNotSupported, what);
  }

  // --- Tokens

  void Advance() {
    while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\t')) ++at_;
    now_ = Token{Sort::kEnd, {}, at_};
    if (at_ == text_.size()) return;
    const char c = text_[at_];
    if (c == '"' || c == '\'' || c == '[') return TakeText(c == '[' ? ']' : c);
    if (IsLetter(c)) return TakeName();
    if (base::IsDigit(c) || (c == '.' && at_ + 1 < text_.size() && base::IsDigit(text_[at_ + 1])))
      return TakeNumber();
    if (c == '.') return TakeDotted();
    constexpr std::string_view kPairs[] = {"==", "<>", "!=", "<=", ">=", "->"};
    std::size_t size = 1;
    for (std::string_view pair : kPairs)
      if (text_.substr(at_, 2) == pair) size = 2;
    Take(Sort::kSymbol, size);
  }
  void Take(Sort sort, std::size_t size) {
    now_.sort = sort;
    now_.text = text_.substr(at_, size);
    at_ += size;
  }
  void TakeText(char quote) {
    const std::size_t end = text_.find(quote, at_ + 1);
    if (end == std::string_view::npos) Refuse(at_);
    now_.sort = Sort::kText;
    now_.text = text_.substr(at_ + 1, end - at_ - 1);
    at_ = end + 1;
  }
  void TakeName() {
    std::size_t end = at_;
    while (end < text_.size() && (IsLetter(text_[end]) || base::IsDigit(text_[end]))) ++end;
    Take(Sort::kName, end - at_);
  }
  void TakeNumber() {
    std::size_t end = at_;
    while (end < text_.size() && base::IsDigit(text_[end])) ++end;
    // A point belongs to the number unless an operator such as .AND. begins with it.
    if (end < text_.size() && text_[end] == '.' &&
        (end + 1 == text_.size() || !IsLetter(text_[end + 1]))) {
      ++end;
      while (end < text_.size() && base::IsDigit(text_[end])) ++end;
    }
    Take(Sort::kNumber, end - at_);
  }
  void TakeDotted() {
    const std::size_t end = text_.find('.', at_ + 1);
    if (end == std::string_view::npos) Refuse(at_);
    Take(Sort::kSymbol, end + 1 - at_);
  }

  bool Is(std::string_view symbol) const noexcept {
    return (now_.sort == Sort::kSymbol || now_.sort == Sort::kName) &&
           base::EqualIgnoreCase(now_.text, symbol);
  }
  bool Accept(std::string_view symbol) {
    if (!Is(symbol)) return false;
    Advance();
    return true;
  }
  void Expect(std::string_view symbol) {
    if (!Accept(symbol)) Refuse(now_.at);
  }

  // --- Nodes

  const KeyNode& At(std::uint16_t node) const noexcept { return program_.nodes[node]; }

  std::uint16_t Add(KeyOp op, KeyType type, std::vector<std::uint16_t> args,
                    std::size_t bytes = 0) {
    if (program_.nodes.size() == kMaxNodes || bytes > kMaxTextResult) Refuse(0, "it is too long");
    KeyNode node;
    node.op = op;
    node.type = type;
    node.args = std::move(args);
    node.bytes = bytes;
    program_.nodes.push_back(std::move(node));
    return static_cast<std::uint16_t>(program_.nodes.size() - 1);
  }

  struct Deeper {
    explicit Deeper(Parser& of) : parser(of) {
      if (++parser.depth_ > kMaxDepth) parser.Refuse(parser.now_.at, "it is nested too deeply");
    }
    ~Deeper() { --parser.depth_; }
    Deeper(const Deeper&) = delete;
    Deeper& operator=(const Deeper&) = delete;
    Parser& parser;
  };

  std::uint16_t Or() {
    const Deeper deeper(*this);
    std::uint16_t left = And();
    while (Is(".OR.")) {
      const std::size_t at = now_.at;
      Advance();
      left = Logical(KeyOp::kOr, left, And(), at);
    }
    return left;
  }
  std::uint16_t And() {
    std::uint16_t left = Not();
    while (Is(".AND.")) {
      const std::size_t at = now_.at;
      Advance();
      left = Logical(KeyOp::kAnd, left, Not(), at);
    }
    return left;
  }
  std::uint16_t Logical(KeyOp op, std::uint16_t left, std::uint16_t right, std::size_t at) {
    if (At(left).type != KeyType::kLogical || At(right).type != KeyType::kLogical) Refuse(at);
    return Add(op, KeyType::kLogical, {left, right});
  }
  std::uint16_t Not() {
    const std::size_t at = now_.at;
    if (!Accept(".NOT.") && !Accept("!")) return Comparison();
    const Deeper deeper(*this);
    const std::uint16_t of = Not();
    if (At(of).type != KeyType::kLogical) Refuse(at);
    return Add(KeyOp::kNot, KeyType::kLogical, {of});
  }

  std::uint16_t Comparison() {
    struct Named {
      std::string_view symbol;
      KeyOp op;
    };
    constexpr Named kOperators[] = {
        {"=", KeyOp::kEqual},      {"==", KeyOp::kExactly}, {"<>", KeyOp::kUnequal},
        {"#", KeyOp::kUnequal},    {"!=", KeyOp::kUnequal}, {"<", KeyOp::kLess},
        {"<=", KeyOp::kLessEqual}, {">", KeyOp::kGreater},  {">=", KeyOp::kGreaterEqual},
        {"$", KeyOp::kContained},
    };
    const std::uint16_t left = Sum();
    for (const Named& known : kOperators) {
      if (!Is(known.symbol)) continue;
      const std::size_t at = now_.at;
      Advance();
      const std::uint16_t right = Sum();
      const KeyType a = At(left).type, b = At(right).type;
      const bool same =
          a == b || (IsNumeric(a) && IsNumeric(b)) || (IsDateLike(a) && IsDateLike(b));
      if (!same || (known.op == KeyOp::kContained && a != KeyType::kText)) Refuse(at);
      return Add(known.op, KeyType::kLogical, {left, right});
    }
    return left;
  }

  std::uint16_t Sum() {
    std::uint16_t left = Term();
    while (Is("+") || Is("-")) {
      const bool plus = Is("+");
      const std::size_t at = now_.at;
      Advance();
      left = AddOrSubtract(left, Term(), plus, at);
    }
    return left;
  }
  std::uint16_t AddOrSubtract(std::uint16_t left, std::uint16_t right, bool plus, std::size_t at) {
    const KeyType a = At(left).type, b = At(right).type;
    if (a == KeyType::kText && b == KeyType::kText)
      return Add(plus ? KeyOp::kConcat : KeyOp::kConcatTrimmed, KeyType::kText, {left, right},
                 At(left).bytes + At(right).bytes);
    if (IsNumeric(a) && IsNumeric(b))
      return Add(plus ? KeyOp::kAdd : KeyOp::kSubtract, KeyType::kNumber, {left, right});
    if (a == KeyType::kDate && b == KeyType::kDate && !plus)
      return Add(KeyOp::kSubtract, KeyType::kNumber, {left, right});
    if (plus && IsNumeric(a) && b == KeyType::kDate) std::swap(left, right);
    if (At(left).type != KeyType::kDate || !IsNumeric(At(right).type)) Refuse(at);
    if (!plus) right = Add(KeyOp::kNegate, KeyType::kNumber, {right});
    return Add(KeyOp::kShiftDate, KeyType::kDate, {left, right});
  }

  std::uint16_t Term() {
    std::uint16_t left = Factor();
    while (Is("*") || Is("/")) {
      const KeyOp op = Is("*") ? KeyOp::kMultiply : KeyOp::kDivide;
      const std::size_t at = now_.at;
      Advance();
      const std::uint16_t right = Factor();
      if (!IsNumeric(At(left).type) || !IsNumeric(At(right).type)) Refuse(at);
      left = Add(op, KeyType::kNumber, {left, right});
    }
    return left;
  }

  std::uint16_t Factor() {
    const Token token = now_;
    if (Accept("-")) {
      const Deeper deeper(*this);
      const std::uint16_t of = Factor();
      if (!IsNumeric(At(of).type)) Refuse(token.at);
      return Add(KeyOp::kNegate, KeyType::kNumber, {of});
    }
    if (Accept("(")) {
      const std::uint16_t inner = Or();
      Expect(")");
      return inner;
    }
    if (token.sort == Sort::kText || token.sort == Sort::kNumber) return Constant(token);
    for (std::string_view truth : {".T.", ".Y.", ".F.", ".N."}) {
      if (!Is(truth)) continue;
      Advance();
      const std::uint16_t node = Add(KeyOp::kConstant, KeyType::kLogical, {});
      program_.nodes[node].truth = truth[1] == 'T' || truth[1] == 'Y';
      return node;
    }
    if (token.sort != Sort::kName) Refuse(token.at);
    Advance();
    if (Is("(")) return Call(token);
    if (Accept("->")) {
      const Token field = now_;
      if (field.sort != Sort::kName) Refuse(field.at);
      Advance();
      return FieldNamed(field);
    }
    return FieldNamed(token);
  }

  std::uint16_t Constant(const Token& token) {
    Advance();
    if (token.sort == Sort::kText) {
      const std::uint16_t node = Add(KeyOp::kConstant, KeyType::kText, {}, token.text.size());
      program_.nodes[node].text = token.text;
      return node;
    }
    const std::uint16_t node = Add(KeyOp::kConstant, KeyType::kNumber, {});
    (void)std::from_chars(token.text.data(), token.text.data() + token.text.size(),
                          program_.nodes[node].number);
    return node;
  }

  const Column* FindColumn(std::string_view name) const {
    for (const Column& column : program_.layout->columns)
      if (base::EqualIgnoreCase(column.name, name)) return &column;
    // Expressions of a table that belongs to a container use the long names kept there.
    if (name.size() > kNameChars) return FindColumn(name.substr(0, kNameChars));
    return nullptr;
  }

  std::uint16_t FieldNamed(const Token& token) {
    const Column* column = FindColumn(token.text);
    if (column == nullptr) Refuse(token.at, "there is no such field");
    KeyType type = KeyType::kText;
    switch (column->letter) {
      case 'C':
        break;
      case 'N':
      case 'F':
        type = KeyType::kNumber;
        break;
      case 'L':
        type = KeyType::kLogical;
        break;
      case 'D':
        type = KeyType::kDate;
        break;
      case 'T':
        type = KeyType::kDateTime;
        break;
      case 'I':
        type = KeyType::kInteger;
        break;
      case 'Y':
        type = KeyType::kCurrency;
        break;
      default:
        if (column->letter != 'B' || InMemoFile(*column))
          Refuse(token.at, "a field of its type is no part of a key");
        type = KeyType::kNumber;
    }
    const bool text = type == KeyType::kText;
    const std::uint16_t node = Add(KeyOp::kField, type, {}, text ? column->bytes : 0u);
    program_.nodes[node].column = column;
    program_.fields.push_back(column);
    return node;
  }

  // --- Functions

  const Function& FunctionNamed(const Token& token) const {
    for (const Function& known : kFunctions)
      if (base::EqualIgnoreCase(known.name, token.text) ||
          (token.text.size() >= kShortestName &&
           base::StartsWithIgnoreCase(known.name, token.text)))
        return known;
    Refuse(token.at, "the function is not known");
  }

  bool Takes(char sign, std::uint16_t node) const noexcept {
    const KeyNode& arg = At(node);
    switch (base::ToUpperAscii(sign)) {
      case 'C':
        return arg.type == KeyType::kText;
      case 'N':
        return IsNumeric(arg.type);
      case '#':
        return IsNumeric(arg.type) && arg.op == KeyOp::kConstant && arg.number >= 0 &&
               arg.number <= static_cast<double>(kMaxTextResult);
      case 'D':
        return IsDateLike(arg.type);
      case 'L':
        return arg.type == KeyType::kLogical;
      default:
        return true;
    }
  }

  std::uint16_t Call(const Token& name) {
    const Deeper deeper(*this);
    const Function& function = FunctionNamed(name);
    Expect("(");
    std::vector<std::uint16_t> args;
    while (!Is(")")) {
      if (!args.empty()) Expect(",");
      const std::size_t at = now_.at;
      args.push_back(Or());
      if (args.size() > function.takes.size() ||
          !Takes(function.takes[args.size() - 1], args.back()))
        Refuse(at, "this argument is not understood");
    }
    Advance();
    const bool complete =
        args.size() == function.takes.size() || (!args.empty() && MayEndEarly(function.op)) ||
        (args.size() + 1 == function.takes.size() && function.takes.back() >= 'a');
    if (!complete) Refuse(name.at, "it lacks an argument");
    return Build(function, std::move(args), name.at);
  }

  std::uint16_t Build(const Function& function, std::vector<std::uint16_t> args, std::size_t at) {
    using enum KeyOp;
    KeyType type = function.yields;
    std::size_t bytes = args.empty() ? 0 : At(args[0]).bytes;
    const auto constant = [&](std::size_t i) {
      return static_cast<std::size_t>(At(args[i]).number);
    };
    const auto bounded = [&](std::size_t i) {  // a length that shortens the text when it is known
      if (At(args[i]).op != kConstant) return bytes;
      return static_cast<std::size_t>(
          std::clamp(At(args[i]).number, 0.0, static_cast<double>(bytes)));
    };
    switch (function.op) {
      case kStr:
        bytes = args.size() > 1 ? constant(1) : 10;
        break;
      case kDtos:
        bytes = 8;
        break;
      case kDtoc:
        if (At(args[0]).type != KeyType::kDate) Refuse(at, "of a date and time");
        bytes = 8;
        break;
      case kSubstr:
        bytes = SubstrBytes(args, bytes);
        break;
      case kLeft:
      case kRight:
        bytes = bounded(1);
        break;
      case kPadl:
      case kPadr:
        bytes = constant(1);
        break;
      case kRepeat:
        bytes = args.size() == 1 ? constant(0) : bytes * constant(1);
        break;
      case kChr:
        bytes = 1;
        break;
      case kIif:
        type = At(args[1]).type;
        if (IsNumeric(type) && IsNumeric(At(args[2]).type)) {
          type = KeyType::kNumber;
        } else if (At(args[2]).type != type) {
          Refuse(at, "its two results differ in kind");
        }
        bytes = std::max(At(args[1]).bytes, At(args[2]).bytes);
        break;
      default:
        break;
    }
    return Add(function.op, type, std::move(args), type == KeyType::kText ? bytes : 0);
  }

  std::size_t SubstrBytes(const std::vector<std::uint16_t>& args, std::size_t bytes) const {
    if (At(args[1]).op == KeyOp::kConstant) {
      const double start = std::max(1.0, At(args[1]).number);
      bytes = start > static_cast<double>(bytes) ? 0 : bytes + 1 - static_cast<std::size_t>(start);
    }
    if (args.size() > 2 && At(args[2]).op == KeyOp::kConstant)
      bytes =
          static_cast<std::size_t>(std::clamp(At(args[2]).number, 0.0, static_cast<double>(bytes)));
    return bytes;
  }

  std::string_view text_;
  KeyExpression::Program& program_;
  std::size_t at_ = 0;
  std::size_t depth_ = 0;
  Token now_;
};

}  // namespace

void ParseKeyExpression(std::string_view text, KeyExpression::Program& program) {
  Parser(text, program).Parse();
}

}  // namespace kelvorin::database::xbase
