// Conformance: every value comes back as it was stored.

#include <doctest/doctest.h>

#include <algorithm>
#include <random>

#include "base/M_STRING.h"
#include "base/code_page.h"
#include "tests/conformance/fixture.h"
#include "values/value_format.h"

namespace kelvorin::tests {
namespace {

constexpr int kWesternPage = 1252;

// A text that does not compress and holds nothing that a format could treat on its own.
std::string Letters(std::size_t count, unsigned seed) {
  std::minstd_rand random(seed);
  std::string text(count, ' ');
  for (char& c : text) c = static_cast<char>('A' + random() % 26);
  return text;
}

// A record that had a value and lost it; then what the type refuses.
std::string CheckChanges(Fixture& fixture, const std::string& table, const TypeCase& type) {
  const auto set = fixture.Open(table);
  std::string lines;
  if (!type.texts.empty()) {
    REQUIRE(Fault(set->AddNew()) == "");
    const std::string& text = type.texts.back();
    for (std::size_t i = 0; i < 3; ++i)
      CHECK(Fault(set->Fields(i).SetText(i == 0 ? "-1" : i == 1 ? text : "behind")) == "");
    CHECK(fixture.RecordOf(*set) == "-1|" + text + "|behind");
    CHECK(Fault(set->Update()) == "");
    REQUIRE(Fault(set->MoveLast()) == "");
    REQUIRE(Fault(Change(*set, 1, "<null>")) == "");
    lines = "-1|" + type.null_text + "|behind\n";
  }
  for (const std::string& text : type.refused) {
    CAPTURE(text);
    REQUIRE(Fault(set->AddNew()) == "");
    Status status = set->Fields(1).SetText(text);
    if (status.ok()) status = set->Update();
    CHECK((status.code() == Code::kConversion || status.code() == Code::kTooLong));
    REQUIRE(Fault(set->CancelUpdate()) == "");
  }
  return lines;
}

// What a field keeps only in part, it tells of; what it keeps whole, it does not.
void CheckTelling(Fixture& fixture, const std::string& table, const TypeCase& type) {
  const auto set = fixture.Open(table);
  REQUIRE(Fault(set->AddNew()) == "");
  for (const std::string& text : type.texts) {
    CAPTURE(text);
    CHECK(Fault(set->Fields(1).SetText(text)) == "");
    CHECK_FALSE(set->LastChanged());
  }
  for (const auto& [given, kept] : type.changed) {
    CAPTURE(given);
    CHECK(Fault(set->Fields(1).SetText(given)) == "");
    CHECK(set->LastChanged());
    CHECK(fixture.TextOf(*set, 1) == kept);
  }
  CHECK(Fault(set->Fields(1).SetValue(values::Value::Null())) == "");
  CHECK(set->LastChanged() == (type.null_text != "<null>"));
  REQUIRE(Fault(set->CancelUpdate()) == "");
}

void CheckType(Fixture& fixture, const TypeCase& type) {
  TableDef def;
  def.Fields = {NumberField("ID"), TextField("VALUE", type.size), TextField("BEHIND", 10)};
  def.Fields[1].Type = type.declared;
  def.Fields[1].Decimals = type.decimals;
  std::vector<Texts> records;
  std::string expected;
  for (const std::string& text : type.texts) {
    const std::string id = std::to_string(records.size());
    records.push_back({id, text, "behind"});
    const bool empty = text.empty() && !fixture.backend.empty_text;
    expected += id + "|" + (empty ? "<null>" : text) + "|behind\n";
  }
  records.push_back({"99", "<null>", "behind"});
  expected += "99|" + type.null_text + "|behind\n";
  const std::string table = fixture.MakeFilled(def, records);
  if (!fixture.backend.snapshots_only) {
    CheckTelling(fixture, table, type);
    expected += CheckChanges(fixture, table, type);
  }
  CHECK(fixture.Dump(table) == expected);
  fixture.Reopen();
  CHECK(fixture.Dump(table) == expected);
  const auto set = fixture.Open(table);
  CHECK(set->Fields(1).Type() == type.stored);
  for (const std::string& text : type.texts) {  // each is of the kind that its text is parsed to
    CAPTURE(text);
    values::Value value, parsed;
    std::string scratch;
    REQUIRE(Fault(set->Fields(1).GetValue(value)) == "");
    REQUIRE(values::ValueFormat::Neutral().Parse(text, type.stored, parsed, scratch).ok());
    CHECK((value.IsNull() || value.kind == parsed.kind));
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
    REQUIRE(Fault(Append(*set, {text, "x"})) == "");
    expected += text + "|x\n";
  }
  REQUIRE(Fault(Append(*set, {"", "x"})) == "");
  expected += fixture.backend.empty_text ? "|x\n" : "<null>|x\n";
  if (fixture.backend.trailing_blanks) {
    REQUIRE(Fault(Append(*set, {" a ", " "})) == "");
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
    REQUIRE(Fault(Append(*set, {text})) == "");
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
  REQUIRE(Fault(Append(*set, {accents})) == "");
  REQUIRE(Fault(set->MoveFirst()) == "");
  CHECK(fixture.RecordOf(*set) == accents);
  CHECK(set->ReplacedCharacters() == 0);
  const std::string mixed = "a\u4E2D\u03A9b";
  REQUIRE(Fault(Append(*set, {mixed})) == "");
  REQUIRE(Fault(set->MoveLast()) == "");
  if (fixture.backend.unicode) {
    CHECK(set->ReplacedCharacters() == 0);
    CHECK(fixture.RecordOf(*set) == mixed);
  } else {
    CHECK(set->ReplacedCharacters() == 2);
    CHECK(base::CountCharacters(fixture.RecordOf(*set)) == 4);
  }
}

// Lengths around the sizes of blocks and pages, and of the pieces in which drivers fetch.
void CheckMemos(Fixture& fixture) {
  TableDef def;
  def.Fields = {NumberField("ID"), TextField("M", 0), TextField("N", 0), TextField("BEHIND", 6)};
  def.Fields[1].Type = def.Fields[2].Type = TypeCode::kMemo;
  const std::size_t longest = fixture.backend.snapshots_only ? 200'000 : 1 << 20;
  const std::vector<std::size_t> lengths = {0,    1,    255,  256,   511,   512,   513,    1023,
                                            1024, 1025, 4096, 65535, 65536, 65543, longest};
  std::vector<Texts> records;
  for (std::size_t i = 0; i < lengths.size(); ++i)
    records.push_back({std::to_string(i), Letters(lengths[i], static_cast<unsigned>(i) + 1),
                       Letters(lengths.size() - i, static_cast<unsigned>(i) + 100), "behind"});
  const std::string table = fixture.MakeFilled(def, records);
  const auto check = [&] {
    const auto set = fixture.Open(table);
    for (const Texts& record : records) {
      CAPTURE(record[0]);
      for (const std::size_t field : {1, 2, 3, 0}) {
        // Compared outside of CHECK: nobody wants to read a failure of a million letters.
        const std::string text = fixture.TextOf(*set, field);
        const bool empty = record[field].empty() && !fixture.backend.empty_text;
        const bool same = text == (empty ? "<null>" : record[field]);
        CHECK_MESSAGE(same, "field ", field);
      }
      REQUIRE(Fault(set->MoveNext()) == "");
    }
    CHECK(set->Eof());
  };
  check();
  fixture.Reopen();
  check();
  if (fixture.backend.snapshots_only) return;
  // Every text takes the length of its neighbour: some grow, some shrink; one more becomes Null.
  {
    const auto set = fixture.Open(table);
    for (std::size_t i = 0; i < records.size(); ++i) {
      records[i][1] = Letters(lengths[(i + 1) % lengths.size()], static_cast<unsigned>(i) + 50);
      REQUIRE(Fault(Change(*set, 1, records[i][1])) == "");
      REQUIRE(Fault(set->MoveNext()) == "");
    }
    REQUIRE(Fault(set->MoveFirst()) == "");
    records[0][2] = "<null>";
    REQUIRE(Fault(Change(*set, 2, "<null>")) == "");
  }
  check();
  fixture.Reopen();
  check();
  fixture.CheckSound();
}

}  // namespace

TypeCase WholeRange(TypeCode type) {
  using enum TypeCode;
  struct Range {
    std::vector<TypeCode> types;
    std::int32_t size;
    const char* texts;  // joined by "|"
    const char* refused = nullptr;
    std::int32_t decimals = 0;
    std::pair<const char*, const char*> changed{};
  };
  static const Range kRanges[] = {
      {{kBoolean}, 0, "True|False", "maybe", 0, {"5", "True"}},
      {{kByte}, 1, "0|1|255", "-1|256|1.5|x"},
      {{kInteger}, 2, "0|-1|-32768|32767", "-32769|32768"},
      {{kLong}, 4, "0|-1|-2147483648|2147483647", "-2147483649|2147483648|1e3x"},
      {{kBigInt}, 8, "0|-9223372036854775808|9223372036854775807", "9223372036854775808"},
      {{kCurrency},
       8,
       "0|0.0001|-0.01|-922337203685477.5808|922337203685477.5807",
       "922337203685477.5808|0.00004",
       0,
       {"-1.23455", "-1.2346"}},
      {{kSingle},
       4,
       "0|0.1|-2.5|16777216|-340282350000000000000000000000000000000",
       "1e39|1e-46",
       0,
       {"16777217", "16777216"}},
      {{kDouble, kFloat},
       8,
       "0|0.1|-2.5|123456789.125|9007199254740992",
       "1e400|1,2,3",
       0,
       {"9007199254740993", "9007199254740992"}},
      {{kNumeric}, 16, "0|-7|12345678901234567890", "0.5"},
      {{kDecimal},
       16,
       "0|-7|12345678901234567890|-1.5|12345678901234567890.12",
       "0.004",
       2,
       {"-0.005", "-0.01"}},
      {{kDate, kTimeStamp},
       8,
       "1899-12-31|2000-02-29|2024-12-31 23:59:59|0100-01-01|9999-12-31|1899-12-29 06:00:00|"
       "1970-01-01 00:00:01",
       "2023-02-29|2024-01-01 24:00:00|yesterday"},
      {{kTime}, 8, "00:00:01|23:59:59", "24:00:00"},
      {{kText, kChar}, 20, "|a|O'Neil; \"x\"|12345678901234567890", "123456789012345678901"},
      {{kMemo}, 0, "|a|first line\r\nsecond line"},
      {{kBinary, kVarBinary},
       10,
       "00|DEADBEEF00|00FF00FF00FF00FF00FF",
       "0|XY|00FF00FF00FF00FF00FF00"},
      {{kLongBinary}, 0, "00|DEADBEEF00", "F"},
      {{kGuid},
       16,
       "{00000000-0000-0000-0000-000000000000}|{00112233-4455-6677-8899-AABBCCDDEEFF}",
       "{00112233}"},
  };
  TypeCase of;
  of.declared = of.stored = type;
  for (const Range& range : kRanges) {
    if (std::count(range.types.begin(), range.types.end(), type) == 0) continue;
    of.size = range.size;
    of.decimals = range.decimals;
    if (range.changed.first != nullptr) of.changed.emplace_back(range.changed);
    for (std::string_view text : base::SplitAt(range.texts, '|')) of.texts.emplace_back(text);
    if (range.refused == nullptr) break;
    for (std::string_view text : base::SplitAt(range.refused, '|')) of.refused.emplace_back(text);
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
  if (fixture.backend.memos) {
    SUBCASE("memos of every length") {
      CheckMemos(fixture);
    }
  }
  if (fixture.backend.snapshots_only) return;
  SUBCASE("texts of every length") {
    CheckTextLengths(fixture);
  }
  SUBCASE("all bytes of a single-byte page") {
    CheckCodePage(fixture);
  }
  SUBCASE("characters of several bytes") {
    CheckCharacters(fixture);
  }
}

}  // namespace kelvorin::tests
