#include "control/qt/kelvorin_control.h"

#include "base/code_page.h"
#include "control/kelvorin.h"
#include "wizard/qt/language.h"
#include "wizard/qt/qt_platform.h"
#include "wizard/qt/text.h"

#include <QMetaMethod>
#include <QPainter>
#include <QPointer>
#include <QResizeEvent>

using kelvorin::contract::FindProperty;
using kelvorin::contract::PropertyInfo;
using kelvorin::contract::PropertyValue;
using kelvorin::wizard::qt::FromText;
using kelvorin::wizard::qt::ToText;

namespace {

bool in_designer = false;

QVariant ToVariant(const PropertyValue& value) {
  if (const auto* text = std::get_if<std::string>(&value)) return ToText(*text);
  if (const auto* number = std::get_if<std::int16_t>(&value)) return int{*number};
  return std::get<bool>(value);
}

}  // namespace

struct KelvorinControl::Core {
  kelvorin::wizard::qt::QtPlatform platform;
  kelvorin::Kelvorin control{&platform};
  QPointer<KelvorinControl> widget;
  int calls = 0;
};

KelvorinControl::KelvorinControl(QWidget* parent)
    : QWidget(parent), core_(std::make_shared<Core>()) {
  core_->widget = this;
  Core* const core = core_.get();
  core->control.PropertyChanged = [core](std::string_view key) {
    if (core->widget) emit core->widget->PropertyChanged(ToText(key));
  };
  setFixedSize(FixedSize());
  setToolTip(QStringLiteral("Kelvorin"));
  setAccessibleName(QStringLiteral("Kelvorin"));
  if (!in_designer) hide();  // explicitly: a form that is shown does not show it
}

KelvorinControl::~KelvorinControl() {
  if (core_->calls == 0) return;
  // A call is under way: it stops, and returns to a host that has no control any more.
  core_->widget.clear();  // now: the pointer itself learns of it only after this destructor
  core_->control.StopRun("The control was destroyed while its import was under way");
  core_->platform.Abandon();
}

bool KelvorinControl::InstallLanguage(const QLocale& locale) {
  return kelvorin::wizard::qt::InstallLanguage(locale);
}

void KelvorinControl::SetDesignMode(bool on) noexcept {
  in_designer = on;
}

QSize KelvorinControl::FixedSize() const {
  return {kelvorin::wizard::qt::Pixels(*this, kelvorin::kControlWidthTwips),
          kelvorin::wizard::qt::Pixels(*this, kelvorin::kControlHeightTwips)};
}

QSize KelvorinControl::sizeHint() const {
  return FixedSize();
}

void KelvorinControl::setVisible(bool visible) {
  QWidget::setVisible(visible && in_designer);
}

void KelvorinControl::resizeEvent(QResizeEvent* event) {
  if (event->size() != FixedSize()) setFixedSize(FixedSize());
}

// A sheet whose records go into a drum.
void KelvorinControl::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.fillRect(rect(), palette().button());
  painter.setPen(palette().color(QPalette::ButtonText));
  painter.drawRect(rect().adjusted(0, 0, -1, -1));
  painter.drawRect(QRectF(3.5, 3.5, 6, 12));
  for (const double y : {6.5, 9.5, 12.5}) painter.drawLine(QPointF(5, y), QPointF(8, y));
  painter.setBrush(palette().highlight());
  painter.drawRect(QRectF(13.5, 6.5, 6, 8));
  painter.drawEllipse(QRectF(13.5, 4.5, 6, 4));
  painter.drawLine(QPointF(10, 9.5), QPointF(13, 9.5));
}

// --- Properties

QVariant KelvorinControl::Get(const char* key) const {
  return ToVariant(
      kelvorin::contract::GetProperty(core_->control.properties(), *FindProperty(key)));
}

