#include "contract/properties.h"

#include <array>
#include <charconv>
#include <optional>
#include <type_traits>
#include <utility>

#include "base/M_STRING.h"

namespace kelvorin::contract {
namespace {

constexpr std::array<PropertyInfo, 22> kTable{{
    {"DataBaseName", &Properties::DataBaseName},
    {"DSN", &Properties::DSN},
    {"UserName", &Properties::UserName},
    {"Password", &Properties::Password},
    {"ConnectString", &Properties::ConnectString},
    {"DefaultSourceType", &Properties::DefaultSourceType},
    {"ImportCaption", &Properties::ImportCaption},
    {"IniFile", &Properties::IniFile},
    {"ImportTable", &Properties::ImportTable},
    {"ImportDBName", &Properties::ImportDBName},
    {"HelpID", &Properties::HelpID},
    {"ShowProgress", &Properties::ShowProgress},
    {"ShowSummary", &Properties::ShowSummary},
    {"LastError", &Properties::LastError},
    {"QuitAfterImport", &Properties::QuitAfterImport},
    {"MultiTable", &Properties::MultiTable},
    {"TableName", &Properties::tableName},
    {"AutoLoadSettingName", &Properties::AutoLoadSettingName},
    {"LoadLastSetting", &Properties::LoadLastSetting},
    {"ShowUpdateOption", &Properties::ShowUpdateOption},
    {"ShowErrorsOption", &Properties::ShowErrorsOption},
    {"ShowAdvancedOption", &Properties::ShowAdvancedOption, false},
}};

Status Refuse(const PropertyInfo& info, std::string_view what) {
  return Status(Code::kConversion, "property " + std::string(info.key) + ": " + std::string(what));
}

}  // namespace

std::span<const PropertyInfo> PropertyTable() noexcept {
  return kTable;
}

const PropertyInfo* FindProperty(std::string_view name) noexcept {
  for (const PropertyInfo& info : kTable)
    if (base::EqualIgnoreCase(info.key, name)) return &info;
  return nullptr;
}

PropertyValue GetProperty(const Properties& properties, const PropertyInfo& info) {
  return std::visit([&](auto member) { return PropertyValue(properties.*member); }, info.member);
}

Status SetProperty(Properties& properties, const PropertyInfo& info, const PropertyValue& value) {
  return std::visit(
      [&](auto member) -> Status {
        using T = std::remove_reference_t<decltype(properties.*member)>;
        const T* given = std::get_if<T>(&value);
        if (given == nullptr) return Refuse(info, "the value is of another type");
        properties.*member = *given;
        return Status();
      },
      info.member);
}

Result<PropertyValue> ParsePropertyText(const PropertyInfo& info, std::string_view text) {
  if (std::holds_alternative<std::string Properties::*>(info.member))
    return PropertyValue(std::string(text));
  if (std::holds_alternative<bool Properties::*>(info.member)) {
    for (std::string_view yes : {"True", "-1", "1", "Yes"})
      if (base::EqualIgnoreCase(yes, text)) return PropertyValue(true);
    for (std::string_view no : {"False", "0", "No"})
      if (base::EqualIgnoreCase(no, text)) return PropertyValue(false);
    return Refuse(info, "'" + std::string(text) + "' is neither True nor False");
  }
  std::optional<std::int16_t> number;
  if (info.key == "ConnectString") {
    number = ParseTypeConnect(text);
  } else if (info.key == "DefaultSourceType") {
    number = ParseFileTypeFormat(text);
  } else {
    std::int16_t parsed = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), parsed);
    if (error == std::errc() && end == text.data() + text.size()) number = parsed;
  }
  if (!number) return Refuse(info, "'" + std::string(text) + "' is no value of it");
  return PropertyValue(*number);
}

Status LoadProperties(PropertyStore& store, Properties& properties) {
  const Properties defaults;
  Properties loaded;
  for (const PropertyInfo& info : kTable) {
    const Result<PropertyValue> value = store.Read(info.key, GetProperty(defaults, info));
    if (!value.ok()) return value.status();
    KV_TRY(SetProperty(loaded, info, *value));
  }
  properties = std::move(loaded);
  return Status();
}

Status SaveProperties(PropertyStore& store, const Properties& properties) {
  const Properties defaults;
  for (const PropertyInfo& info : kTable)
    KV_TRY(store.Write(info.key, GetProperty(properties, info), GetProperty(defaults, info)));
  return Status();
}

}  // namespace kelvorin::contract
