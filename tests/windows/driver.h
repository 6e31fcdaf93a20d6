#pragma once
// Drives real windows: a list of steps, each run on the innermost modal window when nothing else is
// under way. A window that nobody expected is closed and fails the case instead of hanging it.

#include <doctest/doctest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QTest>
#include <QTimer>

#include <deque>
#include <functional>

namespace kelvorin::tests {

class Driver {
 public:
  Driver() {
    timer_.setInterval(5);
    QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] { Next(); });
  }
  /// `window`: object name or class of the window that must be the innermost one.
  void Do(QString window, std::function<void(QWidget&)> act) {
    steps_.push_back({std::move(window), std::move(act)});
  }
  void Click(const QString& window, const QString& name) {
    Do(window, [name](QWidget& widget) {
      auto* button = widget.findChild<QAbstractButton*>(name);
      CAPTURE(name.toStdString());
      REQUIRE(button != nullptr);
      REQUIRE(button->isVisible());
      REQUIRE(button->isEnabled());
      // The click may open a window: it must not keep the driver waiting.
      QTimer::singleShot(0, button, [button] { QTest::mouseClick(button, Qt::LeftButton); });
    });
  }
  // A key that may open a window.
  void Key(const QString& window, Qt::Key key) {
    Do(window, [key](QWidget& widget) {
      QTimer::singleShot(0, &widget, [&widget, key] { QTest::keyClick(&widget, key); });
    });
  }
  void Run(const std::function<void()>& open) {
    waited_.start();
    timer_.start();
    open();
    timer_.stop();
    CHECK_MESSAGE(steps_.empty(), steps_.size() << " steps were not reached");
  }

 private:
  struct Step {
    QString window;
    std::function<void(QWidget&)> act;
  };
  void Next() {
    QWidget* window = QApplication::activeModalWidget();
    if (window == nullptr) return;
    if (busy_) {
      // A step opened a window and waits for it.
      if (waited_.elapsed() > 20000) window->close();
      return;
    }
    if (waited_.elapsed() > 20000) {
      steps_.clear();
      FAIL_CHECK("a window waits: " << window->objectName().toStdString() << " "
                                    << window->windowTitle().toStdString());
      waited_.restart();
    }
    if (steps_.empty()) {
      if (waited_.elapsed() > 1000) {
        FAIL_CHECK("unexpected window " << window->objectName().toStdString());
        window->close();
      }
      return;
    }
    const QString& wanted = steps_.front().window;
    if (window->objectName() != wanted && !window->inherits(wanted.toLatin1().constData())) return;
    if (!window->isVisible()) return;
    // Focus and shortcuts are there once the window is the active one; a run does not wait for it.
    if (wanted != u"frmProgress" && !window->isActiveWindow() && waited_.elapsed() < 3000) {
      window->activateWindow();
      return;
    }
    const Step step = std::move(steps_.front());
    steps_.pop_front();
    busy_ = true;
    waited_.restart();
    step.act(*window);
    busy_ = false;
  }

  std::deque<Step> steps_;
  QTimer timer_;
  QElapsedTimer waited_;
  bool busy_ = false;
};

template <typename T>
T& Child(QWidget& window, const char* name) {
  auto* child = window.findChild<T*>(QLatin1String(name));
  CAPTURE(name);
  REQUIRE(child != nullptr);
  return *child;
}

}  // namespace kelvorin::tests
