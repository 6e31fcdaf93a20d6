#pragma once
// The control `Kelvorin`: what a host program holds. It sets properties, connects events, and calls
// `BatchImport` (a saved setting, no dialogs) or `Execute` (the wizard). Nothing throws across it:
// whatever goes wrong ends in `LastError`.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "base/status.h"
#include "control/contract/platform.h"
#include "control/contract/properties.h"
#include "control/contract/run_result.h"

namespace kelvorin {

/// Size that the control keeps on a host's form, whatever the host asks for.
inline constexpr int kControlWidthTwips = 340;
inline constexpr int kControlHeightTwips = 300;

class Kelvorin {
 public:
  /// `platform` shows message boxes and the progress dialog; without one nothing is shown. It must
  /// outlive the control.
  explicit Kelvorin(contract::Platform* platform = nullptr);
  ~Kelvorin();
  Kelvorin(const Kelvorin&) = delete;
  Kelvorin& operator=(const Kelvorin&) = delete;

  // --- The 22 properties. Setting one stores it and tells the container (`PropertyChanged`);
  // ShowAdvancedOption alone is stored without telling: kept as it is.
  const std::string& DataBaseName() const noexcept { return properties_.DataBaseName; }
  void DataBaseName(std::string_view value) noexcept;
  const std::string& DSN() const noexcept { return properties_.DSN; }
  void DSN(std::string_view value) noexcept;
  const std::string& UserName() const noexcept { return properties_.UserName; }
  void UserName(std::string_view value) noexcept;
  const std::string& Password() const noexcept { return properties_.Password; }
  void Password(std::string_view value) noexcept;
  contract::TypeConnect ConnectString() const noexcept {
    return static_cast<contract::TypeConnect>(properties_.ConnectString);
  }
  void ConnectString(contract::TypeConnect value) noexcept;
  contract::FileTypeFormat DefaultSourceType() const noexcept {
    return static_cast<contract::FileTypeFormat>(properties_.DefaultSourceType);
  }
  void DefaultSourceType(contract::FileTypeFormat value) noexcept;
  const std::string& ImportCaption() const noexcept { return properties_.ImportCaption; }
  void ImportCaption(std::string_view value) noexcept;
  const std::string& IniFile() const noexcept { return properties_.IniFile; }
  void IniFile(std::string_view value) noexcept;
  const std::string& ImportTable() const noexcept { return properties_.ImportTable; }
  void ImportTable(std::string_view value) noexcept;
  const std::string& ImportDBName() const noexcept { return properties_.ImportDBName; }
  void ImportDBName(std::string_view value) noexcept;
  std::int16_t HelpID() const noexcept { return properties_.HelpID; }
  void HelpID(std::int16_t value) noexcept;
  bool ShowProgress() const noexcept { return properties_.ShowProgress; }
  void ShowProgress(bool value) noexcept;
  bool ShowSummary() const noexcept { return properties_.ShowSummary; }
  void ShowSummary(bool value) noexcept;
  const std::string& LastError() const noexcept { return properties_.LastError; }
  void LastError(std::string_view value) noexcept;
  bool QuitAfterImport() const noexcept { return properties_.QuitAfterImport; }
  void QuitAfterImport(bool value) noexcept;
  bool MultiTable() const noexcept { return properties_.MultiTable; }
  void MultiTable(bool value) noexcept;
  const std::string& tableName() const noexcept { return properties_.tableName; }
  void tableName(std::string_view value) noexcept;
  const std::string& AutoLoadSettingName() const noexcept {
    return properties_.AutoLoadSettingName;
  }
  void AutoLoadSettingName(std::string_view value) noexcept;
  bool LoadLastSetting() const noexcept { return properties_.LoadLastSetting; }
  void LoadLastSetting(bool value) noexcept;
  bool ShowUpdateOption() const noexcept { return properties_.ShowUpdateOption; }
  void ShowUpdateOption(bool value) noexcept;
  bool ShowErrorsOption() const noexcept { return properties_.ShowErrorsOption; }
  void ShowErrorsOption(bool value) noexcept;
  bool ShowAdvancedOption() const noexcept { return properties_.ShowAdvancedOption; }
  void ShowAdvancedOption(bool value) noexcept;

  /// Sets a property by its name in any case from text, enumerations by member name or number.
  /// Fails with kNotFound or kConversion naming property and text.
  Status SetPropertyText(std::string_view name, std::string_view text) noexcept;
  const contract::Properties& properties() const noexcept { return properties_; }

  // --- Persistence in the host's container.
  /// Reads all properties in their order; a value of the wrong type ends the loading with the
  /// container's type error. The container is not told.
  Status ReadProperties(contract::PropertyStore& store) noexcept;
  /// Writes all properties in their order; those at their default are not stored.
  Status WriteProperties(contract::PropertyStore& store) const noexcept;
  /// The container's notification that a property changed.
  std::function<void(std::string_view key)> PropertyChanged;

  /// The host asks for a size and gets the fixed one.
  static void Resize(int& width_twips, int& height_twips) noexcept;

  // --- Methods.
  /// Shows a message box with the text "Display", the title "Property Check" and the exclamation
  /// icon.
  void display() noexcept;
  /// Opens the import wizard and returns when the user closes it. Where the platform has no
  /// windows, it says so in `LastError` and returns.
  void Execute() noexcept;
  /// Runs the saved setting `Setting` without dialogs. 0 when the run ended without a fatal error,
  /// else -1 with the reason in `LastError`.
  std::int16_t BatchImport(std::string& Setting) noexcept;
  /// Counts of the last import, by `BatchImport` or in the wizard.
  const contract::RunResult& LastRun() const noexcept { return last_run_; }

  // --- Events. Connect a function; parameters taken by reference are read back. A handler that
  // throws ends the run, with its text in `LastError`.
  std::function<void(std::string_view tableName, std::string_view FieldName, std::int16_t FieldType,
                     std::int16_t FieldSize, std::string& bufField)>
      BeforeFieldImport;
  std::function<void(std::string_view tableName, bool& Hide)> FilterTable;
  std::function<void(contract::FileTypeFormat FileType, bool& Hide)> FilterType;
  std::function<void(std::string_view tableName, std::string_view FieldName, bool& Hide)>
      FilterField;
  std::function<void(bool& RecordCanceled, bool& ProcessCanceled)> ValidateBeforePost;
  std::function<void(bool& ProcessCanceled)> ValidateAfterPost;

 private:
  class Surface;  // the control as its forms see it
  friend class Surface;

  template <typename T>
  void Set(T contract::Properties::*member, const T& value, std::string_view key) noexcept;
  void SetText(std::string contract::Properties::*member, std::string_view value,
               std::string_view key) noexcept;
  void Notify(std::string_view key);
  /// Runs `call`; whatever it throws becomes `LastError`. False when it threw.
  template <typename F>
  bool Safely(F&& call) noexcept;
  void DeriveConnectTypeName(std::int16_t kind);

  contract::Properties properties_;
  std::string connect_type_name_;
  contract::SilentPlatform silent_;
  contract::Platform* platform_;
  contract::RunResult last_run_;
  std::unique_ptr<Surface> surface_;
};

}  // namespace kelvorin
