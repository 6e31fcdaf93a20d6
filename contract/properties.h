#pragma once
// The 22 properties of the control as one plain record, the table that names them in their stored
// order, and the host's property store. The control owns one record for the host's lifetime; the
// forms and the run read it through their caller.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "base/status.h"
#include "contract/enums.h"

namespace kelvorin::contract {

struct Properties {
  std::string DataBaseName;
  std::string DSN;
  std::string UserName;
  std::string Password;
  std::int16_t ConnectString = 3;      // a TypeConnect value
  std::int16_t DefaultSourceType = 0;  // a FileTypeFormat value
  std::string ImportCaption = "Import Data";
  std::string IniFile;
  std::string ImportTable;
  std::string ImportDBName;
  std::int16_t HelpID = 0;
  bool ShowProgress = true;
  bool ShowSummary = true;
  std::string LastError;
  bool QuitAfterImport = false;
  bool MultiTable = false;
  std::string tableName;
  std::string AutoLoadSettingName;
  bool LoadLastSetting = false;
  bool ShowUpdateOption = true;
  bool ShowErrorsOption = true;
  bool ShowAdvancedOption = true;

  bool operator==(const Properties&) const = default;
};

/// A property's value as a host's container keeps it: text, a 16-bit number, or a Boolean.
using PropertyValue = std::variant<std::string, std::int16_t, bool>;

/// One property: its key in a property store and where it lives in the record.
struct PropertyInfo {
  std::string_view key;  // "TableName" for `tableName`, else the member's own name
  std::variant<std::string Properties::*, std::int16_t Properties::*, bool Properties::*> member;
  bool notifies_container = true;  // false for ShowAdvancedOption alone: kept as it is
};

/// All 22 in the order in which they are loaded and stored.
std::span<const PropertyInfo> PropertyTable() noexcept;
/// Row of a property by name without regard to case, or null.
const PropertyInfo* FindProperty(std::string_view name) noexcept;

PropertyValue GetProperty(const Properties& properties, const PropertyInfo& info);
/// Fails with `kConversion` when the value's type is not the property's.
Status SetProperty(Properties& properties, const PropertyInfo& info, const PropertyValue& value);
/// Text to a property's value: enumerations by member name or number, Booleans as -1, 0, 1, True or
/// False in any case. Fails with `kConversion` naming the property and the text.
Result<PropertyValue> ParsePropertyText(const PropertyInfo& info, std::string_view text);

/// Where a host's container keeps the properties of a control between sessions.
class PropertyStore {
 public:
  virtual ~PropertyStore() = default;
  /// The stored value, or `otherwise` when the key is not stored. A value of another type than
  /// `otherwise` is the container's type error.
  virtual Result<PropertyValue> Read(std::string_view key, const PropertyValue& otherwise) = 0;
  /// Stores the value; one equal to `otherwise` is left out (and removed if it stood there).
  virtual Status Write(std::string_view key, const PropertyValue& value,
                       const PropertyValue& otherwise) = 0;
};

/// Reads all properties in table order, each with its default. Fails with the store's own failure
/// (a value of another type); `properties` is then as it was.
Status LoadProperties(PropertyStore& store, Properties& properties);
/// Writes all properties in table order, each with its default.
Status SaveProperties(PropertyStore& store, const Properties& properties);

}  // namespace kelvorin::contract
