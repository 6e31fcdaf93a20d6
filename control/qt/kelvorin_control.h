#pragma once
// The control for Qt hosts: a small widget with the 22 properties, the three methods and the six
// events as signals. A host puts it on a form, in its form designer or in code; it is not seen at
// run time.
//
// Parameters of signals taken by reference are written back over direct connections, that is by
// receivers in the thread of the control.

#include <QLocale>
#include <QString>
#include <QVariant>
#include <QWidget>

#include <memory>
#include <type_traits>

namespace kelvorin {
class Kelvorin;
}

class KelvorinControl : public QWidget {
  Q_OBJECT
 public:
  enum TypeConnect {
    Access = 3,
    Paradox3,
    Paradox4,
    Paradox5,
    DBase3,
    DBase4,
    DBase5,
    FOXPRO20,
    FOXPRO25,
    FOXPRO26,
    FOXPRO30,
    ODBC
  };
  Q_ENUM(TypeConnect)
  enum FileTypeFormat {
    TVariable = 0,
    TFixed,
    THtmlTags,
    TAccess,
    TParadox3,
    TParadox4,
    TParadox5,
    TDBASE3,
    TDBASE4,
    TDBASE5,
    TFOXPRO20,
    TFOXPRO25,
    TFOXPRO26,
    TFOXPRO30,
    TODBC
  };
  Q_ENUM(FileTypeFormat)

  explicit KelvorinControl(QWidget* parent = nullptr);
  ~KelvorinControl() override;

  /// Installs the translator that comes with the library for a language, for all forms made from
  /// now on. False where there is none: the texts stay English.
  static bool InstallLanguage(const QLocale& locale = QLocale());

  /// The form designer shows the control; everywhere else it hides itself.
  static void SetDesignMode(bool on) noexcept;
  QSize sizeHint() const override;
  void setVisible(bool visible) override;

// A property `NAME` with the functions NAME, setNAME and resetNAME; TELLS is its signal.
#define KELVORIN_PROPERTY(TYPE, NAME, TELLS)                              \
  Q_PROPERTY(TYPE NAME READ NAME WRITE set##NAME RESET reset##NAME TELLS) \
 public:                                                                  \
  TYPE NAME() const {                                                     \
    return Get<TYPE>(#NAME);                                              \
  }                                                                       \
  void set##NAME(const TYPE& value) {                                     \
    Set(#NAME, QVariant::fromValue(value));                               \
  }                                                                       \
  void reset##NAME() {                                                    \
    Reset(#NAME);                                                         \
  }
  // In the order in which a form stores them.
  KELVORIN_PROPERTY(QString, DataBaseName, NOTIFY PropertyChanged)
  KELVORIN_PROPERTY(QString, DSN, NOTIFY PropertyChanged)
  KELVORIN_PROPERTY(QString, UserName, NOTIFY PropertyChanged)
  KELVORIN_PROPERTY(QString, Password, NOTIFY PropertyChanged)
  KELVORIN_PROPERTY(TypeConnect, ConnectString, NOTIFY PropertyChanged)
  KELVORIN_PROPERTY(FileTypeFormat, DefaultSourceType, NOTIFY PropertyChanged)
  KELVORIN_PROPERTY(QString, ImportCaption, NOTIFY PropertyChanged)
  KELVORIN_PROPERTY(QString, IniFile, NOTIFY PropertyChanged)
  KELVORIN_PROPERTY(QString, ImportTable, NOTIFY PropertyChanged)
  KELVORIN_PROPERTY(QString, ImportDBName, NOTIFY PropertyChanged)
  KELVORIN_PROPERTY(int, HelpID, NOTIFY PropertyChanged)
  KELVORIN_PROPERTY(bool, ShowProgress, NOTIFY PropertyChanged)
  KELVORIN_PROPERTY(bool, ShowSummary, NOTIFY PropertyChanged)
  KELVORIN_PROPERTY(QString, LastError, NOTIFY PropertyChanged)
  KELVORIN_PROPERTY(bool, QuitAfterImport, NOTIFY PropertyChanged)
  KELVORIN_PROPERTY(bool, MultiTable, NOTIFY PropertyChanged)
  KELVORIN_PROPERTY(QString, TableName, NOTIFY PropertyChanged)
  KELVORIN_PROPERTY(QString, AutoLoadSettingName, NOTIFY PropertyChanged)
  KELVORIN_PROPERTY(bool, LoadLastSetting, NOTIFY PropertyChanged)
  KELVORIN_PROPERTY(bool, ShowUpdateOption, NOTIFY PropertyChanged)
  KELVORIN_PROPERTY(bool, ShowErrorsOption, NOTIFY PropertyChanged)
  // Stored without telling the container: kept as it is.
  KELVORIN_PROPERTY(bool, ShowAdvancedOption, )
#undef KELVORIN_PROPERTY
  QString tableName() const {
    return TableName();
  }

 public slots:
  void display();
  /// Opens the wizard and returns when it is closed, also when the control is destroyed meanwhile.
  /// While a call is under way, another one says so in LastError and does nothing.
  void Execute();
  /// 0 when the run ended without a fatal error, else -1 with the reason in LastError.
  int BatchImport(const QString& Setting);

 signals:
  void PropertyChanged(const QString& key);
  void BeforeFieldImport(const QString& tableName, const QString& FieldName, int FieldType,
                         int FieldSize, QString& bufField);
  void FilterTable(const QString& tableName, bool& Hide);
  void FilterType(int FileType, bool& Hide);
  void FilterField(const QString& tableName, const QString& FieldName, bool& Hide);
  void ValidateBeforePost(bool& RecordCanceled, bool& ProcessCanceled);
  void ValidateAfterPost(bool& ProcessCanceled);
  /// Beside the six: the user asks for help in the wizard, by its button or F1. Only while HelpID
  /// is not 0.
  void HelpRequested(int HelpID);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void connectNotify(const QMetaMethod& signal) override;
  void disconnectNotify(const QMetaMethod& signal) override;

 private:
  struct Core;
  void Listen();
  bool IsFree();
  QVariant Get(const char* key) const;
  template <typename T>
  T Get(const char* key) const {
    if constexpr (std::is_enum_v<T>)
      return static_cast<T>(Get(key).toInt());
    else
      return Get(key).value<T>();
  }
  void Set(const char* key, const QVariant& value);
  void Reset(const char* key);
  QSize FixedSize() const;

  std::shared_ptr<Core> core_;  // shared with a call under way, which may outlive the widget
};
