// The line at the foot of the window.
#pragma once

#include <QStatusBar>

#include "substitute/api/Trace.h"

class QLabel;

namespace substitute {

class ElidedLabel;
class Host;

// Shows one message and, each with its name, the host's values. A message that matters stays until
// the next that matters.
class StatusBar : public QStatusBar {
  Q_OBJECT

 public:
  explicit StatusBar(QWidget* parent = nullptr);

  // Tells an entry of the trace where it is worth a message.
  void onTraceEntry(const Json& entry);

  // Tells something that matters, a screen reader too.
  void showImportant(const QString& message);

  // The message, whole; empty when there has been none.
  const QString& message() const;

  void showValues(const Host& host, bool addinRuns);

 private:
  void showMinor(const QString& message);

  bool showsImportant_ = false;
  ElidedLabel* message_;
  ElidedLabel* addin_;
  ElidedLabel* starts_;
  QLabel* network_;
  ElidedLabel* language_;
  ElidedLabel* entitlement_;
};

}  // namespace substitute
