#include <doctest/doctest.h>

#include <string>

#include "values/resolution.h"

using namespace kelvorin;
using namespace kelvorin::values;
using Number = Resolution::Number;
using Time = Resolution::Time;
using enum TypeCode;

namespace {

// "ok", what is kept, or why nothing would be.
std::string KeptOf(const Value& value, const Resolution& resolution) {
  switch (FitOf(value, resolution)) {
    case Fit::kWhole:
      return "ok";
    case Fit::kFraction:
      return "fraction";
    case Fit::kVanishes:
      return "vanishes";
    case Fit::kNoDate:
      return "no date";
    case Fit::kChanged:
      break;
  }
  std::string kept;
  AppendKept(value, resolution, ValueFormat::Neutral(), kept);
  return kept;
}

std::string KeptOf(const char* text, TypeCode type, const Resolution& resolution) {
  Value value;
  std::string scratch;
  const Status parsed = ValueFormat::Neutral().Parse(text, type, value, scratch);
  return parsed.ok() ? KeptOf(value, resolution) : "!" + std::string(parsed.message());
}

}  // namespace

TEST_CASE("what a field keeps of a text of its type") {
  const Resolution by_type, whole{Number::kDecimals, 0}, cents{Number::kDecimals, 2};
  Resolution days, seconds, truth;
  days.time = Time::kDateOnly;
  seconds.time = Time::kSeconds;
  truth.null_is_false = true;
  struct Row {
    const char* text;
    TypeCode type;
    Resolution declared;
    const char* kept;
  };
  const Row rows[] = {
      {"1e0", kDouble, whole, "ok"},
      {"12.70", kDouble, whole, "fraction"},
      {"1.000000000000000000000000000000000000000000000000000000001", kDouble, whole, "fraction"},
      {"1e-46", kDouble, whole, "fraction"},
      {"1e-400", kNumeric, cents, "!'1e-400' is no number"},
      {"0.1", kDouble, cents, "ok"},
      {"0.125", kDouble, cents, "0.13"},
      {"-0.125", kDouble, cents, "-0.13"},
      {"99.995", kDouble, cents, "100"},
      {"-9.995", kDouble, cents, "-10"},
      {"0.0049999", kDouble, cents, "vanishes"},
      {"0.005", kDouble, cents, "0.01"},
      {"1e-300", kDouble, cents, "vanishes"},
      {"1.2345678901234567890e-1", kDouble, cents, "0.12"},
      {"1e60", kDouble, cents, "ok"},
      {"0", kDouble, whole, "ok"},
      {"-0.0", kDouble, cents, "ok"},
      // As many digits as a 64-bit number shows, also those that 17 digits print.
      {"0.1", kDouble, by_type, "ok"},
      {"0.10000000000000001", kDouble, by_type, "ok"},
      {"0.30000000000000004", kDouble, by_type, "ok"},
      {"1152921504606846976", kDouble, by_type, "ok"},
      {"0.1234567890123456789", kDouble, by_type, "0.12345678901234568"},
      {"9007199254740993", kDouble, by_type, "9007199254740992"},
      {"9.9999999999999999", kDouble, by_type, "10"},
      {"1.23456789012345678901E50", kDouble, by_type, "1.2345678901234569E50"},
      {"1.2345E-320", kDouble, by_type, "1.2347E-320"},
      {"1e300", kDouble, by_type, "ok"},
      {"16777216", kSingle, by_type, "ok"},
      {"16777217", kSingle, by_type, "16777216"},
      {"0.1", kSingle, by_type, "ok"},
      {"0.100000001", kSingle, by_type, "ok"},
      {"0.10000001", kSingle, by_type, "ok"},
      {"0.30000000000000004", kSingle, by_type, "0.3"},
      {"1.23450", kCurrency, by_type, "ok"},
      {"1.23456", kCurrency, by_type, "1.2346"},
      {"0.00004", kCurrency, by_type,
       "!'0.00004' is too small for type Currency: it would become 0"},
      {"922337203685477.5807", kCurrency, {Number::kDouble}, "922337203685477.6"},
      {"0.0049", kCurrency, cents, "vanishes"},
      {"7.255", kCurrency, cents, "7.26"},
      {"yes", kBoolean, truth, "ok"},
      {"-1", kBoolean, truth, "ok"},
      {"1.0", kBoolean, truth, "ok"},
      {"10", kBoolean, truth, "True"},
      {"", kBoolean, truth, "False"},
      {"", kBoolean, by_type, "ok"},
      {"2024-02-29", kDate, days, "ok"},
      {"2024-02-29 06:00", kDate, days, "2024-02-29"},
      {"12:30", kDate, days, "no date"},
      {"00:00", kDate, days, "no date"},
      {"1899-12-30", kDate, days, "ok"},
      {"12:30", kDate, by_type, "ok"},
      {"2024-02-29 06:00:01.5", kDate, seconds, "2024-02-29 06:00:01"},
      {"2024-02-29 06:00:01", kDate, seconds, "ok"},
  };
  for (const Row& row : rows) {
    CAPTURE(row.text);
    CHECK(KeptOf(row.text, row.type, ResolutionOf(row.type, row.declared.decimals, row.declared)) ==
          row.kept);
  }
}

TEST_CASE("what a field keeps of a value that is no text") {
  const Resolution single{Number::kSingle}, binary{Number::kDouble}, cents{Number::kDecimals, 2};
  CHECK(KeptOf(Value::Integer(16'777'217), single) != "ok");
  CHECK(KeptOf(Value::Integer(16'777'216), single) == "ok");
  CHECK(KeptOf(Value::Integer(-9'223'372'036'854'775'807), binary) != "ok");
  CHECK(KeptOf(Value::Integer(-9'223'372'036'854'775'807), cents) == "ok");
  CHECK(KeptOf(Value::Double(1e-46), single) == "vanishes");
  CHECK(KeptOf(Value::Double(0.1), single) == "ok");
  CHECK(KeptOf(Value::Double(2.675), cents) == "2.68");
  CHECK(KeptOf(Value::Currency(12'345), cents) == "1.23");
  CHECK(KeptOf(Value::Text("1.5"), cents) == "ok");
}
