// Which source field feeds which target field; what the grid shows is tested with the wizard.

#include <doctest/doctest.h>

#include "mapping/field_mapping.h"

namespace kelvorin::tests {

using mapping::MapRequest;
using settings::FieldMap;

namespace {

const std::vector<std::string> kSource = {"Id", "name", " Price ", "name"};

std::vector<catalog::TargetField> Targets() {
  return {{"ID", 4, 0, {}}, {"Name", 9, 1, {}}, {"Price", 4, 2, {}}};
}

// Source fields of the three target fields.
std::string Fields(const FieldMap& map) {
  std::string text;
  for (std::size_t i = 0; i < 3; ++i) {
    CHECK(map[i].Mapped == (map[i].Field != -1));
    text += (i == 0 ? "" : " ") + std::to_string(map[i].Field);
  }
  return text;
}

}  // namespace

TEST_CASE("A request maps by name, in order and by pairs") {
  using Rest = MapRequest::Rest;
  struct Row {
    const char* name;
    MapRequest request;
    const char* fields;  // begins with "!" when it fails
  };
  const Row kRows[] = {
      {"by name, doubles left alone", {Rest::kByName, {}}, "0 -1 2"},
      {"in order", {Rest::kInOrder, {}}, "0 1 2"},
      {"by number", {Rest::kKeep, {{"price", "3"}}}, "9 8 3"},
      {"by heading", {Rest::kKeep, {{"Price", "ID"}}}, "9 8 0"},
      {"pairs win over the rest", {Rest::kInOrder, {{"ID", "2"}}}, "2 1 2"},
      {"no such target", {Rest::kKeep, {{"Colour", "1"}}}, "!"},
      {"no such source", {Rest::kKeep, {{"ID", "colour"}}}, "!"},
      {"number behind the last", {Rest::kKeep, {{"ID", "4"}}}, "!"},
      {"heading borne twice", {Rest::kKeep, {{"ID", "Name"}}}, "!"},
      {"target named twice", {Rest::kKeep, {{"ID", "1"}, {"id", "2"}}}, "!"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    FieldMap map;
    mapping::MapTo(map[0], 9, nullptr);
    mapping::MapTo(map[1], 8, nullptr);
    const Status status = mapping::ApplyRequest(row.request, Targets(), kSource, nullptr, map);
    CHECK(status.ok() == (row.fields[0] != '!'));
    if (status.ok()) CHECK(Fields(map) == row.fields);
  }
}

TEST_CASE("A picked field brings its columns; ignoring all leaves the lengths") {
  FieldMap map;
  textsource::BreakList breaks;
  CHECK(breaks.AddFixedBreak(7).ok());
  CHECK(breaks.AddFixedBreak(3).ok());
  CHECK(mapping::PickSourceField(map[0], "name", kSource, &breaks));
  CHECK(map[0].Field == 1);  // the left one of two
  CHECK(map[0].Offset == 3);
  CHECK(map[0].Length == 4);
  CHECK_FALSE(mapping::PickSourceField(map[0], "NAME", kSource, &breaks));
  CHECK(mapping::PickSourceField(map[1], "Id", kSource, &breaks));
  CHECK(map[1].Offset == 0);
  CHECK(map[1].Length == 3);
  // Where the source has fewer fields now, the number stays and nothing is fed.
  CHECK(mapping::RowText(map[0], kSource) == "name");
  CHECK(mapping::RowText(map[0], {kSource.data(), 1}) == mapping::kIgnored);

  mapping::IgnoreAll(map);
  CHECK_FALSE(map[0].Mapped);
  CHECK(map[0].Offset == 0);
  CHECK(map[0].Length == 4);
  mapping::Ignore(map[0]);
  CHECK(map[0].Length == 0);
}

TEST_CASE("Line 1 names the columns when it is not imported") {
  const std::vector<std::string_view> line = {"Id", " ", "id", "Name"};
  using List = std::vector<std::string>;
  CHECK(mapping::TextHeadings(line, 5) == List{"Id", "Field 2", "Field 3", "Name", "Field 5"});
  CHECK(mapping::TextHeadings({}, 2) == List{"Field 1", "Field 2"});
  CHECK(mapping::TextHeadings({}, 300).size() == 251);
}

}  // namespace kelvorin::tests
