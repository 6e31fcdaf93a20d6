// What a new table tells other programs through the tables of the system, and what its fields take.

#include "base/M_Misc.h"
#include "base/code_page.h"
#include "database/access/field_codec.h"
#include "database/access/table_definition.h"
#include "tests/access/access_support.h"

#include <doctest/doctest.h>

#include <algorithm>

namespace kelvorin::tests {
namespace {

/// Rows of a table, these fields of each, where the first of them has a text.
std::vector<std::string> Rows(AccessFile& file, const char* table, const char* where,
                              std::string_view is, std::initializer_list<const char*> fields) {
  auto set = file.Open(table);
  std::vector<std::string> rows;
  std::string text;
  bool null = false;
  const auto field = [&](const char* name) {
    REQUIRE(
        set->Fields(static_cast<std::size_t>(set->Def().FindField(name))).GetText(text, null).ok());
    return null ? std::string("<null>") : text;
  };
  for ((void)set->MoveFirst(); !set->Eof(); (void)set->MoveNext()) {
    if (field(where) != is) continue;
    std::string row;
    for (const char* name : fields) row += field(name) + "|";
    rows.push_back(row);
  }
  return rows;
}

}  // namespace

TEST_CASE("a new table is entered where other programs look for it") {
  for (const char* connect : {"", ";version=97;"}) {
    CAPTURE(std::string(connect));
    NewDatabase on(connect);
    (void)on.Make("People", {MakeField("Id", TypeCode::kLong)});
    const auto entry = Rows(on.file, "MSysObjects", "Name", "People",
                            {"Type", "Flags", "ParentId", "Owner", "DateUpdate"});
    REQUIRE(entry.size() == 1);
    const auto container = Rows(on.file, "MSysObjects", "Name", "Tables", {"Id"});
    const auto owner = Rows(on.file, "MSysObjects", "Name", "MSysDb", {"Owner"});
    REQUIRE(container.size() == 1);
    REQUIRE(owner.size() == 1);
    CHECK(entry[0].starts_with("1|0|" + container[0] + owner[0]));
    const auto dates =
        Rows(on.file, "MSysObjects", "Name", "People", {"DateCreate", "DateUpdate", "Id"});
    const base::LocalTime now = base::Now();
    CHECK(dates[0].starts_with(std::to_string(now.year) + "-"));
    CHECK(entry[0].ends_with(dates[0].substr(0, dates[0].find('|') + 1)));
    // Whoever may use the container of tables may use the new one, fully.
    const std::string id = dates[0].substr(dates[0].find('|', dates[0].find('|') + 1) + 1);
    const auto granted = Rows(on.file, "MSysACEs", "ObjectId", id.substr(0, id.size() - 1),
                              {"SID", "ACM", "FInheritable"});
    const auto of_container = Rows(on.file, "MSysACEs", "ObjectId",
                                   container[0].substr(0, container[0].size() - 1), {"SID"});
    REQUIRE(!of_container.empty());
    for (const std::string& sid : of_container)
      CHECK(std::count(granted.begin(), granted.end(), sid + "1048575|False|") == 1);
    REQUIRE(on.file->DeleteTable("People").ok());
    CHECK(Rows(on.file, "MSysACEs", "ObjectId", id.substr(0, id.size() - 1), {"SID"}).empty());
    CHECK(Rows(on.file, "MSysObjects", "Name", "People", {"Id"}).empty());
  }
}

TEST_CASE("what a field does not hold whole is refused, and the file knows one zero") {
  NewDatabase on;
  TableDef def;
  def.Fields = {MakeField("D", TypeCode::kDouble), MakeField("S", TypeCode::kSingle),
                MakeField("N", TypeCode::kDecimal, 10), MakeField("X", TypeCode::kText, 4),
                MakeField("B", TypeCode::kBinary, 3)};
  def.Fields[2].Decimals = 2;
  def.Indexes = {MakeIndex("Doubles", "+D", true), MakeIndex("Singles", "+S", true)};
  const auto set = on.Make("T", def.Fields, def.Indexes);
  struct Case {
    std::size_t field;
    const char* text;
    const char* stored;  // nothing: refused
  };
  const Case cases[] = {{2, "12345678.25", "12345678.25"},
                        {2, "-99999999.99", "-99999999.99"},
                        {2, "99999999.999", nullptr},  // its rounded form has a digit too many
                        {2, "123456789", nullptr},
                        {2, "0.005", "0.01"},
                        {3, "abcd", "abcd"},
                        {3, "abcde", nullptr},
                        {3, "\u65E5\u672C\u8A9Ex", "\u65E5\u672C\u8A9Ex"},
                        {3, "\U0001F600\U0001F600x", nullptr}};  // five units
  for (const Case& c : cases) {
    CAPTURE(std::string(c.text));
    REQUIRE(set->AddNew().ok());
    const Status written = set->Fields(c.field).SetText(c.text);
    CHECK(written.ok() == (c.stored != nullptr));
    std::string text;
    bool null = false;
    if (c.stored != nullptr) {
      REQUIRE(set->Fields(c.field).GetText(text, null).ok());
      CHECK(text == c.stored);
    }
    REQUIRE(set->CancelUpdate().ok());
  }
  REQUIRE(Append(*set, {"0", "0", "1", "a", "<null>"}).ok());
  CHECK(Append(*set, {"-0", "1", "1", "a", "<null>"}).code() == Code::kDuplicateKey);
  CHECK(Append(*set, {"1", "-0.0", "1", "a", "<null>"}).code() == Code::kDuplicateKey);
  REQUIRE(Finds(*set, "Doubles", {"-0"}));
}

TEST_CASE("numbers of other kinds are rounded to amounts and whole days, never cut") {
  NewDatabase on;
  const auto set = on.Make("T", {MakeField("C", TypeCode::kCurrency)});
  for (const double number : {1.005, -1.005, 0.29, -922337203685476.5}) {
    REQUIRE(set->AddNew().ok());
    REQUIRE(set->Fields(0).SetValue(values::Value::Double(number)).ok());
    REQUIRE(set->Update().ok());
  }
  CHECK(Walk(*set) == "1.005\n-1.005\n0.29\n-922337203685476.5\n");
  // A day's last moment is the next day's first where milliseconds cannot tell them apart.
  values::DateTime date;
  REQUIRE(database::access::FromStoredDate(36525.9999999999, date));
  CHECK(date.day == 36526);
  CHECK(date.milliseconds == 0);
  CHECK_FALSE(database::access::FromStoredDate(2958465.9999999999, date));
}

TEST_CASE("automatic numbers go on behind those given by hand, and a record has its limit") {
  NewDatabase on;
  TableDef def;
  def.Fields = {MakeField("Id", TypeCode::kLong)};
  def.Fields[0].AutoIncrement = true;
  for (int i = 0; i < 9; ++i)
    def.Fields.push_back(MakeField("F" + std::to_string(i), TypeCode::kText, 255));
  const auto set = on.Make("T", def.Fields, def.Indexes);
  std::string wide;
  for (int i = 0; i < 255; ++i) wide += "\u65E5";
  const auto add = [&](const char* id, int wide_fields) {
    REQUIRE(set->AddNew().ok());
    if (*id != '\0') REQUIRE(set->Fields(0).SetText(id).ok());
    for (int i = 0; i < wide_fields; ++i)
      REQUIRE(set->Fields(static_cast<std::size_t>(i) + 1).SetText(wide).ok());
    return set->Update();
  };
  for (const char* id : {"", "100", "", "7", ""}) REQUIRE(add(id, 0).ok());
  CHECK(Rows(on.file, "T", "F0", "<null>", {"Id"}) ==
        std::vector<std::string>{"1|", "100|", "101|", "7|", "102|"});
  CHECK(add("", 7).ok());
  CHECK(add("", 8).code() == Code::kTooLong);
  CheckSound(*on.file);
}

TEST_CASE("defaults are those of the moment, constants those of the field's type") {
  NewDatabase on;
  TableDef def;
  def.Fields = {MakeField("Id", TypeCode::kLong),    MakeField("Today", TypeCode::kDate),
                MakeField("Now", TypeCode::kDate),   MakeField("Clock", TypeCode::kDate),
                MakeField("Fixed", TypeCode::kDate), MakeField("Text", TypeCode::kText, 20)};
  def.Fields[1].DefaultValue = "Date()";
  def.Fields[2].DefaultValue = "Now()";
  def.Fields[3].DefaultValue = "Time()";
  def.Fields[4].DefaultValue = "1999-12-31";
  def.Fields[5].DefaultValue = "say \"hi\"";
  const auto set = on.Make("T", def.Fields);
  const auto begun = base::Now();
  REQUIRE(set->AddNew().ok());
  REQUIRE(set->Fields(0).SetText("1").ok());
  REQUIRE(set->Update().ok());
  const auto ended = base::Now();
  if (begun.day != ended.day) return;  // at midnight there are two right answers
  REQUIRE(set->MoveFirst().ok());
  values::Value today, now, clock;
  REQUIRE(set->Fields(1).GetValue(today).ok());
  REQUIRE(set->Fields(2).GetValue(now).ok());
  REQUIRE(set->Fields(3).GetValue(clock).ok());
  const auto milliseconds = [](const base::LocalTime& time) {
    return ((time.hour * 60 + time.minute) * 60 + time.second) * 1000;
  };
  CHECK(today.date_time.milliseconds == 0);
  CHECK(now.date_time.day == today.date_time.day);
  CHECK(clock.date_time.day == 0);
  for (const values::Value& value : {now, clock}) {
    CHECK(value.date_time.milliseconds >= milliseconds(begun));
    CHECK(value.date_time.milliseconds <= milliseconds(ended));
  }
  const std::string line = TextOf(*set);
  CHECK_MESSAGE(line.ends_with("|1999-12-31|say \"hi\""), line);
}

TEST_CASE("keys that are too long, and the count of distinct keys") {
  NewDatabase on;
  TableDef def;
  std::string columns;
  for (int i = 0; i < 4; ++i) {
    def.Fields.push_back(MakeField("F" + std::to_string(i), TypeCode::kText, 255));
    columns += (i == 0 ? "+F" : ";+F") + std::to_string(i);
  }
  def.Indexes = {MakeIndex("Wide", columns), MakeIndex("First", "+F0")};
  const auto set = on.Make("T", def.Fields, def.Indexes);
  std::string wide;  // an accent takes a byte of the key for itself
  for (int i = 0; i < 255; ++i) wide += "\u00E9";
  const Status refused = Append(*set, {wide, wide, wide, wide});
  CHECK(refused.code() == Code::kTooLong);
  CHECK_MESSAGE(refused.message().find("index 'Wide'") != std::string_view::npos,
                refused.message());
  for (const char* name : {"Ann", "Bob", "Ann", "Cid"})
    REQUIRE(Append(*set, {name, "x", "y", "z"}).ok());
  REQUIRE(set->Flush().ok());
  // Both counts stand in the definition: 4 and 4 - 1, behind the fixed part of its page.
  const auto id = Rows(on.file, "MSysObjects", "Name", "T", {"Id"});
  const std::size_t page = static_cast<std::size_t>(std::stoul(id.at(0))) * 4096;
  const std::string bytes = on.Bytes();
  const auto& layout = database::access::LayoutOf(database::access::Version::kJet4);
  const auto count = [&](std::size_t index) {
    return base::LoadLE32(base::AsBytes(bytes),
                          page + database::access::DistinctCountAt(layout, index));
  };
  CHECK(count(0) == 3);
  CHECK(count(1) == 3);
  CheckSound(*on.file);
}

TEST_CASE("a full disk refuses records, and takes them when there is room again") {
  NewDatabase on;
  const auto set =
      on.Make("T",
              {MakeField("Id", TypeCode::kLong), MakeField("Text", TypeCode::kText, 255),
               MakeField("Memo", TypeCode::kMemo)},
              {MakeIndex("PrimaryKey", "+Id", true, true), MakeIndex("Texts", "-Text"),
               MakeIndex("Both", "+Text;+Id"), MakeIndex("Again", "+Text")});
  std::string wide;
  for (int i = 0; i < 240; ++i) wide += "\u65E5";
  int stored = 0;
  const auto append = [&](int id) {
    // Keys in no order, rows of which few fit a page: each may ask for pages of both.
    const std::string text = std::to_string(id * 7919 % 10007) + wide;
    const Status status = Append(*set, {std::to_string(id), text, "m"});
    stored += status.ok() ? 1 : 0;
    return status;
  };
  for (int id = 0; id < 100; ++id) REQUIRE(append(id).ok());
  REQUIRE(set->Flush().ok());
  for (int round = 1; round <= 25; ++round) {
    // Page by page more, so that a record meets the end at each of its pages once.
    REQUIRE(set->Flush().ok());
    on.disk.room = on.Bytes().size() + static_cast<std::size_t>(round) * 4096;
    int id = round * 1000;
    Status status;
    while (id < round * 1000 + 999 && (status = append(id)).ok()) ++id;
    CHECK(status.code() == Code::kNoSpace);
    on.disk.room = ~std::uint64_t{0};
    REQUIRE(append(id).ok());
    CHECK(set->RecordCount().value_or(-1) == stored);
  }
  CheckSound(*on.file);
}

TEST_CASE("room that records give up is offered to others") {
  NewDatabase on;
  const std::vector<FieldDef> fields = {MakeField("Id", TypeCode::kLong),
                                        MakeField("Text", TypeCode::kText, 200),
                                        MakeField("Memo", TypeCode::kMemo)};
  auto set = on.Make("T", fields);
  const auto append = [&](int id, std::size_t size) {
    REQUIRE(Append(*set, {std::to_string(id), std::string(size, 'x'), std::string(size * 5, 'm')})
                .ok());
  };
  for (int i = 0; i < 1200; ++i) append(i, 190);
  REQUIRE(set->Flush().ok());
  const std::size_t full = on.Bytes().size();
  const auto again = [&](const char* how, auto&& give_up) {
    CAPTURE(std::string(how));
    int i = 0;
    for ((void)set->MoveFirst(); !set->Eof(); (void)set->MoveNext())
      if (++i % 2 == 0) give_up();
    CheckSound(*on.file);
    for (int k = 0; k < 550; ++k) append(5000 + k, 180);
    REQUIRE(set->Flush().ok());
    CHECK(on.Bytes().size() <= full + 4 * 4096);
    CheckSound(*on.file);
  };
  again("deleted", [&] { REQUIRE(set->Delete().ok()); });
  again("made smaller, then larger", [&] {
    for (const std::size_t size : {0u, 190u, 1u}) {
      REQUIRE(set->Edit().ok());
      REQUIRE(set->Fields(1).SetText(std::string(size, 'y')).ok());
      REQUIRE(set->Fields(2).SetText(std::string(size * 5, 'n')).ok());
      REQUIRE(set->Update().ok());
    }
  });
  // Pages of an index that lost all of its entries.
  set = on.Make("Indexed", fields, {MakeIndex("Ids", "+Id;+Text")});
  std::size_t once = 0;
  for (int time = 0; time < 2; ++time) {
    for (int i = 0; i < 1200; ++i) append(i, 190);
    REQUIRE(set->Flush().ok());
    if (time == 0) once = on.Bytes().size();
    for ((void)set->MoveFirst(); !set->Eof(); (void)set->MoveNext()) REQUIRE(set->Delete().ok());
  }
  CHECK(on.Bytes().size() <= once + 8 * 4096);
  CheckSound(*on.file);
}

}  // namespace kelvorin::tests
