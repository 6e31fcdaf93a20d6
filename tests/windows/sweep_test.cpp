// One look over all windows: names for people who do not see them, mnemonics, tab order, texts that
// fit, in English and in a language half again as long.

#include "base/language.h"
#include "contract/no_host.h"
#include "database/engine.h"
#include "tests/support/definitions.h"
#include "tests/support/memory_database.h"
#include "tests/support/places.h"
#include "tests/windows/driver.h"
#include "wizard/frm_advanced.h"
#include "wizard/frm_kelvorin.h"
#include "wizard/frm_new_table.h"
#include "wizard/frm_odbc_logon.h"
#include "wizard/frm_progress.h"
#include "wizard/frm_rejected.h"
#include "wizard/frm_settings.h"
#include "wizard/qt/language.h"
#include "wizard/qt/qt_platform.h"

#include <QAccessible>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLocale>
#include <QSet>
#include <QShortcut>
#include <QTabBar>
#include <QTranslator>

namespace kelvorin::tests {

namespace {

// Every text half again as long.
class LongLanguage final : public QTranslator {
 public:
  bool isEmpty() const override { return false; }
  QString translate(const char* context, const char* text, const char*, int) const override {
    if (qstrcmp(context, "kelvorin") != 0) return {};
    const QString source = QString::fromUtf8(text);
    asked += source;
    return source + QString(source.size() / 2, u'm');
  }
  mutable QSet<QString> asked;
};

// The languages that were installed go again.
void RemoveLanguages() {
  for (auto* translator : QCoreApplication::instance()->findChildren<QTranslator*>())
    delete translator;
}

bool TakesFocus(const QWidget* widget) {
  return widget->isVisible() && widget->isEnabled() && widget->focusPolicy() != Qt::NoFocus &&
         (widget->focusPolicy() & Qt::TabFocus) != 0;
}

void Look(QWidget& window) {
  QCoreApplication::processEvents();
  CAPTURE(window.objectName().toStdString());
  QSet<QString> letters;
  QSet<QWidget*> wanted;
  for (QWidget* widget : window.findChildren<QWidget*>()) {
    if (!widget->isVisible()) continue;
    CAPTURE(widget->objectName().toStdString());
    CAPTURE(widget->metaObject()->className());
    const auto* label = qobject_cast<QLabel*>(widget);
    const auto* button = qobject_cast<QAbstractButton*>(widget);
    const bool has_text = (label != nullptr && !label->wordWrap()) || button != nullptr ||
                          qobject_cast<QGroupBox*>(widget) != nullptr;
    if (has_text && !widget->objectName().startsWith("qt_")) {
      const bool narrow = button != nullptr && widget->maximumWidth() < 1000;  // "..."
      CHECK(widget->width() >= (narrow ? widget->fontMetrics().horizontalAdvance(button->text()) + 8
                                       : widget->minimumSizeHint().width()));
      if (button != nullptr && widget->maximumWidth() > 1000)
        CHECK(widget->width() >= widget->sizeHint().width());
    }
    if (const auto* tabs = qobject_cast<QTabBar*>(widget))
      for (int i = 0; i < tabs->count(); ++i)
        CHECK(tabs->tabRect(i).width() >= tabs->fontMetrics().horizontalAdvance(tabs->tabText(i)));
    if (widget->isEnabled() &&
        ((label != nullptr && label->buddy() != nullptr) || button != nullptr)) {
      const QString text = label != nullptr ? label->text() : button->text();
      const QKeySequence key = QKeySequence::mnemonic(text);
      if (!key.isEmpty()) {
        CAPTURE(key.toString().toStdString());
        CHECK_FALSE(letters.contains(key.toString()));
        letters += key.toString();
      }
    }
    const bool ours = !widget->objectName().startsWith("qt_");
    if (TakesFocus(widget) && ours && qobject_cast<QComboBox*>(widget->parentWidget()) == nullptr) {
      QAccessibleInterface* seen = QAccessible::queryAccessibleInterface(widget);
      REQUIRE(seen != nullptr);
      CHECK_FALSE(seen->text(QAccessible::Name).isEmpty());
      if (const auto* combo = qobject_cast<QComboBox*>(widget)) {
        CHECK(seen->text(QAccessible::Name) != combo->currentText());
        CHECK(seen->text(QAccessible::Value) == combo->currentText());
        CHECK(seen->role() == QAccessible::ComboBox);
      }
      wanted += widget;
    }
  }
  for (const QShortcut* shortcut : window.findChildren<QShortcut*>()) {
    const auto* target = qobject_cast<QWidget*>(shortcut->parent());
    REQUIRE((target != nullptr && target != &window));
    if (!target->isVisible() || !target->isEnabled()) continue;
    CAPTURE(shortcut->key().toString().toStdString());
    CHECK_FALSE(letters.contains(shortcut->key().toString()));
    letters += shortcut->key().toString();
  }
  // Tab leads to every one of them; option buttons of a group share one stop.
  QSet<QWidget*> reached;
  window.activateWindow();
  for (int i = 0; i < 80; ++i) {
    QWidget* focus = window.focusWidget();
    if (focus != nullptr) reached += focus;
    QTest::keyClick(focus != nullptr ? focus : &window, Qt::Key_Tab);
  }
  for (QWidget* widget : wanted) {
    if (widget->inherits("QRadioButton")) continue;
    CAPTURE(widget->objectName().toStdString());
    CHECK(reached.contains(widget));
  }
}

// Notes of any length are whole and drawn over nothing, however small the window is made.
void NotesFit(QWidget& window, wizard::WizardControls& c) {
  const std::string text(600, 'w');
  std::string words;
  for (int i = 0; i < 60; ++i) words += "zwölf Kästen " + std::to_string(i) + " ";
  const QSize before = window.size();
  for (const std::string& note : {words, text}) {
    for (contract::Control* label : {&c.LblDetected, &c.LblStatus, &c.LblOutcome}) {
      const std::string kept = label->caption();
      label->SetCaption(note);
      label->SetVisible(true);
      window.resize(10, 10);
      for (int i = 0; i < 5; ++i) QTest::qWait(1);
      const auto& shown = Child<QLabel>(window, label->name().c_str());
      if (shown.isVisible()) {
        CAPTURE(label->name());
        CAPTURE(note.size());
        CHECK(window.width() < 1200);
        CHECK(shown.height() >= shown.heightForWidth(shown.width()));
        const QRect place(shown.mapTo(&window, QPoint()), shown.size());
        CHECK(window.rect().contains(place));
        for (const QWidget* other : window.findChildren<QWidget*>())
          if (other != &shown && other->isVisible() && !other->isAncestorOf(&shown) &&
              !shown.isAncestorOf(other) && other->inherits("QAbstractButton"))
            CHECK_FALSE(QRect(other->mapTo(&window, QPoint()), other->size()).intersects(place));
      }
      label->SetCaption(kept);
      if (label == &c.LblOutcome) label->SetVisible(false);
    }
  }
  window.resize(before);
  QCoreApplication::processEvents();
}

// Object names equal the names of the form's controls.
void NamesAgree(QWidget& window, const contract::Form& form) {
  CHECK(window.objectName().toStdString() == form.name());
  for (const contract::Control* control : form.controls()) {
    CAPTURE(control->name());
    CHECK(window.findChild<QWidget*>(QString::fromStdString(control->name())) != nullptr);
  }
}

void LookAtDialogs(wizard::qt::QtPlatform& platform) {
  const auto look = [&](contract::Form& form) {
    Driver drive;
    drive.Do(QString::fromStdString(form.name()), [&](QWidget& window) {
      NamesAgree(window, form);
      if (auto* tabs = window.findChild<QTabBar*>("TabStrip1")) {
        for (int i = 0; i < tabs->count(); ++i) {
          tabs->setCurrentIndex(i);
          Look(window);
        }
      } else {
        Look(window);
      }
      form.Close();
    });
    drive.Run([&] { platform.ShowModal(form); });
  };
  wizard::frmAdvanced options(platform);
  settings::ImportSetting setting;
  setting.AppendRecords = false;
  setting.Trace = setting.LimitErrors = true;
  setting.AllLines = false;
  options.Fill(setting, {"ByName"}, {});
  look(options);
  wizard::frmSettings list(platform, settings::IniFile("/no/such.ini"));
  list.LBoxSettings.AddItem("weekly");
  look(list);
  MemoryDriver memory;
  memory.AddDatabase("Sales");
  database::DBEngine engine;
  engine.Register(memory.Clone());
  for (const bool odbc : {false, true}) {
    wizard::frmODBCLogon logon(platform, engine, odbc);
    logon.EdtDBName.SetText("x.mdb");
    logon.Form_Load();
    look(logon);
  }
  wizard::frmDBPWD password;
  look(password);
  const auto field = MakeField("Name", values::TypeCode::kText, 20);
  wizard::frmNewTable table(platform, "Goods", {{field, 0, "axe", true}},
                            [](const auto&, const auto&) { return Status(); });
  look(table);
  job::RejectedRecords rejected;
  CHECK(rejected.OnReject({1, "Amount", "x", "no number", "x\r\n"}).ok());
  wizard::frmRejected records(platform, rejected);
  look(records);
  wizard::frmProgress progress(platform);
  progress.LblRecords.SetCaption("1200 out of 5000");
  progress.SetCaller([&] {
    QWidget* window = QApplication::activeModalWidget();
    REQUIRE(window != nullptr);
    NamesAgree(*window, progress);
    Look(*window);
  });
  platform.ShowModal(progress);
}

void LookAtWizard(wizard::qt::QtPlatform& platform, int kind) {
  MemoryDriver memory;
  database::TableDef table;
  table.Name = "Goods";
  for (const char* name : {"Name", "Amount"})
    table.Fields.push_back(MakeField(name, values::TypeCode::kText, 20));
  memory.AddTable("shop", table);
  database::DBEngine engine;
  engine.Register(memory.Clone());
  contract::NoHost host;
  host.properties().DataBaseName = "shop";
  host.properties().MultiTable = true;
  host.properties().IniFile = "/no/such.ini";
  host.properties().ImportDBName = SourceFolder() + "/examples/data/customers.csv";
  wizard::frmKelvorin form(engine, platform);
  form.SetCaller(host);
  Driver drive;
  drive.Do("frmKelvorin", [&](QWidget& window) {
    NamesAgree(window, form);
    Look(window);
    form.controls.BtnNext.UserClick();
    form.controls.CBoxTypeFormat.UserSelect(kind);
    for (int i = 0; i < 3; ++i) {
      form.controls.BtnRejected.SetVisible(true);
      QCoreApplication::processEvents();
      Look(window);
      NotesFit(window, form.controls);
      if (!form.controls.BtnNext.enabled()) break;
      form.controls.BtnNext.UserClick();
    }
    form.Close();
  });
  drive.Run([&] { form.Execute(); });
}

}  // namespace

TEST_CASE("Every window has names, letters of its own, a tab order, and texts that fit") {
  wizard::qt::QtPlatform platform;
  const auto look = [&](const char* language) {
    CAPTURE(language);
    LookAtDialogs(platform);
    for (const int kind : {0, 1, 3}) {
      CAPTURE(kind);
      LookAtWizard(platform, kind);
    }
  };
  look("English");
  LongLanguage language;
  QCoreApplication::installTranslator(&language);
  look("a long one");
  QCoreApplication::removeTranslator(&language);
  if (!wizard::qt::InstallLanguage(QLocale(QLocale::German))) {
    MESSAGE("no languages: Qt's language tools were not here");
    return;
  }
  look("German");
  CHECK(language.asked.size() > 200);
  for (const std::string_view reason : base::ReasonPatterns())
    language.asked += QString::fromUtf8(reason.data(), static_cast<qsizetype>(reason.size()));
  for (const QString& text : language.asked) {
    CAPTURE(text.toStdString());
    QString german;
    for (const auto* known : QCoreApplication::instance()->findChildren<QTranslator*>())
      if (german.isEmpty()) german = known->translate("kelvorin", text.toUtf8());
    CHECK_FALSE(german.isEmpty());
  }
  CHECK(
      QCoreApplication::translate("kelvorin", "End of import\r\nNumber of imported records : %1") ==
      "Ende des Imports\r\nImportierte S\u00E4tze: %1");
  RemoveLanguages();
}

}  // namespace kelvorin::tests
