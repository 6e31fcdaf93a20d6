// Conformance: every value comes back as it was stored.

#include <doctest/doctest.h>

#include <random>

#include "base/code_page.h"
#include "tests/conformance/fixture.h"

namespace kelvorin::tests {
namespace {

using values::Kind;

constexpr int kWesternPage = 1252;

Kind KindOf(TypeCode type) {
  switch (type) {
    case TypeCode::kBoolean:
      return Kind::kBoolean;
    case TypeCode::kByte:
    case TypeCode::kInteger:
    case TypeCode::kLong:
    case TypeCode::kBigInt:
      return Kind::kInteger;
    case TypeCode::kCurrency:
      return Kind::kCurrency;
    case TypeCode::kSingle:
    case TypeCode::kDouble:
    case TypeCode::kNumeric:
    case TypeCode::kDecimal:
    case TypeCode::kFloat:
      return Kind::kDouble;
    case TypeCode::kDate:
    case TypeCode::kTime:
    case TypeCode::kTimeStamp:
      return Kind::kDateTime;
    case TypeCode::kText:
    case TypeCode::kMemo:
    case TypeCode::kChar:
      return Kind::kText;
    case TypeCode::kBinary:
    case TypeCode::kLongBinary:
    case TypeCode::kVarBinary:
      return Kind::kBytes;
    case TypeCode::kGuid:
      return Kind::kGuid;
  }
  return Kind::kNull;
}

// A text that does not compress and holds nothing that a format could treat on its own.
std::string Letters(std::size_t count, unsigned seed) {
  std::minstd_rand random(seed);
  std::string text(count, ' ');
  for (char& c : text) c = static_cast<char>('A' + random() % 26);
  return text;
}

void CheckType(Fixture& fixture, const TypeCase& type) {
  TableDef def;
  def.Fields = {NumberField("ID"), TextField("VALUE", type.size), TextField("BEHIND", 10)};
  def.Fields[1].Type = type.declared;
  def.Fields[1].Decimals = type.decimals;
  const std::string table = fixture.Make(def);
  std::string expected;
  {
    const auto set = fixture.Open(table);
    CHECK(set->Fields(1).Type() == type.stored);
    int id = 0;
    for (const std::string& text : type.texts) {
      CAPTURE(text);
      REQUIRE(Fault(set->AddNew()) == "");
      CHECK(Fault(set->Fields(0).SetText(std::to_string(++id))) == "");
      CHECK(Fault(set->Fields(1).SetText(text)) == "");
      CHECK(Fault(set->Fields(2).SetText("behind")) == "");
      const std::string shown = text.empty() && !fixture.backend.empty_text ? "<null>" : text;
      CHECK(fixture.TextOf(*set, 1) == shown);
      CHECK(Fault(set->Update()) == "");
      expected += std::to_string(id) + "|" + shown + "|behind\n";
    }
    REQUIRE(Fault(fixture.Add(*set, {"0", "<null>", "behind"})) == "");
    expected += "0|" + type.null_text + "|behind\n";
    // A record that had a value and lost it.
    if (!type.texts.empty()) {
      REQUIRE(Fault(fixture.Add(*set, {"-1", type.texts.back(), "behind"})) == "");
      REQUIRE(Fault(set->MoveLast()) == "");
      REQUIRE(Fault(set->Edit()) == "");
      REQUIRE(Fault(set->Fields(1).SetValue(values::Value::Null())) == "");
      REQUIRE(Fault(set->Update()) == "");
      expected += "-1|" + type.null_text + "|behind\n";
    }
    for (const std::string& text : type.refused) {
      CAPTURE(text);
      REQUIRE(Fault(set->AddNew()) == "");
      Status status = set->Fields(1).SetText(text);
      if (status.ok()) status = set->Update();
      CHECK((status.code() == Code::kConversion || status.code() == Code::kTooLong));
      REQUIRE(Fault(set->CancelUpdate()) == "");
    }
  }
  CHECK(fixture.Dump(table) == expected);
  fixture.Reopen();
  CHECK(fixture.Dump(table) == expected);
  const auto set = fixture.Open(table);
  for (std::size_t i = 0; i < type.texts.size(); ++i) {
    CAPTURE(type.texts[i]);
    values::Value value;
    REQUIRE(Fault(set->Fields(1).GetValue(value)) == "");
    CHECK((value.IsNull() || value.kind == KindOf(type.stored)));
    REQUIRE(Fault(set->MoveNext()) == "");
  }
}

void CheckTextLengths(Fixture& fixture) {
  const auto size = static_cast<std::size_t>(fixture.backend.text_size);
  TableDef def;
  def.Fields = {TextField("A", fixture.backend.text_size), TextField("B", 1)};
  const std::string table = fixture.Make(def);
  const auto set = fixture.Open(table);
  CHECK(set->Fields(0).Size() == fixture.backend.text_size);
  std::string expected;
  for (const std::size_t length : {size_t{1}, size - 1, size, size_t{2}}) {
    const std::string text = Letters(length, 1);
    REQUIRE(Fault(fixture.Add(*set, {text, "x"})) == "");
    expected += text + "|x\n";
  }
  REQUIRE(Fault(fixture.Add(*set, {"", "x"})) == "");
  expected += fixture.backend.empty_text ? "|x\n" : "<null>|x\n";
  if (fixture.backend.trailing_blanks) {
    REQUIRE(Fault(fixture.Add(*set, {" a ", " "})) == "");
    expected += " a | \n";
  }
  REQUIRE(Fault(set->AddNew()) == "");
  CHECK(Number(set->Fields(0).SetText(Letters(size + 1, 1))) ==
        Number(ErrorNumber::kFieldTooSmall));
  CHECK(Number(set->Fields(1).SetText("xy")) == Number(ErrorNumber::kFieldTooSmall));
  CHECK(Fault(set->Close()) == "");
  fixture.Reopen();
  CHECK(fixture.Dump(table) == expected);
}

// Sets the page of all texts for one block.
class AnsiPageGuard {
 public:
  explicit AnsiPageGuard(int page) : before_(base::AnsiPage().number()) { Set(page); }
  ~AnsiPageGuard() { Set(before_); }

