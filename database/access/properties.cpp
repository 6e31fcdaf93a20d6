#include "database/access/properties.h"

#include "base/M_Misc.h"
#include "base/M_STRING.h"
#include "base/case_map.h"
#include "database/errors.h"
#include "values/value_format.h"

namespace kelvorin::database::access {
namespace {

constexpr std::string_view kWideMark{"MR2\0", 4};
constexpr std::string_view kNarrowMark{"KKD\0", 4};
constexpr std::uint16_t kNameList = 0x80;
constexpr std::uint16_t kFieldBlock = 1;
constexpr std::uint8_t kBooleanType = 1;
constexpr std::uint8_t kMemoType = 0x0C;
constexpr std::string_view kRequired = "Required";
constexpr std::string_view kAllowZeroLength = "AllowZeroLength";
constexpr std::string_view kDefaultValue = "DefaultValue";
constexpr std::string_view kValidationRule = "ValidationRule";

std::string Text(base::ByteSpan bytes, TextCodec& text) {
  std::string out;
  text.Decode(bytes, out);
  return out;
}

void ReadBlock(base::ByteSpan body, const std::vector<std::string>& names, TextCodec& text,
               std::vector<FieldProperties>& out) {
  base::ByteReader in(body);
  const std::uint32_t name_block = in.LE32();
  const std::uint16_t name_bytes = in.LE16();
  FieldProperties field;
  field.name = Text(in.Bytes(name_bytes), text);
  if (!in.ok() || name_block < 6u + name_bytes) return;
  in.Skip(name_block - 6u - name_bytes);
  while (in.ok() && in.left() >= 8) {
    const std::uint16_t size = in.LE16();
    in.Skip(1);
    const std::uint8_t type = in.U8();
    const std::uint16_t name = in.LE16();
    const std::uint16_t data_bytes = in.LE16();
    const base::ByteSpan data = in.Bytes(data_bytes);
    if (!in.ok() || size < 8 + data_bytes) return;
    in.Skip(size - 8u - data_bytes);
    if (name >= names.size()) continue;
    if (type == kBooleanType && !data.empty()) {
      const bool on = data[0] != std::byte{0};
      if (names[name] == kRequired) field.required = on;
      if (names[name] == kAllowZeroLength) field.allow_zero_length = on;
    }
    if (names[name] == kDefaultValue) field.default_value = Text(data, text);
    if (names[name] == kValidationRule) field.validation_rule = Text(data, text);
  }
  out.push_back(std::move(field));
}

/// Numbers and texts of a blob.
class Writer {
 public:
  explicit Writer(TextCodec& text) : text_(text) {}
  void LE16(std::size_t v) {
    out_ += static_cast<char>(v & 0xFF);
    out_ += static_cast<char>(v >> 8 & 0xFF);
  }
  void LE32(std::size_t v) {
    LE16(v & 0xFFFF);
    LE16(v >> 16);
  }
  void U8(std::uint8_t v) { out_ += static_cast<char>(v); }
  std::string Stored(std::string_view value) {
    std::string stored;
    std::size_t units = 0;
    text_.Encode(value, false, stored, units);
    return stored;
  }
  void Raw(std::string_view bytes) { out_ += bytes; }
  void Chunk(std::uint16_t kind, std::string_view body) {
    LE32(body.size() + 6);
    LE16(kind);
    Raw(body);
  }
  void Value(bool by_definition, std::uint8_t type, std::size_t name, std::string_view data) {
    LE16(8 + data.size());
    U8(by_definition ? 1 : 0);
    U8(type);
    LE16(name);
    LE16(data.size());
    Raw(data);
  }
  std::string& out() noexcept { return out_; }

