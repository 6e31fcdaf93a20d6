#include "contract/properties.h"

#include <doctest/doctest.h>

#include <map>
#include <string>
#include <vector>

using namespace kelvorin;
using namespace kelvorin::contract;

namespace {

/// A container that keeps what differs from its default and notes the order of the keys.
class RecordingStore : public PropertyStore {
 public:
  std::map<std::string, PropertyValue, std::less<>> entries;
  std::string order;

  Result<PropertyValue> Read(std::string_view key, const PropertyValue& otherwise) override {
    order += std::string(key) + ' ';
    const auto found = entries.find(key);
    return found == entries.end() ? otherwise : found->second;
  }
  Status Write(std::string_view key, const PropertyValue& value,
               const PropertyValue& otherwise) override {
    order += std::string(key) + ' ';
    if (value != otherwise) entries.emplace(key, value);
    return Status();
  }
};

constexpr const char* kOrder =
    "DataBaseName DSN UserName Password ConnectString DefaultSourceType ImportCaption IniFile "
    "ImportTable ImportDBName HelpID ShowProgress ShowSummary LastError QuitAfterImport MultiTable "
    "TableName AutoLoadSettingName LoadLastSetting ShowUpdateOption ShowErrorsOption "
    "ShowAdvancedOption ";

}  // namespace

TEST_CASE("properties travel to a store and back in their order") {
  RecordingStore store;
  REQUIRE(SaveProperties(store, Properties()).ok());
  CHECK(store.order == kOrder);
  CHECK(store.entries.empty());

  Properties properties;
  properties.Password = "secret";
  properties.tableName = "ORDERS";
  properties.ConnectString = 14;
  properties.HelpID = -7;
  properties.ShowSummary = false;
  properties.MultiTable = true;
  REQUIRE(SaveProperties(store, properties).ok());
  CHECK(store.entries.size() == 6);
  CHECK(store.entries.count("TableName") == 1);

  store.order.clear();
  Properties loaded;
  loaded.DSN = "not stored, so the default comes back";
  REQUIRE(LoadProperties(store, loaded).ok());
  CHECK(loaded == properties);
  CHECK(store.order == kOrder);

  std::string silent;  // the one whose change the container does not hear of
  for (const PropertyInfo& info : PropertyTable()) {
    if (!info.notifies_container) silent += info.key;
  }
  CHECK(silent == "ShowAdvancedOption");
}

TEST_CASE("a stored value of another type fails the load and changes nothing") {
  RecordingStore store;
  store.entries["DSN"] = std::string("Sales");
  store.entries["HelpID"] = std::string("12");
  Properties properties;
  const Properties before = properties;
  const Status status = LoadProperties(store, properties);
  CHECK(status.code() == Code::kConversion);
  CHECK(status.message().find("HelpID") != std::string_view::npos);
  CHECK(properties == before);
}

TEST_CASE("properties from text") {
  struct Row {
    const char* name;
    const char* text;
    PropertyValue value;
  };
  const Row kRows[] = {
      {"tablename", "a b", std::string("a b")},
      {"CONNECTSTRING", "DBase3", std::int16_t{7}},
      {"ConnectString", "99", std::int16_t{99}},
      {"DefaultSourceType", "thtmltags", std::int16_t{2}},
      {"HelpID", "-32768", std::int16_t{-32768}},
      {"ShowProgress", "-1", true},
      {"ShowProgress", "0", false},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.text);
    const PropertyInfo* info = FindProperty(row.name);
    REQUIRE(info != nullptr);
    const Result<PropertyValue> value = ParsePropertyText(*info, row.text);
    REQUIRE(value.ok());
    CHECK(*value == row.value);
    Properties properties;
    REQUIRE(SetProperty(properties, *info, *value).ok());
    CHECK(GetProperty(properties, *info) == row.value);
  }
  const std::pair<const char*, const char*> kRefused[] = {
      {"HelpID", "32768"}, {"HelpID", "1x"}, {"ShowProgress", "2"}, {"ConnectString", "TDBASE3"}};
  for (const auto& [name, text] : kRefused) {
    CAPTURE(text);
    const Result<PropertyValue> value = ParsePropertyText(*FindProperty(name), text);
    CHECK(value.status().code() == Code::kConversion);
    CHECK(value.status().message().find(name) != std::string_view::npos);
  }
  CHECK(FindProperty("Caption") == nullptr);
}