 private:
  static void Set(int page) { REQUIRE(Fault(base::SetAnsiPage(page)) == ""); }
  int before_;
};

void CheckCodePage(Fixture& fixture) {
  const AnsiPageGuard guard(kWesternPage);
  fixture.Reopen();  // drivers may prepare their conversions when they open
  TableDef def;
  def.Fields = {TextField("A", 3)};
  const std::string table = fixture.Make(def);
  const auto set = fixture.Open(table);
  std::string expected;
  for (int byte = 1; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    if (fixture.backend.lost_bytes.find(c) != std::string::npos) continue;
    const std::string text = {'<', c, '>'};
    CAPTURE(byte);
    REQUIRE(Fault(fixture.Add(*set, {text})) == "");
    expected += text + "\n";
  }
  CHECK(set->ReplacedCharacters() == 0);
  CHECK(fixture.Walk(*set) == expected);
}

void CheckCharacters(Fixture& fixture) {
  const AnsiPageGuard guard(base::kUtf8Page);
  fixture.Reopen();
  TableDef def;
  def.Fields = {TextField("A", 4)};
  const std::string table = fixture.Make(def);
  const auto set = fixture.Open(table);
  // Sizes count characters, however many bytes they take.
  const std::string accents = "\u00E9\u00E9\u00E9\u00E9";
  REQUIRE(Fault(fixture.Add(*set, {accents})) == "");
  REQUIRE(Fault(set->MoveFirst()) == "");
  CHECK(fixture.RecordOf(*set) == accents);
  CHECK(set->ReplacedCharacters() == 0);
  const std::string mixed = "a\u4E2D\u03A9b";
  REQUIRE(Fault(fixture.Add(*set, {mixed})) == "");
  REQUIRE(Fault(set->MoveLast()) == "");
  if (fixture.backend.unicode) {
    CHECK(set->ReplacedCharacters() == 0);
    CHECK(fixture.RecordOf(*set) == mixed);
  } else {
    CHECK(set->ReplacedCharacters() == 2);
    CHECK(base::CountCharacters(fixture.RecordOf(*set)) == 4);
  }
}

void CheckMemos(Fixture& fixture) {
  TableDef def;
  def.Fields = {NumberField("ID"), TextField("M", 0), TextField("N", 0), TextField("BEHIND", 6)};
  def.Fields[1].Type = def.Fields[2].Type = TypeCode::kMemo;
  const std::string table = fixture.Make(def);
  std::vector<std::size_t> lengths = {0, 1, 511, 512, 513, 4096, 65535, 65543};
  lengths.push_back(fixture.backend.longest_memo);
  Texts m;
  Texts n;
  {
    const auto set = fixture.Open(table);
    for (std::size_t i = 0; i < lengths.size(); ++i) {
      if (lengths[i] > fixture.backend.longest_memo) continue;
      m.push_back(Letters(lengths[i], static_cast<unsigned>(i) + 1));
      n.push_back(Letters(lengths.size() - i, static_cast<unsigned>(i) + 100));
      REQUIRE(Fault(fixture.Add(*set, {std::to_string(i), m.back(), n.back(), "behind"})) == "");
    }
  }
  const auto check = [&] {
    const auto set = fixture.Open(table);
    CHECK(set->RecordCount().value_or(-1) == static_cast<std::int64_t>(m.size()));
    for (std::size_t i = 0; i < m.size() && !set->Eof(); ++i) {
      CAPTURE(i);
      const std::string empty = fixture.backend.empty_text ? "" : "<null>";
      // Compared outside of CHECK: nobody wants to read a failure of a million letters.
      const bool same = fixture.TextOf(*set, 1) == (m[i].empty() ? empty : m[i]);
      CHECK(same);
      CHECK(fixture.TextOf(*set, 2) == n[i]);
      CHECK(fixture.TextOf(*set, 3) == "behind");
      CHECK(Fault(set->MoveNext()) == "");
    }
    CHECK(set->Eof());
  };
  check();
  fixture.Reopen();
  check();
  // Every text takes the length of its neighbour: some grow, some shrink; one more becomes Null.
  {
    const auto set = fixture.Open(table);
    for (std::size_t i = 0; i < m.size(); ++i) {
      m[i] = Letters(lengths[(i + 1) % m.size()], static_cast<unsigned>(i) + 50);
      REQUIRE(Fault(set->Edit()) == "");
      REQUIRE(Fault(set->Fields(1).SetText(m[i])) == "");
      REQUIRE(Fault(set->Update()) == "");
      REQUIRE(Fault(set->MoveNext()) == "");
    }
    REQUIRE(Fault(set->MoveFirst()) == "");
    REQUIRE(Fault(set->Edit()) == "");
    REQUIRE(Fault(set->Fields(2).SetValue(values::Value::Null())) == "");
    REQUIRE(Fault(set->Update()) == "");
    n[0] = "<null>";
  }
  check();
  fixture.Reopen();
  check();
  fixture.CheckSound();
}

}  // namespace

TypeCase WholeRange(TypeCode type) {
  TypeCase of;
  of.declared = of.stored = type;
  switch (type) {
    case TypeCode::kBoolean:
      of.texts = {"True", "False"};
      of.refused = {"maybe"};
      break;
    case TypeCode::kByte:
      of.size = 1;
      of.texts = {"0", "1", "255"};
      of.refused = {"-1", "256", "1.5", "x"};
      break;
    case TypeCode::kInteger:
      of.size = 2;
      of.texts = {"0", "-1", "-32768", "32767"};
      of.refused = {"-32769", "32768"};
      break;
    case TypeCode::kLong:
      of.size = 4;
      of.texts = {"0", "-1", "-2147483648", "2147483647"};
      of.refused = {"-2147483649", "2147483648", "1e3x"};
      break;
    case TypeCode::kBigInt:
      of.size = 8;
      of.texts = {"0", "-9223372036854775808", "9223372036854775807"};
      of.refused = {"9223372036854775808"};
      break;
    case TypeCode::kCurrency:
      of.size = 8;
      of.texts = {"0", "0.0001", "-0.01", "-922337203685477.5808", "922337203685477.5807"};
      of.refused = {"922337203685477.5808"};
      break;
    case TypeCode::kSingle:
      of.size = 4;
      of.texts = {"0", "0.1", "-2.5", "16777216", "-340282350000000000000000000000000000000"};
      of.refused = {"1e39"};
      break;
    case TypeCode::kDouble:
    case TypeCode::kFloat:
      of.size = 8;
      of.texts = {"0", "0.1", "-2.5", "123456789.125", "9007199254740992"};
      of.refused = {"1e400", "1,2,3"};
      break;
    case TypeCode::kNumeric:
    case TypeCode::kDecimal:
      of.size = 16;
      of.decimals = type == TypeCode::kDecimal ? 2 : 0;
      of.texts = {"0", "-7", "12345678901234567890"};
      if (of.decimals != 0) of.texts.insert(of.texts.end(), {"-1.5", "12345678901234567890.12"});
      break;
    case TypeCode::kDate:
    case TypeCode::kTimeStamp:
      of.size = 8;
      of.texts = {"1899-12-31", "2000-02-29",          "2024-12-31 23:59:59", "0100-01-01",
                  "9999-12-31", "1899-12-29 06:00:00", "1970-01-01 00:00:01"};
      of.refused = {"2023-02-29", "2024-01-01 24:00:00", "yesterday"};
      break;
    case TypeCode::kTime:
      of.size = 8;
      of.texts = {"00:00:01", "23:59:59"};
      of.refused = {"24:00:00"};
      break;
    case TypeCode::kText:
    case TypeCode::kChar:
      of.size = 20;
      of.texts = {"", "a", "O'Neil; \"x\"", "12345678901234567890"};
      of.refused = {"123456789012345678901"};
      break;
    case TypeCode::kMemo:
      of.texts = {"", "a", "first line\r\nsecond line"};
      break;
    case TypeCode::kBinary:
    case TypeCode::kVarBinary:
      of.size = 10;
      of.texts = {"00", "DEADBEEF00", "00FF00FF00FF00FF00FF"};
      of.refused = {"0", "XY", "00FF00FF00FF00FF00FF00"};
      break;
    case TypeCode::kLongBinary:
      of.texts = {"00", "DEADBEEF00"};
      of.refused = {"F"};
      break;
    case TypeCode::kGuid:
      of.size = 16;
      of.texts = {"{00000000-0000-0000-0000-000000000000}",
                  "{00112233-4455-6677-8899-AABBCCDDEEFF}"};
      of.refused = {"{00112233}"};
      break;
  }
  return of;
}

void CheckValues(Fixture& fixture) {
  SUBCASE("every type of field, from end to end of its range") {
    for (const TypeCase& type : fixture.backend.types) {
      CAPTURE(static_cast<int>(type.declared));
      CheckType(fixture, type);
    }
    fixture.CheckSound();
  }
  SUBCASE("texts of every length") {
    CheckTextLengths(fixture);
  }
  SUBCASE("all bytes of a single-byte page") {
    CheckCodePage(fixture);
  }
  SUBCASE("characters of several bytes") {
    CheckCharacters(fixture);
  }
  if (fixture.backend.memo) {
    SUBCASE("memos of every length") {
      CheckMemos(fixture);
    }
  }
}

}  // namespace kelvorin::tests