 private:
  TextCodec& text_;
  std::string out_;
};

bool IsNumber(std::string_view text) {
  values::Value value;
  std::string scratch;
  return values::ValueFormat::Neutral().Parse(text, values::TypeCode::kDouble, value, scratch).ok();
}

}  // namespace

std::vector<FieldProperties> ReadProperties(base::ByteSpan blob, TextCodec& text) {
  std::vector<FieldProperties> fields;
  const std::string_view mark = text.wide() ? kWideMark : kNarrowMark;
  if (!base::AsText(blob).starts_with(mark)) return fields;
  std::vector<std::string> names;
  base::ByteReader in(blob.subspan(mark.size()));
  while (in.ok() && in.left() >= 6) {
    const std::uint32_t size = in.LE32();
    const std::uint16_t kind = in.LE16();
    if (size < 6 || size - 6 > in.left()) break;
    const base::ByteSpan body = in.Bytes(size - 6);
    if (kind == kNameList) {
      names.clear();
      for (base::ByteReader list(body); list.ok() && list.left() >= 2;)
        names.push_back(Text(list.Bytes(list.LE16()), text));
    } else if (kind == kFieldBlock) {
      ReadBlock(body, names, text, fields);
    }
  }
  return fields;
}

std::string WriteProperties(const std::vector<FieldProperties>& fields, TextCodec& text) {
  constexpr std::string_view kNames[] = {kRequired, kAllowZeroLength, kDefaultValue};
  Writer blob(text);
  blob.Raw(text.wide() ? kWideMark : kNarrowMark);
  Writer list(text);
  for (std::string_view name : kNames) {
    const std::string stored = list.Stored(name);
    list.LE16(stored.size());
    list.Raw(stored);
  }
  blob.Chunk(kNameList, list.out());
  for (const FieldProperties& field : fields) {
    Writer body(text);
    const std::string name = body.Stored(field.name);
    body.LE32(6 + name.size());
    body.LE16(name.size());
    body.Raw(name);
    const auto flag = [](bool on) { return std::string(1, on ? '\1' : '\0'); };
    body.Value(true, kBooleanType, 0, flag(field.required));
    body.Value(true, kBooleanType, 1, flag(field.allow_zero_length));
    if (!field.default_value.empty())
      body.Value(true, kMemoType, 2, body.Stored(field.default_value));
    blob.Chunk(kFieldBlock, body.out());
  }
  return std::move(blob.out());
}

DefaultPlan UnderstandDefault(std::string_view expression) {
  using enum DefaultPlan::Kind;
  expression = base::Trim(expression);
  if (expression.starts_with('=')) expression = base::Trim(expression.substr(1));
  if (expression.empty()) return {};
  const auto is = [&](std::string_view word) { return base::EqualIgnoreCase(expression, word); };
  if (is("Null")) return {};
  if (is("Now()")) return {kNow, std::string(expression)};
  if (is("Date()")) return {kToday, std::string(expression)};
  if (is("Time()")) return {kTimeOfDay, std::string(expression)};
  if (is("GenUniqueID()") || is("GenGUID()")) return {kRandom, std::string(expression)};
  for (std::string_view word : {"True", "False", "Yes", "No", "On", "Off"})
    if (is(word)) return {kConstant, std::string(expression)};
  if (expression.size() >= 2 && expression.front() == '"' && expression.back() == '"') {
    std::string value;
    const std::string_view inner = expression.substr(1, expression.size() - 2);
    for (std::size_t i = 0; i < inner.size(); ++i) {
      if (inner[i] == '"' && (i + 1 == inner.size() || inner[++i] != '"'))
        return {kUnknown, std::string(expression)};  // a longer expression between two texts
      value += inner[i];
    }
    return {kConstant, std::move(value)};
  }
  if (expression.size() >= 2 && expression.front() == '#' && expression.back() == '#') {
    // Dates in expressions are always month, day, year.
    values::FormatOptions options;
    options.date_order = values::DateOrder::kMonthDayYear;
    values::Value value;
    std::string scratch;
    if (values::ValueFormat(options)
            .Parse(expression.substr(1, expression.size() - 2), values::TypeCode::kDate, value,
                   scratch)
            .ok()) {
      std::string text;
      values::ValueFormat::Neutral().Append(value, text);
      return {kConstant, std::move(text)};
    }
    return {kUnknown, std::string(expression)};
  }
  if (IsNumber(expression)) return {kConstant, std::string(expression)};
  return {kUnknown, std::string(expression)};
}

std::string DefaultExpression(std::string_view value, values::TypeCode type) {
  if (value.empty()) return {};
  if (values::IsText(type) || type == values::TypeCode::kGuid)
    return '"' + base::Replace(value, "\"", "\"\"") + '"';
  values::Value parsed;
  std::string scratch;
  if (type == values::TypeCode::kDate &&
      values::ValueFormat::Neutral().Parse(value, type, parsed, scratch).ok())
    return '#' + std::string(value) + '#';
  return std::string(value);
}

values::DateTime CurrentDateTime() {
  const base::LocalTime now = base::Now();
  return {values::ToDay({now.year, now.month, now.day}),
          ((now.hour * 60 + now.minute) * 60 + now.second) * 1000};
}

Status EvaluateDefault(const DefaultPlan& plan, values::TypeCode type, values::Value& out,
                       std::string& scratch) {
  using enum DefaultPlan::Kind;
  const values::DateTime now = CurrentDateTime();
  switch (plan.kind) {
    case kNone:
    case kRandom:
      out = values::Value::Null();
      return Status();
    case kConstant:
      return values::ValueFormat::Neutral().Parse(plan.text, type, out, scratch);
    case kNow:
      out = values::Value::Date(now);
      return Status();
    case kToday:
      out = values::Value::Date({now.day, 0});
      return Status();
    case kTimeOfDay:
      out = values::Value::Date({0, now.milliseconds});
      return Status();
    case kUnknown:
      break;
  }
  return MakeStatus(Code::kNotSupported, ErrorNumber::kNotSupported,
                    "its default '" + plan.text + "' is an expression that is not evaluated");
}

}  // namespace kelvorin::database::access