void KelvorinControl::Set(const char* key, const QVariant& value) {
  std::string text;
  if (value.typeId() == QMetaType::Bool) {
    text = value.toBool() ? "1" : "0";
  } else if (value.typeId() == QMetaType::QString) {
    text = FromText(value.toString());
  } else {
    text = std::to_string(value.toInt());
  }
  // Only a number beyond 16 bits is refused; the property then keeps its value.
  static_cast<void>(core_->control.SetPropertyText(key, text).ok());
}

void KelvorinControl::Reset(const char* key) {
  const kelvorin::contract::Properties defaults;
  Set(key, ToVariant(kelvorin::contract::GetProperty(defaults, *FindProperty(key))));
}

// --- Events. Only those that somebody is connected to are raised: making texts for nobody would
// cost more than the call.

void KelvorinControl::Listen() {
  Core* const core = core_.get();
  kelvorin::Kelvorin& control = core->control;
  const auto heard = [this](auto signal) {
    return isSignalConnected(QMetaMethod::fromSignal(signal));
  };
  control.BeforeFieldImport = {};
  control.FilterTable = {};
  control.FilterType = {};
  control.FilterField = {};
  control.ValidateBeforePost = {};
  control.ValidateAfterPost = {};
  if (heard(&KelvorinControl::BeforeFieldImport))
    control.BeforeFieldImport = [core](std::string_view table, std::string_view field,
                                       std::int16_t type, std::int16_t size, std::string& value) {
      if (!core->widget) return;
      const QString before = ToText(value);
      QString text = before;
      emit core->widget->BeforeFieldImport(ToText(table), ToText(field), type, size, text);
      if (text != before) value = FromText(text);
    };
  if (heard(&KelvorinControl::FilterTable))
    control.FilterTable = [core](std::string_view table, bool& hide) {
      if (core->widget) emit core->widget->FilterTable(ToText(table), hide);
    };
  if (heard(&KelvorinControl::FilterType))
    control.FilterType = [core](kelvorin::contract::FileTypeFormat type, bool& hide) {
      if (core->widget) emit core->widget->FilterType(static_cast<int>(type), hide);
    };
  if (heard(&KelvorinControl::FilterField))
    control.FilterField = [core](std::string_view table, std::string_view field, bool& hide) {
      if (core->widget) emit core->widget->FilterField(ToText(table), ToText(field), hide);
    };
  if (heard(&KelvorinControl::ValidateBeforePost))
    control.ValidateBeforePost = [core](bool& record, bool& process) {
      if (core->widget) emit core->widget->ValidateBeforePost(record, process);
    };
  if (heard(&KelvorinControl::ValidateAfterPost))
    control.ValidateAfterPost = [core](bool& process) {
      if (core->widget) emit core->widget->ValidateAfterPost(process);
    };
  control.HelpRequested = {};
  if (heard(&KelvorinControl::HelpRequested))
    control.HelpRequested = [core](std::int16_t topic) {
      if (core->widget) emit core->widget->HelpRequested(topic);
    };
}

void KelvorinControl::connectNotify(const QMetaMethod&) {
  if (core_->calls == 0) Listen();
}
void KelvorinControl::disconnectNotify(const QMetaMethod&) {
  if (core_->calls == 0) Listen();
}

// --- Methods

void KelvorinControl::display() {
  core_->control.display();
}

bool KelvorinControl::IsFree() {
  if (core_->calls > 0) core_->control.LastError("An import of this control is open already");
  return core_->calls == 0;
}

void KelvorinControl::Execute() {
  const std::shared_ptr<Core> core = core_;
  if (!IsFree()) return;
  Listen();
  ++core->calls;
  core->control.Execute();
  --core->calls;
}

int KelvorinControl::BatchImport(const QString& Setting) {
  const std::shared_ptr<Core> core = core_;
  if (!IsFree()) return -1;
  Listen();
  ++core->calls;
  std::string name = FromText(Setting);
  const int outcome = core->control.BatchImport(name);
  --core->calls;
  return outcome;
}
