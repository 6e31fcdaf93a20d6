#pragma once
// The control `Kelvorin`: what a host program holds. It sets properties, connects events, and calls
// `BatchImport` (a saved setting, no dialogs) or `Execute` (the wizard). Nothing throws across it:
// whatever goes wrong ends in `LastError`.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "base/status.h"
#include "contract/platform.h"
#include "contract/properties.h"
#include "contract/run_result.h"

namespace kelvorin {

/// Size that the control keeps on a host's form, whatever the host asks for.
inline constexpr int kControlWidthTwips = 340;
inline constexpr int kControlHeightTwips = 300;

class Kelvorin {
  template <typename T>
  static constexpr bool kIsText = std::is_same_v<T, std::string>;
  template <typename T>
  using Read = std::conditional_t<kIsText<T>, const std::string&, T>;
  template <typename T>
  using Given = std::conditional_t<kIsText<T>, std::string_view, T>;
  template <auto kMember>
  using TypeOf = std::remove_cvref_t<decltype(std::declval<contract::Properties>().*kMember)>;

 public:
  /// `platform` shows message boxes and the progress dialog; without one nothing is shown. It must
  /// outlive the control and a call under way.
  explicit Kelvorin(contract::Platform* platform = nullptr);
  /// Also in one of its own handlers: the call under way then ends at its next record and touches
  /// nothing of the control or its host any more.
  ~Kelvorin();
  Kelvorin(const Kelvorin&) = delete;
  Kelvorin& operator=(const Kelvorin&) = delete;

  /// One property. Called without an argument it reads, with one it stores the value and tells the
  /// container (`PropertyChanged`): `control.DSN("Sales")`, `if (control.MultiTable())`.
  template <auto kMember, typename Value = TypeOf<kMember>>
  class Property {
   public:
    explicit Property(Kelvorin* control) noexcept : control_(*control) {}
    Property(const Property&) = delete;
    Property& operator=(const Property&) = delete;

    /// Texts by reference, all others by value.
    Read<Value> operator()() const noexcept {
      return static_cast<Read<Value>>(control_.properties().*kMember);
    }
    void operator()(Given<Value> value) noexcept {
      control_.Set(kMember, static_cast<Given<TypeOf<kMember>>>(value));
    }

   private:
    Kelvorin& control_;
  };

  // The 22 properties. ShowAdvancedOption alone is stored without telling: kept as it is.
  Property<&contract::Properties::DataBaseName> DataBaseName{this};
  Property<&contract::Properties::DSN> DSN{this};
  Property<&contract::Properties::UserName> UserName{this};
  Property<&contract::Properties::Password> Password{this};
  Property<&contract::Properties::ConnectString, contract::TypeConnect> ConnectString{this};
  Property<&contract::Properties::DefaultSourceType, contract::FileTypeFormat> DefaultSourceType{
      this};
  Property<&contract::Properties::ImportCaption> ImportCaption{this};
  Property<&contract::Properties::IniFile> IniFile{this};
  Property<&contract::Properties::ImportTable> ImportTable{this};
  Property<&contract::Properties::ImportDBName> ImportDBName{this};
  Property<&contract::Properties::HelpID> HelpID{this};
  Property<&contract::Properties::ShowProgress> ShowProgress{this};
  Property<&contract::Properties::ShowSummary> ShowSummary{this};
  Property<&contract::Properties::LastError> LastError{this};
  Property<&contract::Properties::QuitAfterImport> QuitAfterImport{this};
  Property<&contract::Properties::MultiTable> MultiTable{this};
  Property<&contract::Properties::tableName> tableName{this};
  Property<&contract::Properties::AutoLoadSettingName> AutoLoadSettingName{this};
  Property<&contract::Properties::LoadLastSetting> LoadLastSetting{this};
  Property<&contract::Properties::ShowUpdateOption> ShowUpdateOption{this};
  Property<&contract::Properties::ShowErrorsOption> ShowErrorsOption{this};
  Property<&contract::Properties::ShowAdvancedOption> ShowAdvancedOption{this};

  /// Sets a property by its name in any case from text, enumerations by member name or number.
  /// Fails with kNotFound or kConversion naming property and text.
  Status SetPropertyText(std::string_view name, std::string_view text) noexcept;
  const contract::Properties& properties() const noexcept;

  // --- Persistence in the host's container.
  /// Reads all properties in their order; a value of the wrong type ends the loading with the
  /// container's type error. The container is not told.
  Status ReadProperties(contract::PropertyStore& store) noexcept;
  /// Writes all properties in their order; those at their default are not stored.
  Status WriteProperties(contract::PropertyStore& store) const noexcept;
  /// The container's notification that a property changed. One that throws during a call ends it,
  /// with its text in `LastError`.
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
  const contract::RunResult& LastRun() const noexcept;
  /// The call under way ends at the run's next record, with `why` in `LastError`; without one
  /// nothing happens. For hosts that go away.
  void StopRun(std::string_view why) noexcept;

  // --- Events. Connect a function; parameters taken by reference are read back. A handler that
  // throws ends the run, with its text in `LastError`. Those count that are connected when a method
  // is called.
  std::function<void(std::string_view tableName, std::string_view FieldName, std::int16_t FieldType,
                     std::int16_t FieldSize, std::string& bufField)>
      BeforeFieldImport;
  std::function<void(std::string_view tableName, bool& Hide)> FilterTable;
  std::function<void(contract::FileTypeFormat FileType, bool& Hide)> FilterType;
  std::function<void(std::string_view tableName, std::string_view FieldName, bool& Hide)>
      FilterField;
  std::function<void(bool& RecordCanceled, bool& ProcessCanceled)> ValidateBeforePost;
  std::function<void(bool& ProcessCanceled)> ValidateAfterPost;
  /// Beside the six: the user asks for help in the wizard (its button, or F1), and the host shows
  /// the topic of that number. Raised only while HelpID is not 0.
  std::function<void(std::int16_t HelpID)> HelpRequested;

 private:
  struct Core;    // what a call needs, also when the control is gone
  class Surface;  // the control as the forms of one call see it
  friend struct Core;
  friend class Surface;

  void Set(std::string contract::Properties::*member, std::string_view value) noexcept;
  void Set(std::int16_t contract::Properties::*member, std::int16_t value) noexcept;
  void Set(bool contract::Properties::*member, bool value) noexcept;
  template <typename T, typename V>
  void Store(T contract::Properties::*member, V value) noexcept;
  /// Runs `call` with what it needs; whatever it throws becomes `LastError`.
  template <typename F>
  void Safely(F&& call) noexcept;
  /// Makes a job or a form for one call, runs `call` with it and releases it.
  template <typename Work, typename F>
  void With(F&& call) noexcept;

  std::shared_ptr<Core> core_;  // shared with a call under way
};

}  // namespace kelvorin
