#pragma once
// The control for Qt hosts: a small widget with the 22 properties, the three methods and the six
// events as signals. A host puts it on a form, in its form designer or in code; it is not seen at
// run time.
//
// Parameters of signals taken by reference are written back over direct connections, that is by
// receivers in the thread of the control.

#include <QString>
#include <QWidget>

#include <memory>

namespace kelvorin {
class Kelvorin;
}

class KelvorinControl : public QWidget {
  Q_OBJECT
  // In the order in which a form stores them.
  Q_PROPERTY(QString DataBaseName READ DataBaseName WRITE setDataBaseName RESET resetDataBaseName
                 NOTIFY PropertyChanged)
  Q_PROPERTY(QString DSN READ DSN WRITE setDSN RESET resetDSN NOTIFY PropertyChanged)
  Q_PROPERTY(
      QString UserName READ UserName WRITE setUserName RESET resetUserName NOTIFY PropertyChanged)
  Q_PROPERTY(
      QString Password READ Password WRITE setPassword RESET resetPassword NOTIFY PropertyChanged)
  Q_PROPERTY(TypeConnect ConnectString READ ConnectString WRITE setConnectString RESET
                 resetConnectString NOTIFY PropertyChanged)
  Q_PROPERTY(FileTypeFormat DefaultSourceType READ DefaultSourceType WRITE setDefaultSourceType
                 RESET resetDefaultSourceType NOTIFY PropertyChanged)
  Q_PROPERTY(QString ImportCaption READ ImportCaption WRITE setImportCaption RESET
                 resetImportCaption NOTIFY PropertyChanged)
  Q_PROPERTY(
      QString IniFile READ IniFile WRITE setIniFile RESET resetIniFile NOTIFY PropertyChanged)
  Q_PROPERTY(QString ImportTable READ ImportTable WRITE setImportTable RESET resetImportTable NOTIFY
                 PropertyChanged)
  Q_PROPERTY(QString ImportDBName READ ImportDBName WRITE setImportDBName RESET resetImportDBName
                 NOTIFY PropertyChanged)
  Q_PROPERTY(int HelpID READ HelpID WRITE setHelpID RESET resetHelpID NOTIFY PropertyChanged)
  Q_PROPERTY(bool ShowProgress READ ShowProgress WRITE setShowProgress RESET resetShowProgress
                 NOTIFY PropertyChanged)
  Q_PROPERTY(bool ShowSummary READ ShowSummary WRITE setShowSummary RESET resetShowSummary NOTIFY
                 PropertyChanged)
  Q_PROPERTY(QString LastError READ LastError WRITE setLastError RESET resetLastError NOTIFY
                 PropertyChanged)
  Q_PROPERTY(bool QuitAfterImport READ QuitAfterImport WRITE setQuitAfterImport RESET
                 resetQuitAfterImport NOTIFY PropertyChanged)
  Q_PROPERTY(bool MultiTable READ MultiTable WRITE setMultiTable RESET resetMultiTable NOTIFY
                 PropertyChanged)
  Q_PROPERTY(QString TableName READ tableName WRITE setTableName RESET resetTableName NOTIFY
                 PropertyChanged)
  Q_PROPERTY(QString AutoLoadSettingName READ AutoLoadSettingName WRITE setAutoLoadSettingName RESET
                 resetAutoLoadSettingName NOTIFY PropertyChanged)
  Q_PROPERTY(bool LoadLastSetting READ LoadLastSetting WRITE setLoadLastSetting RESET
                 resetLoadLastSetting NOTIFY PropertyChanged)
  Q_PROPERTY(bool ShowUpdateOption READ ShowUpdateOption WRITE setShowUpdateOption RESET
                 resetShowUpdateOption NOTIFY PropertyChanged)
  Q_PROPERTY(bool ShowErrorsOption READ ShowErrorsOption WRITE setShowErrorsOption RESET
                 resetShowErrorsOption NOTIFY PropertyChanged)
  // Stored without telling the container: kept as it is.
  Q_PROPERTY(bool ShowAdvancedOption READ ShowAdvancedOption WRITE setShowAdvancedOption RESET
                 resetShowAdvancedOption)

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

  /// The form designer shows the control; everywhere else it hides itself.
  static void SetDesignMode(bool on) noexcept;
  QSize sizeHint() const override;

#define KELVORIN_PROPERTY(TYPE, NAME, SETTER, RESETTER) \
  TYPE NAME() const;                                    \
  void SETTER(const TYPE& value);                       \
  void RESETTER();
  KELVORIN_PROPERTY(QString, DataBaseName, setDataBaseName, resetDataBaseName)
  KELVORIN_PROPERTY(QString, DSN, setDSN, resetDSN)
  KELVORIN_PROPERTY(QString, UserName, setUserName, resetUserName)
  KELVORIN_PROPERTY(QString, Password, setPassword, resetPassword)
  KELVORIN_PROPERTY(TypeConnect, ConnectString, setConnectString, resetConnectString)
  KELVORIN_PROPERTY(FileTypeFormat, DefaultSourceType, setDefaultSourceType, resetDefaultSourceType)
  KELVORIN_PROPERTY(QString, ImportCaption, setImportCaption, resetImportCaption)
  KELVORIN_PROPERTY(QString, IniFile, setIniFile, resetIniFile)
  KELVORIN_PROPERTY(QString, ImportTable, setImportTable, resetImportTable)
  KELVORIN_PROPERTY(QString, ImportDBName, setImportDBName, resetImportDBName)
  KELVORIN_PROPERTY(int, HelpID, setHelpID, resetHelpID)
  KELVORIN_PROPERTY(bool, ShowProgress, setShowProgress, resetShowProgress)
  KELVORIN_PROPERTY(bool, ShowSummary, setShowSummary, resetShowSummary)
  KELVORIN_PROPERTY(QString, LastError, setLastError, resetLastError)
  KELVORIN_PROPERTY(bool, QuitAfterImport, setQuitAfterImport, resetQuitAfterImport)
  KELVORIN_PROPERTY(bool, MultiTable, setMultiTable, resetMultiTable)
  KELVORIN_PROPERTY(QString, tableName, setTableName, resetTableName)
  KELVORIN_PROPERTY(QString, AutoLoadSettingName, setAutoLoadSettingName, resetAutoLoadSettingName)
  KELVORIN_PROPERTY(bool, LoadLastSetting, setLoadLastSetting, resetLoadLastSetting)
  KELVORIN_PROPERTY(bool, ShowUpdateOption, setShowUpdateOption, resetShowUpdateOption)
  KELVORIN_PROPERTY(bool, ShowErrorsOption, setShowErrorsOption, resetShowErrorsOption)
  KELVORIN_PROPERTY(bool, ShowAdvancedOption, setShowAdvancedOption, resetShowAdvancedOption)
#undef KELVORIN_PROPERTY

 public slots:
  void display();
  /// Opens the wizard and returns when it is closed, also when the control is destroyed meanwhile.
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

 protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void connectNotify(const QMetaMethod& signal) override;
  void disconnectNotify(const QMetaMethod& signal) override;

 private:
  struct Core;
  void Listen();
  template <typename T>
  T Get(const char* key) const;
  void Set(const char* key, const QVariant& value);
  void Reset(const char* key);
  QSize FixedSize() const;

  std::shared_ptr<Core> core_;  // shared with a call under way, which may outlive the widget
};
